#include "VXTestSupport.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace vxtest
{
TempDir::TempDir()
{
    // A fresh name per try; create_directory says false when the name is taken.
    std::error_code error;
    std::filesystem::path base = std::filesystem::temp_directory_path(error);
    std::random_device seed;
    for (int attempt = 0; attempt < 100 && sPath.empty() && !error; ++attempt)
    {
        std::filesystem::path candidate = base / ("vxtest-" + std::to_string(seed()));
        if (std::filesystem::create_directory(candidate, error))
            sPath = candidate.generic_string();
    }
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

bool IgnoresPermissions()
{
    // Asked of the system itself: root on POSIX, and Wine run by root, write anyway.
    TempDir dir;
    std::string path = dir.Path() + "/read-only";
    WriteFile(path, "");
    std::error_code error;
    std::filesystem::permissions(path, std::filesystem::perms::owner_read, error);
    std::ofstream probe(path, std::ios::binary | std::ios::app);
    return probe.is_open();
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
    std::error_code error;
    sPrevious = std::filesystem::current_path(error).string();
    std::filesystem::current_path(path, error);
    if (error)
        sPrevious.clear();
}

ScopedCwd::~ScopedCwd()
{
    std::error_code ignored;
    if (!sPrevious.empty())
        std::filesystem::current_path(sPrevious, ignored);
}
} // namespace vxtest
