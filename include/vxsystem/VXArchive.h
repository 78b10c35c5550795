// VXArchive: an archive's header together with its directory table in memory, and the
// flag accessors that say what the archive holds. Archive (the open file) derives from
// it. The directory records and their file records are owned by the deriving class.
#pragma once

#include "vxsystem/VXArchiveHeader.h"
#include "vxsystem/VXDirectoryEntry.h"
#include "vxsystem/VXFileEntry.h"

class VXArchive : public VXArchiveHeader
{
public:
    VXArchive() : pDirectories(nullptr) {}

    bool QDirStrings() const { return CheckFlag(AF_DIRECTORY_STRINGS) != 0; }
    bool QFileStrings() const { return CheckFlag(AF_FILE_STRINGS) != 0; }
    bool QCompressed() const { return CheckFlag(AF_COMPRESSED) != 0; }
    bool QRetainDirectoryNames() const { return CheckFlag(AF_RETAIN_DIRECTORY_NAMES) != 0; }
    bool QRetainFileNames() const { return CheckFlag(AF_RETAIN_FILE_NAMES) != 0; }
    bool QRetainFileNameOffsets() const { return CheckFlag(AF_RETAIN_FILE_NAME_OFFSETS) != 0; }
    bool QXBoxArchive() const { return CheckFlag(AF_XBOX_ARCHIVE) != 0; }
    bool QRetainStringsDuringStartup() const
    {
        return CheckFlag(AF_RETAIN_STRINGS_DURING_STARTUP) != 0;
    }
    bool QEmbeddedFileNames() const { return CheckFlag(AF_EMBEDDED_FILE_NAMES) != 0; }
    bool QXBoxCompressedArchive() const { return CheckFlag(AF_XBOX_COMPRESSED_ARCHIVE) != 0; }

    // Whether the pointer lies inside the file records of one of the directories.
    bool IsFileEntryInArchive(VXFileEntry const* entry) const;

protected:
    VXDirectoryEntry* pDirectories; // uiDirectoryCount records; null until loaded
};
