// The block cache of the streaming read service: 8192 blocks of 64 KiB in one reserved
// address range, committed on first use; a hash of twice as many slots with tombstones;
// a first-in first-out probation list in front of a second-chance clock ring.
// FindSlot and FastLookup may run on any thread without a lock; everything else belongs
// to the control thread. A block's lock word keeps fast readers and reuse apart.
#pragma once

#include "streamer/VXStreamerCallers.h"
#include "streamer/VXStreamerFileTable.h"
#include "streamer/VXStreamerTypes.h"

#include <atomic>

namespace VXSystemFileStreamer
{
class BlockCache
{
public:
    using Slot = std::atomic<CacheBlock*>;

    explicit BlockCache(FileTable& files) : kFiles(files) {}
    ~BlockCache() { Shutdown(); }
    BlockCache(BlockCache const&) = delete;
    BlockCache& operator=(BlockCache const&) = delete;

    // Reserves the range and builds the blocks and the hash; false leaves nothing behind.
    bool Init();
    void Shutdown();

    static unsigned int NextProbe(unsigned int slot) { return (5 * slot + 1) & (uiHashSlots - 1); }
    Slot* FindSlot(unsigned int fileID, uint64_t blockIndex);
    // A ready, current block with a reader reference held, or null; counted in `caller`.
    CacheBlock* FastLookup(unsigned int fileID, uint64_t offset, uint64_t version,
                           CallerRecord& caller);
    bool TryClaim(CacheBlock* block);
    CacheBlock* AllocateBlock(unsigned int fileID, uint64_t blockIndex, Slot* slot);
    void ProbationAdd(CacheBlock* block);
    bool RefreshIfStale(CacheBlock* block);
    // A stale block nobody waits for leaves the hash and goes first on probation.
    void DropBlock(CacheBlock* block);
    void ResetCache();
    void QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages) const;

    bool IsBlock(CacheBlock const* block) const { return block && block != pTombstone; }
    bool QReady() const { return pBlocks != nullptr; }
    CacheBlock* QBlocks() const { return pBlocks; }
    CacheBlock* QTombstone() const { return pTombstone; }
    Slot* QSlots() const { return pHashSlots; }
    unsigned int QProbationCount() const { return uiProbationCount; }
    CacheBlock* QProbation() const { return pProbation; }
    CacheBlock* QClockHand() const { return pClockHand; }

private:
    static CacheBlock* Miss(CallerRecord& caller);
    CacheBlock* Reuse(CacheBlock* block, unsigned int fileID, uint64_t blockIndex, Slot* slot);
    CacheBlock* TakeFresh();
    void AppendToClock(CacheBlock* block);

    FileTable& kFiles;
    CacheBlock* pBlocks = nullptr;
    Slot* pHashSlots = nullptr;
    CacheBlock* pNextFreshBlock = nullptr;
    CacheBlock* pBlocksEnd = nullptr;
    CacheBlock* pTombstone = nullptr;
    CacheBlock* pClockHand = nullptr;
    CacheBlock* pProbation = nullptr; // the oldest member
    char* pReservedBase = nullptr;
    char* pCommitCursor = nullptr;
    char* pReservedEnd = nullptr;
    unsigned int uiProbationCount = 0;
    Slot kInvalidSlot{nullptr}; // what invalid identities find: a tombstone, never stored to
};
} // namespace VXSystemFileStreamer
