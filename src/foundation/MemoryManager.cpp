#include "vxsystem/MemoryManager.h"

#include "foundation/VXPlatformMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace
{
// Relaxed: a statistic, read only by tests after the threads that changed it joined.
std::atomic<int64_t> gLiveBlocks{0};
} // namespace

MemoryManager& MemoryManager::Instance()
{
    static MemoryManager sManager;
    return sManager;
}

void* MemoryManager::Allocate(size_t size)
{
    return Allocate(size, 0, false);
}

void MemoryManager::Deallocate(void* p)
{
    Deallocate(p, false);
}

void* MemoryManager::Allocate(size_t size, unsigned int alignment, bool)
{
    if (size == 0)
        size = 1;
    // Refused here rather than rounded into a wrapped size by the platform half.
    if ((alignment & (alignment - 1)) != 0 || size > SIZE_MAX - alignment)
        return nullptr;
    void* p = PlatformAllocate(size, alignment);
    if (p)
        gLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void MemoryManager::Deallocate(void* p, bool)
{
    if (!p)
        return;
    gLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
    PlatformFree(p);
}

int64_t MemoryManager::QLiveBlocks()
{
    return gLiveBlocks.load(std::memory_order_relaxed);
}

void* VXHeapObject::operator new(size_t size) noexcept
{
    return MemoryManager::Instance().Allocate(size);
}

void* VXHeapObject::operator new[](size_t size) noexcept
{
    return MemoryManager::Instance().Allocate(size);
}

void VXHeapObject::operator delete(void* p) noexcept
{
    MemoryManager::Instance().Deallocate(p);
}

void VXHeapObject::operator delete[](void* p) noexcept
{
    MemoryManager::Instance().Deallocate(p);
}
