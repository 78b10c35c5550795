// POSIX half of the processor seam: the affinity mask where the system has one, else the
// online processor count. Cores and packages are not told apart here: each logical
// processor counts as a core, and all of them as one package.
#include "platform/VXPlatformProcessors.h"

#if defined(__linux__)
#include <sched.h>
#endif
#include <unistd.h>

namespace
{
unsigned int AffinityCount()
{
#if defined(__linux__)
    cpu_set_t kSet;
    CPU_ZERO(&kSet);
    if (sched_getaffinity(0, sizeof(kSet), &kSet) == 0)
        return static_cast<unsigned int>(CPU_COUNT(&kSet));
#endif
    long iOnline = sysconf(_SC_NPROCESSORS_ONLN);
    return iOnline > 0 ? static_cast<unsigned int>(iOnline) : 0;
}
} // namespace

unsigned int PlatformLogicalProcessors(unsigned int& uiCores, unsigned int& uiPackages)
{
    unsigned int uiLogical = AffinityCount();
    uiCores = uiLogical;
    uiPackages = uiLogical ? 1 : 0;
    return uiLogical;
}
