// Several threads issue asynchronous writes and reads on one file at once and collect them
// in every way the functor offers, while another thread polls all the functors.
#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace sysfiletest;
using VF = VXSystemFile;
using Functor = VXSystemFileAsyncFunctor;

namespace
{
constexpr int kThreads = 4;
constexpr int kSlots = 6;
constexpr int kRounds = 150;

// Counts deliveries, and those on a wrong thread or with a wrong result.
class Checker : public Functor
{
public:
    std::thread::id kIssuer;
    int iCalls = 0;
    int iWrong = 0;

private:
    void operator()(VF::ErrorCode code, uint64_t bytes) override
    {
        ++iCalls;
        iWrong += std::this_thread::get_id() != kIssuer || code != VF::EC_OK || bytes != kBlock;
    }
};

void Collect(Checker& checker, int way)
{
    if (way == 0)
        checker.Wait(true);
    while (way == 1 && !checker.Wait(false))
        ;
    while (way == 2 && !checker.Test())
        Functor::AlertableSleep(Functor::INFINITE_WAIT);
}

// One issuing thread: writes its slots, reads them back; gives the bad bytes and codes.
int RunIssuer(VF& file, Checker* checkers, int thread)
{
    std::vector<std::unique_ptr<char, FreeDeleter>> blocks;
    for (int slot = 0; slot < kSlots; ++slot)
        blocks.push_back(AlignedBlock(std::string(kBlock, '\0')));
    int bad = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        auto pattern = [&](int slot) { return char('A' + (thread * 7 + round * 3 + slot) % 26); };
        for (int pass = 0; pass < 2; ++pass)
        {
            for (int slot = 0; slot < kSlots; ++slot)
            {
                uint64_t offset = (thread * kSlots + slot) * kBlock;
                char* block = blocks[slot].get();
                if (pass == 0)
                    std::memset(block, pattern(slot), kBlock);
                bad += (pass == 0
                            ? file.WriteAsync(block, kBlock, offset, checkers[slot])
                            : file.ReadAsync(block, kBlock, offset, checkers[slot])) != VF::EC_OK;
            }
            for (int slot = 0; slot < kSlots; ++slot)
                Collect(checkers[slot], (round + slot + pass) % 3);
        }
        for (int slot = 0; slot < kSlots; ++slot)
            bad += std::string(blocks[slot].get(), kBlock) != std::string(kBlock, pattern(slot));
    }
    return bad;
}
} // namespace

TEST(AsyncStress, ManyIssuersWithForeignPollers)
{
    vxtest::TempDir dir;
    VF file((dir / "stress.bin").c_str(), VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS, true, 0, false);
    ASSERT_EQ(file.QLastError(), VF::EC_OK);
    Checker checkers[kThreads][kSlots];
    std::atomic<bool> stop{false};
    std::thread poller(
        [&]
        {
            // Foreign polls read the state words but never deliver or change them.
            while (!stop.load(std::memory_order_relaxed))
                for (auto& row : checkers)
                    for (Checker& checker : row)
                        checker.Test() && checker.Wait(false);
        });
    int bad[kThreads] = {};
    std::vector<std::thread> issuers;
    for (int thread = 0; thread < kThreads; ++thread)
        issuers.emplace_back(
            [&, thread]
            {
                for (Checker& checker : checkers[thread])
                    checker.kIssuer = std::this_thread::get_id();
                bad[thread] = RunIssuer(file, checkers[thread], thread);
            });
    for (std::thread& issuer : issuers)
        issuer.join();
    stop.store(true, std::memory_order_relaxed);
    poller.join();
    for (int thread = 0; thread < kThreads; ++thread)
    {
        EXPECT_EQ(bad[thread], 0);
        for (Checker& checker : checkers[thread])
        {
            EXPECT_EQ(checker.iCalls, 2 * kRounds);
            EXPECT_EQ(checker.iWrong, 0);
        }
    }
}
