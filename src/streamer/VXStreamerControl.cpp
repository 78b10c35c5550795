// The control thread: orders the queued requests, turns misses into block reads, serves
// finished blocks to everything that waits for them, and rereads blocks gone stale.
#include "streamer/VXStreamer.h"

#include <cstring>

namespace VXSystemFileStreamer
{
void Streamer::ControlLoop()
{
    int timeout = -1;
    for (;;)
    {
        hControlWake.Wait(timeout);
        hIdle.Reset();
        if (bRunning.load())
            while (WorkPass())
            {
            }
        if (uiOutstanding)
            DrainCompletions();
        if (!bRunning.load())
            FlushForShutdown();
        bWakeRequested.store(false);
        // Acquire: pairs with the physical thread's release once a direct read has finished.
        bool idle = kOrder.QEmpty() && !uiOutstanding && !pRereadHead &&
                    uiDirectInFlight.load(std::memory_order_acquire) == 0;
        if (idle && !bRunning.load())
            break;
        if (!idle)
        {
            timeout = uiBusyWaitMS;
            continue;
        }
        hIdle.Set();
        timeout = -1;
        uiSequence = 0;
        uint64_t wanted = uiUncacheRequested.load();
        if (uiUncacheDone.load() >= wanted)
            continue;
        // The ticket was read first: a request queued before it is visible now and goes first.
        if (!pRequestPool->Incoming.QEmpty())
        {
            timeout = 0;
            continue;
        }
        kCache.ResetCache();
        uiUncacheDone.store(wanted);
    }
    // The cache goes with the service: no ticket is left waiting.
    uiUncacheDone.store(uiUncacheRequested.load());
    hIdle.Set();
}

bool Streamer::WorkPass()
{
    DrainCompletions();
    while (ReadRequest* request = pRequestPool->Incoming.Pop())
    {
        request->uiSequence = uiSequence++;
        kOrder.EnqueueRequest(request);
    }
    if (ReadRequest* selected = kOrder.SelectRequest(uiLastFile, uiLastOffset))
        selected->bCached ? HandleCached(selected) : HandleDirect(selected);
    bool rereadStalled = false;
    if (pRereadHead)
        rereadStalled = !TakeCommand();
    if (!rereadStalled && pRereadHead)
        HandleRereadHead();
    if (!bRunning.load() || kOrder.QSelected() || rereadStalled)
        return false;
    return !kOrder.QEmpty() || pRereadHead;
}

void Streamer::FlushForShutdown()
{
    DrainCompletions();
    while (ReadRequest* request = pRequestPool->Incoming.Pop())
        FinishRequest(request);
    while (ReadRequest* request = kOrder.QMostUrgent())
    {
        kOrder.RemoveRequest(request);
        FinishRequest(request);
    }
    while (pRereadHead)
        HandleRereadHead();
}

bool Streamer::TakeCommand()
{
    if (!pHeldCommand)
        pHeldCommand = pCommandQueues->SpareCommands.Pop();
    return pHeldCommand != nullptr;
}

void Streamer::IssueCommand(uint64_t offset, VXSystemFile const* file, unsigned int fileID,
                            CacheBlock* block, ReadRequest* request)
{
    *pHeldCommand = ReadCommand{offset, file, block, request, fileID};
    pCommandQueues->PendingCommands.Push(pHeldCommand);
    hPhysicalWake.Set();
    pHeldCommand = nullptr;
    uiLastFile = fileID;
    uiLastOffset = offset;
}

bool Streamer::HandleDirect(ReadRequest* request)
{
    if (!TakeCommand())
        return false;
    kOrder.RemoveRequest(request);
    if (!request->pBuffer)
        FinishRequest(request);
    else
    {
        uiDirectInFlight.fetch_add(1, std::memory_order_relaxed);
        IssueCommand(request->uiOffset, request->pFile, request->uiFileID, nullptr, request);
    }
    return true;
}

bool Streamer::HandleCached(ReadRequest* request)
{
    uint64_t index = request->uiOffset >> uiBlockShift;
    BlockCache::Slot* slot = kCache.FindSlot(request->uiFileID, index);
    CacheBlock* block = slot->load(std::memory_order_relaxed);
    bool prefetch = request->QPrefetchOnly();
    if (!kCache.IsBlock(block))
    {
        if (!TakeCommand() || !(block = kCache.AllocateBlock(request->uiFileID, index, slot)))
            return false;
        kOrder.RemoveRequest(request);
        block->pWaiters = prefetch ? nullptr : request;
        ++uiOutstanding;
        uiPhysicalReads.store(uiPhysicalReads.load(std::memory_order_relaxed) + 1,
                              std::memory_order_relaxed);
        block->uiInFlight = 1;
        VXSystemFile const* file = request->pFile;
        if (prefetch)
            pRequestPool->FreeRequests.Push(request);
        IssueCommand(index << uiBlockShift, file, block->uiFileID.load(std::memory_order_relaxed),
                     block, nullptr);
        return true;
    }
    kOrder.RemoveRequest(request);
    if (!prefetch)
    {
        request->pNextSame = block->pWaiters;
        block->pWaiters = request;
    }
    if (block->uiLoading.load(std::memory_order_acquire) || block->uiInFlight)
    {
        if (!prefetch)
            block->uiTouchCount.fetch_add(1, std::memory_order_relaxed);
    }
    else if (kCache.RefreshIfStale(block))
    {
        AppendReread(block);
    }
    else
    {
        ServeBlock(block);
        if (block->uiBytesValid.load(std::memory_order_relaxed))
            block->uiTouchCount.fetch_add(1, std::memory_order_relaxed);
        else
            block->uiTouchCount.store(0, std::memory_order_relaxed);
    }
    if (prefetch)
        pRequestPool->FreeRequests.Push(request);
    return true;
}

void Streamer::AppendReread(CacheBlock* block)
{
    block->pRereadNext = nullptr;
    if (pRereadTail)
        pRereadTail->pRereadNext = block;
    else
        pRereadHead = block;
    pRereadTail = block;
}

void Streamer::HandleRereadHead()
{
    CacheBlock* block = pRereadHead;
    if (!bRunning.load())
    {
        for (ReadRequest* waiter = block->pWaiters; waiter;)
        {
            ReadRequest* next = waiter->pNextSame;
            FinishRequest(waiter);
            waiter = next;
        }
        block->pWaiters = nullptr;
    }
    if (block->pWaiters)
    {
        ++uiOutstanding;
        block->uiInFlight = 1;
        IssueCommand(block->uiBlockIndex.load(std::memory_order_relaxed) << uiBlockShift,
                     block->pWaiters->pFile, block->pWaiters->uiFileID, block, nullptr);
    }
    else
    {
        kCache.DropBlock(block);
    }
    pRereadHead = block->pRereadNext;
    if (!pRereadHead)
        pRereadTail = nullptr;
    block->pRereadNext = nullptr;
}

void Streamer::DrainCompletions()
{
    while (CacheBlock* block = pCompletionRing->Pop())
    {
        --uiOutstanding;
        block->uiInFlight = 0;
        if (kCache.RefreshIfStale(block))
        {
            AppendReread(block);
            continue;
        }
        kCache.ProbationAdd(block);
        ServeBlock(block);
    }
}

bool Streamer::ServeRequest(ReadRequest* request, CacheBlock* block)
{
    uint64_t within = request->uiOffset & (uiBlockSize - 1);
    uint64_t valid = block->uiBytesValid.load(std::memory_order_relaxed);
    uint64_t available = valid > within ? valid - within : 0;
    uint64_t count = available < request->uiSize ? available : request->uiSize;
    if (!count)
        request->uiSize = 0;
    else
    {
        if (request->pBuffer)
        {
            std::memcpy(request->pBuffer, block->pData + within, count);
            request->pBuffer = static_cast<char*>(request->pBuffer) + count;
        }
        request->uiSize -= count;
        request->uiOffset += count;
        if (request->puiBytesRead)
            AddBytes(request->puiBytesRead, count);
    }
    uiServedRequests.store(uiServedRequests.load(std::memory_order_relaxed) + 1,
                           std::memory_order_relaxed);
    if (request->uiSize > 0 && valid >= uiBlockSize)
        return false;
    FinishRequest(request);
    return true;
}

void Streamer::Requeue(ReadRequest* request)
{
    if (bRunning.load())
        kOrder.EnqueueRequest(request);
    else
        FinishRequest(request);
}

void Streamer::ServeBlock(CacheBlock* block)
{
    ReadRequest* waiter = block->pWaiters;
    block->pWaiters = nullptr;
    while (waiter)
    {
        ReadRequest* next = waiter->pNextSame;
        waiter->pNextSame = nullptr;
        if (!ServeRequest(waiter, block))
            Requeue(waiter);
        waiter = next;
    }
    unsigned int fileID = block->uiFileID.load(std::memory_order_relaxed);
    uint64_t start = block->uiBlockIndex.load(std::memory_order_relaxed) << uiBlockShift;
    ReadRequest* head = kOrder.LowerBound(fileID, start);
    while (head && head->uiFileID == fileID && head->uiOffset < start + uiBlockSize)
    {
        ReadRequest* following = RequestOrder::NextPosition(head);
        for (ReadRequest* request = head; request;)
        {
            ReadRequest* next = kOrder.RemoveRequest(request);
            if (!ServeRequest(request, block))
                Requeue(request);
            request = next;
        }
        head = following;
    }
    if (block->uiBytesValid.load(std::memory_order_relaxed))
        block->uiLastTouch.store(QTickCount(), std::memory_order_relaxed);
}
} // namespace VXSystemFileStreamer
