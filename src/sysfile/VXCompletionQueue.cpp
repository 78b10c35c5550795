#include "sysfile/VXCompletionQueue.h"

#include "sysfile/VXAsyncTransfer.h"

#include "foundation/VXPlatformSync.h"

namespace
{
constexpr unsigned int kInfinite = VXSystemFileAsyncFunctor::INFINITE_WAIT;

// Relaxed: only uniqueness matters, which the atomic increment gives.
std::atomic<unsigned int> gNextThreadId{1};

void PlainSleep(unsigned int milliseconds)
{
    if (milliseconds != kInfinite)
    {
        PlatformSleepMs(milliseconds);
        return;
    }
    for (;;)
        PlatformSleepMs(24 * 3600 * 1000);
}
} // namespace

thread_local VXCompletionQueue::Holder VXCompletionQueue::sThreadHolder;

VXCompletionQueue::Holder::~Holder()
{
    if (pQueue)
        pQueue->OwnerEnded();
}

VXCompletionQueue* VXCompletionQueue::AcquireCurrent()
{
    if (!sThreadHolder.pQueue)
        sThreadHolder.pQueue = new VXCompletionQueue;
    if (!sThreadHolder.pQueue)
        return nullptr;
    // Relaxed: the caller already owns a reference (the thread's), as in shared_ptr.
    sThreadHolder.pQueue->uiReferences.fetch_add(1, std::memory_order_relaxed);
    return sThreadHolder.pQueue;
}

void VXCompletionQueue::Release()
{
    // Acq_rel: the last owner must see every write made under the other references.
    if (uiReferences.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

void VXCompletionQueue::Post(VXAsyncTransfer* transfer)
{
    transfer->pNext = nullptr;
    {
        VXScopedCriticalSection hold(kLock);
        if (!bOwnerEnded)
        {
            (pTail ? pTail->pNext : pHead) = transfer;
            pTail = transfer;
            kArrived.Set();
            return;
        }
    }
    // No thread is left to deliver it, and a foreign Wait would poll for ever. Outside
    // the lock: completing may free this queue.
    Complete(transfer);
}

bool VXCompletionQueue::AlertableSleep(unsigned int milliseconds)
{
    VXCompletionQueue* queue = sThreadHolder.pQueue;
    if (!queue)
    {
        // No transfer was ever issued here, so nothing can arrive.
        PlainSleep(milliseconds);
        return false;
    }
    VXAsyncTransfer* list = queue->Take(milliseconds);
    if (!list)
        return false;
    Complete(list);
    return true;
}

unsigned int VXCompletionQueue::CurrentThreadId()
{
    thread_local unsigned int tId = 0;
    if (tId == 0)
        tId = gNextThreadId.fetch_add(1, std::memory_order_relaxed);
    return tId;
}

VXAsyncTransfer* VXCompletionQueue::TakeList()
{
    VXScopedCriticalSection hold(kLock);
    VXAsyncTransfer* list = pHead;
    pHead = pTail = nullptr;
    return list;
}

VXAsyncTransfer* VXCompletionQueue::Take(unsigned int milliseconds)
{
    VXAsyncTransfer* list = TakeList();
    if (list || milliseconds == 0)
        return list;
    if (milliseconds != kInfinite)
    {
        if (!kArrived.QValid())
            PlatformSleepMs(milliseconds);
        else if (!kArrived.Wait(static_cast<int>(milliseconds)))
            return nullptr;
        return TakeList();
    }
    while (!list)
    {
        // Without an event (no memory for one) poll gently instead.
        if (!kArrived.Wait(-1))
            PlatformSleepMs(1);
        list = TakeList();
    }
    return list;
}

void VXCompletionQueue::OwnerEnded()
{
    VXAsyncTransfer* list = nullptr;
    {
        VXScopedCriticalSection hold(kLock);
        bOwnerEnded = true;
        list = pHead;
        pHead = pTail = nullptr;
    }
    Complete(list);
    Release();
}

void VXCompletionQueue::Complete(VXAsyncTransfer* list)
{
    // The routine may issue again or sleep alertably again: the list is already ours.
    while (list)
    {
        VXAsyncTransfer* next = list->pNext;
        list->pfnComplete(list->iError, list->uiBytes, list->pOverlapped);
        VXCompletionQueue* queue = list->pQueue;
        delete list;
        queue->Release();
        list = next;
    }
}
