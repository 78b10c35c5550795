#include "streamer/VXStreamerCache.h"

#include "foundation/VXPlatformSync.h"
#include "platform/VXPlatformMemory.h"
#include "vxsystem/VXSpinLock.h"

#include <new>

namespace VXSystemFileStreamer
{
uint64_t QTickCount()
{
    return PlatformTickCountMs();
}

namespace
{
constexpr auto kRelaxed = std::memory_order_relaxed;

void LinkBefore(CacheBlock* at, CacheBlock* block)
{
    block->pNext = at;
    block->pPrev = at->pPrev;
    at->pPrev->pNext = block;
    at->pPrev = block;
}

void MakeAlone(CacheBlock* block)
{
    block->pPrev = block->pNext = block;
}

// Takes the block off its circular list; a list head on it moves to the successor.
void Unlink(CacheBlock*& head, CacheBlock* block)
{
    if (block->pNext == block)
        head = nullptr;
    else
    {
        if (head == block)
            head = block->pNext;
        block->pPrev->pNext = block->pNext;
        block->pNext->pPrev = block->pPrev;
    }
    block->pPrev = block->pNext = nullptr;
}
} // namespace

bool BlockCache::Init()
{
    auto& memory = MemoryManager::Instance();
    pReservedBase = static_cast<char*>(PlatformReserveRange(uiReservedSize));
    pBlocks = static_cast<CacheBlock*>(memory.Allocate(sizeof(CacheBlock) * uiBlockCount));
    pHashSlots = static_cast<Slot*>(memory.Allocate(sizeof(Slot) * uiHashSlots));
    if (!pReservedBase || !pBlocks || !pHashSlots)
    {
        Shutdown();
        return false;
    }
    pCommitCursor = pReservedBase;
    pReservedEnd = pReservedBase + uiReservedSize;
    for (unsigned int i = 0; i < uiBlockCount; ++i)
        ::new (&pBlocks[i]) CacheBlock();
    for (unsigned int i = 0; i < uiHashSlots; ++i)
        ::new (&pHashSlots[i]) Slot(nullptr);
    pNextFreshBlock = pBlocks;
    pBlocksEnd = pTombstone = pBlocks + uiBlockCount;
    kInvalidSlot.store(pTombstone, kRelaxed);
    pClockHand = pProbation = nullptr;
    uiProbationCount = 0;
    return true;
}

void BlockCache::Shutdown()
{
    auto& memory = MemoryManager::Instance();
    if (pBlocks)
    {
        for (unsigned int i = 0; i < uiBlockCount; ++i)
            pBlocks[i].~CacheBlock();
        memory.Deallocate(pBlocks);
    }
    memory.Deallocate(pHashSlots);
    if (pReservedBase)
        PlatformReleaseRange(pReservedBase, uiReservedSize);
    pBlocks = pNextFreshBlock = pBlocksEnd = pTombstone = pClockHand = pProbation = nullptr;
    pHashSlots = nullptr;
    pReservedBase = pCommitCursor = pReservedEnd = nullptr;
    uiProbationCount = 0;
}

BlockCache::Slot* BlockCache::FindSlot(unsigned int fileID, uint64_t blockIndex)
{
    if (fileID == uiInvalidFile)
        return &kInvalidSlot;
    Slot* tombstone = nullptr;
    unsigned int i = static_cast<unsigned int>(blockIndex) & (uiHashSlots - 1);
    for (unsigned int step = 0; step < uiHashSlots; ++step, i = NextProbe(i))
    {
        CacheBlock* block = pHashSlots[i].load(std::memory_order_acquire);
        if (!block)
            return tombstone ? tombstone : &pHashSlots[i];
        if (block == pTombstone)
        {
            if (!tombstone)
                tombstone = &pHashSlots[i];
            continue;
        }
        if (block->uiFileID.load(kRelaxed) == fileID &&
            block->uiBlockIndex.load(kRelaxed) == blockIndex)
            return &pHashSlots[i];
    }
    return tombstone ? tombstone : &kInvalidSlot;
}

CacheBlock* BlockCache::Miss(CallerRecord& caller)
{
    caller.Add(caller.uiFastMisses);
    return nullptr;
}

CacheBlock* BlockCache::FastLookup(unsigned int fileID, uint64_t offset, uint64_t version,
                                   CallerRecord& caller)
{
    uint64_t index = offset >> uiBlockShift;
    CacheBlock* block = FindSlot(fileID, index)->load(std::memory_order_acquire);
    if (!IsBlock(block) || !block->TryReference())
        return Miss(caller);
    // The reference pins the block: now check that it is still the one we looked for.
    if (block->uiFileID.load(kRelaxed) != fileID || block->uiBlockIndex.load(kRelaxed) != index ||
        block->uiLoading.load(std::memory_order_acquire) != 0 ||
        block->uiBytesValid.load(kRelaxed) == 0 || block->uiVersion != version)
    {
        block->DropReference();
        return Miss(caller);
    }
    // A plain store, not an atomic add: the count is only a hint for eviction, and a touch
    // lost to a racing reader or scan costs the block no more than its second chance.
    block->uiTouchCount.store(block->uiTouchCount.load(kRelaxed) + 1, kRelaxed);
    block->uiLastTouch.store(QTickCount(), kRelaxed);
    caller.Add(caller.uiFastHits);
    return block;
}

bool BlockCache::TryClaim(CacheBlock* block)
{
    if (!block->TryExclusive())
        return false;
    if (block->uiBytesValid.load(kRelaxed) != 0 && block->uiTouchCount.fetch_add(1, kRelaxed) != 0)
    {
        block->ReleaseExclusive();
        return false;
    }
    // A dropped block's old slot may belong to another block by now: it has none.
    if (block->ppSlot)
        block->ppSlot->store(pTombstone, std::memory_order_release);
    block->ppSlot = nullptr;
    return true;
}

CacheBlock* BlockCache::TakeFresh()
{
    if (pNextFreshBlock >= pBlocksEnd || !PlatformCommitRange(pCommitCursor, uiBlockSize))
        return nullptr;
    CacheBlock* block = pNextFreshBlock++;
    block->pData = pCommitCursor;
    pCommitCursor += uiBlockSize;
    return block; // fresh blocks are already held exclusively
}

void BlockCache::AppendToClock(CacheBlock* block)
{
    if (!pClockHand)
    {
        MakeAlone(block);
        pClockHand = block;
        return;
    }
    LinkBefore(pClockHand, block);
}

CacheBlock* BlockCache::AllocateBlock(unsigned int fileID, uint64_t blockIndex, Slot* slot)
{
    if (fileID == uiInvalidFile || slot == &kInvalidSlot)
        return nullptr;
    if (CacheBlock* fresh = TakeFresh())
        return Reuse(fresh, fileID, blockIndex, slot);
    CacheBlock* hand = pClockHand;
    // Bounded: every step retires a probation block or advances the hand.
    for (unsigned int step = 0; step < 4 * uiBlockCount; ++step)
    {
        if (uiProbationCount > uiProbationLimit)
        {
            CacheBlock* oldest = pProbation;
            Unlink(pProbation, oldest);
            --uiProbationCount;
            oldest->uiInProbation = 0;
            if (TryClaim(oldest))
                return Reuse(oldest, fileID, blockIndex, slot);
            oldest->uiTouchCount.exchange(0, kRelaxed);
            if (hand)
                LinkBefore(hand, oldest);
            else if (oldest->uiBytesValid.load(kRelaxed))
                AppendToClock(oldest);
            else
                ProbationAdd(oldest);
        }
        if (!hand)
        {
            if (!pClockHand)
                return nullptr;
            // The ring got its first members in this pass: retire probation first, then
            // scan the ring once from its hand.
            if (uiProbationCount > uiProbationLimit)
                continue;
            hand = pClockHand;
        }
        if (TryClaim(hand))
        {
            CacheBlock* claimed = hand;
            pClockHand = claimed->pNext == claimed ? nullptr : claimed->pNext;
            CacheBlock* head = claimed;
            Unlink(head, claimed);
            return Reuse(claimed, fileID, blockIndex, slot);
        }
        hand->uiTouchCount.exchange(0, kRelaxed);
        hand = hand->pNext;
        if (hand == pClockHand)
            return nullptr;
    }
    return nullptr;
}

CacheBlock* BlockCache::Reuse(CacheBlock* block, unsigned int fileID, uint64_t blockIndex,
                              Slot* slot)
{
    block->pPrev = block->pNext = nullptr;
    block->uiBlockIndex.store(blockIndex, kRelaxed);
    block->ppSlot = slot;
    block->uiFileID.store(fileID, kRelaxed);
    block->pWaiters = nullptr;
    block->uiBytesValid.store(0, kRelaxed);
    block->uiLoading.store(1, kRelaxed);
    block->uiVersion = kFiles.QVersion(fileID);
    block->uiTouchCount.store(0, kRelaxed);
    block->uiInProbation = 0;
    // Release: fields are complete before any lookup can see the slot entry.
    slot->store(block, std::memory_order_release);
    block->ReleaseExclusive();
    return block;
}

void BlockCache::ProbationAdd(CacheBlock* block)
{
    ++uiProbationCount;
    if (!pProbation)
    {
        MakeAlone(block);
        pProbation = block;
    }
    else
    {
        LinkBefore(pProbation, block);
        if (block->uiBytesValid.load(kRelaxed) == 0)
            pProbation = block; // an empty block goes first
    }
    block->uiInProbation = 1;
}

bool BlockCache::RefreshIfStale(CacheBlock* block)
{
    uint64_t version = kFiles.QVersion(block->uiFileID.load(kRelaxed));
    if (version == block->uiVersion)
        return false;
    VXSafeSleep sleep;
    while (!block->TryExclusive())
        sleep.Sleep();
    if (block->pNext)
    {
        if (block->uiInProbation)
        {
            Unlink(pProbation, block);
            --uiProbationCount;
            block->uiInProbation = 0;
        }
        else
        {
            Unlink(pClockHand, block);
        }
    }
    block->uiTouchCount.fetch_add(1, kRelaxed);
    block->uiVersion = version;
    block->uiBytesValid.store(0, kRelaxed);
    block->uiLoading.store(1, kRelaxed);
    block->ReleaseExclusive();
    return true;
}

void BlockCache::DropBlock(CacheBlock* block)
{
    if (block->ppSlot)
        block->ppSlot->store(pTombstone, std::memory_order_release);
    block->ppSlot = nullptr;
    block->uiTouchCount.store(0, kRelaxed);
    ProbationAdd(block);
    block->uiLoading.store(0, kRelaxed);
}

void BlockCache::ResetCache()
{
    for (unsigned int i = 0; i < uiHashSlots; ++i)
        pHashSlots[i].store(nullptr, kRelaxed);
    // Hold every used block exclusively before its memory goes, so that a fast reader
    // still copying keeps its bytes; fresh blocks stay held.
    for (CacheBlock* block = pBlocks; block < pNextFreshBlock; ++block)
    {
        VXSafeSleep sleep;
        while (!block->TryExclusive())
            sleep.Sleep();
        block->pPrev = block->pNext = block->pRereadNext = nullptr;
        block->ppSlot = nullptr;
        block->pData = nullptr;
        block->pWaiters = nullptr;
        block->uiFileID.store(uiInvalidFile, kRelaxed);
        block->uiBytesValid.store(0, kRelaxed);
        block->uiLoading.store(0, kRelaxed);
        block->uiTouchCount.store(0, kRelaxed);
        block->uiLastTouch.store(0, kRelaxed);
        block->uiVersion = ~0ull;
        block->uiInProbation = block->uiInFlight = 0;
    }
    pNextFreshBlock = pBlocks;
    pClockHand = pProbation = nullptr;
    uiProbationCount = 0;
    PlatformDecommitRange(pReservedBase, uiReservedSize);
    pCommitCursor = pReservedBase;
}

void BlockCache::QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages) const
{
    uint64_t now = QTickCount();
    if (!ages.SetSize(uiBlockCount))
        return;
    for (unsigned int i = 0; i < uiBlockCount; ++i)
        ages[i] = now - pBlocks[i].uiLastTouch.load(kRelaxed);
}
} // namespace VXSystemFileStreamer
