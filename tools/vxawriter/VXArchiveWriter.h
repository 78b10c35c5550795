// VXArchiveWriter: packs files into a .vxa archive. Members are given as bytes in memory
// or as files on disk (read when the archive is written), under names relative to the
// data folder with backslashes ("meshes\armor\a.kof"). The writer sorts the tables by key,
// fills every count and length, and compresses members with zlib unless told otherwise.
// A tool: it is not part of the runtime library, which only reads archives. One thread.
#pragma once

#include "vxsystem/VXArchiveHeader.h"
#include "vxsystem/VXHash.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

class VXArchiveSink; // where the written bytes go

struct VXArchiveWriterOptions
{
    // Header flags; directory names, file names and default compression unless changed.
    uint32_t uiFlags = VXArchiveHeader::AF_DIRECTORY_STRINGS | VXArchiveHeader::AF_FILE_STRINGS |
                       VXArchiveHeader::AF_COMPRESSED;
    uint32_t uiVersion = VXArchiveHeader::VERSION;
    // ARCHIVE_TYPE mask; 0 derives it from the members' extensions.
    uint16_t usArchiveType = 0;
    int iCompressionLevel = -1; // zlib's level; -1 is its default
};

// Where each part of the written archive lies: for tests that patch archives, and for
// tools that want to report.
struct VXArchiveLayout
{
    struct Member
    {
        std::string sPath;       // as added
        uint64_t uiRecordOffset; // of its 16-byte file record
        uint64_t uiDataOffset;   // of its data (the embedded name first, if any)
        uint32_t uiStoredSize;   // bytes from uiDataOffset on
        bool bCompressed;        // stored as a zlib stream behind an 8-byte size
    };
    std::vector<uint64_t> kDirectoryBlockOffsets; // in table order
    uint64_t uiFileNameTableOffset = 0;           // where the name table would begin
    uint64_t uiDataOffset = 0;                    // end of the tables, start of the data
    uint64_t uiFileSize = 0;
    std::vector<Member> kMembers; // in table order
};

class VXArchiveWriter
{
public:
    enum MemberCompression
    {
        MC_DEFAULT,    // as the archive's AF_COMPRESSED flag says
        MC_COMPRESSED, // always a zlib stream
        MC_STORED,     // always the raw bytes
    };

    explicit VXArchiveWriter(VXArchiveWriterOptions const& options = {});

    using Progress = std::function<void(size_t members, uint64_t bytes)>;
    // Called by Write after each member, with the members and source bytes done so far.
    void SetProgress(Progress progress) { fnProgress = std::move(progress); }

    // False (with QError) for a bad name or a name already added. The bytes are copied.
    bool AddFile(std::string const& path, void const* data, size_t size,
                 MemberCompression compression = MC_DEFAULT);
    bool AddFile(std::string const& path, std::string const& bytes,
                 MemberCompression compression = MC_DEFAULT);
    // A file on disk, read by Write; path is its name in the archive.
    bool AddDiskFile(std::string const& path, std::string const& diskPath,
                     MemberCompression compression = MC_DEFAULT);
    // Every file under folder, named by its path relative to it.
    bool AddFolder(std::string const& folder, MemberCompression compression = MC_DEFAULT);

    // Writes the archive; false (with QError) when a name collides, a limit of the format
    // is passed, or the file cannot be written.
    bool Write(std::string const& archivePath);
    // The same into memory.
    bool WriteToMemory(std::vector<uint8_t>& out);

    VXArchiveLayout const& QLayout() const { return kLayout; }
    std::string const& QError() const { return sError; }
    size_t QMemberCount() const { return kMembers.size(); }

private:
    struct Member
    {
        std::string sPath;      // name in the archive, backslashes
        std::string sDirectory; // the directory part as stored: no trailing backslash, "."
        std::string sFileName;  // the file part with its extension
        VXHash kDirectory;      // key of the directory part
        VXHash kFile;           // key of the file part
        std::string sBytes;     // the content, unless it lies on disk
        std::string sDiskPath;  // where the content lies, or empty
        bool bCompressed;       // stored as a zlib stream
    };

    bool Fail(std::string const& message);
    bool CheckName(std::string const& path);
    bool BuildTables(std::vector<uint8_t>& tables);
    bool WriteAll(VXArchiveSink& sink);
    bool LoadBytes(Member const& member, std::string& bytes);
    bool EncodeMember(Member const& member, std::string& stored, uint64_t& sourceSize);

    VXArchiveWriterOptions kOptions;
    std::vector<Member> kMembers;
    std::unordered_set<std::string> kNamesAdded; // lower case, to refuse a name twice
    VXArchiveLayout kLayout;
    std::string sError;
    Progress fnProgress;
};
