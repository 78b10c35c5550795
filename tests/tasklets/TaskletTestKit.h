// A tasklet that counts its calls, yields a set number of times and can be held inside
// Process, for the tasklet tests.
#pragma once

#include "vxsystem/VXThread.h"
#include "vxsystem/VXWin32TaskletManager.h"

#include <array>
#include <atomic>
#include <thread>

struct CountingTask : VXWin32TaskletData
{
    explicit CountingTask(int yields = 0) : iYields(yields) {}

    std::atomic<int> iStartups{0}, iProcesses{0}, iCompletes{0};
    std::atomic<bool> bInProcess{false};
    std::atomic<bool>* pHold = nullptr; // Process waits while it is set
    std::atomic<uint32_t> uiThreadId{0};
    int iYields; // below 0: for ever
    bool bStartupResult = true;

protected:
    bool OnStartup() override
    {
        ++iStartups;
        return bStartupResult;
    }
    // A held tasklet may be destroyed while it waits: nothing of it is touched after.
    void Process() override
    {
        uiThreadId = VXThread::GetCurrentThreadId();
        if (iProcesses++ < iYields || iYields < 0)
            TaskYield();
        std::atomic<bool>* pWait = pHold;
        bInProcess = true;
        while (pWait && *pWait)
            std::this_thread::yield();
    }
    void OnComplete() override { ++iCompletes; }
};

using CallCounts = std::array<int, 3>; // OnStartup, Process, OnComplete calls so far
inline CallCounts Calls(CountingTask const& rTask)
{
    return {rTask.iStartups.load(), rTask.iProcesses.load(), rTask.iCompletes.load()};
}

// Spins until pred holds or about five seconds pass; the result says which.
template <class Pred> bool WaitFor(Pred pred)
{
    for (int i = 0; i < 5000 && !pred(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return pred();
}
