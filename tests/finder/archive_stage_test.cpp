// The whole road from a name to bytes: archives first, loose files where invalidation
// lets them win, and the search paths behind.
#include "../archive/FileViewKit.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{
constexpr auto kStored = VXArchiveWriter::MC_STORED;
using Clock = std::filesystem::file_time_type::clock;

class ArchiveStageTest : public vxtest::FileViewTest
{
protected:
    void Age(std::string const& path, std::chrono::hours by)
    {
        std::filesystem::last_write_time(dir / path, Clock::now() - by);
    }
    void Renew(std::string const& path, std::chrono::hours by)
    {
        std::filesystem::last_write_time(dir / path, Clock::now() + by);
    }
    // Reads the record's offset straight from the tables: a search would mark it tested.
    bool Valid(Archive* archive, char const* name)
    {
        VXHash dirKey, fileKey;
        VXHash::MakeDirAndFile(name, dirKey, fileKey);
        for (uint64_t d = 0; VXDirectoryEntry* directory = archive->GetDirectory(d); ++d)
            for (uint32_t f = 0;
                 directory->kHash.Hash() == dirKey.Hash() && f < directory->uiEntryCount; ++f)
                if (directory->pEntries[f].kHash.Hash() == fileKey.Hash())
                    return directory->pEntries[f].QOffset() != 0;
        return false;
    }
};

TEST_F(ArchiveStageTest, MembersComeFirstWithoutInvalidation)
{
    Pack("Base.vxa", {{"meshes\\a.kof", "member", kStored}});
    Loose("Data/meshes/a.kof", "loose");
    Loose("y.kof", "cwd-y");
    ASSERT_TRUE(Start("Base.vxa", false));
    std::string path;
    EXPECT_EQ(Where("meshes\\a.kof", &path), FileFinder::FILE_IN_ARCHIVE);
    EXPECT_EQ(path, "meshes\\a.kof");
    EXPECT_EQ(Read("meshes\\a.kof"), "member");
    EXPECT_EQ(Where("c:\\meshes\\a.kof"), FileFinder::FILE_NOT_FOUND); // drives skip archives
    EXPECT_EQ(Where("y.kof", nullptr, FileFinder::SEARCH_NO_CWD), FileFinder::FILE_NOT_FOUND);

    // Read-write and append modes get the read-only member; write mode makes a loose file.
    std::unique_ptr<KoFile> append(FileFinder::GetFile("meshes\\a.kof", KoFile::MODE_APPEND, 0));
    ASSERT_NE(append, nullptr);
    EXPECT_EQ(vxtest::ReadAll(*append, 64), "member");
    std::unique_ptr<KoFile> write(FileFinder::GetFile("a.kof", KoFile::MODE_WRITE, 0));
    ASSERT_NE(write, nullptr);
    write.reset();
    EXPECT_TRUE(vxtest::FileExists(dir / "a.kof"));

    _FILETIME member{}, archive{};
    ASSERT_TRUE(FileFinder::GetFileTime("meshes\\a.kof", member));
    ASSERT_TRUE(FileFinder::GetFileTime("Data\\Base.vxa", archive, ARCHIVE_TYPE_MISC));
    EXPECT_EQ(member.dwLowDateTime, archive.dwLowDateTime);
    EXPECT_EQ(member.dwHighDateTime, archive.dwHighDateTime);
}

TEST_F(ArchiveStageTest, FlagsBindOnlyWithArchivesOnAndNoInvalidation)
{
    Loose("y.kof", "cwd-y");
    ASSERT_TRUE(Start("", true));
    EXPECT_EQ(Where("y.kof", nullptr, FileFinder::SEARCH_NO_CWD), FileFinder::FILE_ON_DISK);
    ArchiveManager::bUseArchives = false;
    ArchiveManager::SetInvalidateOlderFiles(false);
    EXPECT_EQ(Where("y.kof", nullptr, FileFinder::SEARCH_NO_CWD), FileFinder::FILE_ON_DISK);
}

TEST_F(ArchiveStageTest, PresenceBeatsDatesWhenTheArchiveHasNames)
{
    Loose("Data/meshes/a.kof", "older loose");
    Age("Data/meshes/a.kof", std::chrono::hours(48));
    Pack("Base.vxa", {{"meshes\\a.kof", "member", kStored}, {"meshes\\b.kof", "b", kStored}});
    ASSERT_TRUE(Start("Base.vxa", true));
    EXPECT_FALSE(Valid(Listed(0), "meshes\\a.kof"));
    std::string path;
    EXPECT_EQ(Where("meshes\\a.kof", &path), FileFinder::FILE_ON_DISK);
    EXPECT_EQ(path, "Data\\meshes\\a.kof");
    EXPECT_EQ(Read("meshes\\a.kof"), "older loose");
    EXPECT_EQ(Read("meshes\\b.kof"), "b");
}

