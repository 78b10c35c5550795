// Many groups from several threads on one released pool: every tasklet ends exactly once
// per attachment, yields are honoured unless cancelled, and groups come and go safely.
#include "TaskletTestKit.h"

#include <gtest/gtest.h>

#include <vector>

TEST(TaskletStress, ManyGroupsFromSeveralThreads)
{
    constexpr int kCallers = 4, kRounds = 40, kTasks = 6;
    VXWin32TaskletManager kManager(6);
    kManager.SignalInstanceAvailable();
    std::atomic<int> iFailures{0};
    auto Caller = [&](int c)
    {
        CountingTask aTasks[kTasks];
        for (int r = 0; r < kRounds; ++r)
        {
            VXTaskletGroup kGroup;
            bool bCancel = (r + c) % 4 == 0;
            bool bOk = kManager.CreateTaskGroup(kGroup) && kManager.OpenTaskGroup(kGroup);
            for (int t = 0; t < kTasks; ++t)
            {
                aTasks[t].iYields = t % 3;
                VXTasklet kTask(aTasks[t]);
                bOk = kManager.AttachTask(kGroup, kTask, t == kTasks - 1) && bOk;
            }
            if (bCancel)
                kGroup.Cancel();
            else if (r % 3 == 0)
                kGroup.ForceProcess(1.0f);
            kGroup.WaitForCompletion(r % 2 == 0);
            kManager.DestroyTaskGroup(kGroup, false);
            for (int t = 0; t < kTasks; ++t)
            {
                int iRuns = aTasks[t].iProcesses.exchange(0);
                bOk = bOk && aTasks[t].iCompletes.exchange(0) == 1 &&
                      (bCancel ? iRuns <= t % 3 + 1 : iRuns == t % 3 + 1);
            }
            iFailures += bOk ? 0 : 1;
        }
    };
    std::vector<std::thread> aCallers;
    for (int c = 0; c < kCallers; ++c)
        aCallers.emplace_back(Caller, c);
    for (std::thread& rCaller : aCallers)
        rCaller.join();
    EXPECT_EQ(iFailures, 0);
}
