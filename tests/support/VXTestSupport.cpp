#include "VXTestSupport.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace vxtest
{
TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vxtest-XXXXXX").string();
    if (mkdtemp(pattern.data()))
        sPath = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    if (!sPath.empty())
        std::filesystem::remove_all(sPath, ignored);
}

void WriteFile(std::string const& path, std::string const& bytes)
{
    std::filesystem::path target(path);
    if (target.has_parent_path())
        std::filesystem::create_directories(target.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool FileExists(std::string const& path)
{
    return std::filesystem::exists(path);
}

std::string RandomBytes(size_t size, uint32_t seed)
{
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(generator() & 0xFF);
    return bytes;
}

ScopedCwd::ScopedCwd(std::string const& path)
{
    char previous[PATH_MAX];
    if (getcwd(previous, sizeof(previous)))
        sPrevious = previous;
    if (chdir(path.c_str()) != 0)
        sPrevious.clear();
}

ScopedCwd::~ScopedCwd()
{
    if (!sPrevious.empty())
        (void)!chdir(sPrevious.c_str());
}
} // namespace vxtest
