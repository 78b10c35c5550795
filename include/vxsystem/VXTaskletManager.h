// The tasklet manager contract and its per-thread callbacks. QInstance is the one manager
// of the process; its threads stand still until SignalInstanceAvailable, and callbacks
// must be registered before that (the tables take no lock). Group operations may come
// from any thread; the concrete manager supplies their locking.
#pragma once

#include "vxsystem/VXSemaphore.h"
#include "vxsystem/VXTasklet.h"

// Work every tasklet thread runs for itself as it starts or ends. Execute runs on several
// threads at once. The object must outlive the manager's threads.
class VXTaskletManagerCallback : public VXHeapObject
{
public:
    enum Phase
    {
        PHASE_STARTUP = 0,
        PHASE_EXIT = 1,
    };

    // Registers itself in the table of eType; a refusal leaves it unregistered, silently.
    explicit VXTaskletManagerCallback(Phase eType);
    virtual ~VXTaskletManagerCallback() = default;
    VXTaskletManagerCallback(VXTaskletManagerCallback const&) = delete;
    VXTaskletManagerCallback& operator=(VXTaskletManagerCallback const&) = delete;

    virtual void Execute() = 0;
};

class VXTaskletManager : public VXHeapObject
{
public:
    virtual ~VXTaskletManager() = default;
    VXTaskletManager(VXTaskletManager const&) = delete;
    VXTaskletManager& operator=(VXTaskletManager const&) = delete;

    virtual void SetTaskletThreadPriority(unsigned int, int) {}
    // Stops the threads; queued tasklets are dropped without OnComplete.
    virtual void ShutdownAllTasks() = 0;
    virtual bool IsTaskletThread(unsigned int uiThreadId) = 0;

    // The process's manager, created (with its threads held) on first call.
    static VXTaskletManager& QInstance();
    bool QAvailable() const { return bAvailable; }

    // False, with the handle emptied, when the manager is unavailable.
    bool CreateTaskGroup(VXTaskletGroup& rGroup);
    // Cancels, waits unless complete, frees the data and empties the handle.
    void DestroyTaskGroup(VXTaskletGroup& rGroup, bool bProcessTasks);
    bool OpenTaskGroup(VXTaskletGroup& rGroup);
    bool CloseTaskGroup(VXTaskletGroup& rGroup);
    bool AttachTask(VXTaskletGroup& rGroup, VXTasklet& rTask, bool bLastTask);

    // At most 16 each, and only while the instance has not been signalled.
    static bool RegisterOnStartupCallback(VXTaskletManagerCallback* pCallback);
    static bool RegisterOnExitCallback(VXTaskletManagerCallback* pCallback);

    // Lets the threads go.
    void SignalInstanceAvailable();

protected:
    VXTaskletManager();

    // Run every registered callback of one table, in registration order.
    void OnStartup();
    void OnExit();

    bool bAvailable; // set by the constructor of the concrete manager
    bool bInstanceAvailable;
    VXCountedSemaphore kInstanceSemaphore;

private:
    friend class VXTaskletGroup;

    static constexpr int32_t MAX_CALLBACKS = 16;

    virtual bool CreateTaskGroupData(VXTaskletGroupData*& rpData) = 0;
    virtual bool OpenTaskGroupData(VXTaskletGroupData* pData) = 0;
    virtual bool AttachTaskData(VXTaskletGroupData* pData, VXTaskletData* pTask,
                                bool bLastTask) = 0;
    virtual bool CloseTaskGroupData(VXTaskletGroupData* pData) = 0;
    virtual void DestroyTaskGroupData(VXTaskletGroupData* pData) = 0;
    virtual void InstanceAvailable() {}

    static bool Register(VXTaskletManagerCallback** apTable, int32_t& riCount,
                         VXTaskletManagerCallback* pCallback);
    static void RunTable(VXTaskletManagerCallback* const* apTable, int32_t iCount);

    static VXTaskletManagerCallback* spOnStartup[MAX_CALLBACKS];
    static VXTaskletManagerCallback* spOnExit[MAX_CALLBACKS];
    static int32_t siNumStartup;
    static int32_t siNumExit;
};

// A switchable part of a host: Update picks the state and calls Activate or Deactivate.
// Nothing in the library uses it.
class VXTaskletModule : public VXHeapObject
{
public:
    VXTaskletModule() : bActive(false) {}
    virtual ~VXTaskletModule() = default;

    // With bUseArgument the state to apply is bActivate, and bStore keeps it; without,
    // the kept state is applied again.
    void Update(bool bUseArgument, bool bActivate, bool bStore);
    bool QActive() const { return bActive; }

protected:
    virtual void Deactivate() = 0;
    virtual void Activate() = 0;

private:
    bool bActive; // the kept state
};
