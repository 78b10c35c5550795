// The vxa command driven as a process, as a user runs it.
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;
using namespace vxtest;

namespace
{
struct Outcome
{
    int iExit;
    std::string sOut, sErr;
};

Outcome Vxa(TempDir const& dir, std::string const& args)
{
    std::string out = dir / "stdout.txt", err = dir / "stderr.txt";
    std::string line =
        std::string("\"") + VXA_TOOL + "\" " + args + " >\"" + out + "\" 2>\"" + err + "\"";
    int status = std::system(line.c_str());
#ifdef _WIN32
    int code = status;
#else
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
    return {code, ReadFile(out), ReadFile(err)};
}

// The process tests run where the tool is native; CI runs one round of the Windows build
// under Wine by itself.
class VxaTool : public testing::Test
{
protected:
    void SetUp() override
    {
#ifdef _WIN32
        GTEST_SKIP() << "the tool's process tests run on the native build";
#endif
    }
};

// Every regular file under root by its relative path, with its bytes.
std::map<std::string, std::string> Tree(std::string const& root)
{
    std::map<std::string, std::string> out;
    for (auto const& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file())
            out[fs::relative(entry.path(), root).generic_string()] =
                ReadFile(entry.path().string());
    return out;
}

void MakeSource(TempDir const& dir)
{
    WriteFile(dir / "src/meshes/armor/Helmet.KOF", "helmet mesh");
    WriteFile(dir / "src/Textures/Sky Box/clouds two.dds", RandomBytes(70000, 1));
    WriteFile(dir / "src/a/b/c/d/e/f/deep.txt", std::string(50000, 'x'));
    WriteFile(dir / "src/empty.bin", "");
}
} // namespace

TEST_F(VxaTool, PackListExtractRoundTrip)
{
    TempDir dir;
    MakeSource(dir);
    for (char const* options : {"", "--no-compress --embed-names"})
    {
        Outcome pack = Vxa(dir, "pack \"" + dir / "src" + "\" \"" + dir / "a.vxa\" " + options);
        ASSERT_EQ(pack.iExit, 0) << pack.sErr;
        Outcome list = Vxa(dir, "list \"" + dir / "a.vxa\"");
        EXPECT_NE(list.sOut.find("70000"), std::string::npos);
        EXPECT_NE(list.sOut.find("Textures\\Sky Box\\clouds two.dds"), std::string::npos);
        EXPECT_NE(list.sOut.find("4 files"), std::string::npos);
        fs::remove_all(dir / "out");
        Outcome extract = Vxa(dir, "extract \"" + dir / "a.vxa\" \"" + dir / "out\"");
        ASSERT_EQ(extract.iExit, 0) << extract.sErr;
        EXPECT_EQ(Tree(dir / "out"), Tree(dir / "src")) << options;
        EXPECT_EQ(Vxa(dir, "verify \"" + dir / "a.vxa\"").iExit, 0);
    }
    Outcome json = Vxa(dir, "list \"" + dir / "a.vxa\" \"meshes\\*\" --json");
    EXPECT_EQ(json.sOut, "[\n  {\"name\": \"meshes\\\\armor\\\\Helmet.KOF\", \"size\": 11, "
                         "\"stored\": 22, \"compressed\": false}\n]\n");
}

TEST_F(VxaTool, VerifyNamesTheFault)
{
    TempDir dir;
    MakeSource(dir);
    ASSERT_EQ(Vxa(dir, "pack \"" + dir / "src" + "\" \"" + dir / "a.vxa\"").iExit, 0);
    std::string good = ReadFile(dir / "a.vxa");
    struct Case
    {
        size_t uiOffset; // of the flipped byte
        char const* pFault;
    };
    // The first directory record's key, and a byte inside the last member's deflate stream.
    for (Case const& c :
         {Case{36 + 2, "key does not belong"}, Case{good.size() - 1000, "corrupt zlib stream"}})
    {
        std::string bad = good;
        bad[c.uiOffset] ^= 0x10;
        WriteFile(dir / "bad.vxa", bad);
        Outcome verify = Vxa(dir, "verify \"" + dir / "bad.vxa\"");
        EXPECT_EQ(verify.iExit, 1);
        EXPECT_NE(verify.sErr.find(c.pFault), std::string::npos) << verify.sErr;
    }
    WriteFile(dir / "cut.vxa", good.substr(0, 30));
    Outcome cut = Vxa(dir, "verify \"" + dir / "cut.vxa\"");
    EXPECT_EQ(cut.iExit, 1);
    EXPECT_NE(cut.sErr.find("cut.vxa"), std::string::npos);
}

TEST_F(VxaTool, FileViewAnswersAsTheEngine)
{
    TempDir dir;
    WriteFile(dir / "pack/meshes/a.kof", "archived a");
    WriteFile(dir / "pack/meshes/b.kof", "archived b");
    ASSERT_EQ(Vxa(dir, "pack \"" + dir / "pack" + "\" \"" + dir / "Data/Base.vxa\"").iExit, 0);
    WriteFile(dir / "Data/meshes/b.kof", "loose b");
    EXPECT_EQ(Vxa(dir, "cat \"" + dir / "Data\" \"MESHES\\A.KOF\"").sOut, "archived a");
    EXPECT_EQ(Vxa(dir, "cat \"" + dir / "Data\" \"meshes\\b.kof\"").sOut, "loose b");
    EXPECT_EQ(Vxa(dir, "cat \"" + dir / "Data/Base.vxa\" \"meshes\\b.kof\"").sOut, "archived b");
    Outcome which = Vxa(dir, "which \"" + dir / "Data\" \"meshes\\b.kof\"");
    EXPECT_NE(which.sOut.find("loose file"), std::string::npos) << which.sOut;
    EXPECT_NE(which.sOut.find("Base.vxa, dropped"), std::string::npos) << which.sOut;
    EXPECT_EQ(Vxa(dir, "which \"" + dir / "Data\" \"meshes\\none.kof\"").iExit, 1);
}

TEST_F(VxaTool, UsageAndErrors)
{
    TempDir dir;
    EXPECT_EQ(Vxa(dir, "").iExit, 2);
    EXPECT_EQ(Vxa(dir, "frobnicate").iExit, 2);
    EXPECT_EQ(Vxa(dir, "pack --bogus a b").iExit, 2);
    EXPECT_EQ(Vxa(dir, "list --help").iExit, 0);
    Outcome missing = Vxa(dir, "list \"" + dir / "none.vxa\"");
    EXPECT_EQ(missing.iExit, 1);
    EXPECT_NE(missing.sErr.find("none.vxa: no such file"), std::string::npos) << missing.sErr;
    Outcome type = Vxa(dir, "pack \"" + dir.Path() + "\" x.vxa --type meshes,bogus");
    EXPECT_NE(type.sErr.find("unknown type 'bogus'"), std::string::npos) << type.sErr;
}

TEST_F(VxaTool, PacksTenThousandSmallFiles)
{
    TempDir dir;
    for (int i = 0; i < 10000; ++i)
        WriteFile(dir / ("src/d" + std::to_string(i % 50) + "/f" + std::to_string(i) + ".txt"),
                  "file " + std::to_string(i));
    ASSERT_EQ(Vxa(dir, "pack \"" + dir / "src" + "\" \"" + dir / "a.vxa\"").iExit, 0);
    Outcome list = Vxa(dir, "list \"" + dir / "a.vxa\"");
    EXPECT_NE(list.sOut.find("10000 files"), std::string::npos);
    EXPECT_EQ(Vxa(dir, "cat \"" + dir / "a.vxa\" \"d7\\f9957.txt\"").sOut, "file 9957");
}
