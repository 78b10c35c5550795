#include "vxsystem/WildCard.h"

#include "foundation/VXPathText.h"

#include <cstring>

namespace
{
using namespace WildCard;

// Matcher results: a '*' that sees 2 from further in gives up at once, which keeps
// patterns with many stars from retrying every split of the text.
enum MatchResult : int
{
    MATCH_NO = 0,
    MATCH_YES = 1,
    MATCH_ABORT = 2,
};

struct Span
{
    char const* pText;
    size_t uiLength;
};

// Drive ("C:"), folder (through the last separator), name, extension (from the last dot
// of the name on), the way the platform's path splitter cuts them.
struct PathParts
{
    Span kDrive, kFolder, kName, kExt;
};

PathParts SplitParts(Span text)
{
    PathParts parts{};
    size_t at = text.uiLength >= 2 && text.pText[1] == ':' ? 2 : 0;
    parts.kDrive = {text.pText, at};
    size_t nameStart = at;
    for (size_t i = at; i < text.uiLength; ++i)
        if (vxpath::IsSeparator(text.pText[i]))
            nameStart = i + 1;
    parts.kFolder = {text.pText + at, nameStart - at};
    size_t dot = text.uiLength;
    for (size_t i = nameStart; i < text.uiLength; ++i)
        if (text.pText[i] == '.')
            dot = i;
    parts.kName = {text.pText + nameStart, dot - nameStart};
    parts.kExt = {text.pText + dot, text.uiLength - dot};
    return parts;
}

void Put(char*& out, Span part)
{
    std::memcpy(out, part.pText, part.uiLength);
    out += part.uiLength;
}

// Writes the prepared form of text to out (room for text and terminator); gives its end.
char* Prepare(Span text, char* out, unsigned int flags)
{
    if (flags & WILDCARD_SKIP_SPACES)
        while (text.uiLength > 0 && (text.pText[0] == ' ' || text.pText[0] == '\t'))
        {
            ++text.pText;
            --text.uiLength;
        }
    char* begin = out;
    if (flags & (WILDCARD_KEEP_PATH | WILDCARD_KEEP_EXTENSION))
    {
        PathParts parts = SplitParts(text);
        if (flags & WILDCARD_KEEP_PATH)
        {
            Put(out, parts.kDrive);
            Put(out, parts.kFolder);
        }
        Put(out, parts.kName);
        if (flags & WILDCARD_KEEP_EXTENSION)
            Put(out, parts.kExt);
    }
    else
        Put(out, text);
    *out = 0;
    if (!(flags & WILDCARD_CASE_SENSITIVE))
        for (char* c = begin; c < out; ++c)
            *c = vxpath::ToLower(*c);
    return out;
}

bool InRange(char c, char low, char high)
{
    auto value = static_cast<signed char>(c);
    return static_cast<signed char>(low) <= value && value <= static_cast<signed char>(high);
}

// Whether the class at pattern ('[') lets c through; pattern then stands behind ']'.
bool MatchClass(char c, char const*& pattern, unsigned int flags)
{
    if (!c)
        return false;
    char const* first = pattern + 1;
    bool negate = *first == '^';
    if (negate)
        ++first;
    char const* close = first;
    while (*close && *close != ']')
        close += close[0] == '\\' && close[1] ? 2 : 1;
    if (*close != ']')
        return false;
    bool hit = false;
    bool pending = false;
    char rangeStart = 0;
    for (char const* at = first; at < close && !hit; ++at)
    {
        if (*at == '\\' && (flags & WILDCARD_ESCAPES))
            ++at; // the escaped character is taken as it stands
        else if (*at == '-' && at != first)
        {
            pending = true;
            rangeStart = at[-1];
            continue;
        }
        if (at[1] == '-')
            continue; // it opens the range that the dash sets up
        hit = InRange(c, pending ? rangeStart : *at, *at);
        pending = false;
    }
    if (hit == negate)
        return false;
    pattern = close + 1;
    return true;
}

int MatchPattern(char const* text, char const* pattern, unsigned int flags);

int MatchStar(char const* text, char const* rest, unsigned int flags)
{
    if (!*rest)
        return MATCH_YES;
    if (!*text)
        return MATCH_ABORT;
    for (; *text; ++text)
        if (int result = MatchPattern(text, rest, flags))
            return result;
    return MATCH_ABORT;
}

// Walks literal parts in a loop; only a '*' recurses, so depth follows the stars.
int MatchPattern(char const* text, char const* pattern, unsigned int flags)
{
    for (;;)
    {
        char p = *pattern;
        if (!p)
            return *text ? MATCH_NO : MATCH_YES;
        if (p == '*')
            return MatchStar(text, pattern + 1, flags);
        if (p == '[')
        {
            if (!MatchClass(*text, pattern, flags))
                return MATCH_NO;
            ++text;
            continue;
        }
        if (p == '?')
        {
            if (!*text)
                return MATCH_NO;
        }
        else
        {
            if (p == '\\' && (flags & WILDCARD_ESCAPES))
                p = *++pattern;
            if (!p || p != *text)
                return MATCH_NO;
        }
        ++text;
        ++pattern;
    }
}

bool MatchSpan(Span text, Span pattern, unsigned int flags)
{
    MemoryManager::AutoScrapBuffer block(text.uiLength + pattern.uiLength + 2, 8);
    auto* textCopy = static_cast<char*>(block.QPtr());
    if (!textCopy)
        return false;
    char* patternCopy = Prepare(text, textCopy, flags) + 1;
    Prepare(pattern, patternCopy, flags);
    return MatchPattern(textCopy, patternCopy, flags) == MATCH_YES;
}

// Calls visit on each part of list cut at separator; stops early when visit says so and
// gives whether it did. A separator at the very end adds no empty last part.
template <class Visit> bool AnyPart(Span list, char separator, Visit visit)
{
    size_t at = 0;
    while (at < list.uiLength)
    {
        size_t stop = at;
        while (stop < list.uiLength && list.pText[stop] != separator)
            ++stop;
        if (visit(Span{list.pText + at, stop - at}))
            return true;
        at = stop + 1;
    }
    return false;
}

Span ToSpan(char const* text)
{
    return {text, std::strlen(text)};
}

bool MatchAnySpan(Span text, Span patterns, unsigned int flags)
{
    return AnyPart(patterns, '|', [&](Span pattern) { return MatchSpan(text, pattern, flags); });
}
} // namespace

bool WildCard::IsWild(char const* text)
{
    if (!text)
        return false;
    for (; *text; ++text)
    {
        if (*text == '\\' && text[1])
            ++text;
        else if (std::strchr("*?[]^", *text))
            return true;
    }
    return false;
}

bool WildCard::Match(char const* text, char const* pattern, unsigned int flags)
{
    if (!text || !pattern)
        return false;
    return MatchSpan(ToSpan(text), ToSpan(pattern), flags);
}

bool WildCard::MatchAny(char const* text, char const* patterns, unsigned int flags)
{
    if (!text || !patterns)
        return false;
    return MatchAnySpan(ToSpan(text), ToSpan(patterns), flags);
}

bool WildCard::MatchAll(VXTArray<char const*, VXTArrayHeapAllocator> const& texts,
                        char const* groups, unsigned int flags)
{
    if (!groups)
        return true;
    auto unmatched = [&](Span group)
    {
        for (char const* text : texts)
            if (text && MatchAnySpan(ToSpan(text), group, flags))
                return false;
        return true;
    };
    return !AnyPart(ToSpan(groups), '&', unmatched);
}
