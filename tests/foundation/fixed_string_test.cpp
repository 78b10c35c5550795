// The handle classes: null and empty handles, comparisons, copy and move rules, the
// conversions from case-sensitive sisters.
#include "VXPoolSnapshot.h"

#include "vxsystem/VXFixedString.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

using vxtest::CountOf;
using vxtest::EntryOf;
using vxtest::PoolSnapshot;

// Conversions run from case-sensitive handles to case-blind ones, never back.
static_assert(std::is_convertible_v<VXFixedStringCS, VXFixedString>);
static_assert(!std::is_convertible_v<VXFixedString, VXFixedStringCS>);
static_assert(!std::is_assignable_v<VXFixedStringCS&, VXFixedString const&>);
static_assert(!std::is_convertible_v<VXFixedStringW, VXFixedStringWCS>);

TEST(FixedString, NullEmptyAndCaseBlindComparison)
{
    VXFixedString kNull(static_cast<char const*>(nullptr));
    EXPECT_TRUE(!kNull && kNull.QEmpty());
    EXPECT_EQ(kNull.QString(), nullptr);
    VXFixedString kDefault;
    EXPECT_FALSE(!kDefault);
    EXPECT_EQ(kDefault, VXFixedString(""));
    EXPECT_EQ(kDefault, VXFixedString::QEmptyString());
    EXPECT_FALSE(kDefault == kNull);
    // Against a null text only a null handle is equal.
    EXPECT_TRUE(kNull == static_cast<char const*>(nullptr));
    EXPECT_FALSE(kDefault == static_cast<char const*>(nullptr));
    EXPECT_FALSE(kNull == "");
    EXPECT_TRUE(kDefault == "");
    EXPECT_EQ(VXFixedStringWCS(), VXFixedStringWCS::QEmptyString());

    // Text comparison ignores case for every class; handle comparison does not for the
    // case-sensitive ones.
    VXFixedStringCS kMixed("Data");
    EXPECT_FALSE(kMixed == VXFixedStringCS("DATA"));
    EXPECT_TRUE(kMixed == "DATA");
    EXPECT_TRUE("data" == kMixed);
    EXPECT_TRUE(kMixed != "Dat");
    EXPECT_TRUE(VXFixedStringW(u"Wide\\Name") == u"WIDE\\name");
}

TEST(FixedString, CopyAndSelfAssignmentCounts)
{
    VXFixedString kA("copy.count");
    VXStringPool::Entry* pEntry = EntryOf(kA);
    VXFixedString kB(kA);
    VXFixedString& rAlias = kA;
    kA = rAlias;
    kA = kB; // same entry: no reference work
    EXPECT_EQ(CountOf(pEntry), 2u);
    kB << nullptr;
    kA << "COPY.COUNT"; // the text it holds: the entry is kept, not rebuilt
    EXPECT_EQ(EntryOf(kA), pEntry);
    EXPECT_EQ(CountOf(pEntry), 1u);
    EXPECT_STREQ(kA.QString(), "copy.count");
}

TEST(FixedString, MoveAssignmentRules)
{
    size_t uiBase = PoolSnapshot().QCount();
    {
        VXFixedString kTarget("move.x");
        VXFixedString kSource("move.y");
        kTarget = std::move(kSource);
        EXPECT_STREQ(kTarget.QString(), "move.y");
        EXPECT_STREQ(kSource.QString(), "move.x"); // swapped: the source keeps x alive
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 2);
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
    {
        VXFixedStringCS kTarget("move.x");
        VXFixedStringCS kSource("move.y");
        kTarget = std::move(kSource);
        EXPECT_TRUE(!kSource);
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
        VXFixedStringCS kMoved(std::move(kTarget));
        EXPECT_TRUE(!kTarget);
        EXPECT_STREQ(kMoved.QString(), "move.y");
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}

TEST(FixedString, ConversionFromCaseSensitive)
{
    VXFixedStringCS kExact("Convert.Me");
    VXFixedString kFolded(kExact);
    EXPECT_STREQ(kFolded.QString(), "Convert.Me");
    EXPECT_EQ(kFolded, VXFixedString("CONVERT.ME"));
    kFolded = VXFixedStringCS(static_cast<char const*>(nullptr));
    EXPECT_TRUE(!kFolded);
    EXPECT_TRUE(VXFixedStringW(VXFixedStringWCS(u"Wide.Convert")) == u"wide.convert");
}
