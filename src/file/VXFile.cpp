#include "vxsystem/VXFile.h"

#include "platform/VXPlatformRuntime.h"

#include <atomic>
#include <cstring>

uint32_t VXFile::iCount = 0;

namespace
{
// Relaxed: a statistic that orders nothing; atomic so that threads making readers at once
// neither race nor lose counts.
void CountFile(uint32_t delta)
{
    std::atomic_ref<uint32_t>(VXFile::iCount).fetch_add(delta, std::memory_order_relaxed);
}

char const* StdioMode(KoFile::OpenMode mode, bool text)
{
    switch (mode)
    {
    case KoFile::MODE_READ:
        return text ? "rt" : "rb";
    case KoFile::MODE_WRITE:
        return text ? "wt" : "wb";
    case KoFile::MODE_READ_WRITE:
        return text ? "r+t" : "r+b";
    default:
        return text ? "a+t" : "a+b";
    }
}
} // namespace

VXFile::VXFile() : uiResult(0), uiArraySize(0), uiTrueFilePos(0), uiFileSize(0)
{
    acFileName[0] = 0;
    CountFile(1);
}

VXFile::VXFile(char const* name, KoFile::OpenMode mode, uint64_t bufferSize, bool text) : VXFile()
{
    eMode = mode;
    uiBufferSize = bufferSize;
    size_t length = name ? std::strlen(name) : 0;
    if (name && length < MAX_PATH_BYTES)
    {
        std::memcpy(acFileName, name, length + 1);
        if (mode == MODE_WRITE || mode == MODE_READ_WRITE)
            Open(false, text);
    }
    if (mode == MODE_READ)
        bGood = acFileName[0] && PlatformAccess(acFileName, 0) == 0;
}

// The copy names the same file but holds no stream (see KoFile): it opens its own, from
// the start, as a fresh object of that mode would.
VXFile::VXFile(VXFile const& other)
    : KoFile(other), uiResult(0), uiArraySize(0), uiTrueFilePos(0), uiFileSize(0)
{
    CountFile(1);
    CopyName(other);
}

VXFile& VXFile::operator=(VXFile const& other)
{
    if (this == &other)
        return *this;
    Close();
    KoFile::operator=(other);
    CopyName(other);
    return *this;
}

void VXFile::CopyName(VXFile const& other)
{
    std::memcpy(acFileName, other.acFileName, sizeof(acFileName));
    uiResult = uiArraySize = uiTrueFilePos = 0;
    uiFileSize = other.uiFileSize;
    bGood = eMode == MODE_READ && acFileName[0] && PlatformAccess(acFileName, 0) == 0;
}

VXFile::~VXFile()
{
    Close();
    CountFile(static_cast<uint32_t>(-1));
}

VXFile* VXFile::GetFile(char const* name, KoFile::OpenMode mode, unsigned int bufferSize)
{
    return static_cast<VXFile*>(KoFile::GetFile(name, mode, bufferSize));
}

void VXFile::ResetForOpen()
{
    uiBufferReadSize = uiReadPos = 0;
    bWritePending = bStreamFailed = false;
    FreeBuffer();
}

bool VXFile::Open(bool, bool text)
{
    if (pFile)
        return true;
    ResetForOpen();
    PlatformOpenStream(&pFile, acFileName, StdioMode(eMode, text));
    if (!pFile && eMode == MODE_READ_WRITE)
    {
        // "r+" on a missing file: create it, then open it as asked.
        FILE* created = nullptr;
        PlatformOpenStream(&created, acFileName, text ? "wt" : "wb");
        PlatformCloseStream(created);
        PlatformOpenStream(&pFile, acFileName, StdioMode(eMode, text));
    }
    uiDiskPos = 0;
    return CheckIsGood();
}

bool VXFile::OpenByFilePointer(FILE* stream)
{
    if (pFile)
        return true;
    ResetForOpen();
    pFile = stream;
    int64_t position = PlatformTellStream(stream);
    uiDiskPos = position < 0 ? 0 : static_cast<uint64_t>(position);
    return CheckIsGood();
}

