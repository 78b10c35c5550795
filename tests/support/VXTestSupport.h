// Helpers shared by the tests: a temporary folder that cleans up after itself, and
// whole-file reads and writes that bypass the library under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vxtest
{
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& Path() const { return sPath; }
    // Path of a name inside the folder, with '/' separators.
    std::string operator/(std::string const& name) const { return sPath + "/" + name; }

private:
    std::string sPath;
};

// Writes bytes to a path, creating missing folders.
void WriteFile(std::string const& path, std::string const& bytes);
// The whole content of a file; empty when it cannot be read.
std::string ReadFile(std::string const& path);
bool FileExists(std::string const& path);
// True where a read-only file can still be opened for writing by this process.
bool IgnoresPermissions();
// Deterministic pseudo-random bytes.
std::string RandomBytes(size_t size, uint32_t seed);

// Runs the test body inside a folder and restores the working directory afterwards.
class ScopedCwd
{
public:
    explicit ScopedCwd(std::string const& path);
    ~ScopedCwd();

private:
    std::string sPrevious;
};
} // namespace vxtest
