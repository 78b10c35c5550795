// The thread-pool tasklet manager: up to six threads share one queue of 64 levels.
// Derive tasklets from VXWin32TaskletData; groups come from the manager. Threads start
// held and run once SignalInstanceAvailable is called; until then only ForceProcess and
// WaitForCompletion(true) run tasklets, on the caller's thread. Thread-safe: locks are
// taken group first, then manager; no lock is held while tasklet code runs.
#pragma once

#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXSpinLock.h"
#include "vxsystem/VXTaskletManager.h"

class VXTaskletThread;
class VXWin32TaskletGroupData;
class VXWin32TaskletManager;

// Base of a host's tasklets. Attached, it is in flight until OnComplete has run; this
// destructor waits for that. A derived part is already gone by then, so a tasklet whose
// own OnComplete matters must not be destroyed in flight. Not copyable.
class VXWin32TaskletData : public VXTaskletData
{
public:
    VXWin32TaskletData() : pGroupData(nullptr), bNeedsStartup(true), pNextTask(nullptr) {}
    ~VXWin32TaskletData() override;
    VXWin32TaskletData(VXWin32TaskletData const&) = delete;
    VXWin32TaskletData& operator=(VXWin32TaskletData const&) = delete;

protected:
    VXWin32TaskletGroupData* QGroupData() const { return pGroupData; }

private:
    friend class VXWin32TaskletManager;

    // Startup on the first turn of its life, then Process.
    void RunTurn();
    // OnComplete (unless dropped at shutdown), then lets go of the group and kBusyLock.
    void Finish(bool bRunComplete);

    VXWin32TaskletGroupData* pGroupData; // the group while in flight
    bool bNeedsStartup;
    // Held from attachment to the end of OnComplete, taken and released on different
    // threads.
    VXNonReentrantSpinLock kBusyLock;
    VXWin32TaskletData* pNextTask; // queue link, under the manager's lock
};

// Group data of the pool manager: counts what was attached and what finished.
class VXWin32TaskletGroupData : public VXTaskletGroupData
{
public:
    // Waits for outstanding tasklets unless the group is complete.
    ~VXWin32TaskletGroupData() override;

    void WaitForCompletion(bool bProcessTasks) override;
    void Cancel() override;
    void ForceProcess(float fMilliseconds) override;

    uint32_t QNumAttached() const { return uiNumAttached.load(std::memory_order_acquire); }
    uint32_t QNumFinished() const { return uiNumFinished.load(std::memory_order_acquire); }

private:
    friend class VXWin32TaskletManager;

    explicit VXWin32TaskletGroupData(VXWin32TaskletManager& rManager);
    bool QCountsAgree() const { return QNumFinished() == QNumAttached(); }

    VXWin32TaskletManager& rManager; // the manager that made it, which runs its tasklets
    VXSemaphore hDoneSemaphore;      // released when the last tasklet of a closed group ends
    VXCriticalSection kGroupLock;
    bool bOpen;
    bool bAccepting;
    // Relaxed: pool threads poll it; nothing else is published through it.
    std::atomic<bool> bCancelled;
    uint32_t uiQueueLevel; // always 0 here; levels above 63 count as 63
    // Changed under kGroupLock; waiters poll them unlocked (release/acquire).
    std::atomic<uint32_t> uiNumAttached;
    std::atomic<uint32_t> uiNumFinished;
};

class VXWin32TaskletManager : public VXTaskletManager
{
public:
    static constexpr unsigned int MAX_THREADS = 6;
    static constexpr unsigned int QUEUE_LEVELS = 64;

    // Creates min(uiThreads, 6) threads, held until SignalInstanceAvailable. With none
    // the manager is unavailable.
    explicit VXWin32TaskletManager(unsigned int uiThreads = MAX_THREADS);
    // Shuts down first if the owner did not.
    ~VXWin32TaskletManager() override;

    static VXWin32TaskletManager& QWin32Instance();
    unsigned int QThreadsAvailable() const { return uiNumThreads; }

    // Queued tasklets are let go without OnComplete and count as finished, so waits and
    // tasklet destructors still return.
    void ShutdownAllTasks() override;
    bool IsTaskletThread(unsigned int uiThreadId) override;

    // One turn of the next queued tasklet on the calling thread. A tasklet of another
    // group than pFilterGroup (when given) is put back at the end of its level untouched.
    // bWait waits for a queued tasklet, else nothing queued returns at once. True when a
    // tasklet took its turn.
    bool ProcessTasklet(VXWin32TaskletGroupData* pFilterGroup, bool bWait);

private:
    bool CreateTaskGroupData(VXTaskletGroupData*& rpData) override;
    bool OpenTaskGroupData(VXTaskletGroupData* pData) override;
    bool AttachTaskData(VXTaskletGroupData* pData, VXTaskletData* pTask, bool bLastTask) override;
    bool CloseTaskGroupData(VXTaskletGroupData* pData) override;
    void DestroyTaskGroupData(VXTaskletGroupData* pData) override;

    // The pool group behind pData when this manager made it, else null.
    VXWin32TaskletGroupData* OwnGroup(VXTaskletGroupData* pData);
    bool QueueTaskData(VXWin32TaskletData& rTask);
    VXWin32TaskletData* TakeNextTask(VXWin32TaskletGroupData*& rpGroup);
    // Runs it unless bRun is false or the group is cancelled, then requeues or finishes.
    void TakeTurn(VXWin32TaskletData& rTask, VXWin32TaskletGroupData& rGroup, bool bRun);
    // bRunComplete false drops a tasklet the stopped pool will never run again.
    void FinishTasklet(VXWin32TaskletData& rTask, VXWin32TaskletGroupData& rGroup,
                       bool bRunComplete);
    void DropQueuedTasklets();
    void ProcessQueue();
    void ResumeTaskletThreads();
    bool CreateThreads(unsigned int uiThreads);
    static void ThreadInitProc(VXWin32TaskletManager* pManager);
    static void ThreadProc(VXWin32TaskletManager* pManager);

    VXTaskletThread* hInitThread;
    unsigned int uiMaxThreads;
    unsigned int uiNumThreads;
    VXTaskletThread* ahThreads[MAX_THREADS];
    // Pool threads wait here before their loop: the stand-in for suspended creation.
    VXSemaphore kStartGate;
    // Both relaxed: the semaphore units that wake the threads order them.
    std::atomic<bool> bThreadsReleased; // the gate opened for running, not for shutdown
    std::atomic<bool> bShutdown;
    VXCriticalSection kManagerLock;
    VXWin32TaskletData* apQueueHeads[QUEUE_LEVELS];
    VXWin32TaskletData** appQueueTails[QUEUE_LEVELS];
    VXSemaphore hQueueSemaphore; // one unit per queued tasklet
};
