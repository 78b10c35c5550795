#include "foundation/VXCRuntime.h"

#include <cstring>

namespace
{
bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

// Copies [begin, end) into out if it fits with its terminator.
bool CopyPart(char const* begin, char const* end, char* out, size_t outSize)
{
    if (!out)
        return true;
    size_t length = static_cast<size_t>(end - begin);
    if (length + 1 > outSize)
        return false;
    std::memcpy(out, begin, length);
    out[length] = 0;
    return true;
}

bool Append(char* out, size_t outSize, size_t& used, char const* text, size_t length)
{
    if (used + length + 1 > outSize)
        return false;
    std::memcpy(out + used, text, length);
    used += length;
    out[used] = 0;
    return true;
}
} // namespace

bool VXStrlwr(char* text, size_t size)
{
    if (!text)
        return false;
    for (size_t i = 0; i < size; ++i)
    {
        if (!text[i])
            return true;
        text[i] = static_cast<char>(VXLowerAsciiChar(text[i]));
    }
    return false;
}

VXPathSpan VXSplitPathSpan(char const* path)
{
    VXPathSpan span{path, path, path, path, path};
    if (!path)
        return span;
    span.pRest = (path[0] && path[1] == ':') ? path + 2 : path;
    span.pEnd = path + std::strlen(path);
    span.pDot = span.pEnd;
    // Backwards from the end: only the file part is walked, and its last dot is the first
    // one met.
    char const* p = span.pEnd;
    for (; p > span.pRest && !IsSeparator(p[-1]); --p)
        if (p[-1] == '.' && span.pDot == span.pEnd)
            span.pDot = p - 1;
    span.pName = p;
    return span;
}

bool VXSplitPath(char const* path, char* drive, size_t driveSize, char* folder, size_t folderSize,
                 char* name, size_t nameSize, char* extension, size_t extensionSize)
{
    char* outputs[] = {drive, folder, name, extension};
    for (char* out : outputs)
        if (out)
            out[0] = 0;
    if (!path)
        return false;
    VXPathSpan span = VXSplitPathSpan(path);
    bool fits = CopyPart(span.pBegin, span.pRest, drive, driveSize) &&
                CopyPart(span.pRest, span.pName, folder, folderSize) &&
                CopyPart(span.pName, span.pDot, name, nameSize) &&
                CopyPart(span.pDot, span.pEnd, extension, extensionSize);
    if (!fits)
        for (char* out : outputs)
            if (out)
                out[0] = 0;
    return fits;
}

bool VXMakePath(char* out, size_t outSize, char const* drive, char const* folder, char const* name,
                char const* extension)
{
    if (!out || outSize == 0)
        return false;
    out[0] = 0;
    size_t used = 0;
    bool fits = true;
    if (drive && *drive)
        fits = Append(out, outSize, used, drive, drive[1] == ':' ? 2 : 1) &&
               (drive[1] == ':' || Append(out, outSize, used, ":", 1));
    if (fits && folder && *folder)
    {
        size_t length = std::strlen(folder);
        fits = Append(out, outSize, used, folder, length) &&
               (IsSeparator(folder[length - 1]) || Append(out, outSize, used, "\\", 1));
    }
    if (fits && name)
        fits = Append(out, outSize, used, name, std::strlen(name));
    if (fits && extension && *extension)
        fits = (extension[0] == '.' || Append(out, outSize, used, ".", 1)) &&
               Append(out, outSize, used, extension, std::strlen(extension));
    if (!fits)
        out[0] = 0;
    return fits;
}
