#include "vxsystem/VXEventFlag.h"

#include "foundation/VXWaitObject.h"

static_assert(sizeof(VXEventFlag) == sizeof(void*), "one platform handle");

namespace
{
// Enough for any wait the system makes; beyond it WaitMultiple fails.
constexpr unsigned int kMaxWaitObjects = 64;

VXWaitObject* Object(void* handle)
{
    return static_cast<VXWaitObject*>(handle);
}
} // namespace

void* VXEventFlag::CreateHandle(bool manualReset, bool initialState, char const*)
{
    return VXWaitObject::CreateEvent(manualReset, initialState);
}

void VXEventFlag::CloseHandle(void* handle)
{
    delete Object(handle);
}

bool VXEventFlag::SetHandle(void* handle)
{
    if (!handle)
        return false;
    Object(handle)->Set();
    return true;
}

bool VXEventFlag::ResetHandle(void* handle)
{
    if (!handle)
        return false;
    Object(handle)->Reset();
    return true;
}

bool VXEventFlag::WaitHandle(void* handle, int timeoutMs)
{
    return handle && Object(handle)->Wait(timeoutMs);
}

int VXEventFlag::WaitMultiple(void* const* handles, unsigned int count, bool waitAll, int timeoutMs)
{
    if (!handles || count == 0 || count > kMaxWaitObjects)
        return -1;
    VXWaitObject* objects[kMaxWaitObjects];
    for (unsigned int i = 0; i < count; ++i)
        objects[i] = Object(handles[i]);
    return VXWaitObject::WaitMultiple(objects, count, waitAll, timeoutMs);
}

int VXEventFlag::WaitMultiple(VXEventFlag* const* flags, unsigned int count, bool waitAll,
                              int timeoutMs)
{
    if (!flags || count == 0 || count > kMaxWaitObjects)
        return -1;
    void* handles[kMaxWaitObjects];
    for (unsigned int i = 0; i < count; ++i)
        handles[i] = flags[i] ? flags[i]->hEvent : nullptr;
    return WaitMultiple(handles, count, waitAll, timeoutMs);
}
