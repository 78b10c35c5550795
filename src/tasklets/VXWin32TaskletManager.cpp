#include "vxsystem/VXWin32TaskletManager.h"

#include "foundation/VXPlatformSync.h"
#include "tasklets/VXTaskletThread.h"

VXTaskletManager& VXTaskletManager::QInstance()
{
    static VXWin32TaskletManager sInstance(VXWin32TaskletManager::MAX_THREADS);
    return sInstance;
}

VXWin32TaskletManager& VXWin32TaskletManager::QWin32Instance()
{
    return static_cast<VXWin32TaskletManager&>(QInstance());
}

VXWin32TaskletManager::VXWin32TaskletManager(unsigned int uiThreads)
    : hInitThread(nullptr), uiMaxThreads(uiThreads < MAX_THREADS ? uiThreads : MAX_THREADS),
      uiNumThreads(0), ahThreads{}, kStartGate(0, MAX_THREADS), bThreadsReleased(false),
      bShutdown(false), apQueueHeads{}, appQueueTails{}, hQueueSemaphore(0, 0x7FFFFFFF)
{
    for (unsigned int uiLevel = 0; uiLevel < QUEUE_LEVELS; ++uiLevel)
        appQueueTails[uiLevel] = &apQueueHeads[uiLevel];
    bool bSyncReady =
        kStartGate.QValid() && hQueueSemaphore.QValid() && kInstanceSemaphore.hSemaphore;
    if (!bSyncReady || !CreateThreads(uiMaxThreads))
        return;
    hInitThread = new VXTaskletThread(&ThreadInitProc, this);
    if (hInitThread && hInitThread->Initialize(VXThread::STACK_DEFAULT, "TaskletStart"))
    {
        bAvailable = true;
        return;
    }
    // Without the start thread nobody could ever release the pool.
    delete hInitThread;
    hInitThread = nullptr;
    ShutdownAllTasks();
}

VXWin32TaskletManager::~VXWin32TaskletManager()
{
    ShutdownAllTasks();
}

bool VXWin32TaskletManager::CreateThreads(unsigned int uiThreads)
{
    for (; uiNumThreads < uiThreads; ++uiNumThreads)
    {
        VXTaskletThread* pThread = new VXTaskletThread(&ThreadProc, this);
        if (!pThread || !pThread->Initialize(VXThread::STACK_DEFAULT, "TaskletThread"))
        {
            delete pThread;
            break;
        }
        ahThreads[uiNumThreads] = pThread;
    }
    return uiNumThreads > 0;
}

void VXWin32TaskletManager::ThreadInitProc(VXWin32TaskletManager* pManager)
{
    pManager->kInstanceSemaphore.Wait();
    if (!pManager->bShutdown.load(std::memory_order_relaxed))
        pManager->ResumeTaskletThreads();
}

void VXWin32TaskletManager::ResumeTaskletThreads()
{
    if (bThreadsReleased.exchange(true, std::memory_order_relaxed))
        return;
    kStartGate.Signal(static_cast<int>(uiNumThreads));
}

void VXWin32TaskletManager::ThreadProc(VXWin32TaskletManager* pManager)
{
    pManager->kStartGate.Wait();
    // Opened only to end: a thread that was never released runs nothing.
    if (!pManager->bThreadsReleased.load(std::memory_order_relaxed))
        return;
    pManager->OnStartup();
    pManager->ProcessQueue();
    pManager->OnExit();
}

void VXWin32TaskletManager::ShutdownAllTasks()
{
    if (bShutdown.exchange(true, std::memory_order_relaxed))
        return;
    bAvailable = false; // new groups would wait for threads that are gone
    if (hInitThread)
    {
        // Wakes a start thread still waiting; it sees bShutdown and releases no one.
        kInstanceSemaphore.Signal();
        delete hInitThread; // joins
        hInitThread = nullptr;
    }
    int iCount = static_cast<int>(uiNumThreads);
    if (iCount > 0 && bThreadsReleased.load(std::memory_order_relaxed))
        hQueueSemaphore.Signal(iCount);
    else if (iCount > 0)
        kStartGate.Signal(iCount);
    for (unsigned int uiThread = 0; uiThread < uiNumThreads; ++uiThread)
    {
        delete ahThreads[uiThread]; // joins
        ahThreads[uiThread] = nullptr;
    }
    DropQueuedTasklets();
}

void VXWin32TaskletManager::DropQueuedTasklets()
{
    VXWin32TaskletGroupData* pGroup = nullptr;
    while (VXWin32TaskletData* pTask = TakeNextTask(pGroup))
    {
        if (pGroup)
            FinishTasklet(*pTask, *pGroup, false);
    }
}

