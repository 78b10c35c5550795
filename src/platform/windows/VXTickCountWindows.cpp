// Windows half of the coarse millisecond clock.
#include "platform/VXPlatformTickCount.h"

#include <windows.h>

uint64_t PlatformTickCountMs()
{
    return GetTickCount64();
}
