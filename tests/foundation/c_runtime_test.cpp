#include "foundation/VXCRuntime.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

TEST(VXCRuntime, CaseBlindComparison)
{
    EXPECT_EQ(VXStricmp("Meshes\\A.KOF", "meshes\\a.kof"), 0);
    EXPECT_LT(VXStricmp("abc", "ABD"), 0);
    EXPECT_GT(VXStricmp("abcd", "ABC"), 0);
    EXPECT_EQ(VXStrnicmp("DATA\\x", "data\\y", 5), 0);
    EXPECT_NE(VXStrnicmp("DATA\\x", "data\\y", 6), 0);
    EXPECT_LT(VXStricmp(nullptr, "a"), 0);
    EXPECT_EQ(VXStricmp(nullptr, nullptr), 0);
    // Bytes above 0x7F compare as themselves.
    EXPECT_NE(VXStricmp("\xC4", "\xE4"), 0);

    char text[] = "MiXeD\\Path.KOF";
    EXPECT_TRUE(VXStrlwr(text, sizeof(text)));
    EXPECT_STREQ(text, "mixed\\path.kof");
    char unterminated[3] = {'A', 'B', 'C'};
    EXPECT_FALSE(VXStrlwr(unterminated, sizeof(unterminated)));
}

TEST(VXCRuntime, SplitPath)
{
    // Path, then drive|folder|name|extension.
    std::pair<char const*, std::string> const rows[] = {
        {"c:\\games\\data\\a.kof", "c:|\\games\\data\\|a|.kof"},
        {"meshes/armor\\b.tar.gz", "|meshes/armor\\|b.tar|.gz"},
        {"noext", "||noext|"},
        {"dir.d\\file", "|dir.d\\|file|"},
        {".hidden", "|||.hidden"},
        {"", "|||"},
    };
    for (auto const& [pPath, sExpected] : rows)
    {
        char drive[4], folder[64], name[64], extension[16];
        ASSERT_TRUE(VXSplitPath(pPath, drive, sizeof(drive), folder, sizeof(folder), name,
                                sizeof(name), extension, sizeof(extension)))
            << pPath;
        EXPECT_EQ(std::string(drive) + "|" + folder + "|" + name + "|" + extension, sExpected);
    }
    char small[4], name[64];
    EXPECT_FALSE(VXSplitPath("long\\folder\\x.y", nullptr, 0, small, sizeof(small), name,
                             sizeof(name), nullptr, 0));
    EXPECT_STREQ(small, "");
    EXPECT_STREQ(name, "");
}

TEST(VXCRuntime, MakePath)
{
    char out[32];
    EXPECT_TRUE(VXMakePath(out, sizeof(out), "c", "games", "a", "kof"));
    EXPECT_STREQ(out, "c:games\\a.kof");
    EXPECT_TRUE(VXMakePath(out, sizeof(out), nullptr, "meshes\\", "a", ".kof"));
    EXPECT_STREQ(out, "meshes\\a.kof");
    EXPECT_TRUE(VXMakePath(out, sizeof(out), "", "", "plain", nullptr));
    EXPECT_STREQ(out, "plain");
    std::string longName(40, 'n');
    EXPECT_FALSE(VXMakePath(out, sizeof(out), nullptr, "d", longName.c_str(), "x"));
    EXPECT_STREQ(out, "");
}
