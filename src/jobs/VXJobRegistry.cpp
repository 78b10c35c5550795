// The registry of job functions and the job system's time stamp.
#include "jobs/VXJobListData.h"

#include "vxsystem/VXTimer.h"

namespace
{
constexpr unsigned int kMaxJobs = 128;

struct Slot
{
    char const* pName;
    VXJobs::JobFunction pFunction;
};

// Filled before threads exist, so no lock; a static table is zeroed before any
// load-time Registration runs.
Slot gaSlots[kMaxJobs];
unsigned int guiNumSlots = 0;

VXTimer const& JobTimer()
{
    static VXTimer const kTimer = []
    {
        VXTimer kNew;
        kNew.Init(0);
        return kNew;
    }();
    return kTimer;
}
} // namespace

unsigned int VXJobs::RegisterJob(JobFunction pFunction, char const* pName)
{
    unsigned int uiSlot = GetJobSlot(pFunction);
    if (uiSlot < kMaxJobs)
        return uiSlot;
    if (guiNumSlots == kMaxJobs)
        return kMaxJobs; // full: the function stays unregistered
    gaSlots[guiNumSlots] = Slot{pName, pFunction};
    return guiNumSlots++;
}

unsigned int VXJobs::GetJobSlot(JobFunction pFunction)
{
    for (unsigned int i = 0; i < guiNumSlots; ++i)
        if (gaSlots[i].pFunction == pFunction)
            return i;
    return kMaxJobs;
}

char const* VXJobs::GetJobName(unsigned int uiSlot)
{
    if (uiSlot >= guiNumSlots || !gaSlots[uiSlot].pName)
        return "invalid";
    return gaSlots[uiSlot].pName;
}

uint64_t VXJobs::Now()
{
    VXTimer const& rTimer = JobTimer();
    int64_t iElapsed = rTimer.GetHighPrecisionTime() - rTimer.QStartTime();
    if (iElapsed < 0)
        iElapsed = 0;
    uint64_t uiMicro = static_cast<uint64_t>(iElapsed) * 1000 / VXTimer::uiFrequency;
    return uiMicro & 0xFFFFFFFFu;
}
