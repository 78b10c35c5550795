// VXBTreeFile::PageFile: a grow-only file of equal pages beneath a host's B-tree. Pages
// are numbered from 1 and always move whole; their content belongs to the host.
// Page 0 is the header page (magic, next free offset, page size and shift, little-endian).
//
// Contract:
// - The page size is a power of two of at least 16 bytes; an existing file's header wins
//   over the constructor's page size. Offsets are 32-bit: a page file ends below 4 GiB.
// - Valid or not from the constructor on (QValid). An invalid object holds no file and
//   every Read and Write fails; a file whose header is bad is left untouched.
// - The header reaches the disk on destruction (and at creation). Pages allocated but
//   never written are kept: the file is extended to the next free offset on close.
// - Copying transfers the file as VXSystemFile does; the source is left invalid.
// - Threads: Read may run on several threads at once. Write and Allocate share the file
//   pointer and the next free offset: the host serialises them. Acquire/Release are atomic.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXSystemFile.h"

#include <atomic>
#include <cstdint>

namespace VXBTreeFile
{
class PageFile : public VXSystemFile, public VXHeapObject
{
public:
    static constexpr unsigned int PAGE_FILE_MAGIC = 0x9A6EF17E;

    // Opens or creates name. A new file gets a fresh header; a kept file must have one.
    PageFile(char const* name, unsigned int pageSize, unsigned int uiInitialSize,
             VXSystemFile::AccessMode access, VXSystemFile::OpenMode open);
    PageFile(PageFile& other);
    // Writes the own header back first, then takes the source's file and numbers.
    PageFile& operator=(PageFile& other);
    ~PageFile();

    // One whole page (QPageSize bytes). Page 0 and pages past the known end fail with
    // EC_FAILED; bytes past the real end of the file read as zeros.
    VXSystemFile::ErrorCode Read(void* target, uint64_t page);
    // Only allocated pages (below the next free offset) can be written.
    VXSystemFile::ErrorCode Write(void const* source, uint64_t page);
    // Reserves one page, or count adjacent ones, and gives the (first) number; 0 once the
    // file would pass 4 GiB. Touches no disk: a page takes room when it is written.
    uint64_t Allocate();
    uint64_t Allocate(unsigned int count);

    // A use count for the host; the class never reads it.
    void Acquire() { uiAcquireCount.fetch_add(1, std::memory_order_relaxed); }
    void Release() { uiAcquireCount.fetch_sub(1, std::memory_order_relaxed); }
    unsigned int QAcquireCount() const { return uiAcquireCount.load(std::memory_order_relaxed); }

    unsigned int QPageSize() const { return uiPageSize; }
    unsigned int QReads() const { return uiReads.load(std::memory_order_relaxed); }
    unsigned int QWrites() const { return uiWrites; }
    unsigned int QSeeks() const { return uiSeeks; }
    bool QValid() const { return bValid; }

private:
    static constexpr unsigned int uiHeaderBytes = 16;

    bool ReadHeader();
    bool WriteHeader();
    void FinishFile();
    void CopyNumbers(PageFile const& other);
    // Page number to byte offset; 0 when the page cannot lie in a 32-bit file.
    uint64_t PageOffset(uint64_t page) const;

    std::atomic<unsigned int> uiAcquireCount;
    unsigned int uiFileSize;       // the file's length as far as this object knows
    unsigned int uiNextPageOffset; // where the next reserved page starts
    unsigned int uiPageSize;
    unsigned int uiPageShift; // log2 of uiPageSize
    unsigned int uiSeeks;
    // Relaxed atomic: concurrent reads only count, nothing is ordered by it.
    std::atomic<unsigned int> uiReads;
    unsigned int uiWrites;
    bool bValid;
};
} // namespace VXBTreeFile
