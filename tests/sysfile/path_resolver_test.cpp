// The folder-listing cache behind names in any letter case: the library's own changes
// show at once, even within one timestamp tick, and the cache stays bounded.
#include "platform/VXPlatformRuntime.h"
#include "vxsystem/VXSystemFile.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(PathResolver, OwnCreatesAndDeletesShowAtOnceAndTheCacheIsBounded)
{
    vxtest::TempDir dir;
    std::string folder = dir / "Data";
    std::filesystem::create_directories(folder);
    std::string lower = folder + "/foo.txt";
    for (int round = 0; round < 20; ++round) // many tries inside one timestamp tick
    {
        ASSERT_FALSE(PlatformLooseFileExists(lower.c_str())); // lists the folder
        {
            VXSystemFile created((folder + "/Foo.txt").c_str(), VXSystemFile::AM_WRITE,
                                 VXSystemFile::OM_CREATE_NEW, false, 0, false);
        }
        ASSERT_TRUE(PlatformLooseFileExists(lower.c_str())) << round;
        ASSERT_EQ(VXSystemFile::DeleteFile(lower.c_str()), VXSystemFile::EC_OK);
        ASSERT_FALSE(PlatformLooseFileExists(lower.c_str())) << round;
    }
#if !defined(_WIN32) // Windows matches letter case itself and keeps no listings
    for (int i = 0; i < 2100; ++i)
    {
        std::string sub = folder + "/d" + std::to_string(i);
        std::filesystem::create_directory(sub);
        PlatformLooseFileExists((sub + "/MISSING").c_str());
    }
    EXPECT_LE(PlatformCachedFolderCount(), 2048u);
    EXPECT_GT(PlatformCachedFolderCount(), 2000u);
#endif
}
