// Core of the streamer: one process-wide object holding the file table, the
// block cache, the request order and the two service threads. The control thread alone
// orders, serves and evicts; the physical read thread alone reads. Callers submit pooled
// requests through a lock-free queue. Instance() is safe to call from any thread.
#pragma once

#include "streamer/VXStreamerCache.h"
#include "streamer/VXStreamerCallers.h"
#include "streamer/VXStreamerFileTable.h"
#include "streamer/VXStreamerOrder.h"
#include "streamer/VXStreamerQueues.h"
#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXEventFlag.h"
#include "vxsystem/VXThread.h"

#include <atomic>

namespace VXSystemFileStreamer
{
class Streamer;

class StreamerThread : public VXThread
{
public:
    Streamer* pStreamer = nullptr;
    std::atomic<bool> bThreadRunning{false};
};

class ControlThread : public StreamerThread
{
protected:
    unsigned int ThreadProc() override;
};

class PhysicalReadThread : public StreamerThread
{
protected:
    unsigned int ThreadProc() override;
};

class Streamer : public VXHeapObject
{
public:
    static Streamer& Instance();
    ~Streamer();

    void Enable(bool enable);
    bool QEnabled() const { return bEnabled.load(std::memory_order_acquire); }
    void WakeControl() { hControlWake.Set(); }

    // Callers that may submit register here, so that Enable(false) waits them out. Null:
    // the service is disabled.
    CallerRecord* EnterCaller();
    void LeaveCaller(CallerRecord* record) { kCallers.Leave(*record); }

    bool SubmitRequest(VXSystemFile const* file, unsigned int fileID, void* buffer, uint64_t size,
                       uint64_t offset, unsigned int priority, unsigned int volatile* signalCount,
                       uint64_t* bytesRead, bool cached, VXEventFlag* flag);
    // Queues the blocks after block `last` that the cache lacks, up to uiReadAheadBlocks and
    // the file's end, on the caller's count: the caller waits for them as for its own
    // pieces, so the file is never read after its call. A missing free request ends it.
    void SubmitReadAhead(VXSystemFile const* file, unsigned int fileID, uint64_t last,
                         unsigned int priority, unsigned int volatile* signalCount,
                         unsigned int& expected, VXEventFlag* flag);
    void UncacheAll(bool wait);
    void WaitInactive(unsigned int limitMs);
    void WaitIdleSlice();
    void QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages);

    // Where the last cached read of each file ended (all bits set: none yet): a read that
    // starts there and misses is a reader moving forward. Relaxed: only a hint.
    std::atomic<uint64_t> aReadEnds[uiMaxFiles];
    FileTable kFiles;
    BlockCache kCache{kFiles};
    CallerRecords kCallers;
    std::atomic<uint64_t> uiServedRequests{0};
    std::atomic<uint64_t> uiPhysicalReads{0};

private:
    friend class ControlThread;
    friend class PhysicalReadThread;

    Streamer();
    bool Start();
    void Stop();

    void ControlLoop();
    void PhysicalLoop();
    bool WorkPass();
    void FlushForShutdown();
    bool ServeRequest(ReadRequest* request, CacheBlock* block);
    void ServeBlock(CacheBlock* block);
    void FinishRequest(ReadRequest* request);
    void Requeue(ReadRequest* request);
    void DrainCompletions();
    bool TakeCommand();
    void IssueCommand(uint64_t offset, VXSystemFile const* file, unsigned int fileID,
                      CacheBlock* block, ReadRequest* request);
    bool HandleDirect(ReadRequest* request);
    bool HandleCached(ReadRequest* request);
    void HandleRereadHead();
    void AppendReread(CacheBlock* block);
    void ReadCommandNow(ReadCommand const& command);
    static void Bump(unsigned int volatile* count);

    RequestOrder kOrder;
    ControlThread kControlThread;
    PhysicalReadThread kPhysicalThread;
    VXEventFlag hControlWake{false, false};
    VXEventFlag hPhysicalWake{false, false};
    VXEventFlag hIdle{false, true};
    VXCriticalSection EnableLock;
    VXCriticalSection WaitLock;
    std::atomic<uint64_t> uiUncacheRequested{0};
    std::atomic<uint64_t> uiUncacheDone{0};
    RequestPool* pRequestPool = nullptr;
    CommandQueues* pCommandQueues = nullptr;
    CompletionRing* pCompletionRing = nullptr;
    std::atomic<bool> bRunning{false};
    std::atomic<bool> bPhysicalRunning{false};
    std::atomic<bool> bEnabled{false};

public:
    std::atomic<bool> bWakeRequested{false};

private:
    // Control thread state, kept from pass to pass.
    unsigned int uiOutstanding = 0;
    // Reads straight into a caller's memory still on the physical thread. The service is
    // not idle, and UncacheAll waits, until they are done.
    std::atomic<unsigned int> uiDirectInFlight{0};
    unsigned int uiLastFile = ~0u;
    uint64_t uiLastOffset = ~0ull;
    ReadCommand* pHeldCommand = nullptr;
    CacheBlock* pRereadHead = nullptr;
    CacheBlock* pRereadTail = nullptr;
    unsigned int uiSequence = 0;
};
} // namespace VXSystemFileStreamer
