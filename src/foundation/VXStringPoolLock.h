// The striped reader-writer spin word of the string pool. Readers count in bits 0-30,
// bit 31 is the writer. A reader becomes the writer only while it is the sole reader and
// never waits inside the upgrade, so two readers of a stripe cannot deadlock upgrading
// at once. No thread holds two stripes.
#pragma once

#include "vxsystem/VXSpinLock.h"
#include "vxsystem/VXStringPool.h"

#include <cstdint>

namespace vxpool
{
inline constexpr uint32_t WRITER_BIT = 0x80000000u;

using StripeLock = VXStringPool::StripeLock;

inline void LockRead(StripeLock& rLock, VXSafeSleep& rBackoff)
{
    uint32_t uiSeen = rLock.uiWord.load(std::memory_order_relaxed);
    for (;;)
    {
        uint32_t uiFree = uiSeen & ~WRITER_BIT;
        uiSeen = uiFree;
        // Acquire: the chain as the last writer left it becomes visible.
        if (rLock.uiWord.compare_exchange_weak(uiSeen, uiFree + 1, std::memory_order_acquire,
                                               std::memory_order_relaxed))
            return;
        if (uiSeen & WRITER_BIT)
        {
            rBackoff.Sleep();
            uiSeen = rLock.uiWord.load(std::memory_order_relaxed);
        }
    }
}

// Release: counts raised under the read lock are seen by the next writer.
inline void UnlockRead(StripeLock& rLock)
{
    rLock.uiWord.fetch_sub(1, std::memory_order_release);
}

inline void LockWrite(StripeLock& rLock, VXSafeSleep& rBackoff)
{
    uint32_t uiExpected = 0;
    while (!rLock.uiWord.compare_exchange_weak(uiExpected, WRITER_BIT, std::memory_order_acquire,
                                               std::memory_order_relaxed))
    {
        uiExpected = 0;
        rBackoff.Sleep();
    }
}

// Release: the changed chain is published to the next reader or writer.
inline void UnlockWrite(StripeLock& rLock)
{
    rLock.uiWord.store(0, std::memory_order_release);
}

// One attempt to turn the caller's read lock into the write lock. On failure the read
// lock is dropped; the caller backs off and starts its lookup again.
inline bool TryUpgrade(StripeLock& rLock)
{
    uint32_t uiExpected = 1;
    if (rLock.uiWord.compare_exchange_strong(uiExpected, WRITER_BIT, std::memory_order_acquire,
                                             std::memory_order_relaxed))
        return true;
    UnlockRead(rLock);
    return false;
}
} // namespace vxpool
