// The pure parts of the streaming read service: the elevator, same-position rings, the
// request queue with a stalled producer, block hash probing and the path table's chains.
#include "streamer/VXStreamerCache.h"
#include "streamer/VXStreamerOrder.h"
#include "streamer/VXStreamerQueues.h"
#include "streamer/VXStreamerTree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace VXSystemFileStreamer;

namespace
{
constexpr uint64_t K = 65536;

class OrderTest : public ::testing::Test
{
protected:
    ReadRequest* Add(unsigned int file, uint64_t offset, unsigned int priority)
    {
        ReadRequest* r = &aPool[uiUsed++];
        *r = ReadRequest{};
        r->uiFileID = file;
        r->uiOffset = offset;
        r->uiPriority = priority;
        r->uiSequence = uiUsed;
        kOrder.EnqueueRequest(r);
        EXPECT_GT(Tree::Validate(kOrder.QOrderRoot()), 0);
        EXPECT_GT(Tree::Validate(kOrder.QPositionRoot()), 0);
        return r;
    }
    ReadRequest aPool[64];
    unsigned int uiUsed = 0;
    RequestOrder kOrder;
};
} // namespace

TEST_F(OrderTest, ElevatorCases)
{
    // Lower offset of the same priority, ahead of the head, comes first.
    ReadRequest* high = Add(0, 5 * K, 5);
    ReadRequest* low = Add(0, 2 * K, 5);
    EXPECT_EQ(kOrder.SelectRequest(0, 0), low);
    kOrder.RemoveRequest(low);
    EXPECT_EQ(kOrder.SelectRequest(0, 2 * K), high);
    kOrder.RemoveRequest(high);

    // The sweep through A goes on before B, which arrived first.
    ReadRequest* b = Add(1, 0, 5);
    ReadRequest* a[3] = {Add(0, 0, 5), Add(0, K, 5), Add(0, 2 * K, 5)};
    for (ReadRequest* r : a)
    {
        EXPECT_EQ(kOrder.SelectRequest(0, r->uiOffset), r);
        kOrder.RemoveRequest(r);
    }
    EXPECT_EQ(kOrder.SelectRequest(0, 3 * K), b);
    kOrder.RemoveRequest(b);

    // Something more urgent elsewhere wins unless the next one lies within a block.
    ReadRequest* nearby = Add(0, 4 * K, 5);
    ReadRequest* urgent = Add(1, 7 * K, 1);
    EXPECT_EQ(kOrder.SelectRequest(0, 3 * K + 1), nearby);
    EXPECT_EQ(kOrder.SelectRequest(0, 2 * K), urgent);
    EXPECT_EQ(kOrder.QSelected(), urgent);
    kOrder.RemoveRequest(urgent);
    EXPECT_EQ(kOrder.QSelected(), nullptr);
    kOrder.RemoveRequest(nearby);
    EXPECT_EQ(kOrder.SelectRequest(0, 0), nullptr);
    EXPECT_TRUE(kOrder.QEmpty());
}

TEST_F(OrderTest, SamePositionRingsAndMostUrgent)
{
    ReadRequest* head = Add(3, K, 5);
    ReadRequest* lazy = Add(3, K, 9);
    EXPECT_FALSE(lazy->bTreeHead);
    EXPECT_EQ(lazy->uiPriority, 5u); // takes the head's number
    ReadRequest* eager = Add(3, K, 2);
    EXPECT_TRUE(eager->bTreeHead);
    EXPECT_FALSE(head->bTreeHead);
    EXPECT_EQ(head->uiPriority, 5u);
    EXPECT_EQ(kOrder.LowerBound(3, 0), eager);
    EXPECT_EQ(kOrder.QMostUrgent(), eager);

    EXPECT_EQ(kOrder.RemoveRequest(eager), head); // the next one becomes the head
    EXPECT_TRUE(head->bTreeHead);
    EXPECT_EQ(kOrder.LowerBound(3, 0), head);
    EXPECT_EQ(RequestOrder::NextPosition(head), nullptr);
    EXPECT_EQ(kOrder.QMostUrgent(), head);
    EXPECT_EQ(kOrder.RemoveRequest(lazy), head);
    EXPECT_EQ(kOrder.RemoveRequest(head), nullptr);
    EXPECT_EQ(kOrder.QMostUrgent(), nullptr);
    EXPECT_EQ(kOrder.QPositionRoot(), nullptr);
}

TEST_F(OrderTest, TreesStayBalancedThroughMixedRemovals)
{
    std::vector<ReadRequest*> all;
    for (unsigned int i = 0; i < 60; ++i)
        all.push_back(Add(i % 3, ((i * 37) % 20) * K, i % 4));
    for (unsigned int i = 0; i < all.size(); ++i)
    {
        ReadRequest* victim = all[(i * 7) % all.size()];
        if (!victim->pNextSame)
            continue;
        kOrder.RemoveRequest(victim);
        ASSERT_GT(Tree::Validate(kOrder.QOrderRoot()), 0);
        ASSERT_GT(Tree::Validate(kOrder.QPositionRoot()), 0);
        uint64_t best = ~0ull;
        for (ReadRequest* r : all)
            if (r->pNextSame)
                best = std::min(best, r->QOrderKey());
        ASSERT_EQ(kOrder.QMostUrgent() ? kOrder.QMostUrgent()->QOrderKey() : ~0ull, best);
    }
}

