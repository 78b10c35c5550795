#include "vxsystem/VXTArray.h"

#include <cstring>

namespace
{
constexpr unsigned int kFirstCapacity = 4;
// The largest capacity; one below INVALID_INDEX so that every index stays distinct from it.
constexpr unsigned int kMaxCapacity = VXTArrayBase::INVALID_INDEX - 1;

void* AllocateBlock(unsigned int count, unsigned int elementSize)
{
    return MemoryManager::Instance().Allocate(static_cast<size_t>(count) * elementSize);
}
} // namespace

bool VXTArrayHeapAllocator::Allocate(unsigned int count, unsigned int elementSize)
{
    Deallocate();
    if (count == 0)
        return true;
    pBuffer = AllocateBlock(count, elementSize);
    if (!pBuffer)
        return false;
    uiCapacity = count;
    return true;
}

bool VXTArrayHeapAllocator::Reallocate(unsigned int newCount, unsigned int usedCount, unsigned int,
                                       unsigned int, unsigned int elementSize)
{
    if (newCount == 0)
    {
        Deallocate();
        return true;
    }
    void* block = AllocateBlock(newCount, elementSize);
    if (!block)
        return false;
    unsigned int kept = usedCount < newCount ? usedCount : newCount;
    if (pBuffer && kept)
        std::memcpy(block, pBuffer, static_cast<size_t>(kept) * elementSize);
    MemoryManager::Instance().Deallocate(pBuffer);
    pBuffer = block;
    uiCapacity = newCount;
    return true;
}

void VXTArrayHeapAllocator::Deallocate()
{
    MemoryManager::Instance().Deallocate(pBuffer);
    pBuffer = nullptr;
    uiCapacity = 0;
}

unsigned int VXTArrayBase::GrownCapacity(unsigned int capacity)
{
    if (capacity < kFirstCapacity)
        return kFirstCapacity;
    if (capacity >= kMaxCapacity / 2)
        return kMaxCapacity;
    return capacity * 2;
}

unsigned int VXTArrayBase::AddUninitialized(IAllocatorFunctor const& alloc, unsigned int capacity,
                                            unsigned int elementSize)
{
    if (uiSize >= capacity)
    {
        if (capacity >= kMaxCapacity)
            return INVALID_INDEX;
        bool grown = capacity == 0
                         ? InitialReserve(alloc, GrownCapacity(0), elementSize)
                         : SetAllocSize(alloc, capacity, GrownCapacity(capacity), elementSize);
        if (!grown)
            return INVALID_INDEX;
    }
    return uiSize++;
}

bool VXTArrayBase::InsertUninitialized(IAllocatorFunctor const& alloc, void* data,
                                       unsigned int capacity, unsigned int index,
                                       unsigned int elementSize)
{
    if (index > uiSize)
        return false;
    unsigned int oldSize = uiSize;
    if (AddUninitialized(alloc, capacity, elementSize) == INVALID_INDEX)
        return false;
    if (uiSize > capacity)
        data = alloc.QBuffer();
    MoveItems(data, index + 1, index, oldSize - index, elementSize);
    return true;
}

bool VXTArrayBase::InitialReserve(IAllocatorFunctor const& alloc, unsigned int count,
                                  unsigned int elementSize)
{
    if (count > kMaxCapacity)
        return false;
    return alloc.Allocate(count, elementSize);
}

bool VXTArrayBase::SetAllocSize(IAllocatorFunctor const& alloc, unsigned int oldCapacity,
                                unsigned int newCapacity, unsigned int elementSize)
{
    if (newCapacity < uiSize || newCapacity > kMaxCapacity)
        return false;
    if (newCapacity == oldCapacity)
        return true;
    return alloc.Reallocate(newCapacity, uiSize, 0, 0, elementSize);
}

void VXTArrayBase::MoveItems(void* data, unsigned int to, unsigned int from, unsigned int count,
                             unsigned int elementSize)
{
    if (!data || count == 0 || to == from)
        return;
    auto* base = static_cast<unsigned char*>(data);
    std::memmove(base + static_cast<size_t>(to) * elementSize,
                 base + static_cast<size_t>(from) * elementSize,
                 static_cast<size_t>(count) * elementSize);
}
