#include "vxsystem/CompressedArchiveFile.h"

#include "vxsystem/ArchiveManager.h"

#include <zlib.h>
#ifdef VX_HAVE_LIBDEFLATE
#include <libdeflate.h>
#endif

#include <climits>
#include <cstring>

namespace
{
uint64_t Smaller(uint64_t a, uint64_t b)
{
    return a < b ? a : b;
}

bool IsStreamFailure(int result)
{
    return result == Z_DATA_ERROR || result == Z_STREAM_ERROR || result == Z_NEED_DICT ||
           result == Z_MEM_ERROR;
}
} // namespace

CompressedArchiveFile::CompressedArchiveFile(char const* name, Archive* archive, int64_t offset,
                                             uint64_t size, uint64_t bufferSize)
    : ArchiveFile(name, archive, offset, size, bufferSize), pZStream(nullptr),
      pInflateBuffer(nullptr), uiInflatedSize(0), uiInflateBufferSize(0), uiInflateBufferPos(0),
      uiInflateBufferFill(0)
{
    unsigned char stored[8] = {};
    ArchiveFile::DoRead(stored, sizeof(stored));
    for (int i = 0; i < 8; ++i)
        uiInflatedSize |= uint64_t{stored[i]} << (8 * i);
    void* block = MemoryManager::Instance().Allocate(sizeof(z_stream));
    if (!block)
        return;
    pZStream = new (block) z_stream();
    pZStream->zalloc = Z_NULL;
    pZStream->zfree = Z_NULL;
    pZStream->opaque = Z_NULL;
    pZStream->next_in = Z_NULL;
    pZStream->avail_in = 0;
    if (inflateInit(pZStream) != Z_OK)
    {
        EndStream();
        return;
    }
    uiInflateBufferSize = Smaller(uiInflatedSize, ArchiveManager::QArchiveFileBufferSize());
    uiInflateBufferSize = Smaller(uiInflateBufferSize, UINT_MAX); // zlib counts in 32 bits
}

CompressedArchiveFile::~CompressedArchiveFile()
{
    EndStream();
    MemoryManager::Instance().Deallocate(pInflateBuffer);
    pInflateBuffer = nullptr;
}

void CompressedArchiveFile::EndStream()
{
    if (!pZStream)
        return;
    inflateEnd(pZStream);
    MemoryManager::Instance().Deallocate(pZStream);
    pZStream = nullptr;
}

bool CompressedArchiveFile::Seek(int64_t offset, int)
{
    Read(nullptr, static_cast<uint64_t>(offset));
    return true;
}

bool CompressedArchiveFile::EnsureInflateBuffer()
{
    if (!pInflateBuffer && uiInflateBufferSize)
    {
        pInflateBuffer =
            static_cast<char*>(MemoryManager::Instance().Allocate(uiInflateBufferSize));
        if (!pInflateBuffer)
            uiInflateBufferSize = 0;
    }
    return pInflateBuffer != nullptr;
}

// Feeds inflate from the private buffer, refilling it from the archive, until room bytes
// are out, the stream ends, or there is no more input; gives the bytes produced. A failure
// ends the stream for good and sets size to 0; what was inflated before it stays.
uint64_t CompressedArchiveFile::Inflate(char* out, uint64_t room, uint64_t& size)
{
    z_stream& stream = *pZStream;
    stream.next_out = reinterpret_cast<Bytef*>(out);
    stream.avail_out = static_cast<uInt>(Smaller(room, UINT_MAX));
    uInt const start = stream.avail_out;
    while (stream.avail_out != 0)
    {
        stream.next_in = reinterpret_cast<Bytef*>(pBuffer + uiReadPos);
        stream.avail_in = static_cast<uInt>(uiBufferReadSize - uiReadPos);
        if (stream.avail_in != 0)
        {
            uInt before = stream.avail_in;
            uInt roomBefore = stream.avail_out;
            int result = inflate(&stream, Z_SYNC_FLUSH);
            if (IsStreamFailure(result))
            {
                uint64_t produced = start - stream.avail_out;
                EndStream();
                size = 0;
                return produced;
            }
            if (result == Z_STREAM_END)
                break; // its input stays unconsumed: the next call ends here again
            uInt consumed = before - stream.avail_in;
            uiReadPos += consumed;
            uiTrueFilePos += consumed;
            if (consumed == 0 && roomBefore == stream.avail_out)
                break; // no progress possible: treat as the end of the input
        }
        if (stream.avail_in == 0)
        {
            DropBuffer();
            uiBufferReadSize = EnsureBuffer() ? ReadFromArchive(pBuffer, uiBufferSize, 0) : 0;
            if (uiBufferReadSize == 0)
                break; // the member ends before its stream does
        }
    }
    return start - stream.avail_out;
}

