// Seam for the allocator behind new string pool entries, so that tests can make it fail.
// The default is malloc; a replacement must give blocks that free() accepts, or null.
#pragma once

#include <cstddef>

using VXStringPoolAllocFunc = void* (*)(size_t uiBytes);

// Installs pFunc (null restores malloc) and gives back the previous function.
VXStringPoolAllocFunc VXStringPoolSetAllocFunc(VXStringPoolAllocFunc pFunc);
