// Feeds WildCard arbitrary text, patterns and flags. Input: one flags byte, then text and
// pattern separated by the first NUL byte.
#include "vxsystem/WildCard.h"

#include <cstdint>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    if (size < 1)
        return 0;
    unsigned int flags = data[0] & 0x1F;
    std::string rest(reinterpret_cast<char const*>(data + 1), size - 1);
    size_t cut = rest.find('\0');
    std::string text = cut == std::string::npos ? rest : rest.substr(0, cut);
    std::string pattern = cut == std::string::npos ? std::string() : rest.substr(cut + 1);
    pattern = pattern.substr(0, pattern.find('\0'));

    bool one = WildCard::Match(text.c_str(), pattern.c_str(), flags);
    bool any = WildCard::MatchAny(text.c_str(), pattern.c_str(), flags);
    WildCard::IsWild(pattern.c_str());
    // A pattern without '|' is its own single alternative.
    if (!pattern.empty() && pattern.find('|') == std::string::npos && one != any)
        __builtin_trap();
    // Every text matches "*" and itself when it holds no pattern characters.
    if (!WildCard::Match(text.c_str(), "*", flags))
        __builtin_trap();
    if (!WildCard::IsWild(text.c_str()) && text.find('\\') == std::string::npos &&
        !WildCard::Match(text.c_str(), text.c_str(), flags))
        __builtin_trap();
    return 0;
}
