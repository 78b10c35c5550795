// Deliberately broken archives, made by the writer and then patched: every header field
// and table that fails its check disables the archive, as a wrong tag does; broken member
// data gives exact short reads, never a crash.
#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

using namespace vxtest;

namespace
{
using Image = std::vector<uint8_t>;
constexpr uint64_t kDirTable = VXArchiveHeader::HEADER_SIZE;
constexpr char kPath[] = "meshes\\armor\\helmet.kof"; // 5000 bytes of text, compressed

void Put32(Image& image, uint64_t at, uint32_t value)
{
    std::memcpy(image.data() + at, &value, 4);
}

void Add32(Image& image, uint64_t at, int32_t delta)
{
    uint32_t value = 0;
    std::memcpy(&value, image.data() + at, 4);
    Put32(image, at, value + static_cast<uint32_t>(delta));
}

struct Built
{
    Image kImage;
    VXArchiveLayout kLayout;
    uint64_t uiRecord = 0, uiData = 0, uiStored = 0; // where kPath lies
    uint64_t uiBootsRecord = 0;                      // its neighbour in the same directory
};

Built Build()
{
    Built b;
    b.kImage = BuildArchive(MakeMembers(0), {}, &b.kLayout);
    for (auto const& member : b.kLayout.kMembers)
    {
        if (member.sPath == kPath)
            std::tie(b.uiRecord, b.uiData, b.uiStored) =
                std::tuple(member.uiRecordOffset, member.uiDataOffset, member.uiStoredSize);
        if (member.sPath == "meshes\\armor\\boots.kof")
            b.uiBootsRecord = member.uiRecordOffset;
    }
    return b;
}

enum Outcome
{
    DISABLED,  // the archive serves nothing
    NO_READER, // the archive serves, the member is not found
    EMPTY,     // the member reads back nothing
    WHOLE,     // every byte comes out, then the stream's end is the end
    PREFIX,    // a strict prefix of the member
};

struct Case
{
    char const* pWhat;
    Outcome eOutcome;
    void (*fPatch)(Built&);
    uint64_t uiSize = 5000; // what GetSize reports: the inflated-size field
};
} // namespace

