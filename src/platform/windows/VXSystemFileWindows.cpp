// Windows half of VXSystemFile: CreateFileW with the system's own share rules, overlapped
// positioned transfers, and GetLastError mapped to the file layer's codes.
#include "vxsystem/VXSystemFile.h"

#include "platform/VXPlatformThreadSlot.h"
#include "platform/windows/VXWindowsApi.h"

static_assert(sizeof(intptr_t) >= sizeof(HANDLE), "a handle fits the handle word");

namespace
{
// The most one system call moves; larger transfers are split.
constexpr DWORD kMaxChunk = 0x40000000;

HANDLE Handle(intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

DWORD Chunk(uint64_t left)
{
    return left > kMaxChunk ? kMaxChunk : static_cast<DWORD>(left);
}

// An event per thread for positioned transfers: an overlapped handle may have several
// transfers out at once, so the handle itself cannot tell whose ended.
HANDLE TransferEvent()
{
    static unsigned int const sSlot =
        PlatformThreadSlotCreate([](void* event) { CloseHandle(static_cast<HANDLE>(event)); });
    HANDLE event = PlatformThreadSlotGet(sSlot);
    if (event || sSlot == VX_NO_THREAD_SLOT)
        return event;
    event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event && !PlatformThreadSlotSet(sSlot, event))
    {
        CloseHandle(event);
        event = nullptr;
    }
    return event;
}

// One positioned transfer of at most kMaxChunk bytes. 0 or the system error.
DWORD TransferAt(HANDLE file, void* buffer, DWORD size, uint64_t offset, bool write, DWORD& moved)
{
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    at.hEvent = TransferEvent();
    if (!at.hEvent)
        return GetLastError();
    moved = 0;
    BOOL ok = write ? WriteFile(file, buffer, size, &moved, &at)
                    : ReadFile(file, buffer, size, &moved, &at);
    if (ok)
        return 0;
    DWORD error = GetLastError();
    if (error == ERROR_IO_PENDING)
        error = GetOverlappedResult(file, &at, &moved, TRUE) ? 0 : GetLastError();
    return error;
}

// Whole positioned transfer, continued over short platform transfers. A read stops
// early at the end of the file, which is no error.
DWORD MoveAllAt(HANDLE file, void* buffer, uint64_t size, uint64_t offset, bool write,
                uint64_t& moved)
{
    moved = 0;
    while (moved < size)
    {
        DWORD step = 0;
        DWORD error = TransferAt(file, static_cast<char*>(buffer) + moved, Chunk(size - moved),
                                 offset + moved, write, step);
        moved += step;
        if (!write && error == ERROR_HANDLE_EOF)
            return 0;
        if (error)
            return error;
        if (step == 0)
            return write ? ERROR_WRITE_FAULT : 0;
    }
    return 0;
}

DWORD MoveAll(HANDLE file, void* buffer, uint64_t size, bool write, uint64_t& moved)
{
    moved = 0;
    while (moved < size)
    {
        DWORD step = 0;
        char* at = static_cast<char*>(buffer) + moved;
        BOOL ok = write ? WriteFile(file, at, Chunk(size - moved), &step, nullptr)
                        : ReadFile(file, at, Chunk(size - moved), &step, nullptr);
        if (!ok)
            return GetLastError();
        moved += step;
        if (step == 0)
            return write ? ERROR_WRITE_FAULT : 0;
    }
    return 0;
}

int Mapped(DWORD error)
{
    return static_cast<int>(error);
}

DWORD Flags(bool async, bool noCache)
{
    if (async)
        return FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING | FILE_FLAG_SEQUENTIAL_SCAN;
    return noCache ? FILE_FLAG_NO_BUFFERING | FILE_FLAG_SEQUENTIAL_SCAN : FILE_FLAG_SEQUENTIAL_SCAN;
}
} // namespace

