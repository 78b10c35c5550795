// VXSystemFile: owns one operating-system file handle, and defines the error codes that
// the whole file layer speaks. Bytes move sequentially (Read/Write at the file pointer),
// positioned (ReadAt/WriteAt) or asynchronously (ReadAsync/WriteAsync, completed through
// VXSystemFileAsyncFunctor); which of them work is fixed at open by the allow-async flag.
//
// Contract:
// - The object owns its handle; the destructor closes it. Copying transfers the handle:
//   the source is left holding nothing (EC_INVALID). There is no close and no reopen.
// - Each public call records its result, EC_OK too, so QLastError reports the most
//   recent call. A failed open leaves an object whose operations fail against the
//   invalid handle.
// - No lock. ReadAt/WriteAt/GetSize/GetInfo may run on several threads at once (the
//   state word then tells one of the outcomes); Read, Write and Seek move the shared
//   file pointer, so only one thread may use them on an object.
// - Sharing: while one of our objects holds a file, others may open it to read, and
//   nobody may open it to write; an object opened for writing admits no other. A held
//   file cannot be deleted. On Windows these are the system's share modes; on POSIX an
//   advisory lock that every VXSystemFile honours, not a guard against other programs.
// - Names may use backslashes and any letter case; they are resolved against the disk.
//
// Error mapping (FileErrorFromPlatform). Windows: 2, 183 and 80 (what CREATE_NEW says
// for an existing file), 3, 19 give the codes 2 to 5 below, everything else EC_FAILED.
// POSIX errno values:
//   0                        -> EC_OK
//   ENOENT                   -> EC_FILE_NOT_FOUND
//   EEXIST                   -> EC_ALREADY_EXISTS
//   ENOTDIR                  -> EC_PATH_NOT_FOUND (also an ENOENT whose folder is missing)
//   EROFS                    -> EC_WRITE_PROTECTED
//   anything else            -> EC_FAILED (EACCES, EIO, ENOSPC, EINVAL, EISDIR, EWOULDBLOCK
//                               for a sharing conflict, ENODATA for a read at the end ...)
//
// No-cache and async files bypass the page cache where the file system allows it (and
// fall back to cached I/O where it does not). Their transfers must then be aligned: the
// buffer address, the offset and the size multiples of 4096; a read may ask past the end
// and comes back short. A misaligned transfer fails with EC_FAILED.
//
// Transfers pass the whole 64-bit size; short platform transfers are continued, so a
// short count means the end of the file (reads) or an error (writes). A failed transfer
// reports in its count what was moved before the error.
#pragma once

#include "vxsystem/VXTypes.h"

#include <atomic>
#include <cstdint>

class VXSystemFileAsyncFunctor;
namespace VXSystemFileStreamer
{
class Streamer;
}
namespace VXBTreeFile
{
class PageFile;
}

class VXSystemFile
{
public:
    enum ErrorCode : unsigned int
    {
        EC_OK = 0,              // success
        EC_INVALID = 1,         // the object holds no file
        EC_FILE_NOT_FOUND = 2,  // no such file
        EC_ALREADY_EXISTS = 3,  // the target exists
        EC_PATH_NOT_FOUND = 4,  // a folder of the path is missing
        EC_WRITE_PROTECTED = 5, // the medium is write-protected
        EC_FAILED = 6           // every other failure
    };

    enum AccessMode : unsigned int
    {
        AM_READ = 0,
        AM_READ_WRITE = 1,
        AM_WRITE = 2
    };

    enum OpenMode : unsigned int
    {
        OM_EXISTING = 0,      // the file must exist
        OM_APPEND = 1,        // open or create; a sequential object starts at the end
        OM_CREATE_ALWAYS = 2, // create, or empty an existing file
        OM_TRUNCATE = 3,      // the file must exist and is emptied (needs write access)
        OM_CREATE_NEW = 4     // the file must not exist
    };

    enum SeekMode : unsigned int
    {
        SM_BEGIN = 0,
        SM_CURRENT = 1,
        SM_END = 2
    };

    // Only handed through InvokeErrorCallback; the file layer produces none itself.
    enum FileOperation : unsigned int
    {
        FO_OPEN,
        FO_READ,
        FO_WRITE,
        FO_SEEK,
        FO_FLUSH,
        FO_DELETE,
        FO_COPY,
        FO_RENAME,
        FO_OTHER
    };

    // File times are 100 ns ticks since 1601-01-01 UTC.
    struct Info
    {
        _FILETIME ftLastAccess;
        _FILETIME ftLastWrite;
        _FILETIME ftCreation; // birth time where the file system keeps one, else last write
        uint64_t uiSize;      // bytes
    };

    using ErrorCallback = bool (*)(char const* name, FileOperation operation, int code);

    VXSystemFile();
    // Opens at once; test QLastError. size is an expected size, a hint only.
    VXSystemFile(char const* name, AccessMode access, OpenMode open, bool allowAsync, uint64_t size,
                 bool allowNoCache);
    VXSystemFile(VXSystemFile& other);
    VXSystemFile(VXSystemFile&& other);
    ~VXSystemFile();
    // Closes the own handle, then takes the source's as the copy constructor does.
    VXSystemFile& operator=(VXSystemFile& other);
    // Swaps handle and state: the source closes the former handle when it dies.
    VXSystemFile& operator=(VXSystemFile&& other);

