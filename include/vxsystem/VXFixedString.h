// The four pooled-string handles by which the system keeps names: narrow or wide
// (VXWChar, 16-bit units on every platform), looked up with or without regard to case.
// Case-insensitive handles read back the spelling that first reached the pool; case-
// sensitive ones read back their own. A case-sensitive handle converts to its case-blind
// sister, never the other way. Ownership and thread rules: see VXTFixedString.h.
#pragma once

#include "vxsystem/VXTFixedString.h"

#include <cstdint>

class VXFixedString;
class VXFixedStringW;

class VXFixedStringCS : public VXTFixedString<VXFixedStringCS, char, true>
{
public:
    using VXTFixedString::VXTFixedString;
    // Without these the text conversion would let a case-insensitive handle slip in.
    VXFixedStringCS(VXFixedString const&) = delete;
    VXFixedStringCS& operator=(VXFixedString const&) = delete;
    VXFixedStringCS& operator=(char const* pText) { return *this << pText; }
};

class VXFixedStringWCS : public VXTFixedString<VXFixedStringWCS, VXWChar, true>
{
public:
    using VXTFixedString::VXTFixedString;
    VXFixedStringWCS(VXFixedStringW const&) = delete;
    VXFixedStringWCS& operator=(VXFixedStringW const&) = delete;
    VXFixedStringWCS& operator=(VXWChar const* pText) { return *this << pText; }
};

class VXFixedString : public VXTFixedString<VXFixedString, char, false>
{
public:
    using VXTFixedString::VXTFixedString;
    VXFixedString() = default;
    // Interns the source's text without regard to case; a null source gives null.
    VXFixedString(VXFixedStringCS const& rOther) : VXTFixedString(rOther.QString()) {}
    VXFixedString& operator=(VXFixedStringCS const& rOther) { return *this << rOther.QString(); }
    VXFixedString& operator=(char const* pText) { return *this << pText; }

    // A total order by entry address: fixed within a run, unrelated to alphabetical order.
    int Compare(VXFixedString const& rOther) const
    {
        auto uiA = reinterpret_cast<uintptr_t>(pEntry);
        auto uiB = reinterpret_cast<uintptr_t>(rOther.pEntry);
        return uiA < uiB ? -1 : (uiA > uiB ? 1 : 0);
    }
};

class VXFixedStringW : public VXTFixedString<VXFixedStringW, VXWChar, false>
{
public:
    using VXTFixedString::VXTFixedString;
    VXFixedStringW() = default;
    // Interns the source's text without regard to case; a null source gives null.
    VXFixedStringW(VXFixedStringWCS const& rOther) : VXTFixedString(rOther.QString()) {}
    VXFixedStringW& operator=(VXFixedStringWCS const& rOther) { return *this << rOther.QString(); }
    VXFixedStringW& operator=(VXWChar const* pText) { return *this << pText; }
};
