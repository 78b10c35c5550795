#include "TaskletTestKit.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{
struct SpyGroupData : VXTaskletGroupData
{
    int iWaits = 0, iCancels = 0, iForces = 0;
    void WaitForCompletion(bool) override { ++iWaits; }
    void Cancel() override { ++iCancels; }
    void ForceProcess(float) override { ++iForces; }
};

// A manager whose pool is never released: only the calling thread runs tasklets.
struct HeldPool : ::testing::Test
{
    VXWin32TaskletManager kManager{2};
    VXTaskletGroup kGroup;

    void SetUp() override
    {
        ASSERT_TRUE(kManager.CreateTaskGroup(kGroup));
        ASSERT_TRUE(kManager.OpenTaskGroup(kGroup));
    }
    void TearDown() override { kManager.DestroyTaskGroup(kGroup, true); }
    bool Attach(VXWin32TaskletData& rTask, bool bLast = false, VXTaskletGroup* pGroup = nullptr)
    {
        VXTasklet kTask(rTask);
        return kManager.AttachTask(pGroup ? *pGroup : kGroup, kTask, bLast);
    }
};
} // namespace

TEST(TaskletModel, ThreadCountsEmptyAndCompleteHandles)
{
    for (auto [uiAsk, uiGot] : {std::pair{10u, 6u}, {3u, 3u}, {0u, 0u}})
    {
        VXWin32TaskletManager kManager(uiAsk);
        EXPECT_EQ(kManager.QThreadsAvailable(), uiGot);
        EXPECT_EQ(kManager.QAvailable(), uiGot > 0);
    }
    VXWin32TaskletManager kNone(0);
    SpyGroupData kSpy;
    VXTaskletGroup kGroup(&kSpy);
    EXPECT_FALSE(kNone.CreateTaskGroup(kGroup));
    EXPECT_EQ(kGroup.QGroupData(), nullptr);
    EXPECT_TRUE(kGroup.QComplete());
    EXPECT_FALSE(kGroup.Open() || kGroup.Close());
    VXTasklet kEmpty;
    EXPECT_FALSE(kGroup.AttachTask(kEmpty, false));
    kGroup.WaitForCompletion(true); // nothing to call

    // Complete data gets cancels only.
    kGroup.SetGroupData(&kSpy);
    kGroup.WaitForCompletion(false);
    kGroup.ForceProcess(1.0f);
    kGroup.Cancel();
    EXPECT_EQ(kSpy.iWaits + kSpy.iForces, 0);
    EXPECT_EQ(kSpy.iCancels, 1);
}

TEST_F(HeldPool, CallerRunsYieldsStartupFailuresAndLastTask)
{
    CountingTask kYielder(2), kRefuser, kPlain, kLate;
    kRefuser.bStartupResult = false;
    ASSERT_TRUE(Attach(kYielder));
    ASSERT_TRUE(Attach(kRefuser));
    EXPECT_FALSE(Attach(kRefuser)); // in flight
    ASSERT_TRUE(Attach(kPlain, true));
    EXPECT_FALSE(Attach(kLate)); // the last one closed the group
    EXPECT_FALSE(kManager.OpenTaskGroup(kGroup));

    auto& rData = static_cast<VXWin32TaskletGroupData&>(*kGroup.QGroupData());
    kGroup.ForceProcess(60000.0f);
    EXPECT_EQ(rData.QNumFinished(), 3u);
    EXPECT_FALSE(kGroup.QComplete()); // only a wait completes it
    kGroup.WaitForCompletion(false);  // counts agree: no hang on the done semaphore
    EXPECT_TRUE(kGroup.QComplete());
    EXPECT_EQ(Calls(kYielder), (CallCounts{1, 3, 1}));
    EXPECT_EQ(Calls(kRefuser), (CallCounts{1, 0, 1}));
    EXPECT_EQ(Calls(kPlain), (CallCounts{1, 1, 1}));
    EXPECT_FALSE(kManager.IsTaskletThread(kPlain.uiThreadId));

    // Reopened, the counts start over; a finished tasklet comes again without OnStartup.
    ASSERT_TRUE(kManager.OpenTaskGroup(kGroup));
    EXPECT_EQ(rData.QNumAttached(), 0u);
    ASSERT_TRUE(Attach(kYielder, true));
    kGroup.WaitForCompletion(true);
    EXPECT_EQ(Calls(kYielder), (CallCounts{1, 4, 2}));
}

