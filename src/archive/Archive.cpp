#include "vxsystem/Archive.h"

#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"

#include "platform/VXPlatformRuntime.h"

#include <cstdint>
#include <cstring>

Archive::Archive(char const* name, uint64_t bufferSize, bool secondary, bool invalidateOthers)
    : VXArchive(), VXFile(name, KoFile::MODE_READ, bufferSize, false), iArchiveFileTime(0),
      uiFileNamesOffset(0), ucArchiveFlags(0), pIndex(nullptr), pDirectoryStrings(nullptr),
      pDirectoryStringOffsets(nullptr), uiDirectoryNamesCapacity(0), pFileStrings(nullptr),
      pFileStringOffsets(nullptr), pReadAhead(nullptr), pReadAheadNext(nullptr),
      bFillingReadAhead(false), acHintsFront{}, uiLastDirectoryIndex(NO_INDEX),
      uiLastFileIndex(NO_INDEX), uiNextReadPos(0), bReadAheadHeld(false), acHintsBack{}
{
    acDirectoryScratch[0] = 0;
    acFileScratch[0] = 0;
    if (secondary)
        SetSecondary(true);
    // Many readers share the stream: each read is one positioned call.
    bPositionedReads = true;
    Load(invalidateOthers);
}

Archive::~Archive()
{
    DeleteDirectoryStringArray();
    DeleteFilenameStringArray(false);
    DeleteFileData();
    ReleaseReadAhead();
}

bool Archive::CheckRetain(bool archiveFlag, int setting)
{
    if (setting == 1)
        return archiveFlag;
    return setting != 0;
}

bool Archive::QRetainDirectoryStringTable() const
{
    return CheckRetain(QRetainDirectoryNames(), ArchiveManager::iRetainDirectoryStringTable);
}

bool Archive::QRetainFilenameStringTable() const
{
    return CheckRetain(QRetainFileNames(), ArchiveManager::iRetainFilenameStringTable);
}

bool Archive::QRetainFilenameOffsetTable() const
{
    return CheckRetain(QRetainFileNameOffsets(), ArchiveManager::iRetainFilenameOffsetTable);
}

bool Archive::QLoadStrings() const
{
    return ArchiveManager::bInvalidateOlderFiles || ArchiveManager::bCheckRuntimeCollisions ||
           QRetainStringsDuringStartup() || QRetainDirectoryStringTable() ||
           QRetainFilenameStringTable() || QRetainFilenameOffsetTable();
}

bool Archive::CheckValidFile(VXFileEntry const* entry, bool ignoreOwner) const
{
    if (!entry)
        return false;
    if (!ignoreOwner && entry->QOwner() != GetSecondary())
        return false;
    return entry->QOffset() != 0;
}

VXDirectoryEntry* Archive::GetDirectory(uint64_t index)
{
    if (!pDirectories || index >= uiDirectoryCount)
        return nullptr;
    return &pDirectories[index];
}

uint64_t Archive::GetDirectoryIndexForFileEntry(VXFileEntry const* entry) const
{
    if (!pDirectories || !entry)
        return NO_DIRECTORY;
    auto address = reinterpret_cast<uintptr_t>(entry);
    for (uint64_t i = 0; i < uiDirectoryCount; ++i)
    {
        VXDirectoryEntry const& directory = pDirectories[i];
        auto begin = reinterpret_cast<uintptr_t>(directory.pEntries);
        auto end = reinterpret_cast<uintptr_t>(directory.pEntries + directory.uiEntryCount);
        if (directory.pEntries && address >= begin && address < end)
            return i;
    }
    return NO_DIRECTORY;
}

uint64_t Archive::GetFileIndexForFileEntryFromDirectory(uint64_t dirIndex,
                                                        VXFileEntry const* entry) const
{
    if (!pDirectories || dirIndex >= uiDirectoryCount || !entry)
        return NO_INDEX;
    // As integers: the pointer may lie in another array.
    auto address = reinterpret_cast<uintptr_t>(entry);
    auto begin = reinterpret_cast<uintptr_t>(pDirectories[dirIndex].pEntries);
    return static_cast<uint64_t>(address - begin) / sizeof(VXFileEntry);
}

bool Archive::SeekStreamTo(uint64_t position)
{
    if (pFile && bPositionedReads)
    {
        uiDiskPos = position;
        return true;
    }
    if (!pFile || PlatformSeekStream(pFile, static_cast<int64_t>(position), SEEK_SET) != 0)
        return false;
    uiDiskPos = position;
    return true;
}
