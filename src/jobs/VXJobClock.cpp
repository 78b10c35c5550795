#include "jobs/VXJobClock.h"

#include "foundation/VXPlatformSync.h"

#include <atomic>

namespace
{
// Rate measurements need a span of the platform clock well above its resolution: a
// first one of 100 us when the clock is first used, a better one from any longer span.
constexpr int64_t kFirstSpanTicks = VX_TICKS_PER_MS / 10;
constexpr int64_t kGoodSpanTicks = 10 * VX_TICKS_PER_MS;

// The first pair of readings, and the counter's rate over the first short span.
struct Anchor
{
    Anchor() : uiClock(VXJobs::ReadJobClock()), iTicks(PlatformTicks()), dPerTick(0.0)
    {
        int64_t iSpan = 0;
        while (iSpan < kFirstSpanTicks)
            iSpan = PlatformTicks() - iTicks;
        dPerTick =
            static_cast<double>(VXJobs::ReadJobClock() - uiClock) / static_cast<double>(iSpan);
    }
    uint64_t uiClock;
    int64_t iTicks;
    double dPerTick; // clock counts per 100 ns tick
};

Anchor const& QAnchor()
{
    static Anchor const kAnchor;
    return kAnchor;
}
} // namespace

void VXJobs::AnchorJobClock()
{
    QAnchor();
}

#if !defined(VX_JOB_CLOCK_TSC)
uint64_t VXJobs::ReadJobClock()
{
    return static_cast<uint64_t>(PlatformTicks());
}
#endif

double VXJobs::JobClockRate()
{
#if defined(VX_JOB_CLOCK_TSC)
    Anchor const& rAnchor = QAnchor();
    int64_t iTicks = PlatformTicks() - rAnchor.iTicks;
    // Doubles: spans reach hours of gigahertz counts.
    double dPerTick = rAnchor.dPerTick;
    if (iTicks >= kGoodSpanTicks)
        dPerTick =
            static_cast<double>(ReadJobClock() - rAnchor.uiClock) / static_cast<double>(iTicks);
    return dPerTick * 10.0;
#else
    return 10.0; // 100 ns ticks
#endif
}

uint64_t VXJobs::JobClockToMicroseconds(uint64_t uiSpan, double dRate)
{
    if (dRate <= 0.0)
        return 0;
    return static_cast<uint64_t>(static_cast<double>(uiSpan) / dRate);
}
