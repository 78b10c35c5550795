#include "jobs/VXJobListData.h"

#include "jobs/VXJobClock.h"
#include "jobs/VXJobMarkers.h"
#include "jobs/VXJobQueue.h"

#include <cstring>

using namespace VXJobs;

namespace
{
// Pauses a thread at an unreleased Sync spends watching the section before it parks: the
// last jobs before a sync are often just ending on another thread.
constexpr unsigned int kSyncSpins = 128;
// Pauses after a lost claim, doubled for each further loss in a row up to the cap, and
// back to the first after a won one.
constexpr unsigned int kClaimBackoff = 8;
constexpr unsigned int kBackoffCap = 128;

template <class T> std::atomic_ref<T> Atomic(T& rValue)
{
    return std::atomic_ref<T>(rValue);
}

// After a lost claim: the winner claims its next entries meanwhile with the frontier still
// in its cache, instead of two threads pulling the line to and fro for every job. A thread
// that keeps losing waits longer each time, so the winner's run lasts.
void BackOff(unsigned int& uiPauses)
{
    for (unsigned int i = 0; i < uiPauses; ++i)
        VXCpuRelax();
    uiPauses = uiPauses * 2 < kBackoffCap ? uiPauses * 2 : kBackoffCap;
}

bool IsMarker(void const* pParam)
{
    return pParam == SignalMarker() || pParam == SyncMarker() || pParam == EndMarker();
}

// Time in job functions, read where a run of jobs claimed back to back begins and ends
// rather than around each job: on a list of short jobs two clock reads per job cost more
// than the jobs. The claims inside a run, and the lost one that ends it, count as job time.
class RunClock
{
public:
    void Open()
    {
        if (bOpen)
            return;
        uiStart = ReadJobClock();
        bOpen = true;
    }
    void Close()
    {
        if (!bOpen)
            return;
        uiTotal += ReadJobClock() - uiStart;
        bOpen = false;
    }
    uint64_t QTotal() const { return uiTotal; }

private:
    uint64_t uiStart = 0;
    uint64_t uiTotal = 0;
    bool bOpen = false;
};
} // namespace

JobListData::JobListData(VXFixedString const& sListName, VXEventFlag* pFlag)
    : sName(sListName), kDoneEvent(false, false), aiSubmitCounters{}, acPadFront{},
      uiNextJob(0), acPadBack{}, iThreadTokens(0), uiGeneration(0), piPredecessor(nullptr),
      pEventFlag(pFlag), uiNumSyncs(0), uiSectionStart(0), uiSubmitSlot(0), uiNumThreads(0),
      uiFlags(0), ucPriority(0), bOnThreads(false), kLiveStats{}, kLastStats{}
{
    AnchorJobClock();
}

void JobListData::AppendSection()
{
    kSectionCounts.Add(static_cast<int64_t>(kJobs.QSize() - uiSectionStart));
}

void JobListData::CloseBuild()
{
    AppendSection();
    if (uiFlags & FLAG_REUSABLE)
    {
        kSavedSectionCounts.SetSize(kSectionCounts.QSize());
        for (unsigned int i = 0; i < kSectionCounts.QSize(); ++i)
            kSavedSectionCounts[i] = kSectionCounts[i];
    }
    kJobs.Add(Job{&NoOpJob, EndMarker(), nullptr});
    uiFlags |= FLAG_FINISHED_BUILD;
}

void JobListData::ResetState()
{
    if (uiFlags & FLAG_REUSABLE)
    {
        for (unsigned int i = 0; i < kSectionCounts.QSize() && i < kSavedSectionCounts.QSize(); ++i)
            kSectionCounts[i] = kSavedSectionCounts[i];
        for (uint32_t& rWord : kSyncWords)
            rWord = 0;
    }
    else
    {
        kJobs.Clear();
        kSectionCounts.Clear();
        kSyncWords.Clear();
        uiFlags &= ~FLAG_FINISHED_BUILD;
        piPredecessor = nullptr;
        uiNumSyncs = 0;
        uiSectionStart = 0;
    }
    kDoneEvent.Reset();
    uiSubmitSlot = 0;
    uiFlags = (uiFlags & ~FLAG_SIGNAL_OPEN) | FLAG_IDLE;
}

