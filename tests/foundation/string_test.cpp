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

    EXPECT_EQ(VXStringT<char>(s).QLength(), 70000u); // a copy measures too

    // Crossing the marker by appending.
    VXStringT<char> grown(std::string(65530, 'b').c_str());
    EXPECT_EQ(grown.QStoredLength(), 65530u);
    EXPECT_TRUE(grown.Append("0123456789"));
    EXPECT_EQ(grown.QStoredLength(), 65535u);
    EXPECT_EQ(grown.QLength(), 65540u);
    EXPECT_EQ(std::string(grown.QString()).substr(65530), "0123456789");
}

TEST(VXStringT, SetCutsOverlapsAndEmpties)
{
    VXStringT<char> s;
    EXPECT_STREQ(s.QString(), ""); // readable without storage
    EXPECT_TRUE(s.Set("meshes\\armor", 6));
    EXPECT_STREQ(s.QString(), "meshes");
    EXPECT_EQ(s.QCapacity(), 7u);
    EXPECT_TRUE(s.Set("abcdef"));
    std::string_view own(s.QString(), s.QLength());
    EXPECT_TRUE(s.Set(own.substr(2).data())); // source inside the string's own block
    EXPECT_STREQ(s.QString(), "cdef");
    EXPECT_FALSE(s.Set(nullptr)); // empty, storage kept
    EXPECT_TRUE(s.QHasStorage());
    EXPECT_EQ(s.QLength(), 0u);
    EXPECT_TRUE(s.Format("%s\\%03d", "dir", 7));
    EXPECT_TRUE(s.Append(".kof"));
    EXPECT_STREQ(s.QString(), "dir\\007.kof");

    VXWChar const wide[] = {u'p', u'\u00e9', u'x', 0}; // 16-bit units
    VXStringT<VXWChar> w(wide);
    EXPECT_EQ(w.QLength(), 3u);
    EXPECT_EQ(std::u16string(w.QString()), u"p\u00e9x");
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