bool VXWin32TaskletManager::IsTaskletThread(unsigned int uiThreadId)
{
    for (unsigned int uiThread = 0; uiThreadId != 0 && uiThread < uiNumThreads; ++uiThread)
    {
        if (ahThreads[uiThread] && ahThreads[uiThread]->QThreadId() == uiThreadId)
            return true;
    }
    return false;
}

bool VXWin32TaskletManager::QueueTaskData(VXWin32TaskletData& rTask)
{
    VXWin32TaskletGroupData* pGroup = rTask.pGroupData;
    if (!pGroup)
        return false;
    {
        VXScopedCriticalSection kLock(kManagerLock);
        // Checked under the lock, so nothing slips in behind the shutdown's last drain.
        if (bShutdown.load(std::memory_order_relaxed))
            return false;
        uint32_t uiLevel =
            pGroup->uiQueueLevel < QUEUE_LEVELS ? pGroup->uiQueueLevel : QUEUE_LEVELS - 1;
        if (!apQueueHeads[uiLevel])
            appQueueTails[uiLevel] = &apQueueHeads[uiLevel];
        rTask.pNextTask = nullptr;
        rTask.bTaskYield = false;
        *appQueueTails[uiLevel] = &rTask;
        appQueueTails[uiLevel] = &rTask.pNextTask;
    }
    hQueueSemaphore.Signal(1);
    return true;
}

VXWin32TaskletData* VXWin32TaskletManager::TakeNextTask(VXWin32TaskletGroupData*& rpGroup)
{
    VXScopedCriticalSection kLock(kManagerLock);
    rpGroup = nullptr;
    for (VXWin32TaskletData*& rpHead : apQueueHeads)
    {
        VXWin32TaskletData* pTask = rpHead;
        if (!pTask)
            continue;
        rpHead = pTask->pNextTask;
        rpGroup = pTask->pGroupData;
        return pTask;
    }
    return nullptr;
}

void VXWin32TaskletManager::ProcessQueue()
{
    while (!bShutdown.load(std::memory_order_relaxed))
    {
        hQueueSemaphore.Wait(-1);
        if (bShutdown.load(std::memory_order_relaxed))
        {
            PlatformSleepMs(1);
            continue;
        }
        VXWin32TaskletGroupData* pGroup = nullptr;
        VXWin32TaskletData* pTask = TakeNextTask(pGroup);
        if (pTask && pGroup)
            TakeTurn(*pTask, *pGroup, true);
        // Every turn gives the processor away, so yielding tasklets cannot starve others.
        PlatformSleepMs(1);
    }
}

bool VXWin32TaskletManager::ProcessTasklet(VXWin32TaskletGroupData* pFilterGroup, bool bWait)
{
    if (!hQueueSemaphore.Wait(bWait ? -1 : 0) || bShutdown.load(std::memory_order_relaxed))
        return false;
    VXWin32TaskletGroupData* pGroup = nullptr;
    VXWin32TaskletData* pTask = TakeNextTask(pGroup);
    if (!pTask || !pGroup)
        return false;
    bool bRun = !pFilterGroup || pFilterGroup == pGroup;
    if (!bRun)
        pTask->bTaskYield = true;
    TakeTurn(*pTask, *pGroup, bRun);
    return bRun;
}

void VXWin32TaskletManager::TakeTurn(VXWin32TaskletData& rTask, VXWin32TaskletGroupData& rGroup,
                                     bool bRun)
{
    if (bRun && !rGroup.bCancelled.load(std::memory_order_relaxed))
        rTask.RunTurn();
    // A group cancelled meanwhile ends its tasklet even if it asked to yield.
    if (!rTask.bTaskYield || rGroup.bCancelled.load(std::memory_order_relaxed))
        FinishTasklet(rTask, rGroup, true);
    else if (!QueueTaskData(rTask))
        FinishTasklet(rTask, rGroup, false);
}

void VXWin32TaskletManager::FinishTasklet(VXWin32TaskletData& rTask,
                                          VXWin32TaskletGroupData& rGroup, bool bRunComplete)
{
    rTask.Finish(bRunComplete);
    VXScopedCriticalSection kLock(rGroup.kGroupLock);
    uint32_t uiFinished = rGroup.uiNumFinished.load(std::memory_order_relaxed) + 1;
    rGroup.uiNumFinished.store(uiFinished, std::memory_order_release);
    // Released under the lock: a waiter that sees the counts agree may free the group as
    // soon as it can take this lock, so nothing of the group is touched after it.
    if (!rGroup.bAccepting && uiFinished == rGroup.uiNumAttached.load(std::memory_order_relaxed))
        rGroup.hDoneSemaphore.Signal(1);
}