bool JobListData::QLastSectionOpen() const
{
    unsigned int uiCount = kSectionCounts.QSize();
    if (uiCount == 0)
        return false;
    int64_t& rLast = const_cast<int64_t&>(kSectionCounts[uiCount - 1]);
    return Atomic(rLast).load(std::memory_order_acquire) > 0;
}

void JobListData::CloseStats()
{
    kLastStats = kLiveStats;
    double dRate = JobClockRate();
    for (unsigned int i = 0; i < 32; ++i)
    {
        kLastStats.auiProcessingTime[i] =
            JobClockToMicroseconds(kLiveStats.auiProcessingTime[i], dRate);
        kLastStats.auiTotalTime[i] = JobClockToMicroseconds(kLiveStats.auiTotalTime[i], dRate);
        // Rounding of the two conversions must not make wasted time negative.
        if (kLastStats.auiTotalTime[i] < kLastStats.auiProcessingTime[i])
            kLastStats.auiTotalTime[i] = kLastStats.auiProcessingTime[i];
    }
}

void JobListData::FinishSection(uint32_t uiSection, int64_t iDone, unsigned int& uiResult)
{
    if (iDone == 0 || uiSection >= kSectionCounts.QSize())
        return;
    // Release publishes this thread's jobs; acquire, for the thread reaching 0, sees all.
    int64_t iLeft =
        Atomic(kSectionCounts[uiSection]).fetch_sub(iDone, std::memory_order_acq_rel) - iDone;
    if (iLeft != 0 || uiSection + 1 != kSectionCounts.QSize())
        return;
    uint64_t uiNow = Now();
    Atomic(kLiveStats.uiFinishTime).store(uiNow ? uiNow : 1, std::memory_order_relaxed);
    if (pEventFlag)
        pEventFlag->Set();
    Atomic(aiSubmitCounters[uiSubmitSlot]).fetch_sub(1, std::memory_order_release);
    uiResult |= RESULT_DONE;
}

bool JobListData::PassMarker(void const* pMarker, uint32_t& uiSection, int64_t& iDone,
                             unsigned int& uiResult)
{
    if (pMarker == SignalMarker())
    {
        FinishSection(uiSection, iDone, uiResult);
        iDone = 0;
        ++uiSection;
        return true;
    }
    if (pMarker == SyncMarker())
    {
        // Counts settled before the thread may park: a parked thread holding back the
        // last count of a section would strand the threads waiting at its Sync.
        FinishSection(uiSection, iDone, uiResult);
        iDone = 0;
        return PassSync(uiSection, uiResult);
    }
    uiResult |= RESULT_DONE;
    return false;
}

bool JobListData::PassSync(uint32_t uiSection, unsigned int& uiResult)
{
    if (uiSection == 0 || uiSection > kSyncWords.QSize())
        return true; // no section before it to wait for
    std::atomic_ref<uint32_t> kWord(kSyncWords[uiSection - 1]);
    std::atomic_ref<int64_t> kCount(kSectionCounts[uiSection - 1]);
    uint32_t uiWord = kWord.load(std::memory_order_acquire);
    // Relaxed: this only delays the decision, which reads the count again with acquire.
    for (unsigned int i = 0;
         i < kSyncSpins && !(uiWord & SYNC_RELEASED) && kCount.load(std::memory_order_relaxed); ++i)
        VXCpuRelax();
    for (;;)
    {
        if (uiWord & SYNC_RELEASED)
            return true;
        if (kCount.load(std::memory_order_acquire) != 0)
        {
            if (kWord.compare_exchange_weak(uiWord, uiWord + 1, std::memory_order_acq_rel,
                                            std::memory_order_acquire))
            {
                uiResult |= RESULT_PARKED;
                return false;
            }
            continue;
        }
        if (kWord.compare_exchange_weak(uiWord, uiWord | SYNC_RELEASED, std::memory_order_acq_rel,
                                        std::memory_order_acquire))
        {
            if (uiWord != 0)
                uiResult |= RESULT_RELEASE;
            return true;
        }
    }
}

