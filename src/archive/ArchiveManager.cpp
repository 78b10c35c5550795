// The list of open archives: opening the host's master archives in list and load-order
// sequence, the master table by type, removal and the start-up clean-up.
#include "vxsystem/ArchiveManager.h"

#include "archive/VXLoadLists.h"
#include "foundation/VXCRuntime.h"
#include "vxsystem/Archive.h"
#include "vxsystem/FileFinder.h"

#include <cstring>
#include <memory>

VXTArray<Archive*>* ArchiveManager::pArchiveList = nullptr;
std::atomic<Archive*> ArchiveManager::spLastArchive{nullptr};
Archive* ArchiveManager::spMasterArchives[2][ARCHIVE_INDEX_COUNT] = {};

namespace
{
constexpr size_t kWorkBufferSize = 32768;
constexpr uint64_t kArchiveStreamBuffer = 0x40000;

// A block from MemoryManager, freed at the end of the scope.
struct WorkBuffer
{
    WorkBuffer() : pText(static_cast<char*>(MemoryManager::Instance().Allocate(kWorkBufferSize))) {}
    ~WorkBuffer() { MemoryManager::Instance().Deallocate(pText); }
    WorkBuffer(WorkBuffer const&) = delete;
    WorkBuffer& operator=(WorkBuffer const&) = delete;
    char* pText; // kWorkBufferSize bytes, or null
};

// An archive's own file is found on disk only, through the finder.
bool FindArchiveFile(char const* name, char (&path)[MAX_PATH_BYTES])
{
    return FileFinder::pFinder &&
           FileFinder::pFinder->Exist(name, path, FileFinder::SEARCH_NO_ARCHIVES, 0xFFFFFFFF) !=
               FileFinder::FILE_NOT_FOUND;
}

// The next comma-separated token, skipping empty ones; cuts it off in place.
char* NextToken(char*& rest)
{
    rest += std::strspn(rest, ",");
    if (!*rest)
        return nullptr;
    char* token = rest;
    rest += std::strcspn(rest, ",");
    if (*rest)
        *rest++ = 0;
    return token;
}
} // namespace

bool ArchiveManager::OpenMasterArchives()
{
    if (!bUseArchives)
        return true;
    LoadInvalidationFile(sArchiveInvalidationFile);
    SortArchiveTypeExtensions();
    WorkBuffer work;
    if (!work.pText)
        return false;
    char const* list = sMasterArchiveList ? sMasterArchiveList : "";
    std::strncpy(work.pText, list, kWorkBufferSize - 1);
    work.pText[kWorkBufferSize - 1] = 0;
    {
        VXFile loadOrder("Plugins.txt", KoFile::MODE_READ, 4096, true);
        if (loadOrder.FileIsGood())
            VXAppendLoadOrder(loadOrder, work.pText, kWorkBufferSize);
    }
    bool allOpened = true;
    char* rest = work.pText;
    while (char* token = NextToken(rest))
    {
        token += std::strspn(token, " \t\n");
        Archive* archive = OpenArchive(token, 0, false);
        if (!archive)
        {
            allOpened = false;
            continue;
        }
        MakeMaster(archive);
    }
    return allOpened;
}

void ArchiveManager::MakeMaster(Archive* archive)
{
    for (unsigned int index = 0; index < ARCHIVE_INDEX_COUNT; ++index)
    {
        if (!(archive->QArchiveType() & (1u << index)) || spMasterArchives[0][index])
            continue;
        spMasterArchives[0][index] = archive;
        uint64_t size = QMasterArchiveBufferSize(static_cast<ARCHIVE_TYPE_INDEX>(index));
        if (size > archive->QBufferSize())
            archive->ChangeBufferSize(size);
    }
}

