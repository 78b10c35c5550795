#include "vxsystem/KoFile.h"

#include "vxsystem/VXSystemFile.h"

#include "platform/VXPlatformRuntime.h"

#include <cstring>

int KoFile::ms_iSeekSet = 0;
int KoFile::ms_iSeekCur = 1;
int KoFile::ms_iSeekEnd = 2;
KoFile::CreateFunc KoFile::spCreateFunc = nullptr;
KoFile::AccessFunc KoFile::spAccessFunc = nullptr;

KoFile::KoFile()
    : uiBufferSize(0), uiBufferReadSize(0), uiReadPos(0), uiDiskPos(0), pBuffer(nullptr),
      pFile(nullptr), eMode(MODE_READ), bGood(false), bWritePending(false), bStreamFailed(false),
      bPositionedReads(false)
{
}

KoFile::KoFile(char const* name, OpenMode mode, uint64_t bufferSize) : KoFile()
{
    eMode = mode;
    if (!name || !*name)
        return;
    static char const* const kModes[] = {"rb", "r+b", "a+b", "r+b"};
    char const* stdioMode = (mode >= MODE_READ && mode <= MODE_READ_WRITE) ? kModes[mode] : "a+b";
    PlatformOpenStream(&pFile, name, stdioMode);
    if (!pFile && mode == MODE_WRITE)
        PlatformOpenStream(&pFile, name, "wb"); // missing file: create it
    if (!pFile)
        return;
    if (bufferSize)
    {
        pBuffer = static_cast<char*>(MemoryManager::Instance().Allocate(bufferSize));
        uiBufferSize = pBuffer ? bufferSize : 0;
    }
    bGood = true;
}

// Two owners of one stream would close and free it twice: a copy keeps the settings only.
KoFile::KoFile(KoFile const& other) : KoFile()
{
    eMode = other.eMode;
    uiBufferSize = other.uiBufferSize;
    bPositionedReads = other.bPositionedReads;
}

KoFile& KoFile::operator=(KoFile const& other)
{
    if (this == &other)
        return *this;
    CloseStream("");
    MemoryManager::Instance().Deallocate(pBuffer);
    pBuffer = nullptr;
    uiBufferReadSize = uiReadPos = uiDiskPos = 0;
    bGood = bWritePending = bStreamFailed = false;
    eMode = other.eMode;
    uiBufferSize = other.uiBufferSize;
    bPositionedReads = other.bPositionedReads;
    return *this;
}

KoFile::~KoFile()
{
    CloseStream("");
    MemoryManager::Instance().Deallocate(pBuffer);
}

void KoFile::CloseStream(char const* name)
{
    if (!pFile)
        return;
    bool saved = Flush();
    saved = PlatformCloseStream(pFile) == 0 && saved;
    pFile = nullptr;
    uiBufferReadSize = uiReadPos = 0;
    bWritePending = false;
    if (!saved && eMode != MODE_READ)
        VXSystemFile::InvokeErrorCallback(name, VXSystemFile::FO_FLUSH, VXSystemFile::EC_FAILED);
}

uint64_t KoFile::GetPosition() const
{
    return uiDiskPos - uiBufferReadSize + uiReadPos;
}

void KoFile::GetBufferInfo(BufferInfo& info) const
{
    info.pBuffer = pBuffer;
    info.uiBufferSize = uiBufferSize;
    info.uiBufferReadSize = uiBufferReadSize;
    info.uiReadPos = uiReadPos;
}

bool KoFile::Seek(int64_t offset)
{
    return Seek(offset, ms_iSeekCur);
}

bool KoFile::SeekStream(uint64_t position)
{
    if (bPositionedReads)
    {
        uiDiskPos = position;
        return true;
    }
    if (PlatformSeekStream(pFile, static_cast<int64_t>(position), SEEK_SET) != 0)
        return false;
    uiDiskPos = position;
    return true;
}

bool KoFile::Seek(int64_t offset, int whence)
{
    if (!pFile || bStreamFailed)
        return false;
    uint64_t logical = GetPosition();
    uint64_t target = 0;
    if (whence == ms_iSeekSet)
        target = static_cast<uint64_t>(offset);
    else if (whence == ms_iSeekCur)
        target = logical + static_cast<uint64_t>(offset);
    else if (whence == ms_iSeekEnd)
    {
        if (!Flush() || PlatformSeekStream(pFile, -offset, SEEK_END) != 0)
            return false;
        int64_t position = PlatformTellStream(pFile);
        if (position < 0)
            return false;
        uiDiskPos = static_cast<uint64_t>(position);
        return true;
    }
    else
        return false;
    if (static_cast<int64_t>(target) < 0)
        return false;
    // Stay inside the read buffer when the target lies in it: no system call.
    uint64_t bufferStart = uiDiskPos - uiBufferReadSize;
    if (!bWritePending && target >= bufferStart && target <= uiDiskPos)
    {
        uiReadPos = target - bufferStart;
        return true;
    }
    if (!Flush())
        return false;
    uiBufferReadSize = uiReadPos = 0;
    return SeekStream(target);
}

