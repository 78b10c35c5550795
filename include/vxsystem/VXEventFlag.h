// An event between threads of one process: set, reset, wait. An auto-reset flag lets one
// waiter through per Set and clears itself; a manual-reset flag stays set until Reset.
// The struct holds only the platform handle; a handle that could not be made makes every
// wait fail. Thread-safe; not copyable. Bare handles are for classes that keep arrays.
#pragma once

#include "vxsystem/VXTypes.h"

struct VXEventFlag
{
    VXEventFlag(bool manualReset = false, bool initialState = false, char const* name = nullptr)
        : hEvent(CreateHandle(manualReset, initialState, name))
    {
    }
    ~VXEventFlag() { CloseHandle(hEvent); }
    VXEventFlag(VXEventFlag const&) = delete;
    VXEventFlag& operator=(VXEventFlag const&) = delete;

    bool Set() { return SetHandle(hEvent); }
    bool Reset() { return ResetHandle(hEvent); }
    // True when the flag was (or became) set within timeoutMs milliseconds (-1: for ever).
    bool Wait(int timeoutMs = -1) { return WaitHandle(hEvent, timeoutMs); }
    bool QValid() const { return hEvent != nullptr; }

    static void* CreateHandle(bool manualReset, bool initialState, char const* name = nullptr);
    static void CloseHandle(void* handle);
    static bool SetHandle(void* handle);
    static bool ResetHandle(void* handle);
    static bool WaitHandle(void* handle, int timeoutMs);
    // Waits for one (waitAll false) or all of count handles. Gives the index of the flag
    // that let the caller through, 0 when all did, -1 on time-out or a null handle.
    // With waitAll, the flags are tested one after the other, not in one atomic step.
    static int WaitMultiple(void* const* handles, unsigned int count, bool waitAll, int timeoutMs);
    static int WaitMultiple(VXEventFlag* const* flags, unsigned int count, bool waitAll,
                            int timeoutMs);

    void* hEvent;
};
