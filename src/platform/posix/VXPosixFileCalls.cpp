// The real system calls behind the file layer's table, and the transfer loops.
#include "platform/posix/VXPosixFileCalls.h"

#include <stdio.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

namespace
{
// One platform transfer moves at most this much; larger requests loop.
constexpr uint64_t kMaxChunk = 1ull << 30;

int CallOpen(char const* path, int flags, mode_t mode)
{
    return open(path, flags, mode);
}

// A transfer's own descriptor must not leak into child processes either.
int CallDup(int fd)
{
    return fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

int CallFcntl(int fd, int command, int argument)
{
    return fcntl(fd, command, argument);
}

int CallBirthTime(int fd, timespec* birth)
{
#ifdef STATX_BTIME
    struct statx info;
    if (statx(fd, "", AT_EMPTY_PATH, STATX_BTIME, &info) != 0)
        return -1;
    if (!(info.stx_mask & STATX_BTIME))
    {
        errno = ENOSYS;
        return -1;
    }
    birth->tv_sec = info.stx_btime.tv_sec;
    birth->tv_nsec = info.stx_btime.tv_nsec;
    return 0;
#else
    (void)fd;
    (void)birth;
    errno = ENOSYS;
    return -1;
#endif
}

int CallFadvise(int fd, off_t offset, off_t length, int advice)
{
#ifdef POSIX_FADV_SEQUENTIAL
    return posix_fadvise(fd, offset, length, advice);
#else
    (void)fd;
    (void)offset;
    (void)length;
    (void)advice;
    return 0;
#endif
}

int CallRenameNoReplace(char const* from, char const* to)
{
#ifdef RENAME_NOREPLACE
    return renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
#else
    (void)from;
    (void)to;
    errno = ENOSYS;
    return -1;
#endif
}

constexpr VXPosixFileCalls kDefaults = {.pfnOpen = CallOpen,
                                        .pfnClose = close,
                                        .pfnDup = CallDup,
                                        .pfnRead = read,
                                        .pfnWrite = write,
                                        .pfnPread = pread,
                                        .pfnPwrite = pwrite,
                                        .pfnLseek = lseek,
                                        .pfnFstat = fstat,
                                        .pfnStat = stat,
                                        .pfnBirthTime = CallBirthTime,
                                        .pfnFtruncate = ftruncate,
                                        .pfnFsync = fsync,
                                        .pfnFlock = flock,
                                        .pfnFcntl = CallFcntl,
                                        .pfnFadvise = CallFadvise,
                                        .pfnFutimens = futimens,
                                        .pfnUnlink = unlink,
                                        .pfnRename = rename,
                                        .pfnRenameNoReplace = CallRenameNoReplace};

VXPosixFileCalls gCalls = kDefaults;

ssize_t ReadOnce(int fd, char* buffer, size_t size, int64_t offset)
{
    VXPosixFileCalls const& calls = VXPosixFileCallTable();
    if (offset < 0)
        return VXPosixRetry([&] { return calls.pfnRead(fd, buffer, size); });
    return VXPosixRetry([&]
                        { return calls.pfnPread(fd, buffer, size, static_cast<off_t>(offset)); });
}

ssize_t WriteOnce(int fd, char const* buffer, size_t size, int64_t offset)
{
    VXPosixFileCalls const& calls = VXPosixFileCallTable();
    if (offset < 0)
        return VXPosixRetry([&] { return calls.pfnWrite(fd, buffer, size); });
    return VXPosixRetry([&]
                        { return calls.pfnPwrite(fd, buffer, size, static_cast<off_t>(offset)); });
}

int64_t Advance(int64_t offset, uint64_t moved)
{
    return offset < 0 ? offset : offset + static_cast<int64_t>(moved);
}
} // namespace

VXPosixFileCalls& VXPosixFileCallTable()
{
    return gCalls;
}

VXPosixFileCalls const& VXPosixFileCallDefaults()
{
    return kDefaults;
}

int VXPosixReadAll(int fd, void* buffer, uint64_t size, int64_t offset, uint64_t& moved)
{
    moved = 0;
    char* target = static_cast<char*>(buffer);
    while (moved < size)
    {
        size_t chunk = static_cast<size_t>(std::min(size - moved, kMaxChunk));
        ssize_t done = ReadOnce(fd, target + moved, chunk, Advance(offset, moved));
        if (done < 0)
            return errno;
        if (done == 0)
            return 0; // end of file
        moved += static_cast<uint64_t>(done);
    }
    return 0;
}

int VXPosixWriteAll(int fd, void const* buffer, uint64_t size, int64_t offset, uint64_t& moved)
{
    moved = 0;
    char const* source = static_cast<char const*>(buffer);
    while (moved < size)
    {
        size_t chunk = static_cast<size_t>(std::min(size - moved, kMaxChunk));
        ssize_t done = WriteOnce(fd, source + moved, chunk, Advance(offset, moved));
        if (done < 0)
            return errno;
        if (done == 0)
            return EIO; // no progress: a device that takes nothing more
        moved += static_cast<uint64_t>(done);
    }
    return 0;
}