bool VXFile::CheckIsGood()
{
    if (!pFile)
    {
        bGood = false;
        return false;
    }
    bGood = true;
    if (uiBufferSize == 0 || pBuffer)
        return true;
    bool wholeFile = uiBufferSize == WHOLE_FILE_BUFFER;
    if (wholeFile)
        uiBufferSize = GetFileSize();
    AllocateBuffer(uiBufferSize);
    if (uiBufferSize && !pBuffer)
    {
        uiBufferSize = 0; // no room for a buffer: work unbuffered
        return bGood = !wholeFile;
    }
    if (wholeFile)
    {
        uiBufferReadSize = uiBufferSize;
        uiReadPos = 0;
        if (KoFile::DiskRead(pBuffer, uiBufferSize) < uiBufferSize)
        {
            uiBufferReadSize = 0;
            bGood = false;
        }
    }
    return bGood;
}

void VXFile::Close()
{
    CloseStream(acFileName);
    FreeBuffer();
}

void VXFile::AllocateBuffer(uint64_t size)
{
    FreeBuffer();
    uiBufferSize = size;
    if (size)
        pBuffer = static_cast<char*>(MemoryManager::Instance().Allocate(size));
}

void VXFile::FreeBuffer()
{
    MemoryManager::Instance().Deallocate(pBuffer);
    pBuffer = nullptr;
}

uint64_t VXFile::DoRead(void* buffer, uint64_t size)
{
    if (!pFile)
        Open(false, false);
    // A whole-file buffer that could not be filled holds nothing to serve.
    if (!bGood)
        return 0;
    uint64_t done = KoFile::DoRead(buffer, size);
    uiTrueFilePos += done;
    return done;
}

uint64_t VXFile::DoWrite(void const* buffer, uint64_t size)
{
    uint64_t done = KoFile::DoWrite(buffer, size);
    uiTrueFilePos += done;
    return done;
}

bool VXFile::Seek(int64_t offset, int whence)
{
    uint64_t target = uiTrueFilePos;
    if (whence == ms_iSeekSet)
        target = static_cast<uint64_t>(offset);
    else if (whence == ms_iSeekCur)
        target = uiTrueFilePos + static_cast<uint64_t>(offset);
    else if (whence == ms_iSeekEnd)
        target = GetSize() - static_cast<uint64_t>(offset);
    if (target == uiTrueFilePos)
        return true;
    // A lazily opened file is opened now, so that the next read starts at the target.
    if (!pFile && (eMode == MODE_READ || eMode == MODE_APPEND))
        Open(false, false);
    uiTrueFilePos = target;
    if (whence == ms_iSeekEnd)
        return KoFile::Seek(offset, ms_iSeekEnd);
    // Read mode moves relative to KoFile's position, which lets a target inside the
    // buffer cost no system call; the other modes move to the absolute offset.
    if (eMode == MODE_READ)
        return KoFile::Seek(static_cast<int64_t>(target - KoFile::GetPosition()), ms_iSeekCur);
    return KoFile::Seek(static_cast<int64_t>(target), ms_iSeekSet);
}

uint64_t VXFile::GetSize()
{
    uiFileSize = 0;
    if (eMode == MODE_WRITE || eMode == MODE_READ_WRITE)
        KoFile::Flush();
    Open(false, false);
    uiFileSize = KoFile::GetFileSize();
    return uiFileSize;
}

uint64_t VXFile::GetFileSize() const
{
    if (uiFileSize)
        return uiFileSize;
    // The virtual GetSize refreshes the cache in every class of the family.
    const_cast<VXFile*>(this)->GetSize();
    return uiFileSize;
}

bool VXFile::ChangeBufferSize(uint64_t newSize)
{
    uint64_t size = GetSize();
    uint64_t floor = size > 0x2800 ? size : 0x2800;
    uint64_t target = newSize < floor ? newSize : floor;
    if (target == uiBufferSize)
        return true;
    KoFile::Seek(0, ms_iSeekSet);
    KoFile::Flush();
    AllocateBuffer(target);
    if (target && !pBuffer)
        uiBufferSize = 0;
    uiTrueFilePos = 0;
    return true;
}

bool VXFile::Exist()
{
    return acFileName[0] && PlatformAccess(acFileName, 0) == 0;
}

SYSTEMTIME VXFile::GetLastSaveTime() const
{
    SYSTEMTIME time{};
    uint64_t ticks = 0;
    if (pFile && PlatformGetLastWriteTime(acFileName, ticks))
        PlatformFileTimeToLocalTime(ticks, time);
    return time;
}
