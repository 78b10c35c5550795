// The one way the Windows half includes the system headers: the macros that would rename
// members of the public classes (DeleteFile, CopyFile, Yield ...) are dropped afterwards.
// Also the UTF-8 to UTF-16 name conversion that every call taking a name goes through.
#pragma once

#include "vxsystem/VXTypes.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#undef DeleteFile
#undef CopyFile
#undef MoveFile
#undef CreateDirectory
#undef Yield

#include <cstdint>

// Room for a converted name: a long-path prefix and more than any engine path needs.
inline constexpr int VX_WIDE_PATH_CHARS = 1024;
using VXWidePath = wchar_t[VX_WIDE_PATH_CHARS];

// A UTF-8 name as UTF-16, with '/' turned into '\'. False, with the error left for
// GetLastError, when the name is null, empty, not UTF-8 or too long.
bool VXWidenName(char const* name, VXWidePath& wide);

// UTF-16 back to UTF-8 into out of outSize bytes; false when it does not fit.
bool VXNarrowName(wchar_t const* wide, char* out, int outSize);

inline uint64_t VXTicksFromFileTime(FILETIME const& time)
{
    return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}
