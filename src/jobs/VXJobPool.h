// Settings of the job thread pool that the threads read while they run.
#pragma once

#include "vxsystem/VXJobs.h"

namespace VXJobs
{
bool QYieldBetweenJobs();
void (*QThreadStartHook())(JobThread*);
} // namespace VXJobs
