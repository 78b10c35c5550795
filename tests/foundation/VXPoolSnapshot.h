// Test helpers for the string pool: a copy of the table taken through Iterate, and a
// look at the entry behind a handle.
#pragma once

#include "vxsystem/VXStringPool.h"

#include <cstring>
#include <string>
#include <vector>

namespace vxtest
{
struct PoolRecord
{
    unsigned short usBucket;
    bool bWide;
    std::u16string sText; // narrow text widened unit by unit
};

class PoolSnapshot : public VXStringPool::IterationCallback
{
public:
    PoolSnapshot() { VXStringPool::Iterate(*this); }

    void Visit(unsigned short usBucket, VXWChar const* pText) override
    {
        kRecords.push_back({usBucket, true, std::u16string(pText)});
    }
    void Visit(unsigned short usBucket, char const* pText) override
    {
        std::u16string sWide;
        for (; *pText; ++pText)
            sWide.push_back(static_cast<unsigned char>(*pText));
        kRecords.push_back({usBucket, false, sWide});
    }

    size_t QCount() const { return kRecords.size(); }
    // Texts of one bucket in chain order.
    std::vector<std::u16string> InBucket(unsigned short usBucket, bool bWide = false) const
    {
        std::vector<std::u16string> kTexts;
        for (PoolRecord const& rRecord : kRecords)
            if (rRecord.usBucket == usBucket && rRecord.bWide == bWide)
                kTexts.push_back(rRecord.sText);
        return kTexts;
    }

    std::vector<PoolRecord> kRecords;
};

// The entry a handle holds: a handle is exactly one entry pointer.
template <class Handle> VXStringPool::Entry* EntryOf(Handle const& rHandle)
{
    static_assert(sizeof(Handle) == sizeof(VXStringPool::Entry*));
    VXStringPool::Entry* pEntry = nullptr;
    std::memcpy(&pEntry, static_cast<void const*>(&rHandle), sizeof(pEntry));
    return pEntry;
}

inline uint32_t CountOf(VXStringPool::Entry const* pEntry)
{
    return pEntry->uiFlags.load(std::memory_order_relaxed) & VXStringPool::COUNT_MASK;
}

inline bool IsAlias(VXStringPool::Entry const* pEntry)
{
    return (pEntry->uiFlags.load(std::memory_order_relaxed) & VXStringPool::ALIAS_BIT) != 0;
}

inline unsigned short HashOf(char const* pText, bool bCaseSensitive)
{
    uint32_t uiLength = 0;
    return VXStringPool::Hash(pText, bCaseSensitive, uiLength);
}
} // namespace vxtest
