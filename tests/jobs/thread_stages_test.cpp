// Thread stages: reached stages stay reached until reset, missing sets count as passed,
// and a waiter on another thread wakes when the owner signals.
#include "vxsystem/VXThreadStages.h"

#include <gtest/gtest.h>

#include <thread>

TEST(ThreadStages, StagesStayReachedUntilReset)
{
    VXThreadStagesManager kManager(2);
    ASSERT_EQ(VXThreadStagesManager::QInstance(), &kManager);
    EXPECT_TRUE(kManager.Test(1, 0)); // no set yet
    kManager.Wait(1, 0);
    EXPECT_EQ(kManager.GetCurrentStage(1), 0u);
    kManager.InitStages(0, 4);
    kManager.InitStages(0, 4);                // a second set replaces the first without a leak
    VXThreadStagesManager::SetThreadStage(3); // this thread works on slot 0
    VXThreadStagesManager::SetThreadStage(1);
    EXPECT_EQ(kManager.GetCurrentStage(0), 3u);
    EXPECT_TRUE(VXThreadStagesManager::TestThreadStage(0, 1));
    EXPECT_FALSE(VXThreadStagesManager::TestThreadStage(0, 2));
    EXPECT_TRUE(VXThreadStagesManager::TestThreadStage(0, 3));
    EXPECT_FALSE(kManager.Test(0, 9)); // outside the set
    VXThreadStagesManager::ResetThreadStages();
    for (unsigned int i = 0; i < 4; ++i)
        EXPECT_FALSE(kManager.Test(0, i));
    EXPECT_EQ(kManager.GetCurrentStage(0), 0u);
}

TEST(ThreadStages, WaiterWakesWhenTheOwnerSignals)
{
    VXThreadStagesManager kManager(2);
    kManager.InitStages(1, 2);
    std::thread kOwner(
        []
        {
            EXPECT_EQ(VXThreadStagesManager::QLocalStageIndex(), 0u);
            VXThreadStagesManager::SetLocalStageIndex(1);
            VXThreadStagesManager::SetThreadStage(1);
        });
    VXThreadStagesManager::WaitOnThreadStage(1, 1);
    kOwner.join();
    EXPECT_EQ(kManager.GetCurrentStage(1), 1u);
    kManager.Reset();
    EXPECT_FALSE(kManager.Test(1, 1));
}
