// Lookups: two binary searches over sorted 64-bit keys, with a cached index per level,
// the lazy test against loose files, the collision test, and the making of readers.
#include "vxsystem/Archive.h"

#include "archive/VXArchiveIndex.h"
#include "archive/VXArchivePath.h"
#include "foundation/VXCRuntime.h"
#include "platform/VXPlatformRuntime.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"
#include "vxsystem/CompressedArchiveFile.h"

#include <cstring>

namespace
{
// The cached indices are hints checked against the key before use: relaxed suffices.
constexpr std::memory_order kHint = std::memory_order_relaxed;

// Bisection over records sorted by key: step = (high - low) / 2, middle = low + step,
// and a pass with step 0 that misses ends the search.
template <class Record>
bool SearchKeys(Record const* records, uint64_t count, uint64_t key, uint64_t& index)
{
    uint64_t low = 0;
    uint64_t high = count;
    for (;;)
    {
        uint64_t step = (high - low) / 2;
        uint64_t middle = low + step;
        uint64_t found = records[middle].kHash.Hash();
        if (found == key)
        {
            index = middle;
            return true;
        }
        if (step == 0)
            return false;
        if (key < found)
            high = middle;
        else
            low = middle;
    }
}
} // namespace

bool Archive::FindDirectory(VXHash const& dir, uint64_t& index, char const* name)
{
    if (GetDisabled() || !pDirectories)
        return false;
    uint64_t last = uiLastDirectoryIndex.load(kHint);
    if (last < uiDirectoryCount && pDirectories[last].kHash.Hash() == dir.Hash())
    {
        index = last;
        return true;
    }
    uiLastFileIndex.store(NO_INDEX, kHint);
    uint64_t found = 0;
    if (uiDirectoryCount == 0 || !SearchKeys(pDirectories, uiDirectoryCount, dir.Hash(), found))
        return false;
    index = found;
    uiLastDirectoryIndex.store(found, kHint);
    if (name && ArchiveManager::bCheckRuntimeCollisions && QDirStrings())
        return DirectoryNameMatches(found, name);
    return true;
}

bool Archive::FindFileInDirectory(uint64_t dirIndex, VXHash const& file, uint64_t& index,
                                  char const* name, bool ignoreOwner)
{
    if (GetDisabled() || !pDirectories || dirIndex >= uiDirectoryCount)
        return false;
    VXDirectoryEntry& directory = pDirectories[dirIndex];
    uint64_t count = directory.uiEntryCount;
    uint64_t last = uiLastFileIndex.load(kHint);
    if (last < count)
    {
        VXFileEntry* entry = &directory.pEntries[last];
        if (CheckValidFile(entry, ignoreOwner) && entry->kHash.Hash() == file.Hash())
        {
            if (CheckInvalidateFile(entry, name))
                return false;
            index = last;
            return true;
        }
    }
    uint64_t found = 0;
    if (count == 0 || !SearchKeys(directory.pEntries, count, file.Hash(), found))
        return false;
    VXFileEntry* entry = &directory.pEntries[found];
    if (!CheckValidFile(entry, ignoreOwner) || CheckInvalidateFile(entry, name))
        return false;
    index = found;
    uiLastFileIndex.store(found, kHint);
    if (name && ArchiveManager::bCheckRuntimeCollisions && QFileStrings())
        return FileNameMatches(dirIndex, found, name);
    return true;
}

bool Archive::FindFile(VXHash const& dir, VXHash const& file, uint64_t& dirIndex,
                       uint64_t& fileIndex, char const* name)
{
    if (!pIndex || GetDisabled() || ArchiveManager::bCheckRuntimeCollisions)
        return FindDirectory(dir, dirIndex, name) &&
               FindFileInDirectory(dirIndex, file, fileIndex, name, false);
    uint64_t d = 0;
    uint64_t f = 0;
    if (!pIndex->Find(dir.Hash(), file.Hash(), d, f))
        return false;
    VXFileEntry* entry = &pDirectories[d].pEntries[f];
    if (!CheckValidFile(entry, false) || CheckInvalidateFile(entry, name))
        return false;
    uiLastDirectoryIndex.store(d, kHint);
    uiLastFileIndex.store(f, kHint);
    dirIndex = d;
    fileIndex = f;
    return true;
}

VXFileEntry* Archive::GetFileEntryForFile(VXHash const& dir, VXHash const& file, char const* name)
{
    uint64_t dirIndex = 0;
    uint64_t fileIndex = 0;
    if (!FindDirectory(dir, dirIndex, name) ||
        !FindFileInDirectory(dirIndex, file, fileIndex, name, true))
        return nullptr;
    return &pDirectories[dirIndex].pEntries[fileIndex];
}

bool Archive::CheckInvalidateFile(VXFileEntry* entry, char const* name)
{
    if (!ArchiveManager::bInvalidateOlderFiles || !entry || entry->QChecked())
        return false;
    if (name)
    {
        char loose[MAX_PATH_BYTES];
        size_t length = std::strlen(name);
        bool fits = length + 5 < sizeof(loose);
        if (fits)
        {
            std::memcpy(loose, "Data\\", 5);
            std::memcpy(loose + 5, name, length + 1);
        }
        if (fits && PlatformLooseFileExists(loose))
        {
            entry->SetOffset(0);
            return true;
        }
    }
    entry->SetChecked(true);
    return false;
}

bool Archive::DirectoryNameMatches(uint64_t dirIndex, char const* name)
{
    VXPathParts parts;
    char text[MAX_PATH_BYTES];
    if (!VXSplitPath(name, parts) || !VXDirectoryKeyText(parts, text, sizeof(text)))
        return false;
    VXScopedCriticalSection lock(kCriticalSection, "Archive collision test");
    char const* stored = GetDirectoryString(dirIndex);
    if (stored && !stored[0])
        stored = "."; // writers name the root either way
    return stored && VXStricmp(stored, text) == 0;
}

bool Archive::FileNameMatches(uint64_t dirIndex, uint64_t fileIndex, char const* name)
{
    VXPathParts parts;
    if (!VXSplitPath(name, parts))
        return false;
    char text[sizeof(parts.acName) + sizeof(parts.acExtension)];
    size_t length = std::strlen(parts.acName);
    std::memcpy(text, parts.acName, length);
    std::memcpy(text + length, parts.acExtension, std::strlen(parts.acExtension) + 1);
    VXScopedCriticalSection lock(kCriticalSection, "Archive collision test");
    char const* stored = GetFileString(dirIndex, fileIndex);
    return stored && VXStricmp(stored, text) == 0;
}

ArchiveFile* Archive::GetFile(uint64_t dirIndex, uint64_t fileIndex, uint64_t bufferSize,
                              char const* name)
{
    if (!pDirectories || dirIndex >= uiDirectoryCount ||
        fileIndex >= pDirectories[dirIndex].uiEntryCount)
        return nullptr;
    return GetFileByFileEntry(&pDirectories[dirIndex].pEntries[fileIndex], bufferSize, name);
}

ArchiveFile* Archive::GetFileByFileEntry(VXFileEntry* entry, uint64_t bufferSize, char const* name)
{
    if (!CheckValidFile(entry, false))
        return nullptr;
    if (!name && ArchiveManager::bStartupStringsCleaned && GetHasFileStrings())
        name = GetFileNameForFileEntry(entry);
    auto offset = static_cast<int64_t>(entry->QOffset());
    uint64_t size = entry->QSize();
    if (QCompressed() != entry->QCompressionToggle())
        return new CompressedArchiveFile(name, this, offset, size, bufferSize);
    return new ArchiveFile(name, this, offset, size, bufferSize);
}