uint64_t KoFile::GetFileSize() const
{
    if (!pFile)
        return 0;
    int64_t here = PlatformTellStream(pFile);
    if (here < 0 || PlatformSeekStream(pFile, 0, SEEK_END) != 0)
        return 0;
    int64_t end = PlatformTellStream(pFile);
    if (PlatformSeekStream(pFile, here, SEEK_SET) != 0)
    {
        // Left at the end, the stream would take the next write there.
        bStreamFailed = true;
        return 0;
    }
    return end < 0 ? 0 : static_cast<uint64_t>(end);
}

uint64_t KoFile::DiskRead(void* buffer, uint64_t size)
{
    if (!pFile || !buffer || size == 0)
        return 0;
    if (bPositionedReads)
    {
        int64_t got = PlatformReadStreamAt(pFile, uiDiskPos, buffer, size);
        uint64_t n = got < 0 ? 0 : static_cast<uint64_t>(got);
        uiDiskPos += n;
        return n;
    }
    uint64_t n = PlatformReadStream(pFile, buffer, size);
    uiDiskPos += n;
    return n;
}

int64_t KoFile::GetActualFilePosition() const
{
    return pFile ? PlatformTellStream(pFile) : -1;
}

uint64_t KoFile::DoRead(void* buffer, uint64_t size)
{
    if (!pFile || bStreamFailed || size == 0)
        return 0;
    if (bWritePending && !Flush())
        return 0;
    auto* out = static_cast<char*>(buffer);
    uint64_t done = 0;
    uint64_t buffered = uiBufferReadSize - uiReadPos;
    if (buffered)
    {
        done = buffered < size ? buffered : size;
        if (out)
            std::memcpy(out, pBuffer + uiReadPos, done);
        uiReadPos += done;
        if (done == size)
            return done;
    }
    uint64_t rest = size - done;
    uiBufferReadSize = uiReadPos = 0;
    if (!out)
    {
        // Skip forward without copying.
        return SeekStream(uiDiskPos + rest) ? size : done;
    }
    if (!pBuffer || rest >= uiBufferSize)
        return done + DiskRead(out + done, rest);
    uiBufferReadSize = DiskRead(pBuffer, uiBufferSize);
    uint64_t take = uiBufferReadSize < rest ? uiBufferReadSize : rest;
    std::memcpy(out + done, pBuffer, take);
    uiReadPos = take;
    return done + take;
}

uint64_t KoFile::WriteStream(void const* buffer, uint64_t size)
{
    uint64_t n = PlatformWriteStream(pFile, buffer, size);
    if (n < size)
        bStreamFailed = true;
    if (eMode == MODE_APPEND)
    {
        // Appends land at the end whatever the position was.
        int64_t position = PlatformTellStream(pFile);
        uiDiskPos = position < 0 ? uiDiskPos + n : static_cast<uint64_t>(position);
    }
    else
        uiDiskPos += n;
    return n;
}

uint64_t KoFile::DoWrite(void const* buffer, uint64_t size)
{
    if (!pFile || bStreamFailed || !buffer || size == 0)
        return 0;
    if (!bWritePending && uiBufferReadSize)
    {
        // Reading left the stream ahead of the logical position: go back to it.
        uint64_t logical = GetPosition();
        uiBufferReadSize = uiReadPos = 0;
        if (!SeekStream(logical))
            return 0;
    }
    if (!pBuffer)
        return WriteStream(buffer, size);
    if (bWritePending && uiReadPos + size > uiBufferSize && !Flush())
        return 0;
    if (size >= uiBufferSize)
        return WriteStream(buffer, size);
    std::memcpy(pBuffer + uiReadPos, buffer, size);
    uiReadPos += size;
    bWritePending = true;
    return size;
}

bool KoFile::FlushStream()
{
    if (PlatformFlushStream(pFile) == 0)
        return true;
    bStreamFailed = true;
    return false;
}

bool KoFile::Flush()
{
    if (!pFile)
        return true;
    if (bStreamFailed)
        return false;
    if (bWritePending)
    {
        uint64_t pending = uiReadPos;
        bWritePending = false;
        uiReadPos = 0;
        return WriteStream(pBuffer, pending) == pending && FlushStream();
    }
    if (uiBufferReadSize)
    {
        uint64_t logical = GetPosition();
        uiBufferReadSize = uiReadPos = 0;
        return SeekStream(logical);
    }
    uiReadPos = 0;
    return FlushStream();
}

KoFile* KoFile::GetFile(char const* name, OpenMode mode, unsigned int bufferSize)
{
    return spCreateFunc ? spCreateFunc(name, mode, bufferSize) : nullptr;
}

bool KoFile::CanAccess(char const* name, OpenMode mode)
{
    return spAccessFunc && spAccessFunc(name, mode);
}

void KoFile::SetFileCreateFunc(CreateFunc func)
{
    spCreateFunc = func;
}

void KoFile::SetFileAccessFunc(AccessFunc func)
{
    spAccessFunc = func;
}
