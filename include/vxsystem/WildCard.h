// Name matching against patterns with '?', '*', character classes ("[a-z]", "[^x]"),
// '|' alternatives and '&' groups. Case is ignored unless asked for; the flags can also
// reduce both strings to file name plus folder or extension first. Temporary copies go
// to the calling thread's scrap heap; no shared state, any thread may call.
#pragma once

#include "vxsystem/VXTArray.h"

namespace WildCard
{
enum : unsigned int
{
    WILDCARD_CASE_SENSITIVE = 1, // compare as given; otherwise both are lower-cased
    WILDCARD_KEEP_PATH = 2,      // keep drive and folder (with 4: keep everything)
    WILDCARD_KEEP_EXTENSION = 4, // keep the extension
    WILDCARD_SKIP_SPACES = 8,    // skip leading blanks of both strings
    WILDCARD_ESCAPES = 16,       // '\' in a pattern takes the next character literally
};

// True when the text holds any of * ? [ ] ^ that a backslash does not escape.
bool IsWild(char const* text);

// One pattern against the whole text. A '*' in front of more pattern needs at least one
// character of text to try that rest on, so "*a" never matches an empty text.
bool Match(char const* text, char const* pattern, unsigned int flags);

// True when any of the '|'-separated patterns matches; tried in order, first hit wins.
// An empty list matches nothing; a '|' at the very end adds no empty alternative.
bool MatchAny(char const* text, char const* patterns, unsigned int flags);

// True when every '&'-separated group (itself a '|' list) is matched by at least one of
// the texts. An empty groups text is true; a '&' at the very end adds no empty group.
bool MatchAll(VXTArray<char const*, VXTArrayHeapAllocator> const& texts, char const* groups,
              unsigned int flags);
} // namespace WildCard
