// Lookups by key: the flat index against the two binary searches, the cached indices, the
// collision test, the loose-file test, and the names from memory and from disk.
#include "archive/VXArchiveIndex.h"

#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <algorithm>

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

std::string Write(TempDir const& dir, uint32_t flags, std::string const& name = "a.vxa")
{
    return SaveArchive(dir, BuildArchive(MakeMembers(0), {.uiFlags = flags}), name);
}

// Names loaded at open, offsets kept after the clean-up.
constexpr uint32_t kResident = kNameFlags | VXArchiveHeader::AF_RETAIN_STRINGS_DURING_STARTUP |
                               VXArchiveHeader::AF_RETAIN_FILE_NAME_OFFSETS;
} // namespace

TEST(ArchiveLookup, IndexAnswersAsTheTwoSearchesDo)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::vector<TestMember> members;
    for (int i = 0; i < 3000; ++i)
        members.push_back({"set" + std::to_string(i % 37) + "\\m" + std::to_string(i) + ".kof", "x",
                           VXArchiveWriter::MC_STORED});
    Archive archive(SaveArchive(dir, BuildArchive(members)).c_str(), 4096, false, false);
    ASSERT_TRUE(archive.FileIsGood());
    for (int i = 0; i < 3100; ++i) // the last hundred are not members
    {
        std::string name = "SET" + std::to_string(i % 37) + "\\M" + std::to_string(i) + ".KOF";
        Keys keys(name.c_str());
        uint64_t d1 = 0, f1 = 0, d2 = 0, f2 = 0;
        bool indexed = archive.FindFile(keys.kDir, keys.kFile, d1, f1, nullptr);
        bool searched = archive.FindDirectory(keys.kDir, d2, nullptr) &&
                        archive.FindFileInDirectory(d2, keys.kFile, f2, nullptr, false);
        ASSERT_EQ(indexed, i < 3000) << name;
        ASSERT_EQ(searched, indexed) << name;
        EXPECT_TRUE(!indexed || (d1 == d2 && f1 == f2)) << name;
    }
}

TEST(VXArchiveIndex, RefusesRepeatedKeysAndOversizedTables)
{
    VXFileEntry entries[2];
    entries[0].kHash = entries[1].kHash = VXHash("a.kof", VXHash::HASH_FILE);
    VXDirectoryEntry directory;
    directory.kHash = VXHash("meshes", VXHash::HASH_RAW);
    directory.uiEntryCount = 2;
    directory.pEntries = entries;
    VXArchiveIndex index;
    EXPECT_FALSE(index.Build(&directory, 1));
    EXPECT_FALSE(index.QBuilt());
    directory.uiEntryCount = 1;
    ASSERT_TRUE(index.Build(&directory, 1));
    uint64_t d = 9, f = 9;
    EXPECT_TRUE(index.Find(directory.kHash.Hash(), entries[0].kHash.Hash(), d, f));
    EXPECT_TRUE(d == 0 && f == 0);
    EXPECT_FALSE(index.Find(entries[0].kHash.Hash(), directory.kHash.Hash(), d, f));
    directory.uiEntryCount = 0x10000;
    EXPECT_FALSE(VXArchiveIndex().Build(&directory, 1));
}
TEST(ArchiveLookup, CollisionTestAndCachedIndices)
{
    ArchiveSettingsScope settings;
    ArchiveManager::SetCheckRuntimeCollisions(true);
    TempDir dir;
    Archive archive(Write(dir, kNameFlags).c_str(), 262144, false, false);
    uint64_t d = 0, f = 0;
    for (char const* path :
         {"meshes\\armor\\helmet.kof", "MESHES\\Armor\\HELMET.KOF", "readme.txt"})
        EXPECT_TRUE(archive.FindFile(Keys(path).kDir, Keys(path).kFile, d, f, path)) << path;
    Keys helmet("meshes\\armor\\helmet.kof"), sky("textures\\sky.dds");
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
    TestArchive cleaned(Write(dir, kNameFlags, "b.vxa").c_str(), 262144, false, false);
    cleaned.DeleteDirectoryStringArray();
    cleaned.DeleteFilenameStringArray(false);
    EXPECT_TRUE(cleaned.FindFile(helmet.kDir, helmet.kFile, d, f, "meshes\\armor\\helmet.kof"));
    EXPECT_FALSE(cleaned.FindDirectory(sky.kDir, d, "Textures\\sky.dds\\"));
}

