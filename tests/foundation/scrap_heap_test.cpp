#include "vxsystem/ScrapHeap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>
#include <tuple>
#include <vector>

namespace
{
// Null counts as misaligned, so that a failed allocation fails the check.
bool Aligned(void* p, uintptr_t alignment)
{
    return p && (reinterpret_cast<uintptr_t>(p) & (alignment - 1)) == 0;
}
} // namespace

TEST(ScrapHeap, AlignsAndRollsBackScopedUse)
{
    ScrapHeap heap;
    void* b = heap.Allocate(100, 64);
    std::memset(b, 0xAB, 100);
    for (auto [size, alignment, expected] : {std::tuple{3, 8u, 8u}, {1, 0u, 8u}, {8, 3u, 4u}})
        EXPECT_TRUE(Aligned(heap.Allocate(size, alignment), expected)) << alignment;
    EXPECT_TRUE(Aligned(b, 64));
    void* d = heap.Allocate(16, 8);
    heap.Deallocate(d); // the last block cut: the next one reuses the spot
    EXPECT_EQ(heap.Allocate(16, 8), d);
    heap.Deallocate(d);
    heap.Deallocate(nullptr);
    EXPECT_EQ(heap.QLiveBlocks(), 4u);
    EXPECT_EQ(heap.QChunkCount(), 1u);
    EXPECT_EQ(static_cast<unsigned char*>(b)[99], 0xAB);
}

TEST(ScrapHeap, FreesOutOfOrderAndReusesChunks)
{
    int64_t before = MemoryManager::QLiveBlocks();
    {
        ScrapHeap heap;
        std::vector<void*> blocks;
        for (int i = 0; i < 200; ++i) // about 800 KiB: several chunks
            blocks.push_back(heap.Allocate(4000, 16));
        EXPECT_GT(heap.QChunkCount(), 4u);
        ASSERT_EQ(std::count(blocks.begin(), blocks.end(), nullptr), 0);
        for (size_t i = 0; i < blocks.size(); i += 2) // every other one first
            heap.Deallocate(blocks[i]);
        for (size_t i = 1; i < blocks.size(); i += 2)
            heap.Deallocate(blocks[i]);
        EXPECT_EQ(heap.QLiveBlocks(), 0u);
        EXPECT_LE(heap.QChunkCount(), 2u);        // the current chunk and one spare stay
        void* big = heap.Allocate(1 << 20, 4096); // past the chunk path
        ASSERT_TRUE(Aligned(big, 4096));
        std::memset(big, 1, 1 << 20);
        heap.Deallocate(big);
        EXPECT_EQ(heap.Allocate(SIZE_MAX - 8, 8), nullptr);
    }
    EXPECT_EQ(MemoryManager::QLiveBlocks(), before);
}

TEST(ScrapHeap, OnePerThreadThroughAutoScrapBufferAndArena)
{
    ScrapHeap* mine = MemoryManager::Instance().GetThreadScrapHeap();
    EXPECT_EQ(mine, MemoryManager::Instance().GetThreadScrapHeap());
    ScrapHeap* other = nullptr;
    std::thread(
        [&]
        {
            other = MemoryManager::Instance().GetThreadScrapHeap();
            MemoryManager::AutoScrapBuffer block(64, 8);
            std::memset(block.QPtr(), 2, 64);
        })
        .join();
    EXPECT_NE(other, mine);

    size_t live = mine->QLiveBlocks();
    {
        MemoryManager::AutoScrapBuffer block(520, 8);
        EXPECT_TRUE(Aligned(block.QPtr(), 8));
        EXPECT_EQ(mine->QLiveBlocks(), live + 1);
    }
    struct alignas(32) Segment
    {
        char const* pText;
    };
    VXTObjectArenaScrapAlloc<Segment> alloc;
    void* page = alloc.Allocate(32 * sizeof(Segment));
    EXPECT_TRUE(Aligned(page, 32));
    EXPECT_EQ(mine->QLiveBlocks(), live + 1);
    alloc.Deallocate(page);
    EXPECT_EQ(mine->QLiveBlocks(), live);
}
