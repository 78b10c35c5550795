// 32-bit CRC (the reflected 0xEDB88320 polynomial) folded over the little-endian bytes of
// a value, for hash keys in memory. crc is the running value, with no inversion before or
// after, so a caller can chain values. Thread-safe.
#pragma once

#include "vxsystem/VXTypes.h"

namespace VXCRC32
{
// The last argument is reserved and always 0.
void GenerateCRC(unsigned int& crc, unsigned int value, unsigned int);
void GenerateCRC(unsigned int& crc, uint64_t value, unsigned int);
void GenerateCRC(unsigned int& crc, void const* data, size_t size);
} // namespace VXCRC32
