// Polymorphic base of the system's threads: Initialize starts a platform thread that runs
// the virtual ThreadProc; Close waits for it to end. A derived class must see its thread
// ended (Close) before its own destructor runs; the base destructor closes as a last
// resort. Initialize, SetThreadPriority and Close belong to the owning thread.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <atomic>

class VXThread : public VXHeapObject
{
public:
    // Stack sizes in bytes; callers may pass any number. 0 is the platform default, and
    // the platform never gives less than its default.
    enum StackSize : unsigned int
    {
        STACK_DEFAULT = 0,
        STACK_16K = 0x4000,
        STACK_64K = 0x10000,
        STACK_256K = 0x40000,
        STACK_1M = 0x100000,
    };

    VXThread();
    virtual ~VXThread();
    VXThread(VXThread const&) = delete;
    VXThread& operator=(VXThread const&) = delete;

    // Starts the thread; false when it could not be created or already runs. name is
    // null or a diagnostic name for debuggers (the platform may cut it).
    bool Initialize(unsigned int stackSize, char const* name);
    // Priority on the common scale: 0 normal, 2 highest, -2 lowest. Applies as soon as
    // the thread runs. False when the platform refused (raising may need rights).
    bool SetThreadPriority(int priority);
    // Waits for ThreadProc to return and releases the platform thread. Called from the
    // thread itself, it only lets the thread go.
    void Close();

    bool QStarted() const { return bStarted; }
    // The thread's id once it runs, else 0.
    uint32_t QThreadId() const { return uiThreadId.load(std::memory_order_acquire); }
    // ThreadProc's result once Close has waited for it.
    unsigned int QExitCode() const { return uiExitCode; }

    // The id of the calling thread: never 0, distinct among live threads.
    static uint32_t GetCurrentThreadId();

protected:
    virtual unsigned int ThreadProc() { return 0; }

private:
    static void Entry(void* self);
    bool ApplyPriority();

    uint64_t hThread; // platform handle while bStarted
    bool bStarted;
    unsigned int uiExitCode;
    char acName[32];
    // Seq_cst: SetThreadPriority stores the priority, then reads the id; the new thread
    // stores its id, then reads the priority, so at least one of them applies it.
    std::atomic<uint32_t> uiThreadId;
    std::atomic<int> iPriority;
    std::atomic<bool> bPrioritySet;
    // Set once Initialize has stored the handle; the new thread waits for it.
    std::atomic<bool> bLaunched;
};
