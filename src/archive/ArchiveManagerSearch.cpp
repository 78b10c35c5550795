// Which archive serves a name: the archive that answered last is asked first, then the
// others oldest first. Lookups run on any thread without a lock; the list changes only at
// start-up and shutdown.
#include "vxsystem/ArchiveManager.h"

#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"

#include <cstring>

namespace
{
// The hint may be stale on another thread; a race only changes which archive goes first.
constexpr std::memory_order kHint = std::memory_order_relaxed;

struct Lookup
{
    char const* pName;   // the trimmed name
    unsigned int uiType; // low 16 bits: the types asked for
    VXHash kDir;         // key of the directory part
    VXHash kFile;        // key of the file part
};

Lookup Prepare(char const* pFile, unsigned int type)
{
    Lookup lookup;
    lookup.pName = ArchiveManager::TrimFileName(pFile);
    if (type == ARCHIVE_TYPE_ALL)
    {
        size_t length = std::strlen(lookup.pName);
        type = ArchiveManager::GetArchiveTypeFromFileExtension(lookup.pName +
                                                               (length > 3 ? length - 3 : 0));
    }
    lookup.uiType = type & 0xFFFF;
    VXHash::MakeDirAndFile(lookup.pName, lookup.kDir, lookup.kFile);
    return lookup;
}

bool Holds(Archive* archive, Lookup const& lookup, uint64_t& dirIndex, uint64_t& fileIndex)
{
    return archive && (archive->QArchiveType() & lookup.uiType) &&
           archive->FindFile(lookup.kDir, lookup.kFile, dirIndex, fileIndex, lookup.pName);
}
// Asks the archives in search order; visit gives non-null to end the walk. The archive
// that answered last goes first, and its hit settles the search even with a null result.
template <class Result, class Visit>
Result* Search(char const* pFile, unsigned int type, Visit visit)
{
    if (!ArchiveManager::pArchiveList || !pFile)
        return nullptr;
    Lookup lookup = Prepare(pFile, type);
    uint64_t dirIndex = 0;
    uint64_t fileIndex = 0;
    Archive* last = ArchiveManager::spLastArchive.load(kHint);
    if (Holds(last, lookup, dirIndex, fileIndex))
        return visit(last, dirIndex, fileIndex, lookup.pName);
    for (Archive* archive : *ArchiveManager::pArchiveList)
    {
        if (archive == last || !Holds(archive, lookup, dirIndex, fileIndex))
            continue;
        ArchiveManager::spLastArchive.store(archive, kHint);
        if (Result* result = visit(archive, dirIndex, fileIndex, lookup.pName))
            return result;
    }
    return nullptr;
}
} // namespace

Archive* ArchiveManager::GetArchiveForFile(char const* pFile, ARCHIVE_TYPE type)
{
    return Search<Archive>(
        pFile, type, [](Archive* archive, uint64_t, uint64_t, char const*) { return archive; });
}

bool ArchiveManager::FindFile(char const* pFile, ARCHIVE_TYPE type)
{
    return GetArchiveForFile(pFile, type) != nullptr;
}

ArchiveFile* ArchiveManager::GetFile(char const* pFile, unsigned int bufferSize, ARCHIVE_TYPE type)
{
    return Search<ArchiveFile>(
        pFile, type,
        [bufferSize](Archive* archive, uint64_t dirIndex, uint64_t fileIndex, char const* name)
        { return archive->GetFile(dirIndex, fileIndex, bufferSize, name); });
}

ArchiveFile* ArchiveManager::GetFileByFileEntry(ARCHIVE_TYPE_INDEX index, VXFileEntry* entry,
                                                unsigned int bufferSize, char const* name)
{
    if (!entry)
        return nullptr;
    Archive* archive = GetMasterArchive(index, entry->QOwner() ? 1 : 0);
    return archive ? archive->GetFileByFileEntry(entry, bufferSize, name) : nullptr;
}

VXFileEntry* ArchiveManager::GetFileEntryForFile(ARCHIVE_TYPE_INDEX index, VXHash& dir,
                                                 VXHash& file, char const* name)
{
    Archive* archive = GetMasterArchive(index);
    return archive ? archive->GetFileEntryForFile(dir, file, name) : nullptr;
}
