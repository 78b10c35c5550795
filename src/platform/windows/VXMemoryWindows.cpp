// Windows half of the memory seam. The C runtime frees aligned blocks with a call of
// their own, so every block is an aligned one and one free serves them all.
#include "foundation/VXPlatformMemory.h"

#include <malloc.h>

#include <cstddef>

void* PlatformAllocate(size_t size, size_t alignment)
{
    if (alignment < alignof(std::max_align_t))
        alignment = alignof(std::max_align_t);
    return _aligned_malloc(size, alignment);
}

void PlatformFree(void* p)
{
    _aligned_free(p);
}
