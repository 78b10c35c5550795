// The stream base classes: KoBinaryStream (Read/Write over virtual DoRead/DoWrite) and
// KoFile, a buffered stream over a stdio FILE. KoFile also holds the process-wide file
// factory and access hooks that FileFinder installs. One thread at a time per object.
// A write, flush or repositioning that fails marks the stream failed: from then on writes
// take nothing and Flush says false, so no later call can hide the loss. A final flush
// that fails on close goes to VXSystemFile's error callback. A copy never shares the
// original's stream or buffer: it starts closed.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdint>
#include <cstdio>

class KoBinaryStream : public VXHeapObject
{
public:
    struct BufferInfo
    {
        char const* pBuffer;       // the buffer, or null
        uint64_t uiBufferSize;     // allocated bytes
        uint64_t uiBufferReadSize; // valid bytes
        uint64_t uiReadPos;        // cursor inside the buffer
    };

    virtual ~KoBinaryStream() = default;

    // Bytes read; a null buffer skips forward where the stream supports it.
    uint64_t Read(void* buffer, uint64_t size) { return DoRead(buffer, size); }
    uint64_t Write(void const* buffer, uint64_t size) { return DoWrite(buffer, size); }
    virtual uint64_t GetPosition() const = 0;

protected:
    KoBinaryStream() = default;
    KoBinaryStream(KoBinaryStream const&) = default;
    KoBinaryStream& operator=(KoBinaryStream const&) = default;
    virtual uint64_t DoRead(void* buffer, uint64_t size) = 0;
    virtual uint64_t DoWrite(void const* buffer, uint64_t size) = 0;
};

class KoFile : public KoBinaryStream
{
public:
    enum OpenMode : int32_t
    {
        MODE_READ = 0,
        MODE_WRITE = 1,
        MODE_APPEND = 2,
        MODE_READ_WRITE = 3,
    };

    using CreateFunc = KoFile* (*)(char const* name, OpenMode mode, unsigned int bufferSize);
    using AccessFunc = bool (*)(char const* name, OpenMode mode);

    static int ms_iSeekSet; // 0
    static int ms_iSeekCur; // 1
    static int ms_iSeekEnd; // 2

    // Opens at once, in binary. Write mode never truncates here: KoFile serves as an
    // access probe, and a probe must not destroy what it probes.
    KoFile(char const* name, OpenMode mode, uint64_t bufferSize);
    ~KoFile() override;

    explicit virtual operator bool() const { return bGood; }
    // Relative seek.
    virtual bool Seek(int64_t offset);
    uint64_t GetPosition() const override;
    virtual void GetBufferInfo(BufferInfo& info) const;
    // Set: from the start; Cur: from the logical position; End: offset bytes back from
    // the end (a positive offset counts backwards).
    virtual bool Seek(int64_t offset, int whence);
    virtual uint64_t GetFileSize() const;

    // Reads straight from the stream into any block, past the buffer.
    uint64_t DiskRead(void* buffer, uint64_t size);
    char* GetBuffer() const { return pBuffer; }
    int64_t GetActualFilePosition() const;

    static KoFile* GetFile(char const* name, OpenMode mode, unsigned int bufferSize);
    static bool CanAccess(char const* name, OpenMode mode);
    static void SetFileCreateFunc(CreateFunc func);
    static void SetFileAccessFunc(AccessFunc func);

protected:
    KoFile();
    KoFile(KoFile const& other);
    KoFile& operator=(KoFile const& other);

    uint64_t DoRead(void* buffer, uint64_t size) override;
    uint64_t DoWrite(void const* buffer, uint64_t size) override;
    // Read side: drops the buffered bytes, keeping the logical position. Write side:
    // writes them out. False when the stream took fewer bytes than were pending, and
    // ever after once the stream has failed.
    bool Flush();
    // Flushes, closes and forgets the stream; a lost write goes to the error callback
    // under name. The buffer stays.
    void CloseStream(char const* name);

    uint64_t uiBufferSize;     // allocated bytes of pBuffer; 0 = unbuffered
    uint64_t uiBufferReadSize; // valid read bytes in pBuffer, ending at uiDiskPos
    uint64_t uiReadPos;        // read cursor in pBuffer, or pending write bytes
    uint64_t uiDiskPos;        // the stream's position
    char* pBuffer;             // owned, from MemoryManager
    FILE* pFile;               // owned; null = not open
    OpenMode eMode;            // how the object was opened
    bool bGood;                // the object can be used
    bool bWritePending;        // pBuffer holds uiReadPos bytes not yet written
    // A write or repositioning failed: the stream no longer matches this object.
    mutable bool bStreamFailed;
    // Reads go to uiDiskPos by position, one system call each, and never move the
    // stream's own offset: for read-only files that many readers share.
    bool bPositionedReads;

private:
    bool SeekStream(uint64_t position);
    bool FlushStream();
    uint64_t WriteStream(void const* buffer, uint64_t size);

    static CreateFunc spCreateFunc;
    static AccessFunc spAccessFunc;
};
