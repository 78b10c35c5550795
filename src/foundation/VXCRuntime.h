// Portable stand-ins for the C runtime's text calls that engine code is written against:
// case-blind comparison, lower-casing, and splitting and making paths. ASCII case rules,
// as the engine's names are ASCII. Pure functions, safe on any thread.
#pragma once

#include <cstddef>

// Only A to Z fold, whatever the locale.
inline int VXLowerAsciiChar(char c)
{
    unsigned char u = static_cast<unsigned char>(c);
    return (u >= 'A' && u <= 'Z') ? u + ('a' - 'A') : u;
}

// Case-blind comparison over at most count characters: <0, 0, >0 like strncmp. Null sorts
// before any text. Inline: it sits on every name lookup.
inline int VXStrnicmp(char const* a, char const* b, size_t count)
{
    if (!a || !b)
        return a == b ? 0 : (a ? 1 : -1);
    for (size_t i = 0; i < count; ++i)
    {
        int ca = VXLowerAsciiChar(a[i]);
        int cb = VXLowerAsciiChar(b[i]);
        if (ca != cb || ca == 0)
            return ca - cb;
    }
    return 0;
}

inline int VXStricmp(char const* a, char const* b)
{
    return VXStrnicmp(a, b, static_cast<size_t>(-1));
}
// Lower-cases in place, at most size bytes; false when no terminator lies within them.
bool VXStrlwr(char* text, size_t size);

// A path split by pointers into it: [pBegin, pRest) drive ("c:"), [pRest, pName) folder
// with its final separator, [pName, pDot) base name, [pDot, pEnd) extension with its dot
// (pDot is pEnd when there is none). A null path gives all five null.
struct VXPathSpan
{
    char const* pBegin; // the path
    char const* pRest;  // behind the drive
    char const* pName;  // behind the last separator
    char const* pDot;   // the extension's dot, or pEnd
    char const* pEnd;   // the terminator
};
VXPathSpan VXSplitPathSpan(char const* path);

// Splits a path into drive ("c:"), folder (with its final separator), base name and
// extension (with its dot). Any output may be null; each non-null output has its size
// in bytes. False, with every output emptied, when a part does not fit.
bool VXSplitPath(char const* path, char* drive, size_t driveSize, char* folder, size_t folderSize,
                 char* name, size_t nameSize, char* extension, size_t extensionSize);
// Joins the four parts, adding the separator after the folder and the dot before the
// extension where they are missing. False, with an empty result, when it does not fit.
bool VXMakePath(char* out, size_t outSize, char const* drive, char const* folder, char const* name,
                char const* extension);
