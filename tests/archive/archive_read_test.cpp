// Members read back byte-identical through lookups by name, raw and compressed, with and
// without embedded names, and the reader's positions, seeks and strings.
#include "ArchiveTestKit.h"
#include "vxsystem/CompressedArchiveFile.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxtest;

namespace
{
constexpr uint32_t kDefaultFlags =
    VXArchiveHeader::AF_DIRECTORY_STRINGS | VXArchiveHeader::AF_FILE_STRINGS;

VXArchiveWriterOptions Options(uint32_t flags, uint32_t version = VXArchiveHeader::VERSION)
{
    VXArchiveWriterOptions options;
    options.uiFlags = flags;
    options.uiVersion = version;
    return options;
}
} // namespace

TEST(ArchiveRead, RoundTripEveryLayout)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    uint32_t const layouts[] = {
        kDefaultFlags, kDefaultFlags | VXArchiveHeader::AF_COMPRESSED,
        kDefaultFlags | VXArchiveHeader::AF_EMBEDDED_FILE_NAMES,
        VXArchiveHeader::AF_COMPRESSED | VXArchiveHeader::AF_EMBEDDED_FILE_NAMES, 0};
    size_t const chunks[] = {1, 7, 4096, 1 << 20};
    for (uint32_t flags : layouts)
    {
        auto members = MakeMembers(flags);
        Archive archive(SaveArchive(dir, BuildArchive(members, Options(flags))).c_str(), 262144,
                        false, false);
        ASSERT_TRUE(archive.FileIsGood());
        ASSERT_FALSE(archive.GetDisabled());
        EXPECT_EQ(archive.QFileCount(), members.size());
        for (size_t i = 0; i < members.size(); ++i)
        {
            TestMember const& member = members[i];
            SCOPED_TRACE(member.sPath + " flags " + std::to_string(flags));
            for (uint64_t bufferSize : {uint64_t{0}, uint64_t{VXFile::WHOLE_FILE_BUFFER}})
            {
                auto file = OpenMember(archive, member.sPath.c_str(), bufferSize);
                ASSERT_TRUE(file);
                // A raw member's size counts its embedded name, a compressed one's doesn't.
                size_t frame = 0;
                if (archive.QEmbeddedFileNames() &&
                    !dynamic_cast<CompressedArchiveFile*>(file.get()))
                    frame = 1 + std::strlen(file->FileName());
                EXPECT_EQ(file->GetSize(), member.sBytes.size() + frame);
                EXPECT_EQ(ReadAll(*file, chunks[i % 4]), member.sBytes);
                EXPECT_EQ(file->Read(nullptr, 1), 0u);
            }
        }
        EXPECT_FALSE(OpenMember(archive, "meshes\\armor\\absent.kof"));
        EXPECT_FALSE(OpenMember(archive, "nowhere\\helmet.kof"));
    }
}

TEST(ArchiveRead, CompressionFollowsTheToggleBit)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::string text(50000, 'x');
    for (uint32_t flags : {kDefaultFlags, kDefaultFlags | VXArchiveHeader::AF_COMPRESSED})
    {
        VXArchiveWriter writer(Options(flags));
        writer.AddFile("a\\raw.bin", text, VXArchiveWriter::MC_STORED);
        writer.AddFile("a\\packed.bin", text, VXArchiveWriter::MC_COMPRESSED);
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(writer.WriteToMemory(bytes));
        for (auto const& placed : writer.QLayout().kMembers)
        {
            uint32_t sizeWord = 0;
            std::memcpy(&sizeWord, bytes.data() + placed.uiRecordOffset + 8, 4);
            bool toggled = sizeWord & VXFileEntry::COMPRESSION_TOGGLE;
            EXPECT_EQ(toggled, placed.bCompressed != bool(flags & VXArchiveHeader::AF_COMPRESSED));
        }
        Archive archive(SaveArchive(dir, bytes).c_str(), 262144, false, false);
        auto raw = OpenMember(archive, "a\\raw.bin");
        auto packed = OpenMember(archive, "a\\packed.bin");
        ASSERT_TRUE(raw && packed);
        EXPECT_EQ(dynamic_cast<CompressedArchiveFile*>(raw.get()), nullptr);
        ASSERT_NE(dynamic_cast<CompressedArchiveFile*>(packed.get()), nullptr);
        EXPECT_EQ(packed->GetSize(), text.size());
        EXPECT_LT(packed->FileSize(), 1000u); // stored bytes
        EXPECT_EQ(ReadAll(*packed, 999), text);
    }
}

