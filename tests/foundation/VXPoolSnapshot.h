// Test helpers for the string pool: a copy of the table taken through Iterate, and a
// look at the entry behind a handle.
#pragma once

#include "vxsystem/VXStringPool.h"

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace vxtest
{
// Narrow text widened unit by unit, so that both widths compare as one type.
inline std::u16string Widen(char const* pText)
{
    std::u16string sWide;
    for (; *pText; ++pText)
        sWide.push_back(static_cast<unsigned char>(*pText));
    return sWide;
}

class PoolSnapshot : public VXStringPool::IterationCallback
{
public:
    PoolSnapshot() { VXStringPool::Iterate(*this); }
    void Visit(unsigned short usBucket, VXWChar const* pText) override
    {
        kRecords.emplace_back(usBucket, true, pText);
    }
    void Visit(unsigned short usBucket, char const* pText) override
    {
        kRecords.emplace_back(usBucket, false, Widen(pText));
    }
    size_t QCount() const { return kRecords.size(); }

    // Texts of one bucket and width in chain order.
    std::vector<std::u16string> InBucket(unsigned short usBucket, bool bWide = false) const
    {
        std::vector<std::u16string> kTexts;
        for (auto const& [usHere, bHereWide, sText] : kRecords)
            if (usHere == usBucket && bHereWide == bWide)
                kTexts.push_back(sText);
        return kTexts;
    }

private:
    std::vector<std::tuple<unsigned short, bool, std::u16string>> kRecords;
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
