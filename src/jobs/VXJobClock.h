// The cheap clock of the dispatch step: the processor's time-stamp counter where there is
// one, else the platform's monotonic ticks. Its readings only ever become microseconds
// through JobClockToMicroseconds, at the rate JobClockRate measures against the platform
// clock.
// Thread-safe.
#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__) || defined(_M_IX86)
#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <x86intrin.h>
#endif
#define VX_JOB_CLOCK_TSC 1
#endif

namespace VXJobs
{
#if defined(VX_JOB_CLOCK_TSC)
inline uint64_t ReadJobClock()
{
    return __rdtsc();
}
#else
uint64_t ReadJobClock();
#endif

// Takes the clock's first readings (a short measurement, once per process).
void AnchorJobClock();
// Job clock counts per microsecond as known now; 0 when not known.
double JobClockRate();
// A span of job clock readings in microseconds, at a rate JobClockRate gave.
uint64_t JobClockToMicroseconds(uint64_t uiSpan, double dRate);
} // namespace VXJobs
