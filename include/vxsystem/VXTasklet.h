// The tasklet model a host programs against: VXTaskletData is the work (start, a body that
// may run many times, an end), VXTasklet a handle onto it, VXTaskletGroupData a set of
// tasklets that can be waited on as one, and VXTaskletGroup its handle. Handles never own
// what they point at: the caller owns tasklet data, the manager owns group data. A concrete
// manager decides the threading; the handles themselves hold no lock.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <atomic>

class VXTaskletData : public VXHeapObject
{
public:
    VXTaskletData() : bTaskYield(false) {}
    VXTaskletData(VXTaskletData const& rOther) : bTaskYield(rOther.bTaskYield) {}
    VXTaskletData& operator=(VXTaskletData const& rOther)
    {
        bTaskYield = rOther.bTaskYield;
        return *this;
    }
    virtual ~VXTaskletData() = default;

    // Called from Process: asks to run again later instead of ending after this turn.
    void TaskYield() { bTaskYield = true; }
    bool QTaskYield() const { return bTaskYield; }

protected:
    // Runs once, before the first Process; false ends the tasklet without a Process.
    virtual bool OnStartup() { return true; }
    // One turn of the body; keep state in the object and call TaskYield to come back.
    virtual void Process() {}
    // Runs exactly once per attachment, also when cancelled or when OnStartup failed.
    virtual void OnComplete() {}

    bool bTaskYield;
};

class VXTasklet
{
public:
    VXTasklet() : pTaskData(nullptr) {}
    explicit VXTasklet(VXTaskletData& rData) : pTaskData(&rData) {}
    explicit VXTasklet(VXTaskletData* pData) : pTaskData(pData) {}
    VXTasklet(VXTasklet const&) = default;
    VXTasklet& operator=(VXTasklet const&) = default;
    virtual ~VXTasklet() = default;

    void SetTaskData(VXTaskletData* pData) { pTaskData = pData; }
    VXTaskletData* QTaskData() { return pTaskData; }
    VXTaskletData const* QTaskData() const { return pTaskData; }

private:
    VXTaskletData* pTaskData; // not owned
};

class VXTaskletGroupData : public VXHeapObject
{
public:
    VXTaskletGroupData() : bComplete(true) {}
    VXTaskletGroupData(VXTaskletGroupData const&) = delete;
    VXTaskletGroupData& operator=(VXTaskletGroupData const&) = delete;
    virtual ~VXTaskletGroupData() = default;

    // Returns when every attached tasklet has finished; bProcessTasks lends this thread
    // to the group's tasklets meanwhile.
    virtual void WaitForCompletion(bool bProcessTasks) = 0;
    virtual void Cancel() = 0;
    // Runs the group's tasklets on this thread for about fMilliseconds.
    virtual void ForceProcess(float fMilliseconds) = 0;
    virtual void SetMaxConcurrent(unsigned int) {}

    bool QComplete() const { return bComplete.load(std::memory_order_acquire); }

protected:
    // Release/acquire: whoever sees it set also sees the finished tasklets' work.
    std::atomic<bool> bComplete;
};

class VXTaskletGroup
{
public:
    VXTaskletGroup() : pGroupData(nullptr) {}
    explicit VXTaskletGroup(VXTaskletGroupData* pData) : pGroupData(pData) {}
    VXTaskletGroup(VXTaskletGroup const&) = default;
    VXTaskletGroup& operator=(VXTaskletGroup const&) = default;

    VXTaskletGroupData* QGroupData() { return pGroupData; }
    VXTaskletGroupData const* QGroupData() const { return pGroupData; }
    void SetGroupData(VXTaskletGroupData* pData) { pGroupData = pData; }

    // These three go to the manager instance. They refuse (false) an unavailable
    // manager, an empty handle and a data-less tasklet.
    bool Open();
    bool AttachTask(VXTasklet& rTask, bool bLastTask);
    bool Close();

    void Cancel();
    void ForceProcess(float fMilliseconds);
    void WaitForCompletion(bool bProcessTasks);
    bool QComplete() const { return !pGroupData || pGroupData->QComplete(); }
    void SetMaxConcurrent(unsigned int uiMax);

private:
    VXTaskletGroupData* pGroupData; // owned by the manager
};
