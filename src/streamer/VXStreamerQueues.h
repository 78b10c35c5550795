// The lock-free carriers of the streaming read service: a bounded queue of request
// pointers for any number of producers and consumers, and rings for exactly one producer
// and one consumer. Null items are not allowed (a slot's content is its signal). A full
// queue or ring is waited out; sizes make that impossible for the service's own use.
#pragma once

#include "streamer/VXStreamerTypes.h"
#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXSpinLock.h"

#include <atomic>

namespace VXSystemFileStreamer
{
class RequestQueue
{
public:
    static constexpr uint32_t uiSlots = 0x4000;

    RequestQueue();
    void Push(ReadRequest* item);
    ReadRequest* Pop();
    // True when no push has claimed a slot that no pop has claimed yet.
    bool QEmpty() const { return uiReadClaim.load() == uiWriteClaim.load(); }

private:
    friend struct RequestQueueProbe; // tests stall a producer between claim and store
    static constexpr uint32_t MASK = uiSlots - 1;

    // Fills the claimed slot and carries the published mark past every filled slot.
    void Publish(uint32_t claim, ReadRequest* item);

    std::atomic<ReadRequest*> aSlots[uiSlots];
    // Running counters used modulo uiSlots. Sequentially consistent: each side stores a
    // slot and then reads an index another thread is advancing past it.
    alignas(128) std::atomic<uint32_t> uiReadClaim;
    alignas(128) std::atomic<uint32_t> uiReadDone;
    alignas(128) std::atomic<uint32_t> uiWriteDone;
    alignas(128) std::atomic<uint32_t> uiWriteClaim;
    char acPad[128 - sizeof(std::atomic<uint32_t>)];
};

template <class T, uint32_t N> class VXTStreamRing
{
public:
    VXTStreamRing() : aSlots{}, uiReadIndex(0), uiWriteIndex(0) {}

    void Push(T* item)
    {
        uint32_t write = uiWriteIndex.load(std::memory_order_relaxed);
        uint32_t next = (write + 1) % N;
        VXSafeSleep sleep;
        while (next == uiReadIndex.load(std::memory_order_acquire))
            sleep.Sleep();
        aSlots[write] = item;
        uiWriteIndex.store(next, std::memory_order_release); // publishes the slot
    }

    // Only the consumer may rely on the answer: the producer can add at any moment.
    bool QEmpty() const
    {
        return uiReadIndex.load(std::memory_order_relaxed) ==
               uiWriteIndex.load(std::memory_order_acquire);
    }

    T* Pop()
    {
        uint32_t read = uiReadIndex.load(std::memory_order_relaxed);
        if (read == uiWriteIndex.load(std::memory_order_acquire))
            return nullptr;
        T* item = aSlots[read];
        uiReadIndex.store((read + 1) % N, std::memory_order_release); // slot is free again
        return item;
    }

private:
    T* aSlots[N];
    alignas(128) std::atomic<uint32_t> uiReadIndex;
    alignas(128) std::atomic<uint32_t> uiWriteIndex;
    char acPad[128 - sizeof(std::atomic<uint32_t>)];
};

using CommandRing = VXTStreamRing<ReadCommand, 8>;
using CompletionRing = VXTStreamRing<CacheBlock, 0x2000>;

// All requests of the service, with the queues between callers and the control thread.
struct RequestPool
{
    RequestPool();

    ReadRequest aRequests[uiRequestCount];
    RequestQueue Incoming;
    RequestQueue FreeRequests;
};

struct CommandQueues
{
    CommandQueues();

    ReadCommand aCommands[uiCommandCount];
    CommandRing PendingCommands; // control thread to physical read thread
    CommandRing SpareCommands;   // back
};

// Builds T on the MemoryManager heap at a 128-byte boundary; null when the heap is full.
template <class T> T* NewAligned()
{
    void* memory = MemoryManager::Instance().Allocate(sizeof(T), 128, true);
    return memory ? ::new (memory) T() : nullptr;
}
template <class T> void DeleteAligned(T*& object)
{
    if (!object)
        return;
    object->~T();
    MemoryManager::Instance().Deallocate(object, true);
    object = nullptr;
}
} // namespace VXSystemFileStreamer
