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

bool VXPathPartsFit(VXPathSpan const& span)
{
    auto fits = [](char const* begin, char const* end, size_t field)
    { return static_cast<size_t>(end - begin) < field; };
    return span.pBegin && fits(span.pBegin, span.pRest, sizeof(VXPathParts::acDrive)) &&
           fits(span.pRest, span.pName, sizeof(VXPathParts::acDirectory)) &&
           fits(span.pName, span.pDot, sizeof(VXPathParts::acName)) &&
           fits(span.pDot, span.pEnd, sizeof(VXPathParts::acExtension));
}

bool VXSplitPath(char const* path, VXPathParts& out)
{
    Clear(out);
    if (!path)
        return true;
    VXPathSpan span = VXSplitPathSpan(path);
    if (!VXPathPartsFit(span))
        return false;
    CopyPart(out.acDrive, sizeof(out.acDrive), span.pBegin, span.pRest);
    CopyPart(out.acDirectory, sizeof(out.acDirectory), span.pRest, span.pName);
    CopyPart(out.acName, sizeof(out.acName), span.pName, span.pDot);
    CopyPart(out.acExtension, sizeof(out.acExtension), span.pDot, span.pEnd);
    return true;
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
    for (size_t i = 0; i < length; ++i)
        if (out[i] == '/')
            out[i] = '\\'; // stored names use backslashes only
    if (length == 0)
        std::memcpy(out, ".", 2);
    else if (out[length - 1] == '\\')
        out[length - 1] = 0;
    return true;
}
