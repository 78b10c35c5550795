// Load tracking: the records a host used, in order, written out per archive as a list of
// names from which the host can repack its data in load order.
#include "vxsystem/ArchiveManager.h"

#include "vxsystem/Archive.h"
#include "vxsystem/VXFile.h"
#include "vxsystem/VXSystemDir.h"

#include <cstdio>
#include <cstring>
#include <new>

VXTArray<VXFileEntry*>* ArchiveManager::pFileEntryTrackingArray = nullptr;
bool ArchiveManager::bTrackFileEntryLoading = false;

namespace
{
constexpr unsigned int kTrackingCapacity = 1024;
constexpr unsigned int kReportBuffer = 10240;

// "FileEntries\Cell 0000001A.Main.txt" for archive "Data\Main.vxa" and cell 26.
bool ReportName(Archive const& archive, unsigned int cell, char* out)
{
    char const* name = archive.GetFileName();
    char const* slash = std::strrchr(name, '\\');
    char const* base = slash ? slash + 1 : name;
    int length = std::snprintf(out, MAX_PATH_BYTES, "FileEntries\\Cell %08X.%s", cell, base);
    if (length < 0 || static_cast<unsigned int>(length) >= MAX_PATH_BYTES)
        return false;
    char* dot = std::strrchr(out, '.');
    if (static_cast<size_t>(dot - out) + 5 > MAX_PATH_BYTES - 1)
        return false;
    std::memcpy(dot, ".txt", 5);
    return true;
}

void WriteLine(VXFile& file, char const* directory, char const* name)
{
    char line[MAX_PATH_BYTES];
    int length = std::snprintf(line, sizeof(line), "%s\\%s\r\n", directory ? directory : "",
                               name ? name : "");
    if (length > 0)
        file.Write(line, static_cast<uint64_t>(length) < sizeof(line) ? length : sizeof(line) - 1);
}
} // namespace

void ArchiveManager::TrackFileEntryLoad(VXFileEntry* entry)
{
    if (!pFileEntryTrackingArray)
    {
        void* block = MemoryManager::Instance().Allocate(sizeof(VXTArray<VXFileEntry*>));
        if (!block)
            return;
        pFileEntryTrackingArray = ::new (block) VXTArray<VXFileEntry*>();
        pFileEntryTrackingArray->Reserve(kTrackingCapacity);
    }
    pFileEntryTrackingArray->Add(entry);
}

void ArchiveManager::ClearFileEntryTracking()
{
    if (!pFileEntryTrackingArray)
        return;
    pFileEntryTrackingArray->~VXTArray();
    MemoryManager::Instance().Deallocate(pFileEntryTrackingArray);
    pFileEntryTrackingArray = nullptr;
}

void ArchiveManager::OutputFileEntryTracking(char* header, unsigned int cell)
{
    if (!pFileEntryTrackingArray)
        return;
    VXTArray<Archive*> archives;
    for (VXFileEntry* entry : *pFileEntryTrackingArray)
    {
        Archive* archive = GetArchiveForFileEntry(entry);
        if (archive && archives.Find(archive) == VXTArray<Archive*>::INVALID_INDEX)
            archives.Add(archive);
    }
    for (Archive* archive : archives)
    {
        char path[MAX_PATH_BYTES];
        if (!ReportName(*archive, cell, path))
            continue;
        VXSystemDir::MakeDir("FileEntries\\");
        VXFile report(path, KoFile::MODE_WRITE, kReportBuffer, false);
        if (header)
            report.Write(header, std::strlen(header));
        report.Write("\r\n", 2);
        for (VXFileEntry* entry : *pFileEntryTrackingArray)
        {
            if (GetArchiveForFileEntry(entry) != archive)
                continue;
            uint64_t dirIndex = archive->GetDirectoryIndexForFileEntry(entry);
            uint64_t fileIndex = archive->GetFileIndexForFileEntryFromDirectory(dirIndex, entry);
            WriteLine(report, archive->GetDirectoryString(dirIndex),
                      archive->GetFileString(dirIndex, fileIndex));
        }
    }
}

bool ArchiveManager::OutputProfileStats(char*)
{
    return false;
}
