// The processor seam: how many logical processors, cores and packages this process may
// run on. Each platform half supplies the one call.
#pragma once

#include <cstddef>

// Gives the logical processors (0 when unknown) and fills the core and package counts
// (0 when unknown).
unsigned int PlatformLogicalProcessors(unsigned int& uiCores, unsigned int& uiPackages);

// The generic half's heap, for platform halves that cannot include the library headers
// beside the system's own.
void* VXProcessorsAllocate(size_t uiBytes);
void VXProcessorsFree(void* pBlock);
