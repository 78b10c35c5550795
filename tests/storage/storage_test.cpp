#include "vxsystem/VXMemStorage.h"
#include "vxsystem/VXSystemFileStorage.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace
{
using namespace VXStorageDefs;
using VF = VXSystemFile;

// Every value width and string form, and the bytes they must become.
std::string const kSample("\1\2\3\4\5\6\7\x08\x09\x0A\x0B\x0C\x0D\x0E\2\0Ab\3\0\0\0xyz\0\0\0\0\0\0",
                          31);
void WriteSample(VXStorage& out)
{
    ErrorCode codes[] = {out.WriteValue(uint16_t{0x0201}),
                         out.WriteValue(uint32_t{0x06050403}),
                         out.WriteValue(uint64_t{0x0E0D0C0B0A090807}),
                         out.WriteString("Ab", true),
                         out.WriteString("xyz", false),
                         out.WriteString(nullptr, true),
                         out.WriteString("", false)};
    for (ErrorCode code : codes)
        ASSERT_EQ(code, STORAGE_OK);
}

void ExpectSampleReadsBack(VXStorage const& in)
{
    uint16_t a = 0;
    uint32_t b = 0;
    uint64_t c = 0;
    VXFixedStringCS cs("old"), empty("old");
    VXFixedString ci, none("old");
    ErrorCode codes[] = {in.ReadValue(a),           in.ReadValue(b),
                         in.ReadValue(c),           in.ReadString(cs, true),
                         in.ReadString(ci, false),  in.ReadString(empty, true),
                         in.ReadString(none, false)};
    for (ErrorCode code : codes)
        EXPECT_EQ(code, STORAGE_OK);
    EXPECT_EQ(std::make_tuple(a, b, c), std::make_tuple(0x0201, 0x06050403u, 0x0E0D0C0B0A090807u));
    EXPECT_TRUE(cs == "Ab" && ci == "xyz" && !empty.QString()[0] && !none.QString()[0]);
    // At the end: the failure code, and the old values stay.
    EXPECT_EQ(in.ReadValue(a), STORAGE_FAILED);
    EXPECT_EQ(in.ReadString(cs, true), STORAGE_FAILED);
    EXPECT_TRUE(a == 0x0201 && cs == "Ab");
}

TEST(VXStorage, SampleRoundTripsThroughEveryStorage)
{
    unsigned char* block = VXMemStorageScrapAllocator::Allocate(64);
    VXMemStorage memory(kSample.size(), block);
    WriteSample(memory);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block), kSample.size()), kSample);
    EXPECT_EQ(memory.WriteValue(uint16_t{1}), STORAGE_FAILED); // full: nothing moves
    EXPECT_EQ(memory.GetPosition(), kSample.size());
    ASSERT_EQ(memory.Seek(0, STORAGE_SEEK_BEGIN), STORAGE_OK);
    ExpectSampleReadsBack(memory);
    VXMemStorageScrapAllocator::Destroy(block);

    VXCounterStorage counter;
    WriteSample(counter);
    EXPECT_EQ(counter.GetPosition(), kSample.size());
    EXPECT_EQ(counter.GetSize(), kSample.size() + 1);
    EXPECT_EQ(counter.Read(0, nullptr), STORAGE_NOT_SUPPORTED);

    vxtest::TempDir dir;
    {
        VXSystemFileStorage file((dir / "s.bin").c_str(), VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
        WriteSample(file);
        EXPECT_EQ(file.GetSize(), kSample.size());
        ASSERT_EQ(file.Seek(0, STORAGE_SEEK_BEGIN), STORAGE_OK);
        ExpectSampleReadsBack(file);
        EXPECT_TRUE(file.QGood()); // running into the end keeps the storage usable
    }
    EXPECT_EQ(vxtest::ReadFile(dir / "s.bin"), kSample);
}

