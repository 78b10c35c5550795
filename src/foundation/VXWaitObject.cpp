#include "foundation/VXWaitObject.h"

#include <atomic>
#include <new>

namespace
{
// The condition that multi-object waits sleep on.
struct MultiWaitGate
{
    MultiWaitGate()
    {
        PlatformMutexInit(acMutex, false);
        PlatformCondInit(acCond);
    }
    alignas(8) unsigned char acMutex[VX_PLATFORM_MUTEX_BYTES];
    alignas(8) unsigned char acCond[VX_PLATFORM_COND_BYTES];
};

MultiWaitGate& Gate()
{
    // Never destroyed: objects may be signalled while statics are torn down.
    alignas(MultiWaitGate) static unsigned char acStorage[sizeof(MultiWaitGate)];
    static MultiWaitGate* spGate = ::new (acStorage) MultiWaitGate;
    return *spGate;
}

// Seq_cst pairs with the state change of a signaller: either the signaller sees a waiter
// and wakes the gate, or the waiter, counted first, sees the new state.
std::atomic<int> gMultiWaiters{0};

class ScopedMutex
{
public:
    explicit ScopedMutex(void* mutex) : pMutex(mutex) { PlatformMutexLock(pMutex); }
    ~ScopedMutex() { PlatformMutexUnlock(pMutex); }
    ScopedMutex(ScopedMutex const&) = delete;
    ScopedMutex& operator=(ScopedMutex const&) = delete;

private:
    void* pMutex;
};
} // namespace

int64_t VXDeadlineFromTimeout(int timeoutMs)
{
    if (timeoutMs < 0)
        return -1;
    return PlatformTicks() + static_cast<int64_t>(timeoutMs) * VX_TICKS_PER_MS;
}

VXWaitObject::VXWaitObject(int initial, int maximum, bool manualReset)
    : iCount(initial), iMaximum(maximum), bManualReset(manualReset), bMutexReady(false),
      bCondReady(false)
{
}

VXWaitObject::~VXWaitObject()
{
    if (bCondReady)
        PlatformCondDestroy(acCond);
    if (bMutexReady)
        PlatformMutexDestroy(acMutex);
}

bool VXWaitObject::Init()
{
    bMutexReady = PlatformMutexInit(acMutex, false);
    bCondReady = bMutexReady && PlatformCondInit(acCond);
    return bCondReady;
}

VXWaitObject* VXWaitObject::CreateSemaphore(int initial, int maximum)
{
    if (maximum < 1 || initial < 0 || initial > maximum)
        return nullptr;
    auto* object = new VXWaitObject(initial, maximum, false);
    if (object && !object->Init())
    {
        delete object;
        return nullptr;
    }
    return object;
}

VXWaitObject* VXWaitObject::CreateEvent(bool manualReset, bool initialState)
{
    auto* object = new VXWaitObject(initialState ? 1 : 0, 1, manualReset);
    if (object && !object->Init())
    {
        delete object;
        return nullptr;
    }
    return object;
}

bool VXWaitObject::Release(int count)
{
    {
        ScopedMutex lock(acMutex);
        if (count < 1 || iCount > iMaximum - count)
            return false;
        iCount += count;
        if (count == 1)
            PlatformCondSignal(acCond);
        else
            PlatformCondBroadcast(acCond);
    }
    NotifyMultiWaiters();
    return true;
}

void VXWaitObject::Set()
{
    {
        ScopedMutex lock(acMutex);
        iCount = 1;
        if (bManualReset)
            PlatformCondBroadcast(acCond);
        else
            PlatformCondSignal(acCond);
    }
    NotifyMultiWaiters();
}

void VXWaitObject::Reset()
{
    ScopedMutex lock(acMutex);
    iCount = 0;
}

bool VXWaitObject::Wait(int timeoutMs)
{
    int64_t deadline = VXDeadlineFromTimeout(timeoutMs);
    ScopedMutex lock(acMutex);
    while (iCount == 0)
    {
        if (!PlatformCondWait(acCond, acMutex, deadline) && iCount == 0)
            return false;
    }
    if (!bManualReset)
        --iCount;
    return true;
}

bool VXWaitObject::TryTake()
{
    ScopedMutex lock(acMutex);
    if (iCount == 0)
        return false;
    if (!bManualReset)
        --iCount;
    return true;
}

bool VXWaitObject::QSignalled()
{
    ScopedMutex lock(acMutex);
    return iCount != 0;
}

void VXWaitObject::Take()
{
    ScopedMutex lock(acMutex);
    if (!bManualReset && iCount > 0)
        --iCount;
}

void VXWaitObject::NotifyMultiWaiters()
{
    if (gMultiWaiters.load() == 0)
        return;
    MultiWaitGate& gate = Gate();
    ScopedMutex lock(gate.acMutex);
    PlatformCondBroadcast(gate.acCond);
}

int VXWaitObject::WaitMultiple(VXWaitObject* const* objects, unsigned int count, bool waitAll,
                               int timeoutMs)
{
    if (!objects || count == 0)
        return -1;
    for (unsigned int i = 0; i < count; ++i)
        if (!objects[i])
            return -1;
    int64_t deadline = VXDeadlineFromTimeout(timeoutMs);
    MultiWaitGate& gate = Gate();
    ScopedMutex lock(gate.acMutex);
    gMultiWaiters.fetch_add(1);
    int result = -1;
    for (bool timedOut = false;;)
    {
        if (waitAll)
        {
            unsigned int ready = 0;
            while (ready < count && objects[ready]->QSignalled())
                ++ready;
            if (ready == count)
            {
                for (unsigned int i = 0; i < count; ++i)
                    objects[i]->Take();
                result = 0;
                break;
            }
        }
        else
        {
            for (unsigned int i = 0; i < count && result < 0; ++i)
                if (objects[i]->TryTake())
                    result = static_cast<int>(i);
            if (result >= 0)
                break;
        }
        if (timedOut)
            break;
        timedOut = !PlatformCondWait(gate.acCond, gate.acMutex, deadline);
    }
    gMultiWaiters.fetch_sub(1);
    return result;
}
