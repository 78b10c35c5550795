// POSIX half of the coarse millisecond clock.
#include "platform/VXPlatformTickCount.h"

#include <time.h>

uint64_t PlatformTickCountMs()
{
#ifdef CLOCK_MONOTONIC_COARSE
    constexpr clockid_t kClock = CLOCK_MONOTONIC_COARSE; // no system call, tick resolution
#else
    constexpr clockid_t kClock = CLOCK_MONOTONIC;
#endif
    timespec now{};
    clock_gettime(kClock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}
