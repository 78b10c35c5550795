// Windows half of the thread seam: critical sections, condition variables, threads,
// QueryPerformanceCounter and thread names.
#include "foundation/VXPlatformSync.h"
#include "platform/windows/VXWindowsApi.h"
#include "vxsystem/MemoryManager.h"

static_assert(sizeof(CRITICAL_SECTION) <= VX_PLATFORM_MUTEX_BYTES, "mutex storage too small");
static_assert(alignof(CRITICAL_SECTION) <= 8, "mutex storage misaligned");
static_assert(sizeof(CONDITION_VARIABLE) <= VX_PLATFORM_COND_BYTES, "cond storage too small");
static_assert(sizeof(HANDLE) <= sizeof(uint64_t), "thread handle too large");

namespace
{
CRITICAL_SECTION* Section(void* storage)
{
    return static_cast<CRITICAL_SECTION*>(storage);
}

CONDITION_VARIABLE* Cond(void* storage)
{
    return static_cast<CONDITION_VARIABLE*>(storage);
}

HANDLE Thread(uint64_t handle)
{
    return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(handle));
}

struct StartBlock
{
    VXPlatformThreadEntry pEntry;
    void* pArgument;
};

DWORD WINAPI Trampoline(void* argument)
{
    auto* block = static_cast<StartBlock*>(argument);
    StartBlock start = *block;
    MemoryManager::Instance().Deallocate(block);
    start.pEntry(start.pArgument);
    return 0;
}

int64_t CounterFrequency()
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart > 0 ? frequency.QuadPart : 1;
}

using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);

// SetThreadDescription exists from Windows 10 1607 on; looked up once.
SetDescription DescriptionCall()
{
    static SetDescription const call = []
    {
        HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        FARPROC found = kernel ? GetProcAddress(kernel, "SetThreadDescription") : nullptr;
        return reinterpret_cast<SetDescription>(reinterpret_cast<void (*)()>(found));
    }();
    return call;
}
} // namespace

// Both kinds are critical sections: a plain mutex is one whose owner never enters again,
// which its users (the wait objects) already promise.
bool PlatformMutexInit(void* storage, bool)
{
    InitializeCriticalSection(Section(storage));
    return true;
}

void PlatformMutexDestroy(void* storage)
{
    DeleteCriticalSection(Section(storage));
}

void PlatformMutexLock(void* storage)
{
    EnterCriticalSection(Section(storage));
}

bool PlatformMutexTryLock(void* storage)
{
    return TryEnterCriticalSection(Section(storage)) != 0;
}

void PlatformMutexUnlock(void* storage)
{
    LeaveCriticalSection(Section(storage));
}

bool PlatformCondInit(void* storage)
{
    InitializeConditionVariable(Cond(storage));
    return true;
}

void PlatformCondDestroy(void*) {}

void PlatformCondSignal(void* storage)
{
    WakeConditionVariable(Cond(storage));
}

void PlatformCondBroadcast(void* storage)
{
    WakeAllConditionVariable(Cond(storage));
}

bool PlatformCondWait(void* cond, void* mutex, int64_t deadline)
{
    DWORD wait = INFINITE;
    if (deadline >= 0)
    {
        int64_t left = deadline - PlatformTicks();
        if (left <= 0)
            return false;
        // Rounded up, so a wake never comes before the deadline; INFINITE is avoided.
        int64_t ms = (left + VX_TICKS_PER_MS - 1) / VX_TICKS_PER_MS;
        wait = ms >= INFINITE ? INFINITE - 1 : static_cast<DWORD>(ms);
    }
    if (SleepConditionVariableCS(Cond(cond), Section(mutex), wait))
        return true;
    return GetLastError() != ERROR_TIMEOUT;
}

int64_t PlatformTicks()
{
    static int64_t const frequency = CounterFrequency();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    int64_t count = now.QuadPart;
    // Split so that the product cannot overflow for counters of any rate.
    return count / frequency * 10000000 + count % frequency * 10000000 / frequency;
}

uint64_t PlatformTickCountMs()
{
    return GetTickCount64();
}

// Callers fence on their own side here: FlushProcessWriteBuffers is not one under every
// runtime the tests use.
bool PlatformProcessBarrierReady()
{
    return false;
}

void PlatformProcessBarrier() {}

uint32_t PlatformCurrentThreadId()
{
    return GetCurrentThreadId();
}

void PlatformYield()
{
    SwitchToThread();
}

void PlatformSleepMs(unsigned int milliseconds)
{
    Sleep(milliseconds == INFINITE ? INFINITE - 1 : milliseconds);
}

bool PlatformThreadCreate(uint64_t& handle, unsigned int stackSize, VXPlatformThreadEntry entry,
                          void* argument)
{
    auto* block = static_cast<StartBlock*>(MemoryManager::Instance().Allocate(sizeof(StartBlock)));
    if (!block)
        return false;
    *block = StartBlock{entry, argument};
    // The size is a reserve, like the floor of the POSIX half: never below the default.
    HANDLE thread = CreateThread(nullptr, stackSize, Trampoline, block,
                                 STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!thread)
    {
        MemoryManager::Instance().Deallocate(block);
        return false;
    }
    handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(thread));
    return true;
}

bool PlatformThreadJoin(uint64_t handle)
{
    HANDLE thread = Thread(handle);
    if (GetThreadId(thread) == GetCurrentThreadId())
        return false;
    bool ok = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(thread);
    return ok;
}

void PlatformThreadDetach(uint64_t handle)
{
    CloseHandle(Thread(handle));
}

bool PlatformThreadIsCurrent(uint64_t handle)
{
    return GetThreadId(Thread(handle)) == GetCurrentThreadId();
}

bool PlatformSetThreadPriority(uint32_t threadId, int priority)
{
    HANDLE thread = OpenThread(THREAD_SET_LIMITED_INFORMATION, FALSE, threadId);
    if (!thread)
        return false;
    int level = priority < THREAD_PRIORITY_LOWEST
                    ? THREAD_PRIORITY_LOWEST
                    : (priority > THREAD_PRIORITY_HIGHEST ? THREAD_PRIORITY_HIGHEST : priority);
    bool ok = SetThreadPriority(thread, level) != 0;
    CloseHandle(thread);
    return ok;
}

void PlatformSetCurrentThreadName(char const* name)
{
    SetDescription call = DescriptionCall();
    VXWidePath wide;
    if (!call || !name || MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, VX_WIDE_PATH_CHARS) <= 0)
        return;
    call(GetCurrentThread(), wide);
}
