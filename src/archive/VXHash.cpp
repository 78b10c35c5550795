#include "vxsystem/VXHash.h"

#include "archive/VXArchivePath.h"

#include <cstdio>
#include <cstring>

namespace
{
constexpr uint32_t kMultiplier = 0x1003F;

// Ten-byte rows, of which the first four bytes are compared; row 0 is "no extension".
constexpr char kSpecialExtensions[6][10] = {"", ".kof", ".kf", ".dds", ".wav", ".adp"};

// Keys ignore letter case and the kind of separator: "a/b" and "A\\b" share one key.
unsigned char Lower(char c)
{
    return c == '/' ? '\\' : VXLowerAscii(static_cast<unsigned char>(c));
}

// value = value * M + lower(c) over the text, taken two characters a step: the same sum
// modulo 2^32 with half the chain of dependent multiplications.
uint32_t Fold(char const* begin, char const* end)
{
    constexpr uint32_t kSquare = kMultiplier * kMultiplier;
    uint32_t value = 0;
    char const* p = begin;
    for (; end - p >= 2; p += 2)
        value = value * kSquare + (Lower(p[0]) * kMultiplier + Lower(p[1]));
    if (p < end)
        value = value * kMultiplier + Lower(*p);
    return value;
}

// Index of the extension's row, 0 for none. The extension is lowered into a zeroed field
// first, so that a short extension compares its terminator and zeros behind it.
unsigned int SpecialExtensionIndex(char const* extension, size_t length)
{
    char field[16] = {};
    for (size_t i = 0; i < sizeof(field) - 1 && i < length; ++i)
        field[i] = static_cast<char>(Lower(extension[i]));
    for (unsigned int row = 0; row < 6; ++row)
        if (std::memcmp(field, kSpecialExtensions[row], 4) == 0)
            return row;
    return 0;
}

uint64_t Pack(unsigned char last, unsigned char last2, unsigned char length, unsigned char first,
              uint32_t crc)
{
    return uint64_t{last} | (uint64_t{last2} << 8) | (uint64_t{length} << 16) |
           (uint64_t{first} << 24) | (uint64_t{crc} << 32);
}
} // namespace

VXHash::VXHash(unsigned char last, unsigned char last2, unsigned char length, unsigned char first,
               unsigned int crc)
    : uiKey(Pack(last, last2, length, first, crc))
{
}

VXHash::VXHash(char const* text, HASHPROCESS process) : uiKey(0)
{
    if (process == HASH_RAW)
    {
        Create(text, nullptr, *this);
        return;
    }
    VXPathParts parts;
    VXSplitPath(text, parts);
    if (process == HASH_FILE)
    {
        Create(parts.acName, parts.acExtension, *this);
        return;
    }
    char directory[260];
    VXDirectoryKeyText(parts, directory, sizeof(directory));
    Create(directory, nullptr, *this);
}

void VXHash::Create(char const* name, char const* extension, VXHash& out)
{
    if (!name)
        name = "";
    size_t extensionLength = extension ? std::strlen(extension) : 0;
    out.uiKey = MakeKey(name, std::strlen(name), extension, extensionLength);
}

uint64_t VXHash::MakeKey(char const* name, size_t length, char const* extension,
                         size_t extensionLength)
{
    if (length == 0)
        return 0;
    unsigned char first = Lower(name[0]);
    unsigned char last = Lower(name[length - 1]);
    unsigned char last2 = 0;
    uint32_t crc = 0;
    if (length >= 3)
    {
        last2 = Lower(name[length - 2]);
        crc = Fold(name + 1, name + length - 2);
    }
    if (extension)
    {
        crc += Fold(extension, extension + extensionLength);
        unsigned int index = SpecialExtensionIndex(extension, extensionLength);
        first = static_cast<unsigned char>(first + ((index & 4) << 5));
        last = static_cast<unsigned char>(last + ((index & 2) << 6));
        last2 = static_cast<unsigned char>(last2 + ((index & 1) << 7));
    }
    return Pack(last, last2, static_cast<unsigned char>(length), first, crc);
}

void VXHash::MakeDirAndFile(char const* path, VXHash& dir, VXHash& file)
{
    // The same split as VXSplitPath, on pointers into the path: no copies on the lookup path.
    VXPathSpan span = VXSplitPathSpan(path);
    if (!VXPathPartsFit(span))
    {
        file.uiKey = 0;
        dir.uiKey = MakeKey(".", 1, nullptr, 0);
        return;
    }
    file.uiKey = MakeKey(span.pName, static_cast<size_t>(span.pDot - span.pName), span.pDot,
                         static_cast<size_t>(span.pEnd - span.pDot));
    size_t dirLength = static_cast<size_t>(span.pName - span.pBegin);
    if (dirLength >= 260)
        dirLength = 0; // too long for the key text: it stands as "."
    else if (dirLength > 0 &&
             (span.pBegin[dirLength - 1] == '\\' || span.pBegin[dirLength - 1] == '/'))
        --dirLength;
    if (dirLength == 0)
        dir.uiKey = MakeKey(".", 1, nullptr, 0);
    else
        dir.uiKey = MakeKey(span.pBegin, dirLength, nullptr, 0);
}

int VXHash::Compare(VXHash const& other) const
{
    if (uiKey < other.uiKey)
        return -1;
    return uiKey > other.uiKey ? 1 : 0;
}

int VXHash::WildCardCompare(VXHash const& other) const
{
    if (First() == '*')
        return ExtensionIndex() == other.ExtensionIndex() ? 0 : 1;
    if (CRC() != other.CRC())
        return CRC() < other.CRC() ? -1 : 1;
    if (Length() != other.Length())
        return 1;
    return ExtensionIndex() == other.ExtensionIndex() ? 0 : 1;
}

unsigned char VXHash::ExtensionIndex() const
{
    return static_cast<unsigned char>(((Byte(3) >> 7) << 2) | ((Byte(0) >> 7) << 1) |
                                      (Byte(1) >> 7));
}

void VXHash::GetAll(unsigned char& last, unsigned char& last2, unsigned char& length,
                    unsigned char& first, unsigned int& crc) const
{
    last = Byte(0);
    last2 = Byte(1);
    length = Byte(2);
    first = Byte(3);
    crc = CRC();
}

void VXHash::MakeHashString(char* buffer) const
{
    if (!buffer)
        return;
    std::snprintf(buffer, 32, "%c%02X%c%c%08X", Byte(3), Byte(2), Byte(1), Byte(0), CRC());
}
