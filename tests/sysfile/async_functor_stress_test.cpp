// Several threads issue asynchronous writes and reads on one file at once and collect them
// in every way the functor offers, while another thread polls all the functors.
#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace sysfiletest;
using Functor = VXSystemFileAsyncFunctor;

namespace
{
constexpr int kThreads = 4;
constexpr int kSlots = 6;
constexpr int kRounds = 150;

// Collects one completion in one of three ways; true when it was the calls-th delivery,
// a whole block, on this thread.
bool Collect(Recorder& recorder, int way, int calls)
{
    if (way == 0)
        recorder.Wait(true);
    while (way == 1 && !recorder.Wait(false))
        ;
    while (way == 2 && !recorder.Test())
        Functor::AlertableSleep(Functor::INFINITE_WAIT);
    return recorder.iCalls == calls && recorder.eCode == VF::EC_OK && recorder.uiBytes == kBlock &&
           recorder.kThread == std::this_thread::get_id();
}

// One issuing thread writes its slots and reads them back; gives the faults it saw.
int RunIssuer(VF& file, Recorder* recorders, int thread)
{
    std::vector<Block> blocks;
    for (int slot = 0; slot < kSlots; ++slot)
        blocks.push_back(AlignedBlock(kBlock));
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
                std::memset(block, pass == 0 ? pattern(slot) : 0, kBlock);
                bad += (pass == 0
                            ? file.WriteAsync(block, kBlock, offset, recorders[slot])
                            : file.ReadAsync(block, kBlock, offset, recorders[slot])) != VF::EC_OK;
            }
            for (int slot = 0; slot < kSlots; ++slot)
                bad += !Collect(recorders[slot], (round + slot + pass) % 3, 2 * round + pass + 1);
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
    VF file = Open(dir / "stress.bin", VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS, true);
    ASSERT_EQ(file.QLastError(), VF::EC_OK);
    Recorder recorders[kThreads][kSlots];
    std::atomic<bool> stop{false};
    std::thread poller(
        [&]
        {
            // Foreign polls read the state words but never deliver or change them.
            while (!stop.load(std::memory_order_relaxed))
                for (auto& row : recorders)
                    for (Recorder& recorder : row)
                        recorder.Test() && recorder.Wait(false);
        });
    std::atomic<int> bad{0};
    std::vector<std::thread> issuers;
    for (int thread = 0; thread < kThreads; ++thread)
        issuers.emplace_back([&, thread] { bad += RunIssuer(file, recorders[thread], thread); });
    for (std::thread& issuer : issuers)
        issuer.join();
    stop.store(true, std::memory_order_relaxed);
    poller.join();
    EXPECT_EQ(bad.load(), 0);
}

// The issuer collects and issues again at once while foreign Wait(true)s collect too: a
// foreign collect must never overwrite the new busy state, or the issuer's next Wait
// would return early. Issuers that end with a transfer out still get their result, so
// a foreign Wait(true) ends.
TEST(AsyncStress, ForeignCollectsAndEndedIssuers)
{
    vxtest::TempDir dir;
    vxtest::WriteFile(dir / "race.bin", std::string(kBlock, 'r'));
    VF file = Open(dir / "race.bin", VF::AM_READ, VF::OM_EXISTING, true);
    Block block = AlignedBlock(kBlock);
    Recorder recorder;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [&]
            {
                while (!stop.load(std::memory_order_relaxed))
                    recorder.Wait(true);
            });
    int bad = 0;
    for (int round = 1; round <= 3000; ++round)
    {
        bad += file.ReadAsync(block.get(), kBlock, 0, recorder) != VF::EC_OK;
        recorder.Wait(true);
        bad += recorder.iCalls != round;
    }
    stop.store(true, std::memory_order_relaxed);
    for (std::thread& thread : threads)
        thread.join();

    std::vector<Recorder> ended(64);
    for (Recorder& issued : ended)
    {
        std::thread([&] { file.ReadAsync(block.get(), kBlock, 0, issued); }).join();
        bad += !issued.Wait(true);
    }
    for (Recorder& issued : ended)
        bad += issued.iCalls != 1 || issued.uiBytes != kBlock;
    EXPECT_EQ(bad, 0);
}
