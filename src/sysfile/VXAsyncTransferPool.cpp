// The worker threads of asynchronous file transfers: at most kMaxWorkers, started when a
// transfer finds none idle, kept until the process ends. Transfers run in issue order.
#include "sysfile/VXAsyncTransfer.h"
#include "sysfile/VXCompletionQueue.h"

#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXSemaphore.h"
#include "vxsystem/VXThread.h"

#include <climits>

namespace
{
constexpr unsigned int kMaxWorkers = 4;

class Pool;

class Worker : public VXThread
{
public:
    Pool* pPool = nullptr;

protected:
    unsigned int ThreadProc() override;
};

class Pool
{
public:
    Pool()
    {
        for (Worker& worker : kWorkers)
            worker.pPool = this;
    }

    ~Pool()
    {
        unsigned int workers = 0;
        {
            VXScopedCriticalSection hold(kLock);
            bStopping = true;
            workers = uiWorkers;
        }
        kWork.Signal(static_cast<int>(workers));
        for (unsigned int i = 0; i < workers; ++i)
            kWorkers[i].Close();
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
        VXScopedCriticalSection hold(kLock);
        if (bStopping || !kWork.QValid())
            return false;
        // A failed start leaves the work to the workers already there.
        if (uiIdle == 0 && uiWorkers < kMaxWorkers && kWorkers[uiWorkers].Initialize(0, nullptr))
            ++uiWorkers;
        if (uiWorkers == 0)
            return false;
        transfer->pNext = nullptr;
        (pTail ? pTail->pNext : pHead) = transfer;
        pTail = transfer;
        kWork.Signal(1);
        return true;
    }

    // One unit of kWork per queued transfer, and one per worker at the stop.
    void Work()
    {
        for (;;)
        {
            {
                VXScopedCriticalSection hold(kLock);
                ++uiIdle;
            }
            kWork.Wait();
            VXAsyncTransfer* transfer = nullptr;
            {
                VXScopedCriticalSection hold(kLock);
                --uiIdle;
                if (bStopping)
                    return;
                transfer = Pop();
            }
            if (!transfer)
                continue;
            transfer->pfnRun(*transfer, false);
            transfer->pQueue->Post(transfer);
        }
    }

private:
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

    VXCriticalSection kLock;       // guards everything below
    VXSemaphore kWork{0, INT_MAX}; // queued transfers, or the stop
    Worker kWorkers[kMaxWorkers];
    unsigned int uiWorkers = 0; // started
    unsigned int uiIdle = 0;    // waiting for work
    bool bStopping = false;
    VXAsyncTransfer* pHead = nullptr; // oldest waiting transfer
    VXAsyncTransfer* pTail = nullptr;
};

unsigned int Worker::ThreadProc()
{
    pPool->Work();
    return 0;
}

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
