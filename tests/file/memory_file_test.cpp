#include "vxsystem/VXMemoryFile.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

namespace
{
constexpr char kOverrun[] = "VXMemoryFile::Write has written off the end of the file!\n";

// What one write prints on the console, and the count it gives.
std::pair<std::string, uint64_t> Write(VXMemoryFile& file, std::string const& bytes)
{
    testing::internal::CaptureStdout();
    uint64_t written = file.Write(bytes.data(), bytes.size());
    return {testing::internal::GetCapturedStdout(), written};
}

TEST(VXMemoryFile, WriteOffTheEndCopiesWhatFitsAndReports)
{
    VXMemoryFile file("mem", KoFile::MODE_WRITE, 100);
    std::string bytes = vxtest::RandomBytes(150, 1);
    EXPECT_EQ(Write(file, bytes), std::make_pair(std::string(kOverrun), uint64_t(100)));
    EXPECT_EQ(file.QTrueFilePos(), 150u);
    EXPECT_EQ(std::memcmp(file.QMemory(), bytes.data(), 100), 0);
    // Past the end nothing more is copied, and each write reports again.
    EXPECT_EQ(Write(file, "x"), std::make_pair(std::string(kOverrun), uint64_t(0)));
    EXPECT_EQ(file.QTrueFilePos(), 151u);
    // A seek brings the position back; a write that fits is silent.
    EXPECT_TRUE(file.Seek(10, KoFile::ms_iSeekSet));
    EXPECT_EQ(Write(file, "zz"), std::make_pair(std::string(), uint64_t(2)));
    EXPECT_EQ(file.FileSize(), 151u);
}

TEST(VXMemoryFile, ReadAcrossTheEnd)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 100);
    std::string bytes = vxtest::RandomBytes(100, 2);
    ASSERT_EQ(file.Write(bytes.data(), 100), 100u);
    ASSERT_TRUE(file.Seek(90, KoFile::ms_iSeekSet));
    char block[32] = {};
    EXPECT_EQ(file.Read(block, sizeof(block)), 10u);
    EXPECT_EQ(std::string(block, 10), bytes.substr(90));
    EXPECT_EQ(file.QTrueFilePos(), 122u); // advanced by what was asked
    EXPECT_EQ(file.Read(block, sizeof(block)), 0u);
    ASSERT_TRUE(file.Seek(0, KoFile::ms_iSeekSet));
    EXPECT_EQ(file.Read(nullptr, 5), 5u); // a null block skips
    EXPECT_EQ(file.Read(block, 1), 1u);
    EXPECT_EQ(block[0], bytes[5]);
}

TEST(VXMemoryFile, SeekIsCappedAtTheCapacity)
{
    using Row = std::tuple<uint64_t, int64_t, int, uint64_t>; // start, offset, whence, end
    Row const rows[] = {
        {0, 5, KoFile::ms_iSeekEnd, 95},    {0, 200, KoFile::ms_iSeekEnd, 0},
        {0, 40, KoFile::ms_iSeekSet, 40},   {0, 400, KoFile::ms_iSeekSet, 100},
        {50, 10, KoFile::ms_iSeekCur, 60},  {50, -10, KoFile::ms_iSeekCur, 40},
        {5, -10, KoFile::ms_iSeekCur, 100}, // below 0 wraps and ends at the capacity
        {50, 60, KoFile::ms_iSeekCur, 100}, {50, 3, 7, 50},
    };
    VXMemoryFile file("mem", KoFile::MODE_READ, 100);
    for (auto [start, offset, whence, end] : rows)
    {
        ASSERT_TRUE(file.Seek(static_cast<int64_t>(start), KoFile::ms_iSeekSet));
        EXPECT_EQ(file.Seek(offset, whence), whence <= 2);
        EXPECT_EQ(file.QTrueFilePos(), end) << offset << " " << whence;
        EXPECT_EQ(file.QMemoryPos(), end);
    }
    EXPECT_TRUE(file.Seek(-5)); // the one-argument form is relative
    EXPECT_EQ(file.QTrueFilePos(), 45u);
}

TEST(VXMemoryFile, SizesNameReadStringAndReallocate)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 300);
    EXPECT_EQ(file.GetFileSize(), 0u); // the highest position written, not the capacity
    std::string bytes(300, 'r');
    ASSERT_EQ(file.Write(bytes.data(), bytes.size()), 300u);
    ASSERT_TRUE(file.Seek(0, KoFile::ms_iSeekSet));
    VXStringT<char> text; // no terminator: the string ends at the capacity
    EXPECT_EQ(file.ReadString(text, ~0ull), 300u);
    EXPECT_EQ(std::string(text.QString()), bytes);
    file.SetSize(1000); // never beyond the real block
    EXPECT_EQ(file.GetSize(), 300u);
    file.Reallocate(10);
    EXPECT_EQ(file.GetSize(), 10u);
    EXPECT_EQ(file.QTrueFilePos(), 0u);
    EXPECT_EQ(file.FileSize(), 0u);
    EXPECT_EQ(Write(file, "0123456789AB"), std::make_pair(std::string(kOverrun), uint64_t(10)));
    EXPECT_STREQ(VXMemoryFile(std::string(300, 'n').c_str(), KoFile::MODE_WRITE, 8).FileName(), "");
}
} // namespace
