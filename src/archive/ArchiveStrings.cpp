// Names of directories and files: from the resident tables when loaded, else fetched from
// the file into a scratch that the next fetch overwrites.
#include "vxsystem/Archive.h"

#include <cstring>

bool Archive::ReadStreamAt(uint64_t position, void* dest, uint64_t size)
{
    if (!KoFile::Seek(static_cast<int64_t>(position), ms_iSeekSet))
        return false;
    uint64_t read = KoFile::DoRead(dest, size);
    uiTrueFilePos = GetPosition();
    return read == size;
}

uint64_t Archive::ReadStringAt(uint64_t position, VXStringT<char>& out, uint64_t maxBytes)
{
    if (!KoFile::Seek(static_cast<int64_t>(position), ms_iSeekSet))
        return 0;
    uiTrueFilePos = position;
    return VXFile::ReadString(out, maxBytes);
}

uint64_t Archive::ReadStringAt(uint64_t position, VXStringT<VXWChar>& out, uint64_t maxBytes)
{
    if (!KoFile::Seek(static_cast<int64_t>(position), ms_iSeekSet))
        return 0;
    uiTrueFilePos = position;
    return VXFile::ReadString(out, maxBytes);
}

char* Archive::GetDirectoryString(uint64_t dirIndex)
{
    if (!pDirectories || dirIndex >= uiDirectoryCount)
        return nullptr;
    if (GetHasDirectoryStrings())
        return pDirectoryStrings + pDirectoryStringOffsets[dirIndex];
    if (!QDirStrings())
        return nullptr;
    // Callers that use the result hold the lock around this call as well.
    VXScopedCriticalSection lock(kCriticalSection, "Archive name fetch");
    uint64_t position = HEADER_SIZE + sizeof(VXDirectoryEntry) * uiDirectoryCount;
    unsigned char length = 0;
    for (uint64_t i = 0; i < dirIndex; ++i)
    {
        if (!ReadStreamAt(position, &length, 1))
            return nullptr;
        position += 1 + length + sizeof(VXFileEntry) * pDirectories[i].uiEntryCount;
    }
    if (!ReadStreamAt(position, &length, 1) ||
        !ReadStreamAt(position + 1, acDirectoryScratch, length))
        return nullptr;
    acDirectoryScratch[length] = 0;
    return acDirectoryScratch;
}

char* Archive::GetFileString(uint64_t dirIndex, uint64_t fileIndex)
{
    if (!pDirectories || dirIndex >= uiDirectoryCount ||
        fileIndex >= pDirectories[dirIndex].uiEntryCount)
        return nullptr;
    if (GetHasFileStrings())
        return pFileStrings + pFileStringOffsets[dirIndex][fileIndex];
    if (!QFileStrings())
        return nullptr;
    // Callers that use the result hold the lock around this call as well.
    VXScopedCriticalSection lock(kCriticalSection, "Archive name fetch");
    uint64_t position = uiFileNamesOffset;
    if (QRetainFilenameOffsetTable() && pFileStringOffsets && pFileStringOffsets[dirIndex])
        return FetchFileNameAt(position + pFileStringOffsets[dirIndex][fileIndex]);
    uint64_t skip = fileIndex;
    for (uint64_t d = 0; d < dirIndex; ++d)
        skip += pDirectories[d].uiEntryCount;
    if (!SkipFileNames(skip, position))
        return nullptr;
    return FetchFileNameAt(position);
}

// Moves position past count names of the table.
bool Archive::SkipFileNames(uint64_t count, uint64_t& position)
{
    uint64_t end = uiFileNamesOffset + uiFileNamesLength;
    char chunk[512];
    while (count)
    {
        uint64_t step = end - position < sizeof(chunk) ? end - position : sizeof(chunk);
        if (step == 0 || !ReadStreamAt(position, chunk, step))
            return false;
        for (uint64_t i = 0; i < step && count; ++i)
        {
            ++position;
            if (chunk[i] == 0)
                --count;
        }
    }
    return true;
}

char* Archive::FetchFileNameAt(uint64_t position)
{
    uint64_t end = uiFileNamesOffset + uiFileNamesLength;
    if (position >= end)
        return nullptr;
    uint64_t step = end - position < uiNameScratchS ? end - position : uiNameScratchS;
    if (!ReadStreamAt(position, acFileScratch, step))
        return nullptr;
    if (!std::memchr(acFileScratch, 0, step))
        acFileScratch[step - 1] = 0;
    return acFileScratch;
}

char* Archive::GetFileNameForFileEntry(VXFileEntry const* entry)
{
    uint64_t dirIndex = GetDirectoryIndexForFileEntry(entry);
    if (dirIndex == NO_DIRECTORY)
        return nullptr;
    return GetFileString(dirIndex, GetFileIndexForFileEntryFromDirectory(dirIndex, entry));
}

void Archive::DeleteDirectoryStringArray()
{
    if (!GetPrimary())
    {
        MemoryManager::Instance().Deallocate(pDirectoryStrings);
        MemoryManager::Instance().Deallocate(pDirectoryStringOffsets);
        pDirectoryStrings = nullptr;
        pDirectoryStringOffsets = nullptr;
    }
    SetHasDirectoryStrings(false);
}

void Archive::DeleteFilenameStringArray(bool keepOffsets)
{
    if (!GetPrimary())
    {
        MemoryManager::Instance().Deallocate(pFileStrings);
        pFileStrings = nullptr;
        if (!keepOffsets && pFileStringOffsets)
        {
            for (uint64_t d = 0; d < uiDirectoryCount; ++d)
                MemoryManager::Instance().Deallocate(pFileStringOffsets[d]);
            MemoryManager::Instance().Deallocate(pFileStringOffsets);
            pFileStringOffsets = nullptr;
        }
    }
    SetHasFileStrings(false);
}
