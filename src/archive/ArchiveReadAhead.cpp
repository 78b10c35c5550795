// How member bytes reach the disk. Members never change under a reader, so a read at a
// known offset needs no shared position: scattered reads go straight into the caller's
// memory with one positioned read and no lock. Only runs in disk order share state, a
// block read ahead, and only they take the archive's lock. The blocks of all archives
// together stay under one budget, and a block is given back as soon as its run ends.
#include "vxsystem/Archive.h"

#include "platform/VXPlatformRuntime.h"

#include <atomic>
#include <cstring>

namespace
{
// Large enough that a run of small members costs one system call per dozens of them.
constexpr uint64_t kReadAheadBytes = 256 * 1024;
// A host may mount hundreds of archives; only this many blocks exist at once.
constexpr uint64_t kReadAheadBudget = 16 * kReadAheadBytes;

// Bytes of read-ahead blocks held by all archives. Relaxed: it only bounds memory, the
// blocks themselves are published under each archive's lock.
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

uint64_t Archive::QReadAheadBytes()
{
    return gReadAheadHeld.load(std::memory_order_relaxed);
}

uint64_t Archive::ReadMember(uint64_t position, char* out, uint64_t size)
{
    // Relaxed hints: a stale answer only sends a read to the disk that a block could have
    // served, and members never change, so the bytes are the same either way.
    if (!bReadAheadHeld.load(std::memory_order_relaxed) &&
        position != uiNextReadPos.load(std::memory_order_relaxed))
    {
        uiNextReadPos.store(position + size, std::memory_order_relaxed);
        int64_t got = pFile ? PlatformReadStreamAt(pFile, position, out, size) : -1;
        return got > 0 ? static_cast<uint64_t>(got) : 0;
    }
    uint64_t copied = 0;
    {
        VXScopedCriticalSection lock(kCriticalSection, acFileName);
        copied = CopyFromReadAhead(position, out, size);
        bool continues = copied > 0 || position == uiNextReadPos.load(std::memory_order_relaxed);
        position += copied;
        out += copied;
        size -= copied;
        uiNextReadPos.store(position + size, std::memory_order_relaxed);
        if (size == 0)
            return copied;
        if (!continues)
            ReleaseReadAhead(); // the run is over
        else if (size < kReadAheadBytes / 2 && FillReadAhead(position))
            return copied + CopyFromReadAhead(position, out, size);
    }
    int64_t got = pFile ? PlatformReadStreamAt(pFile, position, out, size) : -1;
    return copied + (got > 0 ? static_cast<uint64_t>(got) : 0);
}

uint64_t Archive::CopyFromReadAhead(uint64_t position, char* out, uint64_t size)
{
    if (!pReadAhead || position < uiReadAheadStart || position >= uiReadAheadEnd)
        return 0;
    uint64_t count = size < uiReadAheadEnd - position ? size : uiReadAheadEnd - position;
    std::memcpy(out, pReadAhead + (position - uiReadAheadStart), count);
    if (position + count == uiReadAheadEnd && uiReadAheadEnd - uiReadAheadStart < kReadAheadBytes)
        ReleaseReadAhead(); // a short block ends at the file's end: nothing more to come
    return count;
}

bool Archive::FillReadAhead(uint64_t position)
{
    if (!pFile)
        return false;
    if (!pReadAhead)
    {
        if (!ReserveBlock())
            return false; // over budget: this run reads straight from the disk
        pReadAhead = static_cast<char*>(MemoryManager::Instance().Allocate(kReadAheadBytes));
        if (!pReadAhead)
        {
            gReadAheadHeld.fetch_sub(kReadAheadBytes, std::memory_order_relaxed);
            return false;
        }
        bReadAheadHeld.store(true, std::memory_order_relaxed);
    }
    int64_t got = PlatformReadStreamAt(pFile, position, pReadAhead, kReadAheadBytes);
    uiReadAheadStart = position;
    uiReadAheadEnd = position + (got > 0 ? static_cast<uint64_t>(got) : 0);
    if (uiReadAheadEnd > position)
        return true;
    ReleaseReadAhead();
    return false;
}

void Archive::ReleaseReadAhead()
{
    if (!pReadAhead)
        return;
    MemoryManager::Instance().Deallocate(pReadAhead);
    pReadAhead = nullptr;
    bReadAheadHeld.store(false, std::memory_order_relaxed);
    uiReadAheadStart = uiReadAheadEnd = 0;
    gReadAheadHeld.fetch_sub(kReadAheadBytes, std::memory_order_relaxed);
}
