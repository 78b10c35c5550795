#include "vxsystem/ArchiveManager.h"
#include "vxsystem/FileFinder.h"
#include "vxsystem/VXFile.h"
#include "vxsystem/VXThread.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace
{
using vxtest::TempDir;
using vxtest::WriteFile;

std::string Contents(KoFile* file)
{
    std::unique_ptr<KoFile> owned(file);
    if (!owned)
        return "<null>";
    std::string out;
    char block[64];
    while (uint64_t n = owned->Read(block, sizeof(block)))
        out.append(block, n);
    return out;
}

class FileFinderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        WriteFile(dir / "cwd/y.kof", "cwd-y");
        WriteFile(dir / "cwd/a.tga", "texture");
        WriteFile(dir / "first/shared.txt", "first");
        WriteFile(dir / "second/shared.txt", "second");
        WriteFile(dir / "second/only.txt", "only");
        WriteFile(dir / "cwd/data/data/a.txt", "nested");
        WriteFile(dir / "cwd/meshes/armor/a.kof", "armor");
        cwd.emplace(dir / "cwd");
        // With invalidation on, the loose flags do not bind; these tests need them to.
        ArchiveManager::SetInvalidateOlderFiles(false);
    }
    void TearDown() override { ArchiveManager::SetInvalidateOlderFiles(true); }

    TempDir dir;
    std::optional<vxtest::ScopedCwd> cwd;
    FileFinder finder{nullptr, 0, false};
};

TEST_F(FileFinderTest, SearchOrderIsWorkingDirectoryThenPathsInOrder)
{
    FileFinder::AddPath((dir / "first").c_str());
    FileFinder::AddPath((dir / "second\\").c_str());
    EXPECT_EQ(FileFinder::GetNumPaths(), 2u);
    EXPECT_EQ(std::string(FileFinder::GetPath(0)), dir / "first\\");
    EXPECT_EQ(std::string(FileFinder::GetPath(1)), dir / "second\\");

    char out[MAX_PATH_BYTES];
    EXPECT_EQ(finder.Exist("y.kof", out, 0, 0xFFFF), FileFinder::FILE_ON_DISK);
    EXPECT_STREQ(out, "y.kof");
    EXPECT_EQ(finder.Exist("shared.txt", out, 0, 0xFFFF), FileFinder::FILE_ON_DISK);
    EXPECT_EQ(std::string(out), dir / "first\\shared.txt");
    EXPECT_EQ(finder.Exist("\\only.txt", out, 0, 0xFFFF), FileFinder::FILE_ON_DISK);
    EXPECT_EQ(std::string(out), dir / "second\\only.txt");

    EXPECT_EQ(finder.Exist("y.kof", out, FileFinder::SEARCH_NO_CWD, 0xFFFF),
              FileFinder::FILE_NOT_FOUND);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(finder.Exist("only.txt", out, FileFinder::SEARCH_NO_PATHS, 0xFFFF),
              FileFinder::FILE_NOT_FOUND);

    FileFinder::RemovePath(0);
    EXPECT_EQ(finder.Exist("shared.txt", out, 0, 0xFFFF), FileFinder::FILE_ON_DISK);
    EXPECT_EQ(std::string(out), dir / "second\\shared.txt");
}

