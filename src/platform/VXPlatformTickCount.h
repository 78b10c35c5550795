// A coarse millisecond clock, cheap enough to read around every page-cache search.
// Monotonic; its resolution is the platform's timer tick (a few milliseconds at worst).
#pragma once

#include <cstdint>

uint64_t PlatformTickCountMs();
