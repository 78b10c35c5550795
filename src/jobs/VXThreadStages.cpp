#include "vxsystem/VXThreadStages.h"

#include "vxsystem/VXEventFlag.h"

namespace
{
thread_local unsigned int tuiLocalStageIndex = 0;
} // namespace

VXThreadStages::VXThreadStages(unsigned int uiNumStages) : uiCurrent(0)
{
    if (!kEvents.SetSize(uiNumStages))
        return;
    for (unsigned int i = 0; i < uiNumStages; ++i)
        kEvents[i] = VXEventFlag::CreateHandle(true, false);
}

VXThreadStages::~VXThreadStages()
{
    for (unsigned int i = 0; i < kEvents.QNumElements(); ++i)
        VXEventFlag::CloseHandle(kEvents[i]);
}

void VXThreadStages::Signal(unsigned int uiStage)
{
    if (uiStage >= kEvents.QNumElements())
        return;
    VXEventFlag::SetHandle(kEvents[uiStage]);
    if (uiStage > uiCurrent.load(std::memory_order_relaxed))
        uiCurrent.store(uiStage, std::memory_order_relaxed);
}

bool VXThreadStages::Test(unsigned int uiStage) const
{
    return uiStage < kEvents.QNumElements() && VXEventFlag::WaitHandle(kEvents[uiStage], 0);
}

void VXThreadStages::Wait(unsigned int uiStage) const
{
    if (uiStage < kEvents.QNumElements())
        VXEventFlag::WaitHandle(kEvents[uiStage], -1);
}

void VXThreadStages::Reset()
{
    for (unsigned int i = 0; i < kEvents.QNumElements(); ++i)
        VXEventFlag::ResetHandle(kEvents[i]);
    uiCurrent.store(0, std::memory_order_relaxed);
}

VXThreadStagesManager::VXThreadStagesManager(unsigned int uiNumSlots)
{
    SetInstance(this);
    kStages.SetSize(uiNumSlots);
}

VXThreadStagesManager::~VXThreadStagesManager()
{
    Kill();
    kStages.SetSize(0);
    if (QInstance() == this)
        SetInstance(nullptr);
}

VXThreadStages* VXThreadStagesManager::QSet(unsigned int uiThreadIndex) const
{
    return uiThreadIndex < kStages.QNumElements() ? kStages[uiThreadIndex] : nullptr;
}

void VXThreadStagesManager::InitStages(unsigned int uiThreadIndex, unsigned int uiNumStages)
{
    if (uiThreadIndex >= kStages.QNumElements())
        return;
    delete kStages[uiThreadIndex];
    kStages[uiThreadIndex] = new VXThreadStages(uiNumStages);
}

void VXThreadStagesManager::Reset()
{
    for (unsigned int i = 0; i < kStages.QNumElements(); ++i)
        Reset(i);
}

void VXThreadStagesManager::Reset(unsigned int uiThreadIndex)
{
    if (VXThreadStages* pSet = QSet(uiThreadIndex))
        pSet->Reset();
}

bool VXThreadStagesManager::Test(unsigned int uiThreadIndex, unsigned int uiStage) const
{
    VXThreadStages const* pSet = QSet(uiThreadIndex);
    return !pSet || pSet->Test(uiStage);
}

void VXThreadStagesManager::Wait(unsigned int uiThreadIndex, unsigned int uiStage) const
{
    if (VXThreadStages const* pSet = QSet(uiThreadIndex))
        pSet->Wait(uiStage);
}

unsigned int VXThreadStagesManager::GetCurrentStage(unsigned int uiThreadIndex) const
{
    VXThreadStages const* pSet = QSet(uiThreadIndex);
    return pSet ? pSet->QCurrent() : 0;
}

void VXThreadStagesManager::Signal(unsigned int uiThreadIndex, unsigned int uiStage)
{
    if (VXThreadStages* pSet = QSet(uiThreadIndex))
        pSet->Signal(uiStage);
}

void VXThreadStagesManager::Kill()
{
    for (unsigned int i = 0; i < kStages.QNumElements(); ++i)
    {
        delete kStages[i];
        kStages[i] = nullptr;
    }
}

void VXThreadStagesManager::SetLocalStageIndex(unsigned int uiThreadIndex)
{
    tuiLocalStageIndex = uiThreadIndex;
}

unsigned int VXThreadStagesManager::QLocalStageIndex()
{
    return tuiLocalStageIndex;
}

void VXThreadStagesManager::SetThreadStage(unsigned int uiStage)
{
    if (VXThreadStagesManager* pManager = QInstance())
        pManager->Signal(tuiLocalStageIndex, uiStage);
}

void VXThreadStagesManager::ResetThreadStages()
{
    if (VXThreadStagesManager* pManager = QInstance())
        pManager->Reset(tuiLocalStageIndex);
}

bool VXThreadStagesManager::TestThreadStage(unsigned int uiThreadIndex, unsigned int uiStage)
{
    VXThreadStagesManager* pManager = QInstance();
    return !pManager || pManager->Test(uiThreadIndex, uiStage);
}

void VXThreadStagesManager::WaitOnThreadStage(unsigned int uiThreadIndex, unsigned int uiStage)
{
    if (VXThreadStagesManager* pManager = QInstance())
        pManager->Wait(uiThreadIndex, uiStage);
}
