// Shared by the streamer tests: a data file in a temporary folder, opened for reading,
// with the service enabled for the test's life.
#pragma once

#include "VXTestSupport.h"
#include "vxsystem/VXSystemFileStreamer.h"

#include <gtest/gtest.h>

#include <string>

namespace streamertest
{
namespace VS = VXSystemFileStreamer;
using VF = VXSystemFile;
constexpr uint64_t K = 65536;

struct DataFile
{
    DataFile(vxtest::TempDir const& dir, std::string const& name, size_t size, uint32_t seed)
        : sPath(dir / name), sBytes(vxtest::RandomBytes(size, seed))
    {
        vxtest::WriteFile(sPath, sBytes);
        kFile = VF(sPath.c_str(), VF::AM_READ, VF::OM_EXISTING, false, 0, false);
        VS::GetIDForPath(kID, sPath.c_str());
    }
    // The expected bytes of [offset, offset + size), cut at the end of the file.
    std::string Slice(uint64_t offset, uint64_t size) const
    {
        return offset >= sBytes.size() ? std::string() : sBytes.substr(offset, size);
    }

    std::string sPath;
    std::string sBytes;
    VF kFile;
    VS::ID kID;
};

class StreamerFixture : public ::testing::Test
{
protected:
    StreamerFixture() { VS::Enable(true); }
    ~StreamerFixture() override { VS::Enable(false); }
    vxtest::TempDir sDir;
};
} // namespace streamertest
