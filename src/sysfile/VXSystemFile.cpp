// Generic half of VXSystemFile: construction and transfer of ownership, the state word,
// and the public operations, each storing its partner's code. No platform call here.
#include "vxsystem/VXSystemFile.h"

#include "vxsystem/VXCriticalSection.h"

#include <cstring>

// Release/acquire: a host may prepare state that its callback then reads.
std::atomic<VXSystemFile::ErrorCallback> VXSystemFile::spErrorCallback{nullptr};

namespace
{
// Reentrant, so that a callback may invoke the callback service again.
VXCriticalSection& ErrorCallbackLock()
{
    static VXCriticalSection sErrorCallbackLock;
    return sErrorCallbackLock;
}

} // namespace

// The name is emptied too, so that a transfer from an empty object copies no garbage.
VXSystemFile::VXSystemFile() : uiState(EC_INVALID), hFile(INVALID_HANDLE), acFileName{} {}

VXSystemFile::VXSystemFile(char const* name, AccessMode access, OpenMode open, bool allowAsync,
                           uint64_t size, bool allowNoCache)
    : uiState((allowAsync ? ALLOW_ASYNC_MASK : 0u) | (allowNoCache ? ALLOW_NO_CACHE_MASK : 0u)),
      hFile(INVALID_HANDLE)
{
    SetFileName(name);
    // The full name, not the cut copy: a long path still opens.
    SetErrorCode(uiState, DoOpen(name, access, open, size));
}

VXSystemFile::VXSystemFile(VXSystemFile& other) : uiState(EC_INVALID), hFile(INVALID_HANDLE)
{
    TakeFrom(other);
}

VXSystemFile::VXSystemFile(VXSystemFile&& other) : uiState(EC_INVALID), hFile(INVALID_HANDLE)
{
    TakeFrom(other);
}

VXSystemFile::~VXSystemFile()
{
    if (hFile != INVALID_HANDLE)
        DoClose();
}

VXSystemFile& VXSystemFile::operator=(VXSystemFile& other)
{
    if (&other == this)
        return *this;
    if (hFile != INVALID_HANDLE)
        DoClose();
    TakeFrom(other);
    return *this;
}

VXSystemFile& VXSystemFile::operator=(VXSystemFile&& other)
{
    if (&other == this)
        return *this;
    unsigned int state = uiState.load(std::memory_order_relaxed);
    uiState.store(other.uiState.load(std::memory_order_relaxed), std::memory_order_relaxed);
    other.uiState.store(state, std::memory_order_relaxed);
    std::swap(hFile, other.hFile);
    SetFileName(other.acFileName);
    return *this;
}

void VXSystemFile::TakeFrom(VXSystemFile& other)
{
    uiState.store(other.uiState.load(std::memory_order_relaxed), std::memory_order_relaxed);
    hFile = other.hFile;
    SetFileName(other.acFileName);
    other.Invalidate();
}

void VXSystemFile::SetFileName(char const* name)
{
    if (name == acFileName)
        return;
    std::memset(acFileName, 0, sizeof(acFileName));
    if (name)
        std::memcpy(acFileName, name, strnlen(name, uiMaxFileNameS - 1));
}

VXSystemFile::ErrorCode VXSystemFile::SetErrorCode(std::atomic<unsigned int>& state, ErrorCode code)
{
    // Bit 31 is fixed for the object's life, so a plain load and store keep it.
    unsigned int kept = state.load(std::memory_order_relaxed) & ALLOW_ASYNC_MASK;
    state.store(kept | code, std::memory_order_relaxed);
    return code;
}

void VXSystemFile::Invalidate()
{
    uiState.store(EC_INVALID, std::memory_order_relaxed);
    InvalidateFile();
}

VXSystemFile::ErrorCode VXSystemFile::Read(void* buffer, uint64_t size, uint64_t& bytesRead)
{
    return SetErrorCode(uiState, DoRead(buffer, size, bytesRead));
}

VXSystemFile::ErrorCode VXSystemFile::Write(void const* buffer, uint64_t size,
                                            uint64_t& bytesWritten)
{
    return SetErrorCode(uiState, DoWrite(buffer, size, bytesWritten));
}

VXSystemFile::ErrorCode VXSystemFile::ReadAt(void* buffer, uint64_t size, uint64_t offset,
                                             uint64_t& bytesRead)
{
    return SetErrorCode(uiState, DoReadAt(buffer, size, offset, bytesRead));
}