namespace VXSystemFileStreamer
{
struct RequestQueueProbe
{
    static uint32_t Claim(RequestQueue& queue) { return queue.uiWriteClaim.fetch_add(1); }
    static void Publish(RequestQueue& queue, uint32_t claim, ReadRequest* item)
    {
        queue.Publish(claim, item);
    }
};
} // namespace VXSystemFileStreamer

TEST(RequestQueueTest, StalledProducerHidesLaterSlots)
{
    auto queue = std::make_unique<RequestQueue>();
    ReadRequest items[4];
    for (int lap = 0; lap < 2; ++lap)
    {
        uint32_t stalled = RequestQueueProbe::Claim(*queue);
        queue->Push(&items[1]);
        queue->Push(&items[2]);
        EXPECT_EQ(queue->Pop(), nullptr); // filled, but behind the stalled slot
        RequestQueueProbe::Publish(*queue, stalled, &items[0]);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(queue->Pop(), &items[i]);
        EXPECT_EQ(queue->Pop(), nullptr);
    }
}

TEST(BlockHashTest, ProbeSequenceAndTombstones)
{
    unsigned int expected[] = {0, 1, 6, 31, 156, 781, 3906, 3147};
    unsigned int slot = 0;
    for (unsigned int want : expected)
    {
        EXPECT_EQ(slot, want);
        slot = BlockCache::NextProbe(slot);
    }
    FileTable files;
    BlockCache cache(files);
    ASSERT_TRUE(cache.Init());
    auto* slots = cache.QSlots();
    // Same block index in three files, one of them 16384 blocks further: one chain.
    CacheBlock* a = cache.AllocateBlock(0, 0, cache.FindSlot(0, 0));
    CacheBlock* b = cache.AllocateBlock(1, 0, cache.FindSlot(1, 0));
    CacheBlock* c = cache.AllocateBlock(2, 16384, cache.FindSlot(2, 16384));
    EXPECT_EQ(slots[0].load(), a);
    EXPECT_EQ(slots[1].load(), b);
    EXPECT_EQ(slots[6].load(), c);
    EXPECT_EQ(cache.FindSlot(1, 0), &slots[1]);
    EXPECT_EQ(cache.FindSlot(uiInvalidFile, 0)->load(), cache.QTombstone());
    // A dropped block leaves a tombstone that the next search takes before the empty slot.
    cache.DropBlock(b);
    EXPECT_EQ(slots[1].load(), cache.QTombstone());
    EXPECT_EQ(cache.FindSlot(2, 16384), &slots[6]);
    EXPECT_EQ(cache.FindSlot(7, 0), &slots[1]);
    EXPECT_EQ(cache.QProbation(), b);
}

TEST(BlockHashTest, EvictionTakesEmptyBlocksFirstAndSparesReferencedOnes)
{
    FileTable files;
    BlockCache cache(files);
    ASSERT_TRUE(cache.Init());
    CacheBlock* blocks = cache.QBlocks();
    for (unsigned int i = 0; i < uiBlockCount; ++i)
    {
        CacheBlock* block = cache.AllocateBlock(0, i, cache.FindSlot(0, i));
        ASSERT_EQ(block, &blocks[i]); // no reuse before the 8193rd block
        block->uiBytesValid = i == 100 ? 0 : uiBlockSize;
        block->uiLoading = 0;
        cache.ProbationAdd(block);
    }
    EXPECT_EQ(cache.QProbation(), &blocks[100]);
    // The oldest filled block holds a reader: it moves to the clock ring instead.
    ASSERT_TRUE(blocks[0].TryReference());
    EXPECT_EQ(cache.AllocateBlock(1, 0, cache.FindSlot(1, 0)), &blocks[100]);
    EXPECT_EQ(cache.AllocateBlock(1, 1, cache.FindSlot(1, 1)), &blocks[1]);
    EXPECT_EQ(cache.QClockHand(), &blocks[0]);
    EXPECT_EQ(blocks[0].uiTouchCount.load(), 0u);
    blocks[0].DropReference();
    EXPECT_EQ(cache.FindSlot(0, 1)->load(), cache.QTombstone());
}

TEST(PathTableTest, ChainsHoldEveryKeyThroughMovesAndGrowth)
{
    PathTable table;
    std::vector<VXFixedString> keys;
    for (unsigned int i = 0; i < 300; ++i)
    {
        keys.emplace_back(("data\\file" + std::to_string(i) + ".bin").c_str());
        unsigned int id = 0;
        bool inserted = false;
        ASSERT_TRUE(table.InsertOrFind(keys.back(), i, id, inserted));
        EXPECT_TRUE(inserted);
        EXPECT_EQ(id, i);
    }
    EXPECT_EQ(table.QCapacity(), 512u);
    for (unsigned int i = 0; i < keys.size(); ++i)
    {
        unsigned int id = 0;
        bool inserted = true;
        ASSERT_TRUE(table.InsertOrFind(
            VXFixedString(("DATA\\FILE" + std::to_string(i) + ".BIN").c_str()), 999, id, inserted));
        EXPECT_FALSE(inserted);
        EXPECT_EQ(id, i);
    }
    // Every live entry sits on the chain of its own home.
    auto const* entries = table.QEntries();
    for (unsigned int i = 0; i < table.QCapacity(); ++i)
    {
        if (!entries[i].pLink)
            continue;
        auto const* walk = &entries[table.QHome(entries[i].sKey)];
        while (walk != &entries[i] && !table.QChainEnd(walk))
            walk = walk->pLink;
        EXPECT_EQ(walk, &entries[i]);
    }
    EXPECT_EQ(table.QFreeCount(), 512u - 300u);
}