Archive* ArchiveManager::OpenArchive(char const* name, unsigned short type, bool invalidateOthers)
{
    char path[MAX_PATH_BYTES];
    if (!bUseArchives || !FindArchiveFile(name, path))
        return nullptr;
    std::unique_ptr<Archive> archive(
        new Archive(path, kArchiveStreamBuffer, false, invalidateOthers));
    if (!archive || !archive->FileIsGood() || archive->GetDisabled())
        return nullptr;
    if (!pArchiveList)
    {
        void* block = MemoryManager::Instance().Allocate(sizeof(VXTArray<Archive*>));
        pArchiveList = block ? ::new (block) VXTArray<Archive*>() : nullptr;
    }
    if (!pArchiveList || pArchiveList->Add(archive.get()) == VXTArray<Archive*>::INVALID_INDEX)
        return nullptr;
    if (type != 0)
        archive->SetArchiveType(type);
    return archive.release();
}

Archive* ArchiveManager::GetArchive(char const* path)
{
    if (!pArchiveList || !path)
        return nullptr;
    for (Archive* archive : *pArchiveList)
        if (archive && VXStricmp(archive->GetFileName(), path) == 0)
            return archive;
    return nullptr;
}

void ArchiveManager::AddArchive(Archive* archive)
{
    if (pArchiveList)
        pArchiveList->Add(archive);
}

bool ArchiveManager::RemoveArchive(Archive* archive)
{
    if (!pArchiveList || !archive)
        return false;
    unsigned int index = pArchiveList->Find(archive);
    if (index != VXTArray<Archive*>::INVALID_INDEX)
        pArchiveList->RemoveAt(index);
    for (auto& row : spMasterArchives)
        for (Archive*& slot : row)
            if (slot == archive)
                slot = nullptr;
    Archive* expected = archive;
    spLastArchive.compare_exchange_strong(expected, nullptr, std::memory_order_relaxed);
    return true;
}

bool ArchiveManager::CloseArchive(char const* name)
{
    char path[MAX_PATH_BYTES];
    return pArchiveList && FindArchiveFile(name, path) && RemoveArchive(GetArchive(path));
}

bool ArchiveManager::CloseArchive(Archive* archive)
{
    return RemoveArchive(archive);
}

void ArchiveManager::CloseAll()
{
    if (pArchiveList)
    {
        pArchiveList->~VXTArray<Archive*>();
        MemoryManager::Instance().Deallocate(pArchiveList);
        pArchiveList = nullptr;
    }
    VXFreeHashList(pInvalidateFileNameHashes);
    VXFreeHashList(pInvalidateDirectoryHashes);
    for (auto& row : spMasterArchives)
        for (Archive*& slot : row)
            slot = nullptr;
    // The archives may be destroyed after this: nothing may keep pointing at one.
    spLastArchive.store(nullptr, std::memory_order_relaxed);
}

Archive* ArchiveManager::GetMasterArchive(ARCHIVE_TYPE_INDEX index)
{
    if (index >= ARCHIVE_INDEX_COUNT)
        return nullptr;
    return spMasterArchives[0][index] ? spMasterArchives[0][index] : spMasterArchives[1][index];
}

Archive* ArchiveManager::GetMasterArchive(ARCHIVE_TYPE_INDEX index, unsigned int row)
{
    return index < ARCHIVE_INDEX_COUNT && row < 2 ? spMasterArchives[row][index] : nullptr;
}

void ArchiveManager::SetMasterArchive(Archive* archive, ARCHIVE_TYPE_INDEX index, unsigned int row)
{
    if (index < ARCHIVE_INDEX_COUNT && row < 2)
        spMasterArchives[row][index] = archive;
}

void ArchiveManager::CleanupArchiveStringsAfterStartup()
{
    if (pArchiveList)
    {
        for (Archive* archive : *pArchiveList)
        {
            if (!archive)
                continue;
            if (!archive->QRetainDirectoryStringTable())
                archive->DeleteDirectoryStringArray();
            if (!archive->QRetainFilenameStringTable())
                archive->DeleteFilenameStringArray(archive->QRetainFilenameOffsetTable());
        }
    }
    bStartupStringsCleaned = true;
}