VXSystemFile::ErrorCode VXSystemFile::WriteAt(void const* buffer, uint64_t size, uint64_t offset,
                                              uint64_t& bytesWritten)
{
    return SetErrorCode(uiState, DoWriteAt(buffer, size, offset, bytesWritten));
}

VXSystemFile::ErrorCode VXSystemFile::ReadAsync(void* buffer, uint64_t size, uint64_t offset,
                                                VXSystemFileAsyncFunctor& functor)
{
    return SetErrorCode(uiState, DoReadAsync(buffer, size, offset, functor));
}

VXSystemFile::ErrorCode VXSystemFile::WriteAsync(void const* buffer, uint64_t size, uint64_t offset,
                                                 VXSystemFileAsyncFunctor& functor)
{
    return SetErrorCode(uiState, DoWriteAsync(buffer, size, offset, functor));
}

VXSystemFile::ErrorCode VXSystemFile::Seek(int64_t offset, SeekMode mode, uint64_t& position)
{
    return SetErrorCode(uiState, DoSeek(offset, mode, position));
}

VXSystemFile::ErrorCode VXSystemFile::Flush()
{
    return SetErrorCode(uiState, DoFlush());
}

VXSystemFile::ErrorCode VXSystemFile::GetSize(uint64_t& size)
{
    return SetErrorCode(uiState, DoGetSize(size));
}

VXSystemFile::ErrorCode VXSystemFile::GetInfo(Info& info)
{
    return SetErrorCode(uiState, DoGetInfo(info));
}

VXSystemFile::ErrorCode VXSystemFile::SetEndOfFile()
{
    return SetErrorCode(uiState, DoSetEndOfFile());
}

VXSystemFile::ErrorCode VXSystemFile::Truncate(uint64_t count)
{
    return SetErrorCode(uiState, DoTruncate(count));
}

VXSystemFile::ErrorCode VXSystemFile::DoTruncate(uint64_t count)
{
    // A count larger than the file seeks before its start, which fails: the file stays.
    if (count > static_cast<uint64_t>(INT64_MAX))
        return EC_FAILED;
    uint64_t position = 0;
    ErrorCode code = DoSeek(-static_cast<int64_t>(count), SM_END, position);
    return code == EC_OK ? DoSetEndOfFile() : code;
}

VXSystemFile::ErrorCode VXSystemFile::GetSizeOfFile(char const* path, uint64_t& size)
{
    VXSystemFile file(path, AM_READ, OM_EXISTING, false, 0, false);
    ErrorCode code = file.QLastError();
    if (code != EC_OK)
    {
        size = 0;
        return code;
    }
    return file.DoGetSize(size);
}

VXSystemFile::ErrorCode VXSystemFile::DeleteFile(char const* path)
{
    return DoDeleteFile(path) == EC_OK ? EC_OK : EC_FAILED;
}

VXSystemFile::ErrorCode VXSystemFile::CopyFile(char const* from, char const* to, bool failIfExists)
{
    return DoCopyFile(from, to, failIfExists) == EC_OK ? EC_OK : EC_FAILED;
}

VXSystemFile::ErrorCode VXSystemFile::RenameFile(char const* from, char const* to,
                                                 bool refuseReplace)
{
    ErrorCode code = DoMoveFile(from, to, false);
    if (code == EC_OK)
        return EC_OK;
    if (refuseReplace)
        return EC_FAILED;
    // Only an existing target is worth replacing; any other cause (a missing source,
    // say) is reported with the target left in place.
    if (code != EC_ALREADY_EXISTS)
        return code;
    return DoMoveFile(from, to, true);
}

VXSystemFile::ErrorCode VXSystemFile::SetTime(char const* path, _FILETIME const* creation,
                                              _FILETIME const* lastAccess,
                                              _FILETIME const* lastWrite)
{
    VXSystemFile file(path, AM_READ_WRITE, OM_EXISTING, false, 0, false);
    ErrorCode code = file.QLastError();
    if (code != EC_OK)
        return code;
    return file.DoSetTime(creation, lastAccess, lastWrite);
}

void VXSystemFile::SetErrorCallback(ErrorCallback callback)
{
    spErrorCallback.store(callback, std::memory_order_release);
}

bool VXSystemFile::InvokeErrorCallback(char const* name, FileOperation operation, int code)
{
    VXScopedCriticalSection hold(ErrorCallbackLock());
    ErrorCallback callback = spErrorCallback.load(std::memory_order_acquire);
    return callback ? callback(name, operation, code) : true;
}