TEST_F(ArchiveStageTest, DatesDecideWhenTheArchiveLacksNamesThenTheLazyTestCatchesUp)
{
    VXArchiveWriterOptions nameless;
    nameless.uiFlags = 0;
    Pack("Bare.vxa", {{"meshes\\new.kof", "m-new", kStored}, {"meshes\\old.kof", "m-old", kStored}},
         nameless);
    Loose("Data/meshes/new.kof", "newer loose");
    Renew("Data/meshes/new.kof", std::chrono::hours(1));
    Loose("Data/meshes/old.kof", "older loose");
    Age("Data/meshes/old.kof", std::chrono::hours(48));
    ASSERT_TRUE(Start("Bare.vxa", true));
    Archive* bare = Listed(0);
    EXPECT_FALSE(Valid(bare, "meshes\\new.kof"));
    EXPECT_TRUE(Valid(bare, "meshes\\old.kof"));
    // A search with a name tests the record once against its loose twin, whatever its date.
    EXPECT_EQ(Read("meshes\\old.kof"), "older loose");
    EXPECT_FALSE(Valid(bare, "meshes\\old.kof"));
}

TEST_F(ArchiveStageTest, LazyTestSeesLooseFilesThatAppearAfterOpen)
{
    Pack("Base.vxa", {{"textures\\sky.dds", "member sky", kStored}});
    ASSERT_TRUE(Start("Base.vxa", true));
    Loose("Data/textures/sky.dds", "loose sky");
    EXPECT_EQ(Read("textures\\sky.dds"), "loose sky");
}

TEST_F(ArchiveStageTest, InvalidationFileNamesDirectoriesAndFiles)
{
    Pack("Base.vxa", {{"textures\\armor\\a.dds", "a", kStored},
                      {"textures\\armor\\b.dds", "b", kStored},
                      {"meshes\\sky.kof", "mesh sky", kStored},
                      {"sound\\sky.kof", "sound sky", kStored}});
    Loose("inv.txt", "textures\\armor\\x.dds\r\nsky.kof\r\n");
    std::filesystem::create_directories(dir / "Data/meshes");
    ASSERT_TRUE(Start("Base.vxa", true, "inv.txt"));
    Archive* base = Listed(0);
    EXPECT_FALSE(Valid(base, "textures\\armor\\a.dds"));
    EXPECT_FALSE(Valid(base, "textures\\armor\\b.dds"));
    EXPECT_FALSE(Valid(base, "meshes\\sky.kof")); // its directory has a loose twin
    EXPECT_TRUE(Valid(base, "sound\\sky.kof"));   // no loose twin: the file entry does not apply
    ASSERT_NE(ArchiveManager::QInvalidateFileNameHashes(), nullptr);
    EXPECT_EQ(ArchiveManager::QInvalidateFileNameHashes()->QSize(), 1u);
}

TEST_F(ArchiveStageTest, HostInvalidateFileTakesTheFirstArchiveOnly)
{
    Pack("One.vxa", {{"meshes\\a.kof", "one", kStored}});
    Pack("Two.vxa", {{"meshes\\a.kof", "two", kStored}});
    ASSERT_TRUE(Start("One.vxa,Two.vxa", false));
    EXPECT_TRUE(ArchiveManager::InvalidateFile("meshes\\a.kof"));
    EXPECT_FALSE(Valid(Listed(0), "meshes\\a.kof"));
    EXPECT_TRUE(Valid(Listed(1), "meshes\\a.kof"));
    EXPECT_EQ(Read("meshes\\a.kof"), "two");
    EXPECT_TRUE(ArchiveManager::InvalidateFile("Data\\meshes\\a.kof"));
    EXPECT_FALSE(ArchiveManager::InvalidateFile("meshes\\a.kof"));
    EXPECT_EQ(Read("meshes\\a.kof"), "<null>");
}

TEST_F(ArchiveStageTest, InvalidateOthersReachesOverlappingTypesOnly)
{
    VXArchiveWriterOptions meshes, textures;
    meshes.usArchiveType = ARCHIVE_TYPE_MESHES;
    textures.usArchiveType = ARCHIVE_TYPE_TEXTURES;
    Pack("Meshes.vxa", {{"shared\\a.kof", "meshes", kStored}}, meshes);
    Pack("Textures.vxa", {{"shared\\a.kof", "textures", kStored}}, textures);
    Pack("Patch.vxa", {{"shared\\a.kof", "patch", kStored}}, meshes);
    ASSERT_TRUE(Start("Meshes.vxa,Textures.vxa", false));
    Archive* patch = ArchiveManager::OpenArchive("Patch.vxa", 0, true);
    ASSERT_NE(patch, nullptr);
    EXPECT_FALSE(Valid(Listed(0), "shared\\a.kof"));
    EXPECT_TRUE(Valid(Listed(1), "shared\\a.kof"));
    EXPECT_EQ(Read("shared\\a.kof"), "patch");
}
} // namespace
