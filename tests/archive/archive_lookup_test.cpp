// Lookups by key, the cached indices, the collision test, the loose-file test, and the
// names from memory and from disk.
#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxtest;

namespace
{
// Opens the protected clean-up operations to the tests.
class TestArchive : public Archive
{
public:
    using Archive::Archive;
    using Archive::DeleteDirectoryStringArray;
    using Archive::DeleteFilenameStringArray;
};

struct Keys
{
    explicit Keys(char const* path) { VXHash::MakeDirAndFile(path, kDir, kFile); }
    VXHash kDir;
    VXHash kFile;
};

std::string WriteMembers(TempDir const& dir, uint32_t flags, std::string const& name = "a.vxa")
{
    VXArchiveWriterOptions options;
    options.uiFlags = flags;
    return SaveArchive(dir, BuildArchive(MakeMembers(0), options), name);
}

constexpr uint32_t kNames =
    VXArchiveHeader::AF_DIRECTORY_STRINGS | VXArchiveHeader::AF_FILE_STRINGS;
// Names loaded at open, offsets kept after the clean-up.
constexpr uint32_t kResident = kNames | VXArchiveHeader::AF_RETAIN_STRINGS_DURING_STARTUP |
                               VXArchiveHeader::AF_RETAIN_FILE_NAME_OFFSETS;
} // namespace

TEST(ArchiveLookup, EmptyArchiveFindsNothing)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    VXArchiveWriter writer;
    std::vector<uint8_t> image;
    ASSERT_TRUE(writer.WriteToMemory(image));
    EXPECT_EQ(image.size(), 36u);
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    EXPECT_FALSE(archive.GetDisabled());
    Keys keys("a\\b.kof");
    uint64_t d = 0, f = 0;
    EXPECT_FALSE(archive.FindFile(keys.kDir, keys.kFile, d, f, "a\\b.kof"));
    EXPECT_EQ(archive.GetFile(0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(archive.GetDirectoryString(0), nullptr);
}

TEST(ArchiveLookup, CollisionTestAndCachedIndices)
{
    ArchiveSettingsScope settings;
    ArchiveManager::SetCheckRuntimeCollisions(true);
    TempDir dir;
    Archive archive(WriteMembers(dir, kNames).c_str(), 262144, false, false);
    uint64_t d = 0, f = 0;
    for (char const* path :
         {"meshes\\armor\\helmet.kof", "MESHES\\Armor\\HELMET.KOF", "readme.txt"})
    {
        Keys keys(path);
        EXPECT_TRUE(archive.FindFile(keys.kDir, keys.kFile, d, f, path)) << path;
    }
    Keys helmet("meshes\\armor\\helmet.kof");
    Keys sky("textures\\sky.dds");
    // A key hit with another name's text is a collision, until the cache answers.
    EXPECT_FALSE(archive.FindDirectory(sky.kDir, d, "other\\sky.dds"));
    EXPECT_TRUE(archive.FindDirectory(sky.kDir, d, "other\\sky.dds"));
    EXPECT_FALSE(archive.FindFileInDirectory(d, sky.kFile, f, "textures\\cloud.dds", false));
    EXPECT_TRUE(archive.FindFileInDirectory(d, sky.kFile, f, "textures\\cloud.dds", false));
    // Another directory resets the cached file index: the test runs again.
    EXPECT_TRUE(archive.FindDirectory(helmet.kDir, d, nullptr));
    EXPECT_TRUE(archive.FindDirectory(sky.kDir, d, nullptr));
    EXPECT_FALSE(archive.FindFileInDirectory(d, sky.kFile, f, "textures\\cloud.dds", false));
    // The same test with the names on disk.
    TestArchive cleaned(WriteMembers(dir, kNames, "b.vxa").c_str(), 262144, false, false);
    cleaned.DeleteDirectoryStringArray();
    cleaned.DeleteFilenameStringArray(false);
    EXPECT_TRUE(cleaned.FindFile(helmet.kDir, helmet.kFile, d, f, "meshes\\armor\\helmet.kof"));
    EXPECT_FALSE(cleaned.FindDirectory(sky.kDir, d, "Textures\\sky.dds\\"));
}

TEST(ArchiveLookup, NamesFromMemoryAndDisk)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    auto members = MakeMembers(0);
    TestArchive archive(WriteMembers(dir, kResident).c_str(), 262144, false, false);
    ASSERT_TRUE(archive.GetHasFileStrings() && archive.GetHasDirectoryStrings());
    auto expectNames = [&](TestArchive& a)
    {
        for (TestMember const& member : members)
        {
            Keys keys(member.sPath.c_str());
            uint64_t d = 0, f = 0;
            ASSERT_TRUE(a.FindFile(keys.kDir, keys.kFile, d, f, nullptr));
            std::string path = std::string(a.GetDirectoryString(d)) + "\\" + a.GetFileString(d, f);
            std::string expected =
                member.sPath.find('\\') == std::string::npos ? ".\\" + member.sPath : member.sPath;
            EXPECT_EQ(path, expected);
            EXPECT_STREQ(a.GetFileNameForFileEntry(&a.GetDirectory(d)->pEntries[f]),
                         a.GetFileString(d, f));
        }
    };
    expectNames(archive);
    // Offsets kept: the name is fetched by seeking straight to it.
    archive.DeleteFilenameStringArray(true);
    archive.DeleteDirectoryStringArray();
    EXPECT_FALSE(archive.GetHasFileStrings() || archive.GetHasDirectoryStrings());
    expectNames(archive);
    char* first = archive.GetFileString(0, 0);
    std::string firstName = first;
    char* second = archive.GetFileString(1, 0);
    EXPECT_EQ(first, second); // one scratch: the first result changed
    EXPECT_NE(firstName, std::string(first));
    // No offsets: the table is scanned from its start.
    archive.DeleteFilenameStringArray(false);
    ArchiveManager::SetRetainFilenameOffsetTable(0);
    expectNames(archive);
    // A primary archive frees nothing but loses the flags all the same.
    ArchiveManager::SetRetainTables(2, 2, 2);
    TestArchive primary(WriteMembers(dir, kNames, "p.vxa").c_str(), 262144, false, false);
    primary.SetPrimary(true);
    primary.DeleteFilenameStringArray(false);
    EXPECT_FALSE(primary.GetHasFileStrings());
    primary.SetPrimary(false);
    expectNames(primary);
    // Without names in the archive there are none to give.
    Archive bare(WriteMembers(dir, 0, "bare.vxa").c_str(), 262144, false, false);
    EXPECT_EQ(bare.GetFileString(0, 0), nullptr);
    EXPECT_EQ(bare.GetDirectoryString(0), nullptr);
}

