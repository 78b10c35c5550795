// Shared by the system file tests: page-aligned blocks for unbuffered transfers, and
// whole-file opens in one line.
#pragma once

#include "vxsystem/VXSystemFile.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace sysfiletest
{
constexpr size_t kBlock = 4096;

struct FreeDeleter
{
    void operator()(void* p) const { std::free(p); }
};

// A block aligned for unbuffered transfers, filled with bytes.
inline std::unique_ptr<char, FreeDeleter> AlignedBlock(std::string const& bytes)
{
    size_t size = (bytes.size() + kBlock - 1) / kBlock * kBlock;
    char* p = static_cast<char*>(std::aligned_alloc(kBlock, size ? size : kBlock));
    std::memset(p, 0, size ? size : kBlock);
    std::memcpy(p, bytes.data(), bytes.size());
    return std::unique_ptr<char, FreeDeleter>(p);
}

inline VXSystemFile Open(std::string const& path, VXSystemFile::AccessMode access,
                         VXSystemFile::OpenMode open, bool async = false)
{
    return VXSystemFile(path.c_str(), access, open, async, 0, false);
}
} // namespace sysfiletest
