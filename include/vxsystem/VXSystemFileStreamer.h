// VXSystemFileStreamer: offset-addressed reads of already opened VXSystemFile objects via a
// common 64 KiB block cache; one service thread orders the work and another does the disk
// reads. A path becomes an ID once (GetIDForPath); reads then name the ID and the open file.
//
// Contract:
// - Every function may be called from any thread. The first call of any of them makes
//   the service's singleton; the service stays disabled until Enable(true).
// - The caller owns the file, the target buffer, the signal and expected counts and the
//   byte counter of an asynchronous read, and keeps them alive until the signal count
//   reaches the expected count. A file must stay open while requests made with it run.
// - Failure is a result: EC_FAILED while disabled; a physical read error only shortens
//   the read (the file's QLastError then tells the platform error).
// - Never mix cached and uncached reads on one signal count while either is pending.
#pragma once

#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXFixedString.h"
#include "vxsystem/VXSystemFile.h"
#include "vxsystem/VXTArray.h"

#include <cstdint>

namespace VXSystemFileStreamer
{
// 32-bit file identity: an index into the service's file table, or all bits set.
struct ID
{
    ID() : uiValue(uiInvalid) {}
    ID(ID const& other) : uiValue(other.uiValue) {}
    ~ID() {}
    ID operator=(ID const& other)
    {
        uiValue = other.uiValue;
        return *this;
    }
    operator unsigned int() const { return uiValue; }
    bool QValid() const { return uiValue != uiInvalid; }

    unsigned int uiValue;

private:
    static constexpr unsigned int uiInvalid = 0xFFFFFFFF;
};

// Progress of asynchronous reads: each finished request bumps uiSignalCount, then sets
// pEventFlag. Everything issued so far has finished once the two counts meet.
struct AsyncParams
{
    AsyncParams();
    AsyncParams(unsigned int priority, bool cached, VXEventFlag* flag);
    AsyncParams(AsyncParams const& other);
    AsyncParams& operator=(AsyncParams const& other);
    // Blocks until outstanding requests that point at this record are done.
    ~AsyncParams();

    // Clears the flag's event, then starts counting afresh with the new priority.
    AsyncParams& Reset(unsigned int priority, bool cached);
    void Wait() const volatile;
    bool QCompleted() const volatile;
    uint64_t QBytesRead() const;

    VXEventFlag* pEventFlag;
    uint64_t uiBytesRead;
    unsigned int volatile uiSignalCount;
    unsigned int uiPriority;
    unsigned int uiExpectedSignals;
    bool bCached;
};

void Enable(bool enable);
bool QEnabled();
void EnableBulkLoading(bool enable);
void SetThreadAffinityEnabled(bool enable);
// Wakes the control thread, e.g. after a run of RequestAt calls.
void Signal();
// Forgets every cached block once queued work is done; with wait, until then.
void UncacheAll(bool wait);

void GetIDForPath(ID& id, VXFixedString const& path);
void GetIDForPath(ID& id, char const* path);

// Prefetch of the whole blocks under [offset, offset + size); false when disabled or the
// range is empty.
bool RequestAt(VXSystemFile const* file, ID const& id, uint64_t size, uint64_t offset,
               unsigned int priority, VXEventFlag* flag);
// Synchronous read; a null flag means the calling thread's flag.
VXSystemFile::ErrorCode ReadAt(VXSystemFile const* file, ID const& id, void* buffer, uint64_t size,
                               uint64_t offset, uint64_t& bytesRead, unsigned int priority,
                               bool cached, VXEventFlag* flag);
VXSystemFile::ErrorCode ReadAtAsync(VXSystemFile const* file, ID const& id, void* buffer,
                                    uint64_t size, uint64_t offset, AsyncParams& params);
// The same with the caller's own words; bytesRead may be null.
VXSystemFile::ErrorCode ReadAtAsync(VXSystemFile const* file, ID const& id, void* buffer,
                                    uint64_t size, uint64_t offset, unsigned int priority,
                                    unsigned int volatile* signalCount, unsigned int& expected,
                                    VXEventFlag* flag, bool cached, uint64_t* bytesRead);
void WaitOnSignalCount(unsigned int volatile* count, unsigned int target, bool cached,
                       VXEventFlag* flag);
// Waits until the control thread is idle, at most limitMs (all bits set: no limit).
void WaitInactive(unsigned int limitMs);

// Hits served by the control thread, physical block reads, fast hits, fast misses.
void QueryHitMissStats(uint64_t& servedHits, uint64_t& physicalReads, uint64_t& fastHits,
                       uint64_t& fastMisses);
// Milliseconds since each block was last used; emptied while disabled.
void QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages);
void UpdateFileVersion(ID const& id);

// The calling thread's own flag; SetThreadEventFlag gives the previous one.
VXEventFlag* SetThreadEventFlag(VXEventFlag* flag);
VXEventFlag* GetThreadEventFlag();
} // namespace VXSystemFileStreamer
