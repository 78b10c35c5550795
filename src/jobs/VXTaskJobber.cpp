#include "vxsystem/VXTaskJobber.h"

#include "vxsystem/VXTimer.h"

#include <atomic>

namespace
{
// 0 unregistered, 1 being registered, 2 registered.
std::atomic<uint32_t> guiRegistered{0};
} // namespace

void VXTaskJobber::Task::TaskYield()
{
    if (pOwner)
        pOwner->YieldTask(this);
}

VXTaskJobber::VXTaskJobber(bool bChain, unsigned int uiMax)
    : apJobLists{nullptr, nullptr}, ppChainHeads(nullptr), ppChainTails(nullptr),
      pYieldHead(nullptr), ppYieldTail(&pYieldHead), uiMaxJobs(uiMax ? uiMax : 1),
      uiCurrentList(0), auiJobCounts{0, 0}, bChainOverflow(false)
{
    if (!bChain)
        return;
    size_t uiBytes = 2 * static_cast<size_t>(uiMaxJobs) * sizeof(void*);
    auto** ppBlock = static_cast<void**>(MemoryManager::Instance().Allocate(uiBytes));
    if (!ppBlock)
        return; // no room: the jobber works without chains
    for (unsigned int i = 0; i < 2 * uiMaxJobs; ++i)
        ppBlock[i] = nullptr;
    ppChainHeads = reinterpret_cast<Task**>(ppBlock);
    ppChainTails = reinterpret_cast<Task***>(ppBlock + uiMaxJobs);
    bChainOverflow = true;
}

VXTaskJobber::~VXTaskJobber()
{
    Shutdown();
    MemoryManager::Instance().Deallocate(ppChainHeads);
}

bool VXTaskJobber::Initialize(VXFixedString const& sListNameA, VXFixedString const& sListNameB,
                              unsigned char ucPriority, unsigned int uiNumThreads,
                              bool bPreferLargeGroup)
{
    VXFixedString const* apNames[2] = {&sListNameA, &sListNameB};
    for (int i = 0; i < 2; ++i)
        if (!apJobLists[i])
            apJobLists[i] = new VXJobs::JobList(*apNames[i], ucPriority, uiNumThreads, uiMaxJobs, 0,
                                                false, nullptr, bPreferLargeGroup);
    uint32_t uiState = 0;
    if (guiRegistered.compare_exchange_strong(uiState, 1, std::memory_order_acquire))
    {
        VXJobs::RegisterJob(&JobFn, "VXTaskJobber");
        guiRegistered.store(2, std::memory_order_seq_cst);
    }
    VXSafeSleep kBackOff;
    while (guiRegistered.load(std::memory_order_acquire) != 2)
        kBackOff.Sleep();
    return true;
}

void VXTaskJobber::Shutdown()
{
    if (!apJobLists[0] && !apJobLists[1])
        return;
    Reset();
    for (VXJobs::JobList*& rpList : apJobLists)
    {
        delete rpList;
        rpList = nullptr;
    }
}

bool VXTaskJobber::AttachTask(Task* pTask)
{
    if (!pTask || !kQueueLock.TryLock())
        return false;
    pTask->pOwner = this;
    PushYield(pTask);
    kQueueLock.Unlock();
    return true;
}

void VXTaskJobber::YieldTask(Task* pTask)
{
    if (!pTask)
        return;
    kQueueLock.Lock();
    PushYield(pTask);
    kQueueLock.Unlock();
}

void VXTaskJobber::JobFn(void* pParam)
{
    for (Task* pTask = static_cast<Task*>(pParam); pTask;)
    {
        Task* pNext = pTask->pNext;
        pTask->pNext = nullptr; // so that Process may yield the task
        pTask->Process();
        pTask = pNext;
    }
}

