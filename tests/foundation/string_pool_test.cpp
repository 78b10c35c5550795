// The intern table: hash values, the shape of the table after each kind of intern (seen
// through Iterate), width separation, the sticky count and allocation failure.
#include "VXPoolSnapshot.h"

#include "foundation/VXStringPoolAlloc.h"
#include "vxsystem/VXFixedString.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cwctype>
#include <string>
#include <vector>

using vxtest::CountOf;
using vxtest::EntryOf;
using vxtest::HashOf;
using vxtest::IsAlias;
using vxtest::PoolSnapshot;

namespace
{
// Bitwise CRC-16/ARC over a byte string, independent of the table-driven one.
uint16_t ReferenceCrc(std::string const& sBytes)
{
    uint16_t usCrc = 0;
    for (unsigned char ucByte : sBytes)
    {
        usCrc ^= ucByte;
        for (int iBit = 0; iBit < 8; ++iBit)
            usCrc = (usCrc & 1) ? static_cast<uint16_t>((usCrc >> 1) ^ 0xA001) : usCrc >> 1;
    }
    return usCrc;
}

std::string WideBytes(std::u16string const& sText, bool bFold)
{
    std::string sBytes;
    for (char16_t usUnit : sText)
    {
        uint32_t uiUnit = bFold ? std::towlower(usUnit) & 0xFFFF : usUnit;
        sBytes.push_back(static_cast<char>(uiUnit & 0xFF));
        sBytes.push_back(static_cast<char>(uiUnit >> 8));
    }
    return sBytes;
}

std::u16string Wide(char const* pText)
{
    return std::u16string(pText, pText + strlen(pText));
}
} // namespace

TEST(StringPoolHash, Crc16ArcValues)
{
    uint32_t uiLength = 0;
    EXPECT_EQ(VXStringPool::Hash("123456789", true, uiLength), 0xBB3D);
    EXPECT_EQ(uiLength, 9u);
    EXPECT_EQ(VXStringPool::Hash("", false, uiLength), 0);
    EXPECT_EQ(uiLength, 0u);

    std::string const sSample = "Meshes\\\xC4rmor\\Iron Helmet.KOF \xC4";
    for (size_t uiSize = 0; uiSize <= sSample.size(); ++uiSize)
    {
        std::string const sText = sSample.substr(0, uiSize);
        char const* pText = sText.c_str();
        std::string sFolded(pText);
        for (char& rChar : sFolded)
            rChar = static_cast<char>(std::tolower(static_cast<unsigned char>(rChar)));
        EXPECT_EQ(HashOf(pText, true), ReferenceCrc(pText)) << pText;
        EXPECT_EQ(HashOf(pText, false), ReferenceCrc(sFolded)) << pText;

        std::u16string sWide = Wide(pText) + u"\u4E2D";
        EXPECT_EQ(VXStringPool::Hash(sWide.c_str(), true, uiLength),
                  ReferenceCrc(WideBytes(sWide, false)));
        EXPECT_EQ(uiLength, sWide.size());
        EXPECT_EQ(VXStringPool::Hash(sWide.c_str(), false, uiLength),
                  ReferenceCrc(WideBytes(sWide, true)));
    }
}

TEST(StringPool, CaseInsensitiveFirstSpellingWins)
{
    size_t uiBase = PoolSnapshot().QCount();
    VXFixedString* pFirst = new VXFixedString("Data");
    VXFixedString kSecond("DATA");
    EXPECT_EQ(*pFirst, kSecond);
    EXPECT_STREQ(kSecond.QString(), "Data");
    delete pFirst;
    EXPECT_STREQ(kSecond.QString(), "Data"); // still alive through the second handle
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
    kSecond << nullptr;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
    EXPECT_STREQ(VXFixedString("DATA").QString(), "DATA");

    VXFixedString kLong("Meshes\\\xC4rmor\\Helmet.KOF"); // folded 8 bytes at a time
    EXPECT_EQ(kLong, VXFixedString("MESHES\\\xC4RMOR\\helmet.kof"));
    EXPECT_FALSE(kLong == VXFixedString("MESHES\\\xC4RMOR\\helmet.kog"));
}

