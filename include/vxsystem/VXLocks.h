// Every lock and wait class of the library, for files that use several.
#pragma once

#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXSemaphore.h"
#include "vxsystem/VXSpinLock.h"
