// VXArchiveHeader: the 36-byte header at the start of a .vxa archive, field for field as
// in the file (little-endian): tag, version, sizes and counts, flags and the content type
// mask. The setters serve programs that build archives. A plain record.
#pragma once

#include "vxsystem/VXArchiveTypes.h"

#include <cstdint>

class VXArchiveHeader
{
public:
    static constexpr uint32_t TAG = 0x00415856; // "VXA" and a zero byte
    static constexpr uint32_t HEADER_SIZE = 36; // what a reader always takes
    static constexpr uint32_t VERSION = 104;    // newest version understood
    static constexpr uint32_t FIRST_EMBEDDED_NAMES_VERSION = 104;

    enum FLAGS : uint32_t
    {
        AF_DIRECTORY_STRINGS = 0x001,             // each directory block starts with its name
        AF_FILE_STRINGS = 0x002,                  // a file name table follows the blocks
        AF_COMPRESSED = 0x004,                    // members are compressed by default
        AF_RETAIN_DIRECTORY_NAMES = 0x008,        // keep directory names after start-up
        AF_RETAIN_FILE_NAMES = 0x010,             // keep file names after start-up
        AF_RETAIN_FILE_NAME_OFFSETS = 0x020,      // keep the offsets into the file names
        AF_XBOX_ARCHIVE = 0x040,                  // console archive; no decision hangs on it
        AF_RETAIN_STRINGS_DURING_STARTUP = 0x080, // load the names at open
        AF_EMBEDDED_FILE_NAMES = 0x100,           // each member starts with its name
        AF_XBOX_COMPRESSED_ARCHIVE = 0x200,       // console archive; no decision hangs on it
    };

    VXArchiveHeader();

    uint32_t Tag() const { return uiTag; }
    bool CheckTag(uint32_t tag) const { return uiTag == tag; }
    uint32_t Version() const { return uiVersion; }
    bool CheckVersion() const { return uiVersion <= VERSION; }
    static uint32_t CurrentVersion() { return VERSION; }
    uint32_t QHeaderSize() const { return uiHeaderSize; }
    uint32_t CheckFlag(uint32_t flags) const { return uiFlags & flags; }
    void SetFlag(uint32_t flags, bool set);
    uint32_t QFlags() const { return uiFlags; }
    uint32_t QDirectoryCount() const { return uiDirectoryCount; }
    uint32_t QFileCount() const { return uiFileCount; }
    uint32_t QDirectoryNamesLength() const { return uiDirectoryNamesLength; }
    uint32_t QFileNamesLength() const { return uiFileNamesLength; }
    unsigned short CheckArchiveType(ARCHIVE_TYPE type) const
    {
        return static_cast<unsigned short>(usArchiveType & type);
    }
    unsigned short QArchiveType() const { return usArchiveType; }
    void SetArchiveType(unsigned short type) { usArchiveType = type; }

    void IncrementDirectoryNamesLength(uint32_t bytes) { uiDirectoryNamesLength += bytes; }
    void DecrementDirectoryNamesLength(uint32_t bytes) { uiDirectoryNamesLength -= bytes; }
    void IncrementFileNamesLength(uint32_t bytes) { uiFileNamesLength += bytes; }
    void DecrementFileNamesLength(uint32_t bytes) { uiFileNamesLength -= bytes; }
    void SetVersion(uint32_t version) { uiVersion = version; }
    void SetDirectoryCount(uint32_t count) { uiDirectoryCount = count; }
    void SetFileCount(uint32_t count) { uiFileCount = count; }

protected:
    uint32_t uiTag;                  // TAG
    uint32_t uiVersion;              // at most VERSION
    uint32_t uiHeaderSize;           // 36; stored, not consulted
    uint32_t uiFlags;                // FLAGS
    uint32_t uiDirectoryCount;       // records in the directory table
    uint32_t uiFileCount;            // file records in all directories
    uint32_t uiDirectoryNamesLength; // name bytes of all directory blocks
    uint32_t uiFileNamesLength;      // bytes of the file name table
    uint16_t usArchiveType;          // ARCHIVE_TYPE mask
    uint16_t usPadding;              // no meaning
};

static_assert(sizeof(VXArchiveHeader) == 36, "the header is 36 bytes in the file");
