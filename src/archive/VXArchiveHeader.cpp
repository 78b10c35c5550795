#include "vxsystem/VXArchive.h"

#include <cstdint>

VXArchiveHeader::VXArchiveHeader()
    : uiTag(TAG), uiVersion(VERSION), uiHeaderSize(HEADER_SIZE), uiFlags(0), uiDirectoryCount(0),
      uiFileCount(0), uiDirectoryNamesLength(0), uiFileNamesLength(0), usArchiveType(0),
      usPadding(0)
{
}

void VXArchiveHeader::SetFlag(uint32_t flags, bool set)
{
    uiFlags = set ? (uiFlags | flags) : (uiFlags & ~flags);
}

bool VXArchive::IsFileEntryInArchive(VXFileEntry const* entry) const
{
    if (!pDirectories || !entry)
        return false;
    // Addresses compared as integers: the pointer may belong to any archive.
    auto address = reinterpret_cast<uintptr_t>(entry);
    for (uint32_t i = 0; i < uiDirectoryCount; ++i)
    {
        VXDirectoryEntry const& directory = pDirectories[i];
        auto begin = reinterpret_cast<uintptr_t>(directory.pEntries);
        auto end = reinterpret_cast<uintptr_t>(directory.pEntries + directory.uiEntryCount);
        if (directory.pEntries && address >= begin && address < end)
            return true;
    }
    return false;
}
