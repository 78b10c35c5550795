// The public face of the streaming read service: the front half of every read runs on
// the caller's thread, copying what the cache holds and queueing the rest.
#include "vxsystem/VXSystemFileStreamer.h"

#include "streamer/VXStreamer.h"
#include "vxsystem/VXSpinLock.h"

#include <cstring>

namespace VXSystemFileStreamer
{
namespace
{
thread_local VXEventFlag* tThreadEventFlag = nullptr;

struct CallerScope
{
    explicit CallerScope(Streamer& streamer) : kStreamer(streamer), pRecord(streamer.EnterCaller())
    {
    }
    ~CallerScope()
    {
        if (pRecord)
            kStreamer.LeaveCaller(pRecord);
    }
    Streamer& kStreamer;
    CallerRecord* pRecord; // null: the service is disabled
};

// `copied` gets the bytes the cache gave on this thread; the caller adds them to its count.
bool ReadFront(Streamer& streamer, CallerRecord& caller, VXSystemFile const* file,
               unsigned int fileID, void* buffer, uint64_t size, uint64_t offset,
               unsigned int priority, unsigned int volatile* signalCount, unsigned int& expected,
               VXEventFlag* flag, bool cached, uint64_t* bytesRead, uint64_t& copied)
{
    if (!cached)
    {
        bool accepted = streamer.SubmitRequest(file, fileID, buffer, size, offset, priority,
                                               signalCount, bytesRead, false, flag);
        expected += accepted ? 1 : 0;
        return accepted;
    }
    if (!size)
        return true;
    uint64_t version = fileID != uiInvalidFile ? streamer.kFiles.QVersion(fileID) : ~0ull;
    bool forward = false; // a piece missed where the file's last read ended
    bool accepted = true;
    char* target = static_cast<char*>(buffer);
    uint64_t pieceSize = uiBlockSize - (offset & (uiBlockSize - 1));
    for (uint64_t done = 0; done < size && accepted; done += pieceSize, pieceSize = uiBlockSize)
    {
        uint64_t position = offset + done;
        uint64_t piece = size - done < pieceSize ? size - done : pieceSize;
        CacheBlock* block = streamer.kCache.FastLookup(fileID, position, version, caller);
        if (!block)
        {
            forward = forward || (fileID < uiMaxFiles && streamer.aReadEnds[fileID].load(
                                                             std::memory_order_relaxed) == offset);
            accepted =
                streamer.SubmitRequest(file, fileID, target ? target + done : nullptr, piece,
                                       position, priority, signalCount, bytesRead, true, flag);
            expected += accepted ? 1 : 0;
            continue;
        }
        uint64_t within = position & (uiBlockSize - 1);
        uint64_t valid = block->uiBytesValid.load(std::memory_order_relaxed);
        uint64_t available = valid > within ? valid - within : 0;
        uint64_t count = piece < available ? piece : available;
        if (target && count)
            std::memcpy(target + done, block->pData + within, count);
        block->DropReference();
        copied += count;
        if (!count || (valid < uiBlockSize && count == available))
            break; // the end of the file
    }
    if (fileID < uiMaxFiles)
        streamer.aReadEnds[fileID].store(offset + size, std::memory_order_relaxed);
    if (forward && accepted)
        streamer.SubmitReadAhead(file, fileID, (offset + size - 1) >> uiBlockShift, priority,
                                 signalCount, expected, flag);
    return accepted;
}

void WaitOnCount(unsigned int volatile const* count, unsigned int target, bool cached,
                 VXEventFlag* flag)
{
    if (LoadCount(count) >= target)
        return;
    Streamer& streamer = Streamer::Instance();
    if (flag)
    {
        streamer.WakeControl();
        // Short slices: a finishing request sets the flag just before it bumps the count.
        while (LoadCount(count) < target)
            flag->Wait(static_cast<int>(uiIdleWaitMS));
        return;
    }
    if (cached)
    {
        while (LoadCount(count) < target)
            streamer.WaitIdleSlice();
        return;
    }
    streamer.WakeControl();
    VXSafeSleep sleep;
    while (LoadCount(count) < target)
        sleep.Sleep();
}
} // namespace

AsyncParams::AsyncParams()
    : pEventFlag(nullptr), uiBytesRead(0), uiSignalCount(0), uiPriority(0), uiExpectedSignals(0),
      bCached(true)
{
}

AsyncParams::AsyncParams(unsigned int priority, bool cached, VXEventFlag* flag)
    : pEventFlag(flag), uiBytesRead(0), uiSignalCount(0), uiPriority(priority),
      uiExpectedSignals(0), bCached(cached)
{
}

AsyncParams::AsyncParams(AsyncParams const& other)
    : pEventFlag(other.pEventFlag), uiBytesRead(other.QBytesRead()),
      uiSignalCount(LoadCount(&other.uiSignalCount)), uiPriority(other.uiPriority),
      uiExpectedSignals(other.uiExpectedSignals), bCached(other.bCached)
{
}

AsyncParams& AsyncParams::operator=(AsyncParams const& other)
{
    pEventFlag = other.pEventFlag;
    uiBytesRead = other.QBytesRead();
    uiSignalCount = LoadCount(&other.uiSignalCount);
    uiPriority = other.uiPriority;
    uiExpectedSignals = other.uiExpectedSignals;
    bCached = other.bCached;
    return *this;
}

AsyncParams::~AsyncParams()
{
    Wait();
}

AsyncParams& AsyncParams::Reset(unsigned int priority, bool cached)
{
    if (pEventFlag)
        pEventFlag->Reset();
    uiPriority = priority;
    bCached = cached;
    uiBytesRead = 0;
    uiSignalCount = 0;
    uiExpectedSignals = 0;
    return *this;
}

void AsyncParams::Wait() const volatile
{
    WaitOnCount(&uiSignalCount, uiExpectedSignals, bCached, pEventFlag);
}

bool AsyncParams::QCompleted() const volatile
{
    return LoadCount(&uiSignalCount) == uiExpectedSignals;
}

uint64_t AsyncParams::QBytesRead() const
{
    return std::atomic_ref<uint64_t>(const_cast<uint64_t&>(uiBytesRead))
        .load(std::memory_order_relaxed);
}

void Enable(bool enable)
{
    Streamer::Instance().Enable(enable);
}
bool QEnabled()
{
    return Streamer::Instance().QEnabled();
}
void EnableBulkLoading(bool) {}
void SetThreadAffinityEnabled(bool)
{
    Streamer::Instance();
}

void Signal()
{
    Streamer& streamer = Streamer::Instance();
    if (streamer.QEnabled())
        streamer.WakeControl();
}

void UncacheAll(bool wait)
{
    Streamer::Instance().UncacheAll(wait);
}

void GetIDForPath(ID& id, VXFixedString const& path)
{
    Streamer& streamer = Streamer::Instance();
    if (streamer.QEnabled())
        streamer.kFiles.GetIDForPath(id.uiValue, path);
}

void GetIDForPath(ID& id, char const* path)
{
    Streamer::Instance();
    if (path)
        GetIDForPath(id, VXFixedString(path));
}

bool RequestAt(VXSystemFile const* file, ID const& id, uint64_t size, uint64_t offset,
               unsigned int priority, VXEventFlag* flag)
{
    Streamer& streamer = Streamer::Instance();
    CallerScope scope(streamer);
    if (!scope.pRecord)
        return false;
    uint64_t first = offset & ~(uiBlockSize - 1);
    uint64_t end = (offset + size + uiBlockSize - 1) & ~(uiBlockSize - 1);
    if (end <= first)
        return false;
    for (uint64_t block = first; id.QValid() && block < end; block += uiBlockSize)
        if (!streamer.SubmitRequest(file, id, nullptr, uiBlockSize, block, priority, nullptr,
                                    nullptr, true, flag))
            break;
    return true;
}

VXSystemFile::ErrorCode ReadAt(VXSystemFile const* file, ID const& id, void* buffer, uint64_t size,
                               uint64_t offset, uint64_t& bytesRead, unsigned int priority,
                               bool cached, VXEventFlag* flag)
{
    Streamer& streamer = Streamer::Instance();
    AsyncParams params(priority, cached, flag ? flag : tThreadEventFlag);
    bool accepted;
    uint64_t copied = 0;
    {
        CallerScope scope(streamer);
        accepted =
            scope.pRecord && ReadFront(streamer, *scope.pRecord, file, id, buffer, size, offset,
                                       priority, &params.uiSignalCount, params.uiExpectedSignals,
                                       params.pEventFlag, cached, &params.uiBytesRead, copied);
    }
    params.Wait();
    bytesRead = params.QBytesRead() + copied;
    return accepted ? VXSystemFile::EC_OK : VXSystemFile::EC_FAILED;
}

VXSystemFile::ErrorCode ReadAtAsync(VXSystemFile const* file, ID const& id, void* buffer,
                                    uint64_t size, uint64_t offset, AsyncParams& params)
{
    return ReadAtAsync(file, id, buffer, size, offset, params.uiPriority, &params.uiSignalCount,
                       params.uiExpectedSignals, params.pEventFlag, params.bCached,
                       &params.uiBytesRead);
}

VXSystemFile::ErrorCode ReadAtAsync(VXSystemFile const* file, ID const& id, void* buffer,
                                    uint64_t size, uint64_t offset, unsigned int priority,
                                    unsigned int volatile* signalCount, unsigned int& expected,
                                    VXEventFlag* flag, bool cached, uint64_t* bytesRead)
{
    Streamer& streamer = Streamer::Instance();
    CallerScope scope(streamer);
    uint64_t copied = 0;
    bool accepted = scope.pRecord && signalCount &&
                    ReadFront(streamer, *scope.pRecord, file, id, buffer, size, offset, priority,
                              signalCount, expected, flag, cached, bytesRead, copied);
    if (bytesRead && copied)
        AddBytes(bytesRead, copied);
    if (!accepted)
        return VXSystemFile::EC_FAILED;
    if (LoadCount(signalCount) != expected)
        streamer.WakeControl();
    return VXSystemFile::EC_OK;
}

void WaitOnSignalCount(unsigned int volatile* count, unsigned int target, bool cached,
                       VXEventFlag* flag)
{
    if (count)
        WaitOnCount(count, target, cached, flag);
}

void WaitInactive(unsigned int limitMs)
{
    Streamer::Instance().WaitInactive(limitMs);
}

void QueryHitMissStats(uint64_t& servedHits, uint64_t& physicalReads, uint64_t& fastHits,
                       uint64_t& fastMisses)
{
    Streamer& streamer = Streamer::Instance();
    uint64_t served = streamer.uiServedRequests.load(std::memory_order_relaxed);
    physicalReads = streamer.uiPhysicalReads.load(std::memory_order_relaxed);
    servedHits = served - physicalReads;
    fastHits = streamer.kCallers.QFastHits();
    fastMisses = streamer.kCallers.QFastMisses();
}

void QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages)
{
    Streamer::Instance().QueryEntryTouch(ages);
}

void UpdateFileVersion(ID const& id)
{
    Streamer& streamer = Streamer::Instance();
    if (id.QValid())
        streamer.kFiles.UpdateVersion(id);
}

VXEventFlag* SetThreadEventFlag(VXEventFlag* flag)
{
    Streamer::Instance();
    VXEventFlag* previous = tThreadEventFlag;
    tThreadEventFlag = flag;
    return previous;
}

VXEventFlag* GetThreadEventFlag()
{
    Streamer::Instance();
    return tThreadEventFlag;
}
} // namespace VXSystemFileStreamer
