// PageInfoTable: open hashing with a (5i + 1) probe over a power-of-two table, an LRU
// ring of unused records, and flush lists merge-sorted by page number. Every walk is
// bounded by the table or record count, so a damaged state cannot hang a caller.
#include "vxsystem/VXPageInfoTable.h"

#include "platform/VXPlatformTickCount.h"

#include <algorithm>
#include <bit>

namespace VXBTreeFile
{
namespace
{
// Adds the milliseconds a search took to the table's total.
class SearchTimer
{
public:
    explicit SearchTimer(uint64_t& total) : rTotal(total), uiStart(PlatformTickCountMs()) {}
    ~SearchTimer() { rTotal += PlatformTickCountMs() - uiStart; }

private:
    uint64_t& rTotal;
    uint64_t uiStart;
};

unsigned int NextSlot(unsigned int slot, unsigned int mask)
{
    return (5 * slot + 1) & mask;
}

// Cuts list after count records and gives what follows.
PageInfo* Cut(PageInfo* list, size_t count)
{
    while (list && --count)
        list = list->pPrev;
    if (!list)
        return nullptr;
    PageInfo* rest = list->pPrev;
    list->pPrev = nullptr;
    return rest;
}
} // namespace

PageInfoTable::PageInfoTable(PageInfo** table, unsigned int tableSize, PageInfo* records,
                             unsigned int count)
    : pAvail(nullptr), pLRU(nullptr), ppTable(table), pInfoA(records),
      uiTableSize(table ? std::bit_floor(tableSize) : 0), uiTableUsed(0), uiDirtyInLRU(0),
      uiHits(0), uiMisses(0), uiTotalSearchTime(0), uiInfoCount(records && uiTableSize ? count : 0)
{
    // Pushed front to back: the free list hands out the highest index first.
    for (unsigned int i = 0; i < uiInfoCount; ++i)
    {
        records[i] = PageInfo{};
        PushAvail(&records[i]);
    }
    if (uiInfoCount)
        std::fill(table, table + uiTableSize, nullptr);
}

unsigned int PageInfoTable::QRequiredTableSize(unsigned int count)
{
    uint64_t need = uint64_t{count} * 3 / 2;
    if (need <= 1)
        return 1;
    if (need > 0x80000000u)
        return 0x80000000u;
    return std::bit_ceil(static_cast<unsigned int>(need));
}

unsigned int PageInfoTable::Search(unsigned int page)
{
    SearchTimer timer(uiTotalSearchTime);
    unsigned int mask = uiTableSize - 1;
    unsigned int slot = page & mask;
    for (unsigned int n = 0; n < uiTableSize && ppTable[slot]; ++n, slot = NextSlot(slot, mask))
        if (ppTable[slot]->uiPage == page)
            return slot;
    return kNoSlot;
}

unsigned int PageInfoTable::FindFreeSlot(unsigned int page)
{
    SearchTimer timer(uiTotalSearchTime);
    unsigned int mask = uiTableSize - 1;
    unsigned int slot = page & mask;
    for (unsigned int n = 0; n < uiTableSize; ++n, slot = NextSlot(slot, mask))
        if (!ppTable[slot])
            return slot;
    return kNoSlot;
}

bool PageInfoTable::ReachesFirst(unsigned int from, unsigned int first, unsigned int second) const
{
    unsigned int mask = uiTableSize - 1;
    for (unsigned int n = 0; n < uiTableSize; ++n, from = NextSlot(from, mask))
    {
        if (from == first)
            return true;
        if (from == second)
            return false;
    }
    return false;
}

void PageInfoTable::Place(PageInfo* info, unsigned int page, unsigned int slot)
{
    info->uiFlags = PageInfo::PAGE_NEW | 1;
    info->uiPage = page;
    info->pPrev = info->pNext = nullptr;
    ppTable[slot] = info;
    ++uiTableUsed;
}

void PageInfoTable::PushAvail(PageInfo* info)
{
    info->pNext = nullptr;
    info->pPrev = pAvail;
    pAvail = info;
}

bool PageInfoTable::AcquireInfo(PageInfo*& info, uint64_t page, uint64_t& evicted, uint64_t& found,
                                uint64_t count)
{
    info = nullptr;
    evicted = 0;
    found = 0;
    if (page > UINT32_MAX)
        return false;
    unsigned int slot = Search(static_cast<unsigned int>(page));
    if (slot != kNoSlot)
    {
        PageInfo* held = ppTable[slot];
        if (held->uiFlags & PageInfo::PAGE_IN_LRU)
        {
            RemoveFromLRU(held);
            held->uiFlags |= 1;
        }
        else
            held->uiFlags += static_cast<unsigned int>(count); // may carry flag bits
        ++uiHits;
        found = 1;
        info = held;
        return true;
    }
    ++uiMisses;
    PageInfo* taken = AllocatePage(evicted);
    if (!taken)
        return false;
    // Looked for only now: the eviction may have moved records. Only a table smaller than
    // its records runs out.
    unsigned int free = FindFreeSlot(static_cast<unsigned int>(page));
    if (free == kNoSlot)
    {
        PushAvail(taken);
        return false;
    }
    Place(taken, static_cast<unsigned int>(page), free);
    info = taken;
    return true;
}

bool PageInfoTable::AcquireInfo(PageInfo*& info, uint64_t page, uint64_t& evicted)
{
    info = nullptr;
    evicted = 0;
    if (page > UINT32_MAX)
        return false;
    PageInfo* taken = AllocatePage(evicted);
    if (!taken)
        return false;
    unsigned int slot = FindFreeSlot(static_cast<unsigned int>(page));
    if (slot == kNoSlot)
    {
        PushAvail(taken);
        return false;
    }
    Place(taken, static_cast<unsigned int>(page), slot);
    info = taken;
    return true;
}

PageInfo* PageInfoTable::AllocatePage(uint64_t& evicted)
{
    evicted = 0;
    if (pAvail)
    {
        PageInfo* info = pAvail;
        pAvail = info->pPrev;
        info->pPrev = nullptr;
        return info;
    }
    PageInfo* info = PopLRU();
    if (info && (info->uiFlags & PageInfo::PAGE_DIRTY))
        evicted = info->uiPage;
    return info;
}

PageInfo* PageInfoTable::PopLRU()
{
    PageInfo* info = pLRU;
    if (!info)
        return nullptr;
    RemoveFromTable(info);
    RemoveFromLRU(info);
    return info;
}

void PageInfoTable::RemoveFromLRU(PageInfo* info)
{
    if (info->pNext == info)
        pLRU = nullptr;
    else
    {
        info->pPrev->pNext = info->pNext;
        info->pNext->pPrev = info->pPrev;
        if (pLRU == info)
            pLRU = info->pNext;
    }
    info->pPrev = info->pNext = nullptr;
    info->uiFlags &= ~PageInfo::PAGE_IN_LRU;
    if (info->uiFlags & PageInfo::PAGE_DIRTY)
        --uiDirtyInLRU;
}

// Every page follows the one probe cycle from its home slot, so this is linear probing
// in the cycle's order: instead of leaving a tombstone, records further along the run
// that may live in the hole move back into it. Searches then stop early for good, where
// tombstones would fill the table until every miss walked all of it.
void PageInfoTable::RemoveFromTable(PageInfo const* info)
{
    SearchTimer timer(uiTotalSearchTime);
    unsigned int mask = uiTableSize - 1;
    unsigned int hole = info->uiPage & mask;
    // The record itself, not just its page: a page placed twice must not confuse this.
    for (unsigned int n = 0; n < uiTableSize && ppTable[hole] != info; ++n)
    {
        if (!ppTable[hole])
            return;
        hole = NextSlot(hole, mask);
    }
    if (ppTable[hole] != info)
        return;
    --uiTableUsed;
    ppTable[hole] = nullptr;
    unsigned int slot = NextSlot(hole, mask);
    for (unsigned int n = 0; n < uiTableSize && ppTable[slot]; ++n, slot = NextSlot(slot, mask))
    {
        if (!ReachesFirst(ppTable[slot]->uiPage & mask, hole, slot))
            continue;
        ppTable[hole] = ppTable[slot];
        ppTable[slot] = nullptr;
        hole = slot;
    }
}

void PageInfoTable::ReleaseInfo(PageInfo*& info)
{
    PageInfo* held = info;
    // A record without an acquire has nothing to give back; taking 1 would hit the flags.
    if (!held || (held->uiFlags & PageInfo::PAGE_COUNT_MASK) == 0)
        return;
    held->uiFlags -= 1;
    if (held->uiFlags & PageInfo::PAGE_COUNT_MASK)
        return;
    info = nullptr;
    if (held->uiFlags & PageInfo::PAGE_DISCARD)
    {
        // Out of the table too, so that no later lookup finds a record on the free list.
        RemoveFromTable(held);
        held->uiFlags = 0;
        PushAvail(held);
        return;
    }
    if (!pLRU)
    {
        held->pPrev = held->pNext = held;
        pLRU = held;
    }
    else
    {
        held->pNext = pLRU;
        held->pPrev = pLRU->pPrev;
        pLRU->pPrev->pNext = held;
        pLRU->pPrev = held;
    }
    if (held->uiFlags & PageInfo::PAGE_DIRTY)
        ++uiDirtyInLRU;
    held->uiFlags |= PageInfo::PAGE_IN_LRU;
}

void PageInfoTable::RemoveUnusedDirtyPages(PageInfo const*& list, bool sort)
{
    PageInfo* taken = nullptr;
    PageInfo* info = pLRU;
    unsigned int left = uiDirtyInLRU;
    for (unsigned int visited = 0; left && info && visited < uiInfoCount; ++visited)
    {
        PageInfo* next = info->pNext;
        if (info->uiFlags & PageInfo::PAGE_DIRTY)
        {
            RemoveFromTable(info);
            RemoveFromLRU(info);
            info->pPrev = taken;
            info->uiFlags = 0;
            taken = info;
            --left;
        }
        info = next;
    }
    list = sort && taken ? SortByPage(taken) : taken;
}

// Bottom-up merge of runs of 1, 2, 4 ... records until one pass makes a single merge.
PageInfo* PageInfoTable::SortByPage(PageInfo* list)
{
    for (size_t run = 1;; run *= 2)
    {
        PageInfo* head = nullptr;
        PageInfo** tail = &head;
        unsigned int merges = 0;
        for (PageInfo* rest = list; rest; ++merges)
        {
            PageInfo* a = rest;
            PageInfo* b = Cut(a, run);
            rest = Cut(b, run);
            while (a || b)
            {
                PageInfo*& pick = (!b || (a && a->uiPage <= b->uiPage)) ? a : b;
                PageInfo* node = pick;
                pick = node->pPrev;
                *tail = node;
                tail = &node->pPrev;
            }
        }
        *tail = nullptr;
        list = head;
        if (merges <= 1)
            return list;
    }
}

void PageInfoTable::ReturnPageListToAvail(PageInfo const*& list)
{
    PageInfo* info = const_cast<PageInfo*>(list);
    // Only our own records, and each at most once around.
    for (unsigned int n = 0; info && n < uiInfoCount; ++n)
    {
        if (info < pInfoA || info >= pInfoA + uiInfoCount)
            return;
        PageInfo* next = info->pPrev;
        info->uiFlags = 0;
        PushAvail(info);
        info = next;
    }
}

void PageInfoTable::MarkInfoDirty(PageInfo* info)
{
    if (info)
        info->uiFlags |= PageInfo::PAGE_DIRTY;
}

void PageInfoTable::IncInfoAcquireCount(PageInfo* info)
{
    if (info)
        info->uiFlags += 1;
}
} // namespace VXBTreeFile
