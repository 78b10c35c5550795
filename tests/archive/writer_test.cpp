// The archive writer: folders, refused names, header counts and sorted tables.
#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxtest;

TEST(ArchiveWriter, PacksAFolderWithSortedTablesAndCounts)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    WriteFile(dir / "data/meshes/a.kof", "mesh a");
    WriteFile(dir / "data/meshes/b.kof", "mesh b");
    WriteFile(dir / "data/top.txt", "top");
    VXArchiveWriter writer;
    ASSERT_TRUE(writer.AddFolder(dir / "data"));
    std::string path = dir / "folder.vxa";
    ASSERT_TRUE(writer.Write(path));
    std::string image = ReadFile(path);
    VXArchiveHeader header;
    std::memcpy(&header, image.data(), sizeof(header));
    EXPECT_EQ(header.QDirectoryCount(), 2u);
    EXPECT_EQ(header.QFileCount(), 3u);
    EXPECT_EQ(header.QDirectoryNamesLength(), std::strlen("meshes") + 1 + std::strlen(".") + 1);
    EXPECT_EQ(header.QFileNamesLength(), std::strlen("a.kof b.kof top.txt") + 1);
    EXPECT_EQ(header.QArchiveType(), ARCHIVE_TYPE_MESHES | ARCHIVE_TYPE_MENUS);
    uint64_t first = 0, second = 0;
    std::memcpy(&first, image.data() + 36, 8);
    std::memcpy(&second, image.data() + 60, 8);
    EXPECT_LT(first, second);
    Archive archive(path.c_str(), 262144, false, false);
    auto file = OpenMember(archive, "meshes\\b.kof");
    ASSERT_TRUE(file);
    EXPECT_EQ(ReadAll(*file, 100), "mesh b");
}

TEST(ArchiveWriter, RefusesWhatTheFormatCannotHold)
{
    VXArchiveWriter writer;
    EXPECT_TRUE(writer.AddFile("a\\x.kof", std::string("1")));
    EXPECT_FALSE(writer.AddFile("A\\X.KOF", std::string("2"))); // the same name
    EXPECT_FALSE(writer.AddFile("\\rooted.kof", std::string("3")));
    EXPECT_FALSE(writer.AddFile("c:\\drive.kof", std::string("4")));
    EXPECT_FALSE(writer.AddFile("a\\" + std::string(256, 'n'), std::string("5")));
    EXPECT_FALSE(writer.AddFolder("/nonexistent/folder"));
    EXPECT_FALSE(writer.QError().empty());
    EXPECT_EQ(writer.QMemberCount(), 1u);
    EXPECT_FALSE(writer.Write("/nonexistent/folder/out.vxa"));
}
