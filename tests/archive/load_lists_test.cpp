#include "archive/VXLoadLists.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace
{
using vxtest::TempDir;
using vxtest::WriteFile;

class LoadListsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        WriteFile(dir / "Data/Base.vxa", "x");
        WriteFile(dir / "Data/Mod One.vxa", "x");
        WriteFile(dir / "Data/Extra.vxa", "x");
        cwd.emplace(dir.Path());
    }

    std::string LoadOrder(std::string const& text, std::string const& start)
    {
        WriteFile(dir / "Plugins.txt", text);
        VXFile file("Plugins.txt", KoFile::MODE_READ, 64, true);
        std::string work(start);
        work.resize(32768, '\0');
        VXAppendLoadOrder(file, work.data(), work.size());
        return std::string(work.c_str());
    }

    TempDir dir;
    std::optional<vxtest::ScopedCwd> cwd;
};

TEST_F(LoadListsTest, PluginLinesBecomeArchiveNames)
{
    WriteFile(dir / "Data/Extra.qkm.vxa", "x"); // ".qkp" is searched before ".qkm"
    std::string text = "# comment\n"
                       "\n"
                       "Base.qkp\r\n"
                       "Mod One.qkm trailing words\n"
                       "Foo.QKP\n"
                       "NoExtension\n"
                       "Missing.qkp\n"
                       "Extra.qkm.qkp";
    EXPECT_EQ(LoadOrder(text, "Master.vxa"), "Master.vxa, Base.vxa, Mod One.vxa, Extra.qkm.vxa");
}

TEST_F(LoadListsTest, OddLinesAreHarmless)
{
    std::string longLine(300, 'a');
    longLine += ".qkp";
    // A 304-character line comes in two pieces; the second names "aaa...a.vxa", missing.
    EXPECT_EQ(LoadOrder(longLine + "\nExtra.qkp", ""), ", Extra.vxa");
    EXPECT_EQ(LoadOrder("", "A.vxa"), "A.vxa");
    // A list ending in a line feed and one more character is cut before the append.
    EXPECT_EQ(LoadOrder("Base.qkp\n", "A.vxa\n "), "A.vxa, Base.vxa");
}

TEST_F(LoadListsTest, FullWorkBufferDropsTheRest)
{
    WriteFile(dir / "Plugins.txt", "Base.qkp\nExtra.qkp\n");
    VXFile file("Plugins.txt", KoFile::MODE_READ, 64, true);
    char work[20] = "Master.vxa";
    VXAppendLoadOrder(file, work, sizeof(work));
    EXPECT_STREQ(work, "Master.vxa");
    char roomy[22] = "Master.vxa";
    VXFile again("Plugins.txt", KoFile::MODE_READ, 64, true);
    VXAppendLoadOrder(again, roomy, sizeof(roomy));
    EXPECT_STREQ(roomy, "Master.vxa, Base.vxa");
}

TEST_F(LoadListsTest, InvalidationLinesMakeDirectoryAndFileKeys)
{
    WriteFile(dir / "inv.txt", "textures\\armor\\\r\n"
                               "\\meshes\\x.kof\r\n"
                               "sky.dds\r\n"
                               "\r\n"
                               "textures\\armor\\x.dds\r\n"
                               "last.kf");
    VXFile file((dir / "inv.txt").c_str(), KoFile::MODE_READ, 10240, false);
    VXTArray<VXHash*>* dirs = nullptr;
    VXTArray<VXHash*>* files = nullptr;
    VXReadInvalidationLines(file, dirs, files);
    ASSERT_NE(dirs, nullptr);
    ASSERT_NE(files, nullptr);
    ASSERT_EQ(dirs->QSize(), 3u);
    ASSERT_EQ(files->QSize(), 3u);
    VXHash armor("textures\\armor\\", VXHash::HASH_DIRECTORY);
    EXPECT_EQ((*dirs)[0]->Hash(), armor.Hash());
    EXPECT_EQ((*dirs)[1]->Hash(), VXHash("meshes\\x.kof", VXHash::HASH_DIRECTORY).Hash());
    EXPECT_EQ((*dirs)[2]->Hash(), armor.Hash()); // the file part does not count
    EXPECT_EQ((*files)[0]->Hash(), VXHash("sky.dds", VXHash::HASH_FILE).Hash());
    EXPECT_EQ((*files)[1]->Hash(), 0u); // an empty line: the all-zero key
    EXPECT_EQ((*files)[2]->Hash(), VXHash("last.kf", VXHash::HASH_FILE).Hash());
    VXFreeHashList(dirs);
    VXFreeHashList(files);
    EXPECT_EQ(dirs, nullptr);
}
} // namespace
