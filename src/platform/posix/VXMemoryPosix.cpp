// POSIX half of the memory seam: malloc, and aligned_alloc beyond malloc's alignment.
#include "foundation/VXPlatformMemory.h"

#include <cstdlib>

void* PlatformAllocate(size_t size, size_t alignment)
{
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(size);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void PlatformFree(void* p)
{
    std::free(p);
}
