// The platform half of VXSystemDir: folder listing and creation, system calls only.
#pragma once

#include <cstdint>

// Facts about one entry of a listing, as the system keeps them.
struct VXDirEntryFacts
{
    bool bDirectory;     // a folder (links followed)
    bool bRegular;       // a plain file (links followed)
    bool bHasBirth;      // the file system keeps a birth time
    uint64_t uiSize;     // bytes
    int64_t iBirthSec;   // birth time, when bHasBirth
    int64_t iBirthNsec;  // its nanoseconds
    int64_t iAccessSec;  // last access
    int64_t iAccessNsec; // its nanoseconds
    int64_t iWriteSec;   // last write
    int64_t iWriteNsec;  // its nanoseconds
};

// Returned by PlatformReadDir when the listing has no more entries.
inline constexpr int VX_DIR_END = -1;

// Opens a folder for listing. 0, or the platform's error number.
int PlatformOpenDir(char const* folder, void*& handle);
// The next entry's name, valid until the next call. 0, VX_DIR_END, or an error number.
int PlatformReadDir(void* handle, char const*& name);
// Facts about a named entry of the open folder. 0, or an error number.
int PlatformStatDirEntry(void* handle, char const* name, VXDirEntryFacts& facts);
void PlatformCloseDir(void* handle);
// Creates one folder. 0, or an error number.
int PlatformMakeDir(char const* path);
