// One record per thread that calls into the service: how deep it is inside a call, and
// its fast-path hit and miss counts. A thread writes only its own record, so a cache hit
// writes no line that another thread writes too. Enable(false) and the statistics walk
// every record. Threads past the last record share one, whose updates are atomic adds.
#pragma once

#include <atomic>
#include <cstdint>

namespace VXSystemFileStreamer
{
struct alignas(64) CallerRecord
{
    std::atomic<unsigned int> uiInside{0};
    std::atomic<bool> bOwned{false}; // claimed by a live thread
    bool bShared = false;            // the overflow record
    std::atomic<uint64_t> uiFastHits{0};
    std::atomic<uint64_t> uiFastMisses{0};

    // Owner-only counters need no read-modify-write; the shared record does.
    void Add(std::atomic<uint64_t>& counter)
    {
        if (bShared)
            counter.fetch_add(1, std::memory_order_relaxed);
        else
            counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
};

class CallerRecords
{
public:
    static constexpr unsigned int uiRecords = 128;

    CallerRecords();

    // The calling thread's record, claimed on its first call and given back at its exit.
    CallerRecord& Mine();
    // Paired with AnyInside after `enabled` went false: either that sees this caller or
    // the caller sees `enabled` false and leaves again.
    bool Enter(CallerRecord& record, std::atomic<bool> const& enabled);
    void Leave(CallerRecord& record);
    // Call after storing `enabled` false.
    bool AnyInside() const;
    uint64_t QFastHits() const;
    uint64_t QFastMisses() const;
    // Only while no caller is inside.
    void ResetCounts();

private:
    CallerRecord aRecords[uiRecords];
    CallerRecord kShared;
    // With a process-wide fence, an owned record's entry is a plain store and the fence
    // runs on AnyInside's side instead.
    bool bProcessBarrier;
};
} // namespace VXSystemFileStreamer
