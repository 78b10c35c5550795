// Tasklet and group data of the pool manager, and the manager's group operations.
#include "vxsystem/VXWin32TaskletManager.h"

#include "foundation/VXPlatformSync.h"
#include "vxsystem/VXTimer.h"

VXWin32TaskletData::~VXWin32TaskletData()
{
    kBusyLock.Lock(); // waits for a turn on another thread to end
    pGroupData = nullptr;
    kBusyLock.Unlock();
}

void VXWin32TaskletData::RunTurn()
{
    if (bNeedsStartup && !OnStartup())
        return;
    bNeedsStartup = false;
    Process();
}

void VXWin32TaskletData::Finish(bool bRunComplete)
{
    if (bRunComplete)
        OnComplete();
    pGroupData = nullptr;
    kBusyLock.Unlock(); // the last touch: the owner may free the tasklet from here on
}

VXWin32TaskletGroupData::VXWin32TaskletGroupData(VXWin32TaskletManager& rOwner)
    : rManager(rOwner), hDoneSemaphore(0, 1), bOpen(false), bAccepting(false), bCancelled(false),
      uiQueueLevel(0), uiNumAttached(0), uiNumFinished(0)
{
}

VXWin32TaskletGroupData::~VXWin32TaskletGroupData()
{
    if (!QComplete())
        WaitForCompletion(false);
    // A finishing thread may still be inside the lock; let it leave first.
    VXScopedCriticalSection kLock(kGroupLock);
}

void VXWin32TaskletGroupData::WaitForCompletion(bool bProcessTasks)
{
    if (!QCountsAgree() && !bProcessTasks)
        hDoneSemaphore.Wait(-1);
    while (!QCountsAgree())
    {
        if (!rManager.ProcessTasklet(this, false))
            PlatformYield();
    }
    VXScopedCriticalSection kLock(kGroupLock);
    bOpen = false;
    bComplete.store(true, std::memory_order_release);
}

void VXWin32TaskletGroupData::Cancel()
{
    VXScopedCriticalSection kLock(kGroupLock);
    bAccepting = false;
    bCancelled.store(true, std::memory_order_relaxed);
}

void VXWin32TaskletGroupData::ForceProcess(float fMilliseconds)
{
    int64_t iStart = VXPrecisionTimer::GetTimer();
    float fLimit = fMilliseconds * VXPrecisionTimer::fFrequencyMS;
    while (!QCountsAgree() && static_cast<float>(VXPrecisionTimer::GetTimer() - iStart) <= fLimit)
    {
        if (!rManager.ProcessTasklet(this, false))
            PlatformYield();
    }
}

bool VXWin32TaskletManager::CreateTaskGroupData(VXTaskletGroupData*& rpData)
{
    VXWin32TaskletGroupData* pGroup = new VXWin32TaskletGroupData(*this);
    if (pGroup && !pGroup->hDoneSemaphore.QValid())
    {
        delete pGroup;
        pGroup = nullptr;
    }
    rpData = pGroup;
    return pGroup != nullptr;
}

void VXWin32TaskletManager::DestroyTaskGroupData(VXTaskletGroupData* pData)
{
    delete pData;
}

VXWin32TaskletGroupData* VXWin32TaskletManager::OwnGroup(VXTaskletGroupData* pData)
{
    auto* pGroup = dynamic_cast<VXWin32TaskletGroupData*>(pData);
    return pGroup && &pGroup->rManager == this ? pGroup : nullptr;
}

bool VXWin32TaskletManager::OpenTaskGroupData(VXTaskletGroupData* pData)
{
    VXWin32TaskletGroupData* pGroup = OwnGroup(pData);
    if (!pGroup)
        return false;
    VXWin32TaskletGroupData& rGroup = *pGroup;
    VXScopedCriticalSection kLock(rGroup.kGroupLock);
    if (rGroup.bOpen)
        return false;
    rGroup.hDoneSemaphore.Wait(0); // a unit left over from the last round
    rGroup.bOpen = true;
    rGroup.bAccepting = true;
    rGroup.bComplete.store(false, std::memory_order_relaxed);
    rGroup.bCancelled.store(false, std::memory_order_relaxed);
    rGroup.uiNumAttached.store(0, std::memory_order_relaxed);
    rGroup.uiNumFinished.store(0, std::memory_order_relaxed);
    return true;
}

bool VXWin32TaskletManager::AttachTaskData(VXTaskletGroupData* pData, VXTaskletData* pTaskData,
                                           bool bLastTask)
{
    VXWin32TaskletGroupData* pGroup = OwnGroup(pData);
    auto* pTask = dynamic_cast<VXWin32TaskletData*>(pTaskData);
    if (!pGroup || !pTask)
        return false;
    VXWin32TaskletGroupData& rGroup = *pGroup;
    VXWin32TaskletData& rTask = *pTask;
    VXScopedCriticalSection kLock(rGroup.kGroupLock);
    if (!rTask.kBusyLock.TryLock())
        return false; // in flight
    if (!rGroup.bOpen || !rGroup.bAccepting || rTask.pGroupData)
    {
        rTask.kBusyLock.Unlock();
        return false;
    }
    rTask.pGroupData = &rGroup;
    rTask.bTaskYield = false;
    if (bLastTask)
        rGroup.bAccepting = false;
    if (!QueueTaskData(rTask))
    {
        rTask.pGroupData = nullptr; // shut down meanwhile
        rTask.kBusyLock.Unlock();
        return false;
    }
    rGroup.uiNumAttached.store(rGroup.uiNumAttached.load(std::memory_order_relaxed) + 1,
                               std::memory_order_release);
    return true;
}

bool VXWin32TaskletManager::CloseTaskGroupData(VXTaskletGroupData* pData)
{
    VXWin32TaskletGroupData* pGroup = OwnGroup(pData);
    if (!pGroup)
        return false;
    VXScopedCriticalSection kLock(pGroup->kGroupLock);
    if (!pGroup->bOpen)
        return false;
    pGroup->bAccepting = false;
    return true;
}
