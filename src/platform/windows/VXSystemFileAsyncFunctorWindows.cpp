// Windows half of asynchronous transfers: ReadFileEx and WriteFileEx, whose completion
// routines the system runs on the issuing thread inside its alertable waits.
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include "platform/windows/VXWindowsApi.h"
#include "sysfile/VXAsyncWaitPlatform.h"

#include <cstddef>

namespace
{
using Overlapped = VXSystemFileAsyncFunctor::Overlapped;

// The functor's control block is handed to the system as its OVERLAPPED.
static_assert(sizeof(Overlapped) == sizeof(OVERLAPPED), "control block size");
static_assert(offsetof(Overlapped, uiInternal) == offsetof(OVERLAPPED, Internal), "layout");
static_assert(offsetof(Overlapped, uiInternalHigh) == offsetof(OVERLAPPED, InternalHigh), "layout");
static_assert(offsetof(Overlapped, uiOffset) == offsetof(OVERLAPPED, Offset), "layout");
static_assert(offsetof(Overlapped, uiOffsetHigh) == offsetof(OVERLAPPED, OffsetHigh), "layout");
static_assert(offsetof(Overlapped, pEvent) == offsetof(OVERLAPPED, hEvent), "layout");

void WINAPI CompleteTransfer(DWORD error, DWORD bytes, OVERLAPPED* block)
{
    auto* overlapped = reinterpret_cast<Overlapped*>(block);
    if (!overlapped || !overlapped->pEvent)
        return;
    auto* functor = static_cast<VXSystemFileAsyncFunctor*>(overlapped->pEvent);
    functor->ExecuteUserCB(VXSystemFile::FileErrorFromPlatform(static_cast<int>(error)), bytes);
}

OVERLAPPED* Prepare(Overlapped& overlapped, uint64_t offset, void* functor)
{
    overlapped.uiInternal = 0;
    overlapped.uiInternalHigh = 0;
    overlapped.uiOffset = static_cast<uint32_t>(offset);
    overlapped.uiOffsetHigh = static_cast<uint32_t>(offset >> 32);
    overlapped.pEvent = functor; // ReadFileEx leaves hEvent to the caller
    return reinterpret_cast<OVERLAPPED*>(&overlapped);
}

// Whether the system would refuse the read as starting at or past the end. Asked first,
// because a system may instead accept such a read and fail it in the routine.
bool StartsPastEnd(HANDLE file, uint64_t size, uint64_t offset)
{
    LARGE_INTEGER length{};
    return size > 0 && GetFileSizeEx(file, &length) &&
           offset >= static_cast<uint64_t>(length.QuadPart);
}
} // namespace

bool PlatformAlertableSleep(unsigned int milliseconds)
{
    return SleepEx(milliseconds, TRUE) == WAIT_IO_COMPLETION;
}

unsigned int PlatformAsyncThreadId()
{
    return GetCurrentThreadId();
}

VXSystemFile::ErrorCode VXSystemFile::DoReadAsync(void* buffer, uint64_t size, uint64_t offset,
                                                  VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    OVERLAPPED* block = Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(GetCurrentThreadId(), std::memory_order_relaxed);
    // Release: publishes the issuing thread to foreign pollers.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    HANDLE file = reinterpret_cast<HANDLE>(hFile);
    DWORD error = 0;
    if (size > 0xFFFFFFFFu)
        error = ERROR_INVALID_PARAMETER; // one system transfer moves at most 4 GiB - 1
    else if (StartsPastEnd(file, size, offset))
        error = ERROR_HANDLE_EOF;
    else if (!ReadFileEx(file, buffer, static_cast<DWORD>(size), block, CompleteTransfer))
        error = GetLastError();
    if (!error)
        return EC_OK;
    functor.uiState.store(VXSystemFileAsyncFunctor::uiAvailable, std::memory_order_relaxed);
    return error == ERROR_HANDLE_EOF ? EC_OK : FileErrorFromPlatform(static_cast<int>(error));
}

VXSystemFile::ErrorCode VXSystemFile::DoWriteAsync(void const* buffer, uint64_t size,
                                                   uint64_t offset,
                                                   VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    OVERLAPPED* block = Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(GetCurrentThreadId(), std::memory_order_relaxed);
    if (size > 0xFFFFFFFFu)
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    if (!WriteFileEx(reinterpret_cast<HANDLE>(hFile), buffer, static_cast<DWORD>(size), block,
                     CompleteTransfer))
        return FileErrorFromPlatform(static_cast<int>(GetLastError()));
    // Safe after the issue: the routine can only run in a later wait of this thread.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    return EC_OK;
}
