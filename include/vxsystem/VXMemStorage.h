// Storages that live in memory: VXMemStorage reads and writes a block the caller owns and
// never grows it; VXCounterStorage keeps no bytes and only measures what would be
// written, so a caller can size a block before filling it. The two allocators are block
// providers for VXMemStorage's callers: a block goes back through the provider it came
// from (the scrap one on the thread that took it). One thread at a time per storage.
#pragma once

#include "vxsystem/VXStorage.h"

class VXMemStorageHeapAllocator
{
public:
    // Null when the heap had no room.
    static unsigned char* Allocate(uint64_t size);
    static void Destroy(unsigned char* const block);
};

class VXMemStorageScrapAllocator
{
public:
    // From the calling thread's scrap heap, aligned to 8; null when it had no room.
    static unsigned char* Allocate(uint64_t size);
    static void Destroy(unsigned char* const block);
};

class VXMemStorage : public VXStorage
{
public:
    // The block stays the caller's. A null buffer makes an empty storage.
    VXMemStorage(uint64_t size, unsigned char* buffer);
    ~VXMemStorage() override;

    uint64_t GetSize() const override { return uiSize; }
    uint64_t GetPosition() const override { return uiPosition; }
    // A position must stay below the size, except that STORAGE_SEEK_END with 0 reaches it.
    ErrorCode Seek(int64_t offset, SeekMode mode) const override;
    // All or nothing: a transfer past the end moves no byte and fails.
    ErrorCode Read(uint64_t size, unsigned char* const buffer) const override;
    ErrorCode Write(uint64_t size, unsigned char const* const buffer) override;

    unsigned char* QBuffer() { return pBuffer; }
    unsigned char const* QBuffer() const { return pBuffer; }

private:
    uint64_t uiSize;
    mutable uint64_t uiPosition;
    unsigned char* pBuffer; // the caller's block
};

class VXCounterStorage : public VXStorage
{
public:
    VXCounterStorage() : uiSize(0), uiPosition(0) {}

    // The highest position written plus one (0 before any write): the bytes a real
    // storage would hold are GetPosition after writing from the start, not GetSize.
    uint64_t GetSize() const override { return uiSize; }
    uint64_t GetPosition() const override { return uiPosition; }
    // The same bounds as VXMemStorage.
    ErrorCode Seek(int64_t offset, SeekMode mode) const override;
    // Always STORAGE_NOT_SUPPORTED.
    ErrorCode Read(uint64_t size, unsigned char* const buffer) const override;
    // Counts, never touches buffer, never fails.
    ErrorCode Write(uint64_t size, unsigned char const* const buffer) override;

    void ResetCounts() { uiSize = uiPosition = 0; }

private:
    uint64_t uiSize;
    mutable uint64_t uiPosition;
};
