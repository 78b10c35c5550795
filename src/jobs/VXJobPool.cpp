// The job thread pool: its statics, start and stop, and the hand-off of lists.
#include "jobs/VXJobPool.h"

#include "jobs/VXJobThread.h"

#include "foundation/VXPlatformSync.h"
#include "platform/VXPlatformProcessors.h"
#include "vxsystem/VXEventFlag.h"

#include <cstdio>

using namespace VXJobs;

namespace
{
constexpr unsigned int kSecondGroupThreads = kMaxJobThreads - kFirstGroupThreads;

struct Pool
{
    // A host that never stopped the pool: end the threads before their objects go.
    ~Pool() { Stop(); }
    void Stop();

    JobThread akThreads[kMaxJobThreads];
    JobGroup akGroups[2];
    unsigned int uiNumThreads = 0;
    unsigned int uiLogical = 0;
    unsigned int uiCores = 0;
    unsigned int uiPackages = 0;
    unsigned int uiOverride = 0;
    std::atomic<bool> bYieldBetweenJobs{true};
    void (*pCreateHook)(JobThread*, unsigned int) = nullptr;
    void (*pStartHook)(JobThread*) = nullptr;
};

Pool& ThePool()
{
    static Pool kPool;
    return kPool;
}

ThreadConfig DefaultConfig(unsigned int uiThread)
{
    return ThreadConfig{uiThread < kFirstGroupThreads ? 0x40000u : 0x8000u, 0, 0};
}

void PushAll(JobGroup& rGroup, ActiveList const& rPlace, int iCount, int iWakeWhenFull)
{
    while (!rGroup.kQueue.Push(rPlace, iCount))
    {
        rGroup.Wake(iWakeWhenFull);
        PlatformYield();
    }
    rGroup.Wake(iCount);
}
} // namespace

void* VXProcessorsAllocate(size_t uiBytes)
{
    return MemoryManager::Instance().Allocate(uiBytes);
}

void VXProcessorsFree(void* pBlock)
{
    MemoryManager::Instance().Deallocate(pBlock);
}

unsigned int VXJobs::GetNumJobThreads()
{
    return ThePool().uiNumThreads;
}

void VXJobs::StartJobThreads(ThreadConfig const* pConfigs, unsigned int uiNumConfigs,
                             int iNumThreads)
{
    Pool& rPool = ThePool();
    if (rPool.uiNumThreads != 0)
        return; // already running: stop first to change the configuration
    rPool.uiLogical = PlatformLogicalProcessors(rPool.uiCores, rPool.uiPackages);
    if (rPool.uiOverride)
        rPool.uiLogical = rPool.uiOverride;
    unsigned int uiWanted =
        iNumThreads >= 1 && iNumThreads <= 32 ? static_cast<unsigned int>(iNumThreads) : 32;
    unsigned int uiCount = uiWanted < rPool.uiLogical ? uiWanted : rPool.uiLogical;
    for (unsigned int i = 0; i < uiCount; ++i)
    {
        ThreadConfig kConfig = pConfigs && i < uiNumConfigs ? pConfigs[i] : DefaultConfig(i);
        JobThread& rThread = rPool.akThreads[i];
        char acName[16];
        std::snprintf(acName, sizeof(acName), "JobThread%u", i);
        rThread.Clear();
        rThread.Assign(i, &rPool.akGroups[i < kFirstGroupThreads ? 0 : 1]);
        if (rPool.pCreateHook)
            rPool.pCreateHook(&rThread, i);
        if (!rThread.Initialize(kConfig.uiStackSize, acName))
            break;
        rThread.SetThreadPriority(kConfig.iPriority);
        rPool.uiNumThreads = i + 1;
    }
    RegisterJob(&SignalEventJob, "VXJobs::SignalEventJob");
}

void Pool::Stop()
{
    for (unsigned int i = 0; i < uiNumThreads; ++i)
        akThreads[i].RequestStop();
    akGroups[0].kSemaphore.Signal(static_cast<int>(kFirstGroupThreads));
    akGroups[1].kSemaphore.Signal(static_cast<int>(kSecondGroupThreads));
    for (unsigned int i = 0; i < uiNumThreads; ++i)
        akThreads[i].Close();
    // Drop wake-ups that no thread took, so a restarted pool starts parked.
    for (JobGroup& rGroup : akGroups)
        while (rGroup.kSemaphore.Wait(0))
        {
        }
    uiNumThreads = 0;
}

void VXJobs::StopJobThreads()
{
    ThePool().Stop();
}

void VXJobs::HandToThreads(JobListData& rList)
{
    Pool& rPool = ThePool();
    int iTokens = static_cast<int>(rList.uiNumThreads);
    ActiveList kPlace{&rList, rList.QGeneration(), 0, 0, 0, rList.ucPriority};
    // All tokens up front, so the count reaches 0 once per submission.
    rList.bOnThreads = true;
    rList.iThreadTokens.fetch_add(iTokens, std::memory_order_relaxed);
    int iAll = static_cast<int>(rPool.uiNumThreads);
    if (rList.uiFlags & JobListData::FLAG_LARGE_GROUP)
    {
        int iLarge = iTokens < static_cast<int>(kSecondGroupThreads)
                         ? iTokens
                         : static_cast<int>(kSecondGroupThreads);
        PushAll(rPool.akGroups[1], kPlace, iLarge, iLarge);
        iTokens -= iLarge;
    }
    if (iTokens > 0)
        PushAll(rPool.akGroups[0], kPlace, iTokens, iAll);
}

void VXJobs::SignalEventJob(void* pEventFlag)
{
    if (pEventFlag)
        static_cast<VXEventFlag*>(pEventFlag)->Set();
}

void VXJobs::SetYieldBetweenJobs(bool bYield)
{
    ThePool().bYieldBetweenJobs.store(bYield, std::memory_order_relaxed);
}

bool VXJobs::QYieldBetweenJobs()
{
    return ThePool().bYieldBetweenJobs.load(std::memory_order_relaxed);
}

void VXJobs::SetThreadCreateHook(void (*pHook)(JobThread*, unsigned int))
{
    ThePool().pCreateHook = pHook;
}

void VXJobs::SetThreadStartHook(void (*pHook)(JobThread*))
{
    ThePool().pStartHook = pHook;
}

void (*VXJobs::QThreadStartHook())(JobThread*)
{
    return ThePool().pStartHook;
}

void VXJobs::SetProcessorCountOverride(unsigned int uiLogical)
{
    ThePool().uiOverride = uiLogical;
}

unsigned int VXJobs::GetNumLogicalProcessors()
{
    return ThePool().uiLogical;
}

unsigned int VXJobs::GetNumCores()
{
    return ThePool().uiCores;
}

unsigned int VXJobs::GetNumPackages()
{
    return ThePool().uiPackages;
}
