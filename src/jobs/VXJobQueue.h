// A lock-free ring of 256 invitations, one per cache line, through which lists reach the
// job threads of one group. A cell invites a number of threads to join a list at a given
// entry; it carries no job. Writers reserve in order and publish in order; a cell is
// reused only when every taker has copied it. Any thread may push and take.
#pragma once

#include "jobs/VXJobListData.h"

#include "foundation/VXPlatformSync.h"

#include <atomic>

namespace VXJobs
{
struct alignas(64) QueueCell
{
    JobListData* pList;
    uint32_t uiJobIndex;
    uint32_t uiSection;
    uint32_t uiGeneration; // 0xFFFFFFFF in an unused cell
    std::atomic<int32_t> iTakers;
    std::atomic<uint32_t> uiPending; // takers still to copy the cell
};
static_assert(sizeof(QueueCell) == 64, "one cache line per cell");

struct alignas(64) JobQueue
{
    static constexpr uint64_t kCells = 256;

    JobQueue();
    // Moves uiRead past cells that every taker has copied.
    void AdvanceRead();
    // False when the ring is full.
    bool Push(ActiveList const& rPlace, int32_t iCount);
    // Something is published that no taker has finished with. Seq_cst: a thread about
    // to sleep reads this after counting itself as a sleeper.
    bool QHasWork() const { return uiPublished.load() != uiRead.load(); }
    QueueCell& Cell(uint64_t uiIndex) { return aCells[uiIndex & (kCells - 1)]; }

    QueueCell aCells[kCells];
    alignas(64) std::atomic<uint64_t> uiRead;
    alignas(64) std::atomic<uint64_t> uiPublished;
    alignas(64) std::atomic<uint64_t> uiReserved;
};
} // namespace VXJobs
