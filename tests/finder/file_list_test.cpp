// File lists and directory queries over a real data folder: loose files and two archives.
#include "../archive/FileViewKit.h"

#include "vxsystem/VXSimpleList.h"

#include <algorithm>

using namespace vxtest;

namespace
{
using Names = std::vector<std::string>;

// The list's names in list order (newest first), then the list freed.
Names Take(VXSimpleList<char const*>* list)
{
    Names names;
    for (auto* node = list ? list->QHead() : nullptr; node && node->kItem; node = node->pNext)
        names.emplace_back(node->kItem);
    FileFinder::DeleteFileNameList(list);
    EXPECT_EQ(list, nullptr);
    return names;
}

Names Sorted(Names names)
{
    std::sort(names.begin(), names.end());
    return names;
}

class FileListTest : public FileViewTest
{
protected:
    void PackTwo()
    {
        Pack("A.vxa", {{"textures\\a.dds", "A a", VXArchiveWriter::MC_STORED},
                       {"textures\\b.dds", "A bb", VXArchiveWriter::MC_STORED},
                       {"textures\\notes.txt", "A notes", VXArchiveWriter::MC_STORED},
                       {"textures\\menu.xml", "A menu", VXArchiveWriter::MC_STORED}});
        Pack("B.vxa", {{"textures\\a.dds", "B a", VXArchiveWriter::MC_STORED},
                       {"textures\\c.dds", "B c", VXArchiveWriter::MC_STORED}});
    }
};
} // namespace

TEST_F(FileListTest, ArchivesOnlyWithoutInvalidation)
{
    PackTwo();
    Loose("Data/textures/loose.dds", "never listed");
    ASSERT_TRUE(Start("A.vxa,B.vxa", false));
    // An empty list takes every archive: a name in both stands twice.
    EXPECT_EQ(Sorted(Take(FileFinder::BuildFileList("Data\\textures\\*.dds", "t\\x.dds"))),
              (Names{"t\\a.dds", "t\\a.dds", "t\\b.dds", "t\\c.dds"}));
    // The .txt pattern's extension key is shared by .xml.
    EXPECT_EQ(Sorted(Take(FileFinder::BuildFileList("textures\\*.txt", "t\\"))),
              (Names{"t\\menu.xml", "t\\notes.txt"}));
    // No wildcard: the single-name road, under the prefix's folder.
    EXPECT_EQ(Take(FileFinder::BuildFileList("Data\\textures\\C.DDS", "out\\y")),
              (Names{"out\\C.DDS"}));
    EXPECT_EQ(FileFinder::BuildFileList("Data\\textures\\none*.dds", "t\\"), nullptr);
    EXPECT_EQ(FileFinder::BuildSingleFileList("textures\\c.dds", "noslash", 0xFFFF, nullptr),
              nullptr);
}

TEST_F(FileListTest, LooseNamesComeFirstAndAreNotRepeated)
{
    PackTwo();
    Loose("Data/textures/a.dds", "loose a");
    Loose("Data/textures/d.dds", "loose d");
    ASSERT_TRUE(Start("A.vxa,B.vxa", true));
    Names names = Take(FileFinder::BuildFileList("Data\\textures\\*.dds", "t\\"));
    // The disk scan went first; then only the first archive with the directory adds, and
    // not the name the list holds: B's c.dds stays out.
    EXPECT_EQ(Sorted(names), (Names{"t\\a.dds", "t\\b.dds", "t\\d.dds"}));
    EXPECT_EQ(names.front(), "t\\b.dds");

    // A list passed in that ends up empty is freed with it.
    auto* list = new VXSimpleList<char const*>();
    EXPECT_EQ(FileFinder::BuildFileList("Data\\textures\\*.none", "t\\", 0xFFFF, list), nullptr);

    VXTArray<VXFixedString> disk;
    // The disk side finds the folder whatever the name's case and separators.
    ASSERT_TRUE(FileFinder::BuildFileArray("DATA/Textures\\*.DDS", disk));
    Names found;
    for (VXFixedString const& name : disk)
        found.emplace_back(name.QString());
    EXPECT_EQ(Sorted(found), (Names{"DATA/Textures\\a.dds", "DATA/Textures\\d.dds"}));
}

TEST_F(FileListTest, DirectoryQueriesNameOnlyServedMembers)
{
    Pack("A.vxa", {{"meshes\\one\\only.kof", "1", VXArchiveWriter::MC_STORED},
                   {"meshes\\two\\big.kof", "bigger", VXArchiveWriter::MC_STORED},
                   {"meshes\\two\\p.kof", "abc", VXArchiveWriter::MC_STORED},
                   {"meshes\\two\\q.kof", "xyz", VXArchiveWriter::MC_STORED}});
    char const* first =
        VXHash("p.kof", VXHash::HASH_FILE).Hash() < VXHash("q.kof", VXHash::HASH_FILE).Hash()
            ? "p.kof"
            : "q.kof";
    Loose("Data/meshes/two/" + std::string(first), "loose twin");
    ASSERT_TRUE(Start("A.vxa", false));
    ArchiveManager::SetInvalidateOlderFiles(true); // only the lazy twin test drops it
    char out[MAX_PATH_BYTES];
    for (int i = 0; i < 5; ++i)
    {
        ASSERT_TRUE(ArchiveManager::GetRandomFileNameForDirectory("meshes\\one\\x.kof", out,
                                                                  ARCHIVE_TYPE_ALL));
        EXPECT_STREQ(out, "meshes\\one\\only.kof");
    }
    // Of the two smallest, the first in table order has a loose twin: the other is named.
    ASSERT_TRUE(ArchiveManager::GetFileNameForSmallestFileInDirectory("meshes\\two\\", out,
                                                                      ARCHIVE_TYPE_ALL));
    EXPECT_EQ(std::string(out),
              std::string("meshes\\two\\") + (first[0] == 'p' ? "q.kof" : "p.kof"));
    EXPECT_FALSE(
        ArchiveManager::GetRandomFileNameForDirectory("meshes\\none\\", out, ARCHIVE_TYPE_ALL));
}

TEST_F(FileListTest, TrackingReport)
{
    PackTwo();
    ASSERT_TRUE(Start("A.vxa,B.vxa", false));
    VXHash dirKey, fileKey;
    char const* names[] = {"textures\\b.dds", "textures\\a.dds", "textures\\b.dds"};
    for (char const* name : names)
    {
        VXHash::MakeDirAndFile(name, dirKey, fileKey);
        ArchiveManager::TrackFileEntryLoad(
            ArchiveManager::GetFileEntryForFile(ARCHIVE_INDEX_TEXTURES, dirKey, fileKey, name));
    }
    VXFileEntry* entry = (*ArchiveManager::pFileEntryTrackingArray)[1];
    EXPECT_EQ(ArchiveManager::GetArchiveForFileEntry(entry), Listed(0));
    char header[] = "cell report";
    ArchiveManager::OutputFileEntryTracking(header, 26);
    EXPECT_EQ(ReadFile(dir / "FileEntries/Cell 0000001A.A.txt"),
              "cell report\r\ntextures\\b.dds\r\ntextures\\a.dds\r\ntextures\\b.dds\r\n");
    EXPECT_FALSE(FileExists(dir / "FileEntries/Cell 0000001A.B.txt"));

    ArchiveManager::ClearFileEntryTracking();
    std::filesystem::remove_all(dir / "FileEntries");
    ArchiveManager::OutputFileEntryTracking(header, 26);
    EXPECT_FALSE(FileExists(dir / "FileEntries"));
}
