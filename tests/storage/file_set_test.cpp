#include "vxsystem/VXFileSet.h"
#include "vxsystem/VXMemStorage.h"
#include "vxsystem/VXSystemFileStorage.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace
{
using namespace VXStorageDefs;
constexpr uint64_t kBlock = 0xA00000;

// Stream pieces built by hand.
struct Bytes
{
    static std::string U16(uint16_t v) { return std::string(reinterpret_cast<char*>(&v), 2); }
    static std::string U64(uint64_t v) { return std::string(reinterpret_cast<char*>(&v), 8); }
    static std::string Header(uint16_t count) { return "VTAR" + U16(1) + U16(count); }
    static std::string Entry(std::string const& name, std::string const& content)
    {
        return U16(static_cast<uint16_t>(name.size())) + name + U64(content.size()) + content;
    }
};
using B = Bytes;

// A memory storage that remembers the size of every Write.
class RecordingStorage : public VXMemStorage
{
public:
    explicit RecordingStorage(std::string& bytes)
        : VXMemStorage(bytes.size(), reinterpret_cast<unsigned char*>(bytes.data()))
    {
    }
    ErrorCode Write(uint64_t size, unsigned char const* const buffer) override
    {
        vWrites.push_back(size);
        return VXMemStorage::Write(size, buffer);
    }
    std::vector<uint64_t> vWrites;
};

VXFileSet::FileList List(std::vector<char const*> const& names)
{
    VXFileSet::FileList files;
    for (char const* name : names)
        files.Add(VXFixedString(name));
    return files;
}

bool Restore(std::string bytes, std::string const& folder, VXStorage* log = nullptr)
{
    VXMemStorage in(bytes.size(), reinterpret_cast<unsigned char*>(bytes.data()));
    return VXFileSet::Read(in, folder.c_str(), log);
}

std::vector<std::string> Tree(std::string const& folder)
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
        names.push_back(std::filesystem::relative(entry.path(), folder).generic_string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(VXFileSet, RoundTripWithNestedZeroByteAndMissingFiles)
{
    vxtest::TempDir source, target;
    vxtest::ScopedCwd cwd(source.Path());
    vxtest::WriteFile("a.txt", "alpha");
    vxtest::WriteFile("sub/deep/b.bin", vxtest::RandomBytes(3000, 1));
    vxtest::WriteFile("zero.bin", "");
    auto files = List({"a.txt", "sub\\deep\\b.bin", "zero.bin", "missing.bin"});
    std::string expected = B::Header(4) + B::Entry("a.txt", "alpha") +
                           B::Entry("sub\\deep\\b.bin", vxtest::RandomBytes(3000, 1)) +
                           B::Entry("zero.bin", "") + B::Entry("missing.bin", "");
    EXPECT_EQ(VXFileSet::QSize(files), expected.size());
    EXPECT_EQ(VXFileSet::QEntrySize(files[3]), 21u);

    std::string stream(expected.size() + 4, '\0');
    RecordingStorage out(stream);
    ASSERT_TRUE(VXFileSet::Write(out, files));
    EXPECT_EQ(out.GetPosition(), expected.size());
    EXPECT_EQ(stream.substr(0, expected.size()), expected);

    // No trailing separator: a slash is added; zero-byte files are neither made nor logged.
    std::string logBytes(64, '\0');
    VXMemStorage log(logBytes.size(), reinterpret_cast<unsigned char*>(logBytes.data()));
    ASSERT_TRUE(Restore(expected, target / "out", &log));
    EXPECT_EQ(Tree(target / "out"),
              (std::vector<std::string>{"a.txt", "sub", "sub/deep", "sub/deep/b.bin"}));
    EXPECT_EQ(vxtest::ReadFile(target / "out/sub/deep/b.bin"), vxtest::RandomBytes(3000, 1));
    EXPECT_EQ(logBytes.substr(0, log.GetPosition()),
              B::U16(5) + "a.txt" + B::U16(14) + "sub\\deep\\b.bin");
    // Restoring again replaces the files.
    vxtest::WriteFile(target / "out/a.txt", "longer old content");
    ASSERT_TRUE(Restore(expected, target.Path() + "/out/"));
    EXPECT_EQ(vxtest::ReadFile(target / "out/a.txt"), "alpha");
}

TEST(VXFileSet, EmptyListAndFileCountLimit)
{
    vxtest::TempDir target;
    VXCounterStorage counter;
    VXFileSet::FileList files;
    EXPECT_EQ(VXFileSet::QSize(files), 8u);
    ASSERT_TRUE(VXFileSet::Write(counter, files));
    EXPECT_EQ(counter.GetPosition(), 8u);
    EXPECT_TRUE(Restore(B::Header(0), target.Path()));
    EXPECT_TRUE(Tree(target.Path()).empty());

    VXFixedString missing((target / "none").c_str());
    for (int i = 0; i < 0xFFFF; ++i)
        files.Add(missing);
    counter.ResetCounts();
    ASSERT_TRUE(VXFileSet::Write(counter, files));
    EXPECT_EQ(counter.GetPosition(), VXFileSet::QSize(files));
    files.Add(missing);
    counter.ResetCounts();
    EXPECT_FALSE(VXFileSet::Write(counter, files));
    EXPECT_EQ(counter.GetPosition(), 0u);
}

TEST(VXFileSet, ContentMovesInTenMebibyteSteps)
{
    vxtest::TempDir source, target;
    vxtest::ScopedCwd cwd(source.Path());
    for (uint64_t size : {kBlock, kBlock + 1})
    {
        vxtest::WriteFile("big.bin", vxtest::RandomBytes(size, 7));
        auto files = List({"big.bin"});
        std::string stream(VXFileSet::QSize(files), '\0');
        RecordingStorage out(stream);
        ASSERT_TRUE(VXFileSet::Write(out, files));
        // Behind the three header writes and the name prefix, name and size.
        std::vector<uint64_t> content(out.vWrites.begin() + 6, out.vWrites.end());
        std::vector<uint64_t> steps{kBlock};
        if (size > kBlock)
            steps.push_back(1);
        EXPECT_EQ(content, steps);
        ASSERT_TRUE(Restore(stream, target.Path()));
        EXPECT_EQ(std::filesystem::file_size(target / "big.bin"), size);
    }
}

TEST(VXFileSet, BadStreamsAreRefusedAndStayInside)
{
    std::string const good = B::Entry("ok.txt", "fine");
    std::string const refused[] = {
        "VTAX" + B::U16(1) + B::U16(1) + good,
        "VTAR" + B::U16(2) + B::U16(1) + good,
        "VTAR" + B::U16(1),
        B::Header(2) + good,
        B::Header(1) + B::Entry("cut.bin", "12345678").substr(0, 20),
        B::Header(1) + B::U16(6) + "ok.txt" + B::U64(uint64_t(1) << 62) + "data",
        B::Header(1) + B::Entry("..\\up.txt", "x"),
        B::Header(1) + B::Entry("a/../../up.txt", "x"),
        B::Header(1) + B::Entry("a\\.. \\..\\up.txt", "x"),
        B::Header(1) + B::Entry("/abs.txt", "x"),
        B::Header(1) + B::Entry("\\\\server\\share\\x", "x"),
        B::Header(1) + B::Entry("C:up.txt", "x"),
        B::Header(1) + B::Entry("sub\\nul.txt", "x"),
        B::Header(1) + B::Entry("CONOUT$", "x"),
        B::Header(1) + B::Entry("dir\\", "x"),
        B::Header(1) + B::Entry("", ""),
        B::Header(1) + B::Entry(std::string(300, 'n'), "x"),
        B::Header(1) + B::Entry("bad\x01name", "x"),
    };
    for (std::string const& bytes : refused)
    {
        vxtest::TempDir outer;
        EXPECT_FALSE(Restore(bytes, outer / "in")) << bytes;
        for (auto const& entry : std::filesystem::directory_iterator(outer.Path()))
            EXPECT_EQ(entry.path().filename(), "in");
    }
    for (char const* name : {"a\\...b/c..d\\.\\e", "console.txt", "com0", "lpt10", "a//b", "x.."})
        EXPECT_TRUE(VXFileSet::QRestorableName(name)) << name;
}
} // namespace
