// The archive stage of the finder: open archives answer first, and a member is served as
// a reader from its archive. File times of members are their archive's time.
#include "vxsystem/FileFinder.h"

#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"

#include "platform/VXPlatformRuntime.h"

bool FileFinder::LookInArchives(char* name, unsigned int& uiSearchFlags, unsigned int uiArchiveType)
{
    if (!(uiSearchFlags & SEARCH_NO_ARCHIVES) &&
        ArchiveManager::FindFile(name, static_cast<ARCHIVE_TYPE>(uiArchiveType)))
        return true;
    // The loose flags bind only while archives are in use without invalidation.
    if (!ArchiveManager::bUseArchives || ArchiveManager::bInvalidateOlderFiles)
        uiSearchFlags = 0;
    return false;
}

KoFile* FileFinder::GetArchiveFile(char const* name, unsigned int uiBufferSize,
                                   unsigned int uiArchiveType)
{
    return ArchiveManager::GetFile(name, uiBufferSize, static_cast<ARCHIVE_TYPE>(uiArchiveType));
}

bool FileFinder::GetFileTime(char const* name, _FILETIME& time)
{
    return GetFileTime(name, time, ARCHIVE_TYPE_ALL);
}

bool FileFinder::GetFileTime(char const* name, _FILETIME& time, unsigned int uiArchiveType)
{
    time = {0, 0};
    Archive* archive =
        ArchiveManager::GetArchiveForFile(name, static_cast<ARCHIVE_TYPE>(uiArchiveType));
    return PlatformGetFileTime(archive ? archive->GetFileName() : name, time);
}

bool FileFinder::PlatformGetFileTime(char const* path, _FILETIME& time)
{
    uint64_t ticks = 0;
    if (!path || !PlatformGetLastWriteTime(path, ticks))
        return false;
    time.dwLowDateTime = static_cast<uint32_t>(ticks);
    time.dwHighDateTime = static_cast<uint32_t>(ticks >> 32);
    return true;
}