TEST(ArchiveRead, SeeksOnRawAndCompressedMembers)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::string bytes = RandomBytes(3000, 1);
    VXArchiveWriter writer(Options(kDefaultFlags));
    writer.AddFile("m\\raw.bin", bytes);
    writer.AddFile("m\\packed.bin", bytes, VXArchiveWriter::MC_COMPRESSED);
    std::vector<uint8_t> image;
    ASSERT_TRUE(writer.WriteToMemory(image));
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto raw = OpenMember(archive, "m\\raw.bin");
    ASSERT_TRUE(raw);
    char c = 0;
    raw->Seek(-10, KoFile::ms_iSeekEnd);
    EXPECT_EQ(raw->Tell(), 2990u);
    raw->Seek(10, KoFile::ms_iSeekEnd);
    EXPECT_EQ(raw->Tell(), 2990u);
    raw->Read(&c, 1);
    EXPECT_EQ(c, bytes[2990]);
    raw->Seek(-5000, KoFile::ms_iSeekCur); // wraps, lands on the end
    EXPECT_EQ(raw->Tell(), 3000u);
    raw->Seek(99999, KoFile::ms_iSeekSet);
    EXPECT_EQ(raw->Tell(), 3000u);
    EXPECT_EQ(raw->Read(&c, 1), 0u);
    raw->Seek(100, KoFile::ms_iSeekSet);
    raw->Read(&c, 1);
    raw->Seek(-51, KoFile::ms_iSeekCur); // back inside the private buffer
    raw->Read(&c, 1);
    EXPECT_EQ(c, bytes[50]);

    auto packed = OpenMember(archive, "m\\packed.bin");
    ASSERT_TRUE(packed);
    packed->Read(&c, 1);
    packed->Seek(100, KoFile::ms_iSeekSet); // skips forward from here
    packed->Read(&c, 1);
    EXPECT_EQ(c, bytes[101]);
    packed->Seek(5000, KoFile::ms_iSeekSet);
    EXPECT_EQ(packed->Read(&c, 1), 0u);
}

TEST(ArchiveRead, EmbeddedNamesAndOldVersions)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    uint32_t flags = kDefaultFlags | VXArchiveHeader::AF_EMBEDDED_FILE_NAMES;
    VXArchiveWriter writer(Options(flags));
    writer.AddFile("textures\\a.dds", std::string("payload"));
    std::vector<uint8_t> image;
    ASSERT_TRUE(writer.WriteToMemory(image));
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto file = OpenMember(archive, "textures\\a.dds");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->Tell(), 6u);
    EXPECT_STREQ(file->FileName(), "a.dds");
    EXPECT_EQ(file->GetSize(), 13u); // the stored size counts the name
    EXPECT_EQ(ReadAll(*file, 4), "payload");
    file->Seek(0, KoFile::ms_iSeekSet); // the frame includes the length byte
    char length = 0;
    file->Read(&length, 1);
    EXPECT_EQ(length, 5);

    // Version 103: the flag is cleared on load and members carry no name.
    Archive old(
        SaveArchive(dir, BuildArchive(MakeMembers(3), Options(flags, 103)), "old.vxa").c_str(),
        262144, false, false);
    EXPECT_FALSE(old.QEmbeddedFileNames());
    for (TestMember const& member : MakeMembers(3))
    {
        auto reader = OpenMember(old, member.sPath.c_str());
        ASSERT_TRUE(reader);
        EXPECT_EQ(ReadAll(*reader, 512), member.sBytes);
    }
}

TEST(ArchiveRead, ReadStringStopsAtTheTerminator)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    VXArchiveWriter writer(Options(kDefaultFlags));
    writer.AddFile("s\\strings.bin", std::string("ab\0hello\0tail", 14));
    std::vector<uint8_t> image;
    ASSERT_TRUE(writer.WriteToMemory(image));
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto file = OpenMember(archive, "s\\strings.bin");
    ASSERT_TRUE(file);
    char skip[3];
    file->Read(skip, 3);
    VXStringT<char> text;
    EXPECT_EQ(file->ReadString(text, 100), 5u);
    EXPECT_STREQ(text.QString(), "hello");
    EXPECT_EQ(file->Tell(), 8u);
    file->Seek(9, KoFile::ms_iSeekSet);
    EXPECT_EQ(file->ReadString(text, 100), 4u); // the member's end ends the string
    EXPECT_STREQ(text.QString(), "tail");
}

TEST(ArchiveRead, TwoReadersInterleaved)
{
    ArchiveSettingsScope settings(64); // small private buffers: both go to the archive often
    TempDir dir;
    auto members = MakeMembers(7);
    Archive archive(SaveArchive(dir, BuildArchive(members, Options(kDefaultFlags))).c_str(), 262144,
                    false, false);
    auto a = OpenMember(archive, members[1].sPath.c_str());
    auto b = OpenMember(archive, members[3].sPath.c_str());
    ASSERT_TRUE(a && b);
    std::string gotA, gotB;
    char block[37];
    for (;;)
    {
        uint64_t na = a->Read(block, sizeof(block));
        gotA.append(block, na);
        uint64_t nb = b->Read(block, 13);
        gotB.append(block, nb);
        if (na == 0 && nb == 0)
            break;
    }
    EXPECT_EQ(gotA, members[1].sBytes);
    EXPECT_EQ(gotB, members[3].sBytes);
}
