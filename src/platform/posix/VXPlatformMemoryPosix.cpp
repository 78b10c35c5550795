#include "platform/VXPlatformMemory.h"

#include <sys/mman.h>

void* PlatformReserveRange(size_t size)
{
    void* range =
        mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return range == MAP_FAILED ? nullptr : range;
}

bool PlatformCommitRange(void* address, size_t size)
{
    if (mprotect(address, size, PROT_READ | PROT_WRITE) != 0)
        return false;
#ifdef MADV_POPULATE_WRITE
    // One call maps every page now, instead of a fault per page in whoever writes first.
    madvise(address, size, MADV_POPULATE_WRITE);
#endif
    return true;
}

void PlatformDecommitRange(void* address, size_t size)
{
    madvise(address, size, MADV_DONTNEED);
    mprotect(address, size, PROT_NONE);
}

void PlatformReleaseRange(void* address, size_t size)
{
    munmap(address, size);
}
