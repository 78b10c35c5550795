#include "vxsystem/VXStringT.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

TEST(VXStringT, LongTextKeepsMarkerLengthAndMeasures)
{
    std::string text(70000, 'a');
    text[69999] = 'z';
    VXStringT<char> s;
    EXPECT_TRUE(s.Set(text.c_str()));
    EXPECT_EQ(s.QStoredLength(), 65535u);
    EXPECT_EQ(s.QCapacity(), 65535u);
    EXPECT_EQ(s.QLength(), 70000u);
    EXPECT_EQ(s.QString()[69999], 'z');

    VXStringT<char> copy(s);
    EXPECT_EQ(copy.QLength(), 70000u);

    // Crossing the marker by appending.
    VXStringT<char> grown(std::string(65530, 'b').c_str());
    EXPECT_EQ(grown.QStoredLength(), 65530u);
    EXPECT_TRUE(grown.Append("0123456789"));
    EXPECT_EQ(grown.QStoredLength(), 65535u);
    EXPECT_EQ(grown.QLength(), 65540u);
    std::string all(grown.QString(), grown.QLength());
    EXPECT_EQ(all.substr(65530), "0123456789");
}

TEST(VXStringT, SetCutsOverlapsAndEmpties)
{
    VXStringT<char> s;
    EXPECT_FALSE(s.QHasStorage());
    EXPECT_STREQ(s.QString(), "");
    EXPECT_EQ(s.QLength(), 0u);

    EXPECT_TRUE(s.Set("meshes\\armor", 6));
    EXPECT_STREQ(s.QString(), "meshes");
    EXPECT_EQ(s.QLength(), 6u);
    EXPECT_EQ(s.QCapacity(), 7u);

    EXPECT_TRUE(s.Set("abcdef"));
    std::string_view own(s.QString(), s.QLength());
    EXPECT_TRUE(s.Set(own.substr(2).data())); // source inside the string's own block
    EXPECT_STREQ(s.QString(), "cdef");

    EXPECT_FALSE(s.Set(nullptr)); // empty, storage kept
    EXPECT_TRUE(s.QHasStorage());
    EXPECT_STREQ(s.QString(), "");
    EXPECT_EQ(s.QLength(), 0u);

    EXPECT_TRUE(s.Format("%s\\%03d", "dir", 7));
    EXPECT_STREQ(s.QString(), "dir\\007");
    EXPECT_TRUE(s.Append(".kof"));
    EXPECT_STREQ(s.QString(), "dir\\007.kof");
}

TEST(VXStringT, WideTextIsSixteenBit)
{
    VXWChar const text[] = {u'p', u'\u00e9', u'x', 0};
    VXStringT<VXWChar> s(text);
    EXPECT_EQ(s.QLength(), 3u);
    EXPECT_EQ(s.QString()[1], u'\u00e9');
    EXPECT_EQ(s.QString()[3], 0);
}

TEST(VXStaticStringT, CutsAt259)
{
    std::string text(300, 'p');
    VXStaticStringT<260> s;
    EXPECT_TRUE(s.Set(text.c_str()));
    EXPECT_EQ(s.QLength(), 259u);
    EXPECT_EQ(s.QString()[258], 'p');
    EXPECT_EQ(s.QString()[259], '\0');

    EXPECT_TRUE(s.Set("abc"));
    EXPECT_TRUE(s.Append(text.c_str()));
    EXPECT_EQ(s.QLength(), 259u);
    EXPECT_EQ(std::string(s.QString(), 4), "abcp");

    VXStaticStringT<260> copy(s);
    EXPECT_EQ(copy.QLength(), 259u);
    EXPECT_TRUE(copy.Set(copy.QString() + 250)); // overlapping source
    EXPECT_EQ(copy.QLength(), 9u);
}
