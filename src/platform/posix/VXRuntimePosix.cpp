// POSIX half of the runtime seam: stdio, access and file times.
#include "platform/VXPlatformRuntime.h"
#include "platform/posix/VXPosixFileCalls.h"
#include "platform/posix/VXPosixStreamCalls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace
{
// Seconds from 1601-01-01 to 1970-01-01.
constexpr uint64_t kEpochDeltaSeconds = 11644473600ull;

VXPosixStreamCalls const& Calls()
{
    return VXPosixStreamCallTable();
}

bool Resolve(char const* name, char (&path)[4096])
{
    return name && *name && PlatformResolvePath(name, path, sizeof(path));
}
} // namespace

int PlatformAccess(char const* name, int mode)
{
    // Existence alone: the folder listings answer most misses with one stat, not a walk.
    if (mode == 0)
        return PlatformLooseFileExists(name) ? 0 : -1;
    char path[4096];
    if (!Resolve(name, path))
        return -1;
    int flags = F_OK;
    if (mode & 2)
        flags |= W_OK;
    if (mode & 4)
        flags |= R_OK;
    return access(path, flags) == 0 ? 0 : -1;
}

int PlatformOpenStream(FILE** stream, char const* name, char const* mode)
{
    if (!stream)
        return EINVAL;
    *stream = nullptr;
    char path[4096];
    if (!Resolve(name, path) || !mode)
        return EINVAL;
    struct stat info;
    if (stat(path, &info) == 0 && S_ISDIR(info.st_mode))
        return EISDIR;
    // "e": close-on-exec, so that a child process never inherits our files.
    char closeOnExec[16];
    if (std::snprintf(closeOnExec, sizeof(closeOnExec), "%se", mode) >= int(sizeof(closeOnExec)))
        return EINVAL;
    *stream = Calls().pfnOpen(path, closeOnExec);
    if (*stream && mode[0] != 'r')
        PlatformNotePathChanged(path); // a new file may have appeared in its folder
    return *stream ? 0 : errno;
}

uint64_t PlatformReadStream(FILE* stream, void* buffer, uint64_t size)
{
    return stream && buffer ? Calls().pfnRead(buffer, 1, static_cast<size_t>(size), stream) : 0;
}

uint64_t PlatformWriteStream(FILE* stream, void const* buffer, uint64_t size)
{
    return stream && buffer ? Calls().pfnWrite(buffer, 1, static_cast<size_t>(size), stream) : 0;
}

int PlatformFlushStream(FILE* stream)
{
    return stream ? Calls().pfnFlush(stream) : EOF;
}

int PlatformCloseStream(FILE* stream)
{
    return stream ? Calls().pfnClose(stream) : EOF;
}

int PlatformSeekStream(FILE* stream, int64_t offset, int whence)
{
    return stream ? Calls().pfnSeek(stream, static_cast<off_t>(offset), whence) : -1;
}

int64_t PlatformTellStream(FILE* stream)
{
    return stream ? static_cast<int64_t>(Calls().pfnTell(stream)) : -1;
}

int64_t PlatformReadStreamAt(FILE* stream, uint64_t position, void* buffer, uint64_t size)
{
    if (!stream || !buffer)
        return -1;
    uint64_t moved = 0;
    int error = VXPosixReadAll(fileno(stream), buffer, size, static_cast<int64_t>(position), moved);
    return error && moved == 0 ? -1 : static_cast<int64_t>(moved);
}

bool PlatformGetLastWriteTime(char const* name, uint64_t& ticks)
{
    char path[4096];
    struct stat info;
    if (!Resolve(name, path) || stat(path, &info) != 0)
        return false;
    ticks = (static_cast<uint64_t>(info.st_mtim.tv_sec) + kEpochDeltaSeconds) * 10000000ull +
            static_cast<uint64_t>(info.st_mtim.tv_nsec) / 100;
    return true;
}

bool PlatformFileTimeToLocalTime(uint64_t ticks, SYSTEMTIME& out)
{
    uint64_t seconds = ticks / 10000000ull;
    if (seconds < kEpochDeltaSeconds)
        return false;
    time_t unixTime = static_cast<time_t>(seconds - kEpochDeltaSeconds);
    tm local;
    if (!localtime_r(&unixTime, &local))
        return false;
    out.wYear = static_cast<uint16_t>(local.tm_year + 1900);
    out.wMonth = static_cast<uint16_t>(local.tm_mon + 1);
    out.wDayOfWeek = static_cast<uint16_t>(local.tm_wday);
    out.wDay = static_cast<uint16_t>(local.tm_mday);
    out.wHour = static_cast<uint16_t>(local.tm_hour);
    out.wMinute = static_cast<uint16_t>(local.tm_min);
    out.wSecond = static_cast<uint16_t>(local.tm_sec);
    out.wMilliseconds = static_cast<uint16_t>((ticks / 10000) % 1000);
    return true;
}
