// The statistics accessors of JobList: all read the last closed submission.
#include "jobs/VXJobListData.h"

using namespace VXJobs;

namespace
{
JobListStats const& Last(JobListData const* pData)
{
    static JobListStats const kNone{};
    return pData ? pData->kLastStats : kNone;
}

bool ValidUnit(int iUnit)
{
    return iUnit >= 0 && iUnit < 32;
}
} // namespace

uint64_t JobList::GetSubmitTimeMicroSec() const
{
    return Last(pData).uiSubmitTime;
}

uint64_t JobList::GetStartTimeMicroSec() const
{
    return Last(pData).uiStartTime;
}

uint64_t JobList::GetFinishTimeMicroSec() const
{
    return Last(pData).uiFinishTime;
}

uint64_t JobList::GetWaitTimeMicroSec() const
{
    return Last(pData).uiWaitTime;
}

uint64_t JobList::GetUnitProcessingTimeMicroSec(int iUnit) const
{
    return ValidUnit(iUnit) ? Last(pData).auiProcessingTime[iUnit] : 0;
}

uint64_t JobList::GetUnitWastedTimeMicroSec(int iUnit) const
{
    if (!ValidUnit(iUnit))
        return 0;
    JobListStats const& rStats = Last(pData);
    return rStats.auiTotalTime[iUnit] - rStats.auiProcessingTime[iUnit];
}

uint64_t JobList::GetTotalProcessingTimeMicroSec() const
{
    uint64_t uiSum = 0;
    for (int i = 0; i < 32; ++i)
        uiSum += GetUnitProcessingTimeMicroSec(i);
    return uiSum;
}

uint64_t JobList::GetTotalWastedTimeMicroSec() const
{
    uint64_t uiSum = 0;
    for (int i = 0; i < 32; ++i)
        uiSum += GetUnitWastedTimeMicroSec(i);
    return uiSum;
}

uint32_t JobList::GetNumExecutedJobs() const
{
    return Last(pData).uiNumExecutedJobs;
}

uint32_t JobList::GetNumSyncs() const
{
    return Last(pData).uiNumSyncs;
}