TEST_F(FileFinderTest, NamePreparationRules)
{
    FileFinder::AddPath((dir / "second").c_str());
    char out[MAX_PATH_BYTES] = "untouched";
    EXPECT_EQ(finder.Exist(nullptr, out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
    EXPECT_EQ(finder.Exist("", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
    EXPECT_STREQ(out, "untouched");

    // Never served by name, even when the file is right there.
    EXPECT_EQ(finder.Exist("a.tga", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(finder.Exist("A.BMP", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);

    // ".\" searches the bare name and never the search paths.
    EXPECT_EQ(finder.Exist(".\\y.kof", out, 0, 0xFFFF), FileFinder::FILE_ON_DISK);
    EXPECT_STREQ(out, "y.kof");
    EXPECT_EQ(finder.Exist(".\\only.txt", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);

    std::string tooLong(300, 'x');
    EXPECT_EQ(finder.Exist(tooLong.c_str(), out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
}

TEST_F(FileFinderTest, PathAlreadyInNameIsNotPrefixedAgain)
{
    FileFinder::AddPath("data");
    EXPECT_STREQ(FileFinder::GetPath(0), "data\\");
    char out[MAX_PATH_BYTES];
    // data\data\a.txt exists, but "data\a.txt" already begins with the path.
    EXPECT_EQ(finder.Exist("DATA\\a.txt", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
    EXPECT_EQ(finder.Exist("data\\a.txt", out, FileFinder::SEARCH_NO_CWD, 0xFFFF),
              FileFinder::FILE_NOT_FOUND);
}

TEST_F(FileFinderTest, GetFileOpensLooseFilesInAnyCase)
{
    EXPECT_EQ(Contents(FileFinder::GetFile("Meshes\\Armor\\A.KOF", KoFile::MODE_READ, 256)),
              "armor");
    EXPECT_EQ(Contents(KoFile::GetFile("y.kof", KoFile::MODE_READ, 0)), "cwd-y");
    EXPECT_EQ(FileFinder::GetFile("missing.kof", KoFile::MODE_READ, 0), nullptr);
    EXPECT_EQ(FileFinder::GetFile("missing.kof", KoFile::MODE_APPEND, 0), nullptr);
    EXPECT_EQ(FileFinder::GetFile("missing.kof", KoFile::MODE_READ_WRITE, 0), nullptr);

    // Write mode never searches: it makes a new loose file under the name given.
    FileFinder::AddPath((dir / "second").c_str());
    std::unique_ptr<KoFile> out(FileFinder::GetFile("only.txt", KoFile::MODE_WRITE, 64));
    ASSERT_NE(out, nullptr);
    out->Write("new", 3);
    out.reset();
    EXPECT_EQ(vxtest::ReadFile(dir / "cwd/only.txt"), "new");
    EXPECT_EQ(vxtest::ReadFile(dir / "second/only.txt"), "only");
}

TEST_F(FileFinderTest, AccessFileByMode)
{
    EXPECT_TRUE(FileFinder::AccessFile("y.kof", KoFile::MODE_READ));
    EXPECT_FALSE(FileFinder::AccessFile("nope.kof", KoFile::MODE_READ));
    EXPECT_TRUE(KoFile::CanAccess("y.kof", KoFile::MODE_READ_WRITE));
    EXPECT_FALSE(FileFinder::AccessFile("nofolder\\x.kof", KoFile::MODE_WRITE));
    // The write probe does not destroy what it probes.
    EXPECT_TRUE(FileFinder::AccessFile("y.kof", KoFile::MODE_WRITE));
    EXPECT_EQ(vxtest::ReadFile(dir / "cwd/y.kof"), "cwd-y");
}

TEST_F(FileFinderTest, SecondFinderLeavesTheSingletonAlone)
{
    {
        FileFinder second(nullptr, 1, true);
        EXPECT_EQ(FileFinder::pFinder, &finder);
        EXPECT_EQ(FileFinder::iFileLogging, 1);
    }
    EXPECT_EQ(FileFinder::pFinder, &finder);
}

TEST(FileFinderStatics, SafeWithoutSingleton)
{
    ASSERT_EQ(FileFinder::pFinder, nullptr);
    char out[MAX_PATH_BYTES];
    EXPECT_EQ(FileFinder::Locate("x", out, 0, 0xFFFF), FileFinder::FILE_NOT_FOUND);
    EXPECT_EQ(FileFinder::GetFile("x", KoFile::MODE_READ, 0), nullptr);
    EXPECT_FALSE(FileFinder::AccessFile("x", KoFile::MODE_READ));
    EXPECT_EQ(FileFinder::GetNumPaths(), 0u);
    EXPECT_EQ(FileFinder::GetPath(0), nullptr);
    FileFinder::AddPath("ignored");
    FileFinder::Close();

    auto* heap = new FileFinder(nullptr, 0, false);
    EXPECT_EQ(FileFinder::pFinder, heap);
    FileFinder::Close();
    EXPECT_EQ(FileFinder::pFinder, nullptr);
}

TEST(FileFinderCombine, RelativeNames)
{
    struct Row
    {
        char const* base;
        char const* relative;
        char const* expected;
    };
    Row const rows[] = {
        {"a\\b\\c.txt", "..\\d.txt", "a\\d.txt"},
        {"a\\b\\c.txt", "d.txt", "d.txt"},
        {"a\\b\\c\\e.txt", "..\\..\\d.txt", "a\\d.txt"},
        {"a\\b.txt", "..\\..\\..\\d.txt", "\\d.txt"},
        {"\\a\\b.txt", "..\\d.txt", "\\d.txt"},
        {"c:\\x\\y\\z.kof", "..\\t.dds", "\\x\\t.dds"},
        {"a\\b\\c.txt", "../d.txt", "../d.txt"},
    };
    for (Row const& row : rows)
    {
        char base[MAX_PATH_BYTES], relative[MAX_PATH_BYTES], out[MAX_PATH_BYTES];
        std::strcpy(base, row.base);
        std::strcpy(relative, row.relative);
        FileFinder::CombineFileNames(base, relative, out);
        EXPECT_STREQ(out, row.expected) << row.base << " + " << row.relative;
    }
}
} // namespace

TEST_F(FileFinderTest, LoggingHookSeesEachReadLookupOnlyWhileLoggingIsOn)
{
    static std::string sLog;
    sLog.clear();
    FileFinder::SetGetstringLogFunc(
        [](FileFinder::FILE_LOCATION location, char const* path, bool opened, uint32_t thread)
        {
            bool here = thread == VXThread::GetCurrentThreadId();
            sLog += std::to_string(location) + path + (opened ? "+" : "-") + (here ? ";" : "?");
        });
    EXPECT_EQ(Contents(FileFinder::GetFile("y.kof", KoFile::MODE_READ, 0)), "cwd-y");
    FileFinder::iFileLogging = 1;
    EXPECT_EQ(Contents(FileFinder::GetFile("y.kof", KoFile::MODE_READ, 0)), "cwd-y");
    EXPECT_EQ(Contents(FileFinder::GetFile("none.kof", KoFile::MODE_READ, 0)), "<null>");
    FileFinder::iFileLogging = 0;
    FileFinder::SetGetstringLogFunc(nullptr);
    EXPECT_EQ(sLog, "1y.kof+;");
}
