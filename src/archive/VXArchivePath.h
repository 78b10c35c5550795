// Text helpers of the archive code: the path split that the keys are made from, and
// ASCII lowering. Free of state; any thread.
#pragma once

#include "foundation/VXCRuntime.h"

#include <cstddef>

struct VXPathParts
{
    char acDrive[16];
    char acDirectory[260];
    char acName[260];
    char acExtension[16];
};

// Drive ("C:"), directory with its trailing separator ('\' or '/'), name, and extension
// from the last dot of the file part on. A part that does not fit its field leaves every
// part empty and gives false; a null path gives empty parts.
bool VXSplitPath(char const* path, VXPathParts& out);

// Whether every part of the split fits its field of VXPathParts; VXSplitPath leaves all
// parts empty when one does not.
bool VXPathPartsFit(VXPathSpan const& span);

// Drive plus directory in the form the directory key is made from: slashes turned into
// backslashes, "." when empty, one trailing backslash removed. False (and ".") when it
// does not fit in size bytes.
bool VXDirectoryKeyText(VXPathParts const& parts, char* out, size_t size);

// Only A to Z are folded, whatever the locale.
inline unsigned char VXLowerAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}
