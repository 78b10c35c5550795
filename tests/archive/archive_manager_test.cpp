// The manager: archive types by extension, name trimming and the settings statics; then
// over a file view, load order, the last-archive hint, type masks, removing masters and the
// start-up clean-up.
#include "FileViewKit.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{
constexpr auto kStored = VXArchiveWriter::MC_STORED;
using ArchiveManagerTest = vxtest::FileViewTest;

TEST(ArchiveSettings, TypeFromExtensionAfterSort)
{
    ArchiveManager::SortArchiveTypeExtensions();
    for (unsigned int i = 1; i < ArchiveManager::uiExtensionCountS; ++i)
        EXPECT_LT(std::strcmp(ArchiveManager::ArchiveTypeExtensionsMap[i - 1].acExtension,
                              ArchiveManager::ArchiveTypeExtensionsMap[i].acExtension),
                  0);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("a.h"), ARCHIVE_TYPE_SHADERS);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("a.kf"), ARCHIVE_TYPE_MESHES);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("x\\A.DDS"), ARCHIVE_TYPE_TEXTURES);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("a.xyz"), ARCHIVE_TYPE_MISC);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("a.ddsx"), ARCHIVE_TYPE_MISC);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName("h"), ARCHIVE_TYPE_SHADERS);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileName(""), ARCHIVE_TYPE_MISC);
    // Every row of the map is found through the bisection.
    for (ArchiveTypeExtension const& row : ArchiveManager::ArchiveTypeExtensionsMap)
        EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileExtension(row.acExtension), row.eType);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileExtension(".ogg"), ARCHIVE_TYPE_VOICES);
    EXPECT_EQ(ArchiveManager::GetArchiveTypeFromFileExtension("a.h"), ARCHIVE_TYPE_SHADERS);
}

TEST(ArchiveSettings, TrimAndStandardize)
{
    EXPECT_STREQ(ArchiveManager::TrimFileName("Data\\meshes\\a.kof"), "meshes\\a.kof");
    EXPECT_STREQ(ArchiveManager::TrimFileName("\\data\\meshes\\a.kof"), "meshes\\a.kof");
    EXPECT_STREQ(ArchiveManager::TrimFileName("DATA\\meshes\\a.kof"), "DATA\\meshes\\a.kof");
    char out[260];
    StandardizeModelPath("armor\\a.kof", out, sizeof(out));
    EXPECT_STREQ(out, "meshes\\armor\\a.kof");
    StandardizeModelPath("MESHES\\a.kof", out, sizeof(out));
    EXPECT_STREQ(out, "MESHES\\a.kof");
    StandardizeModelPath("a.spt", out, sizeof(out));
    EXPECT_STREQ(out, "Treesa.spt");
    StandardizeModelPath("armor\\a.kof", out, 10);
    EXPECT_STREQ(out, "meshes\\ar");
}

TEST(ArchiveSettings, InitCopiesAndStartupDefaults)
{
    vxtest::ArchiveSettingsScope settings;
    ArchiveManager::Init(true, "C:\\game\\", nullptr, 4096);
    EXPECT_STREQ(ArchiveManager::QMasterFilePath(), "C:\\game\\");
    EXPECT_STREQ(ArchiveManager::sMasterArchiveList, "");
    ArchiveManager::SetInvalidation(false, "inv.txt");
    EXPECT_STREQ(ArchiveManager::sArchiveInvalidationFile, "inv.txt");
    ArchiveManager::SetStartupFinished();
    EXPECT_EQ(ArchiveManager::QArchiveFileBufferSize(), 0x20000u);
    EXPECT_EQ(ArchiveManager::QMasterArchiveBufferSize(ARCHIVE_INDEX_SOUNDS), 65536u);
    EXPECT_EQ(ArchiveManager::QMasterArchiveBufferSize(ARCHIVE_INDEX_MISC), 10240u);
    ArchiveManager::Shutdown();
    EXPECT_EQ(ArchiveManager::sArchiveInvalidationFile, nullptr);
    EXPECT_EQ(ArchiveManager::sMasterArchiveList, nullptr);
}

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
    Pack("Typed.vxa", {{"meshes\\a.kof", "typed", kStored}},
         {.usArchiveType = ARCHIVE_TYPE_MESHES});
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

TEST(ArchiveSettings, HashListSettersLeaveTheReplacedListToItsOwner)
{
    auto make = []
    {
        void* block = MemoryManager::Instance().Allocate(sizeof(VXTArray<VXHash*>));
        auto* list = ::new (block) VXTArray<VXHash*>();
        list->Add(::new (MemoryManager::Instance().Allocate(sizeof(VXHash)))
                      VXHash("a.kof", VXHash::HASH_FILE));
        return list;
    };
    VXTArray<VXHash*>* first = make();
    ArchiveManager::SetInvalidateFileNameHashes(first);
    ArchiveManager::SetInvalidateFileNameHashes(make()); // first goes back to this test
    EXPECT_EQ(first->QSize(), 1u);                       // freed before: ASan reports it
    EXPECT_EQ((*first)[0]->Hash(), VXHash("a.kof", VXHash::HASH_FILE).Hash());
    MemoryManager::Instance().Deallocate((*first)[0]);
    first->~VXTArray<VXHash*>();
    MemoryManager::Instance().Deallocate(first);
    ArchiveManager::CloseAll(); // frees the list in place
    EXPECT_EQ(ArchiveManager::QInvalidateFileNameHashes(), nullptr);
}
