// How member bytes reach the disk. Members never change under a reader, so a read at a
// known offset needs no shared position: scattered reads go straight into the caller's
// memory with one positioned read and no lock. Only runs in disk order share state, a
// block read ahead. The lock guards just which block is current: readers copy out of a
// block they hold a count on, and the next block is read by one thread while the others
// go on copying from the old one, or read past it on their own. The blocks of all archives
// together stay under one budget, and a block is given back as soon as its run ends.
#include "vxsystem/Archive.h"

#include "platform/VXPlatformRuntime.h"

#include <atomic>
#include <cstring>
#include <new>

namespace
{
// Large enough that a run of small members costs one system call per dozens of them.
constexpr uint64_t kReadAheadBytes = 256 * 1024;
// A host may mount hundreds of archives; only this many blocks exist at once.
constexpr uint64_t kReadAheadBudget = 16 * kReadAheadBytes;

// Bytes of read-ahead blocks held by all archives. Relaxed: it only bounds memory.
std::atomic<uint64_t> gReadAheadHeld{0};

bool ReserveBlock()
{
    uint64_t held = gReadAheadHeld.load(std::memory_order_relaxed);
    do
    {
        if (held + kReadAheadBytes > kReadAheadBudget)
            return false;
    } while (!gReadAheadHeld.compare_exchange_weak(held, held + kReadAheadBytes,
                                                   std::memory_order_relaxed));
    return true;
}
} // namespace

// One block of read-ahead bytes. The archive holds a count on its current block, and
// each reader copying out of it one more; the last count gone frees it.
struct Archive::ReadAheadBlock
{
    std::atomic<uint32_t> uiCounts{1};
    uint64_t uiStart = 0; // file position of its first byte
    uint64_t uiEnd = 0;   // file position behind its last valid byte
    char acBytes[kReadAheadBytes];

    bool QHolds(uint64_t position) const { return position >= uiStart && position < uiEnd; }
    bool QShort() const { return uiEnd - uiStart < kReadAheadBytes; }
};

uint64_t Archive::QReadAheadBytes()
{
    return gReadAheadHeld.load(std::memory_order_relaxed);
}

// What a read does once it has given the lock back.
struct Archive::ReadPlan
{
    // Blocks that hold the read's first bytes, a count held on each, and the bytes each gives.
    ReadAheadBlock* apBlocks[2] = {nullptr, nullptr};
    uint64_t auiBytes[2] = {0, 0};
    bool bFill = false;      // this read fetches the block for the rest itself
    uint64_t uiPrefetch = 0; // where this read fetches the next block; 0: it does not
};

uint64_t Archive::ReadMember(uint64_t position, char* out, uint64_t size)
{
    // Relaxed hints: a stale answer only sends a read to the disk that a block could have
    // served, and members never change, so the bytes are the same either way.
    if (!bReadAheadHeld.load(std::memory_order_relaxed) &&
        position != uiNextReadPos.load(std::memory_order_relaxed))
    {
        uiNextReadPos.store(position + size, std::memory_order_relaxed);
        return ReadFromDisk(position, out, size);
    }
    ReadPlan plan;
    PlanRead(position, size, plan);
    uint64_t done = 0;
    for (int i = 0; i < 2 && plan.apBlocks[i]; ++i)
    {
        ReadAheadBlock* block = plan.apBlocks[i];
        std::memcpy(out + done, block->acBytes + (position + done - block->uiStart),
                    plan.auiBytes[i]);
        done += plan.auiBytes[i];
        DropReadAhead(block);
    }
    if (plan.uiPrefetch)
        FillReadAhead(plan.uiPrefetch, true);
    if (done == size)
        return done;
    position += done;
    out += done;
    size -= done;
    ReadAheadBlock* block = plan.bFill ? FillReadAhead(position, false) : nullptr;
    if (!block)
        return done + ReadFromDisk(position, out, size);
    uint64_t count = size < block->uiEnd - position ? size : block->uiEnd - position;
    std::memcpy(out, block->acBytes, count);
    DropReadAhead(block);
    return done + count +
           (count < size ? ReadFromDisk(position + count, out + count, size - count) : 0);
}

