// The memory seam under MemoryManager: the system's heap, with alignment. Every block
// from PlatformAllocate goes back through PlatformFree, whatever its alignment.
#pragma once

#include <cstddef>

// size > 0; alignment 0 or a power of two. Null when the heap refuses.
void* PlatformAllocate(size_t size, size_t alignment);
void PlatformFree(void* p);
