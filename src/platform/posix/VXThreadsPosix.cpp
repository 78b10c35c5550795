// POSIX half of the thread seam: pthreads, the monotonic clock and thread identities.
#include "foundation/VXPlatformSync.h"
#include "vxsystem/MemoryManager.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#if defined(__linux__)
#include <sys/syscall.h>
#endif

static_assert(sizeof(pthread_mutex_t) <= VX_PLATFORM_MUTEX_BYTES, "mutex storage too small");
static_assert(alignof(pthread_mutex_t) <= 8, "mutex storage misaligned");
static_assert(sizeof(pthread_cond_t) <= VX_PLATFORM_COND_BYTES, "cond storage too small");
static_assert(alignof(pthread_cond_t) <= 8, "cond storage misaligned");
static_assert(sizeof(pthread_t) <= sizeof(uint64_t), "thread handle too large");

namespace
{
pthread_mutex_t* Mutex(void* storage)
{
    return static_cast<pthread_mutex_t*>(storage);
}

pthread_cond_t* Cond(void* storage)
{
    return static_cast<pthread_cond_t*>(storage);
}

pthread_t Thread(uint64_t handle)
{
    pthread_t thread{};
    __builtin_memcpy(&thread, &handle, sizeof(thread));
    return thread;
}

uint64_t Handle(pthread_t thread)
{
    uint64_t handle = 0;
    __builtin_memcpy(&handle, &thread, sizeof(thread));
    return handle;
}

struct StartBlock
{
    VXPlatformThreadEntry pEntry;
    void* pArgument;
};

void* Trampoline(void* argument)
{
    auto* block = static_cast<StartBlock*>(argument);
    StartBlock start = *block;
    MemoryManager::Instance().Deallocate(block);
    start.pEntry(start.pArgument);
    return nullptr;
}

uint32_t QueryThreadId()
{
#if defined(__linux__)
    return static_cast<uint32_t>(syscall(SYS_gettid));
#elif defined(__APPLE__)
    uint64_t id = 0;
    pthread_threadid_np(nullptr, &id);
    return static_cast<uint32_t>(id);
#else
    static std::atomic<uint32_t> sNext{1};
    return sNext.fetch_add(1, std::memory_order_relaxed);
#endif
}
} // namespace

bool PlatformMutexInit(void* storage, bool recursive)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        return false;
    if (recursive)
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    bool ok = pthread_mutex_init(Mutex(storage), &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return ok;
}

void PlatformMutexDestroy(void* storage)
{
    pthread_mutex_destroy(Mutex(storage));
}

void PlatformMutexLock(void* storage)
{
    pthread_mutex_lock(Mutex(storage));
}

bool PlatformMutexTryLock(void* storage)
{
    return pthread_mutex_trylock(Mutex(storage)) == 0;
}

void PlatformMutexUnlock(void* storage)
{
    pthread_mutex_unlock(Mutex(storage));
}

bool PlatformCondInit(void* storage)
{
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0)
        return false;
#if !defined(__APPLE__)
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
#endif
    bool ok = pthread_cond_init(Cond(storage), &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    return ok;
}

void PlatformCondDestroy(void* storage)
{
    pthread_cond_destroy(Cond(storage));
}

void PlatformCondSignal(void* storage)
{
    pthread_cond_signal(Cond(storage));
}

void PlatformCondBroadcast(void* storage)
{
    pthread_cond_broadcast(Cond(storage));
}

bool PlatformCondWait(void* cond, void* mutex, int64_t deadline)
{
    if (deadline < 0)
        return pthread_cond_wait(Cond(cond), Mutex(mutex)) == 0;
#if defined(__APPLE__)
    int64_t left = deadline - PlatformTicks();
    if (left <= 0)
        return false;
    timespec relative{static_cast<time_t>(left / 10000000),
                      static_cast<long>(left % 10000000) * 100};
    return pthread_cond_timedwait_relative_np(Cond(cond), Mutex(mutex), &relative) != ETIMEDOUT;
#else
    timespec until{static_cast<time_t>(deadline / 10000000),
                   static_cast<long>(deadline % 10000000) * 100};
    return pthread_cond_timedwait(Cond(cond), Mutex(mutex), &until) != ETIMEDOUT;
#endif
}

