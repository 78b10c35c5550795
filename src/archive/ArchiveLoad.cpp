// Opening an archive: the header, the directory table, the blocks and the name table,
// each checked against the file's size and against the others before it is trusted.
#include "vxsystem/Archive.h"

#include "archive/VXArchiveIndex.h"
#include "platform/VXPlatformRuntime.h"

#include <cstdio>
#include <cstring>

namespace
{
constexpr uint64_t kEpochDeltaSeconds = 11644473600ull; // 1601-01-01 to 1970-01-01
constexpr uint64_t kMaxNameLength = 255;                // a name and its terminator fit 256

uint64_t Smaller(uint64_t a, uint64_t b)
{
    return a < b ? a : b;
}

template <class T> T* AllocateArray(uint64_t count)
{
    if (count == 0 || count > ~0ull / sizeof(T))
        return nullptr;
    return static_cast<T*>(MemoryManager::Instance().Allocate(count * sizeof(T)));
}

// The file name table holds one terminated name of at most 255 bytes per record.
class NameTableCheck
{
public:
    void Feed(char const* bytes, uint64_t size)
    {
        for (uint64_t i = 0; i < size; ++i)
        {
            if (bytes[i] == 0)
            {
                ++uiNames;
                uiCurrent = 0;
            }
            else if (++uiCurrent > kMaxNameLength)
                bTooLong = true;
        }
    }
    bool Done(uint64_t expectedNames) const
    {
        return !bTooLong && uiCurrent == 0 && uiNames == expectedNames;
    }

private:
    uint64_t uiNames = 0;   // terminators seen
    uint64_t uiCurrent = 0; // length of the name being read
    bool bTooLong = false;  // a name passed kMaxNameLength
};
} // namespace

