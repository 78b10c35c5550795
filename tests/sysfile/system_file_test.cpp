#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace sysfiletest;

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
    uint64_t uiMoved = 9;
};
} // namespace

TEST_F(SystemFileTest, AppendThenPositionedTransfersAndTruncate)
{
    EXPECT_EQ(Open(P("log"), VF::AM_WRITE, VF::OM_APPEND).Write("abc", 3, uiMoved), VF::EC_OK);
    {
        VF file = Open(P("log"), VF::AM_READ_WRITE, VF::OM_APPEND);
        EXPECT_EQ(file.Seek(0, VF::SM_CURRENT, uiMoved), VF::EC_OK);
        EXPECT_EQ(uiMoved, 3u);
        EXPECT_EQ(file.Write("def", 3, uiMoved), VF::EC_OK);
        char buffer[64];
        EXPECT_EQ(file.ReadAt(buffer, sizeof(buffer), 200, uiMoved), VF::EC_OK);
        EXPECT_EQ(uiMoved, 0u);
        EXPECT_EQ(file.ReadAt(buffer, sizeof(buffer), 4, uiMoved), VF::EC_OK);
        EXPECT_EQ(std::string(buffer, uiMoved), "ef");
        EXPECT_EQ(file.WriteAt("zz", 2, 150, uiMoved), VF::EC_OK);
        EXPECT_EQ(file.Truncate(12), VF::EC_OK); // count is what goes: 152 - 12
        EXPECT_EQ(file.GetSize(uiMoved), VF::EC_OK);
        EXPECT_EQ(uiMoved, 140u);
        EXPECT_EQ(file.Truncate(1000), VF::EC_FAILED);
        EXPECT_EQ(file.Seek(6, VF::SM_BEGIN, uiMoved), VF::EC_OK);
        EXPECT_EQ(file.SetEndOfFile(), VF::EC_OK);
    }
    // An async object refuses sequential use, and append does not position it.
    VF file = Open(P("log"), VF::AM_READ_WRITE, VF::OM_APPEND, true);
    Block block = AlignedBlock(kBlock, 'y');
    EXPECT_EQ(file.Read(block.get(), kBlock, uiMoved), VF::EC_FAILED);
    EXPECT_EQ(uiMoved, 0u);
    EXPECT_EQ(file.Seek(0, VF::SM_BEGIN, uiMoved), VF::EC_FAILED);
    EXPECT_EQ(file.WriteAt(block.get(), kBlock, kBlock, uiMoved), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("log")),
              "abcdef" + std::string(kBlock - 6, '\0') + std::string(kBlock, 'y'));
}

