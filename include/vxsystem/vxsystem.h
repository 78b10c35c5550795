// Umbrella header: every public header of VXSystem.
#pragma once

#include "vxsystem/VXTypes.h"
#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXStringT.h"
#include "vxsystem/KoFile.h"
#include "vxsystem/VXFile.h"
#include "vxsystem/VXTArray.h"
#include "vxsystem/FileFinder.h"