TEST(StringPool, CaseSensitiveAloneMakesEntryAndAlias)
{
    size_t uiBase = PoolSnapshot().QCount();
    {
        VXFixedStringCS kMixed("Data");
        PoolSnapshot kSnap;
        EXPECT_EQ(kSnap.QCount(), uiBase + 2);
        EXPECT_EQ(kSnap.InBucket(HashOf("Data", false)), std::vector<std::u16string>{u"Data"});
        EXPECT_EQ(kSnap.InBucket(HashOf("Data", true)), std::vector<std::u16string>{u"Data"});
        ASSERT_TRUE(IsAlias(EntryOf(kMixed)));
        EXPECT_EQ(CountOf(EntryOf(kMixed)->pTarget), 1u); // only the alias holds it
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
    {
        VXFixedStringCS kLower("data");
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
        EXPECT_FALSE(IsAlias(EntryOf(kLower)));
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}

TEST(StringPool, CaseSensitiveAgainstCanonicalEntry)
{
    size_t uiBase = PoolSnapshot().QCount();
    {
        // Exact spelling, both hashes equal: the canonical entry itself.
        VXFixedString kFolded("data");
        VXFixedStringCS kExact("data");
        EXPECT_EQ(EntryOf(kExact), EntryOf(kFolded));
        EXPECT_EQ(CountOf(EntryOf(kFolded)), 2u);
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
    }
    VXFixedString kCanonical("Data");
    {
        // Exact spelling, hashes differ: an alias sharing the canonical text.
        VXFixedStringCS kExact("Data");
        EXPECT_TRUE(IsAlias(EntryOf(kExact)));
        EXPECT_EQ(kExact.QString(), kCanonical.QString());
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 2);
    }
    {
        // Other spelling, both hashes equal: a full entry right behind the canonical one.
        VXFixedStringCS kOther("data");
        EXPECT_STREQ(kOther.QString(), "data");
        std::vector<std::u16string> kChain = PoolSnapshot().InBucket(HashOf("data", false));
        EXPECT_EQ(kChain, (std::vector<std::u16string>{u"Data", u"data"}));
        EXPECT_STREQ(VXFixedString("DATA").QString(), "Data");
    }
    {
        // Other spelling, hashes differ: its own full entry in its own bucket.
        VXFixedStringCS kOther("DATA");
        EXPECT_FALSE(IsAlias(EntryOf(kOther)));
        EXPECT_STREQ(kOther.QString(), "DATA");
        EXPECT_EQ(PoolSnapshot().InBucket(HashOf("DATA", true)),
                  std::vector<std::u16string>{u"DATA"});
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 2);
        EXPECT_EQ(CountOf(EntryOf(kCanonical)), 1u); // the temporary reference is gone
    }
    kCanonical << nullptr;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}

