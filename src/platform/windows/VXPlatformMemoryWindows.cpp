#include "platform/VXPlatformMemory.h"

#include <windows.h>

void* PlatformReserveRange(size_t size)
{
    return VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_READWRITE);
}

bool PlatformCommitRange(void* address, size_t size)
{
    return VirtualAlloc(address, size, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

void PlatformDecommitRange(void* address, size_t size)
{
    VirtualFree(address, size, MEM_DECOMMIT);
}

void PlatformReleaseRange(void* address, size_t)
{
    VirtualFree(address, 0, MEM_RELEASE);
}
