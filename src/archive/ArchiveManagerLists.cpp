// Directory queries over the open archives: which members match a pattern, one member of
// a directory, and the way back from a record to its name and archive.
#include "vxsystem/ArchiveManager.h"

#include "vxsystem/Archive.h"
#include "vxsystem/VXRandom.h"
#include "vxsystem/VXSimpleList.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{
// The hint may be stale on another thread; a race only changes which archive goes first.
constexpr std::memory_order kHint = std::memory_order_relaxed;

// A list name: the directory part of prefix (through its last backslash, or all of a
// prefix without one) followed by name, from MemoryManager; null when out of memory.
char* MakeListName(char const* prefix, size_t prefixLength, char const* name)
{
    size_t length = std::strlen(name);
    auto* text = static_cast<char*>(MemoryManager::Instance().Allocate(prefixLength + length + 1));
    if (!text)
        return nullptr;
    std::memcpy(text, prefix, prefixLength);
    std::memcpy(text + prefixLength, name, length + 1);
    return text;
}

size_t PrefixLength(char const* prefix)
{
    char const* slash = std::strrchr(prefix, '\\');
    return slash ? static_cast<size_t>(slash - prefix + 1) : std::strlen(prefix);
}

ARCHIVE_TYPE TypeFromTail(char const* name)
{
    size_t length = std::strlen(name);
    return ArchiveManager::GetArchiveTypeFromFileExtension(name + (length > 3 ? length - 3 : 0));
}

int CompareKeys(void const* a, void const* b)
{
    uint64_t left = (*static_cast<VXHash* const*>(a))->Hash();
    uint64_t right = (*static_cast<VXHash* const*>(b))->Hash();
    return left < right ? -1 : left > right;
}

// The file keys of the names a list holds, sorted: one block with the pointers first and
// the keys behind them, so that one free releases all. Null when out of memory.
VXHash** SortedKeysOf(VXSimpleList<char const*>* list, unsigned int count)
{
    void* block = MemoryManager::Instance().Allocate((sizeof(VXHash*) + sizeof(VXHash)) * count);
    if (!block)
        return nullptr;
    auto** keys = static_cast<VXHash**>(block);
    auto* storage = reinterpret_cast<VXHash*>(keys + count);
    unsigned int filled = 0;
    for (auto* node = list->QHead(); node && filled < count; node = node->pNext)
        if (node->kItem)
            keys[filled] = ::new (&storage[filled]) VXHash(node->kItem, VXHash::HASH_FILE),
            ++filled;
    for (; filled < count; ++filled)
        keys[filled] = ::new (&storage[filled]) VXHash(0, 0, 0, 0, 0);
    std::qsort(keys, count, sizeof(VXHash*), CompareKeys);
    return keys;
}

void FreeKeys(VXHash** keys)
{
    MemoryManager::Instance().Deallocate(keys);
}

bool HoldsKey(VXHash** sorted, unsigned int count, uint64_t key)
{
    unsigned int low = 0, high = count;
    while (low < high)
    {
        unsigned int middle = low + (high - low) / 2;
        uint64_t probe = sorted[middle] ? sorted[middle]->Hash() : 0;
        if (probe == key)
            return true;
        if (probe < key)
            low = middle + 1;
        else
            high = middle;
    }
    return false;
}

// The archive that holds the directory, searched as lookups are: the last archive that
// answered, then the list in order.
Archive* FindDirectory(VXHash const& dir, unsigned int type, uint64_t& index)
{
    Archive* last = ArchiveManager::spLastArchive.load(kHint);
    if (last && (last->QArchiveType() & type) && last->FindDirectory(dir, index, nullptr))
        return last;
    for (Archive* archive : *ArchiveManager::pArchiveList)
    {
        if (!archive || archive == last || !(archive->QArchiveType() & type) ||
            !archive->FindDirectory(dir, index, nullptr))
            continue;
        ArchiveManager::spLastArchive.store(archive, kHint);
        return archive;
    }
    return nullptr;
}

enum class Pick
{
    RANDOM,
    SMALLEST,
};

// Whether lookups still serve the record: a dropped record or one with a loose twin is
// not named, so a caller never gets a name that opens something else.
bool Serves(Archive& archive, VXFileEntry* entry, char const* folder, char const* name)
{
    if (!archive.CheckValidFile(entry, false))
        return false;
    char path[MAX_PATH_BYTES];
    int length = std::snprintf(path, sizeof(path), "%s%s", folder, name);
    return length < 0 || length >= int(sizeof(path)) || !archive.CheckInvalidateFile(entry, path);
}

// One member of the directory that path names, by rule; its name written over the file
// part of path in out.
bool DirectoryQuery(char const* path, char* out, ARCHIVE_TYPE type, Pick pick, char const* lockText)
{
    if (!ArchiveManager::pArchiveList || !path || !out)
        return false;
    char const* trimmed = ArchiveManager::TrimFileName(path);
    size_t length = std::strlen(trimmed);
    if (type == ARCHIVE_TYPE_ALL && length && trimmed[length - 1] != '\\')
        type = TypeFromTail(trimmed);
    char const* slash = std::strrchr(trimmed, '\\');
    if (!slash || static_cast<size_t>(slash - trimmed + 1) >= MAX_PATH_BYTES)
        return false;
    uint64_t dirIndex = 0;
    Archive* archive = FindDirectory(VXHash(trimmed, VXHash::HASH_DIRECTORY), type, dirIndex);
    VXDirectoryEntry* dir = archive ? archive->GetDirectory(dirIndex) : nullptr;
    if (!dir || dir->uiEntryCount == 0)
        return false;

    size_t folderLength = static_cast<size_t>(slash - trimmed + 1);
    char folder[MAX_PATH_BYTES];
    std::memcpy(folder, trimmed, folderLength);
    folder[folderLength] = 0;
    bool locked = !archive->GetHasFileStrings();
    if (locked)
        archive->CriticalSectionEnter(lockText);
    uint32_t count = dir->uiEntryCount;
    uint32_t start = pick == Pick::RANDOM ? VXRandom::UnsignedInt(count) : 0;
    char const* chosen = nullptr;
    uint32_t best = 0;
    for (uint32_t step = 0; step < count; ++step)
    {
        uint32_t i = (start + step) % count;
        VXFileEntry* entry = &dir->pEntries[i];
        char const* name = archive->GetFileString(dirIndex, i);
        if (!name || (chosen && entry->QSize() >= best) || !Serves(*archive, entry, folder, name))
            continue;
        chosen = name;
        best = entry->QSize();
        if (pick == Pick::RANDOM)
            break;
    }
    bool found = chosen && folderLength + std::strlen(chosen) < MAX_PATH_BYTES;
    if (found)
        std::snprintf(out, MAX_PATH_BYTES, "%s%s", folder, chosen);
    if (locked)
        archive->CriticalSectionLeave();
    return found;
}
} // namespace

