#include "jobs/VXJobThread.h"

#include "jobs/VXJobPool.h"
#include "vxsystem/VXSystemFileStreamer.h"

#include "foundation/VXPlatformSync.h"
#include "vxsystem/VXEventFlag.h"

using namespace VXJobs;

namespace
{
// How long an idle thread watches its queue before it parks: long enough that a pool
// idle for a millisecond still starts work at once, short enough to cost little CPU.
// It yields every few pauses, so that a submitter sharing its processor is not held up,
// yet spends most of the time looking rather than in the system.
constexpr int64_t kSpinTicks = VX_TICKS_PER_MS * 5 / 4;
constexpr unsigned int kPausesPerYield = 64;

// When the pool last finished a list. Idle threads spin on from there too: one that found
// no share in that list, its processor taken by another job thread, would otherwise count
// from before the list and park just ahead of the next one. Relaxed: a hint.
std::atomic<int64_t> giLastListEnd{0};

int64_t SpinDeadline(int64_t iIdleSince)
{
    int64_t iLastEnd = giLastListEnd.load(std::memory_order_relaxed);
    return (iIdleSince > iLastEnd ? iIdleSince : iLastEnd) + kSpinTicks;
}
} // namespace

void JobGroup::Wake(int iCount)
{
    // A seq_cst read-modify-write after the seq_cst publication pairs with the sleeper's
    // increment: either the sleeper sees the new cell, or this sees the sleeper.
    int iSleeping = iSleepers.fetch_add(0, std::memory_order_seq_cst);
    if (iSleeping > 0 && iCount > 0)
        kSemaphore.Signal(iCount < iSleeping ? iCount : iSleeping);
}

JobThread::JobThread() : pGroup(nullptr), uiIndex(0), bStop(false)
{
    Clear();
}

JobThread::~JobThread()
{
    Close();
}

void JobThread::Clear()
{
    for (uint32_t i = 0; i < kRecords; ++i)
    {
        aActive[i] = ActiveList{};
        auiNext[i] = i + 1 < kRecords ? i + 1 : kNone;
        auiPrev[i] = kNone;
    }
    uiFreeHead = 0;
    uiActiveHead = kNone;
    uiCursor = 0;
    bStop.store(false, std::memory_order_relaxed);
}

void JobThread::Assign(unsigned int uiThreadIndex, JobGroup* pThreadGroup)
{
    uiIndex = uiThreadIndex;
    pGroup = pThreadGroup;
}

unsigned int JobThread::ThreadProc()
{
    if (auto pHook = QThreadStartHook())
        pHook(this);
    // File reads on this thread wait on an event of its own.
    VXEventFlag kStreamFlag(false, false);
    VXSystemFileStreamer::SetThreadEventFlag(&kStreamFlag);
    while (!QStopping())
    {
        if (Idle() && !QStopping())
            WorkLoop();
    }
    // Reads this thread issued may still be in flight; the flag must outlive them.
    VXSystemFileStreamer::WaitInactive(0xFFFFFFFF);
    VXSystemFileStreamer::SetThreadEventFlag(nullptr);
    return 0;
}

bool JobThread::Idle()
{
    JobQueue& rQueue = pGroup->kQueue;
    // A list may just have ended: its submitter, waiting on this processor, goes first.
    PlatformYield();
    int64_t iIdleSince = PlatformTicks();
    for (unsigned int i = 1;; ++i)
    {
        if (rQueue.QHasWork() || QStopping())
            return true;
        if (i % kPausesPerYield != 0)
        {
            VXCpuRelax();
            continue;
        }
        PlatformYield();
        if (PlatformTicks() > SpinDeadline(iIdleSince))
            break;
    }
    pGroup->iSleepers.fetch_add(1, std::memory_order_seq_cst);
    bool bWork = rQueue.QHasWork() || QStopping();
    if (!bWork)
        pGroup->kSemaphore.Wait(-1);
    pGroup->iSleepers.fetch_sub(1, std::memory_order_relaxed);
    return true;
}

void JobThread::WorkLoop()
{
    uiCursor = pGroup->kQueue.uiRead.load(std::memory_order_acquire);
    while (!QStopping())
    {
        if (uiFreeHead != kNone)
            TakeInvitation();
        if (uiActiveHead == kNone)
            return;
        if (!RunRing())
            PlatformYield(); // every list waits for a predecessor
    }
}

void JobThread::TakeInvitation()
{
    JobQueue& rQueue = pGroup->kQueue;
    rQueue.AdvanceRead();
    uint64_t uiRead = rQueue.uiRead.load(std::memory_order_acquire);
    uint64_t uiPublished = rQueue.uiPublished.load(std::memory_order_acquire);
    if (uiCursor < uiRead)
        uiCursor = uiRead; // cells behind the read index may be refilled already
    while (uiCursor < uiPublished &&
           rQueue.Cell(uiCursor).iTakers.load(std::memory_order_relaxed) <= 0)
        ++uiCursor;
    for (uint64_t uiAt = uiCursor; uiAt < uiPublished; ++uiAt)
    {
        QueueCell& rCell = rQueue.Cell(uiAt);
        if (!TryTake(rCell))
            continue;
        if (QHolds(rCell.pList, rCell.uiGeneration))
        {
            // Already in this submission: leave the invitation to another thread.
            rCell.iTakers.fetch_add(1, std::memory_order_relaxed);
            continue;
        }
        uint32_t uiRecord = Link();
        ActiveList& rRecord = aActive[uiRecord];
        rRecord.pList = rCell.pList;
        rRecord.uiGeneration = rCell.uiGeneration;
        rRecord.uiSection = rCell.uiSection;
        rRecord.uiJobIndex = rCell.uiJobIndex;
        rRecord.uiSnapshot = rCell.uiJobIndex;
        rRecord.ucPriority = rCell.pList->ucPriority;
        // Release: the copy above is done before the cell may be reused.
        rCell.uiPending.fetch_sub(1, std::memory_order_release);
        rQueue.AdvanceRead();
        return;
    }
}