TEST(StringPool, WideAndNarrowNeverShare)
{
    size_t uiBase = PoolSnapshot().QCount();
    VXFixedString kNarrow("abc");
    VXFixedStringW kWide(u"ABC");
    EXPECT_STREQ(kNarrow.QString(), "abc");
    EXPECT_EQ(std::u16string(kWide.QString()), u"ABC");
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 2);

    // A narrow text whose hash equals that of a wide one lands in the same bucket; the
    // lookup must skip the wide entry.
    uint32_t uiLength = 0;
    uint16_t usWideHash = VXStringPool::Hash(u"wq", false, uiLength);
    std::string sNarrow;
    for (uint32_t i = 0; i < 26u * 26 * 26 * 26 && sNarrow.empty(); ++i)
    {
        std::string sTry = {char('a' + i % 26), char('a' + i / 26 % 26), char('a' + i / 676 % 26),
                            char('a' + i / 17576)};
        if (HashOf(sTry.c_str(), false) == usWideHash)
            sNarrow = sTry;
    }
    ASSERT_FALSE(sNarrow.empty());
    VXFixedStringWCS kWideFirst(u"wq");
    VXFixedString kNarrowSecond(sNarrow.c_str());
    VXFixedStringCS kNarrowExact(sNarrow.c_str());
    EXPECT_STREQ(kNarrowSecond.QString(), sNarrow.c_str());
    EXPECT_EQ(EntryOf(kNarrowExact), EntryOf(kNarrowSecond));
    PoolSnapshot kSnap;
    EXPECT_EQ(kSnap.InBucket(usWideHash, true), std::vector<std::u16string>{u"wq"});
    EXPECT_EQ(kSnap.InBucket(usWideHash, false),
              std::vector<std::u16string>{Wide(sNarrow.c_str())});
}

TEST(StringPool, StickyCountMakesEntryPermanent)
{
    char const* pName = "sticky\\permanent.name";
    std::vector<VXFixedString> kCopies;
    {
        VXFixedString kOriginal(pName);
        kCopies.assign(VXStringPool::COUNT_STICKY - 1, kOriginal);
        EXPECT_EQ(CountOf(EntryOf(kOriginal)), VXStringPool::COUNT_STICKY);
        VXFixedString kOneMore(kOriginal);
        EXPECT_EQ(CountOf(EntryOf(kOneMore)), VXStringPool::COUNT_STICKY);
    }
    VXStringPool::Entry* pEntry = EntryOf(kCopies.front());
    kCopies.clear();
    EXPECT_EQ(CountOf(pEntry), VXStringPool::COUNT_STICKY);
    VXFixedString kAgain("STICKY\\PERMANENT.NAME");
    EXPECT_EQ(EntryOf(kAgain), pEntry);
    EXPECT_STREQ(kAgain.QString(), pName);
}

namespace
{
int giAllocsLeft = 0;
void* LimitedAlloc(size_t uiBytes)
{
    return giAllocsLeft-- > 0 ? malloc(uiBytes) : nullptr;
}

class ScopedAllocLimit
{
public:
    explicit ScopedAllocLimit(int iAllowed)
    {
        giAllocsLeft = iAllowed;
        pPrevious = VXStringPoolSetAllocFunc(&LimitedAlloc);
    }
    ~ScopedAllocLimit() { VXStringPoolSetAllocFunc(pPrevious); }

private:
    VXStringPoolAllocFunc pPrevious;
};
} // namespace

TEST(StringPool, NullTextAndFailedAllocationGiveNullAndLeaveTableIntact)
{
    size_t uiBase = PoolSnapshot().QCount();
    VXStringPool::Entry* pNullText = nullptr;
    VXStringPool::Intern(pNullText, static_cast<VXWChar const*>(nullptr), true);
    EXPECT_EQ(pNullText, nullptr);
    VXFixedString kCanonical("OutOfMemory");
    {
        ScopedAllocLimit kLimit(0);
        VXFixedString kFresh("fresh.name");
        EXPECT_TRUE(!kFresh);
        EXPECT_TRUE(kFresh.QEmpty());
        VXFixedStringW kWide(u"fresh.wide");
        EXPECT_TRUE(!kWide);
        VXFixedStringCS kAlias("OutOfMemory"); // alias allocation fails
        EXPECT_TRUE(!kAlias);
        EXPECT_EQ(CountOf(EntryOf(kCanonical)), 1u);
        VXFixedString kExisting("OUTOFMEMORY"); // no allocation needed
        EXPECT_EQ(kExisting, kCanonical);
    }
    {
        ScopedAllocLimit kLimit(1); // canonical entry made, alias fails
        VXFixedStringCS kHalf("HalfMade");
        EXPECT_TRUE(!kHalf);
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
    kCanonical << nullptr;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}
