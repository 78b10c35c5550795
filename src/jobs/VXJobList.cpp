#include "jobs/VXJobListData.h"
#include "jobs/VXJobMarkers.h"
#include "jobs/VXJobThread.h"

#include "foundation/VXPlatformSync.h"
#include "vxsystem/VXSpinLock.h"

using namespace VXJobs;

namespace
{
constexpr unsigned int kListBudget = 64;
constexpr unsigned int kMaxListThreads = 32;
// Spins on the token count before Wait sleeps on the done event.
constexpr unsigned int kTokenSpins = 4096;
// Pauses Wait watches the list after each yield: when the processor comes back to it, a
// job thread that shared it has often just run out of work, and the list is about to end.
constexpr unsigned int kWatchSpins = 256;

struct ListOfLists
{
    ListOfLists() { kLists.Reserve(kListBudget); }
    VXTArray<JobList*> kLists;
    VXNonReentrantSpinLock kLock;
};

ListOfLists& Lists()
{
    static ListOfLists kLists;
    return kLists;
}

std::atomic_ref<int64_t> Atomic(int64_t& rValue)
{
    return std::atomic_ref<int64_t>(rValue);
}
} // namespace

JobList::JobList(VXFixedString const& sName, unsigned char ucPriority, unsigned int uiNumThreads,
                 unsigned int uiJobReserve, unsigned int uiSyncReserve, bool bReusable,
                 VXEventFlag* pEventFlag, bool bPreferLargeGroup)
    : pData(new JobListData(sName, pEventFlag)), bOwner(true)
{
    if (!pData)
        return;
    pData->kJobs.Reserve(uiJobReserve + 2 * uiSyncReserve + 1);
    pData->kSectionCounts.Reserve(uiSyncReserve + 1);
    pData->kSyncWords.Reserve(uiSyncReserve + 1);
    pData->uiNumThreads = uiNumThreads < kMaxListThreads ? uiNumThreads : kMaxListThreads;
    pData->ucPriority = ucPriority;
    if (GetNumJobThreads() > kFirstGroupThreads && (bPreferLargeGroup || pData->uiNumThreads > 6))
        pData->uiFlags |= JobListData::FLAG_LARGE_GROUP;
    pData->ResetState();
    if (bReusable)
        pData->uiFlags |= JobListData::FLAG_REUSABLE;
    ListOfLists& rLists = Lists();
    rLists.kLock.Lock();
    rLists.kLists.Add(this);
    rLists.kLock.Unlock();
}

JobList::~JobList()
{
    Release();
}

void JobList::Release()
{
    if (!bOwner || !pData)
        return;
    if (IsSubmitted())
        Wait();
    ListOfLists& rLists = Lists();
    rLists.kLock.Lock();
    unsigned int uiIndex = rLists.kLists.Find(this);
    rLists.kLists.RemoveAtFast(uiIndex);
    rLists.kLock.Unlock();
    delete pData;
    pData = nullptr;
}

JobList& JobList::operator=(JobList const& rOther)
{
    if (this == &rOther || pData == rOther.pData)
        return *this;
    Release();
    pData = rOther.pData;
    bOwner = false;
    return *this;
}

void JobList::AddJob(JobFunction pFunction, void* pParam, char const* pName)
{
    if (!pData || !pFunction)
        return;
    if (!pName)
        pName = GetJobName(GetJobSlot(pFunction));
    pData->kJobs.Add(Job{pFunction, pParam, pName});
}

void JobList::InsertSyncPoint(SyncType eType)
{
    if (!pData || (pData->uiFlags & JobListData::FLAG_FINISHED_BUILD))
        return;
    JobListData& rData = *pData;
    if (eType == SYNC_SIGNAL && !rData.kJobs.QEmpty())
    {
        rData.AppendSection();
        rData.uiSectionStart = rData.kJobs.QSize();
        rData.kJobs.Add(Job{&NoOpJob, SignalMarker(), "Signal"});
        // One word per Signal keeps every Sync's word in range, even after a Signal
        // that never got its Sync.
        rData.kSyncWords.Add(0);
        rData.uiFlags |= JobListData::FLAG_SIGNAL_OPEN;
    }
    else if (eType == SYNC_WAIT && (rData.uiFlags & JobListData::FLAG_SIGNAL_OPEN))
    {
        rData.kJobs.Add(Job{&NoOpJob, SyncMarker(), "Sync"});
        rData.uiFlags &= ~JobListData::FLAG_SIGNAL_OPEN;
        ++rData.uiNumSyncs;
    }
}

