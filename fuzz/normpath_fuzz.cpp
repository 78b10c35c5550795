// Feeds NormPath arbitrary text and checks what holds for every result: it fails with an
// empty output, or succeeds with no '/', no "." or ".." step left inside, and no growth.
#include "vxsystem/FilePathUtilities.h"

#include <cstdint>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string path(reinterpret_cast<char const*>(data), size);
    path = path.substr(0, path.find('\0'));
    VXStaticStringT<260> out("junk");
    bool ok = FilePathUtilities::NormPath(path.c_str(), out);
    std::string result = out.QString();
    if (!ok && !result.empty())
        __builtin_trap();
    if (path.size() > 259 && ok)
        __builtin_trap();
    if (!ok)
        return 0;
    if (result.size() > path.size() || result.find('/') != std::string::npos)
        __builtin_trap();
    if (result.find(".\\") != std::string::npos)
        __builtin_trap();
    // Normal form is a fixed point.
    VXStaticStringT<260> again;
    if (!FilePathUtilities::NormPath(result.c_str(), again) ||
        std::strcmp(again.QString(), result.c_str()) != 0)
        __builtin_trap();
    return 0;
}