TEST(ArchiveLookup, StringsLoadOnlyWhenAskedFor)
{
    ArchiveSettingsScope settings;
    ArchiveManager::SetRetainTables(0, 0, 0);
    TempDir dir;
    Archive archive(WriteMembers(dir, kNames).c_str(), 262144, false, false);
    EXPECT_FALSE(archive.QLoadStrings());
    EXPECT_FALSE(archive.GetHasFileStrings());
    EXPECT_STREQ(archive.GetFileString(0, 0), archive.GetFileString(0, 0));
    ASSERT_NE(archive.GetDirectoryString(1), nullptr);
    VXArchiveWriterOptions options;
    options.uiFlags = kNames | VXArchiveHeader::AF_RETAIN_STRINGS_DURING_STARTUP;
    Archive startup(SaveArchive(dir, BuildArchive(MakeMembers(0), options), "s.vxa").c_str(),
                    262144, false, false);
    EXPECT_TRUE(startup.GetHasFileStrings());
    EXPECT_TRUE(Archive::CheckRetain(true, 1) && !Archive::CheckRetain(false, 1) &&
                !Archive::CheckRetain(true, 0) && Archive::CheckRetain(false, 5));
}

TEST(ArchiveLookup, OwnerOffsetAndLooseTwins)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    Archive archive(WriteMembers(dir, kResident).c_str(), 262144, false, false);
    Keys helmet("meshes\\armor\\helmet.kof");
    uint64_t d = 0, f = 0;
    ASSERT_TRUE(archive.FindFile(helmet.kDir, helmet.kFile, d, f, nullptr));
    VXFileEntry* entry = &archive.GetDirectory(d)->pEntries[f];
    EXPECT_TRUE(archive.IsFileEntryInArchive(entry));
    EXPECT_EQ(archive.GetDirectoryIndexForFileEntry(entry), d);
    EXPECT_EQ(archive.GetFileIndexForFileEntryFromDirectory(d, entry), f);
    // Owner bit 0 serves only a normal archive.
    archive.SetSecondary(true);
    EXPECT_FALSE(archive.FindFile(helmet.kDir, helmet.kFile, d, f, nullptr));
    EXPECT_EQ(archive.GetFileEntryForFile(helmet.kDir, helmet.kFile, nullptr), entry);
    EXPECT_EQ(archive.GetFileByFileEntry(entry, 0, nullptr), nullptr);
    archive.SetSecondary(false);
    // A name-less reader takes its name from the table once start-up strings are cleaned.
    ArchiveManager::bStartupStringsCleaned = true;
    std::unique_ptr<ArchiveFile> named(archive.GetFileByFileEntry(entry, 0, nullptr));
    ASSERT_TRUE(named);
    EXPECT_STREQ(named->FileName(), "helmet.kof");
    // A zero offset is no member, whatever the key.
    uint32_t offset = entry->QOffset();
    entry->SetOffset(0);
    EXPECT_EQ(archive.GetFile(d, f, 0, nullptr), nullptr);
    EXPECT_FALSE(archive.FindFile(helmet.kDir, helmet.kFile, d, f, nullptr));
    entry->SetOffset(offset);

    // A loose twin under Data\ invalidates the record at its first named search, once.
    ArchiveManager::SetInvalidateOlderFiles(true);
    ScopedCwd cwd(dir.Path());
    WriteFile(dir / "Data/meshes/armor/helmet.kof", "loose");
    EXPECT_FALSE(archive.FindFile(helmet.kDir, helmet.kFile, d, f, "meshes\\armor\\helmet.kof"));
    EXPECT_EQ(entry->QOffset(), 0u);
    Keys boots("meshes\\armor\\boots.kof");
    ASSERT_TRUE(archive.FindFile(boots.kDir, boots.kFile, d, f, nullptr)); // tested, no twin
    WriteFile(dir / "Data/meshes/armor/boots.kof", "late");
    EXPECT_TRUE(archive.FindFile(boots.kDir, boots.kFile, d, f, "meshes\\armor\\boots.kof"));
    EXPECT_TRUE(archive.GetDirectory(d)->pEntries[f].QChecked());
}
