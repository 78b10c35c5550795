// Generic half of VXSystemFileAsyncFunctor: the state word and the waits on it. Results
// arrive only through ExecuteUserCB, run by the issuing thread's alertable waits.
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include "vxsystem/VXSpinLock.h"

#include "sysfile/VXAsyncWaitPlatform.h"

VXSystemFileAsyncFunctor::VXSystemFileAsyncFunctor()
    : uiState(uiAvailable), uiThreadID(0), sOverlapped{}
{
}

VXSystemFileAsyncFunctor::VXSystemFileAsyncFunctor(VXSystemFileAsyncFunctor const& other)
    : uiState(other.uiState.load(std::memory_order_relaxed)),
      uiThreadID(other.uiThreadID.load(std::memory_order_relaxed)), sOverlapped(other.sOverlapped)
{
}

VXSystemFileAsyncFunctor& VXSystemFileAsyncFunctor::operator=(VXSystemFileAsyncFunctor const& other)
{
    uiState.store(other.uiState.load(std::memory_order_relaxed), std::memory_order_relaxed);
    uiThreadID.store(other.uiThreadID.load(std::memory_order_relaxed), std::memory_order_relaxed);
    sOverlapped = other.sOverlapped;
    return *this;
}

VXSystemFileAsyncFunctor::~VXSystemFileAsyncFunctor() = default;

void VXSystemFileAsyncFunctor::operator()(VXSystemFile::ErrorCode, uint64_t) {}

bool VXSystemFileAsyncFunctor::Wait(bool block)
{
    if (uiState.load(std::memory_order_acquire) == uiAvailable)
        return true;
    bool issuing = OnIssuingThread();
    if (block && issuing)
    {
        while (uiState.load(std::memory_order_acquire) == uiBusy)
            AlertableSleep(INFINITE_WAIT);
    }
    else if (block)
    {
        // Only the issuing thread can deliver: poll until it has. A transfer that its
        // owner already collected counts as ended too.
        VXSafeSleep backOff;
        while (uiState.load(std::memory_order_acquire) == uiBusy)
            backOff.Sleep();
    }
    else if (!issuing)
    {
        return false;
    }
    else
    {
        AlertableSleep(1);
        if (uiState.load(std::memory_order_acquire) != uiDone)
            return false;
    }
    return Collect();
}

bool VXSystemFileAsyncFunctor::Test()
{
    if (uiState.load(std::memory_order_acquire) == uiAvailable)
        return true;
    if (!OnIssuingThread() || uiState.load(std::memory_order_acquire) != uiDone)
        return false;
    return Collect();
}

void VXSystemFileAsyncFunctor::ExecuteUserCB(VXSystemFile::ErrorCode code, uint64_t bytes)
{
    (*this)(code, bytes);
    // Release: a waiter that sees done also sees the bytes and what operator() wrote.
    uiState.store(uiDone, std::memory_order_release);
}

bool VXSystemFileAsyncFunctor::AlertableSleep(unsigned int milliseconds)
{
    return PlatformAlertableSleep(milliseconds);
}

bool VXSystemFileAsyncFunctor::OnIssuingThread() const
{
    return uiThreadID.load(std::memory_order_relaxed) == PlatformAsyncThreadId();
}

bool VXSystemFileAsyncFunctor::Collect()
{
    // Only done becomes available: when a foreign waiter loses to the issuing thread, which
    // collected and issued again meanwhile, the new busy state must stand. Either way the
    // transfer waited for has ended. Relaxed: the caller already acquired done, and
    // available publishes nothing.
    unsigned int expected = uiDone;
    uiState.compare_exchange_strong(expected, uiAvailable, std::memory_order_relaxed);
    return true;
}
