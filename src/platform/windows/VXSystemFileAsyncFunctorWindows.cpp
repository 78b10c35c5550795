// Windows half of asynchronous transfers: ReadFileEx and WriteFileEx, whose completion
// routines the system runs on the issuing thread inside its alertable waits.
#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"
#include "vxsystem/VXTArray.h"

#include "platform/VXPlatformThreadSlot.h"
#include "platform/windows/VXWindowsApi.h"
#include "sysfile/VXAsyncWaitPlatform.h"

#include <cstddef>

namespace
{
using Overlapped = VXSystemFileAsyncFunctor::Overlapped;

// The functor's control block is handed to the system as its OVERLAPPED.
static_assert(sizeof(Overlapped) == sizeof(OVERLAPPED), "control block size");
static_assert(offsetof(Overlapped, uiInternal) == offsetof(OVERLAPPED, Internal), "layout");
static_assert(offsetof(Overlapped, uiInternalHigh) == offsetof(OVERLAPPED, InternalHigh), "layout");
static_assert(offsetof(Overlapped, uiOffset) == offsetof(OVERLAPPED, Offset), "layout");
static_assert(offsetof(Overlapped, uiOffsetHigh) == offsetof(OVERLAPPED, OffsetHigh), "layout");
static_assert(offsetof(Overlapped, pEvent) == offsetof(OVERLAPPED, hEvent), "layout");

constexpr ULONG_PTR kStatusPending = 0x103;
constexpr ULONG_PTR kStatusEndOfFile = 0xC0000011;

// The transfers one thread issued whose routines have not run. The system drops a
// thread's routines when it ends, and a foreign Wait(true) would then poll for ever; so
// at the thread's end each is delivered from the result the system leaves in its control
// block. Only the owning thread touches the list, kept in a per-thread slot.
struct Pending
{
    VXSystemFileAsyncFunctor* pFunctor; // whose routine has not run
    Overlapped* pOverlapped;            // its control block, where the system leaves the result
    bool operator==(Pending const&) const = default;
};

struct PendingTransfers : VXHeapObject
{
    VXTArray<Pending> kPending;

    static void DeliverAtExit(void* data)
    {
        auto* transfers = static_cast<PendingTransfers*>(data);
        for (unsigned int i = 0; i < transfers->kPending.QSize(); ++i)
            Deliver(transfers->kPending[i]);
        delete transfers;
    }
    static void Deliver(Pending const& pending)
    {
        auto volatile const& status = pending.pOverlapped->uiInternal;
        while (status == kStatusPending)
            Sleep(1);
        DWORD error = status == 0                  ? 0
                      : status == kStatusEndOfFile ? ERROR_HANDLE_EOF
                                                   : ERROR_GEN_FAILURE;
        pending.pFunctor->ExecuteUserCB(
            VXSystemFile::FileErrorFromPlatform(static_cast<int>(error)),
            pending.pOverlapped->uiInternalHigh);
    }
    // The calling thread's list; null when it does not exist and create is false, or
    // when it cannot be made.
    static PendingTransfers* Current(bool create)
    {
        static unsigned int const sSlot = PlatformThreadSlotCreate(DeliverAtExit);
        auto* transfers = static_cast<PendingTransfers*>(PlatformThreadSlotGet(sSlot));
        if (transfers || !create || sSlot == VX_NO_THREAD_SLOT)
            return transfers;
        transfers = new PendingTransfers;
        if (transfers && !PlatformThreadSlotSet(sSlot, transfers))
        {
            delete transfers;
            transfers = nullptr;
        }
        return transfers;
    }
};

// False when the list had no room: the transfer is then not issued.
bool Track(Pending pending)
{
    PendingTransfers* transfers = PendingTransfers::Current(true);
    return transfers && transfers->kPending.Add(pending) != VXTArrayBase::INVALID_INDEX;
}

void Untrack(Pending pending)
{
    if (PendingTransfers* transfers = PendingTransfers::Current(false))
        transfers->kPending.RemoveAtFast(transfers->kPending.Find(pending));
}

void WINAPI CompleteTransfer(DWORD error, DWORD bytes, OVERLAPPED* block)
{
    auto* overlapped = reinterpret_cast<Overlapped*>(block);
    if (!overlapped || !overlapped->pEvent)
        return;
    auto* functor = static_cast<VXSystemFileAsyncFunctor*>(overlapped->pEvent);
    Untrack({functor, overlapped});
    functor->ExecuteUserCB(VXSystemFile::FileErrorFromPlatform(static_cast<int>(error)), bytes);
}

OVERLAPPED* Prepare(Overlapped& overlapped, uint64_t offset, void* functor)
{
    overlapped.uiInternal = 0;
    overlapped.uiInternalHigh = 0;
    overlapped.uiOffset = static_cast<uint32_t>(offset);
    overlapped.uiOffsetHigh = static_cast<uint32_t>(offset >> 32);
    overlapped.pEvent = functor; // ReadFileEx leaves hEvent to the caller
    return reinterpret_cast<OVERLAPPED*>(&overlapped);
}

// Whether the system would refuse the read as starting at or past the end. Asked first,
// because a system may instead accept such a read and fail it in the routine.
bool StartsPastEnd(HANDLE file, uint64_t size, uint64_t offset)
{
    LARGE_INTEGER length{};
    return size > 0 && GetFileSizeEx(file, &length) &&
           offset >= static_cast<uint64_t>(length.QuadPart);
}
} // namespace