void Archive::Load(bool invalidateOthers)
{
    if (!Open(false, false) || !bGood)
        return;
    // The stream's own buffer would only copy what KoFile's buffer above it holds anyway,
    // and split large reads in two system calls. Allowed only before the first read.
    if (uiBufferSize != WHOLE_FILE_BUFFER && uiBufferReadSize == 0)
        std::setvbuf(pFile, nullptr, _IONBF, 0);
    uint64_t fileSize = GetSize();
    bool headerRead = ReadExact(static_cast<VXArchiveHeader*>(this), sizeof(VXArchiveHeader));
    if (!headerRead || !CheckTag(TAG) || !CheckVersion())
    {
        SetDisabled(true);
        return;
    }
    if (uiVersion < FIRST_EMBEDDED_NAMES_VERSION)
        SetFlag(AF_EMBEDDED_FILE_NAMES, false);
    if (!GetSecondary() && !LoadTables(fileSize))
    {
        FreeAll();
        SetDisabled(true);
        return;
    }
    BuildIndex();
    _FILETIME time;
    if (PlatformGetLastWriteTime(&time))
    {
        uint64_t ticks = (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
        iArchiveFileTime =
            static_cast<int64_t>(ticks / 10000000ull) - static_cast<int64_t>(kEpochDeltaSeconds);
    }
    if (!GetSecondary())
        RunOpenPass(invalidateOthers);
    ChangeBufferSize(STREAM_BUFFER_SIZE);
    GetSize();
}

bool Archive::ReadExact(void* dest, uint64_t size)
{
    return size == 0 || Read(dest, size) == size;
}

bool Archive::LoadTables(uint64_t fileSize)
{
    uiDirectoryNamesCapacity = 0;
    if (!LoadDirectoryTable(fileSize))
        return false;
    bool load = QLoadStrings();
    if (QDirStrings() && load)
    {
        // The stored total is a hint only: the blocks say how long the names really are.
        uiDirectoryNamesCapacity = Smaller(uiDirectoryNamesLength, fileSize) + 1ull;
        pDirectoryStrings = AllocateArray<char>(uiDirectoryNamesCapacity);
        pDirectoryStringOffsets = AllocateArray<uint64_t>(uiDirectoryCount + 1ull);
        SetHasDirectoryStrings(true);
        if (!pDirectoryStrings || !pDirectoryStringOffsets)
            return false;
    }
    if (QFileStrings() && load)
    {
        if (uiFileNamesLength > fileSize)
            return false;
        pFileStrings = AllocateArray<char>(uiFileNamesLength + 1ull);
        pFileStringOffsets = AllocateArray<uint64_t*>(uiDirectoryCount + 1ull);
        SetHasFileStrings(true);
        if (!pFileStrings || !pFileStringOffsets)
            return false;
        std::memset(pFileStringOffsets, 0, (uiDirectoryCount + 1ull) * sizeof(uint64_t*));
    }
    uint64_t namesUsed = 0;
    uint64_t fileCount = 0;
    for (uint64_t i = 0; i < uiDirectoryCount; ++i)
    {
        if (!LoadDirectoryBlock(i, fileSize, namesUsed))
            return false;
        fileCount += pDirectories[i].uiEntryCount;
    }
    if (!QFileStrings())
        return uiFileNamesLength == 0;
    return LoadFileNames(fileSize, fileCount);
}

// The table, its keys in order, and the blocks it announces fitting in the file, before
// any block is allocated.
bool Archive::LoadDirectoryTable(uint64_t fileSize)
{
    uint64_t count = uiDirectoryCount;
    uint64_t needed = HEADER_SIZE + sizeof(VXDirectoryEntry) * count;
    if (needed > fileSize)
        return false;
    if (count == 0)
        return true;
    pDirectories = AllocateArray<VXDirectoryEntry>(count);
    if (!pDirectories)
        return false;
    bool read = ReadExact(pDirectories, sizeof(VXDirectoryEntry) * count);
    for (uint64_t i = 0; i < count; ++i)
        pDirectories[i].pEntries = nullptr; // the file's bytes here mean nothing
    if (!read)
        return false;
    for (uint64_t i = 0; i < count; ++i)
    {
        needed += (QDirStrings() ? 1 : 0) + sizeof(VXFileEntry) * pDirectories[i].uiEntryCount;
        if (needed > fileSize)
            return false;
        if (i > 0 && pDirectories[i - 1].kHash.Hash() > pDirectories[i].kHash.Hash())
            return false;
    }
    return true;
}

bool Archive::LoadDirectoryBlock(uint64_t index, uint64_t fileSize, uint64_t& namesUsed)
{
    VXDirectoryEntry& directory = pDirectories[index];
    if (QDirStrings())
    {
        unsigned char length = 0;
        if (!ReadExact(&length, 1) || length == 0 || !FitDirectoryName(namesUsed, length))
            return false;
        char* name = GetHasDirectoryStrings() ? pDirectoryStrings + namesUsed : acDirectoryScratch;
        if (!ReadExact(name, length) || name[length - 1] != 0)
            return false;
        if (GetHasDirectoryStrings())
            pDirectoryStringOffsets[index] = namesUsed;
        namesUsed += length;
    }
    uint64_t count = directory.uiEntryCount;
    if (count == 0)
        return true;
    directory.pEntries = AllocateArray<VXFileEntry>(count);
    if (!directory.pEntries || !ReadExact(directory.pEntries, sizeof(VXFileEntry) * count))
        return false;
    for (uint64_t f = 0; f < count; ++f)
    {
        VXFileEntry const& entry = directory.pEntries[f];
        if (f > 0 && directory.pEntries[f - 1].kHash.Hash() > entry.kHash.Hash())
            return false;
        if (entry.QOffset() != 0 && uint64_t{entry.QOffset()} + entry.QSize() > fileSize)
            return false;
    }
    return true;
}

// Grows the resident directory names when the header's total was too small.
bool Archive::FitDirectoryName(uint64_t used, uint64_t length)
{
    if (!GetHasDirectoryStrings() || used + length <= uiDirectoryNamesCapacity)
        return true;
    uint64_t capacity = (used + length) * 2;
    char* grown = AllocateArray<char>(capacity);
    if (!grown)
        return false;
    std::memcpy(grown, pDirectoryStrings, used);
    MemoryManager::Instance().Deallocate(pDirectoryStrings);
    pDirectoryStrings = grown;
    uiDirectoryNamesCapacity = capacity;
    return true;
}

bool Archive::LoadFileNames(uint64_t fileSize, uint64_t fileCount)
{
    uiFileNamesOffset = GetPosition();
    uint64_t length = uiFileNamesLength;
    if (uiFileNamesOffset + length > fileSize)
        return false;
    NameTableCheck check;
    if (!GetHasFileStrings())
    {
        char chunk[4096];
        for (uint64_t left = length; left;)
        {
            uint64_t step = left < sizeof(chunk) ? left : sizeof(chunk);
            if (!ReadExact(chunk, step))
                return false;
            check.Feed(chunk, step);
            left -= step;
        }
        return check.Done(fileCount);
    }
    if (!ReadExact(pFileStrings, length))
        return false;
    check.Feed(pFileStrings, length);
    if (!check.Done(fileCount))
        return false;
    uint64_t position = 0;
    for (uint64_t d = 0; d < uiDirectoryCount; ++d)
    {
        uint64_t count = pDirectories[d].uiEntryCount;
        if (count == 0)
            continue;
        uint64_t* offsets = AllocateArray<uint64_t>(count);
        if (!offsets)
            return false;
        pFileStringOffsets[d] = offsets;
        for (uint64_t f = 0; f < count; ++f)
        {
            offsets[f] = position;
            position += std::strlen(pFileStrings + position) + 1;
        }
    }
    return true;
}

void Archive::FreeAll()
{
    DeleteDirectoryStringArray();
    DeleteFilenameStringArray(false);
    DeleteFileData();
}

void Archive::BuildIndex()
{
    if (!pDirectories)
        return;
    pIndex = new VXArchiveIndex();
    if (pIndex && !pIndex->Build(pDirectories, uiDirectoryCount))
    {
        delete pIndex;
        pIndex = nullptr; // the binary searches serve alone
    }
}

void Archive::DeleteFileData()
{
    delete pIndex;
    pIndex = nullptr;
    if (GetPrimary() || !pDirectories)
        return;
    for (uint64_t i = 0; i < uiDirectoryCount; ++i)
        MemoryManager::Instance().Deallocate(pDirectories[i].pEntries);
    MemoryManager::Instance().Deallocate(pDirectories);
    pDirectories = nullptr;
}

bool Archive::PlatformGetLastWriteTime(_FILETIME* time) const
{
    uint64_t ticks = 0;
    if (!time || !::PlatformGetLastWriteTime(acFileName, ticks))
        return false;
    time->dwLowDateTime = static_cast<uint32_t>(ticks);
    time->dwHighDateTime = static_cast<uint32_t>(ticks >> 32);
    return true;
}
