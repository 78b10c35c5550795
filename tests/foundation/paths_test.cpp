#include "vxsystem/FilePathUtilities.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace
{
using Path = VXStaticStringT<260>;

// Inputs and the expected output; a null output means the operation gives false and an
// empty out. For the splitters, the two outputs and whether they split.
struct Row
{
    char const* pA;
    char const* pB;
    char const* pExpected;
    bool bSplit = true;
};

char const* Show(char const* pText)
{
    return pText ? pText : "(null)";
}

// out starts as pInitial, so that a result must replace what it held.
template <size_t N, class Op>
void CheckRows(Row const (&rows)[N], Op op, char const* pInitial = "junk")
{
    for (Row const& row : rows)
    {
        Path out(pInitial);
        EXPECT_EQ(op(row, out), row.pExpected != nullptr) << Show(row.pA) << " " << Show(row.pB);
        EXPECT_STREQ(out.QString(), row.pExpected ? row.pExpected : "") << Show(row.pA);
    }
}

template <size_t N, class Split> void CheckSplit(Row const (&rows)[N], Split split)
{
    for (Row const& row : rows)
    {
        Path first("junk"), second("junk");
        EXPECT_EQ(split(row.pA, first, second), row.bSplit) << row.pA;
        EXPECT_STREQ(first.QString(), row.pB) << row.pA;
        EXPECT_STREQ(second.QString(), row.pExpected) << row.pA;
    }
}

TEST(FilePathUtilities, Join)
{
    Row const rows[] = {
        {"a\\b", "c", "a\\b\\c"}, {"a/b/", "c", "a/b/c"},   {"x", "y", "xy"},   {"", "c", "c"},
        {nullptr, "c", "c"},      {"ab", "\\c", "ab\\\\c"}, {"ab", "", "ab\\"}, {"", "", nullptr},
    };
    CheckRows(rows, [](Row const& row, Path& out)
              { return FilePathUtilities::Join(row.pA, row.pB, out); });
    Path out("tail"); // out may hold the second part
    EXPECT_TRUE(FilePathUtilities::Join("head", out.QString(), out));
    EXPECT_STREQ(out.QString(), "head\\tail");
    FilePathUtilities::Join(std::string(200, 'a').c_str(), std::string(100, 'b').c_str(), out);
    EXPECT_EQ(std::string(out.QString()), std::string(200, 'a') + "\\" + std::string(58, 'b'));
}

TEST(FilePathUtilities, SplitPath)
{
    // A separator at index 0 leaves the whole path as the folder.
    Row const rows[] = {
        {"a\\b\\c.txt", "a\\b", "c.txt"}, {"a/b", "a", "b"},   {"name", "", "name", false},
        {"a\\b\\", "a\\b", ""},           {"\\x", "\\x", "x"}, {"", "", "", false},
    };
    CheckSplit(rows, FilePathUtilities::SplitPath);
}

TEST(FilePathUtilities, SplitExt)
{
    Row const rows[] = {
        {"a.b.c", "a.b", ".c"},
        {"dir.x\\file", "dir", ".x\\file"},
        {".hidden", ".hidden", "", false},
        {"noext", "noext", "", false},
        {"a.", "a", "."},
        {"", "", "", false},
    };
    CheckSplit(rows, FilePathUtilities::SplitExt);
}

TEST(FilePathUtilities, NormPath)
{
    std::string longest(259, 'n');
    std::string tooLong(260, 'n');
    // A part ending in a dot loses it and its separator; one ending in two is a parent step.
    Row const rows[] = {
        {"a/b/c", nullptr, "a\\b\\c"},
        {"a\\.\\b", nullptr, "a\\b"},
        {"a\\b\\c\\..\\..\\d", nullptr, "a\\d"},
        {"a\\b\\..", nullptr, "a\\b\\.."},
        {"a\\b\\.", nullptr, "a\\b\\."},
        {"a\\\\B", nullptr, "a\\\\B"},
        {"a.\\b", nullptr, "ab"},
        {"a..\\b", nullptr, "b"},
        {"", nullptr, ""},
        {"..\\a", nullptr, nullptr},
        {".\\..\\a", nullptr, nullptr},
        {"x\\..\\..\\y", nullptr, nullptr},
        {longest.c_str(), nullptr, longest.c_str()},
        {tooLong.c_str(), nullptr, nullptr},
        {nullptr, nullptr, nullptr},
    };
    CheckRows(rows,
              [](Row const& row, Path& out) { return FilePathUtilities::NormPath(row.pA, out); });
}

TEST(FilePathUtilities, RelPath)
{
    // The start is always read as a folder; equal paths give false.
    Row const rows[] = {
        {"a\\b\\f.txt", "a\\c", "..\\b\\f.txt"},
        {"A\\B\\f.txt", "a/b", "f.txt"},
        {"a/b/f", "a\\b\\", "f"},
        {"a\\b", "a\\b\\c\\d", "..\\..\\"},
        {"x\\y", "a\\b", "..\\..\\x\\y"},
        {"a\\b\\f.txt", "a\\b\\g.txt", "..\\f.txt"},
        {"a\\\\b", "a", "\\b"},
        {"a\\b", "A\\B", nullptr},
        {"", "a", nullptr},
        {"a", "", nullptr},
        {nullptr, "a", nullptr},
    };
    CheckRows(
        rows,
        [](Row const& row, Path& out) { return FilePathUtilities::RelPath(row.pA, row.pB, out); },
        ""); // out must be empty on entry
}

TEST(FilePathUtilities, AddTrailingSlash)
{
    // Text, buffer size, result.
    std::tuple<char const*, unsigned int, char const*> const rows[] = {
        {"a", 260, "a\\"},   {"a\\", 260, "a\\"}, {"", 260, "\\"},
        {"a/", 260, "a/\\"}, {"ab", 4, "ab\\"},   {"ab", 3, "ab"},
    };
    for (auto [pInput, uiSize, pExpected] : rows)
    {
        char buffer[260] = {};
        std::snprintf(buffer, sizeof(buffer), "%s", pInput);
        VXAddTrailingSlash(buffer, uiSize);
        EXPECT_STREQ(buffer, pExpected) << pInput << " " << uiSize;
    }
}
} // namespace
