// The thread seam: mutexes, condition variables, threads, the monotonic clock and the
// current thread's identity. The lock, event, thread and timer classes hold their logic
// above it; each platform half supplies only these system calls.
#pragma once

#include "vxsystem/VXCriticalSection.h"

#include <cstdint>

// Bytes of opaque storage for one platform condition variable.
inline constexpr size_t VX_PLATFORM_COND_BYTES = 64;

// Mutex in caller-provided storage of VX_PLATFORM_MUTEX_BYTES, aligned to 8. A recursive
// mutex may be entered again by its owner, once per unlock.
bool PlatformMutexInit(void* storage, bool recursive);
void PlatformMutexDestroy(void* storage);
void PlatformMutexLock(void* storage);
bool PlatformMutexTryLock(void* storage);
void PlatformMutexUnlock(void* storage);

// Condition variable in storage of VX_PLATFORM_COND_BYTES, aligned to 8. Its waits
// measure deadlines on the PlatformTicks clock.
bool PlatformCondInit(void* storage);
void PlatformCondDestroy(void* storage);
void PlatformCondSignal(void* storage);
void PlatformCondBroadcast(void* storage);
// Waits with the mutex held; deadline in PlatformTicks, or negative for no limit. False
// when the deadline passed. Wakes may be spurious: callers test their condition again.
bool PlatformCondWait(void* cond, void* mutex, int64_t deadline);

// Monotonic clock in 100 ns ticks.
int64_t PlatformTicks();
inline constexpr int64_t VX_TICKS_PER_MS = 10000;
// Monotonic milliseconds at the scheduler's resolution: a few nanoseconds to read where
// PlatformTicks may take tens.
uint64_t PlatformTickCountMs();

// A fence run on every thread of the process at once, so that hot paths can do without
// their own. PlatformProcessBarrierReady is true where the platform has one (it registers
// the process on first call); PlatformProcessBarrier only after it said so.
bool PlatformProcessBarrierReady();
void PlatformProcessBarrier();

// A pause for busy-wait loops: it lets a sibling hardware thread run and saves power.
inline void VXCpuRelax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(_M_X64) || defined(_M_IX86)
    _mm_pause();
#endif
}

// Identity of the calling thread: never 0, distinct among the process's live threads.
uint32_t PlatformCurrentThreadId();
void PlatformYield();
void PlatformSleepMs(unsigned int milliseconds);

using VXPlatformThreadEntry = void (*)(void* argument);
// Starts entry(argument) on a new thread with a stack of at least stackSize bytes
// (0: the platform default).
bool PlatformThreadCreate(uint64_t& handle, unsigned int stackSize, VXPlatformThreadEntry entry,
                          void* argument);
// Waits for the thread to end and releases it; a thread cannot join itself.
bool PlatformThreadJoin(uint64_t handle);
void PlatformThreadDetach(uint64_t handle);
bool PlatformThreadIsCurrent(uint64_t handle);
// Best effort: priorities above 0 may need rights the process lacks.
bool PlatformSetThreadPriority(uint32_t threadId, int priority);
void PlatformSetCurrentThreadName(char const* name);
