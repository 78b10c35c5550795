#include "vxsystem/VXCriticalSection.h"

#include "foundation/VXPlatformSync.h"

static_assert(sizeof(std::atomic<uint32_t>) == 4, "lock fields are 32-bit words");

VXCriticalSection::VXCriticalSection() : uiOwnerThread(0), uiLockCount(0)
{
    PlatformMutexInit(acPlatform, true);
}

VXCriticalSection::~VXCriticalSection()
{
    PlatformMutexDestroy(acPlatform);
}

void VXCriticalSection::Enter(char const*)
{
    PlatformMutexLock(acPlatform);
    NoteAcquired();
}

void VXCriticalSection::Lock(char const* name)
{
    Enter(name);
}

bool VXCriticalSection::TryLock()
{
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
    if (count == 1)
        uiOwnerThread.store(0, std::memory_order_relaxed);
    PlatformMutexUnlock(acPlatform);
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
