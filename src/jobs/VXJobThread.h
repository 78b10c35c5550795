// The job threads: up to 32 workers in two groups (0-5 and 6-31), each group fed by one
// invitation queue and one semaphore. A thread holds up to 64 lists in a private ring and
// always steps the most urgent runnable one. Idle threads spin briefly on their queue,
// then park on the group's semaphore. Started and stopped by the host.
#pragma once

#include "jobs/VXJobQueue.h"
#include "vxsystem/VXSemaphore.h"
#include "vxsystem/VXThread.h"

namespace VXJobs
{
inline constexpr unsigned int kFirstGroupThreads = 6;
inline constexpr unsigned int kMaxJobThreads = 32;

// One group's queue and semaphore, and how many of its threads sleep on the semaphore.
struct JobGroup
{
    JobGroup() : kSemaphore(0, 0x40000000), iSleepers(0) {}
    // Lets up to iCount sleeping threads go; free when nobody sleeps.
    void Wake(int iCount);

    JobQueue kQueue;
    VXSemaphore kSemaphore;
    alignas(64) std::atomic<int> iSleepers;
};

class JobThread : public VXThread
{
public:
    static constexpr uint32_t kNone = 0xFFFFFFFFu;
    static constexpr uint32_t kRecords = 64;

    JobThread();
    ~JobThread() override;
    JobThread(JobThread const&) = delete;
    JobThread& operator=(JobThread const&) = delete;

    // Back to the constructed state; for a thread that does not run.
    void Clear();
    void Assign(unsigned int uiThreadIndex, JobGroup* pThreadGroup);
    void RequestStop() { bStop.store(true, std::memory_order_release); }
    unsigned int QIndex() const { return uiIndex; }

protected:
    unsigned int ThreadProc() override;

private:
    bool QStopping() const { return bStop.load(std::memory_order_acquire); }
    // Spins on the queue, then parks on the semaphore; true when there may be work.
    bool Idle();
    void WorkLoop();
    void TakeInvitation();
    static bool TryTake(QueueCell& rCell);
    bool QHolds(JobListData const* pList, uint32_t uiGeneration) const;
    // Steps the ring's lists until a step ends with nothing changed; false when no list
    // could run.
    bool RunRing();
    uint32_t ChooseRecord() const;
    void ReleaseSync(ActiveList const& rRecord);
    uint32_t Link();
    void Unlink(uint32_t uiRecord);

    ActiveList aActive[kRecords];
    uint32_t auiNext[kRecords];
    uint32_t auiPrev[kRecords];
    JobGroup* pGroup;
    uint64_t uiCursor;
    uint32_t uiFreeHead;
    uint32_t uiActiveHead;
    unsigned int uiIndex;
    std::atomic<bool> bStop;
};

// Hands a submitted list to the threads: its tokens, invitations and wake-ups.
void HandToThreads(JobListData& rList);
// For tests: the logical processor count StartJobThreads sees (0: ask the platform).
void SetProcessorCountOverride(unsigned int uiLogical);
} // namespace VXJobs
