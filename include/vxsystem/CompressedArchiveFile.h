// CompressedArchiveFile: the reader of a member stored as one zlib stream behind an 8-byte
// inflated size. It inflates as it reads, through its own buffer of inflated bytes, out of
// the private buffer of stored bytes that ArchiveFile fills. Front to back only: a seek
// skips forward. A data error ends the member: what was inflated before it can be read,
// then reads give 0. Ownership and threads as ArchiveFile.
#pragma once

#include "vxsystem/ArchiveFile.h"

#include <cstdint>

struct z_stream_s;

class CompressedArchiveFile : public ArchiveFile
{
public:
    ~CompressedArchiveFile() override;

    // Skips offset inflated bytes forward from here, whatever whence says.
    bool Seek(int64_t offset, int whence) override;
    using ArchiveFile::Seek;
    uint64_t GetFileSize() const override { return uiInflatedSize; }
    uint64_t GetSize() override { return uiInflatedSize; }
    uint64_t ReadString(VXStringT<char>&, uint64_t) override { return 0; }
    uint64_t ReadString(VXStringT<VXWChar>&, uint64_t) override { return 0; }

    uint64_t QInflatedSize() const { return uiInflatedSize; }

protected:
    friend class Archive;

    CompressedArchiveFile(char const* name, Archive* archive, int64_t offset, uint64_t size,
                          uint64_t bufferSize);

    uint64_t DoRead(void* dest, uint64_t size) override { return StandardReadF(dest, size); }
    // Inflated bytes; a null dest skips them.
    uint64_t StandardReadF(void* dest, uint64_t size);

private:
    // Whether nothing has been inflated yet.
    bool QUntouched() const;
    // A read of the whole member inflates in one call straight into out, when the build
    // has libdeflate. False, with nothing changed, when it cannot.
    bool InflateWhole(char* out, uint64_t& produced);
    // Runs inflate into out until room bytes are out, the stream ends or input runs out.
    uint64_t Inflate(char* out, uint64_t room, uint64_t& size);
    // The inflate buffer is allocated when first needed: a reader asked for at least its
    // size at a time inflates straight into the caller's memory.
    bool EnsureInflateBuffer();
    void EndStream();

    z_stream_s* pZStream;         // zlib's stream record; null after an error
    char* pInflateBuffer;         // inflated bytes, owned
    uint64_t uiInflatedSize;      // the member's full inflated size, as stored
    uint64_t uiInflateBufferSize; // bytes of pInflateBuffer
    uint64_t uiInflateBufferPos;  // read position in pInflateBuffer
    uint64_t uiInflateBufferFill; // valid bytes in pInflateBuffer
};
