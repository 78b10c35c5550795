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
using vxtest::Widen;
using Texts = std::vector<std::u16string>;

namespace
{
// Bitwise CRC-16/ARC, independent of the table-driven one: narrow units as one byte, wide
// ones as two, low byte first; folded through tolower/towlower first when asked.
template <class Char> uint16_t ReferenceHash(std::basic_string<Char> const& sText, bool bFold)
{
    uint16_t usCrc = 0;
    auto Feed = [&](uint32_t uiByte)
    {
        usCrc ^= uiByte & 0xFF;
        for (int iBit = 0; iBit < 8; ++iBit)
            usCrc = (usCrc & 1) ? static_cast<uint16_t>((usCrc >> 1) ^ 0xA001) : usCrc >> 1;
    };
    for (Char cUnit : sText)
    {
        uint32_t uiUnit = sizeof(Char) == 1 ? static_cast<unsigned char>(cUnit) : cUnit;
        if (bFold)
            uiUnit = sizeof(Char) == 1 ? std::tolower(uiUnit) : std::towlower(uiUnit) & 0xFFFF;
        Feed(uiUnit);
        if (sizeof(Char) == 2)
            Feed(uiUnit >> 8);
    }
    return usCrc;
}
} // namespace

TEST(StringPoolHash, Crc16ArcValues)
{
    uint32_t uiLength = 0;
    EXPECT_EQ(VXStringPool::Hash("123456789", true, uiLength), 0xBB3D);
    EXPECT_EQ(uiLength, 9u);
    std::string const sSample = "Meshes\\\xC4rmor\\Iron Helmet.KOF \xC4";
    for (size_t uiSize = 0; uiSize <= sSample.size(); ++uiSize)
    {
        std::string const sText = sSample.substr(0, uiSize);
        std::u16string const sWide = Widen(sText.c_str()) + u"\u4E2D";
        for (bool bCaseSensitive : {true, false})
        {
            EXPECT_EQ(VXStringPool::Hash(sText.c_str(), bCaseSensitive, uiLength),
                      ReferenceHash(sText, !bCaseSensitive))
                << sText;
            EXPECT_EQ(uiLength, uiSize);
            EXPECT_EQ(VXStringPool::Hash(sWide.c_str(), bCaseSensitive, uiLength),
                      ReferenceHash(sWide, !bCaseSensitive));
            EXPECT_EQ(uiLength, sWide.size());
        }
    }
}

TEST(StringPool, CaseInsensitiveFirstSpellingWins)
{
    size_t uiBase = PoolSnapshot().QCount();
    VXFixedString* pFirst = new VXFixedString("Data");
    VXFixedString kSecond("DATA");
    EXPECT_EQ(*pFirst, kSecond);
    delete pFirst;
    EXPECT_STREQ(kSecond.QString(), "Data"); // still alive through the second handle
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
    kSecond << nullptr;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
    EXPECT_STREQ(VXFixedString("DATA").QString(), "DATA"); // all gone: a new first spelling

    VXFixedString kLong("Meshes\\\xC4rmor\\Helmet.KOF"); // folded 8 bytes at a time
    EXPECT_EQ(kLong, VXFixedString("MESHES\\\xC4RMOR\\helmet.kof"));
    EXPECT_FALSE(kLong == VXFixedString("MESHES\\\xC4RMOR\\helmet.kog"));
}

