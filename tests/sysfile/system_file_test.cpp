#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace sysfiletest;
using VF = VXSystemFile;

namespace
{
class SystemFileTest : public ::testing::Test
{
protected:
    std::string P(std::string const& name) const { return sDir / name; }
    VF::ErrorCode OpenCode(std::string const& name, VF::AccessMode access, VF::OpenMode open)
    {
        return Open(P(name), access, open).QLastError();
    }
    vxtest::TempDir sDir;
};
} // namespace

TEST_F(SystemFileTest, AppendCreatesMissingFileThenWritesAtTheEnd)
{
    uint64_t moved = 0;
    EXPECT_EQ(Open(P("log"), VF::AM_WRITE, VF::OM_APPEND).Write("abc", 3, moved), VF::EC_OK);
    VF file = Open(P("log"), VF::AM_READ_WRITE, VF::OM_APPEND);
    EXPECT_EQ(file.Seek(0, VF::SM_CURRENT, moved), VF::EC_OK);
    EXPECT_EQ(moved, 3u);
    EXPECT_EQ(file.Write("def", 3, moved), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("log")), "abcdef");
}

TEST_F(SystemFileTest, AsyncObjectRefusesSequentialUseButNotPositioned)
{
    vxtest::WriteFile(P("a"), std::string(kBlock, 'x'));
    VF file = Open(P("a"), VF::AM_READ_WRITE, VF::OM_APPEND, true);
    ASSERT_TRUE(file.QAsyncEnabled());
    auto block = AlignedBlock(std::string(kBlock, 'y'));
    uint64_t moved = 7;
    uint64_t position = 7;
    EXPECT_EQ(file.Read(block.get(), kBlock, moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(file.QLastError(), VF::EC_FAILED);
    EXPECT_EQ(file.Seek(0, VF::SM_BEGIN, position), VF::EC_FAILED);
    EXPECT_EQ(position, 7u);
    EXPECT_EQ(file.Truncate(10), VF::EC_FAILED);
    // Append did not position the file: the offset says where the block goes.
    EXPECT_EQ(file.WriteAt(block.get(), kBlock, kBlock, moved), VF::EC_OK);
    EXPECT_EQ(file.ReadAt(block.get(), kBlock, 0, moved), VF::EC_OK);
    EXPECT_EQ(block.get()[0], 'x');
    EXPECT_EQ(vxtest::ReadFile(P("a")), std::string(kBlock, 'x') + std::string(kBlock, 'y'));
}

TEST_F(SystemFileTest, PositionedTransfersAndTruncate)
{
    vxtest::WriteFile(P("p"), std::string(100, 'a'));
    VF file = Open(P("p"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    char buffer[64];
    uint64_t moved = 9;
    uint64_t size = 0;
    EXPECT_EQ(file.ReadAt(buffer, sizeof(buffer), 200, moved), VF::EC_OK);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(file.ReadAt(buffer, sizeof(buffer), 90, moved), VF::EC_OK);
    EXPECT_EQ(moved, 10u);
    EXPECT_EQ(file.WriteAt("zz", 2, 150, moved), VF::EC_OK);
    EXPECT_EQ(file.Truncate(12), VF::EC_OK);
    EXPECT_EQ(file.GetSize(size), VF::EC_OK);
    EXPECT_EQ(size, 140u);
    EXPECT_EQ(file.Truncate(1000), VF::EC_FAILED);
    EXPECT_EQ(file.Seek(40, VF::SM_BEGIN, size), VF::EC_OK);
    EXPECT_EQ(file.SetEndOfFile(), VF::EC_OK);
    file = VF();
    EXPECT_EQ(VF::GetSizeOfFile(P("p").c_str(), size), VF::EC_OK);
    EXPECT_EQ(size, 40u);
    EXPECT_EQ(OpenCode("p", VF::AM_READ, VF::OM_TRUNCATE), VF::EC_FAILED); // needs write
}

TEST_F(SystemFileTest, CopyingTransfersTheHandle)
{
    vxtest::WriteFile(P("one"), "1");
    vxtest::WriteFile(P("two"), "2");
    VF a = Open(P("one"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    VF b(a);
    EXPECT_EQ(a.QLastError(), VF::EC_INVALID);
    EXPECT_STREQ(a.GetFileName(), P("one").c_str());
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(VF() == VF());
    // Copy-assignment closes the target's own file: "two" is free again afterwards.
    VF c = Open(P("two"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    c = b;
    EXPECT_EQ(OpenCode("two", VF::AM_READ_WRITE, VF::OM_EXISTING), VF::EC_OK);
    EXPECT_EQ(OpenCode("one", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED); // c writes it
    // Move-assignment swaps: the source now holds "one" and keeps its own name.
    VF d = Open(P("two"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    c = std::move(d);
    EXPECT_STREQ(c.GetFileName(), P("two").c_str());
    EXPECT_STREQ(d.GetFileName(), P("two").c_str());
    uint64_t moved = 0;
    EXPECT_EQ(VF(std::move(d)).Write("X", 1, moved), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("one")), "X");
    EXPECT_EQ(OpenCode("one", VF::AM_READ_WRITE, VF::OM_EXISTING), VF::EC_OK);
}

TEST_F(SystemFileTest, ShareLockAdmitsReadersOrOneWriter)
{
    vxtest::WriteFile(P("s"), "keep");
    VF reader = Open(P("s"), VF::AM_READ, VF::OM_EXISTING);
    EXPECT_EQ(OpenCode("s", VF::AM_READ, VF::OM_EXISTING), VF::EC_OK);
    // A refused writer must not empty the file on its way.
    EXPECT_EQ(OpenCode("s", VF::AM_WRITE, VF::OM_CREATE_ALWAYS), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("s")), "keep");
    reader = VF();
    VF writer = Open(P("s"), VF::AM_WRITE, VF::OM_CREATE_ALWAYS);
    EXPECT_EQ(writer.QLastError(), VF::EC_OK);
    EXPECT_EQ(OpenCode("s", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED);
}

TEST_F(SystemFileTest, MissingFileAndMissingFolderDiffer)
{
    uint64_t size = 5;
    EXPECT_EQ(VF::GetSizeOfFile(P("none").c_str(), size), VF::EC_FILE_NOT_FOUND);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(VF::GetSizeOfFile(P("nodir/none").c_str(), size), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(OpenCode("nodir/new", VF::AM_WRITE, VF::OM_CREATE_ALWAYS), VF::EC_PATH_NOT_FOUND);
    vxtest::WriteFile(P("here"), "x");
    EXPECT_EQ(OpenCode("here", VF::AM_WRITE, VF::OM_CREATE_NEW), VF::EC_ALREADY_EXISTS);
    EXPECT_EQ(OpenCode("here/sub", VF::AM_READ, VF::OM_EXISTING), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(OpenCode("", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED); // the folder itself
    EXPECT_EQ(OpenCode("here", VF::AccessMode(7), VF::OM_EXISTING), VF::EC_FAILED);
    VF failed = Open(P("none"), VF::AM_READ, VF::OM_EXISTING);
    uint64_t moved = 3;
    EXPECT_EQ(failed.Read(&size, 1, moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(VF::DeleteFile(P("none").c_str()), VF::EC_FAILED);
}

TEST_F(SystemFileTest, NamesResolveAndLongNamesAreCutOnlyInTheCopy)
{
    vxtest::WriteFile(P("Meshes/Armor.KOF"), "mesh");
    std::string name = P("meshes\\armor.kof");
    std::replace(name.begin(), name.end(), '/', '\\');
    EXPECT_EQ(Open(name, VF::AM_READ, VF::OM_EXISTING).QLastError(), VF::EC_OK);
    std::string deep = sDir.Path();
    while (deep.size() < 300)
        deep += "/folder_of_some_length";
    std::filesystem::create_directories(deep);
    VF longFile = Open(deep + "/f", VF::AM_WRITE, VF::OM_CREATE_NEW);
    EXPECT_EQ(longFile.QLastError(), VF::EC_OK);
    EXPECT_TRUE(vxtest::FileExists(deep + "/f"));
    EXPECT_EQ(std::string(longFile.GetFileName()), deep.substr(0, 255));
}

TEST_F(SystemFileTest, RenameWithAndWithoutReplace)
{
    vxtest::WriteFile(P("from"), "new");
    vxtest::WriteFile(P("to"), "old");
    EXPECT_EQ(VF::RenameFile(P("from").c_str(), P("to").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("to")), "old");
    EXPECT_EQ(VF::RenameFile(P("from").c_str(), P("to").c_str(), false), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("to")), "new");
    // A missing source leaves the target alone whatever the flag.
    EXPECT_EQ(VF::RenameFile(P("from").c_str(), P("to").c_str(), false), VF::EC_FILE_NOT_FOUND);
    EXPECT_EQ(vxtest::ReadFile(P("to")), "new");
    EXPECT_EQ(VF::RenameFile(P("to").c_str(), P("nodir/to").c_str(), false), VF::EC_PATH_NOT_FOUND);
}

TEST_F(SystemFileTest, CopyDeleteAndTimes)
{
    vxtest::WriteFile(P("src"), vxtest::RandomBytes(3 << 20, 5));
    vxtest::WriteFile(P("dst"), "existing");
    EXPECT_EQ(VF::CopyFile(P("src").c_str(), P("dst").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("dst")), "existing");
    EXPECT_EQ(VF::CopyFile(P("src").c_str(), P("dst").c_str(), false), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("dst")), vxtest::ReadFile(P("src")));
    EXPECT_EQ(VF::CopyFile(P("none").c_str(), P("dst2").c_str(), false), VF::EC_FAILED);
    EXPECT_FALSE(vxtest::FileExists(P("dst2")));
    // 2020-01-01 00:00:00 UTC plus 1234567 ticks, in 100 ns ticks since 1601.
    uint64_t const ticks = 132223104000000000ull + 1234567;
    _FILETIME write{uint32_t(ticks), uint32_t(ticks >> 32)};
    EXPECT_EQ(VF::SetTime(P("dst").c_str(), nullptr, nullptr, &write), VF::EC_OK);
    EXPECT_EQ(VF::SetTime(P("none").c_str(), nullptr, nullptr, &write), VF::EC_FILE_NOT_FOUND);
    VF::Info info{};
    EXPECT_EQ(Open(P("dst"), VF::AM_READ, VF::OM_EXISTING).GetInfo(info), VF::EC_OK);
    EXPECT_EQ(info.ftLastWrite.dwLowDateTime, write.dwLowDateTime);
    EXPECT_EQ(info.ftLastWrite.dwHighDateTime, write.dwHighDateTime);
    EXPECT_EQ(info.uiSize, 3u << 20);
    EXPECT_EQ(VF::DeleteFile(P("dst").c_str()), VF::EC_OK);
    EXPECT_FALSE(vxtest::FileExists(P("dst")));
}

namespace
{
int gCallbackDepth = 0;

bool Callback(char const* name, VF::FileOperation operation, int code)
{
    if (++gCallbackDepth == 1)
        VF::InvokeErrorCallback(name, operation, code); // reentrant on this thread
    return std::string(name) == "retry" && operation == VF::FO_READ && code == 5;
}
} // namespace

TEST(SystemFileCallback, PassesArgumentsAndAnswerThrough)
{
    EXPECT_TRUE(VF::InvokeErrorCallback("x", VF::FO_WRITE, 1));
    VF::SetErrorCallback(Callback);
    EXPECT_TRUE(VF::InvokeErrorCallback("retry", VF::FO_READ, 5));
    EXPECT_EQ(gCallbackDepth, 2);
    EXPECT_FALSE(VF::InvokeErrorCallback("other", VF::FO_READ, 5));
    VF::SetErrorCallback(nullptr);
}
