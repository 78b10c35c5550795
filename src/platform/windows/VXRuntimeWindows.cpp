// Windows half of the runtime seam: wide-character stdio, access and file times. The
// file system already ignores letter case, so a path resolves to itself.
#include "platform/VXPlatformRuntime.h"
#include "platform/windows/VXWindowsApi.h"

#include <io.h>

#include <cerrno>
#include <cstring>
#include <cwchar>

namespace
{
// A stdio mode as wide text, always binary-safe as given.
bool WidenMode(char const* mode, wchar_t (&wide)[16])
{
    size_t length = std::strlen(mode);
    if (length >= 16)
        return false;
    for (size_t i = 0; i <= length; ++i)
        wide[i] = static_cast<wchar_t>(static_cast<unsigned char>(mode[i]));
    return true;
}
} // namespace

int PlatformAccess(char const* name, int mode)
{
    VXWidePath wide;
    if (!VXWidenName(name, wide))
        return -1;
    return _waccess(wide, mode & 6) == 0 ? 0 : -1;
}

int PlatformOpenStream(FILE** stream, char const* name, char const* mode)
{
    if (!stream)
        return EINVAL;
    *stream = nullptr;
    VXWidePath wide;
    wchar_t wideMode[16];
    if (!mode || !VXWidenName(name, wide) || !WidenMode(mode, wideMode))
        return EINVAL;
    DWORD attributes = GetFileAttributesW(wide);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return EISDIR;
    return _wfopen_s(stream, wide, wideMode);
}

int PlatformSeekStream(FILE* stream, int64_t offset, int whence)
{
    return stream ? _fseeki64(stream, offset, whence) : -1;
}

int64_t PlatformTellStream(FILE* stream)
{
    return stream ? _ftelli64(stream) : -1;
}

int64_t PlatformReadStreamAt(FILE* stream, uint64_t position, void* buffer, uint64_t size)
{
    if (!stream || !buffer)
        return -1;
    HANDLE file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (file == INVALID_HANDLE_VALUE)
        return -1;
    // A positioned read moves the pointer of a synchronous handle; the stream keeps its
    // own idea of where it is, so the pointer is put back afterwards.
    LARGE_INTEGER zero{};
    LARGE_INTEGER saved{};
    if (!SetFilePointerEx(file, zero, &saved, FILE_CURRENT))
        return -1;
    uint64_t moved = 0;
    bool failed = false;
    while (moved < size)
    {
        uint64_t left = size - moved;
        DWORD chunk = left > 0x40000000u ? 0x40000000u : static_cast<DWORD>(left);
        OVERLAPPED at{};
        uint64_t offset = position + moved;
        at.Offset = static_cast<DWORD>(offset);
        at.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD got = 0;
        if (!ReadFile(file, static_cast<char*>(buffer) + moved, chunk, &got, &at))
        {
            failed = GetLastError() != ERROR_HANDLE_EOF;
            break;
        }
        if (got == 0)
            break;
        moved += got;
    }
    SetFilePointerEx(file, saved, nullptr, FILE_BEGIN);
    return failed && moved == 0 ? -1 : static_cast<int64_t>(moved);
}

bool PlatformGetLastWriteTime(char const* name, uint64_t& ticks)
{
    VXWidePath wide;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!VXWidenName(name, wide) || !GetFileAttributesExW(wide, GetFileExInfoStandard, &data))
        return false;
    ticks = VXTicksFromFileTime(data.ftLastWriteTime);
    return true;
}

bool PlatformFileTimeToLocalTime(uint64_t ticks, SYSTEMTIME& out)
{
    FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME universal;
    return FileTimeToSystemTime(&time, &universal) &&
           SystemTimeToTzSpecificLocalTime(nullptr, &universal, &out);
}

bool PlatformResolvePath(char const* name, char* out, size_t outSize)
{
    if (!name || !out)
        return false;
    size_t length = std::strlen(name);
    if (length >= outSize)
        return false;
    for (size_t i = 0; i <= length; ++i)
        out[i] = name[i] == '/' ? '\\' : name[i];
    return true;
}