bool ArchiveManager::WildCardMatch(char const* name, VXHash* pattern)
{
    return name && pattern && pattern->WildCardCompare(VXHash(name, VXHash::HASH_FILE)) == 0;
}

void ArchiveManager::AddToFileList(VXSimpleList<char const*>* list, char const* pattern,
                                   char const* prefix, ARCHIVE_TYPE type)
{
    if (!pArchiveList || !list || !pattern || !prefix)
        return;
    char const* trimmed = TrimFileName(pattern);
    char directory[MAX_PATH_BYTES];
    size_t prefixLength = PrefixLength(prefix);
    if (prefixLength >= sizeof(directory))
        return;
    std::memcpy(directory, prefix, prefixLength);
    directory[prefixLength] = 0;
    if (type == ARCHIVE_TYPE_ALL)
        type = TypeFromTail(trimmed);
    VXHash dir, file;
    VXHash::MakeDirAndFile(trimmed, dir, file);
    unsigned int count = list->QCount();
    VXHash** sorted = nullptr;
    for (Archive* archive : *pArchiveList)
    {
        if (!archive || !(archive->QArchiveType() & type))
            continue;
        sorted = AddArchiveToFileList(archive, count, sorted, dir, file, list, directory);
        // Names the list held already come first: only the first archive with the
        // directory adds to them.
        if (sorted)
            break;
    }
    FreeKeys(sorted);
}

VXHash** ArchiveManager::AddArchiveToFileList(Archive* archive, unsigned int count, VXHash** sorted,
                                              VXHash& dir, VXHash& pattern,
                                              VXSimpleList<char const*>* list, char const* prefix)
{
    uint64_t dirIndex = 0;
    if (!archive || !list || !prefix)
        return sorted;
    VXScopedCriticalSection lock(archive->kCriticalSection, "ArchiveManager::AddArchiveToFileList");
    VXDirectoryEntry* entries =
        archive->FindDirectory(dir, dirIndex, nullptr) ? archive->GetDirectory(dirIndex) : nullptr;
    if (!entries)
        return sorted;
    if (!sorted && count)
        sorted = SortedKeysOf(list, count);
    size_t prefixLength = std::strlen(prefix);
    for (uint32_t i = 0; i < entries->uiEntryCount; ++i)
    {
        VXFileEntry const& entry = entries->pEntries[i];
        if (!archive->CheckValidFile(&entry, false))
            continue;
        int order = pattern.WildCardCompare(entry.kHash);
        if (order < 0)
            break; // the records are sorted: no later key can match
        if (order > 0 || (count && sorted && HoldsKey(sorted, count, entry.kHash.Hash())))
            continue;
        char const* name = archive->GetFileString(dirIndex, i);
        char* text = name ? MakeListName(prefix, prefixLength, name) : nullptr;
        if (text && !list->AddHead(text))
            MemoryManager::Instance().Deallocate(text);
    }
    return sorted;
}

bool ArchiveManager::GetRandomFileNameForDirectory(char const* path, char* out, ARCHIVE_TYPE type)
{
    return DirectoryQuery(path, out, type, Pick::RANDOM,
                          "ArchiveManager::GetRandomFileNameForDirectory");
}

bool ArchiveManager::GetFileNameForSmallestFileInDirectory(char const* path, char* out,
                                                           ARCHIVE_TYPE type)
{
    return DirectoryQuery(path, out, type, Pick::SMALLEST,
                          "ArchiveManager::GetFileNameForSmallestFileInDirectory");
}

bool ArchiveManager::GetFileNameForFileEntry(ARCHIVE_TYPE_INDEX index, VXFileEntry* entry,
                                             char* out)
{
    Archive* archive = entry && out ? GetMasterArchive(index, entry->QOwner() ? 1 : 0) : nullptr;
    if (!archive)
        return false;
    VXScopedCriticalSection lock(archive->kCriticalSection,
                                 "ArchiveManager::GetFileNameForFileEntry");
    char const* name = archive->GetFileNameForFileEntry(entry);
    if (name)
        std::snprintf(out, MAX_PATH_BYTES, "%s", name);
    return name != nullptr;
}

Archive* ArchiveManager::GetArchiveForFileEntry(VXFileEntry* entry)
{
    if (!entry || !pArchiveList)
        return nullptr;
    Archive* last = spLastArchive.load(kHint);
    if (last && last->IsFileEntryInArchive(entry))
        return last;
    for (Archive* archive : *pArchiveList)
    {
        if (!archive || archive == last || !archive->IsFileEntryInArchive(entry))
            continue;
        spLastArchive.store(archive, kHint);
        return archive;
    }
    return nullptr;
}
