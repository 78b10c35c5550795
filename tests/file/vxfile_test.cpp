#include "vxsystem/VXFile.h"
#include "vxsystem/VXFixedString.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

namespace
{
using vxtest::ReadFile;
using vxtest::TempDir;
using vxtest::WriteFile;

class VXFileTest : public ::testing::Test
{
protected:
    TempDir dir;
};

std::string ReadAll(VXFile& file, uint64_t chunk)
{
    std::string out;
    std::string block(chunk, '\0');
    while (uint64_t n = file.Read(block.data(), chunk))
        out.append(block.data(), n);
    return out;
}

TEST_F(VXFileTest, WriteThenReadRoundTripThroughEveryBufferCase)
{
    std::string bytes = vxtest::RandomBytes(100000, 7);
    {
        VXFile out((dir / "a.bin").c_str(), KoFile::MODE_WRITE, 4096, false);
        ASSERT_TRUE(out.FileIsGood());
        // Small writes fill the buffer; a large one goes straight through.
        EXPECT_EQ(out.Write(bytes.data(), 10), 10u);
        EXPECT_EQ(out.Write(bytes.data() + 10, 50000), 50000u);
        EXPECT_EQ(out.Write(bytes.data() + 50010, 49990), 49990u);
        EXPECT_EQ(out.Tell(), 100000u);
    }
    EXPECT_EQ(ReadFile(dir / "a.bin"), bytes);

    for (uint64_t chunk : {1ull, 100ull, 4095ull, 4096ull, 5000ull, 70000ull})
    {
        VXFile in((dir / "a.bin").c_str(), KoFile::MODE_READ, 4096, false);
        EXPECT_EQ(ReadAll(in, chunk), bytes) << "chunk " << chunk;
        EXPECT_EQ(in.Tell(), 100000u);
    }
}

TEST_F(VXFileTest, ReadWriteModeCreatesMissingFileAndKeepsExistingData)
{
    {
        VXFile rw((dir / "new.bin").c_str(), KoFile::MODE_READ_WRITE, 64, false);
        ASSERT_TRUE(rw.FileIsGood());
        rw << 0x11223344u;
    }
    EXPECT_EQ(ReadFile(dir / "new.bin"), std::string("\x44\x33\x22\x11", 4));
    {
        VXFile rw((dir / "new.bin").c_str(), KoFile::MODE_READ_WRITE, 64, false);
        rw.Seek(2, KoFile::ms_iSeekSet);
        rw << static_cast<unsigned char>(0xAA);
    }
    EXPECT_EQ(ReadFile(dir / "new.bin"), std::string("\x44\x33\xAA\x11", 4));
}

TEST_F(VXFileTest, OpensLazilyAndSeeksInsideAndOutsideTheBuffer)
{
    std::string bytes = vxtest::RandomBytes(50000, 3);
    WriteFile(dir / "s.bin", bytes);
    VXFile in((dir / "s.bin").c_str(), KoFile::MODE_READ, 1000, false);
    // Opening waits for the first read; a seek to where the file stands hands nothing on.
    EXPECT_TRUE(in.FileIsGood());
    EXPECT_TRUE(in.Seek(0, KoFile::ms_iSeekCur));
    EXPECT_TRUE(in.Seek(0, KoFile::ms_iSeekSet));
    EXPECT_FALSE(in.FilePointerIsValid());
    char c = 0;
    for (int64_t pos : {10, 5, 999, 0, 30000, 29500, 49999, 1000, 42})
    {
        EXPECT_TRUE(in.Seek(pos, KoFile::ms_iSeekSet));
        ASSERT_EQ(in.Read(&c, 1), 1u);
        EXPECT_EQ(c, bytes[pos]) << "at " << pos;
        EXPECT_EQ(in.Tell(), static_cast<uint64_t>(pos + 1));
    }
    EXPECT_TRUE(in.FilePointerIsValid());
    in.Seek(-2, KoFile::ms_iSeekCur);
    in.Read(&c, 1);
    EXPECT_EQ(c, bytes[41]);
    in.Seek(5, KoFile::ms_iSeekEnd); // counts back from the end
    in.Read(&c, 1);
    EXPECT_EQ(c, bytes[49995]);
    EXPECT_EQ(in.Tell(), 49996u);
}

TEST_F(VXFileTest, WholeFileBufferReadsEverythingAtOpen)
{
    std::string bytes = vxtest::RandomBytes(12345, 9);
    WriteFile(dir / "w.bin", bytes);
    VXFile in((dir / "w.bin").c_str(), KoFile::MODE_READ, VXFile::WHOLE_FILE_BUFFER, false);
    ASSERT_TRUE(in.Open(false, false));
    EXPECT_EQ(in.QBufferSize(), 12345u);
    EXPECT_EQ(in.QBufferReadSize(), 12345u);
    EXPECT_EQ(in.QReadPos(), 0u);
    EXPECT_EQ(std::string(in.QBuffer(), 12345), bytes);
    EXPECT_EQ(ReadAll(in, 1000), bytes);
}

TEST_F(VXFileTest, ChangeBufferSizeFollowsFileSizeWithFloor)
{
    WriteFile(dir / "c.bin", std::string(99, 'c') + "d");
    VXFile in((dir / "c.bin").c_str(), KoFile::MODE_READ, 64, false);
    char c;
    in.Read(&c, 1);
    // Flush after a read empties the buffer and keeps the position.
    EXPECT_TRUE(in.Flush());
    EXPECT_EQ(in.QBufferReadSize(), 0u);
    EXPECT_EQ(in.QReadPos(), 0u);
    EXPECT_EQ(in.Tell(), 1u);
    EXPECT_TRUE(in.ChangeBufferSize(1 << 20));
    EXPECT_EQ(in.QBufferSize(), 10240u);
    EXPECT_EQ(in.Tell(), 0u);
    EXPECT_TRUE(in.ChangeBufferSize(4096));
    EXPECT_EQ(in.QBufferSize(), 4096u);
    EXPECT_EQ(ReadAll(in, 7), std::string(99, 'c') + "d");
}

TEST_F(VXFileTest, StringsAndPooledStringsAreNulFramed)
{
    VXStringT<char> empty;
    VXStringT<char> word("hello");
    VXStringT<VXWChar> wide(u"wide");
    {
        VXFile out((dir / "t.bin").c_str(), KoFile::MODE_WRITE, 256, false);
        EXPECT_EQ(out.WriteString(VXFixedStringCS("Hello"), true), 6u);
        EXPECT_EQ(out.WriteString(VXFixedStringWCS(u"Hi"), false), 2u);
        EXPECT_EQ(out.WriteString(VXFixedStringWCS(u"W"), true), 2u);
        EXPECT_EQ(out.WriteString(VXFixedStringCS(static_cast<char const*>(nullptr)), true), 1u);
        EXPECT_EQ(out.WriteString(VXFixedStringCS(""), false), 0u);
        EXPECT_EQ(out.WriteString(empty, true), 1u);
        EXPECT_EQ(out.WriteString(empty, false), 0u);
        out << word << "raw" << wide;
        EXPECT_EQ(out.QResult(), 5u); // 4 units + terminator
        EXPECT_EQ(out.Tell(), 15u + 1u + 6u + 3u + 10u);
    }
    std::string expected("Hello\0H\0i\0W\0\0\0\0\0hello\0raww\0i\0d\0e\0\0\0", 35);
    EXPECT_EQ(ReadFile(dir / "t.bin"), expected);

    VXFile in((dir / "t.bin").c_str(), KoFile::MODE_READ, 256, false);
    VXStringT<char> s;
    in.Seek(15, KoFile::ms_iSeekSet);
    EXPECT_EQ(in.ReadString(s, ~0ull), 0u);
    EXPECT_EQ(in.ReadString(s, ~0ull), 5u);
    EXPECT_STREQ(s.QString(), "hello");
    in.Seek(3, KoFile::ms_iSeekCur);
    VXStringT<VXWChar> w;
    EXPECT_EQ(in.ReadString(w, ~0ull), 4u);
    EXPECT_TRUE(std::u16string(w.QString()) == u"wide");
    EXPECT_EQ(in.ReadString(s, ~0ull), 0u); // end of file: empty, no error
}

TEST_F(VXFileTest, ReadStringLimitAndLongStringsAcrossBlocks)
{
    WriteFile(dir / "l.bin", std::string("abcdefgh\0", 9));
    VXFile in((dir / "l.bin").c_str(), KoFile::MODE_READ, 16, false);
    VXStringT<char> s;
    EXPECT_EQ(in.ReadString(s, 5), 5u);
    EXPECT_STREQ(s.QString(), "abcde");
    EXPECT_EQ(in.Tell(), 6u);

    std::string longText(1000, 'q');
    for (size_t i = 0; i < longText.size(); ++i)
        longText[i] = static_cast<char>('a' + i % 26);
    WriteFile(dir / "long.bin", longText); // no terminator
    VXFile big((dir / "long.bin").c_str(), KoFile::MODE_READ, 100, false);
    EXPECT_EQ(big.ReadString(s, ~0ull), 1000u);
    EXPECT_EQ(std::string(s.QString()), longText);
}

TEST_F(VXFileTest, GetLineLimitsAndDelimiters)
{
    WriteFile(dir / "g.txt", std::string("ab\r\ncd\xC1\nlast", 12));
    VXFile in((dir / "g.txt").c_str(), KoFile::MODE_READ, 64, false);
    char line[16];
    EXPECT_EQ(in.GetLine(line, 1, 10), 0u);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(in.GetLine(line, 2, 10), 1u);
    EXPECT_STREQ(line, "a");
    EXPECT_EQ(in.GetLine(line, sizeof(line), 10), 3u);
    EXPECT_STREQ(line, "b\r");
    // A delimiter above 0x7F never matches: the line runs on to the end.
    EXPECT_EQ(in.GetLine(line, sizeof(line), 0xC1), 8u);
    EXPECT_STREQ(line, "cd\xC1\nlast");
    EXPECT_EQ(in.GetLine(line, sizeof(line), 10), 0u);
    EXPECT_STREQ(line, "");
}

TEST_F(VXFileTest, ArrayOperatorsUseAndClearTheCount)
{
    int values[3] = {1, -2, 3};
    {
        VXFile out((dir / "a.bin").c_str(), KoFile::MODE_WRITE, 0, false);
        out << IOSIZE{3} << static_cast<int const*>(values);
        EXPECT_EQ(out.QResult(), 12u);
        out << static_cast<int const*>(values);
        EXPECT_EQ(out.QResult(), 0u);
        out << 2.5 << static_cast<short>(-1);
    }
    VXFile in((dir / "a.bin").c_str(), KoFile::MODE_READ, 0, false);
    int back[3] = {};
    double d = 0;
    short sh = 0;
    in >> IOSIZE{3} >> back >> d >> sh;
    EXPECT_EQ(std::memcmp(back, values, sizeof(values)), 0);
    EXPECT_EQ(d, 2.5);
    EXPECT_EQ(sh, -1);
    EXPECT_EQ(in.GetFileSize(), 22u);
}

TEST_F(VXFileTest, MissingFilesBadNamesAndRefusedWritesFailCleanly)
{
    std::string const longName = dir.Path() + "/" + std::string(300, 'n');
    std::string const missing = dir / "none.bin", noFolder = dir / "missing/x.bin";
    std::pair<char const*, KoFile::OpenMode> const rows[] = {
        {missing.c_str(), KoFile::MODE_READ},
        {longName.c_str(), KoFile::MODE_WRITE},
        {nullptr, KoFile::MODE_READ},
        {noFolder.c_str(), KoFile::MODE_WRITE}};
    for (auto [pName, iMode] : rows)
    {
        VXFile file(pName, iMode, 1024, false);
        EXPECT_FALSE(file.FileIsGood() || file.Exist()) << (pName ? pName : "(null)");
        char c = 0;
        EXPECT_EQ(iMode == KoFile::MODE_READ ? file.Read(&c, 1) : file.Write("x", 1), 0u);
        EXPECT_TRUE(!pName || pName != longName.c_str() || *file.FileName() == '\0');
    }
    EXPECT_FALSE(vxtest::FileExists(missing));

    if (!vxtest::IgnoresPermissions())
    {
        WriteFile(dir / "ro.bin", "keep");
        std::filesystem::permissions(dir / "ro.bin", std::filesystem::perms::owner_read |
                                                         std::filesystem::perms::group_read |
                                                         std::filesystem::perms::others_read);
        VXFile ro((dir / "ro.bin").c_str(), KoFile::MODE_WRITE, 0, false);
        EXPECT_FALSE(ro.FileIsGood());
        EXPECT_EQ(ReadFile(dir / "ro.bin"), "keep");
    }
}

TEST(VXFile, FullDiskGivesShortCounts)
{
    if (!vxtest::FileExists("/dev/full"))
        GTEST_SKIP() << "no /dev/full";
    VXFile full("/dev/full", KoFile::MODE_WRITE, 0, false);
    ASSERT_TRUE(full.FileIsGood());
    std::string block(1 << 16, 'x');
    EXPECT_LT(full.Write(block.data(), block.size()), block.size());
}

TEST_F(VXFileTest, FilesBeyondFourGigabytes)
{
    std::string path = dir / "big.bin";
    constexpr int64_t kSize = 5ll << 30;
    {
        WriteFile(path, "");
        std::filesystem::resize_file(path, kSize - 8); // sparse: costs no disk
        std::ofstream(path, std::ios::binary | std::ios::app) << "tail-end";
    }
    VXFile in(path.c_str(), KoFile::MODE_READ, 4096, false);
    EXPECT_EQ(in.GetFileSize(), static_cast<uint64_t>(kSize));
    ASSERT_TRUE(in.Seek(kSize - 8, KoFile::ms_iSeekSet));
    char tail[8];
    ASSERT_EQ(in.Read(tail, 8), 8u);
    EXPECT_EQ(std::string(tail, 8), "tail-end");
}

TEST_F(VXFileTest, BackslashNamesInAnyCaseOpenTheFileOnDisk)
{
    WriteFile(dir / "meshes/armor/a.kof", "kof!");
    std::string name = dir.Path() + "\\Meshes\\ARMOR\\A.kof";
    VXFile in(name.c_str(), KoFile::MODE_READ, 0, false);
    EXPECT_TRUE(in.FileIsGood());
    char text[4];
    EXPECT_EQ(in.Read(text, 4), 4u);
    EXPECT_EQ(std::string(text, 4), "kof!");

    // A write reuses the existing folders whatever their case and spells the file as given.
    std::string created = dir.Path() + "\\MESHES\\Armor\\New.kof";
    {
        VXFile out(created.c_str(), KoFile::MODE_WRITE, 0, false);
        EXPECT_TRUE(out.FileIsGood());
    }
    EXPECT_TRUE(vxtest::FileExists(dir / "meshes/armor/New.kof"));
}
} // namespace
