// Resolving a name relative to another file.
#include "vxsystem/FileFinder.h"

#include "foundation/VXCRuntime.h"

#include <cstring>

namespace
{
// Copies at most MAX_PATH_BYTES - 1 characters and terminates.
void CopyCut(char* out, char const* text)
{
    size_t length = std::strlen(text);
    if (length >= MAX_PATH_BYTES)
        length = MAX_PATH_BYTES - 1;
    std::memcpy(out, text, length);
    out[length] = 0;
}

} // namespace

void FileFinder::CombineFileNames(char* pBase, char* pRelative, char* pOut)
{
    if (!pOut)
        return;
    pOut[0] = 0;
    if (!pBase || !pRelative)
        return;
    if (std::strncmp(pRelative, "..\\", 3) != 0)
    {
        CopyCut(pOut, pRelative);
        return;
    }
    char folder[MAX_PATH_BYTES];
    if (!VXSplitPath(pBase, nullptr, 0, folder, sizeof(folder), nullptr, 0, nullptr, 0))
        return;
    size_t length = std::strlen(folder);
    if (length && folder[length - 1] == '\\')
        folder[--length] = 0;
    while (std::strncmp(pRelative, "..\\", 3) == 0)
    {
        pRelative += 3;
        // Cut at the last backslash above index 0; with none, the folder empties.
        char* cut = std::strrchr(folder, '\\');
        if (cut && cut != folder)
            *cut = 0;
        else
            folder[0] = 0;
    }
    char joined[2 * MAX_PATH_BYTES];
    std::strcpy(joined, folder);
    std::strcat(joined, "\\");
    std::strncat(joined, pRelative, MAX_PATH_BYTES);
    CopyCut(pOut, joined);
}
