#include "vxsystem/VXTimer.h"

#include "foundation/VXPlatformSync.h"

uint64_t VXTimer::uiFrequency = VX_TICKS_PER_MS;
float VXPrecisionTimer::fFrequencyMS = static_cast<float>(VX_TICKS_PER_MS);

void VXTimer::Init(unsigned int)
{
    iStartTime = GetHighPrecisionTime();
}

int64_t VXTimer::GetHighPrecisionTime() const
{
    return PlatformTicks();
}

uint64_t VXTimer::QElapsedMicroseconds() const
{
    int64_t elapsed = GetHighPrecisionTime() - iStartTime;
    return elapsed <= 0 ? 0 : static_cast<uint64_t>(elapsed) * 1000 / uiFrequency;
}

int64_t VXPrecisionTimer::GetTimer()
{
    return PlatformTicks();
}
