#include "FileViewKit.h"

#include <gtest/gtest.h>

namespace
{
using vxtest::TestMember;
constexpr auto kStored = VXArchiveWriter::MC_STORED;

class ArchiveManagerTest : public vxtest::FileViewTest
{
};

TEST_F(ArchiveManagerTest, ListFirstThenLoadOrderAndTheFirstOpenedWins)
{
    Pack("Base.vxa", {{"meshes\\a.kof", "base-a", kStored}, {"meshes\\b.kof", "base-b", kStored}});
    Pack("Mod.vxa", {{"meshes\\a.kof", "mod-a", kStored}, {"meshes\\m.kof", "mod-m", kStored}});
    Loose("Plugins.txt", "# load order\r\nMod.qkp\r\nGone.qkp\r\n");
    ASSERT_TRUE(Start("Base.vxa", false));
    ASSERT_EQ(ArchiveManager::GetArchiveList()->QSize(), 2u);
    EXPECT_STREQ(Listed(0)->GetFileName(), "Data\\Base.vxa");
    EXPECT_STREQ(Listed(1)->GetFileName(), "Data\\Mod.vxa");
    EXPECT_EQ(ArchiveManager::GetMasterArchive(ARCHIVE_INDEX_MESHES), Listed(0));

    EXPECT_EQ(Read("meshes\\a.kof"), "base-a");
    // The archive that answered last is asked first: after Mod served m.kof, it serves a.kof.
    EXPECT_EQ(Read("meshes\\m.kof"), "mod-m");
    EXPECT_EQ(ArchiveManager::spLastArchive.load(), Listed(1));
    EXPECT_EQ(Read("MESHES\\A.KOF"), "mod-a");
    EXPECT_EQ(Read("meshes\\b.kof"), "base-b");
    EXPECT_EQ(Read("data\\meshes\\a.kof"), "base-a");
    EXPECT_EQ(Read("\\Data\\meshes\\a.kof"), "base-a");
    EXPECT_EQ(ArchiveManager::GetArchiveForFile("DATA\\meshes\\a.kof", ARCHIVE_TYPE_ALL), nullptr);
}

TEST_F(ArchiveManagerTest, MissingAndBrokenArchivesLeaveTheOthersServing)
{
    Pack("Good.vxa", {{"meshes\\a.kof", "good", kStored}});
    vxtest::WriteFile(dir / "Data/Broken.vxa", "VXA\0 not an archive at all");
    EXPECT_FALSE(Start("Missing.vxa,Broken.vxa, \tGood.vxa,,", false));
    ASSERT_EQ(ArchiveManager::GetArchiveList()->QSize(), 1u);
    EXPECT_EQ(Read("meshes\\a.kof"), "good");
}

TEST_F(ArchiveManagerTest, TypeGivenAtOpenReplacesTheHeaderType)
{
    VXArchiveWriterOptions meshes;
    meshes.usArchiveType = ARCHIVE_TYPE_MESHES;
    Pack("Typed.vxa", {{"meshes\\a.kof", "typed", kStored}}, meshes);
    ASSERT_TRUE(Start("", false));
    Archive* archive = ArchiveManager::OpenArchive("Typed.vxa", ARCHIVE_TYPE_TEXTURES, false);
    ASSERT_NE(archive, nullptr);
    EXPECT_EQ(ArchiveManager::GetArchiveForFile("meshes\\a.kof", ARCHIVE_TYPE_ALL), nullptr);
    EXPECT_EQ(ArchiveManager::GetArchiveForFile("meshes\\a.kof", ARCHIVE_TYPE_TEXTURES), archive);
    EXPECT_EQ(ArchiveManager::GetArchive("data\\TYPED.vxa"), archive);
}

TEST_F(ArchiveManagerTest, RemovingAMasterClearsItsSlotsAndTheHint)
{
    Pack("One.vxa", {{"meshes\\a.kof", "one", kStored}});
    Pack("Two.vxa", {{"meshes\\a.kof", "two", kStored}});
    ASSERT_TRUE(Start("One.vxa,Two.vxa", false));
    Archive* one = Listed(0);
    Archive* two = Listed(1);
    EXPECT_EQ(Read("meshes\\a.kof"), "one");
    EXPECT_TRUE(ArchiveManager::CloseArchive("One.vxa"));
    owned.emplace_back(one);
    EXPECT_EQ(ArchiveManager::GetMasterArchive(ARCHIVE_INDEX_MESHES), nullptr);
    EXPECT_EQ(ArchiveManager::spLastArchive.load(), nullptr);
    EXPECT_EQ(Read("meshes\\a.kof"), "two");

    ArchiveManager::SetMasterArchive(two, ARCHIVE_INDEX_MESHES, 1);
    EXPECT_EQ(ArchiveManager::GetMasterArchive(ARCHIVE_INDEX_MESHES), two);
    VXHash dirKey, fileKey;
    VXHash::MakeDirAndFile("meshes\\a.kof", dirKey, fileKey);
    VXFileEntry* entry =
        ArchiveManager::GetFileEntryForFile(ARCHIVE_INDEX_MESHES, dirKey, fileKey, nullptr);
    ASSERT_NE(entry, nullptr);
    std::unique_ptr<ArchiveFile> reader(
        ArchiveManager::GetFileByFileEntry(ARCHIVE_INDEX_MESHES, entry, 0, "meshes\\a.kof"));
    EXPECT_EQ(reader, nullptr); // the record's owner bit says row 0, which is empty now
}

TEST_F(ArchiveManagerTest, CleanupKeepsOffsetsWhenAsked)
{
    Pack("Names.vxa", {{"meshes\\a.kof", "a", kStored}});
    ArchiveManager::SetRetainTables(0, 0, 2);
    ASSERT_TRUE(Start("Names.vxa", false));
    ArchiveManager::CleanupArchiveStringsAfterStartup();
    EXPECT_TRUE(ArchiveManager::bStartupStringsCleaned);
    Archive* archive = Listed(0);
    EXPECT_FALSE(archive->GetHasDirectoryStrings());
    EXPECT_EQ(Read("meshes\\a.kof"), "a");
    // Names now come from disk through the kept offsets.
    EXPECT_STREQ(archive->GetFileString(0, 0), "a.kof");
}
} // namespace
