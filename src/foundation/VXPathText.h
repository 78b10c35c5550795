// Character tests shared by the path and pattern operations.
#pragma once

namespace vxpath
{
// Both separators count on input.
inline bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

// ASCII lower case, as the C locale has it; other bytes stay.
inline char ToLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
} // namespace vxpath
