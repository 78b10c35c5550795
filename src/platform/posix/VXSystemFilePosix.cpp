// POSIX half of VXSystemFile: descriptors, the share lock, and errno mapped to the file
// layer's codes. Every system call goes through the table of VXPosixFileCalls.h.
#include "vxsystem/VXSystemFile.h"

#include "vxsystem/MemoryManager.h"

#include "platform/VXPlatformRuntime.h"
#include "platform/posix/VXPosixFileCalls.h"

#include <sys/file.h>
#include <unistd.h>

#include <cstring>

static_assert(sizeof(intptr_t) >= sizeof(int), "a descriptor fits the handle word");

namespace
{
constexpr uint64_t kEpochDeltaSeconds = 11644473600ull; // 1601-01-01 to 1970-01-01
constexpr uint64_t kTicksPerSecond = 10000000ull;       // 100 ns ticks
constexpr uint64_t kCopyChunk = 1u << 20;

// Room for a resolved name: far beyond the 259 characters of an engine path, and small
// enough for the 16 KiB stacks of the streaming threads.
using Path = char[1024];

VXPosixFileCalls const& Calls()
{
    return VXPosixFileCallTable();
}

int Descriptor(intptr_t handle)
{
    return static_cast<int>(handle);
}

// 0, or the errno of a name that cannot be a path here.
int Resolve(char const* name, Path& path)
{
    if (!name)
        return EINVAL;
    if (!*name)
        return ENOENT;
    return PlatformResolvePath(name, path, sizeof(path)) ? 0 : ENAMETOOLONG;
}

bool IsFolder(char const* path)
{
    struct stat info;
    return VXPosixRetry([&] { return Calls().pfnStat(path, &info); }) == 0 && S_ISDIR(info.st_mode);
}

bool Exists(char const* path)
{
    struct stat info;
    return VXPosixRetry([&] { return Calls().pfnStat(path, &info); }) == 0;
}

// ENOENT does not tell a missing file from a missing folder; the folder is looked at,
// and its absence reported as ENOTDIR.
int RefineMissing(int error, char const* path)
{
    if (error != ENOENT)
        return error;
    Path parent;
    std::strncpy(parent, path, sizeof(parent) - 1);
    parent[sizeof(parent) - 1] = '\0';
    char* slash = std::strrchr(parent, '/');
    if (!slash)
        return ENOENT; // in the working folder, which exists
    slash[slash == parent ? 1 : 0] = '\0';
    return IsFolder(parent) ? ENOENT : ENOTDIR;
}

void Close(int fd)
{
    // Never retried: the descriptor is gone even when close reports EINTR.
    Calls().pfnClose(fd);
}

int CloseWith(int fd, int error)
{
    Close(fd);
    return error;
}

uint64_t TicksFromTime(timespec time)
{
    int64_t seconds = static_cast<int64_t>(time.tv_sec) + static_cast<int64_t>(kEpochDeltaSeconds);
    if (seconds < 0)
        return 0;
    return static_cast<uint64_t>(seconds) * kTicksPerSecond +
           static_cast<uint64_t>(time.tv_nsec) / 100;
}

_FILETIME FileTimeFromTime(timespec time)
{
    uint64_t ticks = TicksFromTime(time);
    return {static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
}

timespec TimeFromFileTime(_FILETIME const* time)
{
    if (!time)
        return {0, UTIME_OMIT};
    uint64_t ticks = (static_cast<uint64_t>(time->dwHighDateTime) << 32) | time->dwLowDateTime;
    timespec result;
    result.tv_sec = static_cast<time_t>(static_cast<int64_t>(ticks / kTicksPerSecond) -
                                        static_cast<int64_t>(kEpochDeltaSeconds));
    result.tv_nsec = static_cast<long>((ticks % kTicksPerSecond) * 100);
    return result;
}

struct OpenRequest
{
    int iFlags;      // access and creation flags of open()
    bool bTruncate;  // empty the file once it is locked
    bool bExclusive; // a writer: admits no other holder
    bool bNoCache;   // bypass the page cache if the file system can
};

bool Translate(VXSystemFile::AccessMode access, VXSystemFile::OpenMode open, OpenRequest& request)
{
    static constexpr int kAccess[] = {O_RDONLY, O_RDWR, O_WRONLY};
    static constexpr int kCreate[] = {0, 0, O_CREAT, 0, O_CREAT | O_EXCL};
    if (access > VXSystemFile::AM_WRITE || open > VXSystemFile::OM_CREATE_NEW)
        return false;
    // Emptying an existing file needs the right to write it.
    if (open == VXSystemFile::OM_TRUNCATE && access == VXSystemFile::AM_READ)
        return false;
    request.iFlags = kAccess[access] | kCreate[open];
    request.bTruncate = open == VXSystemFile::OM_CREATE_ALWAYS || open == VXSystemFile::OM_TRUNCATE;
    request.bExclusive = access != VXSystemFile::AM_READ;
    return true;
}

// The file is opened, refused if it is a folder, locked against other writers, and
// only then emptied, so that a refused open never destroys another holder's data.
int OpenFile(char const* path, OpenRequest const& request, int& fdOut)
{
    int fd = VXPosixRetry(
        [&] { return Calls().pfnOpen(path, request.iFlags | O_CLOEXEC | O_NOCTTY, 0666); });
    if (fd < 0)
        return errno;
    if (request.iFlags & O_CREAT)
        PlatformNotePathChanged(path);
    struct stat info;
    if (VXPosixRetry([&] { return Calls().pfnFstat(fd, &info); }) != 0)
        return CloseWith(fd, errno);
    if (S_ISDIR(info.st_mode))
        return CloseWith(fd, EISDIR);
    int lock = (request.bExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    if (VXPosixRetry([&] { return Calls().pfnFlock(fd, lock); }) != 0)
        return CloseWith(fd, errno);
    if (request.bTruncate && info.st_size != 0 &&
        VXPosixRetry([&] { return Calls().pfnFtruncate(fd, 0); }) != 0)
        return CloseWith(fd, errno);
#ifdef O_DIRECT
    // Where the file system refuses, the descriptor simply stays cached.
    if (request.bNoCache)
    {
        int flags = Calls().pfnFcntl(fd, F_GETFL, 0);
        if (flags != -1)
            Calls().pfnFcntl(fd, F_SETFL, flags | O_DIRECT);
    }
#endif
#ifdef POSIX_FADV_SEQUENTIAL
    Calls().pfnFadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    fdOut = fd;
    return 0;
}

// Opens the target of a copy: created afresh, or (when allowed) an existing file that is
// locked and emptied. created tells which, so that a failed copy removes only its own.
int OpenCopyTarget(char const* path, mode_t mode, bool failIfExists, int& fd, bool& created)
{
    int const flags = O_WRONLY | O_CLOEXEC | O_NOCTTY;
    created = true;
    fd = VXPosixRetry([&] { return Calls().pfnOpen(path, flags | O_CREAT | O_EXCL, mode); });
    if (fd < 0 && errno == EEXIST && !failIfExists)
    {
        created = false;
        fd = VXPosixRetry([&] { return Calls().pfnOpen(path, flags, 0); });
    }
    if (fd < 0)
        return errno;
    if (VXPosixRetry([&] { return Calls().pfnFlock(fd, LOCK_EX | LOCK_NB); }) != 0)
        return errno;
    if (!created && VXPosixRetry([&] { return Calls().pfnFtruncate(fd, 0); }) != 0)
        return errno;
    return 0;
}

// Copies the bytes and the times of source into target.
int CopyContent(int source, int target, struct stat const& info)
{
    void* buffer = MemoryManager::Instance().Allocate(kCopyChunk);
    if (!buffer)
        return ENOMEM;
    int error = 0;
    for (;;)
    {
        uint64_t got = 0;
        uint64_t put = 0;
        error = VXPosixReadAll(source, buffer, kCopyChunk, -1, got);
        if (error || got == 0)
            break;
        error = VXPosixWriteAll(target, buffer, got, -1, put);
        if (error)
            break;
    }
    MemoryManager::Instance().Deallocate(buffer);
    timespec const times[2] = {info.st_atim, info.st_mtim};
    if (!error && VXPosixRetry([&] { return Calls().pfnFutimens(target, times); }) != 0)
        error = errno;
    return error;
}

int Copy(char const* from, char const* to, bool failIfExists)
{
    int source = VXPosixRetry([&] { return Calls().pfnOpen(from, O_RDONLY | O_CLOEXEC, 0); });
    if (source < 0)
        return errno;
    struct stat info;
    if (VXPosixRetry([&] { return Calls().pfnFstat(source, &info); }) != 0)
        return CloseWith(source, errno);
    if (S_ISDIR(info.st_mode))
        return CloseWith(source, EISDIR);
    if (VXPosixRetry([&] { return Calls().pfnFlock(source, LOCK_SH | LOCK_NB); }) != 0)
        return CloseWith(source, errno);
    int target = -1;
    bool created = false;
    int error = OpenCopyTarget(to, info.st_mode & 0777, failIfExists, target, created);
    if (!error)
        error = CopyContent(source, target, info);
    if (target >= 0)
        Close(target);
    if (error && created && target >= 0)
        Calls().pfnUnlink(to);
    return CloseWith(source, error);
}

int Seek(int fd, int64_t offset, int whence, uint64_t& position)
{
    off_t result = Calls().pfnLseek(fd, static_cast<off_t>(offset), whence);
    if (result < 0)
        return errno;
    position = static_cast<uint64_t>(result);
    return 0;
}
} // namespace

VXSystemFile::ErrorCode VXSystemFile::FileErrorFromPlatform(int platformError)
{
    switch (platformError)
    {
    case 0:
        return EC_OK;
    case ENOENT:
        return EC_FILE_NOT_FOUND;
    case EEXIST:
        return EC_ALREADY_EXISTS;
    case ENOTDIR:
        return EC_PATH_NOT_FOUND;
    case EROFS:
        return EC_WRITE_PROTECTED;
    default:
        return EC_FAILED;
    }
}

VXSystemFile::ErrorCode VXSystemFile::DoOpen(char const* name, AccessMode access, OpenMode open,
                                             uint64_t)
{
    OpenRequest request;
    if (!Translate(access, open, request))
        return FileErrorFromPlatform(EINVAL);
    request.bNoCache =
        (uiState.load(std::memory_order_relaxed) & (ALLOW_ASYNC_MASK | ALLOW_NO_CACHE_MASK)) != 0;
    Path path;
    int error = Resolve(name, path);
    if (error)
        return FileErrorFromPlatform(error);
    int fd = -1;
    error = OpenFile(path, request, fd);
    if (error && open == OM_APPEND)
    {
        // Open or create; an existing file keeps its content even when the first open
        // failed for a passing cause.
        request.iFlags |= O_CREAT;
        error = OpenFile(path, request, fd);
    }
    if (error)
        return FileErrorFromPlatform(RefineMissing(error, path));
    hFile = fd;
    if (open != OM_APPEND || QAsyncEnabled())
        return EC_OK;
    uint64_t position = 0;
    return FileErrorFromPlatform(::Seek(fd, 0, SEEK_END, position));
}

void VXSystemFile::DoClose()
{
    Close(Descriptor(hFile));
    InvalidateFile();
}

VXSystemFile::ErrorCode VXSystemFile::DoRead(void* buffer, uint64_t size, uint64_t& bytesRead)
{
    bytesRead = 0;
    if (QAsyncEnabled())
        return EC_FAILED;
    return FileErrorFromPlatform(VXPosixReadAll(Descriptor(hFile), buffer, size, -1, bytesRead));
}

VXSystemFile::ErrorCode VXSystemFile::DoWrite(void const* buffer, uint64_t size,
                                              uint64_t& bytesWritten)
{
    bytesWritten = 0;
    if (QAsyncEnabled())
        return EC_FAILED;
    return FileErrorFromPlatform(
        VXPosixWriteAll(Descriptor(hFile), buffer, size, -1, bytesWritten));
}

VXSystemFile::ErrorCode VXSystemFile::DoReadAt(void* buffer, uint64_t size, uint64_t offset,
                                               uint64_t& bytesRead) const
{
    bytesRead = 0;
    if (offset > static_cast<uint64_t>(INT64_MAX))
        return FileErrorFromPlatform(EINVAL);
    return FileErrorFromPlatform(
        VXPosixReadAll(Descriptor(hFile), buffer, size, static_cast<int64_t>(offset), bytesRead));
}

VXSystemFile::ErrorCode VXSystemFile::DoWriteAt(void const* buffer, uint64_t size, uint64_t offset,
                                                uint64_t& bytesWritten) const
{
    bytesWritten = 0;
    if (offset > static_cast<uint64_t>(INT64_MAX))
        return FileErrorFromPlatform(EINVAL);
    return FileErrorFromPlatform(VXPosixWriteAll(Descriptor(hFile), buffer, size,
                                                 static_cast<int64_t>(offset), bytesWritten));
}

VXSystemFile::ErrorCode VXSystemFile::DoSeek(int64_t offset, SeekMode mode, uint64_t& position)
{
    static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (QAsyncEnabled())
        return EC_FAILED;
    if (mode > SM_END)
        return FileErrorFromPlatform(EINVAL);
    uint64_t result = 0;
    int error = ::Seek(Descriptor(hFile), offset, kWhence[mode], result);
    if (!error)
        position = result;
    return FileErrorFromPlatform(error);
}

VXSystemFile::ErrorCode VXSystemFile::DoSetEndOfFile()
{
    int fd = Descriptor(hFile);
    uint64_t position = 0;
    int error = ::Seek(fd, 0, SEEK_CUR, position);
    if (!error &&
        VXPosixRetry([&] { return Calls().pfnFtruncate(fd, static_cast<off_t>(position)); }) != 0)
        error = errno;
    return FileErrorFromPlatform(error);
}

VXSystemFile::ErrorCode VXSystemFile::DoGetSize(uint64_t& size) const
{
    struct stat info;
    if (VXPosixRetry([&] { return Calls().pfnFstat(Descriptor(hFile), &info); }) != 0)
    {
        size = 0;
        return EC_FAILED;
    }
    size = static_cast<uint64_t>(info.st_size);
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoFlush()
{
    int fd = Descriptor(hFile);
    return VXPosixRetry([&] { return Calls().pfnFsync(fd); }) == 0 ? EC_OK : EC_FAILED;
}

VXSystemFile::ErrorCode VXSystemFile::DoGetInfo(Info& info) const
{
    int fd = Descriptor(hFile);
    struct stat status;
    if (VXPosixRetry([&] { return Calls().pfnFstat(fd, &status); }) != 0)
    {
        info = Info{};
        return EC_FAILED;
    }
    timespec birth;
    if (VXPosixRetry([&] { return Calls().pfnBirthTime(fd, &birth); }) != 0)
        birth = status.st_mtim; // the file system keeps no birth time
    info.ftLastAccess = FileTimeFromTime(status.st_atim);
    info.ftLastWrite = FileTimeFromTime(status.st_mtim);
    info.ftCreation = FileTimeFromTime(birth);
    info.uiSize = static_cast<uint64_t>(status.st_size);
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoSetTime(_FILETIME const*, _FILETIME const* lastAccess,
                                                _FILETIME const* lastWrite)
{
    // The birth time cannot be set here; it is left as it is.
    timespec const times[2] = {TimeFromFileTime(lastAccess), TimeFromFileTime(lastWrite)};
    int fd = Descriptor(hFile);
    return VXPosixRetry([&] { return Calls().pfnFutimens(fd, times); }) == 0
               ? EC_OK
               : FileErrorFromPlatform(errno);
}

namespace
{
// A file that one of our objects holds is not removed, as Windows refuses to delete an
// open file: an exclusive share lock is taken first and held across the unlink. A file
// that cannot be opened to test (no read right) is removed as the folder allows.
int Unlink(char const* path)
{
    int fd = VXPosixRetry(
        [&] { return Calls().pfnOpen(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0); });
    if (fd >= 0 && VXPosixRetry([&] { return Calls().pfnFlock(fd, LOCK_EX | LOCK_NB); }) != 0)
        return CloseWith(fd, errno);
    int error = VXPosixRetry([&] { return Calls().pfnUnlink(path); }) == 0 ? 0 : errno;
    if (fd >= 0)
        Close(fd);
    return error;
}
} // namespace

VXSystemFile::ErrorCode VXSystemFile::DoDeleteFile(char const* name)
{
    Path path;
    int error = Resolve(name, path);
    if (!error && (error = Unlink(path)) != 0)
        error = RefineMissing(error, path);
    if (!error)
        PlatformNotePathChanged(path);
    return FileErrorFromPlatform(error);
}

VXSystemFile::ErrorCode VXSystemFile::DoCopyFile(char const* fromName, char const* toName,
                                                 bool failIfExists)
{
    Path from;
    Path to;
    int error = Resolve(fromName, from);
    if (!error)
        error = Resolve(toName, to);
    if (!error)
        error = Copy(from, to, failIfExists);
    if (!error)
        PlatformNotePathChanged(to);
    return FileErrorFromPlatform(error);
}

VXSystemFile::ErrorCode VXSystemFile::DoMoveFile(char const* fromName, char const* toName,
                                                 bool replace)
{
    Path from;
    Path to;
    int error = Resolve(fromName, from);
    if (!error)
        error = Resolve(toName, to);
    if (error)
        return FileErrorFromPlatform(error);
    VXPosixFileCalls const& calls = Calls();
    int result = replace ? VXPosixRetry([&] { return calls.pfnRename(from, to); })
                         : VXPosixRetry([&] { return calls.pfnRenameNoReplace(from, to); });
    if (result != 0 && !replace && (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP))
    {
        // The file system cannot refuse by itself: look first, then move.
        if (Exists(to))
            return EC_ALREADY_EXISTS;
        result = VXPosixRetry([&] { return calls.pfnRename(from, to); });
    }
    PlatformNotePathChanged(from);
    PlatformNotePathChanged(to);
    if (result == 0)
        return EC_OK;
    error = errno;
    // A missing source is the source's problem; otherwise the target's folder is missing.
    if (error == ENOENT)
        error = Exists(from) ? ENOTDIR : RefineMissing(ENOENT, from);
    return FileErrorFromPlatform(error);
}
