// Job lists on the caller and on the pool: building, sync order, priorities,
// predecessors, the large-group split, reuse and statistics.
#include "jobs/VXJobListData.h"
#include "jobs/VXJobThread.h"
#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXJobs.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

using namespace VXJobs;

namespace
{
// Appends the job's number to a shared trace; one slot per call.
struct Trace
{
    std::atomic<int> iNext{0};
    int aiOrder[256] = {};
};

struct Step
{
    Trace* pTrace;
    int iId;
};

void Record(void* pParam)
{
    auto* pStep = static_cast<Step*>(pParam);
    pStep->pTrace->aiOrder[pStep->pTrace->iNext.fetch_add(1)] = pStep->iId;
}

void Unregistered(void*) {}

// Starts a pool of uiThreads that the test owns, whatever the machine has.
struct ScopedPool
{
    explicit ScopedPool(unsigned int uiThreads)
    {
        SetProcessorCountOverride(uiThreads);
        StartJobThreads(nullptr, 0, static_cast<int>(uiThreads));
    }
    ~ScopedPool()
    {
        StopJobThreads();
        SetProcessorCountOverride(0);
    }
};

std::vector<int> Order(Trace const& rTrace)
{
    return std::vector<int>(rTrace.aiOrder, rTrace.aiOrder + rTrace.iNext.load());
}
} // namespace

TEST(JobList, RegistryKeepsFirstNameAndUnknownsAreInvalid)
{
    unsigned int uiSlot = RegisterJob(&Record, "Record");
    EXPECT_EQ(RegisterJob(&Record, "Other"), uiSlot);
    EXPECT_STREQ(GetJobName(uiSlot), "Record");
    EXPECT_EQ(GetJobSlot(&Unregistered), 128u);
    EXPECT_STREQ(GetJobName(127), "invalid");

    JobList kList(VXFixedString("names"), 0, 0, 4, 0, false, nullptr, false);
    kList.AddJob(&Unregistered, nullptr);
    kList.AddJob(&Record, nullptr);
    kList.AddJob(&Unregistered, nullptr, "given");
    Job const* pJobs = kList.QData()->kJobs.QBase();
    EXPECT_STREQ(pJobs[0].pName, "invalid");
    EXPECT_STREQ(pJobs[1].pName, "Record");
    EXPECT_STREQ(pJobs[2].pName, "given");
    kList.Reset();
}

