// VXBTreeFile::PageInfoTable: the bookkeeping of a host's page cache in front of a
// PageFile. It maps page numbers to cache slots (open hashing), keeps
// unused slots on an LRU ring, counts acquires and dirty pages, and names the dirty page
// that an eviction takes out. Page bytes and disk traffic stay with the host.
//
// Contract:
// - The host owns the hash table (QRequiredTableSize slots, a power of two) and the
//   PageInfo records, and keeps them alive as long as the table; nothing is allocated.
// - Page 0 is the page file's header page, so 0 means "no page" for evictions.
// - A null result of AcquireInfo means every record is acquired: release one first.
// - No lock: one thread at a time, and across the write of an evicted page.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdint>

namespace VXBTreeFile
{
// One cache slot. Off the ring, pPrev links the available list and flush lists.
struct PageInfo
{
    static constexpr unsigned int PAGE_COUNT_MASK = 0x0FFFFFFF; // acquire count
    static constexpr unsigned int PAGE_DISCARD = 0x10000000;    // to the available list at 0
    static constexpr unsigned int PAGE_NEW = 0x20000000;        // given by a miss; the host's
    static constexpr unsigned int PAGE_IN_LRU = 0x40000000;     // on the LRU ring
    static constexpr unsigned int PAGE_DIRTY = 0x80000000;      // differs from the file

    PageInfo* pPrev;
    PageInfo* pNext;
    unsigned int uiFlags;
    unsigned int uiPage;
};

class PageInfoTable : public VXHeapObject
{
public:
    // table: tableSize slots (a power of two; another size is rounded down to one).
    PageInfoTable(PageInfo** table, unsigned int tableSize, PageInfo* records, unsigned int count);
    ~PageInfoTable() = default;
    PageInfoTable& operator=(PageInfoTable const& other) = default;

    // Hash slots for count records: the power of two at or above count * 3 / 2, at least 1.
    static unsigned int QRequiredTableSize(unsigned int count);

    // Looks page up. Found (found = 1): the record with one more acquire (count is added to
    // the flag word; a record taken off the ring gets a count of 1). Missing (found = 0): a
    // free or evicted record, flags PAGE_NEW | 1, for the host to fill. evicted is the
    // dirty page that lost its record, which the host must write, or 0.
    bool AcquireInfo(PageInfo*& info, uint64_t page, uint64_t& evicted, uint64_t& found,
                     uint64_t count);
    // As above for a page known not to be cached: no lookup, no hit or miss counted.
    bool AcquireInfo(PageInfo*& info, uint64_t page, uint64_t& evicted);
    // Drops one acquire; at 0 the record goes on the ring (or, with PAGE_DISCARD, out of
    // the table to the available list) and info becomes null.
    void ReleaseInfo(PageInfo*& info);
    // Takes every unused dirty record off the ring and out of the table, as a chain
    // through pPrev (flags 0, uiPage kept); sorted by page when sort is set. Null if none.
    void RemoveUnusedDirtyPages(PageInfo const*& list, bool sort);
    // Gives a written flush list back; the list must not be used afterwards.
    void ReturnPageListToAvail(PageInfo const*& list);

    static void MarkInfoDirty(PageInfo* info);
    static void IncInfoAcquireCount(PageInfo* info);

    PageInfo* QInfoA() const { return pInfoA; }
    uint64_t QTotalSearchTime() const { return uiTotalSearchTime; }
    unsigned int QHits() const { return uiHits; }
    unsigned int QMisses() const { return uiMisses; }
    unsigned int QTableUsed() const { return uiTableUsed; }
    unsigned int QDirtyInLRU() const { return uiDirtyInLRU; }

private:
    static constexpr unsigned int kNoSlot = 0xFFFFFFFF;

    PageInfo* AllocatePage(uint64_t& evicted);
    PageInfo* PopLRU();
    void RemoveFromLRU(PageInfo* info);
    void RemoveFromTable(PageInfo const* info);

    // The slot holding page, or kNoSlot.
    unsigned int Search(unsigned int page);
    // The first empty slot on page's probe path, or kNoSlot.
    unsigned int FindFreeSlot(unsigned int page);
    // Whether the probe path from slot from meets first before second.
    bool ReachesFirst(unsigned int from, unsigned int first, unsigned int second) const;
    void Place(PageInfo* info, unsigned int page, unsigned int slot);
    void PushAvail(PageInfo* info);
    static PageInfo* SortByPage(PageInfo* list);

    PageInfo* pAvail; // records that hold no page
    PageInfo* pLRU;   // oldest unused record; its pPrev is the newest
    PageInfo** ppTable;
    PageInfo* pInfoA;
    unsigned int uiTableSize;
    unsigned int uiTableUsed;
    unsigned int uiDirtyInLRU;
    unsigned int uiHits;
    unsigned int uiMisses;
    uint64_t uiTotalSearchTime; // milliseconds
    unsigned int uiInfoCount;   // bounds every list walk
};
} // namespace VXBTreeFile
