#include "vxsystem/VXRandom.h"

#include <atomic>

namespace
{
constexpr uint64_t kGolden = 0x9E3779B97F4A7C15ull;
// Relaxed: each caller needs only a distinct counter value, not ordering with others.
std::atomic<uint64_t> gState{0x853C49E6748FEA9Bull};

// SplitMix64: every counter value maps to a well-mixed output.
uint64_t Mix(uint64_t z)
{
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}
} // namespace

unsigned int VXRandom::UnsignedInt(unsigned int limit)
{
    uint64_t bits = Mix(gState.fetch_add(kGolden, std::memory_order_relaxed) + kGolden);
    // Scaling the high 32 bits avoids the low-bit bias of a modulo.
    return static_cast<unsigned int>(((bits >> 32) * limit) >> 32);
}

void VXRandom::Seed(uint64_t seed)
{
    gState.store(seed, std::memory_order_relaxed);
}
