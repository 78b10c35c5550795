// The handle classes: null and empty handles, comparisons, copy and move rules, the
// conversions from case-sensitive sisters, and VXFile::WriteString of pooled strings.
#include "VXPoolSnapshot.h"

#include "VXTestSupport.h"
#include "vxsystem/VXFile.h"
#include "vxsystem/VXFixedString.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

using vxtest::CountOf;
using vxtest::EntryOf;
using vxtest::PoolSnapshot;

TEST(FixedString, NullAndEmptyHandles)
{
    VXFixedString kNull(static_cast<char const*>(nullptr));
    EXPECT_TRUE(!kNull);
    EXPECT_EQ(kNull.QString(), nullptr);
    EXPECT_EQ(kNull.QLength(), 0u);
    EXPECT_TRUE(kNull.QEmpty());

    VXFixedString kDefault;
    VXFixedString kFromEmpty("");
    EXPECT_FALSE(!kDefault);
    EXPECT_EQ(kDefault, kFromEmpty);
    EXPECT_EQ(kDefault, VXFixedString::QEmptyString());
    EXPECT_STREQ(kDefault.QString(), "");
    EXPECT_TRUE(kDefault.QEmpty());
    EXPECT_FALSE(kDefault == kNull);

    // Against a null text only a null handle is equal.
    EXPECT_TRUE(kNull == static_cast<char const*>(nullptr));
    EXPECT_FALSE(kDefault == static_cast<char const*>(nullptr));
    EXPECT_FALSE(kNull == "");
    EXPECT_TRUE(kDefault == "");

    VXFixedStringWCS kWideDefault;
    EXPECT_EQ(kWideDefault.QLength(), 0u);
    EXPECT_FALSE(!kWideDefault);
    EXPECT_EQ(kWideDefault, VXFixedStringWCS::QEmptyString());
}

TEST(FixedString, TextComparisonIgnoresCaseForEveryClass)
{
    VXFixedStringCS kMixed("Data");
    EXPECT_FALSE(kMixed == VXFixedStringCS("DATA"));
    EXPECT_TRUE(kMixed == "DATA");
    EXPECT_TRUE("data" == kMixed);
    EXPECT_TRUE(kMixed != "Dat");
    VXFixedStringW kWide(u"Wide\\Name");
    EXPECT_TRUE(kWide == u"WIDE\\name");
    EXPECT_EQ(kWide.QLength(), 9u);
}

TEST(FixedString, CopyAndSelfAssignmentCounts)
{
    VXFixedString kA("copy.count");
    VXStringPool::Entry* pEntry = EntryOf(kA);
    VXFixedString kB(kA);
    EXPECT_EQ(CountOf(pEntry), 2u);
    VXFixedString& rAlias = kA;
    kA = rAlias;
    kA = kB; // same entry: no reference work
    EXPECT_EQ(CountOf(pEntry), 2u);

    kB << nullptr;
    EXPECT_EQ(CountOf(pEntry), 1u);
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
        EXPECT_STREQ(kTarget.QString(), "move.y");
        EXPECT_TRUE(!kSource);
        EXPECT_EQ(PoolSnapshot().QCount(), uiBase + 1);
        VXFixedStringCS kMoved(std::move(kTarget));
        EXPECT_TRUE(!kTarget);
        EXPECT_STREQ(kMoved.QString(), "move.y");
    }
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}

TEST(FixedString, ConversionFromCaseSensitiveAndOrder)
{
    VXFixedStringCS kExact("Convert.Me");
    VXFixedString kFolded(kExact);
    EXPECT_STREQ(kFolded.QString(), "Convert.Me");
    EXPECT_EQ(kFolded, VXFixedString("CONVERT.ME"));
    kFolded = VXFixedStringCS(static_cast<char const*>(nullptr));
    EXPECT_TRUE(!kFolded);
    kFolded = kExact;
    EXPECT_EQ(kFolded, VXFixedString("convert.me"));

    VXFixedStringW kWide(VXFixedStringWCS(u"Wide.Convert"));
    EXPECT_TRUE(kWide == u"wide.convert");

    VXFixedString kOther("another.name");
    EXPECT_EQ(kFolded.Compare(kFolded), 0);
    EXPECT_EQ(kFolded.Compare(kOther), -kOther.Compare(kFolded));
    EXPECT_NE(kFolded.Compare(kOther), 0);
}

TEST(FixedString, WriteStringToFile)
{
    vxtest::TempDir kDir;
    std::string sPath = kDir / "names.bin";
    {
        VXFile kFile(sPath.c_str(), KoFile::MODE_WRITE, 4096, false);
        ASSERT_TRUE(kFile.FileIsGood());
        EXPECT_EQ(kFile.WriteString(VXFixedStringCS("Hello"), true), 6u);
        EXPECT_EQ(kFile.WriteString(VXFixedStringWCS(u"Hi"), false), 2u);
        EXPECT_EQ(kFile.WriteString(VXFixedStringWCS(u"W"), true), 2u);
        EXPECT_EQ(kFile.WriteString(VXFixedStringCS(static_cast<char const*>(nullptr)), true), 1u);
        EXPECT_EQ(kFile.WriteString(VXFixedStringCS(""), false), 0u);
        EXPECT_EQ(kFile.QTrueFilePos(), 6u + 4 + 4 + 1);
    }
    EXPECT_EQ(vxtest::ReadFile(sPath), std::string("Hello\0H\0i\0W\0\0\0\0", 15));
}
