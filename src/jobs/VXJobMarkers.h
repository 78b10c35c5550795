// The three marker entries of a job list, told apart from jobs by their parameter alone,
// and the no-op function that lets them pass the claim path like jobs.
#pragma once

namespace VXJobs
{
namespace Markers
{
inline char gSignal;
inline char gSync;
inline char gEnd;
} // namespace Markers

inline void* SignalMarker()
{
    return &Markers::gSignal;
}
inline void* SyncMarker()
{
    return &Markers::gSync;
}
inline void* EndMarker()
{
    return &Markers::gEnd;
}
inline void NoOpJob(void*) {}
} // namespace VXJobs
