// The streaming read service against real files: byte-exact reads through and past the
// cache, prefetch, version changes, uncaching, enable cycles and failing disks.
#include "StreamerTestKit.h"
#if !defined(_WIN32)
#include "platform/posix/VXPosixFileCalls.h"
#endif

#include <cstring>
#include <latch>
#include <thread>
#include <vector>

using namespace streamertest;

namespace
{
uint64_t PhysicalReads()
{
    uint64_t served, physical, hits, misses;
    VS::QueryHitMissStats(served, physical, hits, misses);
    return physical;
}

std::string Read(DataFile& data, uint64_t offset, uint64_t size, bool cached,
                 VF::ErrorCode expect = VF::EC_OK)
{
    std::string out(size, '\0');
    uint64_t got = ~0ull;
    EXPECT_EQ(VS::ReadAt(&data.kFile, data.kID, out.data(), size, offset, got, 3, cached, nullptr),
              expect);
    out.resize(got);
    return out;
}
} // namespace

TEST_F(StreamerFixture, ReadsAreByteExactCachedAndUncached)
{
    DataFile data(sDir, "a.bin", 3 * K + 1000, 7);
    struct Case
    {
        uint64_t uiOffset, uiSize;
    } cases[] = {{0, 10},           {10000, 200000}, {K - 1, 2}, {3 * K, 5000},
                 {3 * K + 999, 10}, {4 * K, 10},     {0, 0},     {5, 4 * K}};
    for (int pass = 0; pass < 2; ++pass) // cold, then hot
        for (auto const& c : cases)
            for (bool cached : {true, false})
                EXPECT_EQ(Read(data, c.uiOffset, c.uiSize, cached),
                          data.Slice(c.uiOffset, c.uiSize))
                    << c.uiOffset << "+" << c.uiSize << " cached " << cached << " pass " << pass;
}

TEST_F(StreamerFixture, SplitReadQueuesOnePieceForEachMissingBlock)
{
    DataFile data(sDir, "split.bin", 5 * K, 3);
    std::string out(200000, '\0');
    VS::AsyncParams params;
    ASSERT_EQ(VS::ReadAtAsync(&data.kFile, data.kID, out.data(), 200000, 10000, params), VF::EC_OK);
    EXPECT_EQ(params.uiExpectedSignals, 4u);
    params.Wait();
    EXPECT_EQ(params.QBytesRead(), 200000u);
    EXPECT_EQ(out, data.Slice(10000, 200000));
    params.Reset(0, true);
    ASSERT_EQ(VS::ReadAtAsync(&data.kFile, data.kID, out.data(), 200000, 10000, params), VF::EC_OK);
    EXPECT_EQ(params.uiExpectedSignals, 0u); // every block hit on the caller's thread
    EXPECT_TRUE(params.QCompleted());
    EXPECT_EQ(params.QBytesRead(), 200000u);
}

TEST_F(StreamerFixture, PrefetchAndReadShareOnePhysicalRead)
{
    DataFile data(sDir, "p.bin", 2 * K, 4);
    EXPECT_FALSE(VS::RequestAt(&data.kFile, data.kID, 0, 0, 1, nullptr));
    EXPECT_TRUE(VS::RequestAt(&data.kFile, VS::ID(), 10, 0, 1, nullptr));
    EXPECT_TRUE(VS::RequestAt(&data.kFile, data.kID, 1, K - 1, 1, nullptr));
    EXPECT_EQ(Read(data, 100, 1000, true), data.Slice(100, 1000));
    VS::WaitInactive(~0u);
    EXPECT_EQ(PhysicalReads(), 1u);
}

