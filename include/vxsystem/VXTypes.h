// Basic types shared by every public header of VXSystem.
#pragma once

#include <cstddef>
#include <cstdint>

// Wide text in files and in the pool is 16-bit units on every platform, so that files
// written on one platform read back on another; wchar_t is 32-bit on POSIX.
using VXWChar = char16_t;

#if defined(_WIN32)
// On Windows the time types are the system's own, so a host hands its FILETIME and
// SYSTEMTIME straight in and may include windows.h before or after this header. Only the
// two small type headers come in; NOMINMAX keeps min and max out of the host's way.
#ifndef NOMINMAX
#define NOMINMAX
#define VX_TYPES_DEFINED_NOMINMAX
#endif
#include <minwindef.h>
// minwinbase.h stands on the base types of minwindef.h, so it comes second.
#include <minwinbase.h>
#ifdef VX_TYPES_DEFINED_NOMINMAX
#undef NOMINMAX
#undef VX_TYPES_DEFINED_NOMINMAX
#endif
#else
// 64-bit file time: 100 ns ticks since 1601-01-01 UTC, the platform's file time form.
struct _FILETIME
{
    uint32_t dwLowDateTime;  // low half of the tick count
    uint32_t dwHighDateTime; // high half of the tick count
};

// Broken-down time as the platform reports it.
struct SYSTEMTIME
{
    uint16_t wYear;         // full year, e.g. 2026
    uint16_t wMonth;        // 1 to 12
    uint16_t wDayOfWeek;    // 0 = Sunday
    uint16_t wDay;          // 1 to 31
    uint16_t wHour;         // 0 to 23
    uint16_t wMinute;       // 0 to 59
    uint16_t wSecond;       // 0 to 59
    uint16_t wMilliseconds; // 0 to 999
};
#endif

// Longest path with its terminator.
inline constexpr unsigned int MAX_PATH_BYTES = 260;
