// CRC-16/ARC hashing and case-folded comparison of pooled text. Both fold the same way,
// so texts equal without regard to case always share a hash. Folding is tolower/towlower;
// ASCII is folded inline (what tolower does to it in the C locale), which with an 8-byte
// slicing CRC keeps the hash of a typical path at a few ns per 8 characters.
#include "vxsystem/VXStringPool.h"

#include "foundation/VXStringPoolText.h"

#include <bit>
#include <cctype>
#include <cstring>
#include <cwctype>
#include <string>

namespace
{
// kTables[0] is the byte table of the reflected polynomial 0xA001 (0x0000, 0xC0C1,
// 0xC181, 0x0140, ...); kTables[k] is the effect of a byte followed by k zero bytes.
struct CrcTables
{
    uint16_t aausTable[8][256];
};

constexpr CrcTables MakeCrcTables()
{
    CrcTables kTables{};
    for (uint32_t i = 0; i < 256; ++i)
    {
        uint32_t uiValue = i;
        for (int iBit = 0; iBit < 8; ++iBit)
            uiValue = (uiValue & 1) ? (uiValue >> 1) ^ 0xA001 : uiValue >> 1;
        kTables.aausTable[0][i] = static_cast<uint16_t>(uiValue);
    }
    for (int k = 1; k < 8; ++k)
        for (uint32_t i = 0; i < 256; ++i)
        {
            uint16_t usPrev = kTables.aausTable[k - 1][i];
            kTables.aausTable[k][i] =
                static_cast<uint16_t>((usPrev >> 8) ^ kTables.aausTable[0][usPrev & 0xFF]);
        }
    return kTables;
}

constexpr CrcTables kCrc = MakeCrcTables();
constexpr bool kLittleEndian = std::endian::native == std::endian::little;

inline uint16_t CrcByte(uint16_t usCrc, uint32_t uiByte)
{
    return static_cast<uint16_t>(kCrc.aausTable[0][(usCrc ^ uiByte) & 0xFF] ^ (usCrc >> 8));
}

// The last 2 to 7 bytes at once, the first byte in the low bits; their lookups are
// independent, unlike a byte-by-byte loop.
inline uint16_t CrcTail(uint16_t usCrc, uint64_t uiBytes, uint32_t uiCount)
{
    uint32_t uiHead = (usCrc ^ static_cast<uint32_t>(uiBytes)) & 0xFFFF;
    uint32_t uiCrc =
        kCrc.aausTable[uiCount - 1][uiHead & 0xFF] ^ kCrc.aausTable[uiCount - 2][uiHead >> 8];
    for (uint32_t i = 2; i < uiCount; ++i)
        uiCrc ^= kCrc.aausTable[uiCount - 1 - i][(uiBytes >> (8 * i)) & 0xFF];
    return static_cast<uint16_t>(uiCrc);
}

// Eight bytes at once, the first byte in the low bits.
inline uint16_t CrcBlock(uint16_t usCrc, uint64_t uiBytes)
{
    auto Byte = [uiBytes](int i) { return static_cast<uint32_t>(uiBytes >> (8 * i)) & 0xFF; };
    uint32_t uiHead = (usCrc ^ static_cast<uint32_t>(uiBytes)) & 0xFFFF;
    return static_cast<uint16_t>(kCrc.aausTable[7][uiHead & 0xFF] ^ kCrc.aausTable[6][uiHead >> 8] ^
                                 kCrc.aausTable[5][Byte(2)] ^ kCrc.aausTable[4][Byte(3)] ^
                                 kCrc.aausTable[3][Byte(4)] ^ kCrc.aausTable[2][Byte(5)] ^
                                 kCrc.aausTable[1][Byte(6)] ^ kCrc.aausTable[0][Byte(7)]);
}

inline uint32_t Fold(char cChar)
{
    uint32_t uiByte = static_cast<unsigned char>(cChar);
    if (uiByte < 0x80)
        return (uiByte - 'A' < 26u) ? uiByte | 0x20 : uiByte;
    return static_cast<uint32_t>(std::tolower(uiByte)) & 0xFF;
}

inline uint32_t Fold(VXWChar usUnit)
{
    uint32_t uiUnit = usUnit;
    if (uiUnit < 0x80)
        return (uiUnit - 'A' < 26u) ? uiUnit | 0x20 : uiUnit;
    return static_cast<uint32_t>(std::towlower(static_cast<wint_t>(usUnit))) & 0xFFFF;
}

// Eight narrow characters folded at once: ASCII upper-case bytes gain bit 5.
inline uint64_t FoldBlock(uint64_t uiBytes)
{
    constexpr uint64_t HIGH = 0x8080808080808080ull;
    if (uiBytes & HIGH)
    {
        uint64_t uiFolded = 0;
        for (int i = 0; i < 8; ++i)
            uiFolded |= static_cast<uint64_t>(Fold(static_cast<char>(uiBytes >> (8 * i))))
                        << (8 * i);
        return uiFolded;
    }
    uint64_t uiAboveZ = uiBytes + 0x2525252525252525ull; // high bit set where byte > 'Z'
    uint64_t uiFromA = uiBytes + 0x3F3F3F3F3F3F3F3Full;  // high bit set where byte >= 'A'
    uint64_t uiUpper = (uiAboveZ ^ uiFromA) & HIGH;
    return uiBytes | (uiUpper >> 2);
}

template <class CharT> int CompareFolded(CharT const* pA, CharT const* pB)
{
    for (;; ++pA, ++pB)
    {
        uint32_t uiA = Fold(*pA);
        uint32_t uiB = Fold(*pB);
        if (uiA != uiB)
            return uiA < uiB ? -1 : 1;
        if (uiA == 0)
            return 0;
    }
}
} // namespace

