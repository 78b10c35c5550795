// Loose files over members: the scan when an archive opens (by presence where the archive
// has names, by file times where it lacks them), single-record invalidation, and the
// collision diagnostic for tools.
#include "vxsystem/Archive.h"

#include "vxsystem/ArchiveManager.h"
#include "vxsystem/VXSystemDir.h"

#include "platform/VXPlatformRuntime.h"

#include <cstring>

namespace
{
bool ListHolds(VXTArray<VXHash*> const* list, VXHash const& key)
{
    if (!list)
        return false;
    for (VXHash const* candidate : *list)
        if (candidate && candidate->Hash() == key.Hash())
            return true;
    return false;
}

// Joins up to three parts into out; false when the result would not fit.
bool Join(char (&out)[MAX_PATH_BYTES], char const* a, char const* b, char const* c = "")
{
    size_t la = std::strlen(a), lb = std::strlen(b), lc = std::strlen(c);
    if (la + lb + lc >= MAX_PATH_BYTES)
        return false;
    std::memcpy(out, a, la);
    std::memcpy(out + la, b, lb);
    std::memcpy(out + la + lb, c, lc + 1);
    return true;
}

uint64_t Ticks(_FILETIME const& time)
{
    return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
} // namespace

void Archive::RunOpenPass(bool invalidateOthers)
{
    if (ArchiveManager::bInvalidateOlderFiles)
        FindNewerAndInvalidate();
    if (!invalidateOthers)
        return;
    for (uint64_t i = 0; i < uiDirectoryCount; ++i)
    {
        VXDirectoryEntry& directory = pDirectories[i];
        for (uint32_t j = 0; j < directory.uiEntryCount; ++j)
            ArchiveManager::InvalidateFileInArchives(directory.kHash, directory.pEntries[j].kHash,
                                                     usArchiveType);
    }
}

bool Archive::InvalidateFile(uint64_t dirIndex, VXHash& file, char const*)
{
    uint64_t fileIndex = 0;
    if (!FindFileInDirectory(dirIndex, file, fileIndex, nullptr, false))
        return false;
    pDirectories[dirIndex].pEntries[fileIndex].SetOffset(0);
    return true;
}

bool Archive::InvalidateFile(VXHash& dir, VXHash& file, char const* name)
{
    uint64_t dirIndex = 0;
    return FindDirectory(dir, dirIndex, nullptr) && InvalidateFile(dirIndex, file, name);
}

uint64_t Archive::FindNewerAndInvalidate()
{
    if (!QDirStrings() || !QFileStrings())
    {
        _FILETIME time{};
        if (!PlatformGetLastWriteTime(&time))
            return 0;
        return InvalidateOlderFilesByPath(ArchiveManager::sMasterFilePath, "", &time);
    }
    uint64_t count = 0;
    for (uint64_t i = 0; i < uiDirectoryCount; ++i)
        count += InvalidateByPresence(i);
    return count;
}

uint64_t Archive::InvalidateByPresence(uint64_t dirIndex)
{
    VXDirectoryEntry& directory = pDirectories[dirIndex];
    uint64_t count = 0;
    if (ListHolds(ArchiveManager::pInvalidateDirectoryHashes, directory.kHash))
    {
        for (uint32_t j = 0; j < directory.uiEntryCount; ++j)
            directory.pEntries[j].SetOffset(0);
        return directory.uiEntryCount;
    }
    char const* dirName = GetDirectoryString(dirIndex);
    char folder[MAX_PATH_BYTES];
    if (!dirName || !Join(folder, "Data\\", dirName) || !PlatformLooseFileExists(folder))
        return 0; // no loose twin: the file entries of the lists do not apply here
    for (uint32_t j = 0; j < directory.uiEntryCount; ++j)
    {
        VXFileEntry& entry = directory.pEntries[j];
        char const* fileName = nullptr;
        char loose[MAX_PATH_BYTES];
        bool listed = ListHolds(ArchiveManager::pInvalidateFileNameHashes, entry.kHash);
        if (!listed)
            fileName = GetFileString(dirIndex, j);
        if (listed ||
            (fileName && Join(loose, folder, "\\", fileName) && PlatformLooseFileExists(loose)))
        {
            entry.SetOffset(0);
            ++count;
        }
    }
    return count;
}

unsigned int Archive::InvalidateOlderFilesByPath(char const* root, char const* subPath,
                                                 _FILETIME* archiveTime)
{
    char folder[MAX_PATH_BYTES];
    if (!Join(folder, root, subPath))
        return 0;
    VXSystemDir listing(folder);
    bool finished = false;
    if (listing.NextEntry(finished) != VXSystemFile::EC_OK || finished)
        return 0;
    char key[MAX_PATH_BYTES];
    size_t subLength = std::strlen(subPath);
    Join(key, subPath, "");
    if (subLength > 1)
        key[subLength - 1] = 0;
    else
        key[0] = 0;
    uint64_t dirIndex = 0;
    bool hasDirectory = FindDirectory(VXHash(key, VXHash::HASH_RAW), dirIndex, nullptr);
    unsigned int count = 0;
    do
    {
        char const* name = listing.QName();
        if (listing.QDirectory() && name[0] != '.')
        {
            char deeper[MAX_PATH_BYTES];
            if (Join(deeper, subPath, name, "\\"))
                count += InvalidateOlderFilesByPath(root, deeper, archiveTime);
            continue;
        }
        VXSystemFile::Info info;
        if (!hasDirectory || !listing.GetInfo(info) ||
            Ticks(info.ftLastWrite) <= Ticks(*archiveTime))
            continue;
        VXHash file(name, VXHash::HASH_FILE);
        if (InvalidateFile(dirIndex, file, name))
            ++count;
    } while (listing.NextEntry(finished) == VXSystemFile::EC_OK && !finished);
    return count;
}

char const* Archive::DoesFileCollide(VXHash& dir, VXHash& file, char* path)
{
    if (!ArchiveManager::bCheckRuntimeCollisions || !QDirStrings() || !QFileStrings() || !path)
        return nullptr;
    uint64_t dirIndex = 0;
    uint64_t fileIndex = 0;
    if (!FindDirectory(dir, dirIndex, nullptr) ||
        !FindFileInDirectory(dirIndex, file, fileIndex, nullptr, false))
        return nullptr;
    if (!DirectoryNameMatches(dirIndex, path))
        return GetDirectoryString(dirIndex);
    if (!FileNameMatches(dirIndex, fileIndex, path))
        return GetFileString(dirIndex, fileIndex);
    return nullptr;
}
