#include "jobs/VXJobQueue.h"

#include "foundation/VXPlatformSync.h"

using namespace VXJobs;

JobQueue::JobQueue() : uiRead(0), uiPublished(0), uiReserved(0)
{
    for (QueueCell& rCell : aCells)
    {
        rCell.pList = nullptr;
        rCell.uiJobIndex = 0;
        rCell.uiSection = 0;
        rCell.uiGeneration = 0xFFFFFFFFu;
        rCell.iTakers.store(0, std::memory_order_relaxed);
        rCell.uiPending.store(0, std::memory_order_relaxed);
    }
}

void JobQueue::AdvanceRead()
{
    uint64_t uiIndex = uiRead.load(std::memory_order_acquire);
    while (uiIndex != uiPublished.load(std::memory_order_acquire) &&
           Cell(uiIndex).uiPending.load(std::memory_order_acquire) == 0)
    {
        // Acq_rel: the takers' copies (seen through uiPending) happen before any reuse by
        // a writer that reads this index.
        if (uiRead.compare_exchange_weak(uiIndex, uiIndex + 1, std::memory_order_acq_rel,
                                         std::memory_order_acquire))
            ++uiIndex;
    }
}

bool JobQueue::Push(ActiveList const& rPlace, int32_t iCount)
{
    if (iCount <= 0)
        return true;
    AdvanceRead();
    uint64_t uiSlot = uiReserved.load(std::memory_order_relaxed);
    for (;;)
    {
        if (uiSlot + 1 - uiRead.load(std::memory_order_acquire) >= kCells)
            return false;
        if (uiReserved.compare_exchange_weak(uiSlot, uiSlot + 1, std::memory_order_acquire,
                                             std::memory_order_relaxed))
            break;
        PlatformYield();
        AdvanceRead();
    }
    QueueCell& rCell = Cell(uiSlot);
    rCell.pList = rPlace.pList;
    rCell.uiJobIndex = rPlace.uiJobIndex;
    rCell.uiSection = rPlace.uiSection;
    rCell.uiGeneration = rPlace.uiGeneration;
    // Pending before takers: a thread that takes early must find its copy counted.
    rCell.uiPending.store(static_cast<uint32_t>(iCount), std::memory_order_relaxed);
    rCell.iTakers.store(iCount, std::memory_order_release);
    while (uiPublished.load(std::memory_order_acquire) != uiSlot)
        PlatformYield();
    // Seq_cst: ordered against the sleeper count that the pusher reads next (JobGroup).
    uiPublished.store(uiSlot + 1, std::memory_order_seq_cst);
    return true;
}