// Each thread counts its hits in a record of its own, taken over by later threads; more
// threads than records share one. No hit may be lost either way.
TEST_F(StreamerFixture, FastHitsAreCountedExactlyFromManyThreads)
{
    DataFile data(sDir, "hits.bin", K, 6);
    EXPECT_EQ(Read(data, 0, 100, true), data.Slice(0, 100));
    uint64_t served, physical, hitsBefore, missesBefore, hits, misses;
    VS::QueryHitMissStats(served, physical, hitsBefore, missesBefore);
    constexpr int kThreads = 150, kReads = 200;
    for (int round = 0; round < 2; ++round)
    {
        std::latch together(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back(
                [&]
                {
                    together.arrive_and_wait();
                    for (int i = 0; i < kReads; ++i)
                        Read(data, static_cast<uint64_t>(i) * 100, 64, true);
                });
        for (auto& thread : threads)
            thread.join();
    }
    VS::QueryHitMissStats(served, physical, hits, misses);
    // A reference lost to a racing reader counts as a miss, so only the sum is exact.
    EXPECT_EQ(hits - hitsBefore + misses - missesBefore, 2u * kThreads * kReads);
    EXPECT_GT(hits - hitsBefore, static_cast<uint64_t>(kThreads) * kReads);
}

TEST_F(StreamerFixture, ForwardReadsAreReadAheadWithinTheFile)
{
    DataFile data(sDir, "ahead.bin", 40 * K + 100, 9);
    uint64_t before = PhysicalReads();
    EXPECT_EQ(Read(data, 0, K, true), data.Slice(0, K));
    EXPECT_EQ(PhysicalReads() - before, 1u); // a first read is not taken for a forward one
    EXPECT_EQ(Read(data, K, K, true), data.Slice(K, K)); // goes on where the last read ended
    VS::WaitInactive(~0u);
    EXPECT_GT(PhysicalReads() - before, 2u);
    for (uint64_t offset = 2 * K; offset < 41 * K; offset += K)
        EXPECT_EQ(Read(data, offset, K, true), data.Slice(offset, K)) << offset;
    VS::WaitInactive(~0u);
    EXPECT_EQ(PhysicalReads() - before, 41u); // each block once, none past the end
}

TEST_F(StreamerFixture, VersionUpdatesNeverGiveStaleBytes)
{
    DataFile data(sDir, "v.bin", 2 * K, 5);
    EXPECT_EQ(Read(data, 0, 2 * K, true), data.sBytes);
    for (uint32_t seed = 10; seed < 14; ++seed)
    {
        data.sBytes = vxtest::RandomBytes(2 * K, seed);
        data.kFile = VF(); // Windows refuses to rewrite a file open without write sharing
        vxtest::WriteFile(data.sPath, data.sBytes);
        data.kFile = VF(data.sPath.c_str(), VF::AM_READ, VF::OM_EXISTING, false, 0, false);
        VS::UpdateFileVersion(data.kID);
        EXPECT_EQ(Read(data, 0, 2 * K, true), data.sBytes);
    }
    VS::UpdateFileVersion(VS::ID()); // does nothing
}

TEST_F(StreamerFixture, UncacheAllForgetsEveryBlock)
{
    DataFile data(sDir, "u.bin", 2 * K, 6);
    Read(data, 0, 2 * K, true);
    uint64_t before = PhysicalReads();
    Read(data, 0, 2 * K, true);
    EXPECT_EQ(PhysicalReads(), before);
    std::string out(2 * K, '\0');
    VS::AsyncParams params;
    VS::ReadAtAsync(&data.kFile, data.kID, out.data(), 2 * K, 0, params.Reset(0, false));
    VS::UncacheAll(true);
    EXPECT_TRUE(params.QCompleted()); // queued work went first
    EXPECT_EQ(Read(data, 0, 2 * K, true), data.sBytes);
    EXPECT_EQ(PhysicalReads(), before + 2);
    VXTArray<uint64_t, VXTArrayHeapAllocator> ages;
    VS::QueryEntryTouch(ages);
    EXPECT_EQ(ages.QSize(), 8192u);
}

TEST_F(StreamerFixture, EnableCyclesAndDisabledCalls)
{
    DataFile data(sDir, "e.bin", K, 8);
    VS::ID first = data.kID;
    VS::Enable(true); // already on: one pair of threads
    VS::Enable(false);
    EXPECT_FALSE(VS::QEnabled());
    EXPECT_EQ(Read(data, 0, 10, true, VF::EC_FAILED), "");
    EXPECT_FALSE(VS::RequestAt(&data.kFile, data.kID, 10, 0, 1, nullptr));
    VS::UncacheAll(true);
    VS::WaitInactive(~0u);
    VS::ID untouched;
    VS::GetIDForPath(untouched, data.sPath.c_str());
    EXPECT_FALSE(untouched.QValid());
    for (int cycle = 0; cycle < 3; ++cycle)
    {
        VS::Enable(true);
        VS::GetIDForPath(data.kID, data.sPath.c_str());
        EXPECT_GT(unsigned(data.kID), unsigned(first));
        first = data.kID;
        EXPECT_EQ(Read(data, 5, 100, true), data.Slice(5, 100));
        VS::Enable(false);
    }
    VS::Enable(true);
}

// The fault table sits in the POSIX half; Windows reads through the system directly.
#if !defined(_WIN32)
TEST_F(StreamerFixture, FailingDiskFinishesReadsShortWithTheCodeInTheFile)
{
    DataFile data(sDir, "f.bin", 2 * K, 9);
    VXPosixFileCallTable().pfnPread = [](int, void*, size_t, off_t) -> ssize_t
    { return errno = EIO, -1; };
    EXPECT_EQ(Read(data, 0, 2 * K, true), "");
    EXPECT_EQ(data.kFile.QLastError(), VF::EC_FAILED);
    EXPECT_EQ(Read(data, 10, 100, false), "");
    VXPosixFileCallTable() = VXPosixFileCallDefaults();
    EXPECT_EQ(Read(data, 10, 100, false), data.Slice(10, 100));
    EXPECT_EQ(data.kFile.QLastError(), VF::EC_OK);
    VS::UpdateFileVersion(data.kID); // the empty block stays cached until the version moves
    EXPECT_EQ(Read(data, 0, 2 * K, true), data.sBytes);
}
#endif
