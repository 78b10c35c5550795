#include "vxsystem/VXThread.h"

#include "foundation/VXPlatformSync.h"

namespace
{
// The thread object that let its own thread go: its owner may free it at any moment, so
// the entry must not write to it after ThreadProc returns.
thread_local VXThread const* tReleasedSelf = nullptr;
} // namespace

VXThread::VXThread()
    : hThread(0), bStarted(false), uiExitCode(0), acName{}, uiThreadId(0), iPriority(0),
      bPrioritySet(false), bLaunched(false)
{
}

VXThread::~VXThread()
{
    Close();
}

bool VXThread::Initialize(unsigned int stackSize, char const* name)
{
    if (bStarted)
        return false;
    unsigned int length = 0;
    for (; name && name[length] && length + 1 < sizeof(acName); ++length)
        acName[length] = name[length];
    acName[length] = 0;
    uiThreadId.store(0);
    uiExitCode = 0;
    bLaunched.store(false, std::memory_order_relaxed);
    bStarted = true;
    if (!PlatformThreadCreate(hThread, stackSize, &VXThread::Entry, this))
    {
        bStarted = false;
        return false;
    }
    // Release: the new thread may not run ThreadProc (which may Close) before it can see
    // the handle and bStarted.
    bLaunched.store(true, std::memory_order_release);
    return true;
}

bool VXThread::SetThreadPriority(int priority)
{
    iPriority.store(priority);
    bPrioritySet.store(true);
    if (uiThreadId.load() == 0)
        return true; // the thread applies it when it starts
    return ApplyPriority();
}

bool VXThread::ApplyPriority()
{
    if (!bPrioritySet.load())
        return true;
    return PlatformSetThreadPriority(uiThreadId.load(), iPriority.load());
}

void VXThread::Close()
{
    if (!bStarted)
        return;
    bStarted = false;
    if (PlatformThreadIsCurrent(hThread))
    {
        tReleasedSelf = this;
        PlatformThreadDetach(hThread);
        return;
    }
    PlatformThreadJoin(hThread);
    uiThreadId.store(0);
}

uint32_t VXThread::GetCurrentThreadId()
{
    return PlatformCurrentThreadId();
}

void VXThread::Entry(void* self)
{
    auto* thread = static_cast<VXThread*>(self);
    while (!thread->bLaunched.load(std::memory_order_acquire))
        PlatformYield();
    if (thread->acName[0])
        PlatformSetCurrentThreadName(thread->acName);
    thread->uiThreadId.store(PlatformCurrentThreadId());
    thread->ApplyPriority();
    unsigned int exitCode = thread->ThreadProc();
    if (tReleasedSelf != thread)
        thread->uiExitCode = exitCode;
}
