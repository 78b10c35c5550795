// VXDirectoryEntry: one directory's record in an archive's directory table, 24 bytes: the
// key, the number of file records, and (in memory only) the pointer to those records,
// which the archive owns. A plain record; the archive gives its thread rules.
#pragma once

#include "vxsystem/VXFileEntry.h"
#include "vxsystem/VXHash.h"

#include <cstdint>

class VXDirectoryEntry
{
public:
    VXDirectoryEntry() : kHash(0, 0, 0, 0, 0), uiEntryCount(0), uiPadding(0), pEntries(nullptr) {}

    VXHash kHash;          // HASH_DIRECTORY key of the directory path
    uint32_t uiEntryCount; // file records in this directory
    uint32_t uiPadding;    // no meaning
    VXFileEntry* pEntries; // no meaning in the file; the records in memory
};

static_assert(sizeof(VXDirectoryEntry) == 24, "a directory record is 24 bytes in the file");
