// The process's manager instance: callback tables, release by SignalInstanceAvailable,
// the group handle's own operations and shutdown. One process, one instance: the steps
// run in order inside a single test.
#include "TaskletTestKit.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{
struct Counter : VXTaskletManagerCallback
{
    explicit Counter(Phase ePhase) : VXTaskletManagerCallback(ePhase) {}
    void Execute() override { ++iRuns; }
    std::atomic<int> iRuns{0};
};
} // namespace

TEST(TaskletInstance, CallbacksReleaseHandlesAndShutdown)
{
    VXWin32TaskletManager& rManager = VXWin32TaskletManager::QWin32Instance();
    ASSERT_EQ(&rManager, &VXTaskletManager::QInstance());
    ASSERT_EQ(rManager.QThreadsAvailable(), 6u);
    Counter kExit(VXTaskletManagerCallback::PHASE_EXIT);
    std::vector<std::unique_ptr<Counter>> apStartup; // the 17th is refused
    for (int i = 0; i < 17; ++i)
        apStartup.push_back(std::make_unique<Counter>(VXTaskletManagerCallback::PHASE_STARTUP));
    EXPECT_FALSE(VXTaskletManager::RegisterOnStartupCallback(apStartup[16].get()));

    // Held threads leave work queued until the instance is signalled.
    VXTaskletGroup kGroup;
    ASSERT_TRUE(rManager.CreateTaskGroup(kGroup));
    ASSERT_TRUE(kGroup.Open());
    CountingTask kTask;
    VXTasklet kHandle(kTask);
    ASSERT_TRUE(kGroup.AttachTask(kHandle, false) && kGroup.Close());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(kTask.iProcesses, 0);

    rManager.SignalInstanceAvailable();
    kGroup.WaitForCompletion(false);
    EXPECT_TRUE(kGroup.QComplete());
    EXPECT_EQ(Calls(kTask), (CallCounts{1, 1, 1}));
    EXPECT_TRUE(rManager.IsTaskletThread(kTask.uiThreadId));
    EXPECT_TRUE(WaitFor([&] { return apStartup[15]->iRuns == 6; }));
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(apStartup[i]->iRuns, i < 16 ? 6 : 0) << i;
    rManager.DestroyTaskGroup(kGroup, false);
    EXPECT_EQ(kGroup.QGroupData(), nullptr);

    rManager.ShutdownAllTasks();
    EXPECT_EQ(kExit.iRuns, 6);
    EXPECT_FALSE(rManager.QAvailable());
    EXPECT_FALSE(VXTaskletManager::RegisterOnExitCallback(&kExit));
}