void JobListData::NoteStart()
{
    if (Atomic(kLiveStats.uiStartTime).load(std::memory_order_relaxed) != 0)
        return;
    uint64_t uiZero = 0;
    uint64_t uiNow = Now();
    Atomic(kLiveStats.uiStartTime)
        .compare_exchange_strong(uiZero, uiNow ? uiNow : 1, std::memory_order_relaxed);
}

unsigned int JobListData::Step(unsigned int uiUnit, ActiveList& rRecord, bool bStopAfterJob)
{
    if (rRecord.uiGeneration != QGeneration())
        return RESULT_STALE;
    NoteStart();
    Job const* pJobs = kJobs.QBase();
    uint32_t const uiEntries = kJobs.QSize();
    uint32_t uiIndex = rRecord.uiJobIndex;
    uint32_t uiSection = rRecord.uiSection;
    // Relaxed: the entries reached this thread through the queue hand-off, and the order
    // between jobs comes from the section counts.
    uint64_t uiSnapshot = uiNextJob.load(std::memory_order_relaxed);
    unsigned int uiResult = 0;
    int64_t iDone = 0; // entries of uiSection finished here, not yet subtracted
    RunClock kClock;
    unsigned int uiBackoff = kClaimBackoff;
    bool bStop = false;
    while (!bStop && uiIndex <= uiSnapshot && uiIndex < uiEntries)
    {
        Job const& rJob = pJobs[uiIndex];
        bool bMarker = IsMarker(rJob.pParam);
        if (bMarker)
        {
            kClock.Close(); // a sync may hold the thread: no job time
            if (!PassMarker(rJob.pParam, uiSection, iDone, uiResult))
                break; // at the End, or parked: the record stays on the Sync and is given up
            bStop = (uiResult & RESULT_RELEASE) != 0;
        }
        if (uiIndex == uiSnapshot)
        {
            if (uiNextJob.compare_exchange_strong(uiSnapshot, uiSnapshot + 1,
                                                  std::memory_order_relaxed))
            {
                if (!bMarker)
                    kClock.Open();
                rJob.pFunction(rJob.pParam);
                uiResult |= RESULT_RAN;
                uiBackoff = kClaimBackoff;
                ++iDone;
                uiSnapshot = uiNextJob.load(std::memory_order_relaxed);
                bStop = bStop || bStopAfterJob;
            }
            else
            {
                kClock.Close();
                BackOff(uiBackoff);
            }
        }
        // A lost claim refreshed uiSnapshot past this entry. After a won one it is read
        // afresh: entries taken meanwhile are passed over without a doomed claim.
        ++uiIndex;
    }
    kClock.Close();
    FinishSection(uiSection, iDone, uiResult);
    kLiveStats.auiProcessingTime[uiUnit] += kClock.QTotal();
    rRecord.uiJobIndex = uiIndex;
    rRecord.uiSection = uiSection;
    rRecord.uiSnapshot = static_cast<uint32_t>(uiSnapshot);
    return uiResult;
}

unsigned int JobListData::TimedStep(unsigned int uiUnit, ActiveList& rRecord, bool bStopAfterJob)
{
    uint64_t uiStart = ReadJobClock();
    unsigned int uiResult = Step(uiUnit, rRecord, bStopAfterJob);
    kLiveStats.auiTotalTime[uiUnit] += ReadJobClock() - uiStart;
    return uiResult;
}
