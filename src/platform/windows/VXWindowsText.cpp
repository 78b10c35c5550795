// Name conversion between the UTF-8 of the API and the UTF-16 of the system calls.
#include "platform/windows/VXWindowsApi.h"

bool VXWidenName(char const* name, VXWidePath& wide)
{
    if (!name || !*name)
    {
        SetLastError(name ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_PARAMETER);
        return false;
    }
    int length =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, wide, VX_WIDE_PATH_CHARS);
    if (length <= 0)
    {
        if (GetLastError() == ERROR_INSUFFICIENT_BUFFER)
            SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    for (wchar_t* c = wide; *c; ++c)
        if (*c == L'/')
            *c = L'\\';
    return true;
}

bool VXNarrowName(wchar_t const* wide, char* out, int outSize)
{
    if (!wide || !out || outSize <= 0)
        return false;
    return WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, outSize, nullptr, nullptr) > 0;
}
