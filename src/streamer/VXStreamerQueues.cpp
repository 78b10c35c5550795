#include "streamer/VXStreamerQueues.h"

#include <cstring>

namespace VXSystemFileStreamer
{
RequestQueue::RequestQueue() : uiReadClaim(0), uiReadDone(0), uiWriteDone(0), uiWriteClaim(0)
{
    for (auto& slot : aSlots)
        slot.store(nullptr, std::memory_order_relaxed);
}

void RequestQueue::Push(ReadRequest* item)
{
    VXSafeSleep sleep;
    uint32_t claim = uiWriteClaim.load();
    for (;;)
    {
        if (((uiReadDone.load() ^ (claim + 1)) & MASK) == 0)
        {
            sleep.Sleep();
            claim = uiWriteClaim.load();
            continue;
        }
        if (uiWriteClaim.compare_exchange_weak(claim, claim + 1))
            break;
    }
    Publish(claim, item);
}

void RequestQueue::Publish(uint32_t claim, ReadRequest* item)
{
    aSlots[claim & MASK].store(item);
    // A failed swap means another producer has taken over the walk.
    uint32_t done = uiWriteDone.load();
    while (done != uiWriteClaim.load() && aSlots[done & MASK].load() != nullptr)
    {
        if (!uiWriteDone.compare_exchange_strong(done, done + 1))
            break;
        ++done;
    }
}

ReadRequest* RequestQueue::Pop()
{
    uint32_t claim = uiReadClaim.load();
    for (;;)
    {
        if (claim == uiWriteDone.load())
            return nullptr;
        if (uiReadClaim.compare_exchange_weak(claim, claim + 1))
            break;
    }
    ReadRequest* item = aSlots[claim & MASK].exchange(nullptr);
    uint32_t done = uiReadDone.load();
    while (done != uiReadClaim.load() && aSlots[done & MASK].load() == nullptr)
    {
        if (!uiReadDone.compare_exchange_strong(done, done + 1))
            break;
        ++done;
    }
    return item;
}

RequestPool::RequestPool()
{
    std::memset(static_cast<void*>(aRequests), 0, sizeof(aRequests));
    for (auto& request : aRequests)
        FreeRequests.Push(&request);
}

CommandQueues::CommandQueues()
{
    std::memset(static_cast<void*>(aCommands), 0, sizeof(aCommands));
    for (auto& command : aCommands)
        SpareCommands.Push(&command);
}
} // namespace VXSystemFileStreamer
