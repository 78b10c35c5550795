#include "vxsystem/ScrapHeap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace
{
bool Aligned(void* p, uintptr_t alignment)
{
    return (reinterpret_cast<uintptr_t>(p) & (alignment - 1)) == 0;
}
} // namespace

TEST(ScrapHeap, AlignsAndRollsBackScopedUse)
{
    ScrapHeap heap;
    void* a = heap.Allocate(3, 8);
    void* b = heap.Allocate(100, 64);
    void* c = heap.Allocate(1, 0);
    ASSERT_TRUE(a && b && c);
    EXPECT_TRUE(Aligned(a, 8));
    EXPECT_TRUE(Aligned(b, 64));
    EXPECT_TRUE(Aligned(c, 8));
    void* odd = heap.Allocate(8, 3); // rounds up to a power of two
    EXPECT_TRUE(Aligned(odd, 8));
    EXPECT_EQ(heap.QLiveBlocks(), 4u);
    std::memset(b, 0xAB, 100);
    heap.Deallocate(heap.Allocate(16, 8)); // scoped use: the next block reuses the spot
    void* d = heap.Allocate(16, 8);
    void* e = heap.Allocate(16, 8);
    heap.Deallocate(e);
    EXPECT_EQ(heap.Allocate(16, 8), e);
    heap.Deallocate(e);
    heap.Deallocate(d);
    heap.Deallocate(odd);
    heap.Deallocate(nullptr);
    EXPECT_EQ(heap.QLiveBlocks(), 3u);
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
        for (void* p : blocks)
            ASSERT_NE(p, nullptr);
        EXPECT_GT(heap.QChunkCount(), 4u);
        for (size_t i = 0; i < blocks.size(); i += 2) // free every other one first
            heap.Deallocate(blocks[i]);
        for (size_t i = 1; i < blocks.size(); i += 2)
            heap.Deallocate(blocks[i]);
        EXPECT_EQ(heap.QLiveBlocks(), 0u);
        EXPECT_LE(heap.QChunkCount(), 2u);        // the current chunk and one spare stay
        void* big = heap.Allocate(1 << 20, 4096); // past the chunk path
        ASSERT_NE(big, nullptr);
        EXPECT_TRUE(Aligned(big, 4096));
        std::memset(big, 1, 1 << 20);
        heap.Deallocate(big);
        EXPECT_EQ(heap.Allocate(SIZE_MAX - 8, 8), nullptr);
    }
    EXPECT_EQ(MemoryManager::QLiveBlocks(), before);
}

TEST(ScrapHeap, OnePerThreadThroughAutoScrapBuffer)
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
        ASSERT_NE(block.QPtr(), nullptr);
        EXPECT_TRUE(Aligned(block.QPtr(), 8));
        EXPECT_EQ(mine->QLiveBlocks(), live + 1);
    }
    EXPECT_EQ(mine->QLiveBlocks(), live);
}

TEST(VXTObjectArenaScrapAlloc, AllocatesOnTheThreadsHeap)
{
    struct alignas(32) Segment
    {
        char const* pText;
        unsigned int uiLength;
    };
    ScrapHeap* heap = MemoryManager::Instance().GetThreadScrapHeap();
    size_t live = heap->QLiveBlocks();
    VXTObjectArenaScrapAlloc<Segment> alloc;
    void* page = alloc.Allocate(32 * sizeof(Segment));
    ASSERT_NE(page, nullptr);
    EXPECT_TRUE(Aligned(page, 32));
    EXPECT_EQ(heap->QLiveBlocks(), live + 1);
    alloc.Deallocate(page);
    EXPECT_EQ(heap->QLiveBlocks(), live);
}
