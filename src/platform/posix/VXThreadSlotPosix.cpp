// POSIX half of the per-thread slots: a thread_local table whose destructor hands each
// value to its slot's clean-up as the thread ends.
#include "platform/VXPlatformThreadSlot.h"

#include <atomic>

namespace
{
constexpr unsigned int kSlots = 8; // kinds of per-thread object in the library

std::atomic<unsigned int> gSlotsMade{0};
// Written once per slot before its number is handed out; a thread reaches a slot only
// through that number, so it always sees the clean-up.
VXThreadSlotCleanup gCleanups[kSlots];

struct Values
{
    void* apValue[kSlots] = {};
    ~Values()
    {
        for (unsigned int slot = 0; slot < kSlots; ++slot)
            if (apValue[slot])
                gCleanups[slot](apValue[slot]);
    }
};
thread_local Values tValues;
} // namespace

unsigned int PlatformThreadSlotCreate(VXThreadSlotCleanup cleanup)
{
    unsigned int slot = gSlotsMade.fetch_add(1, std::memory_order_relaxed);
    if (slot >= kSlots || !cleanup)
        return VX_NO_THREAD_SLOT;
    gCleanups[slot] = cleanup;
    return slot;
}

void* PlatformThreadSlotGet(unsigned int slot)
{
    return slot < kSlots ? tValues.apValue[slot] : nullptr;
}

bool PlatformThreadSlotSet(unsigned int slot, void* value)
{
    if (slot >= kSlots || slot >= gSlotsMade.load(std::memory_order_relaxed))
        return false;
    tValues.apValue[slot] = value;
    return true;
}
