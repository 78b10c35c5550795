// ArchiveFile: what a caller gets for a member kept uncompressed in an archive. It owns no
// file handle: bytes come from the archive (Archive::ReadMember) into a private buffer
// sized to the member, or straight into the caller's memory for large requests. Reads
// stay inside the member whatever its record says; writes give 0. The caller owns the
// object and the archive must outlive it. One thread at a time per reader; readers of
// one archive on many threads do not queue behind each other's disk reads.
#pragma once

#include "vxsystem/VXFile.h"

#include <cstdint>

class Archive;

class ArchiveFile : public VXFile
{
public:
    ~ArchiveFile() override;

    // Set and Cur stop at the end of the member; End counts back by the absolute offset.
    // No disk access: a seek inside the private buffer keeps it.
    bool Seek(int64_t offset, int whence) override;
    using VXFile::Seek;
    bool Open(bool unused, bool text) override;
    uint64_t GetSize() override { return uiFileSize; }
    // NUL-framed text at the current position, at most to the member's end. The position
    // moves by the length read; the terminator is not counted.
    uint64_t ReadString(VXStringT<char>& out, uint64_t maxBytes) override;
    uint64_t ReadString(VXStringT<VXWChar>& out, uint64_t maxBytes) override;
    bool Exist() override { return pArchive != nullptr; }

    Archive* QArchive() const { return pArchive; }
    int64_t QArchiveOffset() const { return uiArchiveOffset; }

    // Plain Read on stream; the trailing pair exists for the engine's callback shape.
    static uint64_t RdNoSwap(KoBinaryStream* stream, void* dest, uint64_t size, unsigned int*,
                             unsigned int);

protected:
    friend class Archive;

    // bufferSize WHOLE_FILE_BUFFER keeps the whole member in memory, read at once.
    ArchiveFile(char const* name, Archive* archive, int64_t offset, uint64_t size,
                uint64_t bufferSize);

    uint64_t DoRead(void* dest, uint64_t size) override;
    uint64_t DoWrite(void const*, uint64_t) override { return 0; }

    // Bytes of the member from uiTrueFilePos + extra on, out of the archive's stream.
    // Does not move uiTrueFilePos.
    uint64_t ReadFromArchive(void* dest, uint64_t size, uint64_t extra);
    // The private buffer over ReadFromArchive.
    uint64_t ReadFromBuffer(void* dest, uint64_t size);
    void CriticalSectionEnter(char const* name);
    void CriticalSectionLeave();
    // Forgets the private buffer's bytes.
    void DropBuffer() { uiBufferReadSize = uiReadPos = 0; }
    // The private buffer is allocated when first filled: a reader that is read whole in
    // one request never needs it. False when it has size 0 or there was no room.
    bool EnsureBuffer();
    // Moves the position by distance, keeping the private buffer when it still covers it.
    void MoveBy(uint64_t distance);

    Archive* pArchive;       // not owned
    int64_t uiArchiveOffset; // of the member's data in the archive file

private:
    void TakeEmbeddedName();
    template <class CharT> uint64_t ReadStringOf(VXStringT<CharT>& out);
};
