#include "sysfile/VXCompletionQueue.h"

#include "sysfile/VXAsyncTransfer.h"

#include <chrono>
#include <thread>

namespace
{
constexpr unsigned int kInfinite = VXSystemFileAsyncFunctor::INFINITE_WAIT;

// Relaxed: only uniqueness matters, which the atomic increment gives.
std::atomic<unsigned int> gNextThreadId{1};

void PlainSleep(unsigned int milliseconds)
{
    if (milliseconds != kInfinite)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        return;
    }
    for (;;)
        std::this_thread::sleep_for(std::chrono::hours(24));
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
        std::lock_guard<std::mutex> hold(kLock);
        if (!bOwnerEnded)
        {
            (pTail ? pTail->pNext : pHead) = transfer;
            pTail = transfer;
            kArrived.notify_one();
            return;
        }
    }
    Drop(transfer); // outside the lock: it may free this queue
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

VXAsyncTransfer* VXCompletionQueue::Take(unsigned int milliseconds)
{
    std::unique_lock<std::mutex> hold(kLock);
    auto arrived = [this] { return pHead != nullptr; };
    if (milliseconds == kInfinite)
        kArrived.wait(hold, arrived);
    else if (milliseconds > 0)
        kArrived.wait_for(hold, std::chrono::milliseconds(milliseconds), arrived);
    VXAsyncTransfer* list = pHead;
    pHead = pTail = nullptr;
    return list;
}

void VXCompletionQueue::OwnerEnded()
{
    VXAsyncTransfer* list = nullptr;
    {
        std::lock_guard<std::mutex> hold(kLock);
        bOwnerEnded = true;
        list = pHead;
        pHead = pTail = nullptr;
    }
    Drop(list);
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

void VXCompletionQueue::Drop(VXAsyncTransfer* list)
{
    while (list)
    {
        VXAsyncTransfer* next = list->pNext;
        VXCompletionQueue* queue = list->pQueue;
        delete list;
        queue->Release();
        list = next;
    }
}