int64_t PlatformTicks()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 10000000 + now.tv_nsec / 100;
}

uint64_t PlatformTickCountMs()
{
    timespec now{};
#ifdef CLOCK_MONOTONIC_COARSE
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
#else
    clock_gettime(CLOCK_MONOTONIC, &now);
#endif
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

#if defined(__linux__) && defined(SYS_membarrier)
namespace
{
// The commands of linux/membarrier.h, which not every libc's headers carry.
constexpr int kPrivateExpedited = 1 << 3;
constexpr int kRegisterPrivateExpedited = 1 << 4;
} // namespace

bool PlatformProcessBarrierReady()
{
    static bool const ready = syscall(SYS_membarrier, kRegisterPrivateExpedited, 0, 0) == 0;
    return ready;
}

void PlatformProcessBarrier()
{
    syscall(SYS_membarrier, kPrivateExpedited, 0, 0);
}
#else
bool PlatformProcessBarrierReady()
{
    return false;
}

void PlatformProcessBarrier() {}
#endif

uint32_t PlatformCurrentThreadId()
{
    thread_local uint32_t tId = QueryThreadId();
    return tId;
}

void PlatformYield()
{
    sched_yield();
}

void PlatformSleepMs(unsigned int milliseconds)
{
    timespec delay{static_cast<time_t>(milliseconds / 1000),
                   static_cast<long>(milliseconds % 1000) * 1000000};
    while (nanosleep(&delay, &delay) != 0 && errno == EINTR)
    {
    }
}

bool PlatformThreadCreate(uint64_t& handle, unsigned int stackSize, VXPlatformThreadEntry entry,
                          void* argument)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    // The size asked for is a floor: the platform default reserve is never cut, so small
    // requests keep the room that sanitizers and deep library calls need.
    size_t current = 0;
    if (pthread_attr_getstacksize(&attributes, &current) == 0 && stackSize > current)
        pthread_attr_setstacksize(&attributes, stackSize);
    auto* block = static_cast<StartBlock*>(MemoryManager::Instance().Allocate(sizeof(StartBlock)));
    if (block)
        *block = StartBlock{entry, argument};
    pthread_t thread{};
    bool ok = block && pthread_create(&thread, &attributes, Trampoline, block) == 0;
    pthread_attr_destroy(&attributes);
    if (!ok)
    {
        MemoryManager::Instance().Deallocate(block);
        return false;
    }
    handle = Handle(thread);
    return true;
}

bool PlatformThreadJoin(uint64_t handle)
{
    return pthread_join(Thread(handle), nullptr) == 0;
}

void PlatformThreadDetach(uint64_t handle)
{
    pthread_detach(Thread(handle));
}

bool PlatformThreadIsCurrent(uint64_t handle)
{
    return pthread_equal(Thread(handle), pthread_self()) != 0;
}

bool PlatformSetThreadPriority(uint32_t threadId, int priority)
{
#if defined(__linux__)
    // Higher priority is a lower nice value; the scale follows the common range -2..2.
    int nice = -priority * 5;
    nice = nice < -20 ? -20 : (nice > 19 ? 19 : nice);
    return setpriority(PRIO_PROCESS, static_cast<id_t>(threadId), nice) == 0;
#else
    (void)threadId;
    (void)priority;
    return false;
#endif
}

void PlatformSetCurrentThreadName(char const* name)
{
    if (!name)
        return;
    char shortName[16] = {}; // the kernel keeps 15 characters
    for (unsigned int i = 0; i < 15 && name[i]; ++i)
        shortName[i] = name[i];
#if defined(__APPLE__)
    pthread_setname_np(shortName);
#else
    pthread_setname_np(pthread_self(), shortName);
#endif
}
