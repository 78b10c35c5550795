#include "vxsystem/VXSemaphore.h"

#include "foundation/VXWaitObject.h"

static_assert(sizeof(VXCountedSemaphore) == 16, "handle, count, maximum");

void* VXSemaphore::CreateHandle(int initial, int maximum)
{
    return VXWaitObject::CreateSemaphore(initial, maximum);
}

void VXSemaphore::CloseHandle(void* handle)
{
    delete static_cast<VXWaitObject*>(handle);
}

int VXSemaphore::SignalHandle(void* handle, int count)
{
    return handle && static_cast<VXWaitObject*>(handle)->Release(count) ? 1 : 0;
}

int VXSemaphore::WaitHandle(void* handle, int timeoutMs)
{
    return handle && static_cast<VXWaitObject*>(handle)->Wait(timeoutMs) ? 1 : 0;
}

int VXCountedSemaphore::Signal()
{
    if (!hSemaphore)
        return 0;
    int32_t count = iCount.load(std::memory_order_relaxed);
    do
    {
        if (count >= iMaxCount)
            return 0;
    } while (!iCount.compare_exchange_weak(count, count + 1, std::memory_order_relaxed));
    if (VXSemaphore::SignalHandle(hSemaphore, 1))
        return 1;
    iCount.fetch_sub(1, std::memory_order_relaxed); // no unit went in: take the count back
    return 0;
}

int VXCountedSemaphore::Wait()
{
    if (!VXSemaphore::WaitHandle(hSemaphore, -1))
        return 0;
    iCount.fetch_sub(1, std::memory_order_relaxed);
    return 1;
}
