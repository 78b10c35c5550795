// Process-wide pseudo-random numbers, not for cryptography. Thread-safe and lock-free.
#pragma once

#include "vxsystem/VXTypes.h"

namespace VXRandom
{
// A number below limit, evenly spread; 0 when limit is 0.
unsigned int UnsignedInt(unsigned int limit);
// Restarts the sequence, for reproducible runs.
void Seed(uint64_t seed);
} // namespace VXRandom
