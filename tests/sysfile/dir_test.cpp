#include "vxsystem/VXSystemDir.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

namespace
{
using EC = VXSystemFile::ErrorCode;
using Listing = std::map<std::string, std::string>;
namespace fs = std::filesystem;

// Walks a folder to its end: each name with its kind (d folder, f file) and size.
Listing Walk(std::string const& folder)
{
    VXSystemDir dir(folder.c_str());
    Listing entries;
    bool finished = true;
    for (EC code = dir.NextEntry(finished); !finished; code = dir.NextEntry(finished))
    {
        EXPECT_EQ(code, VXSystemFile::EC_OK) << folder;
        if (code != VXSystemFile::EC_OK)
            break;
        VXSystemFile::Info info{};
        dir.GetInfo(info);
        // 2020-01-01 in 100 ns ticks since 1601: a sanity floor for the time conversion.
        EXPECT_GT(uint64_t(info.ftLastWrite.dwHighDateTime) << 32 | info.ftLastWrite.dwLowDateTime,
                  132223104000000000ull);
        entries[dir.QName()] = std::string(dir.QDirectory() ? "d" : "") +
                               (dir.QRegular() ? "f" : "") + std::to_string(info.uiSize);
    }
    EXPECT_EQ(dir.QLastError(), VXSystemFile::EC_OK);
    return entries;
}

std::string Backslashed(std::string path)
{
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

TEST(VXSystemDir, WalksEveryEntryWithDotsKindAndSize)
{
    vxtest::TempDir temp;
    EXPECT_EQ(Walk(temp.Path()), (Listing{{".", "d0"}, {"..", "d0"}}));
    vxtest::WriteFile(temp / "a.txt", "hello");
    vxtest::WriteFile(temp / "a/b.bin", std::string(1234, 'x'));
    vxtest::WriteFile(temp / "b.txt", "");
    EXPECT_EQ(Walk(temp.Path()),
              (Listing{{".", "d0"}, {"..", "d0"}, {"a", "d0"}, {"a.txt", "f5"}, {"b.txt", "f0"}}));
    // Backslashes and another letter case reach the same folder.
    EXPECT_EQ(Walk(Backslashed(temp.Path()) + "\\A\\"),
              (Listing{{".", "d0"}, {"..", "d0"}, {"b.bin", "f1234"}}));
    // A one-letter folder runs into the pattern: "a" and "*" give "a*", the entries of the
    // working folder that begin with a.
    vxtest::ScopedCwd cwd(temp.Path());
    EXPECT_EQ(Walk("a"), (Listing{{"a", "d0"}, {"a.txt", "f5"}}));
    EXPECT_EQ(Walk("").count("a.txt"), 1u); // a pattern without any separator
    EXPECT_EQ(VXSystemDir("z").QLastError(), VXSystemFile::EC_FILE_NOT_FOUND);
}

TEST(VXSystemDir, FailedOpenIsHandedOutLikeAnEntry)
{
    vxtest::TempDir temp;
    std::string missing = temp / "missing";
    std::string tooLong = temp / std::string(300, 'n');
    std::pair<char const*, EC> const rows[] = {{missing.c_str(), VXSystemFile::EC_PATH_NOT_FOUND},
                                               {nullptr, VXSystemFile::EC_PATH_NOT_FOUND},
                                               {tooLong.c_str(), VXSystemFile::EC_FAILED}};
    for (auto [folder, expected] : rows)
    {
        VXSystemDir dir(folder);
        bool finished = true;
        EXPECT_EQ(dir.NextEntry(finished), expected);
        EXPECT_FALSE(finished);
        // No entry follows; finished stays as the caller left it.
        finished = true;
        EXPECT_EQ(dir.NextEntry(finished), expected);
        EXPECT_TRUE(finished);
    }
}

TEST(VXSystemDir, MakeDirAndMakeEntireDirPath)
{
    vxtest::TempDir temp;
    std::string folder = temp / "New";
    EXPECT_EQ(VXSystemDir::MakeDir(folder.c_str()), VXSystemFile::EC_OK);
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(VXSystemDir::MakeDir((Backslashed(temp.Path()) + "\\NEW").c_str()),
              VXSystemFile::EC_ALREADY_EXISTS);
    EXPECT_EQ(VXSystemDir::MakeDir((temp / "missing/child").c_str()),
              VXSystemFile::EC_PATH_NOT_FOUND);
    EXPECT_EQ(VXSystemDir::MakeDir(nullptr), VXSystemFile::EC_PATH_NOT_FOUND);

    // The last part is a file name; a second call finds everything there.
    std::string path = temp / "x/y/z/file.txt";
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(path.c_str()));
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(path.c_str()));
    EXPECT_TRUE(fs::is_directory(temp / "x/y/z"));
    EXPECT_FALSE(fs::exists(temp / "x/y/z/file.txt"));
    // Mixed separators and another letter case land in the same folders.
    std::string mixed = Backslashed(temp.Path()) + "\\X/Y\\w\\f";
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath(mixed.c_str()));
    EXPECT_TRUE(fs::is_directory(temp / "x/y/w"));
    int spellings = 0; // one folder for both spellings, whatever the disk's case rules
    for (auto const& entry : fs::directory_iterator(temp.Path()))
        spellings += entry.path().filename() == "x" || entry.path().filename() == "X";
    EXPECT_EQ(spellings, 1);
    // A file in the way ends the walk; no separator makes nothing; too long and null fail.
    vxtest::WriteFile(temp / "plain", "p");
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath((temp / "plain/sub/f").c_str()));
    vxtest::ScopedCwd cwd(temp.Path());
    EXPECT_TRUE(VXSystemDir::MakeEntireDirPath("single"));
    EXPECT_FALSE(fs::exists(temp / "single"));
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath(("long/" + std::string(300, 'n') + "/f").c_str()));
    EXPECT_FALSE(fs::exists(temp / "long"));
    EXPECT_FALSE(VXSystemDir::MakeEntireDirPath(nullptr));
}
} // namespace
