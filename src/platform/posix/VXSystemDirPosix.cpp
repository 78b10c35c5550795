// POSIX listing and folder creation for VXSystemDir.
#include "sysfile/VXSystemDirPlatform.h"

#include "platform/VXPlatformRuntime.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

int PlatformOpenDir(char const* folder, void*& handle)
{
    DIR* dir = opendir(folder);
    handle = dir;
    return dir ? 0 : errno;
}

int PlatformReadDir(void* handle, char const*& name)
{
    errno = 0;
    dirent* entry = readdir(static_cast<DIR*>(handle));
    if (!entry)
        return errno ? errno : VX_DIR_END;
    name = entry->d_name;
    return 0;
}

int PlatformStatDirEntry(void* handle, char const* name, VXDirEntryFacts& facts)
{
    int folder = dirfd(static_cast<DIR*>(handle));
    struct stat info;
    if (fstatat(folder, name, &info, 0) != 0)
        return errno;
    facts.bDirectory = S_ISDIR(info.st_mode);
    facts.bRegular = S_ISREG(info.st_mode);
    facts.uiSize = static_cast<uint64_t>(info.st_size);
    facts.iAccessSec = info.st_atim.tv_sec;
    facts.iAccessNsec = info.st_atim.tv_nsec;
    facts.iWriteSec = info.st_mtim.tv_sec;
    facts.iWriteNsec = info.st_mtim.tv_nsec;
    facts.bHasBirth = false;
#ifdef STATX_BTIME
    struct statx extended;
    if (statx(folder, name, 0, STATX_BTIME, &extended) == 0 && (extended.stx_mask & STATX_BTIME))
    {
        facts.bHasBirth = true;
        facts.iBirthSec = extended.stx_btime.tv_sec;
        facts.iBirthNsec = extended.stx_btime.tv_nsec;
    }
#endif
    return 0;
}

void PlatformCloseDir(void* handle)
{
    closedir(static_cast<DIR*>(handle));
}

int PlatformMakeDir(char const* path)
{
    int error = mkdir(path, 0777) == 0 ? 0 : errno;
    PlatformNotePathChanged(path);
    return error;
}
