// Busy-wait locks and the back-off they use, for short critical sections between threads
// of one process. Waiters spin briefly, then yield and sleep through VXSafeSleep, so a
// preempted holder is not starved. None of them is copyable; name arguments are null or a
// diagnostic text.
#pragma once

#include "vxsystem/VXTypes.h"

#include <atomic>

// Back-off for spin loops: each Sleep gives up the processor, for longer as the counter
// grows; Reset starts over. A zeroed word is a valid start. A local of one thread.
class VXSafeSleep
{
public:
    VXSafeSleep() : uiCounter(0) {}
    void Reset() { uiCounter = 0; }
    void Sleep();
    uint32_t QCounter() const { return uiCounter; }

private:
    uint32_t uiCounter; // Sleep calls since the last Reset, saturating
};

// Reentrant spin lock: the owner may lock again, one Unlock per Lock.
class VXSpinLock
{
public:
    VXSpinLock() : uiOwnerThread(0), uiLockCount(0) {}
    VXSpinLock(VXSpinLock const&) = delete;
    VXSpinLock& operator=(VXSpinLock const&) = delete;

    void Lock(char const* name = nullptr);
    bool TryLock();
    // Ignored when the calling thread does not hold the lock.
    void Unlock();
    uint32_t QOwnerThread() const { return uiOwnerThread.load(std::memory_order_relaxed); }

private:
    // Relaxed: a thread only ever finds its own id here if it wrote it while holding.
    std::atomic<uint32_t> uiOwnerThread;
    std::atomic<uint32_t> uiLockCount; // 0 free; acquire/release order the protected data
};

// Spin lock without recursion: a second Lock by the holder deadlocks.
class VXNonReentrantSpinLock
{
public:
    VXNonReentrantSpinLock() : uiLocked(0) {}
    ~VXNonReentrantSpinLock() = default;
    VXNonReentrantSpinLock(VXNonReentrantSpinLock const&) = delete;
    VXNonReentrantSpinLock& operator=(VXNonReentrantSpinLock const&) = delete;

    void Lock();
    bool TryLock();
    void Unlock() { uiLocked.store(0, std::memory_order_release); }

private:
    std::atomic<uint32_t> uiLocked;
};

// Many readers or one writer. A waiting writer holds back new readers so that it is not
// starved; so neither side is reentrant, and a reader must not take the read side twice.
class VXReadWriteLock
{
public:
    VXReadWriteLock() : uiState(0) {}
    VXReadWriteLock(VXReadWriteLock const&) = delete;
    VXReadWriteLock& operator=(VXReadWriteLock const&) = delete;

    void LockForRead();
    void UnlockRead() { uiState.fetch_sub(1, std::memory_order_release); }
    void LockForWrite();
    void UnlockWrite() { uiState.fetch_and(~WRITER, std::memory_order_release); }

private:
    static constexpr uint32_t WRITER = 0x80000000u;  // a writer holds the lock
    static constexpr uint32_t PENDING = 0x40000000u; // a writer waits for readers to leave
    static constexpr uint32_t READERS = 0x3FFFFFFFu; // count of readers inside

    std::atomic<uint32_t> uiState;
};
