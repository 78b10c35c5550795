#include "vxsystem/VXSpinLock.h"

#include "foundation/VXPlatformSync.h"

namespace
{
// Back-off steps: a few bare yields first, then 1 ms sleeps once a wait looks long.
constexpr uint32_t kYieldSteps = 16;
constexpr uint32_t kCounterCap = 0xFFFF;
} // namespace

void VXSafeSleep::Sleep()
{
    if (uiCounter < kCounterCap)
        ++uiCounter;
    if (uiCounter <= kYieldSteps)
        PlatformYield();
    else
        PlatformSleepMs(1);
}

void VXSpinLock::Lock(char const*)
{
    uint32_t self = PlatformCurrentThreadId();
    if (uiOwnerThread.load(std::memory_order_relaxed) == self)
    {
        uiLockCount.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    VXSafeSleep backOff;
    uint32_t expected = 0;
    while (!uiLockCount.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                              std::memory_order_relaxed))
    {
        backOff.Sleep();
        expected = 0;
    }
    uiOwnerThread.store(self, std::memory_order_relaxed);
}

bool VXSpinLock::TryLock()
{
    uint32_t self = PlatformCurrentThreadId();
    if (uiOwnerThread.load(std::memory_order_relaxed) == self)
    {
        uiLockCount.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
    uint32_t expected = 0;
    if (!uiLockCount.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                             std::memory_order_relaxed))
        return false;
    uiOwnerThread.store(self, std::memory_order_relaxed);
    return true;
}

void VXSpinLock::Unlock()
{
    if (uiOwnerThread.load(std::memory_order_relaxed) != PlatformCurrentThreadId())
        return;
    uint32_t count = uiLockCount.load(std::memory_order_relaxed);
    if (count > 1)
    {
        uiLockCount.store(count - 1, std::memory_order_relaxed);
        return;
    }
    uiOwnerThread.store(0, std::memory_order_relaxed);
    uiLockCount.store(0, std::memory_order_release);
}

void VXNonReentrantSpinLock::Lock()
{
    VXSafeSleep backOff;
    while (uiLocked.exchange(1, std::memory_order_acquire) != 0)
    {
        // Wait on a plain load so that the cache line is not bounced by writes.
        while (uiLocked.load(std::memory_order_relaxed) != 0)
            backOff.Sleep();
    }
}

bool VXNonReentrantSpinLock::TryLock()
{
    return uiLocked.load(std::memory_order_relaxed) == 0 &&
           uiLocked.exchange(1, std::memory_order_acquire) == 0;
}

void VXReadWriteLock::LockForRead()
{
    VXSafeSleep backOff;
    uint32_t state = uiState.load(std::memory_order_relaxed);
    for (;;)
    {
        if ((state & (WRITER | PENDING)) == 0 &&
            uiState.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return;
        if (state & (WRITER | PENDING))
        {
            backOff.Sleep();
            state = uiState.load(std::memory_order_relaxed);
        }
    }
}

void VXReadWriteLock::LockForWrite()
{
    VXSafeSleep backOff;
    for (;;)
    {
        uint32_t state = uiState.load(std::memory_order_relaxed);
        // Free of readers and writers, pending or not: take it, dropping our pending mark.
        if ((state & (WRITER | READERS)) == 0 &&
            uiState.compare_exchange_weak(state, WRITER, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return;
        // Holding back new readers; several writers share the one mark, and each sets it
        // again after another writer's entry cleared it.
        if ((state & PENDING) == 0)
            uiState.fetch_or(PENDING, std::memory_order_relaxed);
        backOff.Sleep();
    }
}
