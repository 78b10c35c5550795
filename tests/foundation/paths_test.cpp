#include "vxsystem/FilePathUtilities.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using Path = VXStaticStringT<260>;

// One input, two outputs and the result, for the splitters.
struct SplitRow
{
    char const* pInput;
    char const* pFirst;
    char const* pSecond;
    bool bResult;
};

// Two inputs and the expected output; null: the operation gives false and an empty out.
struct PairRow
{
    char const* pA;
    char const* pB;
    char const* pExpected;
};

template <size_t N, class Split> void CheckSplit(SplitRow const (&rows)[N], Split split)
{
    for (SplitRow const& row : rows)
    {
        Path first("junk"), second("junk");
        EXPECT_EQ(split(row.pInput, first, second), row.bResult) << row.pInput;
        EXPECT_STREQ(first.QString(), row.pFirst) << row.pInput;
        EXPECT_STREQ(second.QString(), row.pSecond) << row.pInput;
    }
}

TEST(FilePathUtilities, Join)
{
    PairRow const rows[] = {
        {"a\\b", "c", "a\\b\\c"},
        {"a\\b\\", "c", "a\\b\\c"},
        {"a/b/", "c", "a/b/c"},
        {"x", "y", "xy"},
        {"", "c", "c"},
        {nullptr, "c", "c"},
        {"ab", "\\c", "ab\\\\c"},
        {"ab", "", "ab\\"},
        {"", "", ""},
    };
    for (PairRow const& row : rows)
    {
        Path out("junk");
        EXPECT_EQ(FilePathUtilities::Join(row.pA, row.pB, out), *row.pExpected != 0);
        EXPECT_STREQ(out.QString(), row.pExpected) << row.pB;
    }
    Path out("tail"); // out may hold the second part
    EXPECT_TRUE(FilePathUtilities::Join("head", out.QString(), out));
    EXPECT_STREQ(out.QString(), "head\\tail");
    FilePathUtilities::Join(std::string(200, 'a').c_str(), std::string(100, 'b').c_str(), out);
    EXPECT_EQ(std::string(out.QString()), std::string(200, 'a') + "\\" + std::string(58, 'b'));
}

TEST(FilePathUtilities, SplitPath)
{
    // A separator at index 0 leaves the whole path as the folder.
    SplitRow const rows[] = {
        {"a\\b\\c.txt", "a\\b", "c.txt", true},
        {"a/b", "a", "b", true},
        {"name", "", "name", false},
        {"a\\b\\", "a\\b", "", true},
        {"\\x", "\\x", "x", true},
        {"", "", "", false},
    };
    CheckSplit(rows, FilePathUtilities::SplitPath);
}

TEST(FilePathUtilities, SplitExt)
{
    SplitRow const rows[] = {
        {"a\\b.txt", "a\\b", ".txt", true},
        {"a.b.c", "a.b", ".c", true},
        {"dir.x\\file", "dir", ".x\\file", true},
        {".hidden", ".hidden", "", false},
        {"noext", "noext", "", false},
        {"a.", "a", ".", true},
        {"", "", "", false},
    };
    CheckSplit(rows, FilePathUtilities::SplitExt);
}

TEST(FilePathUtilities, NormPath)
{
    std::string longest(259, 'n');
    std::string tooLong(260, 'n');
    // A part ending in a dot loses it and its separator; one ending in two is a parent step.
    PairRow const rows[] = {
        {"a\\b\\..\\c", "", "a\\c"},
        {"a/b/c", "", "a\\b\\c"},
        {"a\\.\\b", "", "a\\b"},
        {"a\\b\\c\\..\\..\\d", "", "a\\d"},
        {"a\\b\\..", "", "a\\b\\.."},
        {"a\\b\\.", "", "a\\b\\."},
        {"a\\\\B", "", "a\\\\B"},
        {"a.\\b", "", "ab"},
        {"a..\\b", "", "b"},
        {"", "", ""},
        {"..\\a", "", nullptr},
        {".\\..\\a", "", nullptr},
        {"x\\..\\..\\y", "", nullptr},
        {longest.c_str(), "", longest.c_str()},
        {tooLong.c_str(), "", nullptr},
        {nullptr, "", nullptr},
    };
    for (PairRow const& row : rows)
    {
        Path out("junk");
        EXPECT_EQ(FilePathUtilities::NormPath(row.pA, out), row.pExpected != nullptr)
            << (row.pA ? row.pA : "(null)");
        EXPECT_STREQ(out.QString(), row.pExpected ? row.pExpected : "");
    }
}

TEST(FilePathUtilities, RelPath)
{
    // The start is always read as a folder; equal paths give false.
    for (PairRow const& row :
         std::initializer_list<PairRow>{{"a\\b\\f.txt", "a\\c", "..\\b\\f.txt"},
                                        {"A\\B\\f.txt", "a/b", "f.txt"},
                                        {"a/b/f", "a\\b\\", "f"},
                                        {"a\\b", "a\\b\\c\\d", "..\\..\\"},
                                        {"x\\y", "a\\b", "..\\..\\x\\y"},
                                        {"a\\b\\f.txt", "a\\b\\g.txt", "..\\f.txt"},
                                        {"a\\\\b", "a", "\\b"},
                                        {"a\\b", "A\\B", nullptr},
                                        {"", "a", nullptr},
                                        {"a", "", nullptr},
                                        {nullptr, "a", nullptr}})
    {
        Path out;
        EXPECT_EQ(FilePathUtilities::RelPath(row.pA, row.pB, out), row.pExpected != nullptr)
            << row.pB;
        EXPECT_STREQ(out.QString(), row.pExpected ? row.pExpected : "") << row.pB;
    }
}

TEST(FilePathUtilities, AddTrailingSlash)
{
    struct Row
    {
        char const* pInput;
        unsigned int uiSize;
        char const* pExpected;
    };
    Row const rows[] = {
        {"a", 260, "a\\"},   {"a\\", 260, "a\\"}, {"", 260, "\\"},
        {"a/", 260, "a/\\"}, {"ab", 4, "ab\\"},   {"ab", 3, "ab"},
    };
    for (Row const& row : rows)
    {
        char buffer[260] = {};
        std::snprintf(buffer, sizeof(buffer), "%s", row.pInput);
        VXAddTrailingSlash(buffer, row.uiSize);
        EXPECT_STREQ(buffer, row.pExpected) << row.pInput << " " << row.uiSize;
    }
}
} // namespace