TEST(JobList, CallerRunsSectionsInOrderAndCountsEntries)
{
    Trace kTrace;
    Step aSteps[4] = {{&kTrace, 0}, {&kTrace, 1}, {&kTrace, 2}, {&kTrace, 3}};
    JobList kList(VXFixedString("caller"), 0, 0, 4, 1, false, nullptr, false);
    kList.InsertSyncPoint(SYNC_SIGNAL); // ignored on an empty list
    kList.InsertSyncPoint(SYNC_WAIT);   // ignored without an open Signal
    EXPECT_EQ(kList.GetNumPendingJobsInList(), 0u);
    kList.AddJob(&Record, &aSteps[0]);
    kList.AddJob(&Record, &aSteps[1]);
    kList.InsertSyncPoint(SYNC_SIGNAL);
    kList.AddJob(&Record, &aSteps[2]);
    kList.InsertSyncPoint(SYNC_WAIT);
    kList.AddJob(&Record, &aSteps[3]);
    kList.Submit();
    EXPECT_EQ(Order(kTrace), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(kList.GetNumPendingJobsInList(), 7u); // 4 jobs, 2 markers, End
    EXPECT_TRUE(kList.IsSubmitted());
    EXPECT_TRUE(kList.TryWait());
    EXPECT_FALSE(kList.IsSubmitted());
    EXPECT_EQ(kList.GetNumPendingJobsInList(), 0u);
    EXPECT_EQ(kList.GetNumExecutedJobs(), 4u);
    EXPECT_EQ(kList.GetNumSyncs(), 1u);
    EXPECT_GE(kList.GetFinishTimeMicroSec(), kList.GetStartTimeMicroSec());
    EXPECT_GT(kList.GetStartTimeMicroSec(), 0u);
    EXPECT_EQ(kList.GetUnitProcessingTimeMicroSec(-1), 0u);
    EXPECT_EQ(kList.GetUnitProcessingTimeMicroSec(32), 0u);
    EXPECT_EQ(kList.GetUnitWastedTimeMicroSec(32), 0u);
}

TEST(JobList, EmptySubmitSignalsAtOnceAndWaitsAreIdempotent)
{
    VXEventFlag kFlag(true, false);
    JobList kList(VXFixedString("empty"), 0, 2, 0, 0, false, &kFlag, false);
    kList.Wait();
    kList.Wait();
    EXPECT_FALSE(kList.IsSubmitted());
    kList.Submit();
    EXPECT_TRUE(kFlag.Wait(0));
    EXPECT_TRUE(kList.IsSubmitted());
    kList.Wait();
    EXPECT_FALSE(kList.IsSubmitted());
    unsigned int uiLists = JobList::GetNumJobLists();
    JobList kAlias(VXFixedString("alias"), 0, 0, 0, 0, false, nullptr, false);
    EXPECT_EQ(JobList::GetNumJobLists(), uiLists + 1);
    kAlias = kList; // names kList's data and frees its own
    EXPECT_EQ(kAlias.QData(), kList.QData());
    EXPECT_EQ(JobList::GetNumJobLists(), uiLists);
    EXPECT_EQ(JobList::GetNumFreeJobLists(), 64u - uiLists);
}

TEST(JobList, ReusableListRunsTwiceOnThePool)
{
    ScopedPool kPool(2);
    Trace kTrace;
    Step aSteps[3] = {{&kTrace, 0}, {&kTrace, 1}, {&kTrace, 2}};
    JobList kList(VXFixedString("again"), 0, 2, 3, 0, true, nullptr, false);
    for (Step& rStep : aSteps)
        kList.AddJob(&Record, &rStep);
    for (int iRun = 0; iRun < 2; ++iRun)
    {
        kList.Submit();
        kList.Wait();
        EXPECT_EQ(kList.GetNumPendingJobsInList(), 4u);
        EXPECT_EQ(kList.GetNumExecutedJobs(), 3u);
    }
    std::multiset<int> kSeen(kTrace.aiOrder, kTrace.aiOrder + kTrace.iNext.load());
    EXPECT_EQ(kSeen, (std::multiset<int>{0, 0, 1, 1, 2, 2}));
}

TEST(JobList, MoreThreadsThanThePoolAndStopStartCycles)
{
    for (int iCycle = 0; iCycle < 3; ++iCycle)
    {
        ScopedPool kPool(2);
        EXPECT_EQ(GetNumJobThreads(), 2u);
        Trace kTrace;
        std::vector<Step> kSteps(64, Step{&kTrace, 0});
        JobList kList(VXFixedString("wide"), 0, 8, 64, 0, false, nullptr, false);
        for (Step& rStep : kSteps)
            kList.AddJob(&Record, &rStep);
        kList.Submit();
        kList.Wait();
        EXPECT_EQ(kTrace.iNext.load(), 64);
        EXPECT_EQ(kList.QData()->iThreadTokens.load(), 0);
    }
    EXPECT_EQ(GetNumJobThreads(), 0u);
}

TEST(JobList, PriorityZeroOvertakesOnOneThread)
{
    ScopedPool kPool(1);
    std::atomic<bool> bGate{false};
    auto Block = [](void* pParam)
    {
        while (!static_cast<std::atomic<bool>*>(pParam)->load())
            std::this_thread::yield();
    };
    JobList kBlocker(VXFixedString("blocker"), 0, 1, 1, 0, false, nullptr, false);
    kBlocker.AddJob(Block, &bGate);
    kBlocker.Submit();
    Trace kTrace;
    std::vector<Step> kSteps;
    for (int i = 0; i < 8; ++i)
        kSteps.push_back(Step{&kTrace, i});
    JobList kSlow(VXFixedString("slow"), 3, 1, 4, 0, false, nullptr, false);
    JobList kUrgent(VXFixedString("urgent"), 0, 1, 4, 0, false, nullptr, false);
    for (int i = 0; i < 4; ++i)
    {
        kSlow.AddJob(&Record, &kSteps[i]);
        kUrgent.AddJob(&Record, &kSteps[4 + i]);
    }
    kSlow.Submit();
    kUrgent.Submit();
    bGate = true;
    kBlocker.Wait();
    kSlow.Wait();
    kUrgent.Wait();
    // At most one job of the slow list runs before the urgent list takes over.
    std::vector<int> kOrder = Order(kTrace);
    ASSERT_EQ(kOrder.size(), 8u);
    size_t uiFirstUrgent = kOrder[0] >= 4 ? 0 : 1;
    for (size_t i = 0; i < 4; ++i)
        EXPECT_GE(kOrder[uiFirstUrgent + i], 4) << "position " << uiFirstUrgent + i;
}

TEST(JobList, PredecessorHoldsBackItsSuccessor)
{
    ScopedPool kPool(2);
    Trace kTrace;
    Step kFirst{&kTrace, 1};
    Step kSecond{&kTrace, 2};
    JobList kA(VXFixedString("a"), 0, 1, 1, 0, false, nullptr, false);
    JobList kB(VXFixedString("b"), 0, 1, 1, 0, false, nullptr, false);
    auto Slow = [](void* pParam)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        Record(pParam);
    };
    kA.AddJob(Slow, &kFirst);
    kB.AddJob(&Record, &kSecond);
    kA.Submit();
    kB.Submit(&kA);
    kB.Wait();
    kA.Wait();
    EXPECT_EQ(Order(kTrace), (std::vector<int>{1, 2}));
}

TEST(JobList, LargeGroupSplitsThirtyTokensTwentySixAndFour)
{
    ScopedPool kPool(32);
    std::atomic<int> iArrived{0};
    auto Meet = [](void* pParam)
    {
        auto* pArrived = static_cast<std::atomic<int>*>(pParam);
        pArrived->fetch_add(1);
        for (int i = 0; i < 2000000 && pArrived->load() < 30; ++i)
            std::this_thread::yield();
    };
    JobList kList(VXFixedString("large"), 0, 30, 30, 0, false, nullptr, false);
    EXPECT_TRUE(kList.QData()->uiFlags & JobListData::FLAG_LARGE_GROUP);
    for (int i = 0; i < 30; ++i)
        kList.AddJob(Meet, &iArrived);
    kList.Submit();
    kList.Wait();
    ASSERT_EQ(iArrived.load(), 30);
    // Every job waited for all 30, so each ran on its own thread: the second group's 26
    // and four of the first. The raw clock counts of the live record tell who stepped.
    int aiRan[2] = {0, 0};
    for (int i = 0; i < 32; ++i)
        if (kList.QData()->kLiveStats.auiProcessingTime[i] > 0)
            ++aiRan[i < 6 ? 0 : 1];
    EXPECT_EQ(aiRan[0], 4);
    EXPECT_EQ(aiRan[1], 26);
}
