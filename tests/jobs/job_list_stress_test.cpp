// Many lists from several submitting threads on one pool: every job before a sync ends
// before any job behind it starts, checked with sequence stamps, run after run.
#include "jobs/VXJobThread.h"
#include "vxsystem/VXJobs.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace VXJobs;

namespace
{
std::atomic<uint64_t> gStamp{0};

struct Stamp
{
    uint64_t uiStart;
    uint64_t uiEnd;
    int iSection;
};

void Stamped(void* pParam)
{
    auto* pStamp = static_cast<Stamp*>(pParam);
    pStamp->uiStart = gStamp.fetch_add(1);
    for (int i = 0; i < 32; ++i)
        gStamp.load(std::memory_order_relaxed);
    pStamp->uiEnd = gStamp.fetch_add(1);
}

constexpr int kSections = 4;
constexpr int kJobsPerSection = 6;

// Sections 0-3 behind barriers; one job (section -1) stands between the Signal and the
// Sync behind section 1: it may overlap sections 1 and 2, but not section 0.
void RunLists(int iRuns, bool bReusable, unsigned char ucPriority, int* pErrors)
{
    std::vector<Stamp> kStamps(kSections * kJobsPerSection + 1);
    JobList kList(VXFixedString("stress"), ucPriority, 4, 32, 4, bReusable, nullptr, false);
    for (int iRun = 0; iRun < iRuns; ++iRun)
    {
        if (!bReusable || iRun == 0)
        {
            for (int s = 0; s < kSections; ++s)
            {
                for (int j = 0; j < kJobsPerSection; ++j)
                {
                    Stamp& rStamp = kStamps[s * kJobsPerSection + j];
                    rStamp.iSection = s;
                    kList.AddJob(&Stamped, &rStamp);
                }
                kList.InsertSyncPoint(SYNC_SIGNAL);
                if (s == 1)
                {
                    kStamps.back().iSection = -1;
                    kList.AddJob(&Stamped, &kStamps.back());
                }
                kList.InsertSyncPoint(SYNC_WAIT);
            }
        }
        kList.Submit();
        kList.Wait();
        uint64_t auiLastEnd[kSections] = {};
        uint64_t auiFirstStart[kSections];
        for (uint64_t& rFirst : auiFirstStart)
            rFirst = UINT64_MAX;
        for (Stamp const& rStamp : kStamps)
        {
            if (rStamp.iSection < 0)
                continue;
            auiLastEnd[rStamp.iSection] = std::max(auiLastEnd[rStamp.iSection], rStamp.uiEnd);
            auiFirstStart[rStamp.iSection] =
                std::min(auiFirstStart[rStamp.iSection], rStamp.uiStart);
        }
        for (int s = 1; s < kSections; ++s)
            *pErrors += auiLastEnd[s - 1] > auiFirstStart[s];
        *pErrors += kStamps.back().uiStart < auiLastEnd[0];
        *pErrors += kList.GetNumExecutedJobs() != kStamps.size();
    }
}
} // namespace

TEST(JobListStress, SyncOrderHoldsForManyListsFromSeveralThreads)
{
    SetProcessorCountOverride(4);
    StartJobThreads(nullptr, 0, 4);
    constexpr int kSubmitters = 3;
    int aiErrors[kSubmitters] = {};
    std::vector<std::thread> kThreads;
    for (int t = 0; t < kSubmitters; ++t)
        kThreads.emplace_back(RunLists, 1000, t == 1, static_cast<unsigned char>(t), &aiErrors[t]);
    for (std::thread& rThread : kThreads)
        rThread.join();
    StopJobThreads();
    SetProcessorCountOverride(0);
    for (int t = 0; t < kSubmitters; ++t)
        EXPECT_EQ(aiErrors[t], 0) << "submitter " << t;
}

// A sync behind every second job, run after run: threads park and release each other at
// every step, so one that parked with its count unsettled would leave the list stuck.
TEST(JobListStress, DenseSyncsNeverStrandTheList)
{
    StartJobThreads(nullptr, 0, 0);
    constexpr uint32_t kJobs = 2000;
    std::atomic<uint32_t> uiRan{0};
    JobList kList(VXFixedString("dense"), 0, GetNumJobThreads(), kJobs, kJobs, true, nullptr,
                  false);
    for (uint32_t i = 0; i < kJobs; ++i)
    {
        kList.AddJob([](void* pCount)
                     { static_cast<std::atomic<uint32_t>*>(pCount)->fetch_add(1); },
                     &uiRan);
        if (i % 2 == 1)
        {
            kList.InsertSyncPoint(SYNC_SIGNAL);
            kList.InsertSyncPoint(SYNC_WAIT);
        }
    }
    for (int iRun = 0; iRun < 1000; ++iRun)
    {
        kList.Submit();
        kList.Wait();
    }
    StopJobThreads();
    EXPECT_EQ(uiRan.load(), 1000 * kJobs);
}