TEST(ArchiveBroken, EachPatchHasItsExactOutcome)
{
    ArchiveSettingsScope settings(1024);      // small buffers: many passes through inflate
    ArchiveManager::SetRetainTables(2, 2, 2); // the loaded and the scanned name table alike
    TempDir dir;
    Case const cases[] = {
        {"truncated header", DISABLED, [](Built& b) { b.kImage.resize(20); }},
        {"wrong tag", DISABLED, [](Built& b) { b.kImage[0] = 'X'; }},
        {"version 105", DISABLED, [](Built& b) { Put32(b.kImage, 4, 105); }},
        {"directory count beyond the file", DISABLED,
         [](Built& b) { Put32(b.kImage, 16, 0x10000000); }},
        {"entry count beyond the file", DISABLED,
         [](Built& b) { Put32(b.kImage, kDirTable + 8, 0xFFFFFF); }},
        {"entry count one too many", DISABLED, [](Built& b) { Add32(b.kImage, kDirTable + 8, 1); }},
        // The stored totals are hints: tables that fit the file are served whatever they say.
        {"file count", WHOLE, [](Built& b) { Add32(b.kImage, 20, 1); }},
        {"directory name length zero", DISABLED,
         [](Built& b) { b.kImage[b.kLayout.kDirectoryBlockOffsets[0]] = 0; }},
        {"directory name unterminated", DISABLED,
         [](Built& b)
         {
             uint64_t block = b.kLayout.kDirectoryBlockOffsets[0];
             b.kImage[block + b.kImage[block]] = 'x';
         }},
        {"directory names length short", WHOLE, [](Built& b) { Add32(b.kImage, 24, -1); }},
        {"directory names length long", WHOLE, [](Built& b) { Add32(b.kImage, 24, 1); }},
        {"file name table past the end", DISABLED,
         [](Built& b) { Put32(b.kImage, 28, 0x7FFFFFFF); }},
        {"file name table one name short", DISABLED,
         [](Built& b) { b.kImage[b.kLayout.uiDataOffset - 1] = 'x'; }},
        {"file name table without its flag", DISABLED,
         [](Built& b) { b.kImage[12] &= ~VXArchiveHeader::AF_FILE_STRINGS; }},
        {"member offset past the end", DISABLED,
         [](Built& b)
         { Put32(b.kImage, b.uiRecord + 12, static_cast<uint32_t>(b.kImage.size())); }},
        {"member size past the end", DISABLED,
         [](Built& b) { Put32(b.kImage, b.uiRecord + 8, static_cast<uint32_t>(b.kImage.size())); }},
        {"unsorted directory keys", DISABLED,
         [](Built& b) {
             std::swap_ranges(&b.kImage[kDirTable], &b.kImage[kDirTable + 24],
                              &b.kImage[kDirTable + 24]);
         }},
        {"unsorted file keys", DISABLED,
         [](Built& b)
         {
             std::swap_ranges(&b.kImage[b.uiRecord], &b.kImage[b.uiRecord + 16],
                              &b.kImage[b.uiBootsRecord]);
         }},
        {"data cut short", DISABLED, [](Built& b) { b.kImage.resize(b.kImage.size() - 1); }},
        {"corrupt zlib header", EMPTY, [](Built& b) { b.kImage[b.uiData + 8] ^= 0xFF; }},
        {"corrupt zlib checksum", WHOLE,
         [](Built& b) { b.kImage[b.uiData + b.uiStored - 1] ^= 0xFF; }},
        {"stored size cut in half", PREFIX, // the 8-byte size stays, half the stream goes
         [](Built& b)
         { Add32(b.kImage, b.uiRecord + 8, -static_cast<int32_t>(b.uiStored - 7) / 2); }},
        // The inflated-size field lies: GetSize reports the lie, the stream's end is the end.
        {"inflated size too large", WHOLE, [](Built& b) { Put32(b.kImage, b.uiData, 6000); }, 6000},
        {"inflated size too small", WHOLE, [](Built& b) { Put32(b.kImage, b.uiData, 2500); }, 2500},
        {"inflated size zero", EMPTY, [](Built& b) { Put32(b.kImage, b.uiData, 0); }, 0},
        {"invalidated record", NO_READER, [](Built& b) { Put32(b.kImage, b.uiRecord + 12, 0); }},
    };
    std::string const original = MakeMembers(0)[0].sBytes;
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.pWhat);
        Built built = Build();
        ASSERT_NE(built.uiRecord, 0u);
        c.fPatch(built);
        Archive archive(SaveArchive(dir, built.kImage).c_str(), 262144, false, false);
        EXPECT_TRUE(archive.FileIsGood());
        EXPECT_EQ(archive.GetDisabled(), c.eOutcome == DISABLED);
        EXPECT_FALSE(archive.IsFileEntryInArchive(nullptr));
        auto file = OpenMember(archive, kPath);
        EXPECT_EQ(file == nullptr, c.eOutcome <= NO_READER);
        if (!file)
            continue;
        EXPECT_EQ(file->GetSize(), c.uiSize);
        std::string got = ReadAll(*file, 70000); // whole-member inflate where it can
        EXPECT_EQ(file->Read(nullptr, 1), 0u);   // ended for good
        EXPECT_EQ(ReadAll(*OpenMember(archive, kPath), 700), got); // the streaming path
        EXPECT_EQ(got.size() < original.size(), c.eOutcome != WHOLE);
        size_t length = c.eOutcome == PREFIX ? got.size() : original.size();
        EXPECT_TRUE(got == (c.eOutcome == EMPTY ? "" : original.substr(0, length)));
    }
    Archive missing((dir / "missing.vxa").c_str(), 262144, false, false);
    EXPECT_FALSE(missing.FileIsGood());
    EXPECT_FALSE(missing.GetDisabled());
}
