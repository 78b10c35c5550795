// The worker threads of asynchronous file transfers: at most kMaxWorkers, started when a
// transfer finds none idle, kept until the process ends. Transfers run in issue order.
#include "sysfile/VXAsyncTransfer.h"
#include "sysfile/VXCompletionQueue.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

namespace
{
constexpr unsigned int kMaxWorkers = 4;

class Pool
{
public:
    ~Pool()
    {
        {
            std::lock_guard<std::mutex> hold(kLock);
            bStopping = true;
        }
        kWork.notify_all();
        for (unsigned int i = 0; i < uiWorkers; ++i)
            kWorkers[i].join();
        // Transfers that never ran: their functors stay busy, the process is ending.
        while (VXAsyncTransfer* transfer = Pop())
        {
            transfer->pfnRun(*transfer, true);
            VXCompletionQueue* queue = transfer->pQueue;
            delete transfer;
            queue->Release();
        }
    }

    bool Submit(VXAsyncTransfer* transfer)
    {
        std::lock_guard<std::mutex> hold(kLock);
        if (bStopping)
            return false;
        if (uiIdle == 0 && uiWorkers < kMaxWorkers)
            StartWorker();
        if (uiWorkers == 0)
            return false;
        transfer->pNext = nullptr;
        (pTail ? pTail->pNext : pHead) = transfer;
        pTail = transfer;
        kWork.notify_one();
        return true;
    }

private:
    // Under kLock. A failed start leaves the work to the workers already there.
    void StartWorker()
    {
        try
        {
            kWorkers[uiWorkers] = std::thread([this] { Work(); });
            ++uiWorkers;
        }
        catch (std::system_error const&)
        {
        }
    }

    void Work()
    {
        for (;;)
        {
            VXAsyncTransfer* transfer = nullptr;
            {
                std::unique_lock<std::mutex> hold(kLock);
                ++uiIdle;
                kWork.wait(hold, [this] { return bStopping || pHead; });
                --uiIdle;
                if (bStopping)
                    return;
                transfer = Pop();
            }
            transfer->pfnRun(*transfer, false);
            transfer->pQueue->Post(transfer);
        }
    }

    // Under kLock, or after the workers ended.
    VXAsyncTransfer* Pop()
    {
        VXAsyncTransfer* transfer = pHead;
        if (transfer)
        {
            pHead = transfer->pNext;
            if (!pHead)
                pTail = nullptr;
        }
        return transfer;
    }

    std::mutex kLock;              // guards everything below
    std::condition_variable kWork; // a transfer arrived, or the pool stops
    std::thread kWorkers[kMaxWorkers];
    unsigned int uiWorkers = 0; // started
    unsigned int uiIdle = 0;    // waiting for work
    bool bStopping = false;
    VXAsyncTransfer* pHead = nullptr; // oldest waiting transfer
    VXAsyncTransfer* pTail = nullptr;
};

Pool& ThePool()
{
    static Pool sPool;
    return sPool;
}
} // namespace

bool VXAsyncTransferPool::Submit(VXAsyncTransfer* transfer)
{
    return transfer && ThePool().Submit(transfer);
}
