// Job lists and the pool of job threads that runs them. A JobList is an ordered list of
// plain function calls, cut into sections by sync points; Submit hands it to up to 32
// worker threads (or runs it on the caller) and Wait closes the submission. One thread
// builds, submits and waits on a list; the pool start and stop belong to the host.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXFixedString.h"

#include <cstdint>

struct VXEventFlag;

namespace VXJobs
{
using JobFunction = void (*)(void*);

class JobThread;
struct JobListData;

// Gives the registry slot of pFunction, adding it (with pName) when it is new. pName must
// outlive the registry (a literal). At most 128 functions.
unsigned int RegisterJob(JobFunction pFunction, char const* pName);
// Slot of a registered function, or 128 when it is not registered.
unsigned int GetJobSlot(JobFunction pFunction);
// Name of a slot, or "invalid" at or past the number of registered functions.
char const* GetJobName(unsigned int uiSlot);

// A static Registration registers a job function at load time.
class Registration
{
public:
    Registration(JobFunction pFunction, char const* pName) : uiSlot(RegisterJob(pFunction, pName))
    {
    }
    Registration& operator=(Registration const& rOther) = default;
    unsigned int QSlot() const { return uiSlot; }

private:
    unsigned int uiSlot;
};

// One entry of a list: a job, or a marker told apart by pParam.
struct Job
{
    JobFunction pFunction;
    void* pParam;
    char const* pName; // for diagnostics
};

enum SyncType
{
    SYNC_SIGNAL = 1,
    SYNC_WAIT = 2,
};

// Timing of one submission; times in microseconds of the job system's clock.
struct JobListStats
{
    uint64_t uiSubmitTime;
    uint64_t uiStartTime;
    uint64_t uiFinishTime;
    uint64_t uiWaitTime;
    uint64_t auiProcessingTime[32]; // per unit (job thread index)
    uint64_t auiTotalTime[32];
    uint32_t uiNumExecutedJobs;
    uint32_t uiNumSyncs;
};

// Handle on one list of jobs; it owns its data. The handle's address is registered in
// the list of lists, so the object must not move while it lives. A copy assigned from
// another handle names the same list without owning it.
class JobList : public VXHeapObject
{
public:
    JobList(VXFixedString const& sName, unsigned char ucPriority, unsigned int uiNumThreads,
            unsigned int uiJobReserve, unsigned int uiSyncReserve, bool bReusable,
            VXEventFlag* pEventFlag, bool bPreferLargeGroup);
    ~JobList();
    JobList(JobList const&) = delete;
    JobList& operator=(JobList const& rOther);

    void AddJob(JobFunction pFunction, void* pParam, char const* pName = nullptr);
    void InsertSyncPoint(SyncType eType);
    // A null predecessor means none. Runs the list inside the call when bRunOnCaller or
    // when the list has no threads.
    void Submit(JobList* pPredecessor = nullptr, bool bRunOnCaller = false);
    void Wait();
    // True, after doing what Wait does, when the list is done; false while it runs.
    bool TryWait();
    bool IsSubmitted() const;
    // For a list that is not running: back to building (or, reusable, to ready).
    void Reset();
    void SetCheckSyncs(bool bCheck);
    void SetConcurrencyParameters(unsigned char ucPriority, unsigned int uiNumThreads);
    bool GetSingleThreaded() const;
    unsigned int GetNumUsedThreads() const;
    unsigned int GetNumPendingJobsInList() const;
    VXFixedString const& GetName() const;

    static unsigned int GetNumJobLists();
    static unsigned int GetNumFreeJobLists();
    // Waits on every list; only while no list is being created or destroyed.
    static void WaitForAll();

    // Statistics of the last submission that Wait closed.
    uint64_t GetSubmitTimeMicroSec() const;
    uint64_t GetStartTimeMicroSec() const;
    uint64_t GetFinishTimeMicroSec() const;
    uint64_t GetWaitTimeMicroSec() const;
    uint64_t GetUnitProcessingTimeMicroSec(int iUnit) const;
    uint64_t GetUnitWastedTimeMicroSec(int iUnit) const;
    uint64_t GetTotalProcessingTimeMicroSec() const;
    uint64_t GetTotalWastedTimeMicroSec() const;
    uint32_t GetNumExecutedJobs() const;
    uint32_t GetNumSyncs() const;

    JobListData* QData() const { return pData; }

private:
    // Waits, unregisters and frees the data if this handle owns it.
    void Release();

    JobListData* pData;
    bool bOwner; // false for a handle assigned from another
};

// Start parameters of one job thread. uiReserved is not read.
struct ThreadConfig
{
    uint32_t uiStackSize;
    uint32_t uiReserved;
    int32_t iPriority;
};

unsigned int GetNumJobThreads();
// iNumThreads from 1 to 32 is taken as given, anything else as 32; the pool never has
// more threads than logical processors. Rows past uiNumConfigs use the default table.
void StartJobThreads(ThreadConfig const* pConfigs, unsigned int uiNumConfigs, int iNumThreads);
// Returns once every job thread has ended. Stop only with no list submitted.
void StopJobThreads();
// A job function that signals the VXEventFlag given as parameter.
void SignalEventJob(void* pEventFlag);
void SetYieldBetweenJobs(bool bYield);
void SetThreadCreateHook(void (*pHook)(JobThread*, unsigned int));
void SetThreadStartHook(void (*pHook)(JobThread*));
// Processor counts found by the last StartJobThreads (0 when unknown).
unsigned int GetNumLogicalProcessors();
unsigned int GetNumCores();
unsigned int GetNumPackages();
} // namespace VXJobs