TEST_F(SystemFileTest, CopyingTransfersTheHandleAndItsShareLock)
{
    vxtest::WriteFile(P("one"), "1");
    vxtest::WriteFile(P("two"), "2");
    VF a = Open(P("one"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    VF b(a);
    EXPECT_EQ(a.QLastError(), VF::EC_INVALID);
    EXPECT_FALSE(a == b);
    // Copy-assignment closes the target's own file: "two" is free again afterwards.
    VF c = Open(P("two"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    c = b;
    EXPECT_EQ(OpenCode("two", VF::AM_READ_WRITE, VF::OM_EXISTING), VF::EC_OK);
    EXPECT_EQ(OpenCode("one", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED); // c writes it
    // Move-assignment swaps: the source now holds "one" and keeps its own name.
    VF d = Open(P("two"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    c = std::move(d);
    EXPECT_STREQ(d.GetFileName(), P("two").c_str());
    EXPECT_EQ(VF(std::move(d)).Write("X", 1, uiMoved), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("one")), "X");
    EXPECT_EQ(OpenCode("one", VF::AM_READ_WRITE, VF::OM_EXISTING), VF::EC_OK);

    // The share lock admits readers or one writer.
    vxtest::WriteFile(P("s"), "keep");
    VF reader = Open(P("s"), VF::AM_READ, VF::OM_EXISTING);
    EXPECT_EQ(OpenCode("s", VF::AM_READ, VF::OM_EXISTING), VF::EC_OK);
    // A refused writer must not empty the file on its way.
    EXPECT_EQ(OpenCode("s", VF::AM_WRITE, VF::OM_CREATE_ALWAYS), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("s")), "keep");
    reader = VF();
    VF writer = Open(P("s"), VF::AM_WRITE, VF::OM_CREATE_ALWAYS);
    EXPECT_EQ(OpenCode("s", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED);
    // A held file is not deleted, whoever holds it; once let go, it is.
    EXPECT_EQ(VF::DeleteFile(P("s").c_str()), VF::EC_FAILED);
    EXPECT_EQ(VF::DeleteFile(P("two").c_str()), VF::EC_FAILED); // c holds it
    writer = VF();
    EXPECT_EQ(VF::DeleteFile(P("s").c_str()), VF::EC_OK);
    EXPECT_FALSE(vxtest::FileExists(P("s")));
}

TEST_F(SystemFileTest, NamesResolveAndMissingFileDiffersFromMissingFolder)
{
    vxtest::WriteFile(P("here"), "x");
    EXPECT_EQ(OpenCode("none", VF::AM_READ, VF::OM_EXISTING), VF::EC_FILE_NOT_FOUND);
    EXPECT_EQ(OpenCode("nodir/none", VF::AM_READ, VF::OM_EXISTING), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(OpenCode("nodir/new", VF::AM_WRITE, VF::OM_CREATE_ALWAYS), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(OpenCode("here/sub", VF::AM_READ, VF::OM_EXISTING), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(OpenCode("here", VF::AM_WRITE, VF::OM_CREATE_NEW), VF::EC_ALREADY_EXISTS);
    EXPECT_EQ(OpenCode("here", VF::AM_READ, VF::OM_TRUNCATE), VF::EC_FAILED); // needs write
    EXPECT_EQ(OpenCode("here", VF::AccessMode(7), VF::OM_EXISTING), VF::EC_FAILED);
    EXPECT_EQ(OpenCode("", VF::AM_READ, VF::OM_EXISTING), VF::EC_FAILED); // the folder itself
    EXPECT_EQ(vxtest::ReadFile(P("here")), "x");
    EXPECT_EQ(VF::GetSizeOfFile(P("none").c_str(), uiMoved), VF::EC_FILE_NOT_FOUND);
    EXPECT_EQ(uiMoved, 0u);
    EXPECT_EQ(VF::GetSizeOfFile(P("nodir/none").c_str(), uiMoved), VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(VF::RenameFile(P("here").c_str(), P("nodir/to").c_str(), false),
              VF::EC_PATH_NOT_FOUND);
    EXPECT_EQ(VF::DeleteFile(P("none").c_str()), VF::EC_FAILED);
    // A failed open leaves an object whose operations fail.
    EXPECT_EQ(Open(P("none"), VF::AM_READ, VF::OM_EXISTING).Read(&uiMoved, 1, uiMoved),
              VF::EC_FAILED);

    // Names resolve in any case and separator; long ones are cut only in the copy.
    vxtest::WriteFile(P("Meshes/Armor.KOF"), "mesh");
    std::string name = P("meshes\\armor.kof");
    std::replace(name.begin(), name.end(), '/', '\\');
    EXPECT_EQ(Open(name, VF::AM_READ, VF::OM_EXISTING).QLastError(), VF::EC_OK);
    std::string deep = sDir.Path();
    while (deep.size() < 300)
        deep += "/folder_of_some_length";
    std::filesystem::create_directories(deep);
    VF longFile = Open(deep + "/f", VF::AM_WRITE, VF::OM_CREATE_NEW);
    EXPECT_TRUE(vxtest::FileExists(deep + "/f"));
    EXPECT_EQ(std::string(longFile.GetFileName()), deep.substr(0, 255));
}

TEST_F(SystemFileTest, CopyAndRenameWithAndWithoutReplace)
{
    std::string big = vxtest::RandomBytes(3 << 20, 5); // several copy chunks
    vxtest::WriteFile(P("src"), big);
    vxtest::WriteFile(P("dst"), "existing");
    EXPECT_EQ(VF::CopyFile(P("src").c_str(), P("dst").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(VF::RenameFile(P("src").c_str(), P("dst").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("dst")), "existing");
    EXPECT_EQ(VF::CopyFile(P("src").c_str(), P("dst").c_str(), false), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("dst")), big);
    vxtest::WriteFile(P("src"), "new");
    EXPECT_EQ(VF::RenameFile(P("src").c_str(), P("dst").c_str(), false), VF::EC_OK);
    // A missing source leaves the target alone whatever the flag.
    EXPECT_EQ(VF::RenameFile(P("src").c_str(), P("dst").c_str(), false), VF::EC_FILE_NOT_FOUND);
    EXPECT_EQ(VF::CopyFile(P("src").c_str(), P("dst").c_str(), false), VF::EC_FAILED);
    EXPECT_EQ(vxtest::ReadFile(P("dst")), "new");

    // 2020-01-01 00:00:00 UTC plus 1234567 ticks, in 100 ns ticks since 1601.
    uint64_t const ticks = 132223104000000000ull + 1234567;
    _FILETIME write{uint32_t(ticks), uint32_t(ticks >> 32)};
    EXPECT_EQ(VF::SetTime(P("dst").c_str(), nullptr, nullptr, &write), VF::EC_OK);
    EXPECT_EQ(VF::SetTime(P("src").c_str(), nullptr, nullptr, &write), VF::EC_FILE_NOT_FOUND);
    VF::Info info{};
    EXPECT_EQ(Open(P("dst"), VF::AM_READ, VF::OM_EXISTING).GetInfo(info), VF::EC_OK);
    EXPECT_EQ(uint64_t(info.ftLastWrite.dwHighDateTime) << 32 | info.ftLastWrite.dwLowDateTime,
              ticks);
    EXPECT_EQ(VF::DeleteFile(P("dst").c_str()), VF::EC_OK);
    EXPECT_FALSE(vxtest::FileExists(P("dst")));
}

TEST(SystemFileCallback, PassesArgumentsAndAnswerThroughReentrantly)
{
    static int depth = 0;
    EXPECT_TRUE(VF::InvokeErrorCallback("x", VF::FO_WRITE, 1)); // none set
    VF::SetErrorCallback(
        [](char const* name, VF::FileOperation operation, int code)
        {
            if (++depth == 1)
                VF::InvokeErrorCallback(name, operation, code); // reentrant on this thread
            return std::string(name) == "retry" && operation == VF::FO_READ && code == 5;
        });
    EXPECT_TRUE(VF::InvokeErrorCallback("retry", VF::FO_READ, 5));
    EXPECT_EQ(depth, 2);
    EXPECT_FALSE(VF::InvokeErrorCallback("other", VF::FO_READ, 5));
    VF::SetErrorCallback(nullptr);
}
