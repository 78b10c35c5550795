#include "vxsystem/VXCRC32.h"

#include <array>

namespace
{
constexpr std::array<uint32_t, 256> MakeTable()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i)
    {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

template <class T> void FoldValue(unsigned int& crc, T value)
{
    for (unsigned int i = 0; i < sizeof(T); ++i)
    {
        crc = kTable[(crc ^ static_cast<uint32_t>(value)) & 0xFF] ^ (crc >> 8);
        value >>= 8;
    }
}
} // namespace

void VXCRC32::GenerateCRC(unsigned int& crc, unsigned int value, unsigned int)
{
    FoldValue(crc, value);
}

void VXCRC32::GenerateCRC(unsigned int& crc, uint64_t value, unsigned int)
{
    FoldValue(crc, value);
}

void VXCRC32::GenerateCRC(unsigned int& crc, void const* data, size_t size)
{
    auto const* bytes = static_cast<unsigned char const*>(data);
    for (size_t i = 0; bytes && i < size; ++i)
        crc = kTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
}
