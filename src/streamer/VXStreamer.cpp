#include "streamer/VXStreamer.h"

#include "vxsystem/VXSpinLock.h"

#include <climits>

namespace VXSystemFileStreamer
{
unsigned int ControlThread::ThreadProc()
{
    if (!pStreamer)
        return 0;
    bThreadRunning.store(true);
    pStreamer->ControlLoop();
    bThreadRunning.store(false);
    return 0;
}

unsigned int PhysicalReadThread::ThreadProc()
{
    if (!pStreamer)
        return 0;
    bThreadRunning.store(true);
    pStreamer->PhysicalLoop();
    bThreadRunning.store(false);
    return 0;
}

Streamer& Streamer::Instance()
{
    // The language guards the first use; destruction runs at process exit.
    static Streamer sInstance;
    return sInstance;
}

Streamer::Streamer()
{
    // Built first, so they are torn down after the service's last use of them.
    MemoryManager::Instance();
    VXFixedString::QEmptyString();
    kControlThread.pStreamer = this;
    kPhysicalThread.pStreamer = this;
    for (auto& end : aReadEnds)
        end.store(~0ull, std::memory_order_relaxed);
}

Streamer::~Streamer()
{
    Enable(false);
}

void Streamer::Enable(bool enable)
{
    VXScopedCriticalSection guard(EnableLock);
    if (enable == QEnabled())
        return;
    if (enable)
        Start();
    else
        Stop();
}

bool Streamer::Start()
{
    if (!kCache.Init())
        return false;
    pRequestPool = NewAligned<RequestPool>();
    pCommandQueues = NewAligned<CommandQueues>();
    pCompletionRing = NewAligned<CompletionRing>();
    kOrder.Clear();
    kCallers.ResetCounts();
    uiServedRequests.store(0, std::memory_order_relaxed);
    uiPhysicalReads.store(0, std::memory_order_relaxed);
    uiUncacheDone.store(uiUncacheRequested.load());
    uiOutstanding = 0;
    uiLastFile = ~0u;
    uiLastOffset = ~0ull;
    pHeldCommand = nullptr;
    pRereadHead = pRereadTail = nullptr;
    uiSequence = 0;
    hControlWake.Reset();
    hPhysicalWake.Reset();
    hIdle.Set();
    bRunning.store(true);
    bPhysicalRunning.store(true);
    bool started = pRequestPool && pCommandQueues && pCompletionRing &&
                   kControlThread.Initialize(VXThread::STACK_16K, "FileStreamerControl") &&
                   kPhysicalThread.Initialize(VXThread::STACK_16K, "FileStreamerPhysicalRead");
    if (!started)
    {
        Stop();
        return false;
    }
    kPhysicalThread.SetThreadPriority(2);
    bEnabled.store(true);
    return true;
}

void Streamer::Stop()
{
    bEnabled.store(false);
    VXSafeSleep sleep;
    while (kCallers.AnyInside())
        sleep.Sleep();
    // The control thread finishes what is queued, then the reader ends after its last
    // command: no read is lost and none is counted that will never end.
    bRunning.store(false);
    hControlWake.Set();
    kControlThread.Close();
    bPhysicalRunning.store(false);
    hPhysicalWake.Set();
    kPhysicalThread.Close();
    DeleteAligned(pRequestPool);
    DeleteAligned(pCommandQueues);
    DeleteAligned(pCompletionRing);
    kCache.Shutdown();
    kOrder.Clear();
    kFiles.ClearPaths();
    hIdle.Set();
}

CallerRecord* Streamer::EnterCaller()
{
    CallerRecord& record = kCallers.Mine();
    return kCallers.Enter(record, bEnabled) ? &record : nullptr;
}

namespace
{
ReadRequest* Fill(ReadRequest* request, VXSystemFile const* file, unsigned int fileID, void* buffer,
                  uint64_t size, uint64_t offset, unsigned int priority,
                  unsigned int volatile* signalCount, uint64_t* bytesRead, bool cached,
                  VXEventFlag* flag)
{
    request->pFile = file;
    request->pBuffer = buffer;
    request->pEventFlag = flag;
    request->uiSize = size;
    request->uiOffset = offset;
    request->puiSignalCount = signalCount;
    request->puiBytesRead = bytesRead;
    request->uiPriority = priority;
    request->uiFileID = fileID;
    request->pPrevSame = request->pNextSame = nullptr;
    request->bCached = cached && fileID != uiInvalidFile;
    request->bTreeHead = false;
    return request;
}
} // namespace

bool Streamer::SubmitRequest(VXSystemFile const* file, unsigned int fileID, void* buffer,
                             uint64_t size, uint64_t offset, unsigned int priority,
                             unsigned int volatile* signalCount, uint64_t* bytesRead, bool cached,
                             VXEventFlag* flag)
{
    if (!file || (fileID == uiInvalidFile && !buffer))
        return false;
    ReadRequest* request = pRequestPool->FreeRequests.Pop();
    if (!request)
    {
        hControlWake.Set();
        VXSafeSleep sleep;
        while (!(request = pRequestPool->FreeRequests.Pop()))
            sleep.Sleep();
    }
    Fill(request, file, fileID, buffer, size, offset, priority, signalCount, bytesRead, cached,
         flag);
    pRequestPool->Incoming.Push(request);
    return true;
}

void Streamer::SubmitReadAhead(VXSystemFile const* file, unsigned int fileID, uint64_t last,
                               unsigned int priority, unsigned int volatile* signalCount,
                               unsigned int& expected, VXEventFlag* flag)
{
    uint64_t size = 0;
    if (file->DoGetSize(size) != VXSystemFile::EC_OK)
        return;
    uint64_t end = (size + uiBlockSize - 1) >> uiBlockShift;
    for (uint64_t index = last + 1; index <= last + uiReadAheadBlocks && index < end; ++index)
    {
        if (kCache.IsBlock(kCache.FindSlot(fileID, index)->load(std::memory_order_acquire)))
            continue; // cached or on its way
        ReadRequest* request = pRequestPool->FreeRequests.Pop();
        if (!request)
            return;
        Fill(request, file, fileID, nullptr, uiBlockSize, index << uiBlockShift,
             QReadAheadPriority(priority), signalCount, nullptr, true, flag);
        ++expected;
        pRequestPool->Incoming.Push(request);
    }
}

void Streamer::UncacheAll(bool wait)
{
    CallerRecord* caller = EnterCaller();
    if (!caller)
        return;
    uint64_t ticket = uiUncacheRequested.fetch_add(1) + 1;
    hControlWake.Set();
    LeaveCaller(caller);
    VXSafeSleep sleep;
    while (wait && uiUncacheDone.load() < ticket && QEnabled())
        sleep.Sleep();
}

void Streamer::WaitInactive(unsigned int limitMs)
{
    VXScopedCriticalSection guard(WaitLock);
    if (!QEnabled())
        return;
    hControlWake.Set();
    hIdle.Wait(limitMs == ~0u ? -1 : static_cast<int>(limitMs > INT_MAX ? INT_MAX : limitMs));
}

void Streamer::WaitIdleSlice()
{
    VXScopedCriticalSection guard(WaitLock);
    if (!bWakeRequested.exchange(true))
        hControlWake.Set();
    hIdle.Wait(uiIdleWaitMS);
}

void Streamer::QueryEntryTouch(VXTArray<uint64_t, VXTArrayHeapAllocator>& ages)
{
    VXScopedCriticalSection guard(EnableLock);
    if (!kCache.QReady())
    {
        ages.SetSize(0);
        return;
    }
    kCache.QueryEntryTouch(ages);
}

void Streamer::FinishRequest(ReadRequest* request)
{
    unsigned int volatile* count = request->puiSignalCount;
    VXEventFlag* flag = request->pEventFlag;
    pRequestPool->FreeRequests.Push(request);
    // The flag goes before the count: once the count is there the caller may free both.
    // Flag waiters therefore wait in short slices.
    if (flag)
        flag->Set();
    if (count)
        BumpCount(count);
}

void Streamer::ReadCommandNow(ReadCommand const& command)
{
    uint64_t bytes = 0;
    if (CacheBlock* block = command.pBlock)
    {
        VXSystemFile::ErrorCode code =
            command.pFile->DoReadAt(block->pData, uiBlockSize, command.uiOffset, bytes);
        VXSystemFile::SetErrorCode(command.pFile->uiState, code);
        block->uiBytesValid.store(bytes, std::memory_order_relaxed);
        block->uiLoading.store(0, std::memory_order_release); // the bytes go before the mark
        pCompletionRing->Push(block);
        return;
    }
    ReadRequest* request = command.pRequest;
    VXSystemFile::ErrorCode code =
        command.pFile->DoReadAt(request->pBuffer, request->uiSize, command.uiOffset, bytes);
    VXSystemFile::SetErrorCode(command.pFile->uiState, code);
    if (request->puiBytesRead)
        AddBytes(request->puiBytesRead, bytes);
    FinishRequest(request);
    uiDirectInFlight.fetch_sub(1, std::memory_order_release); // after the caller's count
}

void Streamer::PhysicalLoop()
{
    for (;;)
    {
        hPhysicalWake.Wait(-1);
        unsigned int unannounced = 0; // reads finished since the control thread was woken
        while (ReadCommand* command = pCommandQueues->PendingCommands.Pop())
        {
            ReadCommand copy = *command;
            command->pBlock = nullptr;
            pCommandQueues->SpareCommands.Push(command); // ready for the next one at once
            // The last order in hand: the control thread refills while this read runs.
            if (unannounced >= uiWakeBatch || pCommandQueues->PendingCommands.QEmpty())
            {
                hControlWake.Set();
                unannounced = 0;
            }
            ReadCommandNow(copy);
            ++unannounced;
        }
        if (unannounced)
            hControlWake.Set();
        if (!bPhysicalRunning.load())
            return;
    }
}
} // namespace VXSystemFileStreamer
