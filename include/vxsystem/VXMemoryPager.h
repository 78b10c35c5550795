// VXBTreeFile::MemoryPager: pages for a tree kept wholly in RAM. A handle is
// simply the page's address, so acquiring is a cast and caching and flushing are no-ops. Derived
// code builds it. Pages come from MemoryManager, aligned to 128 bytes; the caller gives each back
// with DeallocatePage. No lock: one thread at a time.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdint>

namespace VXBTreeFile
{
class MemoryPager : public VXHeapObject
{
public:
    // The root is a fresh page; level becomes 1.
    bool AcquireRoot(void*& page, uint64_t& handle, unsigned int& level);
    // False with a null page when memory runs out; the active count grows either way.
    bool AllocatePage(void*& page, uint64_t& handle);
    void DeallocatePage(void* page);

    static bool Acquire(void*& page, uint64_t handle)
    {
        page = reinterpret_cast<void*>(static_cast<uintptr_t>(handle));
        return true;
    }
    static void Release(void*) {}
    static void ReleaseDirty(void*) {}
    static void MarkDirty(void*) {}
    static void IncAcquireCount(void*) {}
    static void FlushUnusedDirtyPages() {}

    unsigned int QActivePages() const { return uiActivePages; }
    unsigned int QPageSize() const { return uiPageSize; }

protected:
    // The first argument is unused.
    MemoryPager(unsigned int, unsigned int pageSize) : uiPageSize(pageSize), uiActivePages(0) {}
    ~MemoryPager() = default;

private:
    static constexpr unsigned int uiPageAlignment = 128;

    unsigned int uiPageSize;
    unsigned int uiActivePages; // allocated and not given back
};
} // namespace VXBTreeFile
