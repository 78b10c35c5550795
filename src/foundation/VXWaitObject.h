// The object behind semaphore and event handles: a count guarded by a platform mutex,
// with a condition variable for waiters. A semaphore counts units up to a maximum; an
// event is a count of 0 or 1 that an auto-reset wait takes back and a manual-reset wait
// leaves. Thread-safe. Waits on several objects at once go through one process-wide
// condition, which every change wakes while such a wait is under way.
#pragma once

#include "foundation/VXPlatformSync.h"
#include "vxsystem/MemoryManager.h"

class VXWaitObject : public VXHeapObject
{
public:
    // Null when the heap or the platform had no room.
    static VXWaitObject* CreateSemaphore(int initial, int maximum);
    static VXWaitObject* CreateEvent(bool manualReset, bool initialState);
    ~VXWaitObject();
    VXWaitObject(VXWaitObject const&) = delete;
    VXWaitObject& operator=(VXWaitObject const&) = delete;

    // Adds count units; false, with nothing added, past the maximum or for count < 1.
    bool Release(int count);
    void Set();
    void Reset();
    // Takes one unit (or sees the event set). timeoutMs < 0 waits for ever. False on
    // time-out.
    bool Wait(int timeoutMs);

    // Waits until one (waitAll false) or every object is signalled. Gives the index of
    // the one taken, 0 when all were, or -1 on time-out or bad arguments. With waitAll,
    // the objects are tested one by one, not as one atomic step.
    static int WaitMultiple(VXWaitObject* const* objects, unsigned int count, bool waitAll,
                            int timeoutMs);

private:
    VXWaitObject(int initial, int maximum, bool manualReset);
    bool Init();
    bool TryTake();
    bool QSignalled();
    void Take();
    void NotifyMultiWaiters();

    alignas(8) unsigned char acMutex[VX_PLATFORM_MUTEX_BYTES];
    alignas(8) unsigned char acCond[VX_PLATFORM_COND_BYTES];
    int iCount;   // units available; 0 or 1 for events
    int iMaximum; // highest iCount
    bool bManualReset;
    bool bMutexReady;
    bool bCondReady;
};

// Milliseconds to a PlatformTicks deadline; negative stays "no limit".
int64_t VXDeadlineFromTimeout(int timeoutMs);
