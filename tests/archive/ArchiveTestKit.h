// Shared by the archive tests: member sets, archives written with the writer, lookups by
// name, whole reads, and a scope that puts the manager's settings in a known state.
#pragma once

#include "VXTestSupport.h"
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vxtest
{
struct TestMember
{
    std::string sPath;
    std::string sBytes;
    VXArchiveWriter::MemberCompression eCompression;
};

constexpr uint32_t kNameFlags =
    VXArchiveHeader::AF_DIRECTORY_STRINGS | VXArchiveHeader::AF_FILE_STRINGS;

// Names in several directories and at the root; sizes from empty to past every buffer.
inline std::vector<TestMember> MakeMembers(uint32_t seed)
{
    static std::pair<char const*, size_t> const kFiles[] = {{"meshes\\armor\\helmet.kof", 5000},
                                                            {"meshes\\armor\\boots.kof", 12000},
                                                            {"meshes\\walk.kf", 300000},
                                                            {"textures\\armor\\helmet.dds", 70000},
                                                            {"textures\\sky.dds", 10240},
                                                            {"sound\\fx\\hit.wav", 140000},
                                                            {"menus\\main.xml", 33},
                                                            {"readme.txt", 1000},
                                                            {"empty.bin", 0},
                                                            {"one.bin", 1}};
    std::vector<TestMember> members;
    for (size_t i = 0; i < std::size(kFiles); ++i)
    {
        auto compression = static_cast<VXArchiveWriter::MemberCompression>((i + seed) % 3);
        // Repeating text compresses, random bytes do not: both kinds of stream.
        std::string bytes = RandomBytes(kFiles[i].second, seed + static_cast<uint32_t>(i));
        for (size_t j = 0; i % 2 == 0 && j < bytes.size(); ++j)
            bytes[j] = "the quick brown fox "[(j + i) % 20];
        members.push_back({kFiles[i].first, bytes, compression});
    }
    return members;
}

inline std::vector<uint8_t> BuildArchive(std::vector<TestMember> const& members,
                                         VXArchiveWriterOptions const& options = {},
                                         VXArchiveLayout* layout = nullptr)
{
    VXArchiveWriter writer(options);
    for (TestMember const& member : members)
        writer.AddFile(member.sPath, member.sBytes, member.eCompression);
    std::vector<uint8_t> bytes;
    writer.WriteToMemory(bytes);
    if (layout)
        *layout = writer.QLayout();
    return bytes;
}

inline std::string SaveArchive(TempDir const& dir, std::vector<uint8_t> const& bytes,
                               std::string const& name = "test.vxa")
{
    std::string path = dir / name;
    WriteFile(path, std::string(bytes.begin(), bytes.end()));
    return path;
}

// The reader for a name, found as the manager finds it; null when not found.
inline std::unique_ptr<ArchiveFile> OpenMember(Archive& archive, char const* path,
                                               uint64_t bufferSize = 0)
{
    VXHash dir, file;
    VXHash::MakeDirAndFile(path, dir, file);
    uint64_t dirIndex = 0, fileIndex = 0;
    if (!archive.FindFile(dir, file, dirIndex, fileIndex, path))
        return nullptr;
    return std::unique_ptr<ArchiveFile>(archive.GetFile(dirIndex, fileIndex, bufferSize, path));
}

inline std::string ReadAll(KoBinaryStream& file, size_t chunk)
{
    std::string out, block(chunk, '\0');
    while (uint64_t got = file.Read(block.data(), chunk))
        out.append(block.data(), got);
    return out;
}

// Known settings for a test, restored afterwards.
class ArchiveSettingsScope
{
public:
    explicit ArchiveSettingsScope(uint64_t readerBuffer = 0x20000)
    {
        ArchiveManager::Init(true, "", nullptr, readerBuffer);
        ArchiveManager::SetInvalidateOlderFiles(false);
        ArchiveManager::SetCheckRuntimeCollisions(false);
        ArchiveManager::SetRetainTables(1, 1, 1);
        ArchiveManager::bStartupStringsCleaned = false;
    }
    ~ArchiveSettingsScope()
    {
        ArchiveManager::Shutdown();
        ArchiveManager::SetInvalidateOlderFiles(true);
        ArchiveManager::SetCheckRuntimeCollisions(false);
        ArchiveManager::SetRetainTables(1, 1, 1);
        ArchiveManager::bStartupStringsCleaned = false;
        ArchiveManager::uiArchiveFileBufferSizeS = 0;
    }
};
} // namespace vxtest
