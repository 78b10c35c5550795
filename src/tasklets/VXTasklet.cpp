#include "vxsystem/VXTasklet.h"

#include "vxsystem/VXTaskletManager.h"

// An empty handle is refused before the instance is asked, so it never starts the pool.
bool VXTaskletGroup::Open()
{
    if (!pGroupData)
        return false;
    VXTaskletManager& rManager = VXTaskletManager::QInstance();
    return rManager.QAvailable() && rManager.OpenTaskGroupData(pGroupData);
}

bool VXTaskletGroup::AttachTask(VXTasklet& rTask, bool bLastTask)
{
    if (!pGroupData || !rTask.QTaskData())
        return false;
    VXTaskletManager& rManager = VXTaskletManager::QInstance();
    return rManager.QAvailable() &&
           rManager.AttachTaskData(pGroupData, rTask.QTaskData(), bLastTask);
}

bool VXTaskletGroup::Close()
{
    if (!pGroupData)
        return false;
    VXTaskletManager& rManager = VXTaskletManager::QInstance();
    return rManager.QAvailable() && rManager.CloseTaskGroupData(pGroupData);
}

void VXTaskletGroup::Cancel()
{
    if (pGroupData)
        pGroupData->Cancel();
}

void VXTaskletGroup::ForceProcess(float fMilliseconds)
{
    if (pGroupData && !pGroupData->QComplete())
        pGroupData->ForceProcess(fMilliseconds);
}

void VXTaskletGroup::WaitForCompletion(bool bProcessTasks)
{
    if (pGroupData && !pGroupData->QComplete())
        pGroupData->WaitForCompletion(bProcessTasks);
}

void VXTaskletGroup::SetMaxConcurrent(unsigned int uiMax)
{
    if (pGroupData)
        pGroupData->SetMaxConcurrent(uiMax);
}