void Archive::PlanRead(uint64_t position, uint64_t size, ReadPlan& plan)
{
    VXScopedCriticalSection lock(kCriticalSection, acFileName);
    bool continues = position == uiNextReadPos.load(std::memory_order_relaxed);
    uiNextReadPos.store(position + size, std::memory_order_relaxed);
    if (pReadAheadNext && pReadAheadNext->QHolds(position))
    {
        ReadAheadBlock* next = pReadAheadNext;
        pReadAheadNext = nullptr;
        SetReadAhead(next); // the run has reached the block fetched ahead
    }
    uint64_t at = position;
    int pieces = 0;
    for (ReadAheadBlock* block : {pReadAhead, pReadAheadNext})
    {
        if (at == position + size || !block || !block->QHolds(at))
            break;
        block->uiCounts.fetch_add(1, std::memory_order_relaxed); // under the lock
        uint64_t bytes = position + size - at;
        plan.apBlocks[pieces] = block;
        plan.auiBytes[pieces++] = bytes < block->uiEnd - at ? bytes : block->uiEnd - at;
        at += plan.auiBytes[pieces - 1];
    }
    ReadAheadBlock* current = pReadAhead;
    if (!pieces && !continues)
        SetReadAhead(nullptr); // the run is over
    else if (current && current->QShort() && at >= current->uiEnd)
        SetReadAhead(nullptr); // it ends at the file's end: nothing more to come
    // Past half of the block: fetch the next one now, while readers still copy here.
    else if (current && !pReadAheadNext && !bFillingReadAhead && !current->QShort() &&
             at - current->uiStart >= kReadAheadBytes / 2)
        plan.uiPrefetch = current->uiEnd;
    uint64_t rest = position + size - at;
    plan.bFill = rest && (continues || pieces) && rest < kReadAheadBytes / 2 &&
                 !bFillingReadAhead && !plan.uiPrefetch;
    bFillingReadAhead = bFillingReadAhead || plan.bFill || plan.uiPrefetch;
}

uint64_t Archive::ReadFromDisk(uint64_t position, char* out, uint64_t size)
{
    int64_t got = pFile ? PlatformReadStreamAt(pFile, position, out, size) : -1;
    return got > 0 ? static_cast<uint64_t>(got) : 0;
}

Archive::ReadAheadBlock* Archive::FillReadAhead(uint64_t position, bool next)
{
    ReadAheadBlock* block = nullptr;
    if (pFile && ReserveBlock())
    {
        void* memory = MemoryManager::Instance().Allocate(sizeof(ReadAheadBlock));
        if (memory)
            block = new (memory) ReadAheadBlock;
        else
            gReadAheadHeld.fetch_sub(kReadAheadBytes, std::memory_order_relaxed);
    }
    if (block)
    {
        int64_t got = PlatformReadStreamAt(pFile, position, block->acBytes, kReadAheadBytes);
        block->uiStart = position;
        block->uiEnd = position + (got > 0 ? static_cast<uint64_t>(got) : 0);
    }
    VXScopedCriticalSection lock(kCriticalSection, acFileName);
    bFillingReadAhead = false;
    // A block fetched ahead is kept only while its run goes on.
    bool wanted = next ? pReadAhead && pReadAhead->uiEnd == position : true;
    if (block && (block->uiEnd == position || !wanted))
    {
        DropReadAhead(block);
        block = nullptr;
    }
    if (!block)
        return nullptr;
    if (next)
    {
        pReadAheadNext = block;
        bReadAheadHeld.store(true, std::memory_order_relaxed);
        return nullptr;
    }
    // One count for the archive, one for this reader, which copies out of it next.
    block->uiCounts.store(2, std::memory_order_relaxed);
    SetReadAhead(block);
    return block;
}

void Archive::SetReadAhead(ReadAheadBlock* block)
{
    ReadAheadBlock* old = pReadAhead;
    pReadAhead = block;
    if (!block && pReadAheadNext)
    {
        DropReadAhead(pReadAheadNext); // the run is over: what was fetched ahead goes too
        pReadAheadNext = nullptr;
    }
    bReadAheadHeld.store(block != nullptr || pReadAheadNext != nullptr, std::memory_order_relaxed);
    if (old)
        DropReadAhead(old);
}

void Archive::DropReadAhead(ReadAheadBlock* block)
{
    // Acq_rel: every copy out of the block is done before the last count frees it.
    if (block->uiCounts.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    block->~ReadAheadBlock();
    MemoryManager::Instance().Deallocate(block);
    gReadAheadHeld.fetch_sub(kReadAheadBytes, std::memory_order_relaxed);
}

void Archive::ReleaseReadAhead()
{
    VXScopedCriticalSection lock(kCriticalSection, acFileName);
    SetReadAhead(nullptr);
}
