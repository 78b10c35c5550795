#include "vxsystem/VXThread.h"

#include "foundation/VXPlatformSync.h"

VXThread::VXThread()
    : hThread(0), bStarted(false), uiExitCode(0), acName{}, uiThreadId(0), iPriority(0),
      bPrioritySet(false)
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
    bStarted = PlatformThreadCreate(hThread, stackSize, &VXThread::Entry, this);
    return bStarted;
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
    if (thread->acName[0])
        PlatformSetCurrentThreadName(thread->acName);
    thread->uiThreadId.store(PlatformCurrentThreadId());
    thread->ApplyPriority();
    thread->uiExitCode = thread->ThreadProc();
}
