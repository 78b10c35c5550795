// Windows listing and folder creation for VXSystemDir, through FindFirstFileExW. The
// find data of the entry just listed answers the questions about it; a link is looked
// through with GetFileAttributesExW, so its target's facts are reported.
#include "sysfile/VXSystemDirPlatform.h"

#include "platform/windows/VXWindowsApi.h"
#include "vxsystem/MemoryManager.h"

#include <cstring>
#include <cwchar>

namespace
{
struct Listing : public VXHeapObject
{
    HANDLE hFind = INVALID_HANDLE_VALUE;
    bool bPending = true; // the entry FindFirstFileExW found is not handed out yet
    bool bEnded = false;
    WIN32_FIND_DATAW sData{};
    VXWidePath acFolder{};
    char acName[MAX_PATH * 3 + 1] = {}; // UTF-8 of sData.cFileName
};

// 100 ns ticks since 1601 to seconds and nanoseconds since 1970.
void SplitTime(FILETIME const& time, int64_t& seconds, int64_t& nanoseconds)
{
    constexpr int64_t kEpochDifference = 11644473600;
    int64_t ticks = static_cast<int64_t>(VXTicksFromFileTime(time));
    seconds = ticks / 10000000 - kEpochDifference;
    nanoseconds = ticks % 10000000 * 100;
}

void Fill(DWORD attributes, uint64_t size, FILETIME const& creation, FILETIME const& access,
          FILETIME const& write, VXDirEntryFacts& facts)
{
    facts.bDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    facts.bRegular = !facts.bDirectory && !(attributes & FILE_ATTRIBUTE_DEVICE);
    facts.uiSize = facts.bDirectory ? 0 : size;
    facts.bHasBirth = true;
    SplitTime(creation, facts.iBirthSec, facts.iBirthNsec);
    SplitTime(access, facts.iAccessSec, facts.iAccessNsec);
    SplitTime(write, facts.iWriteSec, facts.iWriteNsec);
}

// Facts of folder\name, links followed.
int StatPath(wchar_t const* folder, wchar_t const* name, VXDirEntryFacts& facts)
{
    VXWidePath path;
    if (std::swprintf(path, VX_WIDE_PATH_CHARS, L"%ls\\%ls", folder, name) < 0)
        return ERROR_FILENAME_EXCED_RANGE;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
        return static_cast<int>(GetLastError());
    uint64_t size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    Fill(data.dwFileAttributes, size, data.ftCreationTime, data.ftLastAccessTime,
         data.ftLastWriteTime, facts);
    return 0;
}
} // namespace

int PlatformOpenDir(char const* folder, void*& handle)
{
    handle = nullptr;
    auto* listing = new Listing;
    if (!listing)
        return ERROR_NOT_ENOUGH_MEMORY;
    VXWidePath pattern;
    if (!VXWidenName(folder, listing->acFolder) ||
        std::swprintf(pattern, VX_WIDE_PATH_CHARS, L"%ls\\*", listing->acFolder) < 0)
    {
        delete listing;
        return ERROR_FILENAME_EXCED_RANGE;
    }
    listing->hFind = FindFirstFileExW(pattern, FindExInfoBasic, &listing->sData,
                                      FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (listing->hFind == INVALID_HANDLE_VALUE)
    {
        DWORD error = GetLastError();
        if (error != ERROR_FILE_NOT_FOUND && error != ERROR_NO_MORE_FILES)
        {
            delete listing;
            // A file named as a folder is a missing folder, as on the other platforms.
            return error == ERROR_DIRECTORY ? ERROR_PATH_NOT_FOUND : static_cast<int>(error);
        }
        listing->bEnded = true; // an empty root
    }
    handle = listing;
    return 0;
}

int PlatformReadDir(void* handle, char const*& name)
{
    auto* listing = static_cast<Listing*>(handle);
    for (;;)
    {
        if (listing->bEnded)
            return VX_DIR_END;
        if (!listing->bPending && !FindNextFileW(listing->hFind, &listing->sData))
        {
            DWORD error = GetLastError();
            listing->bEnded = true;
            return error == ERROR_NO_MORE_FILES ? VX_DIR_END : static_cast<int>(error);
        }
        listing->bPending = false;
        // A name that does not fit the engine's paths is skipped, not cut.
        if (VXNarrowName(listing->sData.cFileName, listing->acName, sizeof(listing->acName)))
        {
            name = listing->acName;
            return 0;
        }
    }
}

int PlatformStatDirEntry(void* handle, char const* name, VXDirEntryFacts& facts)
{
    auto* listing = static_cast<Listing*>(handle);
    WIN32_FIND_DATAW const& data = listing->sData;
    bool current = std::strcmp(name, listing->acName) == 0;
    if (current && !(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
    {
        uint64_t size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
        Fill(data.dwFileAttributes, size, data.ftCreationTime, data.ftLastAccessTime,
             data.ftLastWriteTime, facts);
        return 0;
    }
    VXWidePath wide;
    if (!VXWidenName(name, wide))
        return static_cast<int>(GetLastError());
    return StatPath(listing->acFolder, wide, facts);
}

void PlatformCloseDir(void* handle)
{
    auto* listing = static_cast<Listing*>(handle);
    if (!listing)
        return;
    if (listing->hFind != INVALID_HANDLE_VALUE)
        FindClose(listing->hFind);
    delete listing;
}

int PlatformMakeDir(char const* path)
{
    VXWidePath wide;
    if (!VXWidenName(path, wide))
        return static_cast<int>(GetLastError());
    if (CreateDirectoryW(wide, nullptr))
        return 0;
    DWORD error = GetLastError();
    // A drive root ("C:") refuses creation with its own error; it exists all the same.
    DWORD attributes = GetFileAttributesW(wide);
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return ERROR_ALREADY_EXISTS;
    return static_cast<int>(error);
}
