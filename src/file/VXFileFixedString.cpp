// VXFile::WriteString for the case-sensitive pooled strings, kept apart so that the file
// core does not depend on the string pool.
#include "vxsystem/VXFile.h"
#include "vxsystem/VXFixedString.h"

namespace
{
char const kEmptyNarrow[1] = {0};
VXWChar const kEmptyWide[1] = {0};
} // namespace

uint64_t VXFile::WriteString(VXFixedStringCS const& text, bool terminator)
{
    char const* data = text.QString() ? text.QString() : kEmptyNarrow;
    // DoWrite advances uiTrueFilePos, as for the other string overloads.
    return Write(data, text.QLength() + (terminator ? 1 : 0));
}

uint64_t VXFile::WriteString(VXFixedStringWCS const& text, bool terminator)
{
    VXWChar const* data = text.QString() ? text.QString() : kEmptyWide;
    uint64_t units = text.QLength() + (terminator ? 1 : 0);
    return Write(data, units * sizeof(VXWChar)) / sizeof(VXWChar);
}
