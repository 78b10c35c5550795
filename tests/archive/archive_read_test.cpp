// Members read back byte-identical through lookups by name, raw and compressed, with and
// without embedded names, and the reader's positions, seeks and strings.
#include "ArchiveTestKit.h"
#include "vxsystem/CompressedArchiveFile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

using namespace vxtest;

namespace
{
constexpr uint32_t kPacked = VXArchiveHeader::AF_COMPRESSED;
constexpr uint32_t kEmbedded = VXArchiveHeader::AF_EMBEDDED_FILE_NAMES;
constexpr auto kStored = VXArchiveWriter::MC_STORED;

// Reads two members in turns of different sizes: each reader must find the shared stream
// where it left it.
std::pair<std::string, std::string> ReadInTurns(KoBinaryStream& a, KoBinaryStream& b, size_t chunk)
{
    std::string gotA, gotB, block(chunk, '\0');
    for (uint64_t na = 1, nb = 1; na || nb;)
    {
        gotA.append(block.data(), na = a.Read(block.data(), chunk));
        gotB.append(block.data(), nb = b.Read(block.data(), chunk / 2 + 1));
    }
    return {gotA, gotB};
}
} // namespace

TEST(ArchiveRead, RoundTripEveryLayout)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    uint32_t const layouts[] = {kNameFlags, kNameFlags | kPacked, kNameFlags | kEmbedded,
                                kPacked | kEmbedded, 0};
    size_t const chunks[] = {1, 7, 4096, 1 << 20};
    // Version 103 predates embedded names: the flag is cleared on load.
    for (uint32_t version : {104u, 103u})
        for (uint32_t flags : layouts)
        {
            auto members = MakeMembers(flags);
            VXArchiveLayout placed;
            std::vector<uint8_t> image =
                BuildArchive(members, {.uiFlags = flags, .uiVersion = version}, &placed);
            // The toggle, bit 30 of the little-endian size word, marks the default's exceptions.
            for (auto const& member : placed.kMembers)
                EXPECT_EQ(bool(image[member.uiRecordOffset + 11] & 0x40),
                          member.bCompressed != bool(flags & kPacked));
            Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
            ASSERT_TRUE(archive.FileIsGood() && !archive.GetDisabled());
            EXPECT_EQ(archive.QEmbeddedFileNames(), (flags & kEmbedded) && version > 103);
            EXPECT_EQ(archive.QFileCount(), members.size());
            for (size_t i = 0; i < members.size(); ++i)
            {
                TestMember const& member = members[i];
                TestMember const& next = members[(i + 1) % members.size()];
                SCOPED_TRACE(member.sPath + " flags " + std::to_string(flags) + " v" +
                             std::to_string(version));
                for (uint64_t bufferSize : {uint64_t{0}, uint64_t{VXFile::WHOLE_FILE_BUFFER}})
                {
                    auto file = OpenMember(archive, member.sPath.c_str(), bufferSize);
                    auto other = OpenMember(archive, next.sPath.c_str(), bufferSize);
                    ASSERT_TRUE(file && other);
                    // A raw member's size counts its embedded name, a compressed one's doesn't.
                    bool raw = !dynamic_cast<CompressedArchiveFile*>(file.get());
                    size_t frame =
                        archive.QEmbeddedFileNames() && raw ? 1 + std::strlen(file->FileName()) : 0;
                    EXPECT_EQ(file->GetSize(), member.sBytes.size() + frame);
                    auto [got, gotOther] = ReadInTurns(*file, *other, chunks[i % 4]);
                    EXPECT_EQ(got, member.sBytes);
                    EXPECT_EQ(gotOther, next.sBytes);
                    EXPECT_EQ(file->Read(nullptr, 1), 0u);
                }
            }
            EXPECT_FALSE(OpenMember(archive, "meshes\\armor\\absent.kof"));
            EXPECT_FALSE(OpenMember(archive, "nowhere\\helmet.kof"));
        }
}

TEST(ArchiveRead, SeeksAndStrings)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::string bytes = RandomBytes(3000, 1);
    std::vector<uint8_t> image =
        BuildArchive({{"m\\raw.bin", bytes, kStored},
                      {"m\\packed.bin", bytes, VXArchiveWriter::MC_COMPRESSED},
                      {"m\\strings.bin", std::string("ab\0hello\0tail", 14), kStored}});
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto raw = OpenMember(archive, "m\\raw.bin");
    ASSERT_TRUE(raw);
    // Offsets clamp to the member; from the end the sign is ignored; a wrapped one ends it.
    struct Step
    {
        int iWhence;
        int64_t iOffset;
        uint64_t uiAt;
    } const steps[] = {{KoFile::ms_iSeekSet, 100, 100},    {KoFile::ms_iSeekCur, -51, 50},
                       {KoFile::ms_iSeekSet, 99999, 3000}, {KoFile::ms_iSeekEnd, -10, 2990},
                       {KoFile::ms_iSeekEnd, 10, 2990},    {KoFile::ms_iSeekCur, -5000, 3000}};
    for (Step const& step : steps)
    {
        raw->Seek(step.iOffset, step.iWhence);
        EXPECT_EQ(raw->Tell(), step.uiAt);
        char c = 0;
        EXPECT_EQ(raw->Read(&c, 1), step.uiAt < 3000 ? 1u : 0u);
        EXPECT_EQ(c, step.uiAt < 3000 ? bytes[step.uiAt] : 0);
    }
    auto packed = OpenMember(archive, "m\\packed.bin");
    ASSERT_TRUE(packed);
    char c = 0;
    packed->Read(&c, 1);
    packed->Seek(100, KoFile::ms_iSeekSet); // a stream only skips forward, from here
    packed->Read(&c, 1);
    EXPECT_EQ(c, bytes[101]);
    packed->Seek(5000, KoFile::ms_iSeekSet);
    EXPECT_EQ(packed->Read(&c, 1), 0u);

    auto strings = OpenMember(archive, "m\\strings.bin");
    ASSERT_TRUE(strings);
    VXStringT<char> text;
    strings->Seek(3, KoFile::ms_iSeekSet);
    EXPECT_EQ(strings->ReadString(text, 100), 5u);
    EXPECT_STREQ(text.QString(), "hello");
    EXPECT_EQ(strings->Tell(), 8u);
    strings->Seek(9, KoFile::ms_iSeekSet);
    EXPECT_EQ(strings->ReadString(text, 100), 4u); // the member's end ends the string
    EXPECT_STREQ(text.QString(), "tail");
}

