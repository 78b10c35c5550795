// Lexical path operations: join, split and normalise names without touching the disk.
// Both '\' and '/' are separators on input; a separator that is added is always '\'.
// Results go to fixed 260-byte strings and are cut at 259 characters. No shared state:
// every operation is safe to call from any thread.
#pragma once

#include "vxsystem/VXStringT.h"

namespace FilePathUtilities
{
// first and second with a '\' between them where needed. A first part of one character
// gets none, so a one-letter folder runs into the second part. out may hold second.
// True when the result is not empty.
bool Join(char const* first, char const* second, VXStaticStringT<260>& out);

// folder: the text before the last separator; file: the text behind it. A separator at
// index 0 leaves the whole path in folder. False (folder empty, file = path) when the
// path has no separator.
bool SplitPath(char const* path, VXStaticStringT<260>& folder, VXStaticStringT<260>& file);

// root: the text before the last dot, wherever it stands; ext: the dot and the rest.
// False (root = path, ext empty) when there is no dot above index 0.
bool SplitExt(char const* path, VXStaticStringT<260>& root, VXStaticStringT<260>& ext);

// Drops "." steps and resolves ".." steps lexically; '/' becomes '\'. Fails, with out
// empty, on a parent step with nothing before it, a null path, or a path longer than 259.
bool NormPath(char const* path, VXStaticStringT<260>& out);

// path as seen from the folder start, letter case ignored. out must be empty on entry.
// False, with out untouched, when either is empty or the two are the same.
bool RelPath(char const* path, char const* start, VXStaticStringT<260>& out);
} // namespace FilePathUtilities

// Appends '\' to a plain buffer unless it already ends in one (an empty text gets one).
// Does nothing when size leaves no room for the two more bytes.
void VXAddTrailingSlash(char* path, unsigned int size);
