// A task queue on top of the job system. Callers attach tasks (objects with a Process
// operation); each Flush moves the queued tasks into one of two job lists and submits
// it, so one bank runs while the next fills. A task may put itself back in the queue
// from its own Process (TaskYield). The jobber never owns or deletes a task. Attach,
// yield and flush are thread-safe; Initialize, Shutdown and destruction are not.
#pragma once

#include "vxsystem/VXJobs.h"
#include "vxsystem/VXSpinLock.h"

class VXTaskJobber : public VXHeapObject
{
public:
    class Task
    {
    public:
        Task() : pNext(nullptr), pOwner(nullptr) {}
        virtual ~Task() = default;
        virtual void Process() = 0;
        // Back into the owner's queue; for use from Process.
        void TaskYield();

        Task* pNext;          // queue or chain link, null when alone
        VXTaskJobber* pOwner; // set when attached or added to a list
    };

    // uiMaxJobs: jobs per list, best a power of two. With bChainOverflow a full list
    // takes further tasks as chains behind its jobs.
    explicit VXTaskJobber(bool bChainOverflow = false, unsigned int uiMaxJobs = 64);
    virtual ~VXTaskJobber();
    VXTaskJobber(VXTaskJobber const&) = delete;
    VXTaskJobber& operator=(VXTaskJobber const&) = delete;

    bool Initialize(VXFixedString const& sListNameA, VXFixedString const& sListNameB,
                    unsigned char ucPriority, unsigned int uiNumThreads, bool bPreferLargeGroup);
    // Reset, then frees both lists; the jobber is not used again.
    void Shutdown();
    // False, with nothing changed, while another thread holds the queue.
    bool AttachTask(Task* pTask);
    // Queues a task that already has this owner, waiting for the queue.
    void YieldTask(Task* pTask);
    // Submits the queued tasks; does nothing while another flush runs.
    void Flush();
    // Flushes and runs queued tasks on the calling thread until the queue is empty or
    // fMilliseconds have passed; at least one pass.
    void ForceProcess(float fMilliseconds);
    // Waits for both lists and forgets the queued tasks.
    void Reset();

private:
    static void JobFn(void* pParam);
    bool AddTaskJob(Task* pTask);
    bool GetJobListAvailable();
    void SubmitCurrentJobListAndSwap();
    void PushYield(Task* pTask);
    Task* PopYield();

    VXJobs::JobList* apJobLists[2];
    Task** ppChainHeads;  // per job slot: first task of its chain (with bChainOverflow)
    Task*** ppChainTails; // per job slot: the pNext at the end of its chain
    Task* pYieldHead;
    Task** ppYieldTail; // &pYieldHead when the queue is empty
    unsigned int uiMaxJobs;
    unsigned int uiCurrentList;
    unsigned int auiJobCounts[2];
    VXNonReentrantSpinLock kQueueLock;
    VXNonReentrantSpinLock kFlushLock; // taken before kQueueLock
    bool bChainOverflow;
};