bool PlatformAlertableSleep(unsigned int milliseconds)
{
    return SleepEx(milliseconds, TRUE) == WAIT_IO_COMPLETION;
}

unsigned int PlatformAsyncThreadId()
{
    return GetCurrentThreadId();
}

VXSystemFile::ErrorCode VXSystemFile::DoReadAsync(void* buffer, uint64_t size, uint64_t offset,
                                                  VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    OVERLAPPED* block = Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(GetCurrentThreadId(), std::memory_order_relaxed);
    // Release: publishes the issuing thread to foreign pollers.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    HANDLE file = reinterpret_cast<HANDLE>(hFile);
    DWORD error = 0;
    if (size > 0xFFFFFFFFu)
        error = ERROR_INVALID_PARAMETER; // one system transfer moves at most 4 GiB - 1
    else if (StartsPastEnd(file, size, offset))
        error = ERROR_HANDLE_EOF;
    else if (!Track({&functor, &functor.sOverlapped}))
        error = ERROR_NOT_ENOUGH_MEMORY;
    else if (!ReadFileEx(file, buffer, static_cast<DWORD>(size), block, CompleteTransfer))
        error = GetLastError(), Untrack({&functor, &functor.sOverlapped});
    if (!error)
        return EC_OK;
    functor.uiState.store(VXSystemFileAsyncFunctor::uiAvailable, std::memory_order_relaxed);
    return error == ERROR_HANDLE_EOF ? EC_OK : FileErrorFromPlatform(static_cast<int>(error));
}

VXSystemFile::ErrorCode VXSystemFile::DoWriteAsync(void const* buffer, uint64_t size,
                                                   uint64_t offset,
                                                   VXSystemFileAsyncFunctor& functor)
{
    if (!QAsyncEnabled())
        return EC_FAILED;
    OVERLAPPED* block = Prepare(functor.sOverlapped, offset, &functor);
    functor.uiThreadID.store(GetCurrentThreadId(), std::memory_order_relaxed);
    if (size > 0xFFFFFFFFu)
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    if (!Track({&functor, &functor.sOverlapped}))
        return FileErrorFromPlatform(ERROR_NOT_ENOUGH_MEMORY);
    if (!WriteFileEx(reinterpret_cast<HANDLE>(hFile), buffer, static_cast<DWORD>(size), block,
                     CompleteTransfer))
    {
        Untrack({&functor, &functor.sOverlapped});
        return FileErrorFromPlatform(static_cast<int>(GetLastError()));
    }
    // Safe after the issue: the routine can only run in a later wait of this thread.
    functor.uiState.store(VXSystemFileAsyncFunctor::uiBusy, std::memory_order_release);
    return EC_OK;
}
