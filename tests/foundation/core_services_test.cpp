#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXCRC32.h"
#include "vxsystem/VXRandom.h"
#include "vxsystem/VXSearchPath.h"
#include "vxsystem/VXSimpleList.h"
#include "vxsystem/VXStaticArray.h"
#include "vxsystem/VXTSingletonSDM.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

TEST(VXSimpleList, HeadNodeLivesInTheListObject)
{
    static_assert(sizeof(VXSimpleList<char const*>) == 2 * sizeof(void*));
    int64_t before = MemoryManager::QLiveBlocks();
    {
        VXSimpleList<char const*> list;
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
        EXPECT_FALSE(list.Remove("zzz"));
        EXPECT_STREQ(list.RemoveHead(), "b");
        EXPECT_STREQ(list.RemoveHead(), "c");
        EXPECT_TRUE(list.QEmpty());
        EXPECT_EQ(list.RemoveHead(), nullptr);
        list.AddHead("x");
        list.AddHead("y");
    } // destructor frees the extra node
    EXPECT_EQ(MemoryManager::QLiveBlocks(), before);
}

TEST(VXStaticArray, SetSizeGivesZeroedBlockOnlyOnChange)
{
    static_assert(sizeof(VXStaticArray<void*>) == 16);
    VXStaticArray<void*> array(4);
    array[0] = &array;
    ASSERT_TRUE(array.SetSize(4)); // same size: contents kept
    EXPECT_EQ(array[0], &array);
    ASSERT_TRUE(array.SetSize(2)); // new block, zeroed
    EXPECT_EQ(array[0], nullptr);
    EXPECT_EQ(array[1], nullptr);
}

namespace
{
int gLive = 0;
struct Manager : VXTSingletonSDM<Manager>
{
    Manager() { ++gLive; }
    ~Manager() { --gLive; }
};
} // namespace

TEST(VXTSingletonSDM, BuildsInStaticBufferOnce)
{
    Manager* first = Manager::InitSDM();
    EXPECT_EQ(static_cast<void*>(first), Manager::QBuffer());
    EXPECT_EQ(Manager::Create(), first); // already there
    EXPECT_EQ(gLive, 1);
    Manager::KillSDM();
    Manager::Destroy(); // nothing left to destroy
    EXPECT_EQ(gLive, 0);
    EXPECT_EQ(Manager::QInstance(), nullptr);
}

TEST(VXSearchPath, GivesItsPathOnceUntilReset)
{
    VXSearchPath search("Data\\Textures\\");
    char out[MAX_PATH_BYTES];
    EXPECT_TRUE(search.GetNextPath(out));
    EXPECT_STREQ(out, "Data\\Textures\\");
    EXPECT_FALSE(search.GetNextPath(out));
    static_cast<KoSearchPath&>(search).Reset();
    EXPECT_TRUE(search.GetNextPath(out));
    search.SetPath(std::string(300, 'q').c_str());
    EXPECT_EQ(std::strlen(search.QPath()), 259u);
}

TEST(VXCRC32, MatchesTheStandardCrc32)
{
    // Standard CRC-32 = running value from 0xFFFFFFFF, inverted at the end.
    auto Crc = [](auto value, unsigned int length)
    {
        unsigned int crc = 0xFFFFFFFF;
        VXCRC32::GenerateCRC(crc, value, length);
        return ~crc;
    };
    EXPECT_EQ(Crc(0x34333231u, 0), 0x9BE3E0A3u);                     // "1234" in memory order
    EXPECT_EQ(Crc(uint64_t(0x3837363534333231ull), 0), 0x9AE0DAAFu); // "12345678"
    EXPECT_EQ(Crc("123456789", 9), 0xCBF43926u);
}

TEST(VXRandom, StaysBelowLimitAndSpreads)
{
    EXPECT_EQ(VXRandom::UnsignedInt(0), 0u);
    unsigned int hits[9] = {}; // the last one counts values out of range
    for (int i = 0; i < 8000; ++i)
        ++hits[std::min(VXRandom::UnsignedInt(8), 8u)];
    EXPECT_EQ(hits[8], 0u);
    for (int i = 0; i < 8; ++i)
        EXPECT_GT(hits[i], 800u);
}

TEST(MemoryManager, HugeAlignedSizesFailInsteadOfWrapping)
{
    MemoryManager& memory = MemoryManager::Instance();
    EXPECT_EQ(memory.Allocate(SIZE_MAX, 64, true), nullptr);
    EXPECT_EQ(memory.Allocate(16, 48, true), nullptr); // not a power of two
    void* block = memory.Allocate(100, 64, true);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    memory.Deallocate(block, true);
}
