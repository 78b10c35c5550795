#include "vxsystem/VXCriticalSection.h"

#include "foundation/VXPlatformSync.h"

static_assert(sizeof(std::atomic<uint32_t>) == 4, "lock fields are 32-bit words");

namespace
{
constexpr unsigned int kSpinTries = 100;
}

VXCriticalSection::VXCriticalSection()
    : uiOwnerThread(0), uiLockCount(0), bPlatformReady(PlatformMutexInit(acPlatform, true))
{
}

VXCriticalSection::~VXCriticalSection()
{
    if (bPlatformReady)
        PlatformMutexDestroy(acPlatform);
}

void VXCriticalSection::Enter(char const*)
{
    if (!bPlatformReady)
    {
        while (!SpinTryLock())
            PlatformYield();
        return;
    }
    // Most holds are short: a few tries before sleeping spare the system two switches.
    for (unsigned int i = 0; i < kSpinTries; ++i)
    {
        if (PlatformMutexTryLock(acPlatform))
        {
            NoteAcquired();
            return;
        }
        VXCpuRelax();
    }
    PlatformMutexLock(acPlatform);
    NoteAcquired();
}

void VXCriticalSection::Lock(char const* name)
{
    Enter(name);
}

bool VXCriticalSection::TryLock()
{
    if (!bPlatformReady)
        return SpinTryLock();
    if (!PlatformMutexTryLock(acPlatform))
        return false;
    NoteAcquired();
    return true;
}

void VXCriticalSection::Unlock()
{
    uint32_t count = uiLockCount.load(std::memory_order_relaxed);
    // Only the owner may release: anything else would corrupt the counts and the mutex.
    if (count == 0 || !QOwnedByCurrentThread())
        return;
    uiLockCount.store(count - 1, std::memory_order_relaxed);
    // Release: without a platform mutex this store is what hands the lock on.
    if (count == 1)
        uiOwnerThread.store(0, std::memory_order_release);
    if (bPlatformReady)
        PlatformMutexUnlock(acPlatform);
}

bool VXCriticalSection::SpinTryLock()
{
    uint32_t self = PlatformCurrentThreadId();
    uint32_t owner = 0;
    // Acquire: pairs with the release store of the last Unlock.
    if (!uiOwnerThread.compare_exchange_strong(owner, self, std::memory_order_acquire) &&
        owner != self)
        return false;
    uiLockCount.store(uiLockCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return true;
}

bool VXCriticalSection::QOwnedByCurrentThread() const
{
    return QOwnerThread() == PlatformCurrentThreadId();
}

void VXCriticalSection::NoteAcquired()
{
    uiOwnerThread.store(PlatformCurrentThreadId(), std::memory_order_relaxed);
    uiLockCount.store(uiLockCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}
