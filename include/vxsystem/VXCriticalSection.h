// Reentrant mutex between the threads of one process. The owner may enter again; each
// Enter or Lock needs one Unlock. uiOwnerThread and uiLockCount are kept for readers that
// ask who holds it; they change only under the lock. Not copyable. Should the platform
// refuse a mutex, the owner word itself becomes a spinning lock, so that the section
// still excludes.
#pragma once

#include "vxsystem/VXTypes.h"

#include <atomic>

// Bytes of opaque storage for one platform mutex.
#if defined(__APPLE__)
inline constexpr size_t VX_PLATFORM_MUTEX_BYTES = 64;
#else
inline constexpr size_t VX_PLATFORM_MUTEX_BYTES = 40;
#endif

class VXCriticalSection
{
public:
    VXCriticalSection();
    ~VXCriticalSection();
    VXCriticalSection(VXCriticalSection const&) = delete;
    VXCriticalSection& operator=(VXCriticalSection const&) = delete;

    // Both acquire, waiting as long as another thread holds the lock. name is null or
    // a diagnostic text.
    void Enter(char const* name = nullptr);
    void Lock(char const* name = nullptr);
    // Acquires only if no other thread holds the lock.
    bool TryLock();
    // Releases one level; at the last one the lock is free again.
    void Unlock();

    // The owning thread (VXThread::GetCurrentThreadId), 0 when free.
    uint32_t QOwnerThread() const { return uiOwnerThread.load(std::memory_order_relaxed); }
    uint32_t QLockCount() const { return uiLockCount.load(std::memory_order_relaxed); }
    bool QOwnedByCurrentThread() const;

private:
    void NoteAcquired();
    bool SpinTryLock();

    alignas(8) unsigned char acPlatform[VX_PLATFORM_MUTEX_BYTES];
    // Relaxed: written only by the owner under the lock; other threads read them as hints.
    std::atomic<uint32_t> uiOwnerThread;
    std::atomic<uint32_t> uiLockCount;
    bool bPlatformReady; // the platform mutex exists; else the owner word is the lock
};

// Holds a critical section for one scope.
class VXScopedCriticalSection
{
public:
    explicit VXScopedCriticalSection(VXCriticalSection& lock, char const* name = nullptr)
        : kLock(lock)
    {
        kLock.Enter(name);
    }
    ~VXScopedCriticalSection() { kLock.Unlock(); }
    VXScopedCriticalSection(VXScopedCriticalSection const&) = delete;
    VXScopedCriticalSection& operator=(VXScopedCriticalSection const&) = delete;

private:
    VXCriticalSection& kLock; // held from construction to destruction
};