TEST(StringPool, CaseSensitiveEntriesAndAliases)
{
    // A case-sensitive intern, alone or after a case-insensitive one: the entries it adds,
    // whether it is an alias, the chains of its folded and exact buckets, and the count
    // of the canonical (case-insensitive) entry.
    struct Row
    {
        char const* pFolded;
        char const* pExact;
        size_t uiEntries;
        bool bAlias;
        Texts kFoldedChain;
        Texts kExactChain;
        uint32_t uiCanonicalRefs;
    };
    Row const rows[] = {
        {nullptr, "Data", 2, true, {u"Data"}, {u"Data"}, 1},  // canonical + alias
        {nullptr, "data", 1, false, {u"data"}, {u"data"}, 0}, // hashes equal: one entry
        {"data", "data", 1, false, {u"data"}, {u"data"}, 2},  // the canonical entry itself
        {"Data", "Data", 2, true, {u"Data"}, {u"Data"}, 2},   // alias to the canonical
        {"Data", "data", 2, false, {u"Data", u"data"}, {u"Data", u"data"}, 1}, // chained behind it
        {"Data", "DATA", 2, false, {u"Data"}, {u"DATA"}, 1},                   // in its own bucket
    };
    for (Row const& row : rows)
    {
        SCOPED_TRACE(std::string(row.pFolded ? row.pFolded : "-") + " " + row.pExact);
        size_t uiBase = PoolSnapshot().QCount();
        {
            VXFixedString kFolded(row.pFolded);
            VXFixedStringCS kExact(row.pExact);
            EXPECT_STREQ(kExact.QString(), row.pExact);
            ASSERT_EQ(IsAlias(EntryOf(kExact)), row.bAlias);
            PoolSnapshot kSnap;
            EXPECT_EQ(kSnap.QCount(), uiBase + row.uiEntries);
            EXPECT_EQ(kSnap.InBucket(HashOf(row.pExact, false)), row.kFoldedChain);
            EXPECT_EQ(kSnap.InBucket(HashOf(row.pExact, true)), row.kExactChain);
            VXStringPool::Entry* pCanonical =
                row.bAlias ? EntryOf(kExact)->pTarget : EntryOf(kFolded);
            EXPECT_EQ(pCanonical ? CountOf(pCanonical) : 0u, row.uiCanonicalRefs);
            // An alias shares the text of its canonical entry.
            EXPECT_TRUE(!row.bAlias || !row.pFolded || kExact.QString() == kFolded.QString());
            // A case-insensitive lookup finds the canonical entry, never the exact one.
            EXPECT_STREQ(VXFixedString(row.pExact).QString(),
                         row.pFolded ? row.pFolded : row.pExact);
        }
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
    }
}

TEST(StringPool, WideAndNarrowNeverShare)
{
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
    EXPECT_EQ(kSnap.InBucket(usWideHash, true), Texts{u"wq"});
    EXPECT_EQ(kSnap.InBucket(usWideHash, false), Texts{Widen(sNarrow.c_str())});
}

TEST(StringPool, StickyCountMakesEntryPermanent)
{
    char const* pName = "sticky\\permanent.name";
    std::vector<VXFixedString> kCopies;
    {
        VXFixedString kOriginal(pName);
        kCopies.assign(VXStringPool::COUNT_STICKY - 1, kOriginal);
        VXFixedString kOneMore(kOriginal);
        EXPECT_EQ(CountOf(EntryOf(kOneMore)), 16383u);
    }
    VXStringPool::Entry* pEntry = EntryOf(kCopies.front());
    kCopies.clear();
    EXPECT_EQ(CountOf(pEntry), 16383u);
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
} // namespace

TEST(StringPool, NullTextAndFailedAllocationGiveNullAndLeaveTableIntact)
{
    size_t uiBase = PoolSnapshot().QCount();
    VXStringPool::Entry* pNullText = nullptr;
    VXStringPool::Intern(pNullText, static_cast<VXWChar const*>(nullptr), true);
    EXPECT_EQ(pNullText, nullptr);
    VXFixedString kCanonical("OutOfMemory");
    VXStringPoolAllocFunc pPrevious = VXStringPoolSetAllocFunc(&LimitedAlloc);
    {
        giAllocsLeft = 0;
        VXFixedString kFresh("fresh.name");
        EXPECT_TRUE(!kFresh && kFresh.QEmpty());
        EXPECT_TRUE(!VXFixedStringW(u"fresh.wide"));
        EXPECT_TRUE(!VXFixedStringCS("OutOfMemory")); // alias allocation fails
        EXPECT_EQ(CountOf(EntryOf(kCanonical)), 1u);
        EXPECT_EQ(VXFixedString("OUTOFMEMORY"), kCanonical); // no allocation needed
        giAllocsLeft = 1;                                    // canonical entry made, alias fails
        EXPECT_TRUE(!VXFixedStringCS("HalfMade"));
    }
    VXStringPoolSetAllocFunc(pPrevious);
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
    kCanonical << nullptr;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}
