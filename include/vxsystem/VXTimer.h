// Monotonic high-precision clocks. Ticks are 100 ns on every platform: uiFrequency is
// ticks per millisecond, so (now - start) * 1000 / uiFrequency counts microseconds, and
// fFrequencyMS is the same rate as a float. Thread-safe; a VXTimer is a plain value.
#pragma once

#include "vxsystem/VXTypes.h"

class VXTimer
{
public:
    VXTimer() : iStartTime(0) {}
    // Stores the start time; the argument is unused (callers pass 0).
    void Init(unsigned int);
    int64_t GetHighPrecisionTime() const;
    int64_t QStartTime() const { return iStartTime; }
    // Microseconds since Init.
    uint64_t QElapsedMicroseconds() const;

    static uint64_t uiFrequency;

private:
    int64_t iStartTime;
};

class VXPrecisionTimer
{
public:
    static int64_t GetTimer();
    static float fFrequencyMS;
};
