#include "vxsystem/VXStorage.h"

#include <cstring>

using namespace VXStorageDefs;

namespace
{
constexpr unsigned int kScrapAlignment = 8;

uint32_t PrefixBytes(bool shortLength)
{
    return shortLength ? 2 : 4;
}
} // namespace

VXStorage::StreamBuffer::StreamBuffer(uint64_t size)
    : uiSize(size), sBuffer(static_cast<size_t>(size), kScrapAlignment), pCursor(QStart())
{
    if (!sBuffer.QPtr())
        uiSize = 0;
}

VXStorage::VXStorage() : pStreamBuffer(nullptr), bUseStreamBuffer(false) {}

VXStorage::~VXStorage()
{
    delete pStreamBuffer;
}

VXStorage::ErrorCode VXStorage::ReadString(VXFixedStringCS& out, bool shortLength) const
{
    uint32_t length = 0;
    ErrorCode code = shortLength ? Read(2, reinterpret_cast<unsigned char*>(&length))
                                 : Read(4, reinterpret_cast<unsigned char*>(&length));
    if (code != STORAGE_OK)
        return code;
    if (length == 0)
    {
        out = VXFixedStringCS::QEmptyString();
        return STORAGE_OK;
    }
    MemoryManager::AutoScrapBuffer block(size_t{length} + 1, kScrapAlignment);
    auto* text = static_cast<unsigned char*>(block.QPtr());
    if (!text)
        return STORAGE_FAILED;
    code = Read(length, text);
    text[length] = 0;
    out = reinterpret_cast<char const*>(text);
    return code;
}

VXStorage::ErrorCode VXStorage::ReadString(VXFixedString& out, bool shortLength) const
{
    VXFixedStringCS text(out.QString());
    ErrorCode code = ReadString(text, shortLength);
    out = text;
    return code;
}

VXStorage::ErrorCode VXStorage::WriteString(char const* text, bool shortLength)
{
    auto length = static_cast<uint32_t>(text ? std::strlen(text) : 0);
    uint32_t prefixBytes = PrefixBytes(shortLength);
    // Little-endian, so the short prefix is the first two bytes of the length.
    auto const* prefix = reinterpret_cast<unsigned char const*>(&length);
    if (QUseStreamBuffer())
    {
        ErrorCode code = PrepareStreamBuffer(uint64_t{prefixBytes} + length);
        if (code != STORAGE_OK)
            return code;
        Buffer(prefixBytes, prefix);
        Buffer(length, reinterpret_cast<unsigned char const*>(text));
        return STORAGE_OK;
    }
    ErrorCode code = Write(prefixBytes, prefix);
    if (code != STORAGE_OK || length == 0)
        return code;
    return Write(length, reinterpret_cast<unsigned char const*>(text));
}

VXStorage::ErrorCode VXStorage::WriteBytes(uint64_t size, unsigned char const* bytes)
{
    if (!QUseStreamBuffer())
        return Write(size, bytes);
    ErrorCode code = PrepareStreamBuffer(size);
    if (code == STORAGE_OK)
        Buffer(size, bytes);
    return code;
}

VXStorage::ErrorCode VXStorage::WriteThrough(uint64_t size, unsigned char const* bytes)
{
    if (QUseStreamBuffer())
    {
        ErrorCode code = FlushStreamBuffer();
        if (code != STORAGE_OK)
            return code;
    }
    return Write(size, bytes);
}

void VXStorage::Buffer(uint64_t size, unsigned char const* bytes)
{
    if (size == 0)
        return;
    std::memcpy(pStreamBuffer->pCursor, bytes, static_cast<size_t>(size));
    pStreamBuffer->pCursor += size;
}

VXStorage::ErrorCode VXStorage::PrepareStreamBuffer(uint64_t size)
{
    if (!pStreamBuffer)
        return STORAGE_FAILED;
    if (pStreamBuffer->QFree() >= size)
        return STORAGE_OK;
    ErrorCode code = FlushStreamBuffer();
    if (code != STORAGE_OK)
        return code;
    return pStreamBuffer->QFree() >= size ? STORAGE_OK : STORAGE_FAILED;
}

VXStorage::ErrorCode VXStorage::FlushStreamBuffer()
{
    if (!pStreamBuffer || pStreamBuffer->QUsed() == 0)
        return STORAGE_OK;
    bUseStreamBuffer = false;
    ErrorCode code = Write(pStreamBuffer->QUsed(), pStreamBuffer->QStart());
    bUseStreamBuffer = true;
    pStreamBuffer->pCursor = pStreamBuffer->QStart();
    return code;
}

VXStorage::ErrorCode VXStorage::CreateStreamBuffer(uint64_t size)
{
    delete pStreamBuffer;
    pStreamBuffer = new StreamBuffer(size);
    if (pStreamBuffer && pStreamBuffer->QStart())
    {
        bUseStreamBuffer = true;
        return STORAGE_OK;
    }
    delete pStreamBuffer;
    pStreamBuffer = nullptr;
    return STORAGE_FAILED;
}
