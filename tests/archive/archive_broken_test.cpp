// Deliberately broken archives, made by the writer and then patched: every header field
// and table that fails its check disables the archive, as a wrong tag does; broken member
// data gives exact short reads, never a crash.
#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

using namespace vxtest;

namespace
{
using Image = std::vector<uint8_t>;

void Put32(Image& image, uint64_t at, uint32_t value)
{
    std::memcpy(image.data() + at, &value, 4);
}

uint32_t Get32(Image const& image, uint64_t at)
{
    uint32_t value = 0;
    std::memcpy(&value, image.data() + at, 4);
    return value;
}

struct Built
{
    Image kImage;
    VXArchiveLayout kLayout;
};

Built Build()
{
    VXArchiveWriter writer; // names, file names, compressed by default
    for (TestMember const& member : MakeMembers(0))
        writer.AddFile(member.sPath, member.sBytes, member.eCompression);
    Built built;
    writer.WriteToMemory(built.kImage);
    built.kLayout = writer.QLayout();
    return built;
}

VXArchiveLayout::Member const& Placed(Built const& built, std::string const& path)
{
    for (auto const& member : built.kLayout.kMembers)
        if (member.sPath == path)
            return member;
    return built.kLayout.kMembers.front();
}

std::string Original(std::string const& path)
{
    for (TestMember const& member : MakeMembers(0))
        if (member.sPath == path)
            return member.sBytes;
    return {};
}

struct Patch
{
    char const* pWhat;
    std::function<void(Built&)> fApply;
};
} // namespace

TEST(ArchiveBroken, EveryFailedCheckDisables)
{
    ArchiveSettingsScope settings;
    ArchiveManager::SetRetainTables(2, 2, 2); // the loaded and the scanned name table alike
    TempDir dir;
    uint64_t const dirTable = VXArchiveHeader::HEADER_SIZE;
    Patch const patches[] = {
        {"truncated header", [](Built& b) { b.kImage.resize(20); }},
        {"empty file", [](Built& b) { b.kImage.clear(); }},
        {"wrong tag", [](Built& b) { b.kImage[0] = 'X'; }},
        {"version 105", [](Built& b) { Put32(b.kImage, 4, 105); }},
        {"directory count beyond the file", [](Built& b) { Put32(b.kImage, 16, 0x10000000); }},
        {"entry count beyond the file", [&](Built& b) { Put32(b.kImage, dirTable + 8, 0xFFFFFF); }},
        {"entry count one too many",
         [&](Built& b) { Put32(b.kImage, dirTable + 8, Get32(b.kImage, dirTable + 8) + 1); }},
        {"file count", [](Built& b) { Put32(b.kImage, 20, Get32(b.kImage, 20) + 1); }},
        {"directory name length zero",
         [](Built& b) { b.kImage[b.kLayout.kDirectoryBlockOffsets[0]] = 0; }},
        {"directory name unterminated",
         [](Built& b)
         {
             uint64_t block = b.kLayout.kDirectoryBlockOffsets[0];
             b.kImage[block + b.kImage[block]] = 'x';
         }},
        {"directory names length short",
         [](Built& b) { Put32(b.kImage, 24, Get32(b.kImage, 24) - 1); }},
        {"directory names length long",
         [](Built& b) { Put32(b.kImage, 24, Get32(b.kImage, 24) + 1); }},
        {"file name table past the end", [](Built& b) { Put32(b.kImage, 28, 0x7FFFFFFF); }},
        {"file name table one name short",
         [](Built& b) { b.kImage[b.kLayout.uiDataOffset - 1] = 'x'; }},
        {"file name table without its flag", [](Built& b)
         { Put32(b.kImage, 12, Get32(b.kImage, 12) & ~VXArchiveHeader::AF_FILE_STRINGS); }},
        {"member offset past the end",
         [](Built& b)
         {
             Put32(b.kImage, b.kLayout.kMembers[0].uiRecordOffset + 12,
                   static_cast<uint32_t>(b.kImage.size()));
         }},
        {"member size past the end",
         [](Built& b)
         {
             Put32(b.kImage, b.kLayout.kMembers[0].uiRecordOffset + 8,
                   static_cast<uint32_t>(b.kImage.size()));
         }},
        {"unsorted directory keys",
         [&](Built& b)
         {
             std::swap_ranges(b.kImage.begin() + dirTable, b.kImage.begin() + dirTable + 24,
                              b.kImage.begin() + dirTable + 24);
         }},
        {"unsorted file keys",
         [](Built& b)
         {
             uint64_t first = Placed(b, "meshes\\armor\\helmet.kof").uiRecordOffset;
             uint64_t second = Placed(b, "meshes\\armor\\boots.kof").uiRecordOffset;
             std::swap_ranges(b.kImage.begin() + first, b.kImage.begin() + first + 16,
                              b.kImage.begin() + second);
         }},
        {"data cut short", [](Built& b) { b.kImage.resize(b.kImage.size() - 1); }},
    };
    for (Patch const& patch : patches)
    {
        SCOPED_TRACE(patch.pWhat);
        Built built = Build();
        patch.fApply(built);
        Archive archive(SaveArchive(dir, built.kImage).c_str(), 262144, false, false);
        EXPECT_TRUE(archive.FileIsGood());
        EXPECT_TRUE(archive.GetDisabled());
        EXPECT_FALSE(OpenMember(archive, "meshes\\armor\\helmet.kof"));
        EXPECT_FALSE(archive.IsFileEntryInArchive(nullptr));
    }
    Archive missing((dir / "missing.vxa").c_str(), 262144, false, false);
    EXPECT_FALSE(missing.FileIsGood());
    EXPECT_FALSE(missing.GetDisabled());
}