bool CompressedArchiveFile::QUntouched() const
{
    return pZStream && pZStream->total_in == 0 && pZStream->total_out == 0 &&
           uiInflateBufferFill == 0;
}

#ifdef VX_HAVE_LIBDEFLATE
namespace
{
void* DeflateAllocate(size_t size)
{
    return MemoryManager::Instance().Allocate(size);
}

void DeflateFree(void* block)
{
    MemoryManager::Instance().Deallocate(block);
}

libdeflate_decompressor* NewDecompressor()
{
    // The allocator is process-wide in libdeflate; setting it once, before the first
    // decompressor, keeps its memory on our heap.
    static bool const sAllocatorSet =
        (libdeflate_set_memory_allocator(DeflateAllocate, DeflateFree), true);
    (void)sAllocatorSet;
    return libdeflate_alloc_decompressor();
}
} // namespace

// The whole stream in one call into the caller's memory. False leaves everything as it
// was, so the streaming path then runs from the start and answers exactly as it would
// have: a corrupt or mis-sized stream therefore fails the same way on both paths.
bool CompressedArchiveFile::InflateWhole(char* out, uint64_t& produced)
{
    uint64_t stored = uiFileSize > uiTrueFilePos ? uiFileSize - uiTrueFilePos : 0;
    uint64_t have = uiBufferReadSize - uiReadPos;
    if (stored == 0 || have > stored)
        return false;
    char* input = pBuffer + uiReadPos;
    char* owned = nullptr;
    if (have < stored)
    {
        owned = static_cast<char*>(MemoryManager::Instance().Allocate(stored));
        if (!owned)
            return false;
        if (have)
            std::memcpy(owned, input, have);
        input = owned;
        if (ReadFromArchive(owned + have, stored - have, have) != stored - have)
        {
            MemoryManager::Instance().Deallocate(owned);
            return false;
        }
    }
    libdeflate_decompressor* decompressor = NewDecompressor();
    size_t used = 0;
    size_t actual = 0;
    libdeflate_result result = decompressor
                                   ? libdeflate_zlib_decompress_ex(decompressor, input, stored, out,
                                                                   uiInflatedSize, &used, &actual)
                                   : LIBDEFLATE_BAD_DATA;
    libdeflate_free_decompressor(decompressor);
    MemoryManager::Instance().Deallocate(owned);
    if (result != LIBDEFLATE_SUCCESS)
        return false;
    DropBuffer();
    uiTrueFilePos += used;
    EndStream(); // the member is over: later reads give 0, as at a stream's end
    produced = actual;
    return true;
}
#else
bool CompressedArchiveFile::InflateWhole(char*, uint64_t&)
{
    return false;
}
#endif

uint64_t CompressedArchiveFile::StandardReadF(void* dest, uint64_t size)
{
    auto* out = static_cast<char*>(dest);
    uint64_t whole = 0;
    if (out && size >= uiInflatedSize && uiInflatedSize && QUntouched() && InflateWhole(out, whole))
        return whole;
    uint64_t have = uiInflateBufferFill - uiInflateBufferPos;
    if (size <= have)
    {
        if (out && size)
            std::memcpy(out, pInflateBuffer + uiInflateBufferPos, size);
        uiInflateBufferPos += size;
        return size;
    }
    if (out && have)
        std::memcpy(out, pInflateBuffer + uiInflateBufferPos, have);
    uint64_t total = have;
    size -= have;
    uiInflateBufferPos = uiInflateBufferFill = 0;
    // An inflated size of 0 leaves no room to inflate into.
    while (size && pZStream && uiInflateBufferSize)
    {
        if (out && size >= uiInflateBufferSize)
        {
            // As much as the buffer holds or more: inflate straight into the caller's memory.
            uint64_t produced = Inflate(out + total, size, size);
            total += produced;
            if (produced == 0)
                return total;
            size = size > produced ? size - produced : 0;
            continue;
        }
        if (!EnsureInflateBuffer())
            return total;
        uiInflateBufferPos = 0;
        uiInflateBufferFill = Inflate(pInflateBuffer, uiInflateBufferSize, size);
        if (uiInflateBufferFill == 0)
            return total;
        uint64_t take = Smaller(size, uiInflateBufferFill);
        if (out && take)
            std::memcpy(out + total, pInflateBuffer, take);
        total += take;
        size -= take;
        uiInflateBufferPos = take;
    }
    return total;
}