TEST(ArchiveRead, EmbeddedNameFrames)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    VXArchiveLayout layout;
    std::vector<uint8_t> image =
        BuildArchive({{"textures\\a.dds", "payload", kStored}, {"x\\b.bin", "xy", kStored}},
                     {.uiFlags = kNameFlags | kEmbedded}, &layout);
    for (auto const& member : layout.kMembers)
        if (member.sPath == "x\\b.bin")
            image[member.uiDataOffset] = 255; // claims 255 name bytes of 7
    Archive archive(SaveArchive(dir, image).c_str(), 262144, false, false);
    auto file = OpenMember(archive, "textures\\a.dds");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->Tell(), 6u);
    EXPECT_STREQ(file->FileName(), "a.dds");
    EXPECT_EQ(file->GetSize(), 13u); // the stored size counts the name
    EXPECT_EQ(ReadAll(*file, 4), "payload");
    file->Seek(0, KoFile::ms_iSeekSet); // the frame includes the length byte
    char c = 0;
    file->Read(&c, 1);
    EXPECT_EQ(c, 5);
    // A name longer than its member takes the member and leaves nothing to read.
    auto lying = OpenMember(archive, "x\\b.bin");
    ASSERT_TRUE(lying);
    EXPECT_STREQ(lying->FileName(), "b.binxy");
    EXPECT_EQ(lying->Tell(), 8u);
    EXPECT_EQ(lying->Read(&c, 1), 0u);
}

// Small members read in disk order come out of the read-ahead block, across its ends, and
// a name fetched from disk in between does not disturb the run.
TEST(ArchiveRead, RunsInDiskOrderAcrossReadAheadBlocks)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::vector<TestMember> members;
    for (int i = 0; i < 400; ++i) // about 1.2 MB: several blocks
        members.push_back({"run\\m" + std::to_string(1000 + i) + ".bin",
                           RandomBytes(1000 + static_cast<size_t>(i) * 27, i), kStored});
    VXArchiveLayout layout;
    std::string path = SaveArchive(dir, BuildArchive(members, {}, &layout));
    Archive archive(path.c_str(), 262144, false, false);
    ASSERT_TRUE(archive.FileIsGood());
    for (size_t chunk : {size_t{700}, size_t{64 * 1024}})
    {
        for (auto const& placed : layout.kMembers)
        {
            std::unique_ptr<ArchiveFile> reader = OpenMember(archive, placed.sPath.c_str());
            ASSERT_NE(reader, nullptr) << placed.sPath;
            size_t index = static_cast<size_t>(std::stoi(placed.sPath.substr(5, 4))) - 1000;
            ASSERT_EQ(ReadAll(*reader, chunk), members[index].sBytes) << placed.sPath;
            if (index % 97 == 0)
                archive.GetFileString(0, index); // a name fetch from the shared stream
        }
    }
}

// Threads taking turns along the disk order share the blocks: each copies out of the block
// it holds while another fetches the next, and every block is given back in the end.
TEST(ArchiveRead, ThreadsTakingTurnsInDiskOrderShareTheBlocks)
{
    ArchiveSettingsScope settings;
    TempDir dir;
    std::vector<TestMember> members;
    for (int i = 0; i < 600; ++i)
        members.push_back({"run\\m" + std::to_string(1000 + i) + ".bin",
                           RandomBytes(500 + static_cast<size_t>(i) * 41 % 9000, i), kStored});
    VXArchiveLayout layout;
    std::string path = SaveArchive(dir, BuildArchive(members, {}, &layout));
    {
        Archive archive(path.c_str(), 262144, false, false);
        constexpr size_t kThreads = 4;
        std::atomic<int> failures{0};
        std::vector<std::thread> threads;
        for (size_t t = 0; t < kThreads; ++t)
            threads.emplace_back(
                [&, t]
                {
                    for (size_t k = t; k < layout.kMembers.size(); k += kThreads)
                    {
                        auto const& placed = layout.kMembers[k];
                        auto reader = OpenMember(archive, placed.sPath.c_str());
                        size_t index = std::stoul(placed.sPath.substr(5, 4)) - 1000;
                        if (!reader || ReadAll(*reader, 4096) != members[index].sBytes)
                            failures.fetch_add(1, std::memory_order_relaxed);
                    }
                });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(failures.load(), 0);
    }
    EXPECT_EQ(Archive::QReadAheadBytes(), 0u);
}
