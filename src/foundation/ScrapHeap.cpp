#include "vxsystem/ScrapHeap.h"

#include "platform/VXPlatformThreadSlot.h"

#include <cstdint>
#include <new>

namespace
{
// Every block is preceded by this record, which finds its chunk (null for a large block)
// and the span it took, for the roll-back of the last cut.
struct BlockHeader
{
    void* pChunk;
    uint32_t uiStart; // chunk offset where the cut began; large: offset from the raw block
    uint32_t uiEnd;   // chunk offset behind the block
};
static_assert(sizeof(BlockHeader) == 16, "headers keep blocks 16-byte aligned");

constexpr size_t kChunkBytes = 128 * 1024;
constexpr size_t kLargeBlock = 32 * 1024; // larger blocks bypass the chunks
constexpr size_t kMaxChunkAlignment = 4096;
constexpr size_t kMinAlignment = 8;

size_t NormalAlignment(unsigned int alignment)
{
    size_t result = kMinAlignment;
    while (result < alignment && result < (size_t(1) << 31))
        result <<= 1;
    return result;
}

uintptr_t AlignUp(uintptr_t value, size_t alignment)
{
    return (value + alignment - 1) & ~static_cast<uintptr_t>(alignment - 1);
}

BlockHeader* HeaderOf(void* p)
{
    return reinterpret_cast<BlockHeader*>(static_cast<unsigned char*>(p) - sizeof(BlockHeader));
}
} // namespace

// A chunk's bookkeeping sits at its start; blocks are cut behind it.
struct VXScrapChunk
{
    VXScrapChunk* pPrev;
    VXScrapChunk* pNext;
    size_t uiUsed; // offset of the next cut from the chunk start
    size_t uiLive; // blocks of this chunk not yet given back
};

namespace
{
constexpr size_t kChunkDataStart = (sizeof(VXScrapChunk) + 15) & ~size_t(15);
}

ScrapHeap::ScrapHeap()
    : pCurrent(nullptr), pChunks(nullptr), pSpare(nullptr), uiLiveBlocks(0), uiChunkCount(0)
{
}

ScrapHeap::~ScrapHeap()
{
    while (pChunks)
    {
        VXScrapChunk* chunk = pChunks;
        Unlink(chunk);
        MemoryManager::Instance().Deallocate(chunk);
    }
    MemoryManager::Instance().Deallocate(pSpare);
    pSpare = pCurrent = nullptr;
    uiLiveBlocks = 0;
}

void* ScrapHeap::Allocate(size_t size, unsigned int alignment)
{
    size_t align = NormalAlignment(alignment);
    if (size > kLargeBlock || align > kMaxChunkAlignment)
        return AllocateLarge(size, align);
    void* block = pCurrent ? Carve(pCurrent, size, align) : nullptr;
    if (block)
        return block;
    VXScrapChunk* chunk = NewChunk();
    if (!chunk)
        return nullptr;
    pCurrent = chunk;
    return Carve(chunk, size, align);
}

void ScrapHeap::Deallocate(void* p)
{
    if (!p)
        return;
    --uiLiveBlocks;
    BlockHeader* header = HeaderOf(p);
    if (!header->pChunk)
    {
        MemoryManager::Instance().Deallocate(static_cast<unsigned char*>(p) - header->uiStart);
        return;
    }
    auto* chunk = static_cast<VXScrapChunk*>(header->pChunk);
    if (chunk->uiUsed == header->uiEnd)
        chunk->uiUsed = header->uiStart;
    if (--chunk->uiLive != 0)
        return;
    chunk->uiUsed = kChunkDataStart;
    if (chunk != pCurrent)
        Retire(chunk);
}

void* ScrapHeap::AllocateLarge(size_t size, size_t alignment)
{
    size_t extra = sizeof(BlockHeader) + alignment;
    if (size > SIZE_MAX - extra)
        return nullptr;
    auto* raw = static_cast<unsigned char*>(MemoryManager::Instance().Allocate(size + extra));
    if (!raw)
        return nullptr;
    uintptr_t user = AlignUp(reinterpret_cast<uintptr_t>(raw) + sizeof(BlockHeader), alignment);
    auto* p = reinterpret_cast<void*>(user);
    *HeaderOf(p) =
        BlockHeader{nullptr, static_cast<uint32_t>(user - reinterpret_cast<uintptr_t>(raw)), 0};
    ++uiLiveBlocks;
    return p;
}

