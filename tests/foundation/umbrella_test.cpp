// The umbrella header must name every public header, so that a host needs one include.
#include "vxsystem/vxsystem.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(Umbrella, IncludesEveryPublicHeader)
{
    std::filesystem::path folder = std::filesystem::path(VX_SOURCE_DIR) / "include/vxsystem";
    std::string umbrella = vxtest::ReadFile((folder / "vxsystem.h").string());
    for (auto const& entry : std::filesystem::directory_iterator(folder))
    {
        std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "vxsystem.h" ||
                    umbrella.find("#include \"vxsystem/" + name + "\"") != std::string::npos)
            << name << " is missing from vxsystem.h";
    }
}
