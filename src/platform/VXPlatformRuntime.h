// The runtime seam: the platform calls that the stream files and the finder need.
// Names arrive with backslashes and in any letter case; each platform half maps them.
#pragma once

#include "vxsystem/VXTypes.h"

#include <cstdint>
#include <cstdio>

// _access: mode 0 existence, 2 write, 4 read, 6 both. 0 on success, -1 on failure.
int PlatformAccess(char const* name, int mode);

// fopen_s with a stdio mode; 0 on success, else an errno value and a null stream. The
// stream is not inherited by child processes.
int PlatformOpenStream(FILE** stream, char const* name, char const* mode);

// fread, fwrite, fflush and fclose. Counts are bytes; flush and close give 0 on success.
uint64_t PlatformReadStream(FILE* stream, void* buffer, uint64_t size);
uint64_t PlatformWriteStream(FILE* stream, void const* buffer, uint64_t size);
int PlatformFlushStream(FILE* stream);
int PlatformCloseStream(FILE* stream);

// _fseeki64 and a 64-bit ftell.
int PlatformSeekStream(FILE* stream, int64_t offset, int whence);
int64_t PlatformTellStream(FILE* stream);
// Reads at a position without moving the stream's offset; bytes read, -1 on an error.
// Short reads are continued until the end of the file.
int64_t PlatformReadStreamAt(FILE* stream, uint64_t position, void* buffer, uint64_t size);

// Last write time of a file, as 100 ns ticks since 1601. False when there is none.
bool PlatformGetLastWriteTime(char const* name, uint64_t& ticks);

// File time to broken-down local time.
bool PlatformFileTimeToLocalTime(uint64_t ticks, SYSTEMTIME& out);

// The path on disk for a name: separators mapped, each missing component matched
// without regard to case. Components that match nothing stay as spelled, so a new file
// is created under the spelling given, inside existing folders whatever their case.
// False when the result does not fit in outSize bytes.
bool PlatformResolvePath(char const* name, char* out, size_t outSize);

// Whether a file or folder of that name exists, matched as PlatformResolvePath does but
// answered from the cached folder listings wherever the disk spelling differs.
bool PlatformLooseFileExists(char const* name);

// Tells the folder-listing cache that the library created, renamed or deleted path (as
// given to the system), so the listing of its folder is read afresh.
void PlatformNotePathChanged(char const* path);

// Listings held by the cache now; bounded.
uint32_t PlatformCachedFolderCount();