void* ScrapHeap::Carve(VXScrapChunk* chunk, size_t size, size_t alignment)
{
    auto base = reinterpret_cast<uintptr_t>(chunk);
    uintptr_t user = AlignUp(base + chunk->uiUsed + sizeof(BlockHeader), alignment);
    size_t end = user - base + size;
    if (end > kChunkBytes)
        return nullptr;
    auto* p = reinterpret_cast<void*>(user);
    *HeaderOf(p) =
        BlockHeader{chunk, static_cast<uint32_t>(chunk->uiUsed), static_cast<uint32_t>(end)};
    chunk->uiUsed = end;
    ++chunk->uiLive;
    ++uiLiveBlocks;
    return p;
}

VXScrapChunk* ScrapHeap::NewChunk()
{
    VXScrapChunk* chunk = pSpare;
    pSpare = nullptr;
    if (!chunk)
    {
        chunk = static_cast<VXScrapChunk*>(MemoryManager::Instance().Allocate(kChunkBytes));
        if (!chunk)
            return nullptr;
        ++uiChunkCount;
    }
    chunk->uiUsed = kChunkDataStart;
    chunk->uiLive = 0;
    Link(chunk);
    return chunk;
}

// An empty chunk that is no longer cut from: kept as the spare, or given back.
void ScrapHeap::Retire(VXScrapChunk* chunk)
{
    Unlink(chunk);
    if (!pSpare)
    {
        pSpare = chunk;
        return;
    }
    MemoryManager::Instance().Deallocate(chunk);
    --uiChunkCount;
}

void ScrapHeap::Link(VXScrapChunk* chunk)
{
    chunk->pPrev = nullptr;
    chunk->pNext = pChunks;
    if (pChunks)
        pChunks->pPrev = chunk;
    pChunks = chunk;
}

void ScrapHeap::Unlink(VXScrapChunk* chunk)
{
    if (chunk->pPrev)
        chunk->pPrev->pNext = chunk->pNext;
    else
        pChunks = chunk->pNext;
    if (chunk->pNext)
        chunk->pNext->pPrev = chunk->pPrev;
    chunk->pPrev = chunk->pNext = nullptr;
}

ScrapHeap* MemoryManager::GetThreadScrapHeap()
{
    static unsigned int const sSlot = PlatformThreadSlotCreate(
        [](void* heap)
        {
            static_cast<ScrapHeap*>(heap)->~ScrapHeap();
            MemoryManager::Instance().Deallocate(heap);
        });
    auto* heap = static_cast<ScrapHeap*>(PlatformThreadSlotGet(sSlot));
    if (heap || sSlot == VX_NO_THREAD_SLOT)
        return heap;
    void* storage = MemoryManager::Instance().Allocate(sizeof(ScrapHeap));
    if (!storage)
        return nullptr;
    heap = ::new (storage) ScrapHeap;
    if (PlatformThreadSlotSet(sSlot, heap))
        return heap;
    heap->~ScrapHeap();
    MemoryManager::Instance().Deallocate(storage);
    return nullptr;
}

void* ScrapHeap::AllocateOnThread(size_t size, unsigned int alignment)
{
    ScrapHeap* heap = MemoryManager::Instance().GetThreadScrapHeap();
    return heap ? heap->Allocate(size, alignment) : nullptr;
}

void ScrapHeap::DeallocateOnThread(void* p)
{
    if (ScrapHeap* heap = p ? MemoryManager::Instance().GetThreadScrapHeap() : nullptr)
        heap->Deallocate(p);
}

MemoryManager::AutoScrapBuffer::AutoScrapBuffer(size_t size, unsigned int alignment)
    : pData(ScrapHeap::AllocateOnThread(size, alignment))
{
}

MemoryManager::AutoScrapBuffer::~AutoScrapBuffer()
{
    ScrapHeap::DeallocateOnThread(pData);
}

VXTObjectArenaScrapAllocBase::VXTObjectArenaScrapAllocBase()
    : pHeap(MemoryManager::Instance().GetThreadScrapHeap())
{
}

VXTObjectArenaScrapAllocBase::~VXTObjectArenaScrapAllocBase() = default;

void* VXTObjectArenaScrapAllocBase::Allocate(unsigned int size) const
{
    return AllocateAligned(size, 16);
}

void* VXTObjectArenaScrapAllocBase::AllocateAligned(unsigned int size, unsigned int alignment) const
{
    return pHeap ? pHeap->Allocate(size, alignment) : nullptr;
}

void VXTObjectArenaScrapAllocBase::Deallocate(void* p) const
{
    if (pHeap)
        pHeap->Deallocate(p);
}
