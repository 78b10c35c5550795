// The system calls of the POSIX file layer, gathered in one table so that tests can put
// faults in their way (short transfers, EIO, ENOSPC, EINTR), and the loops that every
// transfer goes through. Entries follow the calls' own convention: -1 and errno.
// The table is not guarded: change it only while no transfer is out.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>

struct VXPosixFileCalls
{
    int (*pfnOpen)(char const* path, int flags, mode_t mode);
    int (*pfnClose)(int fd);
    int (*pfnDup)(int fd);
    ssize_t (*pfnRead)(int fd, void* buffer, size_t size);
    ssize_t (*pfnWrite)(int fd, void const* buffer, size_t size);
    ssize_t (*pfnPread)(int fd, void* buffer, size_t size, off_t offset);
    ssize_t (*pfnPwrite)(int fd, void const* buffer, size_t size, off_t offset);
    off_t (*pfnLseek)(int fd, off_t offset, int whence);
    int (*pfnFstat)(int fd, struct stat* info);
    int (*pfnStat)(char const* path, struct stat* info);
    // Birth time of an open file; -1 with ENOSYS where the system keeps none.
    int (*pfnBirthTime)(int fd, timespec* birth);
    int (*pfnFtruncate)(int fd, off_t length);
    int (*pfnFsync)(int fd);
    int (*pfnFlock)(int fd, int operation);
    // fcntl with an integer argument (F_GETFL, F_SETFL).
    int (*pfnFcntl)(int fd, int command, int argument);
    // Access-pattern hint; gives an error number, not -1.
    int (*pfnFadvise)(int fd, off_t offset, off_t length, int advice);
    int (*pfnFutimens)(int fd, timespec const times[2]);
    int (*pfnUnlink)(char const* path);
    int (*pfnRename)(char const* from, char const* to);
    // Rename that fails with EEXIST over an existing target; EINVAL or ENOSYS where the
    // file system cannot promise that.
    int (*pfnRenameNoReplace)(char const* from, char const* to);
};

// The live table, and the real calls to restore it from.
VXPosixFileCalls& VXPosixFileCallTable();
VXPosixFileCalls const& VXPosixFileCallDefaults();

// Whole transfers: short platform transfers are continued and EINTR is retried. offset
// < 0 moves at the file pointer. Gives 0 or the errno that stopped the transfer; moved
// tells the bytes moved either way. A read stops early only at the end of the file.
int VXPosixReadAll(int fd, void* buffer, uint64_t size, int64_t offset, uint64_t& moved);
int VXPosixWriteAll(int fd, void const* buffer, uint64_t size, int64_t offset, uint64_t& moved);

// Runs a call again for as long as a signal interrupts it.
template <typename Call> auto VXPosixRetry(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}