bool JobThread::TryTake(QueueCell& rCell)
{
    // Taking by compare-and-swap keeps the count from going below 0, so that a token
    // given back by QHolds' caller is never lost to a racing decrement. Acquire: a
    // successful take sees the cell as its writer filled it, and only then are its
    // fields safe to read, since the cell cannot be reused while a take is open.
    int32_t iTakers = rCell.iTakers.load(std::memory_order_relaxed);
    while (iTakers > 0)
        if (rCell.iTakers.compare_exchange_weak(iTakers, iTakers - 1, std::memory_order_acquire,
                                                std::memory_order_relaxed))
            return true;
    return false;
}

bool JobThread::QHolds(JobListData const* pList, uint32_t uiGeneration) const
{
    if (uiActiveHead == kNone)
        return false;
    uint32_t i = uiActiveHead;
    do
    {
        if (aActive[i].pList == pList && aActive[i].uiGeneration == uiGeneration)
            return true;
        i = auiNext[i];
    } while (i != uiActiveHead);
    return false;
}

uint32_t JobThread::ChooseRecord() const
{
    uint32_t uiBest = kNone;
    unsigned int uiBestPriority = 255;
    uint32_t i = uiActiveHead;
    do
    {
        ActiveList const& rRecord = aActive[i];
        if (rRecord.ucPriority < uiBestPriority && rRecord.pList->QPredecessorDone())
        {
            uiBest = i;
            uiBestPriority = rRecord.ucPriority;
        }
        i = auiNext[i];
    } while (i != uiActiveHead);
    return uiBest;
}

bool JobThread::RunRing()
{
    bool bStepped = false;
    while (uiActiveHead != kNone)
    {
        uint32_t uiRecord = ChooseRecord();
        if (uiRecord == kNone)
            return bStepped;
        bStepped = true;
        ActiveList& rRecord = aActive[uiRecord];
        JobListData* pList = rRecord.pList;
        bool bStopAfterJob = rRecord.ucPriority != 0 && QYieldBetweenJobs();
        unsigned int uiResult = pList->TimedStep(uiIndex, rRecord, bStopAfterJob);
        bool bChanged = false;
        if (uiResult & RESULT_RELEASE)
        {
            ReleaseSync(rRecord);
            bChanged = true;
        }
        if (uiResult & (RESULT_DONE | RESULT_PARKED | RESULT_STALE))
        {
            // The list may be freed as soon as its last token is back: touch it no more.
            // A parked thread gives its token back too, once it is out of the list; the
            // thread that releases the sync hands out fresh ones.
            if (pList->iThreadTokens.fetch_sub(1, std::memory_order_acq_rel) == 1)
            {
                giLastListEnd.store(PlatformTicks(), std::memory_order_relaxed);
                pList->kDoneEvent.Set();
            }
            rRecord.pList = nullptr;
            Unlink(uiRecord);
            bChanged = true;
        }
        if (!bChanged)
            return true;
    }
    return bStepped;
}

void JobThread::ReleaseSync(ActiveList const& rRecord)
{
    JobListData& rList = *rRecord.pList;
    // Bit 31 is set, so the count of waiters no longer changes.
    uint32_t uiWord = std::atomic_ref<uint32_t>(rList.kSyncWords[rRecord.uiSection - 1])
                          .load(std::memory_order_relaxed);
    auto iWaiters = static_cast<int32_t>(uiWord & ~JobListData::SYNC_RELEASED);
    // Added while this thread still holds its own token, so the count cannot touch 0.
    rList.iThreadTokens.fetch_add(iWaiters, std::memory_order_relaxed);
    while (!pGroup->kQueue.Push(rRecord, iWaiters))
    {
        pGroup->Wake(static_cast<int>(GetNumJobThreads()));
        PlatformYield();
    }
    pGroup->Wake(static_cast<int>(rList.uiNumThreads));
}

uint32_t JobThread::Link()
{
    uint32_t uiRecord = uiFreeHead;
    uiFreeHead = auiNext[uiRecord];
    if (uiActiveHead == kNone)
    {
        auiNext[uiRecord] = uiRecord;
        auiPrev[uiRecord] = uiRecord;
        uiActiveHead = uiRecord;
        return uiRecord;
    }
    uint32_t uiTail = auiPrev[uiActiveHead];
    auiNext[uiTail] = uiRecord;
    auiPrev[uiRecord] = uiTail;
    auiNext[uiRecord] = uiActiveHead;
    auiPrev[uiActiveHead] = uiRecord;
    return uiRecord;
}

void JobThread::Unlink(uint32_t uiRecord)
{
    if (auiNext[uiRecord] == uiRecord)
    {
        uiActiveHead = kNone;
    }
    else
    {
        auiNext[auiPrev[uiRecord]] = auiNext[uiRecord];
        auiPrev[auiNext[uiRecord]] = auiPrev[uiRecord];
        if (uiActiveHead == uiRecord)
            uiActiveHead = auiNext[uiRecord];
    }
    auiNext[uiRecord] = uiFreeHead;
    auiPrev[uiRecord] = kNone;
    uiFreeHead = uiRecord;
}
