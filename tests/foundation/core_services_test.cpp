#include "vxsystem/VXCRC32.h"
#include "vxsystem/VXRandom.h"
#include "vxsystem/VXSearchPath.h"
#include "vxsystem/VXSimpleList.h"
#include "vxsystem/VXStaticArray.h"
#include "vxsystem/VXTSingletonSDM.h"
#include "vxsystem/VXTimer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

TEST(VXSimpleList, HeadNodeLivesInTheListObject)
{
    static_assert(sizeof(VXSimpleList<char const*>) == 2 * sizeof(void*));
    int64_t before = MemoryManager::QLiveBlocks();
    {
        VXSimpleList<char const*> list;
        EXPECT_TRUE(list.QEmpty());
        EXPECT_EQ(list.QHead()->kItem, nullptr);
        EXPECT_EQ(list.QHead()->pNext, nullptr);
        EXPECT_EQ(list.begin() != list.end(), false);

        EXPECT_TRUE(list.AddHead("a")); // fills the embedded node, no heap
        EXPECT_EQ(MemoryManager::QLiveBlocks(), before);
        EXPECT_TRUE(list.AddHead("b"));
        EXPECT_TRUE(list.AddTail("c"));
        EXPECT_EQ(MemoryManager::QLiveBlocks(), before + 2);
        std::string order;
        for (char const* item : list)
            order += item;
        EXPECT_EQ(order, "bac");
        EXPECT_EQ(list.QCount(), 3u);

        EXPECT_TRUE(list.Remove(list.QHead()->pNext->kItem));
        EXPECT_STREQ(list.RemoveHead(), "b");
        EXPECT_STREQ(list.QFirst(), "c");
        EXPECT_FALSE(list.Remove("zzz"));
        EXPECT_STREQ(list.RemoveHead(), "c");
        EXPECT_TRUE(list.QEmpty());
        EXPECT_EQ(list.RemoveHead(), nullptr);
        list.AddHead("x");
        list.AddHead("y");
    } // destructor frees the extra node
    EXPECT_EQ(MemoryManager::QLiveBlocks(), before);
}

TEST(VXStaticArray, SetSizeReallocatesWithoutKeeping)
{
    static_assert(sizeof(VXStaticArray<void*>) == 16);
    VXStaticArray<void*> array;
    EXPECT_EQ(array.QBase(), nullptr);
    EXPECT_EQ(array.QNumElements(), 0u);
    ASSERT_TRUE(array.SetSize(4));
    EXPECT_EQ(array[3], nullptr);
    array[0] = &array;
    void** base = array.QBase();
    ASSERT_TRUE(array.SetSize(4)); // same size: nothing happens
    EXPECT_EQ(array.QBase(), base);
    EXPECT_EQ(array[0], &array);
    ASSERT_TRUE(array.SetSize(2)); // new block, contents dropped
    EXPECT_EQ(array.QNumElements(), 2u);
    EXPECT_EQ(array[0], nullptr);
    ASSERT_TRUE(array.SetSize(0));
    EXPECT_EQ(array.QBase(), nullptr);
}

namespace
{
int gLive = 0;
struct Manager : VXTSingletonSDM<Manager>
{
    Manager() : iValue(42) { ++gLive; }
    ~Manager() { --gLive; }
    int iValue;
};
} // namespace

TEST(VXTSingletonSDM, BuildsInStaticBufferOnce)
{
    EXPECT_FALSE(Manager::QInitialized());
    EXPECT_EQ(Manager::QInstance(), nullptr);
    Manager* first = Manager::InitSDM();
    EXPECT_EQ(static_cast<void*>(first), Manager::QBuffer());
    EXPECT_EQ(Manager::Create(), first); // already there
    EXPECT_EQ(gLive, 1);
    EXPECT_EQ(Manager::QInstance()->iValue, 42);
    Manager::KillSDM();
    EXPECT_EQ(gLive, 0);
    EXPECT_FALSE(Manager::QInitialized());
    Manager::Destroy(); // nothing left to destroy
    EXPECT_EQ(gLive, 0);
    Manager::Create();
    Manager::Destroy();
    EXPECT_EQ(gLive, 0);
}

TEST(VXSearchPath, GivesItsPathOnceUntilReset)
{
    VXSearchPath search("Data\\Textures\\");
    EXPECT_TRUE(search.QValid());
    char out[MAX_PATH_BYTES];
    EXPECT_TRUE(search.GetNextPath(out));
    EXPECT_STREQ(out, "Data\\Textures\\");
    EXPECT_FALSE(search.GetNextPath(out));
    KoSearchPath& base = search;
    base.Reset();
    EXPECT_TRUE(search.GetNextPath(out));

    std::string longPath(300, 'q');
    search.SetPath(longPath.c_str());
    EXPECT_EQ(std::strlen(search.QPath()), 259u);
}

TEST(VXCRC32, MatchesTheStandardCrc32)
{
    // Standard CRC-32 = running value from 0xFFFFFFFF, inverted at the end.
    unsigned int crc = 0xFFFFFFFF;
    VXCRC32::GenerateCRC(crc, 0x34333231u, 0); // "1234" in memory order
    EXPECT_EQ(~crc, 0x9BE3E0A3u);
    crc = 0xFFFFFFFF;
    VXCRC32::GenerateCRC(crc, uint64_t(0x3837363534333231ull), 0); // "12345678"
    EXPECT_EQ(~crc, 0x9AE0DAAFu);
    crc = 0xFFFFFFFF;
    VXCRC32::GenerateCRC(crc, "123456789", 9);
    EXPECT_EQ(~crc, 0xCBF43926u);
    // Two 32-bit folds equal one 64-bit fold of the same bytes.
    unsigned int a = 0;
    unsigned int b = 0;
    VXCRC32::GenerateCRC(a, 0x11223344u, 0);
    VXCRC32::GenerateCRC(a, 0x55667788u, 0);
    VXCRC32::GenerateCRC(b, uint64_t(0x5566778811223344ull), 0);
    EXPECT_EQ(a, b);
}

TEST(VXRandom, StaysBelowLimitAndSpreads)
{
    EXPECT_EQ(VXRandom::UnsignedInt(0), 0u);
    EXPECT_EQ(VXRandom::UnsignedInt(1), 0u);
    unsigned int hits[8] = {};
    for (int i = 0; i < 8000; ++i)
    {
        unsigned int v = VXRandom::UnsignedInt(8);
        ASSERT_LT(v, 8u);
        ++hits[v];
    }
    for (unsigned int count : hits)
        EXPECT_GT(count, 800u);
}

TEST(VXTimer, CountsTicksPerMillisecond)
{
    EXPECT_EQ(VXTimer::uiFrequency, 10000u);
    EXPECT_FLOAT_EQ(VXPrecisionTimer::fFrequencyMS, 10000.0f);
    VXTimer timer;
    timer.Init(0);
    int64_t start = VXPrecisionTimer::GetTimer();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    int64_t ticks = VXPrecisionTimer::GetTimer() - start;
    EXPECT_GE(ticks, 20 * 10000);
    EXPECT_LT(ticks, 5000 * 10000);
    EXPECT_GE(timer.QElapsedMicroseconds(), 20000u);
    EXPECT_GE(timer.GetHighPrecisionTime(), timer.QStartTime());
}
