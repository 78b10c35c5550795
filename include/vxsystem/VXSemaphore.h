// Counting semaphores between the threads of one process. Each holds one platform handle;
// a handle that could not be made (out of memory) makes every call fail. Not copyable.
// Results are ints: 1 for success, 0 for failure or time-out.
#pragma once

#include "vxsystem/VXTypes.h"

#include <atomic>

class VXSemaphore
{
public:
    // initial units, at most maximum at any time.
    VXSemaphore(int initial, int maximum) : hSemaphore(CreateHandle(initial, maximum)) {}
    ~VXSemaphore() { CloseHandle(hSemaphore); }
    VXSemaphore(VXSemaphore const&) = delete;
    VXSemaphore& operator=(VXSemaphore const&) = delete;

    // Adds count units and wakes as many waiters; 0, with none added, past the maximum.
    int Signal(int count = 1) { return SignalHandle(hSemaphore, count); }
    // Takes one unit, waiting up to timeoutMs milliseconds (-1: for ever). 0 on time-out.
    int Wait(int timeoutMs = -1) { return WaitHandle(hSemaphore, timeoutMs); }
    bool QValid() const { return hSemaphore != nullptr; }

    // The same on bare handles, for classes that embed one. Null on failure.
    static void* CreateHandle(int initial, int maximum);
    static void CloseHandle(void* handle);
    static int SignalHandle(void* handle, int count);
    static int WaitHandle(void* handle, int timeoutMs);

private:
    void* hSemaphore;
};

// A semaphore with its count in view: Signal raises iCount and the semaphore by one,
// up to iMaxCount, and Wait takes one unit and lowers iCount.
class VXCountedSemaphore
{
public:
    explicit VXCountedSemaphore(int maxCount = 1)
        : hSemaphore(VXSemaphore::CreateHandle(0, maxCount)), iCount(0), iMaxCount(maxCount)
    {
    }
    ~VXCountedSemaphore() { VXSemaphore::CloseHandle(hSemaphore); }
    VXCountedSemaphore(VXCountedSemaphore const&) = delete;
    VXCountedSemaphore& operator=(VXCountedSemaphore const&) = delete;

    // 1 when a unit was added, 0 when the count stood at its maximum.
    int Signal();
    // Waits for ever for a unit; 1 when taken, 0 on failure.
    int Wait();
    int QCount() const { return iCount.load(std::memory_order_relaxed); }

    void* hSemaphore;
    // Relaxed: the semaphore itself orders the work between signaller and waiter.
    std::atomic<int32_t> iCount;
    int32_t iMaxCount;
};
