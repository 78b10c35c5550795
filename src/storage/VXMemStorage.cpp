#include "vxsystem/VXMemStorage.h"

#include "vxsystem/ScrapHeap.h"

#include <cstring>

using namespace VXStorageDefs;

namespace
{
// The bounds shared by the memory and counter storages: a position below size, except
// that the end itself is reachable by a seek from the end. False leaves position alone.
bool SeekWithin(uint64_t size, uint64_t& position, int64_t offset, SeekMode mode)
{
    // The distance of a negative offset, without overflowing on INT64_MIN.
    uint64_t back = offset < 0 ? 0 - static_cast<uint64_t>(offset) : 0;
    auto ahead = static_cast<uint64_t>(offset);
    switch (mode)
    {
    case STORAGE_SEEK_BEGIN:
        if (offset < 0 || ahead >= size)
            return false;
        position = ahead;
        return true;
    case STORAGE_SEEK_CURRENT:
        if (offset < 0 && back > position)
            return false;
        if (offset > 0 && (position >= size || ahead >= size - position))
            return false;
        position = offset < 0 ? position - back : position + ahead;
        return true;
    case STORAGE_SEEK_END:
        if (offset > 0 || back >= size)
            return false;
        position = size - back;
        return true;
    }
    return true;
}
} // namespace

unsigned char* VXMemStorageHeapAllocator::Allocate(uint64_t size)
{
    return static_cast<unsigned char*>(MemoryManager::Instance().Allocate(size));
}

void VXMemStorageHeapAllocator::Destroy(unsigned char* const block)
{
    MemoryManager::Instance().Deallocate(block);
}

unsigned char* VXMemStorageScrapAllocator::Allocate(uint64_t size)
{
    return static_cast<unsigned char*>(ScrapHeap::AllocateOnThread(size, 8));
}

void VXMemStorageScrapAllocator::Destroy(unsigned char* const block)
{
    ScrapHeap::DeallocateOnThread(block);
}

VXMemStorage::VXMemStorage(uint64_t size, unsigned char* buffer)
    : uiSize(buffer ? size : 0), uiPosition(0), pBuffer(buffer)
{
}

VXMemStorage::~VXMemStorage()
{
    uiSize = 0;
    pBuffer = nullptr;
}

VXStorage::ErrorCode VXMemStorage::Seek(int64_t offset, SeekMode mode) const
{
    return SeekWithin(uiSize, uiPosition, offset, mode) ? STORAGE_OK : STORAGE_FAILED;
}

VXStorage::ErrorCode VXMemStorage::Read(uint64_t size, unsigned char* const buffer) const
{
    if (size > uiSize - uiPosition)
        return STORAGE_FAILED;
    if (size != 0)
        std::memcpy(buffer, pBuffer + uiPosition, size);
    uiPosition += size;
    return STORAGE_OK;
}

VXStorage::ErrorCode VXMemStorage::Write(uint64_t size, unsigned char const* const buffer)
{
    if (size > uiSize - uiPosition)
        return STORAGE_FAILED;
    if (size != 0)
        std::memcpy(pBuffer + uiPosition, buffer, size);
    uiPosition += size;
    return STORAGE_OK;
}

VXStorage::ErrorCode VXCounterStorage::Seek(int64_t offset, SeekMode mode) const
{
    return SeekWithin(uiSize, uiPosition, offset, mode) ? STORAGE_OK : STORAGE_FAILED;
}

VXStorage::ErrorCode VXCounterStorage::Read(uint64_t, unsigned char* const) const
{
    return STORAGE_NOT_SUPPORTED;
}

VXStorage::ErrorCode VXCounterStorage::Write(uint64_t size, unsigned char const* const)
{
    uiPosition += size;
    if (uiPosition >= uiSize)
        uiSize = uiPosition + 1;
    return STORAGE_OK;
}
