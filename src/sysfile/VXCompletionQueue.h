// The per-thread queue of finished asynchronous transfers. Workers post to it from any
// thread; the owning thread drains it, running each completion, only while it waits
// alertably. A queue lives while its thread or one of its transfers holds a reference;
// transfers posted after the thread ended are dropped.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

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
    static void Drop(VXAsyncTransfer* list);

    std::mutex kLock;                 // guards the list and bOwnerEnded
    std::condition_variable kArrived; // signalled by Post
    VXAsyncTransfer* pHead = nullptr; // oldest finished transfer
    VXAsyncTransfer* pTail = nullptr; // newest finished transfer
    bool bOwnerEnded = false;         // the owning thread has exited
    std::atomic<unsigned int> uiReferences{1};
};
