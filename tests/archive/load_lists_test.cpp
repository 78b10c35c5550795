// The load-order list's plug-in lines and the invalidation list's keys.
#include "archive/VXLoadLists.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using vxtest::WriteFile;

TEST(LoadLists, PluginLinesBecomeArchiveNames)
{
    vxtest::TempDir dir;
    for (char const* name : {"Base", "Mod One", "Extra", "Extra.qkm"})
        WriteFile(dir / ("Data/" + std::string(name) + ".vxa"), "x");
    vxtest::ScopedCwd cwd(dir.Path());
    struct Case
    {
        std::string sList;
        char const* pStart;
        size_t uiWorkSize;
        char const* pExpected;
    } const cases[] = {
        // ".qkp" is searched before ".qkm"; lines without a plug-in or an archive are skipped.
        {"# comment\n\nBase.qkp\r\nMod One.qkm trailing words\nFoo.QKP\nNoExtension\n"
         "Missing.qkp\nExtra.qkm.qkp",
         "Master.vxa", 32768, "Master.vxa, Base.vxa, Mod One.vxa, Extra.qkm.vxa"},
        // A 304-character line comes in two pieces; the second names "aaa...a.vxa", missing.
        {std::string(300, 'a') + ".qkp\nExtra.qkp", "", 32768, ", Extra.vxa"},
        {"", "A.vxa", 32768, "A.vxa"},
        // A list ending in a line feed and one more character is cut before the append.
        {"Base.qkp\n", "A.vxa\n ", 32768, "A.vxa, Base.vxa"},
        // What does not fit in the work buffer is dropped.
        {"Base.qkp\nExtra.qkp\n", "Master.vxa", 20, "Master.vxa"},
        {"Base.qkp\nExtra.qkp\n", "Master.vxa", 22, "Master.vxa, Base.vxa"},
    };
    for (Case const& c : cases)
    {
        WriteFile(dir / "Plugins.txt", c.sList);
        VXFile file("Plugins.txt", KoFile::MODE_READ, 64, true);
        std::string work(c.pStart);
        work.resize(c.uiWorkSize, '\0');
        VXAppendLoadOrder(file, work.data(), work.size());
        EXPECT_STREQ(work.c_str(), c.pExpected) << c.sList;
    }
}

TEST(LoadLists, InvalidationLinesMakeDirectoryAndFileKeys)
{
    vxtest::TempDir dir;
    WriteFile(
        dir / "inv.txt",
        "textures\\armor\\\r\n\\meshes\\x.kof\r\nsky.dds\r\n\r\ntextures\\armor\\x.dds\r\nlast.kf");
    VXFile file((dir / "inv.txt").c_str(), KoFile::MODE_READ, 10240, false);
    VXTArray<VXHash*>* dirs = nullptr;
    VXTArray<VXHash*>* files = nullptr;
    VXReadInvalidationLines(file, dirs, files);
    ASSERT_TRUE(dirs && files);
    ASSERT_EQ(dirs->QSize(), 3u);
    ASSERT_EQ(files->QSize(), 3u);
    uint64_t armor = VXHash("textures\\armor\\", VXHash::HASH_DIRECTORY).Hash();
    EXPECT_EQ((*dirs)[0]->Hash(), armor);
    EXPECT_EQ((*dirs)[1]->Hash(), VXHash("meshes\\x.kof", VXHash::HASH_DIRECTORY).Hash());
    EXPECT_EQ((*dirs)[2]->Hash(), armor); // the file part does not count
    EXPECT_EQ((*files)[0]->Hash(), VXHash("sky.dds", VXHash::HASH_FILE).Hash());
    EXPECT_EQ((*files)[1]->Hash(), 0u); // an empty line: the all-zero key
    EXPECT_EQ((*files)[2]->Hash(), VXHash("last.kf", VXHash::HASH_FILE).Hash());
    VXFreeHashList(dirs);
    VXFreeHashList(files);
    EXPECT_EQ(dirs, nullptr);
}
} // namespace
