// Archive types by extension, name trimming and the settings statics.
#include "vxsystem/ArchiveManager.h"

#include <gtest/gtest.h>

#include <cstring>

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

TEST(ArchiveSettings, InitAndSetters)
{
    ArchiveManager::Init(true, "C:\\game\\", nullptr, 4096);
    EXPECT_TRUE(ArchiveManager::ArchivesEnabled());
    EXPECT_STREQ(ArchiveManager::QMasterFilePath(), "C:\\game\\");
    EXPECT_STREQ(ArchiveManager::sMasterArchiveList, "");
    EXPECT_EQ(ArchiveManager::QArchiveFileBufferSize(), 4096u);
    ArchiveManager::SetInvalidation(false, "inv.txt");
    EXPECT_FALSE(ArchiveManager::QInvalidateOlderFiles());
    EXPECT_STREQ(ArchiveManager::sArchiveInvalidationFile, "inv.txt");
    ArchiveManager::SetRetainTables(0, 2, 1);
    EXPECT_EQ(ArchiveManager::QRetainDirectoryStringTable(), 0);
    EXPECT_EQ(ArchiveManager::QRetainFilenameStringTable(), 2);
    ArchiveManager::SetStartupFinished();
    EXPECT_EQ(ArchiveManager::QArchiveFileBufferSize(), 0x20000u);
    EXPECT_EQ(ArchiveManager::QMasterArchiveBufferSize(ARCHIVE_INDEX_SOUNDS), 65536u);
    EXPECT_EQ(ArchiveManager::QMasterArchiveBufferSize(ARCHIVE_INDEX_MISC), 10240u);
    ArchiveManager::Shutdown();
    EXPECT_EQ(ArchiveManager::sArchiveInvalidationFile, nullptr);
    EXPECT_EQ(ArchiveManager::sMasterArchiveList, nullptr);
    ArchiveManager::SetRetainTables(1, 1, 1);
    ArchiveManager::SetInvalidateOlderFiles(true);
}
