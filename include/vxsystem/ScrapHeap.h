// Fast allocator for short-lived blocks, one per thread (MemoryManager::GetThreadScrapHeap).
// Small blocks are cut in turn from 128 KiB chunks; a chunk is reused once all its blocks
// are back, and freeing the last block cut rolls the cut back at once, so scoped use costs
// no heap call. Large blocks go straight to MemoryManager. Blocks may be freed in any
// order, but only on the owning thread, and must all be back before that thread ends.
#pragma once

#include "vxsystem/MemoryManager.h"

struct VXScrapChunk;

class ScrapHeap
{
public:
    ScrapHeap();
    ~ScrapHeap();
    ScrapHeap(ScrapHeap const&) = delete;
    ScrapHeap& operator=(ScrapHeap const&) = delete;

    // A block of size bytes aligned to alignment (0: 8; others rounded up to a power of
    // two). Null when the heap had no room.
    void* Allocate(size_t size, unsigned int alignment);
    // Gives back a block of this heap; null is ignored.
    void Deallocate(void* p);
    // The same on the calling thread's heap; null when that heap could not be made.
    static void* AllocateOnThread(size_t size, unsigned int alignment);
    static void DeallocateOnThread(void* p);

    // Blocks handed out and not yet given back; chunks held. For tests and statistics.
    size_t QLiveBlocks() const { return uiLiveBlocks; }
    unsigned int QChunkCount() const { return uiChunkCount; }

private:
    void* AllocateLarge(size_t size, size_t alignment);
    void* Carve(VXScrapChunk* chunk, size_t size, size_t alignment);
    VXScrapChunk* NewChunk();
    void Retire(VXScrapChunk* chunk);
    void Link(VXScrapChunk* chunk);
    void Unlink(VXScrapChunk* chunk);

    VXScrapChunk* pCurrent; // chunk that new blocks are cut from
    VXScrapChunk* pChunks;  // every chunk with live blocks, and pCurrent
    VXScrapChunk* pSpare;   // one empty chunk kept back from the heap
    size_t uiLiveBlocks;
    unsigned int uiChunkCount;
};

// Allocator of an object arena on the scrap heap of the thread that built it, for
// short-lived lists kept in pages. Belongs to that thread.
class VXTObjectArenaScrapAllocBase
{
public:
    VXTObjectArenaScrapAllocBase();
    ~VXTObjectArenaScrapAllocBase();

    // A block of size bytes, aligned to 16. Null when the heap had no room.
    void* Allocate(unsigned int size) const;
    void Deallocate(void* p) const;

protected:
    void* AllocateAligned(unsigned int size, unsigned int alignment) const;

private:
    ScrapHeap* pHeap;
};

template <class T> class VXTObjectArenaScrapAlloc : public VXTObjectArenaScrapAllocBase
{
public:
    VXTObjectArenaScrapAlloc() = default;
    ~VXTObjectArenaScrapAlloc() = default;

    // A block of size bytes aligned for T. Null when the heap had no room.
    void* Allocate(unsigned int size) const { return AllocateAligned(size, alignof(T)); }
    void Deallocate(void* p) const { VXTObjectArenaScrapAllocBase::Deallocate(p); }
};
