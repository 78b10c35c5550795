#include "vxsystem/ArchiveFile.h"

#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveManager.h"

#include <cstring>

namespace
{
uint64_t Smaller(uint64_t a, uint64_t b)
{
    return a < b ? a : b;
}
} // namespace

ArchiveFile::ArchiveFile(char const* name, Archive* archive, int64_t offset, uint64_t size,
                         uint64_t bufferSize)
    : VXFile(), pArchive(archive), uiArchiveOffset(offset)
{
    if (name)
    {
        size_t length = Smaller(std::strlen(name), MAX_PATH_BYTES - 1);
        std::memcpy(acFileName, name, length);
        acFileName[length] = 0;
    }
    uiFileSize = size;
    uint64_t limit = ArchiveManager::QArchiveFileBufferSize();
    uiBufferSize = (size <= limit || bufferSize == WHOLE_FILE_BUFFER) ? size : limit;
    uiBufferReadSize = uiReadPos = 0;
    bGood = true;
    bool embedded = archive && archive->QEmbeddedFileNames();
    if ((bufferSize == WHOLE_FILE_BUFFER || embedded) && EnsureBuffer())
        uiBufferReadSize = ReadFromArchive(pBuffer, uiBufferSize, 0);
    if (embedded)
        TakeEmbeddedName();
}

ArchiveFile::~ArchiveFile()
{
    MemoryManager::Instance().Deallocate(pBuffer);
    pBuffer = nullptr;
    bGood = false;
}

// The member starts with a length byte and that many bytes of its name; reading starts
// behind them. Taken from the private buffer when it holds them, else from the archive.
void ArchiveFile::TakeEmbeddedName()
{
    unsigned char length = 0;
    if (uiBufferReadSize)
        length = static_cast<unsigned char>(pBuffer[0]);
    else if (ReadFromArchive(&length, 1, 0) == 0)
        return;
    uint64_t frame = Smaller(uint64_t{length} + 1, uiFileSize);
    if (frame <= uiBufferReadSize)
        std::memcpy(acFileName, pBuffer + 1, frame - 1);
    else
        frame = 1 + ReadFromArchive(acFileName, frame - 1, 1);
    acFileName[frame - 1] = 0;
    uiTrueFilePos += frame;
    if (frame <= uiBufferReadSize)
        uiReadPos += frame;
    else
        DropBuffer();
}

void ArchiveFile::CriticalSectionEnter(char const* name)
{
    if (pArchive)
        pArchive->CriticalSectionEnter(name);
}

void ArchiveFile::CriticalSectionLeave()
{
    if (pArchive)
        pArchive->CriticalSectionLeave();
}

// Members are immutable bytes at known offsets, so a reader needs nothing of the shared
// stream but the archive's read-ahead for runs in disk order; see Archive::ReadMember.
uint64_t ArchiveFile::ReadFromArchive(void* dest, uint64_t size, uint64_t extra)
{
    uint64_t start = uiTrueFilePos + extra;
    if (!pArchive || !dest || size == 0 || start >= uiFileSize)
        return 0;
    size = Smaller(size, uiFileSize - start); // never past the member
    return pArchive->ReadMember(static_cast<uint64_t>(uiArchiveOffset) + start,
                                static_cast<char*>(dest), size);
}

uint64_t ArchiveFile::ReadFromBuffer(void* dest, uint64_t size)
{
    auto* out = static_cast<char*>(dest);
    uint64_t have = uiBufferReadSize - uiReadPos;
    if (size <= have)
    {
        if (size)
            std::memcpy(out, pBuffer + uiReadPos, size);
        uiReadPos += size;
        return size;
    }
    if (have)
        std::memcpy(out, pBuffer + uiReadPos, have);
    uint64_t rest = size - have;
    DropBuffer();
    // A read that would fill the whole buffer gains nothing from it: straight through.
    if (rest >= uiBufferSize || !EnsureBuffer())
        return have + ReadFromArchive(out + have, rest, have);
    uiBufferReadSize = ReadFromArchive(pBuffer, uiBufferSize, have);
    uint64_t take = Smaller(rest, uiBufferReadSize);
    std::memcpy(out + have, pBuffer, take);
    uiReadPos = take;
    return have + take;
}

uint64_t ArchiveFile::DoRead(void* dest, uint64_t size)
{
    if (uiTrueFilePos > uiFileSize)
    {
        uiTrueFilePos = uiFileSize;
        return 0;
    }
    size = Smaller(size, uiFileSize - uiTrueFilePos);
    if (!dest)
    {
        MoveBy(size); // a null buffer skips
        return size;
    }
    uint64_t done = ReadFromBuffer(dest, size);
    uiTrueFilePos += done;
    return done;
}

void ArchiveFile::MoveBy(uint64_t distance)
{
    uiTrueFilePos += distance;
    uiReadPos += distance; // unsigned: a step back before the buffer wraps past its end
    if (uiReadPos > uiBufferReadSize)
        DropBuffer();
}

bool ArchiveFile::Seek(int64_t offset, int whence)
{
    uint64_t target = 0;
    if (whence == ms_iSeekCur)
        target = Smaller(uiTrueFilePos + static_cast<uint64_t>(offset), uiFileSize);
    else if (whence == ms_iSeekEnd)
    {
        uint64_t back =
            offset < 0 ? 0 - static_cast<uint64_t>(offset) : static_cast<uint64_t>(offset);
        target = uiFileSize - Smaller(back, uiFileSize);
    }
    else
        target = Smaller(static_cast<uint64_t>(offset), uiFileSize);
    MoveBy(target - uiTrueFilePos);
    return true;
}

bool ArchiveFile::EnsureBuffer()
{
    if (!pBuffer && uiBufferSize)
    {
        pBuffer = static_cast<char*>(MemoryManager::Instance().Allocate(uiBufferSize));
        if (!pBuffer)
            uiBufferSize = 0; // no room: every read goes straight through
    }
    return pBuffer != nullptr;
}

bool ArchiveFile::Open(bool, bool)
{
    if (pBuffer)
        return true;
    DropBuffer();
    EnsureBuffer();
    bGood = true;
    return true;
}

template <class CharT> uint64_t ArchiveFile::ReadStringOf(VXStringT<CharT>& out)
{
    if (!pArchive)
        return 0;
    uint64_t left = uiTrueFilePos < uiFileSize ? uiFileSize - uiTrueFilePos : 0;
    CriticalSectionEnter(pArchive->GetFileName());
    uint64_t length = pArchive->ReadStringAt(uiArchiveOffset + uiTrueFilePos, out, left);
    CriticalSectionLeave();
    MoveBy(length * sizeof(CharT)); // the position counts bytes, the result characters
    return length;
}

uint64_t ArchiveFile::ReadString(VXStringT<char>& out, uint64_t)
{
    return ReadStringOf(out);
}

uint64_t ArchiveFile::ReadString(VXStringT<VXWChar>& out, uint64_t)
{
    return ReadStringOf(out);
}

uint64_t ArchiveFile::RdNoSwap(KoBinaryStream* stream, void* dest, uint64_t size, unsigned int*,
                               unsigned int)
{
    return stream ? stream->Read(dest, size) : 0;
}