VXSystemFile::ErrorCode VXSystemFile::FileErrorFromPlatform(int platformError)
{
    switch (platformError)
    {
    case 0:
        return EC_OK;
    case ERROR_FILE_NOT_FOUND:
        return EC_FILE_NOT_FOUND;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS: // what CREATE_NEW reports for the same cause
        return EC_ALREADY_EXISTS;
    case ERROR_PATH_NOT_FOUND:
        return EC_PATH_NOT_FOUND;
    case ERROR_WRITE_PROTECT:
        return EC_WRITE_PROTECTED;
    default:
        return EC_FAILED;
    }
}

VXSystemFile::ErrorCode VXSystemFile::DoOpen(char const* name, AccessMode access, OpenMode open,
                                             uint64_t)
{
    static constexpr DWORD kAccess[] = {GENERIC_READ, GENERIC_READ | GENERIC_WRITE, GENERIC_WRITE};
    static constexpr DWORD kCreate[] = {OPEN_EXISTING, OPEN_EXISTING, CREATE_ALWAYS,
                                        TRUNCATE_EXISTING, CREATE_NEW};
    // Emptying a file needs the right to write it, whatever the system lets through.
    if (access > AM_WRITE || open > OM_CREATE_NEW || (open == OM_TRUNCATE && access == AM_READ))
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    VXWidePath wide;
    if (!VXWidenName(name, wide))
        return FileErrorFromPlatform(Mapped(GetLastError()));
    unsigned int state = uiState.load(std::memory_order_relaxed);
    DWORD flags = Flags((state & ALLOW_ASYNC_MASK) != 0, (state & ALLOW_NO_CACHE_MASK) != 0);
    HANDLE file =
        CreateFileW(wide, kAccess[access], FILE_SHARE_READ, nullptr, kCreate[open], flags, nullptr);
    // Open or create. OPEN_ALWAYS rather than CREATE_ALWAYS, so that a file another
    // thread created meanwhile keeps its content.
    if (file == INVALID_HANDLE_VALUE && open == OM_APPEND)
        file = CreateFileW(wide, kAccess[access], FILE_SHARE_READ, nullptr, OPEN_ALWAYS, flags,
                           nullptr);
    // A folder opened as a file gives ERROR_ACCESS_DENIED: EC_FAILED, not a missing file.
    if (file == INVALID_HANDLE_VALUE)
        return FileErrorFromPlatform(Mapped(GetLastError()));
    hFile = reinterpret_cast<intptr_t>(file);
    if (open != OM_APPEND || QAsyncEnabled())
        return EC_OK;
    LARGE_INTEGER zero{};
    return SetFilePointerEx(file, zero, nullptr, FILE_END)
               ? EC_OK
               : FileErrorFromPlatform(Mapped(GetLastError()));
}

void VXSystemFile::DoClose()
{
    CloseHandle(Handle(hFile));
    InvalidateFile();
}

VXSystemFile::ErrorCode VXSystemFile::DoRead(void* buffer, uint64_t size, uint64_t& bytesRead)
{
    bytesRead = 0;
    if (QAsyncEnabled())
        return EC_FAILED;
    return FileErrorFromPlatform(Mapped(MoveAll(Handle(hFile), buffer, size, false, bytesRead)));
}

VXSystemFile::ErrorCode VXSystemFile::DoWrite(void const* buffer, uint64_t size,
                                              uint64_t& bytesWritten)
{
    bytesWritten = 0;
    if (QAsyncEnabled())
        return EC_FAILED;
    // The call only reads the buffer; the loop is shared with reads.
    return FileErrorFromPlatform(
        Mapped(MoveAll(Handle(hFile), const_cast<void*>(buffer), size, true, bytesWritten)));
}

VXSystemFile::ErrorCode VXSystemFile::DoReadAt(void* buffer, uint64_t size, uint64_t offset,
                                               uint64_t& bytesRead) const
{
    bytesRead = 0;
    if (offset > static_cast<uint64_t>(INT64_MAX))
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    return FileErrorFromPlatform(
        Mapped(MoveAllAt(Handle(hFile), buffer, size, offset, false, bytesRead)));
}

VXSystemFile::ErrorCode VXSystemFile::DoWriteAt(void const* buffer, uint64_t size, uint64_t offset,
                                                uint64_t& bytesWritten) const
{
    bytesWritten = 0;
    if (offset > static_cast<uint64_t>(INT64_MAX))
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    return FileErrorFromPlatform(Mapped(
        MoveAllAt(Handle(hFile), const_cast<void*>(buffer), size, offset, true, bytesWritten)));
}

