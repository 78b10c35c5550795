#include "vxsystem/WildCard.h"

#include <gtest/gtest.h>

#include <span>
#include <utility>

namespace
{
using namespace WildCard;

constexpr unsigned int CS = WILDCARD_CASE_SENSITIVE;
constexpr unsigned int ESC = WILDCARD_ESCAPES;
constexpr unsigned int EXT = WILDCARD_KEEP_EXTENSION;
constexpr unsigned int PATH = WILDCARD_KEEP_PATH;
constexpr unsigned int SP = WILDCARD_SKIP_SPACES;

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
        {"x]", true},   {"^", true},   {"a\\", false},   {"a\\\\*", true}, {"", false}};
    for (auto [pText, bExpected] : rows)
        EXPECT_EQ(IsWild(pText), bExpected) << pText;
    EXPECT_FALSE(IsWild(nullptr));
}

void ExpectMatches(std::span<Row const> rows)
{
    for (Row const& row : rows)
        EXPECT_EQ(Match(row.pText, row.pPattern, row.uiFlags), row.bExpected)
            << '"' << (row.pText ? row.pText : "(null)") << "\" vs \"" << row.pPattern
            << "\" flags " << row.uiFlags;
}

TEST(WildCard, MatchStarsQuestionMarksAndCase)
{
    // '*' before more pattern never takes the empty end.
    Row const rows[] = {
        {"", "*", 0, true},       {"", "*a", 0, false},      {"", "", 0, true},
        {"abc", "??", 0, false},  {"abc", "????", 0, false}, {"abc", "???", 0, true},
        {"abc", "a*", 0, true},   {"abc", "*c", 0, true},    {"abc", "*b", 0, false},
        {"abc", "abc*", 0, true}, {"ab", "a*b*", 0, true},   {"a", "a*?", 0, false},
        {"ABC", "abc", 0, true},  {"ABC", "abc", CS, false}, {nullptr, "*", 0, false},
    };
    ExpectMatches(rows);
    ExpectMatches({{{"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*a*a*a*a*c", 0, false}}});
}

TEST(WildCard, MatchClassesEscapesBlanksAndPathParts)
{
    // A chain of ranges tests only its last one; bounds compare as signed bytes.
    Row const classes[] = {
        {"b", "[a-c]", 0, true},   {"d", "[a-c]", 0, false},   {"d", "[^a-c]", 0, true},
        {"b", "[^a-c]", 0, false}, {"-", "[-a]", 0, true},     {"a", "[a-]", 0, false},
        {"-", "[a-]", 0, false},   {"b", "[a-c-e]", 0, false}, {"d", "[a-c-e]", 0, true},
        {"x", "[abc", 0, false},   {"", "[a]", 0, false},      {"x", "[]", 0, false},
        {"x", "[^]", 0, true},
    };
    Row const escapesAndBlanks[] = {
        {"]", "[\\]]", ESC, true},       {"a*b", "a\\*b", ESC, true},
        {"axb", "a\\*b", ESC, false},    {"a\\b", "a\\b", 0, true},
        {"a", "a\\", ESC, false},        {"  abc", "abc", SP, true},
        {"  abc", "abc", 0, false},      {"abc", " \ta*", SP, true},
        {"\xE9", "[!-\xFF]", CS, false}, {"\xE9", "[\x80-\xFF]", CS, true},
    };
    ExpectMatches(classes);
    ExpectMatches(escapesAndBlanks);
    Row const pathParts[] = {
        {"c:\\data\\Meshes\\x.nif", "*.nif", EXT, true},
        {"data\\x.nif", "other\\x.nif", EXT, true},
        {"data\\x.nif", "data\\x.dds", PATH, true},
        {"data\\x.nif", "other\\x.dds", PATH, false},
        {"c:\\x.nif", "d:\\x.nif", PATH | EXT, false},
    };
    ExpectMatches(pathParts);
}

TEST(WildCard, MatchAny)
{
    Row const rows[] = {{"b", "a|b", 0, true},   {"c", "a|b", 0, false},
                        {"", "", 0, false},      {"", "a|", 0, false},
                        {"", "|a", 0, true},     {"", "a||b", 0, true},
                        {"B", "a|b", CS, false}, {"x.dds", "*.nif|*.dds", 0, true}};
    for (Row const& row : rows)
        EXPECT_EQ(MatchAny(row.pText, row.pPattern, row.uiFlags), row.bExpected)
            << '"' << row.pText << "\" vs \"" << row.pPattern << '"';
}

TEST(WildCard, MatchAll)
{
    VXTArray<char const*, VXTArrayHeapAllocator> texts, none;
    texts.Add("meshes\\a.nif");
    texts.Add("textures\\b.dds");
    // Groups split at '&'; every group must match one of the texts.
    std::pair<char const*, bool> const rows[] = {
        {"*.nif&*.dds", true},      {"*.nif&*.kf", false}, {"", true},
        {"*.kf|*.dds&*.nif", true}, {"*.nif&", true},      {"&*.nif", false}};
    for (auto [pGroups, bExpected] : rows)
        EXPECT_EQ(MatchAll(texts, pGroups, EXT), bExpected) << pGroups;
    EXPECT_FALSE(MatchAll(none, "*", 0));
    EXPECT_TRUE(MatchAll(none, "", 0));
}
} // namespace
