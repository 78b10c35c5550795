// Records of the streaming read service: the fixed sizes, the pooled read request with its
// two tree nodes, the order to the physical read thread, and the 64 KiB cache block.
// Who may write which field is told at each record; none of them owns memory.
#pragma once

#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXSystemFile.h"

#include <atomic>
#include <cstdint>

namespace VXSystemFileStreamer
{
inline constexpr uint64_t uiBlockSize = 0x10000;
inline constexpr unsigned int uiBlockShift = 16;
inline constexpr unsigned int uiBlockCount = 0x2000;
inline constexpr uint64_t uiReservedSize = uiBlockSize * uiBlockCount;
inline constexpr unsigned int uiHashSlots = 0x4000;
inline constexpr unsigned int uiProbationLimit = 0x800;
inline constexpr unsigned int uiMaxFiles = 0x8000;
inline constexpr unsigned int uiInvalidFile = 0xFFFFFFFF;
inline constexpr unsigned int uiRequestCount = 0x2000;
inline constexpr unsigned int uiCommandCount = 4;
inline constexpr unsigned int uiBusyWaitMS = 2;
inline constexpr unsigned int uiWakeBatch = 16;
inline constexpr unsigned int uiIdleWaitMS = 1;
// A cached read that starts where the file's last read ended and misses also brings in
// the next uiReadAheadBlocks blocks of the file, so a reader moving forward mostly hits.
inline constexpr uint64_t uiReadAheadBlocks = 32;
// Read-ahead yields to reads somebody waits for at the same priority (lower is sooner).
inline constexpr unsigned int QReadAheadPriority(unsigned int priority)
{
    return priority == ~0u ? priority : priority + 1;
}

// Intrusive red-black tree node. uiParentColour: parent address, bit 0 set when black.
struct TreeNode
{
    TreeNode* pLeft;
    TreeNode* pRight;
    TreeNode** ppTree;
    uintptr_t uiParentColour;
};

// One pooled read. Written by the submitter until it is queued, then by the control
// thread, and for a direct read by the physical read thread.
struct ReadRequest
{
    TreeNode OrderLink;
    TreeNode PositionLink;
    VXEventFlag* pEventFlag;
    uint64_t uiSize;   // bytes still wanted
    uint64_t uiOffset; // file offset of the next byte wanted
    ReadRequest* pPrevSame;
    ReadRequest* pNextSame; // also the link of a block's waiter list
    VXSystemFile const* pFile;
    unsigned int volatile* puiSignalCount;
    uint64_t* puiBytesRead;
    void* pBuffer;
    unsigned int uiFileID;
    unsigned int uiPriority; // lower is sooner
    unsigned int uiSequence;
    bool bCached;
    bool bTreeHead;

    bool QPrefetchOnly() const { return !puiSignalCount && !puiBytesRead && !pBuffer; }
    uint64_t QOrderKey() const { return (uint64_t(uiPriority) << 32) | uiSequence; }
};

struct CacheBlock;

// Order to the physical read thread: exactly one of pBlock and pRequest is set.
struct ReadCommand
{
    uint64_t uiOffset;
    VXSystemFile const* pFile;
    CacheBlock* pBlock;
    ReadRequest* pRequest;
    unsigned int uiFileID;
};

// One 64 KiB block of one file. The control thread writes the plain fields, holding the
// block exclusively where a fast reader could look; the physical read thread writes
// uiBytesValid and then uiLoading (release) of the block it reads.
struct CacheBlock
{
    static constexpr uint32_t EXCLUSIVE = 0x80000000u;

    CacheBlock* pPrev;
    CacheBlock* pNext;
    std::atomic<uint64_t> uiBlockIndex; // relaxed: hash searches read it without a reference
    std::atomic<uint64_t> uiBytesValid;
    std::atomic<CacheBlock*>* ppSlot; // null while the block is in no slot
    char* pData;
    ReadRequest* pWaiters;
    uint64_t uiVersion;
    CacheBlock* pRereadNext;
    std::atomic<uint64_t> uiLastTouch;
    std::atomic<uint32_t> uiFileID; // relaxed, as uiBlockIndex
    std::atomic<uint32_t> uiLoading;
    // 0 free, 1..0x7FFFFFFF readers, EXCLUSIVE the control thread. A fresh block is
    // held exclusively so that no stale reader can reference it.
    std::atomic<uint32_t> uiLockWord;
    std::atomic<uint32_t> uiTouchCount;
    uint32_t uiInProbation;
    uint32_t uiInFlight; // control thread: a read command for the block is out

    CacheBlock()
        : pPrev(nullptr), pNext(nullptr), uiBlockIndex(0), uiBytesValid(0), ppSlot(nullptr),
          pData(nullptr), pWaiters(nullptr), uiVersion(~0ull), pRereadNext(nullptr), uiLastTouch(0),
          uiFileID(uiInvalidFile), uiLoading(0), uiLockWord(EXCLUSIVE), uiTouchCount(0),
          uiInProbation(0), uiInFlight(0)
    {
    }

    // Gives back the exclusive bit; readers may be trying the word, so no plain store.
    void ReleaseExclusive() { uiLockWord.fetch_add(EXCLUSIVE, std::memory_order_release); }
    bool TryExclusive()
    {
        uint32_t expected = 0;
        return uiLockWord.compare_exchange_strong(expected, EXCLUSIVE, std::memory_order_acquire,
                                                  std::memory_order_relaxed);
    }
    // One try, no retry: a busy word makes the caller fall back to a queued request.
    bool TryReference()
    {
        uint32_t word = uiLockWord.load(std::memory_order_relaxed) & ~EXCLUSIVE;
        return uiLockWord.compare_exchange_strong(word, word + 1, std::memory_order_acquire,
                                                  std::memory_order_relaxed);
    }
    // Release: the copy out of pData happens before the block can be claimed again.
    void DropReference() { uiLockWord.fetch_sub(1, std::memory_order_release); }
};

// Milliseconds of the monotonic clock.
uint64_t QTickCount();
} // namespace VXSystemFileStreamer

namespace VXSystemFileStreamer
{
// The caller's signal count and byte counter are plain words in the interface; every
// access goes through these so that the threads agree on them.
inline unsigned int LoadCount(unsigned int volatile const* count)
{
    return std::atomic_ref<unsigned int>(const_cast<unsigned int&>(*count))
        .load(std::memory_order_acquire);
}
inline void BumpCount(unsigned int volatile* count)
{
    std::atomic_ref<unsigned int>(const_cast<unsigned int&>(*count))
        .fetch_add(1, std::memory_order_release); // the delivered bytes go before the count
}
inline void AddBytes(uint64_t* counter, uint64_t bytes)
{
    std::atomic_ref<uint64_t>(*counter).fetch_add(bytes, std::memory_order_relaxed);
}
} // namespace VXSystemFileStreamer
