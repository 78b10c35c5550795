#include "vxsystem/VXMemStorage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

// Holders take and drop references from several threads: no count is lost, and exactly
// one DecRef sees the count reach 0.
TEST(VXIntrusiveRefCounted, ConcurrentHoldersLoseNoCount)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    VXCounterStorage shared;
    shared.IncRef(); // the owner's reference
    std::atomic<int> zeros{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < kRounds; ++i)
                {
                    EXPECT_GE(shared.IncRef(), 2u);
                    zeros += shared.DecRef() == 0;
                }
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(shared.QRefCount(), 1u);
    EXPECT_EQ(shared.DecRef(), 0u);
    EXPECT_EQ(zeros.load(), 0);
}