TEST(ArchiveLookup, NamesFromMemoryAndDisk)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    TestArchive archive(Write(dir, kResident).c_str(), 262144, false, false);
    ASSERT_TRUE(archive.GetHasFileStrings() && archive.GetHasDirectoryStrings());
    auto expectNames = [&](Archive& a)
    {
        for (TestMember const& member : MakeMembers(0))
        {
            Keys keys(member.sPath.c_str());
            uint64_t d = 0, f = 0;
            ASSERT_TRUE(a.FindFile(keys.kDir, keys.kFile, d, f, nullptr));
            std::string path = std::string(a.GetDirectoryString(d)) + "\\" + a.GetFileString(d, f);
            bool root = member.sPath.find('\\') == std::string::npos;
            EXPECT_EQ(path, root ? ".\\" + member.sPath : member.sPath);
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
    // No offsets: the table is scanned from its start.
    archive.DeleteFilenameStringArray(false);
    ArchiveManager::SetRetainFilenameOffsetTable(0);
    expectNames(archive);
    // A primary archive frees nothing but loses the flags all the same.
    ArchiveManager::SetRetainTables(2, 2, 2);
    TestArchive primary(Write(dir, kNameFlags, "p.vxa").c_str(), 262144, false, false);
    primary.SetPrimary(true);
    primary.DeleteFilenameStringArray(false);
    EXPECT_FALSE(primary.GetHasFileStrings());
    primary.SetPrimary(false);
    expectNames(primary);
    // Nothing retained: nothing is loaded at open, names are scanned for when asked.
    ArchiveManager::SetRetainTables(0, 0, 0);
    Archive lazy(Write(dir, kNameFlags, "l.vxa").c_str(), 262144, false, false);
    EXPECT_FALSE(lazy.QLoadStrings() || lazy.GetHasFileStrings());
    expectNames(lazy);
    EXPECT_TRUE(Archive::CheckRetain(true, 1) && !Archive::CheckRetain(false, 1) &&
                !Archive::CheckRetain(true, 0) && Archive::CheckRetain(false, 5));
    // Without names, or without members, there are none to give.
    Archive bare(Write(dir, 0, "bare.vxa").c_str(), 262144, false, false);
    EXPECT_EQ(bare.GetFileString(0, 0), nullptr);
    EXPECT_EQ(bare.GetDirectoryString(0), nullptr);
    std::vector<uint8_t> empty = BuildArchive({});
    EXPECT_EQ(empty.size(), 36u);
    Archive none(SaveArchive(dir, empty, "none.vxa").c_str(), 262144, false, false);
    EXPECT_FALSE(none.GetDisabled());
    EXPECT_FALSE(OpenMember(none, "a\\b.kof"));
    EXPECT_EQ(none.GetFile(0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(none.GetDirectoryString(0), nullptr);
}

TEST(ArchiveLookup, OwnerOffsetAndLooseTwins)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    Archive archive(Write(dir, kResident).c_str(), 262144, false, false);
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

TEST(ArchiveLookup, SlashesAndAnEmptyRootNameReachTheSameRecords)
{
    ArchiveSettingsScope settings;
    ArchiveManager::SetCheckRuntimeCollisions(true);
    TempDir dir;
    VXArchiveLayout layout;
    std::vector<uint8_t> image = BuildArchive(MakeMembers(0), {}, &layout);
    for (size_t i = 0; i < layout.kDirectoryBlockOffsets.size(); ++i)
        if (image[layout.kDirectoryBlockOffsets[i] + 1] == '.') // the root, stored as "."
            image[layout.kDirectoryBlockOffsets[i] + 1] = 0;    // now stored as ""
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    for (char const* name : {"meshes/armor/helmet.kof", "Meshes/Armor\\Helmet.kof", "readme.txt",
                             "meshes\\walk.kf", "one.bin"})
    {
        Keys keys(name);
        uint64_t d = 0, f = 0;
        EXPECT_TRUE(archive.FindFile(keys.kDir, keys.kFile, d, f, name)) << name;
    }
    EXPECT_STREQ(ArchiveManager::TrimFileName("/Data/a.kof"), "a.kof");
}

TEST(ArchiveLookup, ReadAheadOfManyArchivesStaysUnderOneBudget)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::string path = SaveArchive(dir, BuildArchive(MakeMembers(0)));
    std::vector<std::unique_ptr<Archive>> archives;
    for (int i = 0; i < 40; ++i) // each runs through its members in disk order
    {
        archives.push_back(std::make_unique<Archive>(path.c_str(), 262144, false, false));
        std::vector<std::unique_ptr<ArchiveFile>> readers;
        for (TestMember const& member : MakeMembers(0))
            readers.push_back(OpenMember(*archives.back(), member.sPath.c_str()));
        std::sort(readers.begin(), readers.end(),
                  [](auto& a, auto& b) { return a->QArchiveOffset() < b->QArchiveOffset(); });
        for (auto& reader : readers)
            ReadAll(*reader, 100);
    }
    EXPECT_LE(Archive::QReadAheadBytes(), 16u * 256 * 1024);
    archives.clear();
    EXPECT_EQ(Archive::QReadAheadBytes(), 0u);
}
