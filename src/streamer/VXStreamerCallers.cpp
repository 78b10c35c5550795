#include "streamer/VXStreamerCallers.h"

#include "foundation/VXPlatformSync.h"

namespace VXSystemFileStreamer
{
namespace
{
// Gives the record back when its thread ends; a later thread takes it over, counts and all.
struct RecordHolder
{
    CallerRecord* pRecord = nullptr;
    bool bEnded = false; // a call from a later thread-exit destructor takes the shared record
    ~RecordHolder()
    {
        if (pRecord && !pRecord->bShared)
            pRecord->bOwned.store(false, std::memory_order_release);
        pRecord = nullptr;
        bEnded = true;
    }
};

thread_local RecordHolder tHolder;

uint64_t Sum(CallerRecord const* records, unsigned int count, CallerRecord const& shared,
             std::atomic<uint64_t> CallerRecord::*counter)
{
    uint64_t total = (shared.*counter).load(std::memory_order_relaxed);
    for (unsigned int i = 0; i < count; ++i)
        total += (records[i].*counter).load(std::memory_order_relaxed);
    return total;
}
} // namespace

CallerRecords::CallerRecords() : bProcessBarrier(PlatformProcessBarrierReady())
{
    kShared.bShared = true;
}

CallerRecord& CallerRecords::Mine()
{
    if (tHolder.pRecord)
        return *tHolder.pRecord;
    if (tHolder.bEnded)
        return kShared;
    tHolder.pRecord = &kShared;
    for (CallerRecord& record : aRecords)
    {
        bool expected = false;
        // Acquire: the counts the last owner left are this thread's to go on from.
        if (!record.bOwned.load(std::memory_order_relaxed) &&
            record.bOwned.compare_exchange_strong(expected, true, std::memory_order_acquire))
        {
            tHolder.pRecord = &record;
            break;
        }
    }
    return *tHolder.pRecord;
}

bool CallerRecords::Enter(CallerRecord& record, std::atomic<bool> const& enabled)
{
    unsigned int inside = record.uiInside.load(std::memory_order_relaxed) + 1;
    if (record.bShared)
        record.uiInside.fetch_add(1);
    else if (!bProcessBarrier)
        record.uiInside.store(inside);
    else
    {
        record.uiInside.store(inside, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    if (enabled.load(bProcessBarrier ? std::memory_order_acquire : std::memory_order_seq_cst))
        return true;
    Leave(record);
    return false;
}

void CallerRecords::Leave(CallerRecord& record)
{
    if (record.bShared)
        record.uiInside.fetch_sub(1, std::memory_order_release);
    else
        record.uiInside.store(record.uiInside.load(std::memory_order_relaxed) - 1,
                              std::memory_order_release);
}

bool CallerRecords::AnyInside() const
{
    if (bProcessBarrier)
        PlatformProcessBarrier();
    if (kShared.uiInside.load() != 0)
        return true;
    for (CallerRecord const& record : aRecords)
        if (record.uiInside.load() != 0)
            return true;
    return false;
}

uint64_t CallerRecords::QFastHits() const
{
    return Sum(aRecords, uiRecords, kShared, &CallerRecord::uiFastHits);
}

uint64_t CallerRecords::QFastMisses() const
{
    return Sum(aRecords, uiRecords, kShared, &CallerRecord::uiFastMisses);
}

void CallerRecords::ResetCounts()
{
    kShared.uiFastHits.store(0, std::memory_order_relaxed);
    kShared.uiFastMisses.store(0, std::memory_order_relaxed);
    for (CallerRecord& record : aRecords)
    {
        record.uiFastHits.store(0, std::memory_order_relaxed);
        record.uiFastMisses.store(0, std::memory_order_relaxed);
    }
}
} // namespace VXSystemFileStreamer
