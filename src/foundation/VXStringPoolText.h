// Case-folded equality of two texts of known equal length, as the pool's lookups need it;
// folds exactly as VXStringPool::Hash and CompareNoCase do, eight narrow bytes at a time.
#pragma once

#include "vxsystem/VXTypes.h"

#include <cstdint>

namespace vxpool
{
bool EqualNoCase(char const* pA, char const* pB, uint32_t uiLength);
bool EqualNoCase(VXWChar const* pA, VXWChar const* pB, uint32_t uiLength);
} // namespace vxpool