TEST(ArchiveBroken, BrokenMembersGiveExactShortReads)
{
    ArchiveSettingsScope settings(1024); // small buffers: many passes through inflate
    TempDir dir;
    std::string const path = "meshes\\armor\\helmet.kof"; // 5000 bytes of text, compressed
    std::string const original = Original(path);
    auto readBack = [&](std::function<void(Built&, VXArchiveLayout::Member const&)> patch,
                        uint64_t* size = nullptr)
    {
        Built built = Build();
        patch(built, Placed(built, path));
        Archive archive(SaveArchive(dir, built.kImage).c_str(), 262144, false, false);
        EXPECT_FALSE(archive.GetDisabled());
        auto file = OpenMember(archive, path.c_str());
        if (!file)
            return std::string("<none>");
        if (size)
            *size = file->GetSize();
        std::string got = ReadAll(*file, 70000);
        EXPECT_EQ(file->Read(nullptr, 1), 0u); // ended for good
        return got;
    };
    // Corrupt zlib header: inflate fails at once.
    EXPECT_EQ(readBack([](Built& b, auto const& m) { b.kImage[m.uiDataOffset + 8] ^= 0xFF; }), "");
    // Corrupt checksum: every byte comes out, then the error ends the member.
    EXPECT_TRUE(readBack([](Built& b, auto const& m)
                         { b.kImage[m.uiDataOffset + m.uiStoredSize - 1] ^= 0xFF; }) == original);
    // A stored size cut in half: a strict prefix of the member.
    std::string half = readBack(
        [](Built& b, auto const& m)
        {
            uint32_t word = Get32(b.kImage, m.uiRecordOffset + 8);
            Put32(b.kImage, m.uiRecordOffset + 8,
                  (word & ~VXFileEntry::SIZE_MASK) | (8 + (m.uiStoredSize - 8) / 2));
        });
    EXPECT_LT(half.size(), original.size());
    EXPECT_TRUE(half == original.substr(0, half.size()));
    // The inflated-size field lies: GetSize reports the lie, the stream's end is the end.
    for (uint64_t lie : {uint64_t{original.size() + 1000}, uint64_t{original.size() / 2}})
    {
        uint64_t size = 0;
        EXPECT_TRUE(readBack([&](Built& b, auto const& m)
                             { std::memcpy(&b.kImage[m.uiDataOffset], &lie, 8); },
                             &size) == original);
        EXPECT_EQ(size, lie);
    }
    EXPECT_EQ(
        readBack([](Built& b, auto const& m) { std::memset(&b.kImage[m.uiDataOffset], 0, 8); }),
        "");
    // An invalidated record is not served.
    EXPECT_EQ(readBack([](Built& b, auto const& m) { Put32(b.kImage, m.uiRecordOffset + 12, 0); }),
              "<none>");
}

TEST(ArchiveBroken, EmbeddedNameLongerThanItsMember)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    VXArchiveWriterOptions options;
    options.uiFlags |= VXArchiveHeader::AF_EMBEDDED_FILE_NAMES;
    options.uiFlags &= ~VXArchiveHeader::AF_COMPRESSED;
    VXArchiveWriter writer(options);
    writer.AddFile("a\\b.bin", std::string("xy"));
    Image image;
    ASSERT_TRUE(writer.WriteToMemory(image));
    image[writer.QLayout().kMembers[0].uiDataOffset] = 255; // claims 255 name bytes of 7
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto file = OpenMember(archive, "a\\b.bin");
    ASSERT_TRUE(file);
    EXPECT_STREQ(file->FileName(), "b.binxy");
    EXPECT_EQ(file->Tell(), 8u);
    char c;
    EXPECT_EQ(file->Read(&c, 1), 0u);
}
