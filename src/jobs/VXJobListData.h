// The data behind a JobList handle, and the dispatch step by which any thread executes a
// share of it. Every thread walks the entries from its own position; the shared frontier
// uiNextJob decides by compare-and-swap who runs which entry. Built by one thread while
// idle; from Submit to Wait the workers touch only the atomic fields and their own unit's
// statistics.
#pragma once

#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXJobs.h"
#include "vxsystem/VXTArray.h"

#include <atomic>

namespace VXJobs
{
// A thread's place in one list.
struct ActiveList
{
    JobListData* pList;
    uint32_t uiGeneration;
    uint32_t uiSection;
    uint32_t uiJobIndex;
    uint32_t uiSnapshot;
    unsigned char ucPriority;
};

enum StepResult : unsigned int
{
    RESULT_RAN = 0x01,
    RESULT_DONE = 0x02,
    RESULT_PARKED = 0x04,
    RESULT_RELEASE = 0x10,
    RESULT_STALE = 0x20,
};

// Microseconds of the process-wide job clock, cut to 32 bits.
uint64_t Now();

struct JobListData : public VXHeapObject
{
    static constexpr uint32_t FLAG_IDLE = 0x02;
    static constexpr uint32_t FLAG_SIGNAL_OPEN = 0x04;
    static constexpr uint32_t FLAG_FINISHED_BUILD = 0x08;
    static constexpr uint32_t FLAG_REUSABLE = 0x10;
    static constexpr uint32_t FLAG_CHECK_SYNCS = 0x20;
    static constexpr uint32_t FLAG_LARGE_GROUP = 0x40;
    static constexpr uint32_t SYNC_RELEASED = 0x80000000u;

    JobListData(VXFixedString const& sListName, VXEventFlag* pFlag);

    // Executes entries from rRecord's position as unit uiUnit; gives StepResult bits.
    unsigned int Step(unsigned int uiUnit, ActiveList& rRecord, bool bStopAfterJob);
    // Step, adding the whole call's time to the unit's total.
    unsigned int TimedStep(unsigned int uiUnit, ActiveList& rRecord, bool bStopAfterJob);

    void AppendSection();
    void CloseBuild();
    void ResetState();
    // Copies the live statistics, converted to microseconds, to kLastStats.
    void CloseStats();
    bool QLastSectionOpen() const;
    uint32_t QGeneration() const
    {
        return static_cast<uint32_t>(uiGeneration.load(std::memory_order_acquire));
    }
    // A predecessor's submission counter at 0 (or none) lets the list start on a worker.
    bool QPredecessorDone() const
    {
        return !piPredecessor ||
               std::atomic_ref<int64_t>(*piPredecessor).load(std::memory_order_acquire) <= 0;
    }

    VXTArray<Job> kJobs;
    VXTArray<int64_t> kSectionCounts; // unfinished entries per section; atomic while running
    VXTArray<int64_t> kSavedSectionCounts;
    VXTArray<uint32_t> kSyncWords; // bit 31 released, bits 0-30 threads stopped at it
    VXFixedString sName;
    VXEventFlag kDoneEvent; // auto-reset; set when the last token ends
    int64_t aiSubmitCounters[4];
    // The frontier is the one hot word of a running list: keep it off the other fields.
    char acPadFront[64];
    std::atomic<uint64_t> uiNextJob;
    char acPadBack[64];
    std::atomic<int64_t> iThreadTokens;
    std::atomic<uint64_t> uiGeneration;
    int64_t* piPredecessor;
    VXEventFlag* pEventFlag;
    uint32_t uiNumSyncs;
    uint32_t uiSectionStart;
    uint32_t uiSubmitSlot;
    uint32_t uiNumThreads;
    uint32_t uiFlags;
    unsigned char ucPriority;
    bool bOnThreads;         // this submission was handed to the job threads
    JobListStats kLiveStats; // processing and total times in job clock ticks
    JobListStats kLastStats;

private:
    // The first step of a submission stamps its start time.
    void NoteStart();
    void FinishSection(uint32_t uiSection, int64_t iDone, unsigned int& uiResult);
    // Applies the marker at a thread's position; false when the thread stops there.
    bool PassMarker(void const* pMarker, uint32_t& uiSection, int64_t& iDone,
                    unsigned int& uiResult);
    bool PassSync(uint32_t uiSection, unsigned int& uiResult);
};
} // namespace VXJobs
