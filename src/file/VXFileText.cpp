// The text half of VXFile: NUL-framed strings, lines and the string operators.
#include "vxsystem/VXFile.h"

namespace
{
constexpr char kEmptyText[1] = {0};
constexpr VXWChar kEmptyWide[1] = {0};

// Reads NUL-framed units of CharT in blocks of 259 plus terminator. A short read or
// passing maxBytes counts as the terminator.
template <class CharT>
uint64_t ReadFramed(KoBinaryStream& stream, VXStringT<CharT>& out, uint64_t maxBytes)
{
    constexpr size_t kBlock = 260;
    CharT block[kBlock];
    uint64_t total = 0;
    bool first = true;
    bool ended = false;
    while (!ended)
    {
        size_t used = 0;
        while (used < kBlock - 1)
        {
            CharT unit = 0;
            uint64_t got = stream.Read(&unit, sizeof(CharT));
            total += got;
            if (got < sizeof(CharT) || total > maxBytes)
                unit = 0;
            if (unit == 0)
            {
                ended = true;
                break;
            }
            block[used++] = unit;
        }
        block[used] = 0;
        if (first)
            out.Set(block);
        else
            out.Append(block);
        first = false;
    }
    return out.QLength();
}
} // namespace

uint64_t VXFile::ReadString(VXStringT<char>& out, uint64_t maxBytes)
{
    if (!pFile)
        Open(false, false);
    return ReadFramed(*this, out, maxBytes);
}

uint64_t VXFile::ReadString(VXStringT<VXWChar>& out, uint64_t maxBytes)
{
    if (!pFile)
        Open(false, false);
    return ReadFramed(*this, out, maxBytes);
}

uint64_t VXFile::GetLine(char* out, uint64_t outSize, VXWChar delimiter)
{
    if (!out)
        return 0;
    if (outSize < 2)
    {
        if (outSize == 1)
            out[0] = 0;
        return 0;
    }
    uint64_t consumed = 0;
    uint64_t stored = 0;
    while (stored < outSize - 1)
    {
        char c = 0;
        if (Read(&c, 1) < 1)
            break;
        ++consumed;
        // A signed char widened never equals a delimiter above 0x7F: bytes 0x80 and up
        // do not end a line.
        if (static_cast<int>(c) == static_cast<int>(delimiter))
            break;
        out[stored++] = c;
    }
    out[stored] = 0;
    return consumed;
}

uint64_t VXFile::WriteString(VXStringT<char> const& text, bool terminator)
{
    uint64_t length = text.QLength();
    char const* data = text.QHasStorage() ? text.QString() : kEmptyText;
    // DoWrite advances uiTrueFilePos; it stays the position, not a doubled sum.
    return Write(data, length + (terminator ? 1 : 0));
}

uint64_t VXFile::WriteString(VXStringT<VXWChar> const& text, bool terminator)
{
    uint64_t length = text.QLength();
    VXWChar const* data = text.QHasStorage() ? text.QString() : kEmptyWide;
    return Write(data, (length + (terminator ? 1 : 0)) * sizeof(VXWChar)) / sizeof(VXWChar);
}

VXFile& VXFile::operator>>(IOSIZE const& size)
{
    uiArraySize = size.uiSize;
    return *this;
}

VXFile& VXFile::operator<<(IOSIZE const& size)
{
    uiArraySize = size.uiSize;
    return *this;
}

VXFile& VXFile::operator>>(VXStringT<char>& text)
{
    uiResult = ReadString(text, ~0ull);
    return *this;
}

VXFile& VXFile::operator>>(VXStringT<VXWChar>& text)
{
    uiResult = ReadString(text, ~0ull);
    return *this;
}

VXFile& VXFile::operator<<(VXStringT<char> const& text)
{
    uiResult = WriteString(text, true);
    return *this;
}

VXFile& VXFile::operator<<(VXStringT<VXWChar> const& text)
{
    uiResult = WriteString(text, true);
    return *this;
}

VXFile& VXFile::operator<<(std::string const& text)
{
    uiResult = Write(text.data(), text.size());
    return *this;
}

VXFile& VXFile::operator<<(char const* text)
{
    uiResult = text ? Write(text, vxstr::Length(text)) : 0;
    return *this;
}

VXFile& VXFile::operator<<(unsigned char const* text)
{
    return *this << reinterpret_cast<char const*>(text);
}
