#include "vxsystem/FilePathUtilities.h"

#include "foundation/VXPathText.h"

#include <cstring>

namespace
{
constexpr size_t kMaxPathChars = MAX_PATH_BYTES - 1;

// Index of the last separator within the first 259 characters; -1 for none or null.
int FindLastSeparator(char const* path)
{
    if (!path)
        return -1;
    int last = -1;
    for (size_t i = 0; i < kMaxPathChars && path[i]; ++i)
        if (vxpath::IsSeparator(path[i]))
            last = static_cast<int>(i);
    return last;
}

// Appends text to block[0..length), never past the 259th character.
void AppendCut(char* block, size_t& length, char const* text)
{
    for (size_t i = 0; text && text[i] && length < kMaxPathChars; ++i)
        block[length++] = text[i];
    block[length] = 0;
}

// Walks the segments of a path: the cuts fall at every separator, a leading or doubled
// separator gives an empty segment, a trailing one gives no empty last segment.
class SegmentCursor
{
public:
    explicit SegmentCursor(char const* text) : pText(text ? text : ""), uiNext(0)
    {
        uiEnd = std::strlen(pText);
    }

    // Steps to the next segment; false when there is none.
    bool Next()
    {
        if (uiNext >= uiEnd)
            return false;
        uiStart = uiNext;
        size_t stop = uiStart;
        while (stop < uiEnd && !vxpath::IsSeparator(pText[stop]))
            ++stop;
        uiLength = stop - uiStart;
        uiNext = stop + 1;
        return true;
    }

    char const* QStart() const { return pText + uiStart; }
    size_t QLength() const { return uiLength; }

private:
    char const* pText;
    size_t uiEnd;        // length of the text
    size_t uiNext;       // where the next segment begins
    size_t uiStart = 0;  // current segment
    size_t uiLength = 0; // its length
};

bool SameSegment(SegmentCursor const& a, SegmentCursor const& b)
{
    if (a.QLength() != b.QLength())
        return false;
    for (size_t i = 0; i < a.QLength(); ++i)
        if (vxpath::ToLower(a.QStart()[i]) != vxpath::ToLower(b.QStart()[i]))
            return false;
    return true;
}
} // namespace

bool FilePathUtilities::Join(char const* first, char const* second, VXStaticStringT<260>& out)
{
    VXStaticStringT<260> tail(second); // out may be second
    size_t firstLength = first ? std::strlen(first) : 0;
    bool separator = firstLength >= 2 && !vxpath::IsSeparator(first[firstLength - 1]);
    char block[MAX_PATH_BYTES];
    size_t length = 0;
    block[0] = 0;
    AppendCut(block, length, first);
    if (separator)
        AppendCut(block, length, "\\");
    AppendCut(block, length, tail.QString());
    out.Set(block);
    return out.QLength() != 0;
}

bool FilePathUtilities::SplitPath(char const* path, VXStaticStringT<260>& folder,
                                  VXStaticStringT<260>& file)
{
    int separator = FindLastSeparator(path);
    if (separator < 0)
    {
        file.Set(path);
        folder.Set("");
        return false;
    }
    // A length of 0 means "all" to Set: a leading separator leaves the whole path.
    folder.Set(path, static_cast<size_t>(separator));
    file.Set(path + separator + 1);
    return true;
}

bool FilePathUtilities::SplitExt(char const* path, VXStaticStringT<260>& root,
                                 VXStaticStringT<260>& ext)
{
    VXStaticStringT<260> copy(path);
    char const* text = copy.QString();
    size_t dot = copy.QLength();
    while (dot > 0 && text[dot - 1] != '.')
        --dot;
    if (dot < 2) // no dot, or only one at index 0
    {
        root = copy;
        ext.Set("");
        return false;
    }
    ext.Set(path + dot - 1);
    root.Set(text, dot - 1);
    return true;
}

bool FilePathUtilities::NormPath(char const* path, VXStaticStringT<260>& out)
{
    out.Set("");
    if (!path)
        return false;
    size_t length = std::strlen(path);
    if (length > kMaxPathChars)
        return false;
    char block[MAX_PATH_BYTES];
    size_t written = 0;
    for (size_t i = 0; i < length;)
    {
        char const* at = path + i;
        if (at[0] == '.' && vxpath::IsSeparator(at[1]))
        {
            i += 2;
            continue;
        }
        if (at[0] == '.' && at[1] == '.' && vxpath::IsSeparator(at[2]))
        {
            if (written == 0)
                return false;
            if (block[written - 1] == '\\')
                --written;
            while (written > 0 && block[written - 1] != '\\')
                --written;
            i += 3;
            continue;
        }
        block[written++] = at[0] == '/' ? '\\' : at[0];
        ++i;
    }
    block[written] = 0;
    out.Set(block);
    return true;
}

bool FilePathUtilities::RelPath(char const* path, char const* start, VXStaticStringT<260>& out)
{
    SegmentCursor pathSegment(path);
    SegmentCursor startSegment(start);
    bool havePath = pathSegment.Next();
    bool haveStart = startSegment.Next();
    if (!havePath || !haveStart)
        return false;
    while (havePath && haveStart && SameSegment(pathSegment, startSegment))
    {
        havePath = pathSegment.Next();
        haveStart = startSegment.Next();
    }
    bool changed = false;
    for (; haveStart; haveStart = startSegment.Next())
    {
        Join("..\\", out.QString(), out);
        changed = true;
    }
    if (havePath)
    {
        Join(out.QString(), pathSegment.QStart(), out);
        changed = true;
    }
    return changed;
}

void VXAddTrailingSlash(char* path, unsigned int size)
{
    if (!path)
        return;
    size_t length = std::strlen(path);
    if (length > 0 && path[length - 1] == '\\')
        return;
    if (length + 2 > size)
        return;
    path[length] = '\\';
    path[length + 1] = 0;
}