uint16_t VXStringPool::Hash(char const* pText, bool bCaseSensitive, uint32_t& ruiLength)
{
    size_t uiLeft = std::strlen(pText);
    ruiLength = static_cast<uint32_t>(uiLeft);
    uint16_t usCrc = 0;
    for (; kLittleEndian && uiLeft >= 8; uiLeft -= 8, pText += 8)
    {
        uint64_t uiBytes = 0;
        std::memcpy(&uiBytes, pText, 8);
        usCrc = CrcBlock(usCrc, bCaseSensitive ? uiBytes : FoldBlock(uiBytes));
    }
    if (kLittleEndian && uiLeft >= 2)
    {
        uint64_t uiBytes = 0;
        std::memcpy(&uiBytes, pText, uiLeft);
        uiBytes = bCaseSensitive ? uiBytes : FoldBlock(uiBytes);
        return CrcTail(usCrc, uiBytes, static_cast<uint32_t>(uiLeft));
    }
    for (; uiLeft; --uiLeft, ++pText)
        usCrc = CrcByte(usCrc, bCaseSensitive ? static_cast<unsigned char>(*pText) : Fold(*pText));
    return usCrc;
}

uint16_t VXStringPool::Hash(VXWChar const* pText, bool bCaseSensitive, uint32_t& ruiLength)
{
    size_t uiLeft = std::char_traits<VXWChar>::length(pText);
    ruiLength = static_cast<uint32_t>(uiLeft);
    uint16_t usCrc = 0;
    for (; uiLeft >= 4; uiLeft -= 4, pText += 4)
    {
        uint64_t uiUnits = 0;
        for (int i = 0; i < 4; ++i)
            uiUnits |= static_cast<uint64_t>(bCaseSensitive ? pText[i] : Fold(pText[i]))
                       << (16 * i);
        usCrc = CrcBlock(usCrc, uiUnits);
    }
    if (uiLeft == 0)
        return usCrc;
    uint64_t uiUnits = 0;
    for (size_t i = 0; i < uiLeft; ++i)
        uiUnits |= static_cast<uint64_t>(bCaseSensitive ? pText[i] : Fold(pText[i])) << (16 * i);
    return CrcTail(usCrc, uiUnits, static_cast<uint32_t>(2 * uiLeft));
}

int VXStringPool::CompareNoCase(char const* pA, char const* pB)
{
    return CompareFolded(pA, pB);
}

int VXStringPool::CompareNoCase(VXWChar const* pA, VXWChar const* pB)
{
    return CompareFolded(pA, pB);
}

bool vxpool::EqualNoCase(char const* pA, char const* pB, uint32_t uiLength)
{
    for (; uiLength >= 8; uiLength -= 8, pA += 8, pB += 8)
    {
        uint64_t uiA = 0;
        uint64_t uiB = 0;
        std::memcpy(&uiA, pA, 8);
        std::memcpy(&uiB, pB, 8);
        if (uiA != uiB && FoldBlock(uiA) != FoldBlock(uiB))
            return false;
    }
    for (; uiLength; --uiLength, ++pA, ++pB)
        if (*pA != *pB && Fold(*pA) != Fold(*pB))
            return false;
    return true;
}

bool vxpool::EqualNoCase(VXWChar const* pA, VXWChar const* pB, uint32_t uiLength)
{
    for (uint32_t i = 0; i < uiLength; ++i)
        if (pA[i] != pB[i] && Fold(pA[i]) != Fold(pB[i]))
            return false;
    return true;
}