bool VXTaskJobber::AddTaskJob(Task* pTask)
{
    unsigned int& rCount = auiJobCounts[uiCurrentList];
    if (rCount < uiMaxJobs)
    {
        apJobLists[uiCurrentList]->AddJob(&JobFn, pTask, nullptr);
        if (bChainOverflow)
        {
            ppChainHeads[rCount] = pTask;
            ppChainTails[rCount] = &pTask->pNext;
        }
    }
    else if (bChainOverflow)
    {
        unsigned int uiSlot = rCount % uiMaxJobs;
        *ppChainTails[uiSlot] = pTask;
        ppChainTails[uiSlot] = &pTask->pNext;
    }
    else
    {
        return false;
    }
    ++rCount;
    pTask->pOwner = this;
    pTask->pNext = nullptr;
    return true;
}

bool VXTaskJobber::GetJobListAvailable()
{
    VXJobs::JobList* pCurrent = apJobLists[uiCurrentList];
    if (!pCurrent->IsSubmitted() || pCurrent->TryWait())
        return true;
    unsigned int uiOther = 1 - uiCurrentList;
    VXJobs::JobList* pOther = apJobLists[uiOther];
    if (pOther->IsSubmitted() && !pOther->TryWait())
        return false;
    auiJobCounts[uiOther] = 0;
    uiCurrentList = uiOther;
    return true;
}

void VXTaskJobber::SubmitCurrentJobListAndSwap()
{
    if (auiJobCounts[uiCurrentList] == 0)
        return;
    apJobLists[uiCurrentList]->Submit(nullptr, false);
    uiCurrentList = 1 - uiCurrentList;
    auiJobCounts[uiCurrentList] = 0;
}

void VXTaskJobber::Flush()
{
    if (!apJobLists[0] || !apJobLists[1] || !kFlushLock.TryLock())
        return;
    if (!GetJobListAvailable())
    {
        kFlushLock.Unlock();
        return;
    }
    kQueueLock.Lock();
    Task* pTask = pYieldHead;
    Task** ppTail = ppYieldTail;
    pYieldHead = nullptr;
    ppYieldTail = &pYieldHead;
    kQueueLock.Unlock();
    while (pTask)
    {
        Task* pNext = pTask->pNext; // AddTaskJob clears it
        if (!AddTaskJob(pTask))
        {
            SubmitCurrentJobListAndSwap();
            if (!GetJobListAvailable() || !AddTaskJob(pTask))
                break;
        }
        pTask = pNext;
    }
    if (pTask)
    {
        // The rest goes behind what arrived during the flush.
        kQueueLock.Lock();
        *ppYieldTail = pTask;
        ppYieldTail = ppTail;
        kQueueLock.Unlock();
    }
    SubmitCurrentJobListAndSwap();
    kFlushLock.Unlock();
}

void VXTaskJobber::ForceProcess(float fMilliseconds)
{
    int64_t iStart = VXPrecisionTimer::GetTimer();
    auto iBudget = static_cast<int64_t>(fMilliseconds * VXPrecisionTimer::fFrequencyMS);
    for (;;)
    {
        Flush();
        if (kQueueLock.TryLock())
        {
            Task* pTask = PopYield();
            kQueueLock.Unlock();
            if (!pTask)
                return;
            pTask->Process();
        }
        if (VXPrecisionTimer::GetTimer() - iStart > iBudget)
            return;
    }
}

void VXTaskJobber::Reset()
{
    if (!apJobLists[0] && !apJobLists[1])
        return;
    kFlushLock.Lock();
    for (VXJobs::JobList* pList : apJobLists)
        if (pList && pList->IsSubmitted())
            pList->Wait();
    uiCurrentList = 0;
    auiJobCounts[0] = auiJobCounts[1] = 0;
    kQueueLock.Lock();
    pYieldHead = nullptr;
    ppYieldTail = &pYieldHead;
    kQueueLock.Unlock();
    kFlushLock.Unlock();
}

void VXTaskJobber::PushYield(Task* pTask)
{
    pTask->pNext = nullptr;
    *ppYieldTail = pTask;
    ppYieldTail = &pTask->pNext;
}

VXTaskJobber::Task* VXTaskJobber::PopYield()
{
    Task* pTask = pYieldHead;
    if (!pTask)
        return nullptr;
    pYieldHead = pTask->pNext;
    if (!pYieldHead)
        ppYieldTail = &pYieldHead;
    pTask->pNext = nullptr;
    return pTask;
}
