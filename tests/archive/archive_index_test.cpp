#include "archive/VXArchiveIndex.h"

#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

namespace
{
TEST(VXArchiveIndex, AnswersAsTheTwoSearchesDo)
{
    vxtest::ArchiveSettingsScope settings;
    vxtest::TempDir dir;
    std::vector<vxtest::TestMember> members;
    for (int i = 0; i < 3000; ++i)
        members.push_back({"set" + std::to_string(i % 37) + "\\m" + std::to_string(i) + ".kof", "x",
                           VXArchiveWriter::MC_STORED});
    Archive archive(vxtest::SaveArchive(dir, vxtest::BuildArchive(members)).c_str(), 4096, false,
                    false);
    ASSERT_TRUE(archive.FileIsGood());
    for (int i = 0; i < 3100; ++i) // the last hundred are not members
    {
        std::string name = "SET" + std::to_string(i % 37) + "\\M" + std::to_string(i) + ".KOF";
        VXHash dirKey, fileKey;
        VXHash::MakeDirAndFile(name.c_str(), dirKey, fileKey);
        uint64_t d1 = 0, f1 = 0, d2 = 0, f2 = 0;
        bool indexed = archive.FindFile(dirKey, fileKey, d1, f1, nullptr);
        bool searched = archive.FindDirectory(dirKey, d2, nullptr) &&
                        archive.FindFileInDirectory(d2, fileKey, f2, nullptr, false);
        ASSERT_EQ(indexed, i < 3000) << name;
        ASSERT_EQ(searched, indexed) << name;
        if (indexed)
        {
            EXPECT_EQ(d1, d2);
            EXPECT_EQ(f1, f2);
        }
    }
}

TEST(VXArchiveIndex, RefusesRepeatedKeysAndOversizedTables)
{
    VXFileEntry entries[2];
    entries[0].kHash = VXHash("a.kof", VXHash::HASH_FILE);
    entries[1].kHash = entries[0].kHash;
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
    EXPECT_EQ(d, 0u);
    EXPECT_EQ(f, 0u);
    EXPECT_FALSE(index.Find(entries[0].kHash.Hash(), directory.kHash.Hash(), d, f));

    VXArchiveIndex tooMany;
    directory.uiEntryCount = 0x10000;
    EXPECT_FALSE(tooMany.Build(&directory, 1));
}
} // namespace