void JobList::Submit(JobList* pPredecessor, bool bRunOnCaller)
{
    if (!pData || IsSubmitted())
        return;
    JobListData& rData = *pData;
    rData.uiNextJob.store(0, std::memory_order_relaxed);
    bool bOnCaller = bRunOnCaller || rData.uiNumThreads == 0;
    rData.kLiveStats = JobListStats{};
    uint32_t uiEntries = rData.kJobs.QSize();
    if (rData.uiFlags & JobListData::FLAG_FINISHED_BUILD)
        --uiEntries;
    uint32_t uiMarkers = 2 * rData.uiNumSyncs;
    rData.kLiveStats.uiNumExecutedJobs = uiEntries > uiMarkers ? uiEntries - uiMarkers : 0;
    rData.kLiveStats.uiNumSyncs = rData.uiNumSyncs;
    rData.kLiveStats.uiSubmitTime = Now();
    rData.uiFlags &= ~JobListData::FLAG_IDLE;
    if (rData.kJobs.QEmpty())
    {
        if (rData.pEventFlag)
            rData.pEventFlag->Set();
        return;
    }
    if (!(rData.uiFlags & JobListData::FLAG_FINISHED_BUILD))
        rData.CloseBuild();
    JobListData* pPrev = pPredecessor ? pPredecessor->pData : nullptr;
    rData.piPredecessor = pPrev ? &pPrev->aiSubmitCounters[pPrev->uiSubmitSlot] : nullptr;
    rData.uiSubmitSlot = (rData.uiSubmitSlot + 1) & 3;
    Atomic(rData.aiSubmitCounters[rData.uiSubmitSlot]).store(1, std::memory_order_release);
    if (!bOnCaller)
    {
        HandToThreads(rData);
        return;
    }
    ActiveList kRecord{&rData, rData.QGeneration(), 0, 0, 0, rData.ucPriority};
    rData.TimedStep(0, kRecord, false);
}

void JobList::Wait()
{
    if (!pData)
        return;
    JobListData& rData = *pData;
    if (!rData.kJobs.QEmpty())
    {
        if ((rData.uiFlags & JobListData::FLAG_IDLE) || rData.kSectionCounts.QEmpty())
            return;
        uint64_t uiStart = Now();
        bool bWaited = false;
        while (rData.QLastSectionOpen())
        {
            bWaited = true;
            PlatformYield();
            for (unsigned int i = 0; i < kWatchSpins && rData.QLastSectionOpen(); ++i)
                VXCpuRelax();
        }
        rData.uiGeneration.fetch_add(1, std::memory_order_acq_rel);
        // Acquire: each returned token publishes its thread's statistics.
        if (rData.bOnThreads)
        {
            // The last token's thread sets the event once per submission; waiting for
            // that set, not just the count, keeps it from touching a freed list.
            for (unsigned int i = 0;
                 i < kTokenSpins && rData.iThreadTokens.load(std::memory_order_acquire) > 0; ++i)
            {
                bWaited = true;
                VXCpuRelax();
            }
            if (rData.iThreadTokens.load(std::memory_order_acquire) > 0)
                bWaited = true;
            rData.kDoneEvent.Wait(-1);
            rData.bOnThreads = false;
        }
        rData.ResetState();
        rData.kLiveStats.uiWaitTime = bWaited ? Now() - uiStart : 0;
    }
    rData.CloseStats();
    rData.uiFlags |= JobListData::FLAG_IDLE;
}

bool JobList::TryWait()
{
    if (!pData)
        return true;
    if (IsSubmitted() && pData->QLastSectionOpen())
        return false;
    Wait();
    return true;
}

bool JobList::IsSubmitted() const
{
    return pData && !(pData->uiFlags & JobListData::FLAG_IDLE);
}

void JobList::Reset()
{
    if (pData)
        pData->ResetState();
}

void JobList::SetCheckSyncs(bool bCheck)
{
    if (!pData)
        return;
    if (bCheck)
        pData->uiFlags |= JobListData::FLAG_CHECK_SYNCS;
    else
        pData->uiFlags &= ~JobListData::FLAG_CHECK_SYNCS;
}

void JobList::SetConcurrencyParameters(unsigned char ucPriority, unsigned int uiNumThreads)
{
    if (!pData)
        return;
    pData->ucPriority = ucPriority;
    pData->uiNumThreads = uiNumThreads < kMaxListThreads ? uiNumThreads : kMaxListThreads;
}

bool JobList::GetSingleThreaded() const
{
    return !pData || pData->uiNumThreads == 0;
}

unsigned int JobList::GetNumUsedThreads() const
{
    return pData ? pData->uiNumThreads : 0;
}

unsigned int JobList::GetNumPendingJobsInList() const
{
    return pData ? pData->kJobs.QSize() : 0;
}

VXFixedString const& JobList::GetName() const
{
    return pData ? pData->sName : VXFixedString::QEmptyString();
}

unsigned int JobList::GetNumJobLists()
{
    return Lists().kLists.QSize();
}

unsigned int JobList::GetNumFreeJobLists()
{
    return kListBudget - GetNumJobLists();
}

void JobList::WaitForAll()
{
    for (JobList* pList : Lists().kLists)
        pList->Wait();
}
