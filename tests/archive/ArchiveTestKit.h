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
#include <vector>

namespace vxtest
{
struct TestMember
{
    std::string sPath;
    std::string sBytes;
    VXArchiveWriter::MemberCompression eCompression;
};

// Names in several directories and at the root; sizes from empty to past every buffer.
inline std::vector<TestMember> MakeMembers(uint32_t seed)
{
    static char const* const kNames[] = {"meshes\\armor\\helmet.kof",
                                         "meshes\\armor\\boots.kof",
                                         "meshes\\walk.kf",
                                         "textures\\armor\\helmet.dds",
                                         "textures\\sky.dds",
                                         "sound\\fx\\hit.wav",
                                         "menus\\main.xml",
                                         "readme.txt",
                                         "empty.bin",
                                         "one.bin"};
    static size_t const kSizes[] = {5000, 12000, 300000, 70000, 10240, 140000, 33, 1000, 0, 1};
    std::vector<TestMember> members;
    for (size_t i = 0; i < std::size(kNames); ++i)
    {
        auto compression = static_cast<VXArchiveWriter::MemberCompression>((i + seed) % 3);
        // Repeating text compresses, random bytes do not: both kinds of stream.
        std::string bytes = RandomBytes(kSizes[i], seed + static_cast<uint32_t>(i));
        if (i % 2 == 0)
            for (size_t j = 0; j < bytes.size(); ++j)
                bytes[j] = "the quick brown fox "[(j + i) % 20];
        members.push_back({kNames[i], bytes, compression});
    }
    return members;
}

inline std::vector<uint8_t> BuildArchive(std::vector<TestMember> const& members,
                                         VXArchiveWriterOptions const& options = {})
{
    VXArchiveWriter writer(options);
    for (TestMember const& member : members)
        writer.AddFile(member.sPath, member.sBytes, member.eCompression);
    std::vector<uint8_t> bytes;
    writer.WriteToMemory(bytes);
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
    std::string out;
    std::string block(chunk, '\0');
    for (;;)
    {
        uint64_t got = file.Read(block.data(), chunk);
        out.append(block.data(), got);
        if (got == 0)
            return out;
    }
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
    ArchiveSettingsScope(ArchiveSettingsScope const&) = delete;
    ArchiveSettingsScope& operator=(ArchiveSettingsScope const&) = delete;
};
} // namespace vxtest
