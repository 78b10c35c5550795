// The record of one asynchronous file transfer, and the pool of worker threads that
// runs them. A transfer is issued on one thread, run on a worker, then handed back to
// the issuing thread's completion queue, where an alertable wait completes it.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include <cstdint>

class VXCompletionQueue;

struct VXAsyncTransfer : public VXHeapObject
{
    using Overlapped = VXSystemFileAsyncFunctor::Overlapped;

    VXAsyncTransfer* pNext = nullptr;    // link in the pool's queue, then the thread's
    VXCompletionQueue* pQueue = nullptr; // issuing thread's queue; holds one reference
    // On a worker: moves the bytes and fills iError and uiBytes. With cancel set it only
    // gives back what the transfer holds (the transfer will never run).
    void (*pfnRun)(VXAsyncTransfer& transfer, bool cancel) = nullptr;
    // On the issuing thread, inside an alertable wait.
    void (*pfnComplete)(int error, uint64_t bytes, Overlapped* overlapped) = nullptr;
    intptr_t hFile = -1; // a descriptor of the transfer's own, closed by pfnRun
    void* pBuffer = nullptr;
    uint64_t uiSize = 0;
    uint64_t uiOffset = 0;
    bool bWrite = false;
    Overlapped* pOverlapped = nullptr;
    int iError = 0;       // platform error number of the outcome
    uint64_t uiBytes = 0; // bytes moved
};

namespace VXAsyncTransferPool
{
// Queues a transfer for a worker, starting one if none is idle and fewer than the
// maximum run. False, with the transfer untouched, when no worker can take it.
bool Submit(VXAsyncTransfer* transfer);
} // namespace VXAsyncTransferPool
