// POSIX half of asynchronous transfers. There are no completion routines here, so a
// transfer runs on the worker pool with a descriptor of its own, and its completion
// goes back to the issuing thread's queue, to run in that thread's next alertable wait.
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include "platform/posix/VXPosixFileCalls.h"
#include "sysfile/VXAsyncTransfer.h"
#include "sysfile/VXCompletionQueue.h"

#include <unistd.h>

namespace
{
using Overlapped = VXSystemFileAsyncFunctor::Overlapped;

// Stands for the platform's end-of-file error: a read that found nothing to read.
constexpr int kEndOfFile = ENODATA;

void RunTransfer(VXAsyncTransfer& transfer, bool cancel)
{
    int fd = static_cast<int>(transfer.hFile);
    if (!cancel)
    {
        int64_t offset = static_cast<int64_t>(transfer.uiOffset);
        uint64_t moved = 0;
        transfer.iError =
            transfer.bWrite ? VXPosixWriteAll(fd, transfer.pBuffer, transfer.uiSize, offset, moved)
                            : VXPosixReadAll(fd, transfer.pBuffer, transfer.uiSize, offset, moved);
        if (!transfer.bWrite && transfer.iError == 0 && moved == 0 && transfer.uiSize > 0)
            transfer.iError = kEndOfFile; // the file ended before the transfer ran
        transfer.uiBytes = moved;
    }
    VXPosixFileCallTable().pfnClose(fd);
}

// The completion routine, on the issuing thread inside its alertable wait.
void CompleteTransfer(int error, uint64_t bytes, Overlapped* overlapped)
{
    if (!overlapped->pEvent)
        return;
    overlapped->uiInternal = static_cast<uintptr_t>(error);
    overlapped->uiInternalHigh = static_cast<uintptr_t>(bytes);
    auto* functor = static_cast<VXSystemFileAsyncFunctor*>(overlapped->pEvent);
    functor->ExecuteUserCB(VXSystemFile::FileErrorFromPlatform(error), bytes);
}

// A read that starts at or past the end is refused at once, as the platform would.
bool StartsPastEnd(int fd, uint64_t size, uint64_t offset)
{
    struct stat info;
    return size > 0 &&
           VXPosixRetry([&] { return VXPosixFileCallTable().pfnFstat(fd, &info); }) == 0 &&
           offset >= static_cast<uint64_t>(info.st_size);
}

// Hands one transfer to the pool. The transfer gets a descriptor of its own, so that a
// file closed meanwhile cannot redirect it into another file. Gives 0 or an errno.
int Issue(intptr_t handle, void* buffer, uint64_t size, uint64_t offset, bool write,
          Overlapped& overlapped)
{
    if (offset > static_cast<uint64_t>(INT64_MAX))
        return EINVAL;
    int fd = VXPosixRetry([&] { return VXPosixFileCallTable().pfnDup(static_cast<int>(handle)); });
    if (fd < 0)
        return errno;
    auto* transfer = new VXAsyncTransfer;
    VXCompletionQueue* queue = transfer ? VXCompletionQueue::AcquireCurrent() : nullptr;
    if (!queue)
    {
        delete transfer;
        VXPosixFileCallTable().pfnClose(fd);
        return ENOMEM;
    }
    transfer->pQueue = queue;
    transfer->pfnRun = RunTransfer;
    transfer->pfnComplete = CompleteTransfer;
    transfer->hFile = fd;
    transfer->pBuffer = buffer;
    transfer->uiSize = size;
    transfer->uiOffset = offset;
    transfer->bWrite = write;
    transfer->pOverlapped = &overlapped;
    if (VXAsyncTransferPool::Submit(transfer))
        return 0;
    RunTransfer(*transfer, true);
    delete transfer;
    queue->Release();
    return EAGAIN;
}

void Prepare(Overlapped& overlapped, uint64_t offset, void* functor)
{
    overlapped.uiOffset = static_cast<uint32_t>(offset);
    overlapped.uiOffsetHigh = static_cast<uint32_t>(offset >> 32);
    overlapped.pEvent = functor;
}
} // namespace

VXSystemFile::ErrorCode VXSystemFile::DoReadAsync(void* buffer, uint64_t size, uint64_t offset,
                                                  VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(VXCompletionQueue::CurrentThreadId(), std::memory_order_relaxed);
    // Release: publishes the issuing thread to foreign pollers.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    int fd = static_cast<int>(hFile);
    int error = StartsPastEnd(fd, size, offset)
                    ? kEndOfFile
                    : Issue(hFile, buffer, size, offset, false, functor.sOverlapped);
    if (!error)
        return EC_OK;
    functor.uiState.store(VXSystemFileAsyncFunctor::uiAvailable, std::memory_order_relaxed);
    return error == kEndOfFile ? EC_OK : FileErrorFromPlatform(error);
}

VXSystemFile::ErrorCode VXSystemFile::DoWriteAsync(void const* buffer, uint64_t size,
                                                   uint64_t offset,
                                                   VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(VXCompletionQueue::CurrentThreadId(), std::memory_order_relaxed);
    // The worker only reads the buffer; the transfer record carries it as writable.
    int error = Issue(hFile, const_cast<void*>(buffer), size, offset, true, functor.sOverlapped);
    if (error)
        return FileErrorFromPlatform(error);
    // Safe after the issue: the completion can only run in a later wait of this thread.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    return EC_OK;
}
