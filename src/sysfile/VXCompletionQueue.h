// The per-thread queue of finished asynchronous transfers. Workers post to it from any
// thread; the owning thread drains it, running each completion, only while it waits
// alertably. A queue lives while its thread or one of its transfers holds a reference.
// Once its thread has ended nobody can wait there, so completions run where they arrive:
// at the thread's exit, or on the worker that posts them.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXEventFlag.h"

#include <atomic>

struct VXAsyncTransfer;

class VXCompletionQueue : public VXHeapObject
{
public:
    // The calling thread's queue, created on first use, with one more reference for the
    // caller. Null when it cannot be allocated.
    static VXCompletionQueue* AcquireCurrent();
    void Release();
    // Any thread: hands a finished transfer to the owning thread; takes it over.
    void Post(VXAsyncTransfer* transfer);

    // The calling thread's alertable sleep (see VXSystemFileAsyncFunctor::AlertableSleep).
    static bool AlertableSleep(unsigned int milliseconds);
    // A number for the calling thread, never 0 and never reused in this process.
    static unsigned int CurrentThreadId();

private:
    // Gives the owning thread's reference back when the thread ends.
    struct Holder
    {
        VXCompletionQueue* pQueue = nullptr;
        ~Holder();
    };
    static thread_local Holder sThreadHolder;

    VXCompletionQueue() = default;
    ~VXCompletionQueue() = default;
    VXAsyncTransfer* Take(unsigned int milliseconds);
    void OwnerEnded();
    static void Complete(VXAsyncTransfer* list);
    VXAsyncTransfer* TakeList();

    VXCriticalSection kLock; // guards the list and bOwnerEnded
    VXEventFlag kArrived;    // auto-reset, set by Post; may be stale, so callers look again
    VXAsyncTransfer* pHead = nullptr; // oldest finished transfer
    VXAsyncTransfer* pTail = nullptr; // newest finished transfer
    bool bOwnerEnded = false;         // the owning thread has exited
    std::atomic<unsigned int> uiReferences{1};
};
