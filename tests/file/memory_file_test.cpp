#include "vxsystem/VXMemoryFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace
{
constexpr char kOverrun[] = "VXMemoryFile::Write has written off the end of the file!\n";

std::string Pattern(size_t size)
{
    std::string bytes(size, 0);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>('A' + i % 26);
    return bytes;
}

TEST(VXMemoryFile, FreshFileAndSizes)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 100);
    EXPECT_TRUE(file.FileIsGood() && file.Open(false, false));
    EXPECT_STREQ(file.FileName(), "mem");
    EXPECT_EQ(file.GetFileSize(), 0u); // the highest position written, not the capacity
    ASSERT_EQ(file.Write("0123456789", 10), 10u);
    EXPECT_EQ(file.GetSize(), 100u);
    EXPECT_EQ(file.FileSize(), 10u);
    EXPECT_EQ(file.GetFileSize(), 10u);

    std::string tooLong(300, 'n');
    VXMemoryFile longName(tooLong.c_str(), KoFile::MODE_WRITE, 8);
    EXPECT_STREQ(longName.FileName(), "");
}

TEST(VXMemoryFile, WriteOffTheEndCopiesWhatFitsAndReports)
{
    VXMemoryFile file("mem", KoFile::MODE_WRITE, 100);
    std::string bytes = Pattern(150);
    testing::internal::CaptureStdout();
    uint64_t written = file.Write(bytes.data(), bytes.size());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kOverrun);
    EXPECT_EQ(written, 100u);
    EXPECT_EQ(file.QTrueFilePos(), 150u);
    EXPECT_EQ(file.FileSize(), 150u);
    EXPECT_EQ(std::memcmp(file.QMemory(), bytes.data(), 100), 0);

    // Past the end nothing more is copied, and each write reports again.
    testing::internal::CaptureStdout();
    EXPECT_EQ(file.Write("x", 1), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kOverrun);
    EXPECT_EQ(file.QTrueFilePos(), 151u);

    // A seek brings the position back; a write that fits is silent.
    EXPECT_TRUE(file.Seek(10, KoFile::ms_iSeekSet));
    testing::internal::CaptureStdout();
    EXPECT_EQ(file.Write("zz", 2), 2u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(file.FileSize(), 151u);
}

TEST(VXMemoryFile, ReadAcrossTheEnd)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 100);
    std::string bytes = Pattern(100);
    ASSERT_EQ(file.Write(bytes.data(), 100), 100u);
    ASSERT_TRUE(file.Seek(90, KoFile::ms_iSeekSet));
    char block[32] = {};
    EXPECT_EQ(file.Read(block, sizeof(block)), 10u);
    EXPECT_EQ(std::memcmp(block, bytes.data() + 90, 10), 0);
    EXPECT_EQ(file.QTrueFilePos(), 122u); // advanced by what was asked
    EXPECT_EQ(file.Read(block, sizeof(block)), 0u);

    ASSERT_TRUE(file.Seek(0, KoFile::ms_iSeekSet));
    EXPECT_EQ(file.Read(nullptr, 5), 5u); // a null block skips
    EXPECT_EQ(file.Read(block, 1), 1u);
    EXPECT_EQ(block[0], bytes[5]);
}

TEST(VXMemoryFile, Seek)
{
    struct Row
    {
        uint64_t uiStart;
        int64_t iOffset;
        int iWhence;
        uint64_t uiExpected;
    };
    Row const rows[] = {
        {0, 5, KoFile::ms_iSeekEnd, 95},    {0, 200, KoFile::ms_iSeekEnd, 0},
        {0, 40, KoFile::ms_iSeekSet, 40},   {0, 400, KoFile::ms_iSeekSet, 100},
        {50, 10, KoFile::ms_iSeekCur, 60},  {50, -10, KoFile::ms_iSeekCur, 40},
        {5, -10, KoFile::ms_iSeekCur, 100}, // below 0 wraps and ends at the capacity
        {50, 60, KoFile::ms_iSeekCur, 100}, {50, 3, 7, 50},
    };
    VXMemoryFile file("mem", KoFile::MODE_READ, 100);
    for (Row const& row : rows)
    {
        ASSERT_TRUE(file.Seek(static_cast<int64_t>(row.uiStart), KoFile::ms_iSeekSet));
        EXPECT_EQ(file.Seek(row.iOffset, row.iWhence), row.iWhence <= 2);
        EXPECT_EQ(file.QTrueFilePos(), row.uiExpected) << row.iOffset << " " << row.iWhence;
        EXPECT_EQ(file.QMemoryPos(), row.uiExpected);
    }
    ASSERT_TRUE(file.Seek(20, KoFile::ms_iSeekSet));
    EXPECT_TRUE(file.Seek(-5)); // the one-argument form is relative
    EXPECT_EQ(file.QTrueFilePos(), 15u);
}

TEST(VXMemoryFile, ReadStringWithoutTerminatorEndsAtCapacity)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 300);
    std::string bytes = Pattern(300);
    ASSERT_EQ(file.Write(bytes.data(), bytes.size()), 300u);
    ASSERT_TRUE(file.Seek(0, KoFile::ms_iSeekSet));
    VXStringT<char> text;
    EXPECT_EQ(file.ReadString(text, ~0ull), 300u);
    EXPECT_EQ(std::string(text.QString()), bytes);
}

TEST(VXMemoryFile, SetSizeAndReallocate)
{
    VXMemoryFile file("mem", KoFile::MODE_READ_WRITE, 100);
    file.SetSize(40);
    EXPECT_EQ(file.GetSize(), 40u);
    file.SetSize(1000); // never beyond the real block
    EXPECT_EQ(file.GetSize(), 100u);

    ASSERT_EQ(file.Write("abc", 3), 3u);
    file.Reallocate(10);
    EXPECT_EQ(file.GetSize(), 10u);
    EXPECT_EQ(file.QTrueFilePos(), 0u);
    EXPECT_EQ(file.FileSize(), 0u);
    EXPECT_TRUE(file.FileIsGood());
    testing::internal::CaptureStdout();
    EXPECT_EQ(file.Write("0123456789AB", 12), 10u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kOverrun);
}
} // namespace
