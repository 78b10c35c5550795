#include "vxsystem/WildCard.h"

#include <gtest/gtest.h>

#include <utility>

namespace
{
using namespace WildCard;

constexpr unsigned int CS = WILDCARD_CASE_SENSITIVE;
constexpr unsigned int ESC = WILDCARD_ESCAPES;

struct Row
{
    char const* pText;
    char const* pPattern;
    unsigned int uiFlags;
    bool bExpected;
};

TEST(WildCard, IsWild)
{
    std::pair<char const*, bool> const rows[] = {
        {"abc", false}, {"a*c", true}, {"a\\*c", false}, {"a?", true},     {"[x", true},
        {"x]", true},   {"^", true},   {"a\\", false},   {"a\\\\*", true}, {"", false},
    };
    for (auto [pText, bExpected] : rows)
        EXPECT_EQ(IsWild(pText), bExpected) << pText;
    EXPECT_FALSE(IsWild(nullptr));
}

TEST(WildCard, Match)
{
    Row const rows[] = {
        // stars and single characters
        {"", "*", 0, true},
        {"", "*a", 0, false},
        {"", "", 0, true},
        {"abc", "??", 0, false},
        {"abc", "????", 0, false},
        {"abc", "???", 0, true},
        {"abc", "a*", 0, true},
        {"abc", "*c", 0, true},
        {"abc", "*b", 0, false},
        {"abc", "abc*", 0, true},
        {"ab", "a*b*", 0, true},
        {"a", "a*?", 0, false}, // '*' before more pattern never takes the empty end
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*a*a*a*a*c", 0, false},
        // case
        {"ABC", "abc", 0, true},
        {"ABC", "abc", CS, false},
        // classes
        {"b", "[a-c]", 0, true},
        {"d", "[a-c]", 0, false},
        {"d", "[^a-c]", 0, true},
        {"b", "[^a-c]", 0, false},
        {"-", "[-a]", 0, true},
        {"a", "[a-]", 0, false},
        {"-", "[a-]", 0, false},
        {"b", "[a-c-e]", 0, false}, // a chain tests only its last range
        {"d", "[a-c-e]", 0, true},
        {"x", "[abc", 0, false},
        {"", "[a]", 0, false},
        {"x", "[]", 0, false},
        {"x", "[^]", 0, true},
        {"]", "[\\]]", ESC, true},
        {"\xE9", "[!-\xFF]", CS, false}, // bounds compare as signed bytes
        {"\xE9", "[\x80-\xFF]", CS, true},
        // escapes
        {"a*b", "a\\*b", ESC, true},
        {"axb", "a\\*b", ESC, false},
        {"a\\b", "a\\b", 0, true},
        {"a", "a\\", ESC, false},
        // path parts
        {"c:\\data\\Meshes\\x.nif", "*.nif", WILDCARD_KEEP_EXTENSION, true},
        {"data\\x.nif", "other\\x.nif", WILDCARD_KEEP_EXTENSION, true},
        {"data\\x.nif", "data\\x.dds", WILDCARD_KEEP_PATH, true},
        {"data\\x.nif", "other\\x.dds", WILDCARD_KEEP_PATH, false},
        {"c:\\x.nif", "d:\\x.nif", WILDCARD_KEEP_PATH | WILDCARD_KEEP_EXTENSION, false},
        // blanks
        {"  abc", "abc", WILDCARD_SKIP_SPACES, true},
        {"  abc", "abc", 0, false},
        {"abc", " \ta*", WILDCARD_SKIP_SPACES, true},
        {nullptr, "*", 0, false},
    };
    for (Row const& row : rows)
        EXPECT_EQ(Match(row.pText, row.pPattern, row.uiFlags), row.bExpected)
            << '"' << (row.pText ? row.pText : "(null)") << "\" vs \"" << row.pPattern
            << "\" flags " << row.uiFlags;
}

TEST(WildCard, MatchAny)
{
    Row const rows[] = {
        {"b", "a|b", 0, true},   {"c", "a|b", 0, false},
        {"", "", 0, false},      {"", "a|", 0, false},
        {"", "|a", 0, true},     {"", "a||b", 0, true},
        {"B", "a|b", CS, false}, {"x.dds", "*.nif|*.dds", 0, true},
    };
    for (Row const& row : rows)
        EXPECT_EQ(MatchAny(row.pText, row.pPattern, row.uiFlags), row.bExpected)
            << '"' << row.pText << "\" vs \"" << row.pPattern << '"';
}

TEST(WildCard, MatchAll)
{
    VXTArray<char const*, VXTArrayHeapAllocator> texts;
    texts.Add("meshes\\a.nif");
    texts.Add("textures\\b.dds");
    // Groups split at '&'; every group must match one of the texts.
    std::pair<char const*, bool> const rows[] = {
        {"*.nif&*.dds", true},      {"*.nif&*.kf", false}, {"", true},
        {"*.kf|*.dds&*.nif", true}, {"*.nif&", true},      {"&*.nif", false},
    };
    for (auto [pGroups, bExpected] : rows)
        EXPECT_EQ(MatchAll(texts, pGroups, WILDCARD_KEEP_EXTENSION), bExpected) << pGroups;
    VXTArray<char const*, VXTArrayHeapAllocator> none;
    EXPECT_FALSE(MatchAll(none, "*", 0));
    EXPECT_TRUE(MatchAll(none, "", 0));
}
} // namespace