VXSystemFile::ErrorCode VXSystemFile::DoSeek(int64_t offset, SeekMode mode, uint64_t& position)
{
    static constexpr DWORD kMethod[] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
    if (QAsyncEnabled())
        return EC_FAILED;
    if (mode > SM_END)
        return FileErrorFromPlatform(ERROR_INVALID_PARAMETER);
    LARGE_INTEGER distance;
    distance.QuadPart = offset;
    LARGE_INTEGER result{};
    if (!SetFilePointerEx(Handle(hFile), distance, &result, kMethod[mode]))
        return FileErrorFromPlatform(Mapped(GetLastError()));
    position = static_cast<uint64_t>(result.QuadPart);
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoSetEndOfFile()
{
    return ::SetEndOfFile(Handle(hFile)) ? EC_OK : FileErrorFromPlatform(Mapped(GetLastError()));
}

VXSystemFile::ErrorCode VXSystemFile::DoGetSize(uint64_t& size) const
{
    LARGE_INTEGER result{};
    if (!GetFileSizeEx(Handle(hFile), &result))
    {
        size = 0;
        return EC_FAILED;
    }
    size = static_cast<uint64_t>(result.QuadPart);
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoFlush()
{
    return FlushFileBuffers(Handle(hFile)) ? EC_OK : EC_FAILED;
}

VXSystemFile::ErrorCode VXSystemFile::DoGetInfo(Info& info) const
{
    FILETIME creation;
    FILETIME access;
    FILETIME write;
    LARGE_INTEGER size{};
    info = Info{};
    if (!GetFileTime(Handle(hFile), &creation, &access, &write) ||
        !GetFileSizeEx(Handle(hFile), &size))
        return EC_FAILED;
    info.ftCreation = {creation.dwLowDateTime, creation.dwHighDateTime};
    info.ftLastAccess = {access.dwLowDateTime, access.dwHighDateTime};
    info.ftLastWrite = {write.dwLowDateTime, write.dwHighDateTime};
    info.uiSize = static_cast<uint64_t>(size.QuadPart);
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoSetTime(_FILETIME const* creation,
                                                _FILETIME const* lastAccess,
                                                _FILETIME const* lastWrite)
{
    // Null stays null: the system leaves that time alone.
    auto system = [](_FILETIME const* time, FILETIME& out) -> FILETIME const*
    {
        if (!time)
            return nullptr;
        out = {time->dwLowDateTime, time->dwHighDateTime};
        return &out;
    };
    FILETIME times[3];
    BOOL ok = SetFileTime(Handle(hFile), system(creation, times[0]), system(lastAccess, times[1]),
                          system(lastWrite, times[2]));
    return ok ? EC_OK : FileErrorFromPlatform(Mapped(GetLastError()));
}

VXSystemFile::ErrorCode VXSystemFile::DoDeleteFile(char const* name)
{
    VXWidePath wide;
    if (!VXWidenName(name, wide) || !DeleteFileW(wide))
        return FileErrorFromPlatform(Mapped(GetLastError()));
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoCopyFile(char const* fromName, char const* toName,
                                                 bool failIfExists)
{
    VXWidePath from;
    VXWidePath to;
    if (!VXWidenName(fromName, from) || !VXWidenName(toName, to) ||
        !CopyFileW(from, to, failIfExists))
        return FileErrorFromPlatform(Mapped(GetLastError()));
    return EC_OK;
}

VXSystemFile::ErrorCode VXSystemFile::DoMoveFile(char const* fromName, char const* toName,
                                                 bool replace)
{
    VXWidePath from;
    VXWidePath to;
    DWORD flags = MOVEFILE_COPY_ALLOWED | (replace ? MOVEFILE_REPLACE_EXISTING : 0);
    if (!VXWidenName(fromName, from) || !VXWidenName(toName, to) || !MoveFileExW(from, to, flags))
        return FileErrorFromPlatform(Mapped(GetLastError()));
    return EC_OK;
}
