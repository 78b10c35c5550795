// The task jobber: chains behind a full list, bank swaps, yields, forced processing
// and reset, on the caller and on a small pool.
#include "jobs/VXJobThread.h"
#include "vxsystem/VXTaskJobber.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace
{
std::vector<int> gOrder; // tasks run on the caller in these cases, or under a count only

struct CountTask : VXTaskJobber::Task
{
    explicit CountTask(int iTaskId = 0, int iYields = 0) : iId(iTaskId), iYieldsLeft(iYields) {}
    void Process() override
    {
        iRuns.fetch_add(1);
        if (bTrace)
            gOrder.push_back(iId);
        if (iYieldsLeft-- > 0)
            TaskYield();
    }
    int iId;
    int iYieldsLeft;
    bool bTrace = true;
    std::atomic<int> iRuns{0};
};

struct Jobber
{
    explicit Jobber(bool bChain, unsigned int uiThreads = 0) : kJobber(bChain, 64)
    {
        kJobber.Initialize(VXFixedString("A"), VXFixedString("B"), 0, uiThreads, false);
        gOrder.clear();
    }
    ~Jobber() { kJobber.Shutdown(); }
    VXTaskJobber kJobber;
};

void AttachAll(VXTaskJobber& rJobber, std::vector<CountTask>& rTasks)
{
    for (CountTask& rTask : rTasks)
        ASSERT_TRUE(rJobber.AttachTask(&rTask));
}
} // namespace

TEST(TaskJobber, SixtyFiveTasksWithAndWithoutChains)
{
    for (bool bChain : {true, false})
    {
        Jobber kCase(bChain);
        std::vector<CountTask> kTasks(65);
        for (int i = 0; i < 65; ++i)
            kTasks[i].iId = i;
        AttachAll(kCase.kJobber, kTasks);
        kCase.kJobber.Flush();
        ASSERT_EQ(gOrder.size(), 65u) << "chain " << bChain;
        // With chains, job 0 runs task 0 and then the overflow task 64; without, the
        // second bank takes task 64 behind the first bank's 64.
        EXPECT_EQ(gOrder[1], bChain ? 64 : 1);
        EXPECT_EQ(gOrder.back(), bChain ? 63 : 64);
        kCase.kJobber.Flush(); // an empty queue submits nothing
        EXPECT_EQ(gOrder.size(), 65u);
    }
}

TEST(TaskJobber, YieldedTaskRunsAgainOnTheNextFlush)
{
    Jobber kCase(false);
    CountTask kTask(7, 1);
    ASSERT_TRUE(kCase.kJobber.AttachTask(&kTask));
    kCase.kJobber.Flush();
    EXPECT_EQ(kTask.iRuns.load(), 1);
    kCase.kJobber.Flush();
    EXPECT_EQ(kTask.iRuns.load(), 2);
    kCase.kJobber.Flush();
    EXPECT_EQ(kTask.iRuns.load(), 2);
}

TEST(TaskJobber, ForceProcessAndResetOnThePool)
{
    VXJobs::SetProcessorCountOverride(2);
    VXJobs::StartJobThreads(nullptr, 0, 2);
    {
        Jobber kCase(false, 2);
        std::vector<CountTask> kTasks(3);
        for (CountTask& rTask : kTasks)
            rTask.bTrace = false;
        AttachAll(kCase.kJobber, kTasks);
        kCase.kJobber.ForceProcess(0.0f);   // still flushes once
        kCase.kJobber.ForceProcess(1.0e6f); // an empty queue ends it at once
        kCase.kJobber.Reset();
        for (CountTask& rTask : kTasks)
            EXPECT_EQ(rTask.iRuns.load(), 1);
        AttachAll(kCase.kJobber, kTasks);
        kCase.kJobber.Reset(); // queued tasks are forgotten
        kCase.kJobber.Flush();
        kCase.kJobber.Reset();
        for (CountTask& rTask : kTasks)
            EXPECT_EQ(rTask.iRuns.load(), 1);
    }
    VXJobs::StopJobThreads();
    VXJobs::SetProcessorCountOverride(0);
}
