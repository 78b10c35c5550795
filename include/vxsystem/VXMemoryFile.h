// VXMemoryFile: a VXFile whose content is one heap block of a size fixed at construction,
// so that code written for stream files works on memory without change. It never
// grows: bytes written past the capacity are dropped with a console message. The object
// owns its block. One thread at a time.
#pragma once

#include "vxsystem/VXFile.h"

class VXMemoryFile : public VXFile
{
public:
    // name may be null; one of 260 characters or more leaves the name empty. The block's
    // content is not cleared. FileIsGood() is false when the block could not be had.
    VXMemoryFile(char const* name, KoFile::OpenMode mode, uint64_t size);
    ~VXMemoryFile() override;
    VXMemoryFile(VXMemoryFile const&) = delete;
    VXMemoryFile& operator=(VXMemoryFile const&) = delete;

    // Relative seek.
    bool Seek(int64_t offset) override;
    // offset is taken as unsigned and the position capped at the capacity; a relative
    // seek that goes below 0 wraps and so ends at the capacity. End counts back.
    bool Seek(int64_t offset, int whence) override;
    // There is nothing to open.
    bool Open(bool unused, bool text) override;
    // The capacity, not what was written (FileSize() is the highest position written).
    uint64_t GetSize() override;

    // How much of the block counts, at most the block's real size.
    void SetSize(uint64_t size);
    // Replaces the block with a new one of size bytes; content and positions start over.
    void Reallocate(uint64_t size);

    void* QMemory() const { return pMemory; }
    uint64_t QMemoryPos() const { return uiMemoryPos; }

protected:
    // A read past the capacity copies what exists but still advances by the whole size.
    uint64_t DoRead(void* buffer, uint64_t size) override;
    // A write past the capacity copies what fits, prints the overrun message, and still
    // advances by the whole size; the count is what was copied.
    uint64_t DoWrite(void const* buffer, uint64_t size) override;

private:
    // Bytes from the position to the capacity, 0 at or past it.
    uint64_t QRoomLeft() const
    {
        return uiMemoryPos < uiMemorySize ? uiMemorySize - uiMemoryPos : 0;
    }
    void AllocateBlock(uint64_t size);

    uint64_t uiMemorySize; // capacity: the bytes of the block that count
    void* pMemory;         // the block, owned, from MemoryManager
    uint64_t uiMemoryPos;  // the position; may stand past the capacity after an overrun
    uint64_t uiBlockSize;  // bytes really allocated; SetSize never goes beyond it
};
