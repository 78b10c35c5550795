// VXTFixedString: the shared body of the four pooled-string handles (VXFixedString.h).
// A handle is one pointer to a VXStringPool entry and owns one reference on it; null is
// a valid state, distinct from the empty text. Copies cost one atomic operation, handle
// equality one pointer compare. Distinct handles may be used on any threads; one handle
// object is unguarded, so concurrent assignments to it race.
#pragma once

#include "vxsystem/VXStringPool.h"

#include <cstdint>
#include <utility>

template <class Derived, class CharT, bool bCaseSensitive> class VXTFixedString
{
public:
    using Entry = VXStringPool::Entry;

    // A new reference on the empty text: not a null handle.
    VXTFixedString() : pEntry(Share(Derived::QEmptyString().pEntry)) {}
    // Null text gives a null handle.
    VXTFixedString(CharT const* pText) : pEntry(nullptr)
    {
        if (pText)
            VXStringPool::Intern(pEntry, pText, bCaseSensitive);
    }
    VXTFixedString(VXTFixedString const& rOther) : pEntry(Share(rOther.pEntry)) {}
    VXTFixedString(VXTFixedString&& rOther) noexcept : pEntry(rOther.pEntry)
    {
        rOther.pEntry = nullptr;
    }
    ~VXTFixedString() { VXStringPool::Release(pEntry); }

    VXTFixedString& operator=(VXTFixedString const& rOther)
    {
        if (pEntry == rOther.pEntry)
            return *this;
        Entry* pOld = pEntry;
        pEntry = Share(rOther.pEntry);
        VXStringPool::Release(pOld);
        return *this;
    }

    // Case-insensitive classes swap, so the source keeps the old entry alive until it
    // dies; case-sensitive classes release the old entry and leave the source null.
    VXTFixedString& operator=(VXTFixedString&& rOther) noexcept
    {
        if (pEntry == rOther.pEntry)
            return *this;
        if constexpr (bCaseSensitive)
        {
            VXStringPool::Release(pEntry);
            pEntry = rOther.pEntry;
            rOther.pEntry = nullptr;
        }
        else
        {
            std::swap(pEntry, rOther.pEntry);
        }
        return *this;
    }

    // Assignment from text. The old reference is dropped only after the new lookup, so
    // assigning the text already held never frees and rebuilds the entry.
    Derived& operator<<(CharT const* pText)
    {
        Entry* pOld = pEntry;
        pEntry = nullptr;
        if (pText)
            VXStringPool::Intern(pEntry, pText, bCaseSensitive);
        VXStringPool::Release(pOld);
        return static_cast<Derived&>(*this);
    }

    bool operator!() const { return pEntry == nullptr; }
    // The text; valid while any reference keeps the entry alive. Null for a null handle.
    CharT const* QString() const { return VXStringPool::QText<CharT>(pEntry); }
    operator CharT const*() const { return QString(); }
    uint32_t QLength() const { return VXStringPool::QLength(pEntry); }
    bool QEmpty() const { return QLength() == 0; }

    // The class's handle on the empty text, built at first call, released at exit.
    static Derived const& QEmptyString()
    {
        static constexpr CharT acEmpty[1] = {0};
        static Derived const empty(acEmpty);
        return empty;
    }

    friend bool operator==(Derived const& rA, Derived const& rB) { return rA.pEntry == rB.pEntry; }

    // Text comparison ignores case for every class, the case-sensitive ones included.
    friend bool operator==(Derived const& rHandle, CharT const* pText)
    {
        if (!rHandle.pEntry || !pText)
            return !rHandle.pEntry && !pText;
        return VXStringPool::CompareNoCase(rHandle.QString(), pText) == 0;
    }

protected:
    static Entry* Share(Entry* pShared)
    {
        if (pShared)
            VXStringPool::AddRef(pShared);
        return pShared;
    }

    Entry* pEntry; // the entry this handle holds one reference on, or null
};
