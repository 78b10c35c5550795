// Windows half of the per-thread slots: fiber-local storage, whose callback runs on the
// ending thread.
#include "platform/VXPlatformThreadSlot.h"

#include "platform/windows/VXWindowsApi.h"

unsigned int PlatformThreadSlotCreate(VXThreadSlotCleanup cleanup)
{
    if (!cleanup)
        return VX_NO_THREAD_SLOT;
    DWORD index = FlsAlloc(cleanup);
    return index == FLS_OUT_OF_INDEXES ? VX_NO_THREAD_SLOT : static_cast<unsigned int>(index);
}

void* PlatformThreadSlotGet(unsigned int slot)
{
    return slot == VX_NO_THREAD_SLOT ? nullptr : FlsGetValue(slot);
}

bool PlatformThreadSlotSet(unsigned int slot, void* value)
{
    return slot != VX_NO_THREAD_SLOT && FlsSetValue(slot, value);
}
