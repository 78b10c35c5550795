#include "vxsystem/VXTaskletManager.h"

VXTaskletManagerCallback* VXTaskletManager::spOnStartup[VXTaskletManager::MAX_CALLBACKS] = {};
VXTaskletManagerCallback* VXTaskletManager::spOnExit[VXTaskletManager::MAX_CALLBACKS] = {};
int32_t VXTaskletManager::siNumStartup = 0;
int32_t VXTaskletManager::siNumExit = 0;

VXTaskletManagerCallback::VXTaskletManagerCallback(Phase eType)
{
    if (eType == PHASE_STARTUP)
        VXTaskletManager::RegisterOnStartupCallback(this);
    else
        VXTaskletManager::RegisterOnExitCallback(this);
}

VXTaskletManager::VXTaskletManager()
    : bAvailable(false), bInstanceAvailable(false), kInstanceSemaphore(1)
{
}

bool VXTaskletManager::CreateTaskGroup(VXTaskletGroup& rGroup)
{
    VXTaskletGroupData* pData = nullptr;
    if (!bAvailable || !CreateTaskGroupData(pData))
        pData = nullptr;
    rGroup.SetGroupData(pData);
    return pData != nullptr;
}

void VXTaskletManager::DestroyTaskGroup(VXTaskletGroup& rGroup, bool bProcessTasks)
{
    VXTaskletGroupData* pData = rGroup.QGroupData();
    if (!pData)
        return;
    pData->Cancel();
    if (!pData->QComplete())
        pData->WaitForCompletion(bProcessTasks);
    DestroyTaskGroupData(pData);
    rGroup.SetGroupData(nullptr);
}

bool VXTaskletManager::OpenTaskGroup(VXTaskletGroup& rGroup)
{
    return bAvailable && rGroup.QGroupData() && OpenTaskGroupData(rGroup.QGroupData());
}

bool VXTaskletManager::CloseTaskGroup(VXTaskletGroup& rGroup)
{
    return bAvailable && rGroup.QGroupData() && CloseTaskGroupData(rGroup.QGroupData());
}

bool VXTaskletManager::AttachTask(VXTaskletGroup& rGroup, VXTasklet& rTask, bool bLastTask)
{
    return bAvailable && rGroup.QGroupData() && rTask.QTaskData() &&
           AttachTaskData(rGroup.QGroupData(), rTask.QTaskData(), bLastTask);
}

bool VXTaskletManager::RegisterOnStartupCallback(VXTaskletManagerCallback* pCallback)
{
    return Register(spOnStartup, siNumStartup, pCallback);
}

bool VXTaskletManager::RegisterOnExitCallback(VXTaskletManagerCallback* pCallback)
{
    return Register(spOnExit, siNumExit, pCallback);
}

bool VXTaskletManager::Register(VXTaskletManagerCallback** apTable, int32_t& riCount,
                                VXTaskletManagerCallback* pCallback)
{
    // Once the start thread may be running the tables are read without a lock.
    if (QInstance().kInstanceSemaphore.QCount() != 0 || riCount >= MAX_CALLBACKS)
        return false;
    apTable[riCount++] = pCallback;
    return true;
}

void VXTaskletManager::SignalInstanceAvailable()
{
    kInstanceSemaphore.Signal();
    bInstanceAvailable = true;
    InstanceAvailable();
}

void VXTaskletManager::OnStartup()
{
    RunTable(spOnStartup, siNumStartup);
}

void VXTaskletManager::OnExit()
{
    RunTable(spOnExit, siNumExit);
}

void VXTaskletManager::RunTable(VXTaskletManagerCallback* const* apTable, int32_t iCount)
{
    for (int32_t i = 0; i < iCount; ++i)
    {
        if (apTable[i])
            apTable[i]->Execute();
    }
}

void VXTaskletModule::Update(bool bUseArgument, bool bActivate, bool bStore)
{
    bool bState = bActive;
    if (bUseArgument)
    {
        bState = bActivate;
        if (bStore)
            bActive = bActivate;
    }
    if (bState)
        Activate();
    else
        Deactivate();
}
