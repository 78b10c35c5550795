// VXSystemFileAsyncFunctor: travels with one asynchronous transfer of a VXSystemFile,
// receives its result and lets the caller wait or poll. Derive and override operator()
// to receive the code and the byte count.
//
// Contract:
// - The result is delivered on the thread that issued the transfer, and only while that
//   thread waits alertably: in Wait, or in AlertableSleep. Test never delivers. A thread
//   that ends with transfers out can wait no more: their results are delivered as the
//   thread exits, or on the worker that finishes them, so that foreign waiters end.
// - State: available -> busy (issued) -> done (delivered) -> available (collected by
//   Wait or Test). One transfer at a time per functor.
// - The functor and the transfer's buffer must stay valid and untouched while busy. The
//   destructor neither waits nor cancels.
// - Another thread may Wait(true) (it polls until the issuing thread has delivered);
//   Wait(false) and Test on another thread say false while a transfer is out.
//
// How transfers run: on Windows, ReadFileEx/WriteFileEx and the system's completion
// routines. On POSIX, a small process-wide pool of worker threads (at most four, started
// on demand, joined at exit) moves the bytes, then posts the completion to the issuing
// thread's completion queue. The issuing thread drains that queue, and runs the
// completions, whenever it waits alertably.
#pragma once

#include "vxsystem/VXSystemFile.h"

#include <atomic>
#include <cstdint>

class VXSystemFileAsyncFunctor
{
public:
    // The transfer's control block: two words for the platform, the file offset as low
    // and high halves, and the slot that leads the completion back to this functor.
    struct Overlapped
    {
        uintptr_t uiInternal;     // error number, once delivered
        uintptr_t uiInternalHigh; // bytes transferred, once delivered
        uint32_t uiOffset;
        uint32_t uiOffsetHigh;
        void* pEvent; // the functor that issued the transfer
    };

    static constexpr unsigned int INFINITE_WAIT = 0xFFFFFFFF;

    VXSystemFileAsyncFunctor();
    VXSystemFileAsyncFunctor(VXSystemFileAsyncFunctor const& other);
    VXSystemFileAsyncFunctor& operator=(VXSystemFileAsyncFunctor const& other);
    virtual ~VXSystemFileAsyncFunctor();

    // True once no transfer is out (collecting a finished one). block: wait for it; on
    // the issuing thread the wait is alertable, elsewhere it polls.
    bool Wait(bool block);
    // True once no transfer is out (collecting a finished one); never sleeps.
    bool Test();
    // Delivers a result: runs operator(), then marks the transfer done.
    void ExecuteUserCB(VXSystemFile::ErrorCode code, uint64_t bytes);

    // Sleeps the calling thread for up to milliseconds (INFINITE_WAIT: no limit), running
    // the completions of its transfers as they arrive. Returns true, early, when at least
    // one completion ran; 0 milliseconds just runs those already there.
    static bool AlertableSleep(unsigned int milliseconds);

private:
    friend class VXSystemFile; // the issue fills the state, thread and control block

    static constexpr unsigned int uiAvailable = 0;
    static constexpr unsigned int uiBusy = 0xFFFFFFFF;
    static constexpr unsigned int uiDone = 1;

    virtual void operator()(VXSystemFile::ErrorCode code, uint64_t bytes);
    bool OnIssuingThread() const;
    bool Collect();

    // Written by the issuing thread; a foreign Wait only turns done into available, by
    // compare-and-swap. Polled by others.
    // Done is stored with release and read with acquire, so a waiter that sees it also
    // sees the transferred bytes and whatever operator() wrote.
    std::atomic<unsigned int> uiState;
    // Issuing thread. Relaxed atomic: foreign pollers read it while a new issue writes it;
    // busy is stored with release after it, so a poller that sees busy sees the issuer.
    std::atomic<unsigned int> uiThreadID;
    Overlapped sOverlapped;
};
