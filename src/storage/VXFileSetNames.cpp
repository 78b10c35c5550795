// The restore-side name rule. It is the same on every platform, so a stream that one
// platform refuses is refused everywhere, whatever that platform's own path rules are.
#include "vxsystem/VXFileSet.h"

#include "foundation/VXPathText.h"

#include <cstring>

namespace
{
// Reserved device names, which Windows opens whatever folder or extension they carry.
bool IsDeviceName(char const* part, size_t length)
{
    static char const* const kDevices[] = {"con", "prn", "aux", "nul", "conin$", "conout$"};
    size_t stem = 0;
    while (stem < length && part[stem] != '.' && part[stem] != ' ')
        ++stem;
    char lower[8] = {};
    if (stem < 3 || stem >= sizeof(lower))
        return false;
    for (size_t i = 0; i < stem; ++i)
        lower[i] = vxpath::ToLower(part[i]);
    for (char const* device : kDevices)
        if (std::strcmp(lower, device) == 0)
            return true;
    bool numbered = std::memcmp(lower, "com", 3) == 0 || std::memcmp(lower, "lpt", 3) == 0;
    return numbered && stem == 4 && lower[3] >= '1' && lower[3] <= '9';
}

// "..", and the spellings Windows trims to it (dots and spaces only, two dots or more).
bool IsParentStep(char const* part, size_t length)
{
    size_t dots = 0;
    for (size_t i = 0; i < length; ++i)
    {
        if (part[i] != '.' && part[i] != ' ')
            return false;
        dots += part[i] == '.';
    }
    return dots >= 2;
}

// Control characters and those no Windows file name may hold; ':' also rules out drives
// and alternate streams.
bool IsForbiddenChar(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || std::strchr(":*?\"<>|", c) != nullptr;
}

bool IsRestorablePart(char const* part, size_t length)
{
    return length != 0 && !IsParentStep(part, length) && !IsDeviceName(part, length);
}
} // namespace

bool VXFileSet::QRestorableName(char const* name)
{
    if (!name || !*name || vxpath::IsSeparator(name[0]))
        return false;
    char const* part = name;
    for (char const* c = name;; ++c)
    {
        if (*c && IsForbiddenChar(*c))
            return false;
        if (*c && !vxpath::IsSeparator(*c))
            continue;
        // A doubled separator leaves an empty step, which stays inside; the last step
        // names the file and must not be empty.
        auto length = static_cast<size_t>(c - part);
        if ((length != 0 || !*c) && !IsRestorablePart(part, length))
            return false;
        if (!*c)
            return true;
        part = c + 1;
    }
}