TEST_F(HeldPool, WaitingOnOneGroupLeavesAnothersQueued)
{
    VXTaskletGroup kOther;
    ASSERT_TRUE(kManager.CreateTaskGroup(kOther));
    ASSERT_TRUE(kManager.OpenTaskGroup(kOther));
    std::vector<std::unique_ptr<CountingTask>> apTasks;
    for (int i = 0; i < 6; ++i)
    {
        apTasks.push_back(std::make_unique<CountingTask>(1));
        ASSERT_TRUE(Attach(*apTasks.back(), i >= 4, i % 2 ? &kGroup : &kOther));
    }
    kGroup.WaitForCompletion(true);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(Calls(*apTasks[i]), (CallCounts{i % 2, 2 * (i % 2), i % 2})) << i;
    kManager.DestroyTaskGroup(kOther, true); // cancels: OnComplete alone
    for (int i = 0; i < 6; i += 2)
        EXPECT_EQ(Calls(*apTasks[i]), (CallCounts{0, 0, 1})) << i;
}

TEST_F(HeldPool, CancelCompletesQueuedWithoutRunning)
{
    CountingTask kForever(-1), kQueued, kLate;
    ASSERT_TRUE(Attach(kForever));
    kGroup.ForceProcess(5.0f); // a yielding tasklet stays until cancelled
    EXPECT_GT(kForever.iProcesses, 0);
    ASSERT_TRUE(Attach(kQueued));
    kGroup.Cancel();
    EXPECT_FALSE(Attach(kLate));
    kGroup.WaitForCompletion(true);
    EXPECT_EQ(kForever.iCompletes, 1);
    EXPECT_EQ(Calls(kQueued), (CallCounts{0, 0, 1}));
}

TEST_F(HeldPool, EmptyGroupCompletesAndShutdownLetsQueuedGo)
{
    ASSERT_TRUE(kManager.CloseTaskGroup(kGroup));
    kGroup.WaitForCompletion(false); // both counts 0: nothing to wait for
    ASSERT_TRUE(kGroup.QComplete() && kManager.OpenTaskGroup(kGroup));
    auto pQueued = std::make_unique<CountingTask>();
    ASSERT_TRUE(Attach(*pQueued, true));
    kManager.ShutdownAllTasks();
    kGroup.WaitForCompletion(false);
    EXPECT_EQ(Calls(*pQueued), (CallCounts{0, 0, 0}));
    pQueued.reset(); // out of flight: no wait
    CountingTask kLate;
    EXPECT_FALSE(Attach(kLate));
}

TEST(TaskletPool, CancelDuringProcessAndDestroyWhileRunning)
{
    VXWin32TaskletManager kManager(1);
    kManager.SignalInstanceAvailable();
    VXTaskletGroup kGroup;
    ASSERT_TRUE(kManager.CreateTaskGroup(kGroup));
    ASSERT_TRUE(kManager.OpenTaskGroup(kGroup));
    std::atomic<bool> bHold{true};
    CountingTask kRunning(-1), kQueued;
    kRunning.pHold = &bHold;
    VXTasklet kRun(kRunning), kWait(kQueued);
    ASSERT_TRUE(kManager.AttachTask(kGroup, kRun, false));
    ASSERT_TRUE(WaitFor([&] { return kRunning.bInProcess.load(); }));
    ASSERT_TRUE(kManager.AttachTask(kGroup, kWait, true));
    kGroup.Cancel();
    bHold = false;
    kGroup.WaitForCompletion(false); // the last OnComplete releases the done semaphore
    EXPECT_EQ(Calls(kRunning), (CallCounts{1, 1, 1})); // yielded, but not requeued
    EXPECT_EQ(Calls(kQueued), (CallCounts{0, 0, 1}));
    EXPECT_TRUE(kManager.IsTaskletThread(kRunning.uiThreadId));
    EXPECT_FALSE(kManager.IsTaskletThread(VXThread::GetCurrentThreadId()));

    // Destroying a tasklet in Process waits for its turn to end.
    bHold = true;
    auto* pTask = new CountingTask;
    pTask->pHold = &bHold;
    VXTasklet kDoomed(pTask);
    ASSERT_TRUE(kManager.OpenTaskGroup(kGroup));
    ASSERT_TRUE(kManager.AttachTask(kGroup, kDoomed, true));
    ASSERT_TRUE(WaitFor([&] { return pTask->bInProcess.load(); }));
    std::atomic<bool> bDeleted{false};
    std::thread kDeleter([&] { delete pTask, bDeleted = true; });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(bDeleted);
    bHold = false;
    kDeleter.join();
    kGroup.WaitForCompletion(false);
    kManager.DestroyTaskGroup(kGroup, false);
}
