// A hash index over an archive's tables: from the pair of keys (directory, file) straight
// to the record's two indices, in about one cache miss. It gives the same answers as the
// two binary searches over the sorted tables, which stay the reference; it only makes a
// lookup cost the same at 1,000 or 1,000,000 records. Built once at open, read-only
// afterwards, so any number of threads may probe it without a lock.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXDirectoryEntry.h"

#include <cstdint>

class VXArchiveIndex : public VXHeapObject
{
public:
    VXArchiveIndex() = default;
    ~VXArchiveIndex();
    VXArchiveIndex(VXArchiveIndex const&) = delete;
    VXArchiveIndex& operator=(VXArchiveIndex const&) = delete;

    // Indexes every record; false (and an empty index) when memory is short, or there are
    // more than 65535 directories or records in one directory. The tables must outlive it.
    bool Build(VXDirectoryEntry const* directories, uint32_t directoryCount);
    // The indices of the record with both keys; false when there is none.
    bool Find(uint64_t dirKey, uint64_t fileKey, uint64_t& dirIndex, uint64_t& fileIndex) const;
    bool QBuilt() const { return pSlots != nullptr; }
    void Clear();

private:
    // Eight bytes, so that the index of a large archive stays close to the cache: a tag of
    // the pair's hash turns away nearly every foreign slot before any record is read.
    struct Slot
    {
        uint32_t uiTag;  // high half of the pair's hash; 0 marks a free slot
        uint16_t usDir;  // directory index
        uint16_t usFile; // file index inside the directory
    };
    static constexpr uint32_t MAX_INDEXED = 0xFFFF; // directories, and records per directory

    static uint64_t Mix(uint64_t dirKey, uint64_t fileKey);
    static uint32_t Tag(uint64_t hash);

    Slot* pSlots = nullptr;                         // uiMask + 1 slots, from MemoryManager
    uint64_t uiMask = 0;                            // slot count minus one, a power of two
    VXDirectoryEntry const* pDirectories = nullptr; // the tables the slots point into
};
