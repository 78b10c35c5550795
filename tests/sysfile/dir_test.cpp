#include "vxsystem/VXSystemDir.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

namespace
{
using EC = VXSystemFile::ErrorCode;

struct Entry
{
    bool bDirectory;
    bool bRegular;
    uint64_t uiSize;
    uint64_t uiWriteTicks;
};

// Walks a folder to its end; fails the test on any code but EC_OK.
std::map<std::string, Entry> Walk(std::string const& folder)
{
    VXSystemDir dir(folder.c_str());
    std::map<std::string, Entry> entries;
    bool finished = true;
    for (EC code = dir.NextEntry(finished); !finished; code = dir.NextEntry(finished))
    {
        EXPECT_EQ(code, VXSystemFile::EC_OK) << folder;
        if (code != VXSystemFile::EC_OK)
            break;
        VXSystemFile::Info info{};
        EXPECT_TRUE(dir.GetInfo(info));
        uint64_t ticks = static_cast<uint64_t>(info.ftLastWrite.dwHighDateTime) << 32 |
                         info.ftLastWrite.dwLowDateTime;
        entries[dir.QName()] = {dir.QDirectory(), dir.QRegular(), info.uiSize, ticks};
    }
    EXPECT_EQ(dir.QLastError(), VXSystemFile::EC_OK);
    return entries;
}

std::string Backslashed(std::string path)
{
    for (char& c : path)
        if (c == '/')
            c = '\\';
    return path;
}

TEST(VXSystemDir, WalksEveryEntryWithKindSizeAndTime)
{
    vxtest::TempDir temp;
    vxtest::WriteFile(temp / "a.txt", "hello");
    vxtest::WriteFile(temp / "Sub/b.bin", std::string(1234, 'x'));
    auto entries = Walk(temp.Path());
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_TRUE(entries["."].bDirectory && !entries["."].bRegular);
    EXPECT_TRUE(entries[".."].bDirectory && !entries[".."].bRegular);
    EXPECT_TRUE(entries["Sub"].bDirectory && !entries["Sub"].bRegular);
    EXPECT_EQ(entries["Sub"].uiSize, 0u);
    EXPECT_TRUE(entries["a.txt"].bRegular && !entries["a.txt"].bDirectory);
    EXPECT_EQ(entries["a.txt"].uiSize, 5u);
    // 2020-01-01 in 100 ns ticks since 1601: a sanity floor for the conversion.
    EXPECT_GT(entries["a.txt"].uiWriteTicks, 132223104000000000ull);

    // Backslashes and another letter case reach the same folder.
    auto sub = Walk(Backslashed(temp.Path()) + "\\SUB\\");
    ASSERT_EQ(sub.size(), 3u);
    EXPECT_EQ(sub["b.bin"].uiSize, 1234u);
}

TEST(VXSystemDir, EmptyFolderStillYieldsDotEntries)
{
    vxtest::TempDir temp;
    auto entries = Walk(temp.Path());
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_TRUE(entries.count(".") && entries.count(".."));
}

TEST(VXSystemDir, FailedOpenIsHandedOutOnce)
{
    vxtest::TempDir temp;
    std::string tooLong = temp.Path() + "/" + std::string(300, 'n');
    struct Row
    {
        char const* pFolder;
        EC eExpected;
    };
    std::string missing = temp / "missing";
    Row const rows[] = {
        {missing.c_str(), VXSystemFile::EC_PATH_NOT_FOUND},
        {nullptr, VXSystemFile::EC_PATH_NOT_FOUND},
        {tooLong.c_str(), VXSystemFile::EC_FAILED},
    };
    for (Row const& row : rows)
    {
        VXSystemDir dir(row.pFolder);
        EXPECT_EQ(dir.QLastError(), row.eExpected);
        bool finished = true;
        EXPECT_EQ(dir.NextEntry(finished), row.eExpected);
        EXPECT_FALSE(finished);
        // No entry follows; finished stays as the caller left it.
        EXPECT_EQ(dir.NextEntry(finished), row.eExpected);
        EXPECT_FALSE(finished);
    }
}

TEST(VXSystemDir, OneLetterFolderRunsIntoThePattern)
{
    // "a" joined with "*" gives "a*": the entries of the working folder that begin with a.
    vxtest::TempDir temp;
    vxtest::WriteFile(temp / "a/inner.txt", "1");
    vxtest::WriteFile(temp / "ab.txt", "2");
    vxtest::WriteFile(temp / "b.txt", "3");
    vxtest::ScopedCwd cwd(temp.Path());
    auto entries = Walk("a");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_TRUE(entries.count("a") && entries.count("ab.txt"));

    VXSystemDir none("z");
    EXPECT_EQ(none.QLastError(), VXSystemFile::EC_FILE_NOT_FOUND);
}

TEST(VXSystemDir, MakeDir)
{
    vxtest::TempDir temp;
    std::string folder = temp / "New";
    EXPECT_EQ(VXSystemDir::MakeDir(folder.c_str()), VXSystemFile::EC_OK);
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    EXPECT_EQ(VXSystemDir::MakeDir(folder.c_str()), VXSystemFile::EC_ALREADY_EXISTS);
    std::string differentCase = Backslashed(temp.Path()) + "\\NEW";
    EXPECT_EQ(VXSystemDir::MakeDir(differentCase.c_str()), VXSystemFile::EC_ALREADY_EXISTS);
    std::string orphan = temp / "missing/child";
    EXPECT_EQ(VXSystemDir::MakeDir(orphan.c_str()), VXSystemFile::EC_PATH_NOT_FOUND);
    EXPECT_EQ(VXSystemDir::MakeDir(nullptr), VXSystemFile::EC_PATH_NOT_FOUND);
    EXPECT_EQ(VXSystemDir::QSeparator(), '\\');
}

TEST(VXSystemDir, MakeEntireDirPath)
{
    namespace fs = std::filesystem;
    vxtest::TempDir temp;
    std::string path = temp / "x/y/z/file.txt";
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(path.c_str()));
    EXPECT_TRUE(fs::is_directory(temp / "x/y/z"));
    EXPECT_FALSE(fs::exists(temp / "x/y/z/file.txt")); // the last part is a file name
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(path.c_str()));

    // Mixed separators and another letter case land in the same folders.
    std::string mixed = Backslashed(temp.Path()) + "\\X/Y\\w\\f";
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(mixed.c_str()));
    EXPECT_TRUE(fs::is_directory(temp / "x/y/w"));
    EXPECT_FALSE(fs::exists(temp / "X"));

    // A file in the way ends the walk.
    vxtest::WriteFile(temp / "plain", "p");
    std::string blocked = temp / "plain/sub/f";
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath(blocked.c_str()));

    // No separator makes nothing; too long and null make nothing and fail.
    vxtest::ScopedCwd cwd(temp.Path());
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath("single"));
    EXPECT_FALSE(fs::exists(temp / "single"));
    std::string tooLong = "long/" + std::string(300, 'n') + "/f";
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath(tooLong.c_str()));
    EXPECT_FALSE(fs::exists(temp / "long"));
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath(nullptr));
}
} // namespace
