#include "archive/VXArchivePath.h"

#include <cstring>

namespace
{
bool CopyPart(char* out, size_t size, char const* begin, char const* end)
{
    size_t length = static_cast<size_t>(end - begin);
    if (length >= size)
        return false;
    std::memcpy(out, begin, length);
    out[length] = 0;
    return true;
}

void Clear(VXPathParts& out)
{
    out.acDrive[0] = out.acDirectory[0] = out.acName[0] = out.acExtension[0] = 0;
}
} // namespace

bool VXSplitPath(char const* path, VXPathParts& out)
{
    Clear(out);
    if (!path)
        return true;
    char const* end = path + std::strlen(path);
    char const* rest = path;
    if (path[0] && path[1] == ':')
        rest = path + 2;
    char const* fileStart = rest;
    for (char const* p = rest; p < end; ++p)
        if (*p == '\\' || *p == '/')
            fileStart = p + 1;
    char const* dot = end;
    for (char const* p = fileStart; p < end; ++p)
        if (*p == '.')
            dot = p;
    bool fits = CopyPart(out.acDrive, sizeof(out.acDrive), path, rest) &&
                CopyPart(out.acDirectory, sizeof(out.acDirectory), rest, fileStart) &&
                CopyPart(out.acName, sizeof(out.acName), fileStart, dot) &&
                CopyPart(out.acExtension, sizeof(out.acExtension), dot, end);
    if (!fits)
        Clear(out);
    return fits;
}

bool VXDirectoryKeyText(VXPathParts const& parts, char* out, size_t size)
{
    size_t drive = std::strlen(parts.acDrive);
    size_t directory = std::strlen(parts.acDirectory);
    if (size < 2)
        return false;
    if (drive + directory >= size)
    {
        std::memcpy(out, ".", 2);
        return false;
    }
    std::memcpy(out, parts.acDrive, drive);
    std::memcpy(out + drive, parts.acDirectory, directory + 1);
    size_t length = drive + directory;
    if (length == 0)
        std::memcpy(out, ".", 2);
    else if (out[length - 1] == '\\')
        out[length - 1] = 0;
    return true;
}

int VXStrICmp(char const* a, char const* b)
{
    return VXStrNICmp(a, b, static_cast<size_t>(-1));
}

int VXStrNICmp(char const* a, char const* b, size_t count)
{
    if (!a || !b)
        return (a ? 1 : 0) - (b ? 1 : 0);
    for (; count; --count, ++a, ++b)
    {
        int ca = VXLowerAscii(static_cast<unsigned char>(*a));
        int cb = VXLowerAscii(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
    return 0;
}