    ErrorCode Read(void* buffer, uint64_t size, uint64_t& bytesRead);
    ErrorCode Write(void const* buffer, uint64_t size, uint64_t& bytesWritten);
    ErrorCode ReadAt(void* buffer, uint64_t size, uint64_t offset, uint64_t& bytesRead);
    ErrorCode WriteAt(void const* buffer, uint64_t size, uint64_t offset, uint64_t& bytesWritten);
    // The code says whether the transfer started; its outcome goes to the functor.
    ErrorCode ReadAsync(void* buffer, uint64_t size, uint64_t offset,
                        VXSystemFileAsyncFunctor& functor);
    ErrorCode WriteAsync(void const* buffer, uint64_t size, uint64_t offset,
                         VXSystemFileAsyncFunctor& functor);
    ErrorCode Seek(int64_t offset, SeekMode mode, uint64_t& position);
    ErrorCode Flush();
    ErrorCode GetSize(uint64_t& size);
    ErrorCode GetInfo(Info& info);
    // The file ends at the file pointer.
    ErrorCode SetEndOfFile();
    // Removes count bytes from the end (count is what goes, not the new size).
    ErrorCode Truncate(uint64_t count);

    ErrorCode QLastError() const { return GetErrorCode(uiState.load(std::memory_order_relaxed)); }
    bool QAsyncEnabled() const
    {
        return (uiState.load(std::memory_order_relaxed) & ALLOW_ASYNC_MASK) != 0;
    }
    char const* GetFileName() const { return acFileName; }
    // Keeps at most 255 characters; null leaves the name empty.
    void SetFileName(char const* name);

    friend bool operator==(VXSystemFile const& a, VXSystemFile const& b)
    {
        return a.hFile == b.hFile;
    }

    // None of the statics stores anything in an object.
    static ErrorCode GetSizeOfFile(char const* path, uint64_t& size);
    static ErrorCode DeleteFile(char const* path);
    static ErrorCode CopyFile(char const* from, char const* to, bool failIfExists);
    static ErrorCode RenameFile(char const* from, char const* to, bool refuseReplace);
    // A null time is left as it is. Creation time cannot be set on every file system.
    static ErrorCode SetTime(char const* path, _FILETIME const* creation,
                             _FILETIME const* lastAccess, _FILETIME const* lastWrite);
    static void SetErrorCallback(ErrorCallback callback);
    // Runs the callback under a reentrant lock; true when there is none.
    static bool InvokeErrorCallback(char const* name, FileOperation operation, int code);
    // The one mapping from a platform error number to the vocabulary above.
    static ErrorCode FileErrorFromPlatform(int platformError);

private:
    friend class VXSystemFileStreamer::Streamer;
    friend class VXBTreeFile::PageFile;

    static constexpr unsigned int EC_MASK = 0x3FFFFFFF;
    static constexpr unsigned int ALLOW_NO_CACHE_SHIFT = 30;
    static constexpr unsigned int ALLOW_NO_CACHE_MASK = 0x40000000;
    static constexpr unsigned int ALLOW_ASYNC_SHIFT = 31;
    static constexpr unsigned int ALLOW_ASYNC_MASK = 0x80000000;
    static constexpr unsigned int uiMaxFileNameS = 256;
    static constexpr intptr_t INVALID_HANDLE = -1;

    static ErrorCode GetErrorCode(unsigned int state)
    {
        return static_cast<ErrorCode>(state & EC_MASK);
    }
    // Keeps bit 31 only (allow no cache is read once, during the open).
    static ErrorCode SetErrorCode(std::atomic<unsigned int>& state, ErrorCode code);

    void Invalidate();
    void InvalidateFile() { hFile = INVALID_HANDLE; }
    void TakeFrom(VXSystemFile& other);

    // Platform half: one partner per public operation, the statics' platform calls.
    ErrorCode DoOpen(char const* name, AccessMode access, OpenMode open, uint64_t size);
    void DoClose();
    ErrorCode DoRead(void* buffer, uint64_t size, uint64_t& bytesRead);
    ErrorCode DoReadAt(void* buffer, uint64_t size, uint64_t offset, uint64_t& bytesRead) const;
    ErrorCode DoWrite(void const* buffer, uint64_t size, uint64_t& bytesWritten);
    ErrorCode DoWriteAt(void const* buffer, uint64_t size, uint64_t offset,
                        uint64_t& bytesWritten) const;
    ErrorCode DoSeek(int64_t offset, SeekMode mode, uint64_t& position);
    ErrorCode DoSetEndOfFile();
    ErrorCode DoTruncate(uint64_t count);
    ErrorCode DoGetSize(uint64_t& size) const;
    ErrorCode DoFlush();
    ErrorCode DoReadAsync(void* buffer, uint64_t size, uint64_t offset,
                          VXSystemFileAsyncFunctor& functor);
    ErrorCode DoWriteAsync(void const* buffer, uint64_t size, uint64_t offset,
                           VXSystemFileAsyncFunctor& functor);
    ErrorCode DoGetInfo(Info& info) const;
    ErrorCode DoSetTime(_FILETIME const* creation, _FILETIME const* lastAccess,
                        _FILETIME const* lastWrite);
    static ErrorCode DoDeleteFile(char const* path);
    static ErrorCode DoCopyFile(char const* from, char const* to, bool failIfExists);
    // Moves without replacing (EC_ALREADY_EXISTS when the target is there), or replaces
    // the target in one step.
    static ErrorCode DoMoveFile(char const* from, char const* to, bool replace);

    static std::atomic<ErrorCallback> spErrorCallback; // null when none

    // Bits 0-29 last error, bit 30 allow no cache, bit 31 allow async. Relaxed atomic:
    // it only reports outcomes, and concurrent positioned transfers all store into it.
    mutable std::atomic<unsigned int> uiState;
    intptr_t hFile;                  // descriptor, all bits set when none
    char acFileName[uiMaxFileNameS]; // at most 255 characters and a terminator
};
