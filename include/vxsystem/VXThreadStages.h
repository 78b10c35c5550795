// Stage events between threads. Each participating thread owns a numbered slot holding a
// set of manual-reset events, one per stage; it marks stages of its own slot as reached,
// and any thread may test or wait for a stage of any slot. The manager is a singleton
// table of such sets. Build the table (InitStages) and destroy it while nobody uses it;
// Reset only while no thread of the slot signals or is being waited for.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXStaticArray.h"
#include "vxsystem/VXTSingletonSDM.h"

#include <atomic>

class VXThreadStages : public VXHeapObject
{
    friend class VXThreadStagesManager;

public:
    explicit VXThreadStages(unsigned int uiNumStages);
    ~VXThreadStages();
    VXThreadStages(VXThreadStages const&) = delete;
    VXThreadStages& operator=(VXThreadStages const&) = delete;

    // Stages outside the set are ignored: Test gives false, Wait returns.
    void Signal(unsigned int uiStage);
    bool Test(unsigned int uiStage) const;
    void Wait(unsigned int uiStage) const;
    void Reset();
    // The highest stage signalled since the last reset.
    unsigned int QCurrent() const { return uiCurrent.load(std::memory_order_relaxed); }
    unsigned int QNumStages() const { return kEvents.QNumElements(); }

private:
    VXThreadStages() : uiCurrent(0) {}

    VXStaticArray<void*> kEvents;
    // Relaxed: one signalling thread per slot; readers only want a recent value.
    std::atomic<unsigned int> uiCurrent;
};

class VXThreadStagesManager
    : public VXTSingletonSDM<VXThreadStagesManager, VXTSingletonSDMOpStaticBuffer>
{
public:
    // An instance with no slots (what InitSDM builds).
    VXThreadStagesManager() : VXThreadStagesManager(0) {}
    // Becomes the singleton instance, with uiNumSlots empty slots.
    explicit VXThreadStagesManager(unsigned int uiNumSlots);
    ~VXThreadStagesManager();
    VXThreadStagesManager(VXThreadStagesManager const&) = delete;
    VXThreadStagesManager& operator=(VXThreadStagesManager const&) = delete;

    // Replaces the slot's set with a new one of uiNumStages stages; a failed allocation
    // leaves the slot empty.
    void InitStages(unsigned int uiThreadIndex, unsigned int uiNumStages);
    void Reset();
    void Reset(unsigned int uiThreadIndex);
    // A slot without a set counts as passed: Test gives true and Wait returns.
    bool Test(unsigned int uiThreadIndex, unsigned int uiStage) const;
    void Wait(unsigned int uiThreadIndex, unsigned int uiStage) const;
    unsigned int GetCurrentStage(unsigned int uiThreadIndex) const;

    // The calling thread's slot (0 until set).
    static void SetLocalStageIndex(unsigned int uiThreadIndex);
    static unsigned int QLocalStageIndex();
    static void SetThreadStage(unsigned int uiStage);
    static void ResetThreadStages();
    static bool TestThreadStage(unsigned int uiThreadIndex, unsigned int uiStage);
    static void WaitOnThreadStage(unsigned int uiThreadIndex, unsigned int uiStage);

protected:
    void Signal(unsigned int uiThreadIndex, unsigned int uiStage);
    void Kill();

private:
    VXThreadStages* QSet(unsigned int uiThreadIndex) const;

    VXStaticArray<VXThreadStages*> kStages;
};