TEST(VXStorage, MemoryAndCounterSeekBounds)
{
    // From position 4 of a 10-byte storage: offset, mode, result, position after.
    using Row = std::tuple<int64_t, SeekMode, ErrorCode, uint64_t>;
    Row const rows[] = {{9, STORAGE_SEEK_BEGIN, STORAGE_OK, 9},
                        {10, STORAGE_SEEK_BEGIN, STORAGE_FAILED, 4},
                        {-1, STORAGE_SEEK_BEGIN, STORAGE_FAILED, 4},
                        {5, STORAGE_SEEK_CURRENT, STORAGE_OK, 9},
                        {6, STORAGE_SEEK_CURRENT, STORAGE_FAILED, 4},
                        {-4, STORAGE_SEEK_CURRENT, STORAGE_OK, 0},
                        {-5, STORAGE_SEEK_CURRENT, STORAGE_FAILED, 4},
                        {INT64_MIN, STORAGE_SEEK_CURRENT, STORAGE_FAILED, 4},
                        {0, STORAGE_SEEK_END, STORAGE_OK, 10},
                        {-9, STORAGE_SEEK_END, STORAGE_OK, 1},
                        {-10, STORAGE_SEEK_END, STORAGE_FAILED, 4},
                        {1, STORAGE_SEEK_END, STORAGE_FAILED, 4},
                        {3, SeekMode(7), STORAGE_OK, 4}};
    unsigned char block[10] = {};
    for (auto [offset, mode, result, position] : rows)
    {
        VXMemStorage memory(sizeof(block), block);
        VXCounterStorage counter;
        counter.Write(9, nullptr); // size 10: one above the position reached
        for (VXStorage* storage :
             {static_cast<VXStorage*>(&memory), static_cast<VXStorage*>(&counter)})
        {
            ASSERT_EQ(storage->Seek(4, STORAGE_SEEK_BEGIN), STORAGE_OK);
            EXPECT_EQ(storage->Seek(offset, mode), result) << offset << " mode " << mode;
            EXPECT_EQ(storage->GetPosition(), position) << offset << " mode " << mode;
        }
    }
    VXCounterStorage fresh;
    EXPECT_EQ(fresh.Seek(0, STORAGE_SEEK_END), STORAGE_FAILED);
    // The short form keeps the low 16 bits of a length.
    EXPECT_EQ(fresh.WriteString(std::string(0x10001, 'x').c_str(), true), STORAGE_OK);
    EXPECT_EQ(fresh.GetPosition(), 2u + 0x10001u);
}

TEST(VXSystemFileStorage, AccessModesAndFailures)
{
    vxtest::TempDir dir;
    vxtest::WriteFile(dir / "data.bin", "0123456789");
    unsigned char bytes[16] = {};
    VXSystemFileStorage reader((dir / "data.bin").c_str(), VF::AM_READ, VF::OM_EXISTING);
    EXPECT_EQ(reader.Write(1, bytes), STORAGE_NOT_SUPPORTED);
    ASSERT_EQ(reader.Seek(-4, STORAGE_SEEK_END), STORAGE_OK);
    EXPECT_EQ(reader.Read(8, bytes), STORAGE_FAILED);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 4), "6789");
    EXPECT_TRUE(reader.QGood());

    VXSystemFileStorage writer((dir / "out.bin").c_str(), VF::AM_WRITE, VF::OM_CREATE_ALWAYS);
    EXPECT_EQ(writer.Read(1, bytes), STORAGE_NOT_SUPPORTED);

    VXSystemFileStorage missing((dir / "none.bin").c_str(), VF::AM_READ, VF::OM_EXISTING);
    EXPECT_FALSE(missing.QGood());
    EXPECT_EQ(missing.GetSize(), 0u);
    EXPECT_EQ(missing.Read(0, bytes), STORAGE_FAILED);
    EXPECT_EQ(missing.Seek(0, STORAGE_SEEK_BEGIN), STORAGE_FAILED);
}

// A memory storage with a write-behind block, as a derived class sets one up.
struct BufferedStorage : public VXMemStorage
{
    BufferedStorage(unsigned char (&block)[32], uint64_t bufferSize) : VXMemStorage(32, block)
    {
        CreateStreamBuffer(bufferSize);
    }
    using VXStorage::FlushStreamBuffer, VXStorage::PrepareStreamBuffer;
};

TEST(VXStorage, WriteBehindBuffer)
{
    unsigned char block[32] = {};
    BufferedStorage storage(block, 8);
    EXPECT_EQ(storage.WriteValue(uint32_t{0x44332211}), STORAGE_OK);
    EXPECT_EQ(storage.WriteString("ab", true), STORAGE_OK);
    EXPECT_EQ(storage.GetPosition(), 0u);                        // all 8 bytes still buffered
    EXPECT_EQ(storage.WriteValue(uint16_t{0x6655}), STORAGE_OK); // flushes the first 8
    EXPECT_EQ(storage.GetPosition(), 8u);
    EXPECT_EQ(storage.PrepareStreamBuffer(9), STORAGE_FAILED); // flushed, still too small
    EXPECT_EQ(storage.WriteThrough(1, block), STORAGE_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block), 11),
              std::string("\x11\x22\x33\x44\2\0ab\x55\x66\x11", 11));
    // A failed flush drops the buffered bytes.
    ASSERT_EQ(storage.Seek(-1, STORAGE_SEEK_END), STORAGE_OK);
    EXPECT_EQ(storage.WriteValue(uint64_t{0}), STORAGE_OK);
    EXPECT_EQ(storage.FlushStreamBuffer(), STORAGE_FAILED);
    EXPECT_EQ(storage.FlushStreamBuffer(), STORAGE_OK);
}
} // namespace
