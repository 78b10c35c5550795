// VXStorage: a positioned byte store behind an abstract interface, so that serialisers
// stay unaware of where their bytes end up (memory, a file, a counter). On top of the
// five pure operations: length-prefixed strings, typed values, a write-behind buffer.
//
// Contract:
// - Failures are codes: STORAGE_FAILED for a request that could not be met,
//   STORAGE_NOT_SUPPORTED for one the storage never does.
// - A string is a 2-byte (short) or 4-byte length, then that many characters, no
//   terminator. Values and prefixes travel little-endian, as they lie in memory.
// - The write-behind buffer is created by a derived class (CreateStreamBuffer), lives on
//   the scrap heap of the creating thread, and is neither read through nor flushed on
//   destruction: the owner flushes it and destroys the storage on that thread. Size and
//   position do not count buffered bytes.
// - Only the reference count is thread-safe; otherwise one thread uses a storage at once.
#pragma once

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXFixedString.h"

#include <atomic>
#include <cstdint>

namespace VXStorageDefs
{
enum ErrorCode : unsigned int
{
    STORAGE_OK = 0,
    STORAGE_FAILED = 1,
    STORAGE_NOT_SUPPORTED = 2
};

enum SeekMode : unsigned int
{
    STORAGE_SEEK_BEGIN = 0,
    STORAGE_SEEK_CURRENT = 1,
    STORAGE_SEEK_END = 2
};
} // namespace VXStorageDefs

// A reference count for objects whose owner decides what the count means: nothing is
// deleted here, the owner acts on the value DecRef hands back.
class VXIntrusiveRefCounted : public VXHeapObject
{
public:
    // The new count.
    uint32_t IncRef() { return uiRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }
    // The new count. Acquire-release: the owner that sees 0 may destroy the object, so it
    // must see every other holder's last use.
    uint32_t DecRef() { return uiRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    uint32_t QRefCount() const { return uiRefCount.load(std::memory_order_relaxed); }

protected:
    VXIntrusiveRefCounted() : uiRefCount(0) {}
    ~VXIntrusiveRefCounted() = default;

private:
    std::atomic<uint32_t> uiRefCount;
};

class VXStorage : public VXIntrusiveRefCounted
{
public:
    using ErrorCode = VXStorageDefs::ErrorCode;
    using SeekMode = VXStorageDefs::SeekMode;

    // The write-behind block: uiSize bytes at sBuffer.QPtr(), used up to pCursor.
    struct StreamBuffer : public VXHeapObject
    {
        explicit StreamBuffer(uint64_t size);
        uint64_t QUsed() const { return static_cast<uint64_t>(pCursor - QStart()); }
        uint64_t QFree() const { return uiSize - QUsed(); }
        unsigned char* QStart() const { return static_cast<unsigned char*>(sBuffer.QPtr()); }

        uint64_t uiSize; // capacity in bytes; 0 when the scrap heap had no room
        MemoryManager::AutoScrapBuffer sBuffer;
        unsigned char* pCursor; // the next free byte
    };

    VXStorage();
    // Frees the write-behind block without flushing it.
    virtual ~VXStorage();
    VXStorage(VXStorage const&) = delete;
    VXStorage& operator=(VXStorage const&) = delete;

    virtual uint64_t GetSize() const = 0;
    virtual uint64_t GetPosition() const = 0;
    virtual ErrorCode Seek(int64_t offset, SeekMode mode) const = 0;
    virtual ErrorCode Read(uint64_t size, unsigned char* const buffer) const = 0;
    virtual ErrorCode Write(uint64_t size, unsigned char const* const buffer) = 0;

    // On a failed prefix read out keeps its value; on a failed body read out holds what
    // the block held, which the storage may have left unfilled.
    ErrorCode ReadString(VXFixedStringCS& out, bool shortLength) const;
    ErrorCode ReadString(VXFixedString& out, bool shortLength) const;
    // Hands size bytes to Write behind everything written so far: buffered bytes are
    // flushed first, so bulk content cannot overtake them.
    ErrorCode WriteThrough(uint64_t size, unsigned char const* bytes);
    // Null writes the empty string. The short form keeps only the low 16 bits of the
    // length, so texts of 65536 characters or more do not fit it.
    ErrorCode WriteString(char const* text, bool shortLength);

    // T is an unsigned 16-, 32- or 64-bit type. out changes only on success.
    template <class T> ErrorCode ReadValue(T& out) const
    {
        static_assert(IsValueType<T>(), "16-, 32- or 64-bit unsigned values only");
        T value = 0;
        ErrorCode code = Read(sizeof(T), reinterpret_cast<unsigned char*>(&value));
        if (code == VXStorageDefs::STORAGE_OK)
            out = value;
        return code;
    }
    template <class T> ErrorCode WriteValue(T value)
    {
        static_assert(IsValueType<T>(), "16-, 32- or 64-bit unsigned values only");
        return WriteBytes(sizeof(T), reinterpret_cast<unsigned char const*>(&value));
    }

protected:
    void SetUseStreamBuffer(bool use) { bUseStreamBuffer = use; }
    bool QUseStreamBuffer() const { return bUseStreamBuffer && pStreamBuffer != nullptr; }
    // Makes room for size bytes, flushing when needed; STORAGE_FAILED when size exceeds
    // the whole buffer.
    ErrorCode PrepareStreamBuffer(uint64_t size);
    // Hands the buffered bytes to Write; they are dropped whatever Write answers.
    ErrorCode FlushStreamBuffer();
    // Replaces the write-behind block with an empty one of size bytes and switches it on.
    // STORAGE_FAILED, with no buffer, when the scrap heap had no room.
    ErrorCode CreateStreamBuffer(uint64_t size);
    StreamBuffer const* QStreamBuffer() const { return pStreamBuffer; }

    // Through the write-behind buffer when it is on, else straight to Write.
    ErrorCode WriteBytes(uint64_t size, unsigned char const* bytes);

private:
    template <class T> static constexpr bool IsValueType()
    {
        return sizeof(T) >= 2 && static_cast<T>(-1) > 0 && sizeof(T) <= 8 &&
               (sizeof(T) & (sizeof(T) - 1)) == 0;
    }
    void Buffer(uint64_t size, unsigned char const* bytes);

    StreamBuffer* pStreamBuffer; // owned, or null
    bool bUseStreamBuffer;
};

// An interface for parsers of storage content that other libraries implement; this
// library defines no parser and never calls one.
class VXStreamParserData
{
public:
    VXStreamParserData() {}
    VXStreamParserData(VXStreamParserData const&) {}
    VXStreamParserData& operator=(VXStreamParserData const&) { return *this; }
    virtual ~VXStreamParserData() {}

    virtual bool Parse(VXStorage& storage) = 0;
    virtual void Reset() = 0;
    virtual bool QComplete() const = 0;
};
