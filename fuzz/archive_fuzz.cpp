// Opens arbitrary bytes as an archive, then looks up every name it holds and reads every
// member, raw and compressed, in pieces and whole, with seeks and strings. Whatever the
// bytes say, nothing may crash, hang or touch memory outside its bounds.
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr uint64_t kReadLimit = 1 << 18; // inflated bytes per member, against bombs

// In memory where the system offers a file system there: rewriting a disk file on every
// run would wait on the disk.
std::string const& ScratchPath()
{
    static std::string const folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    static std::string const path = folder + "/archive_fuzz_" + std::to_string(getpid()) + ".vxa";
    return path;
}

bool WriteScratch(uint8_t const* data, size_t size)
{
    FILE* file = std::fopen(ScratchPath().c_str(), "wb");
    if (!file)
        return false;
    bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

void ReadMember(ArchiveFile& file, size_t chunk)
{
    char block[4096];
    uint64_t total = 0;
    while (total < kReadLimit)
    {
        uint64_t got = file.Read(block, chunk < sizeof(block) ? chunk : sizeof(block));
        if (got == 0)
            break;
        total += got;
    }
    file.Seek(-3, KoFile::ms_iSeekEnd);
    file.Seek(2, KoFile::ms_iSeekSet);
    VXStringT<char> text;
    file.ReadString(text, 64);
    file.Read(block, sizeof(block));
}

void VisitMember(Archive& archive, uint64_t d, uint64_t f, size_t chunk)
{
    char const* dirName = archive.GetDirectoryString(d);
    char const* fileName = archive.GetFileString(d, f);
    std::string path = std::string(dirName ? dirName : ".") + "\\" + (fileName ? fileName : "x");
    VXHash dir, file;
    VXHash::MakeDirAndFile(path.c_str(), dir, file);
    uint64_t foundDir = 0, foundFile = 0;
    archive.FindFile(dir, file, foundDir, foundFile, path.c_str());
    std::unique_ptr<ArchiveFile> whole(archive.GetFile(d, f, 0, nullptr));
    if (whole && whole->GetFileSize() < kReadLimit) // one read of all of it: the whole-member path
    {
        std::vector<char> all(whole->GetFileSize() + 1);
        whole->Read(all.data(), all.size());
    }
    for (uint64_t bufferSize : {uint64_t{0}, uint64_t{VXFile::WHOLE_FILE_BUFFER}})
    {
        std::unique_ptr<ArchiveFile> reader(archive.GetFile(d, f, bufferSize, nullptr));
        if (reader)
            ReadMember(*reader, chunk);
    }
}
void VisitArchive(size_t size)
{
    Archive archive(ScratchPath().c_str(), 4096, false, false);
    if (!archive.FileIsGood() || archive.GetDisabled())
        return;
    size_t chunk = 1 + size % 777;
    for (uint64_t d = 0; d < archive.QDirectoryCount(); ++d)
    {
        VXDirectoryEntry* directory = archive.GetDirectory(d);
        for (uint64_t f = 0; directory && f < directory->uiEntryCount; ++f)
            VisitMember(archive, d, f, chunk);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    if (!WriteScratch(data, size))
        return 0;
    // The size picks the settings, so that every path of the reader is reached.
    static uint64_t const kBufferLimits[] = {0, 16, 1000, 0x20000};
    ArchiveManager::SetInvalidateOlderFiles(false);
    ArchiveManager::uiArchiveFileBufferSizeS = kBufferLimits[size % 4];
    ArchiveManager::SetCheckRuntimeCollisions((size / 4) % 2);
    int retain = static_cast<int>((size / 8) % 3);
    ArchiveManager::SetRetainTables(retain, retain, retain);

    VisitArchive(size);
    std::remove(ScratchPath().c_str()); // libFuzzer may end without running exit handlers
    return 0;
}
