// VXFileEntry: one member's record in an archive's tables, 16 bytes as in the file: key,
// size word, offset word. Pointers to records are how the engine names archive members.
// The run-time bits (checked, invalidated) change without a lock while other threads
// search, so every access to the two words is a relaxed atomic access: each word is
// independent and publishes nothing else.
#pragma once

#include "vxsystem/VXHash.h"

#include <atomic>
#include <cstdint>

class VXFileEntry
{
public:
    static constexpr uint32_t SIZE_MASK = 0x3FFFFFFF;        // stored size, bits 0..29
    static constexpr uint32_t COMPRESSION_TOGGLE = 1u << 30; // differs from the default
    static constexpr uint32_t CHECKED = 1u << 31;            // run time: tested, no loose twin
    static constexpr uint32_t OFFSET_MASK = 0x7FFFFFFF;      // offset, bits 0..30
    static constexpr uint32_t OWNER = 1u << 31;              // record of a secondary archive

    VXFileEntry() : kHash(0, 0, 0, 0, 0), uiSizeAndFlags(0), uiOffsetAndOwner(0) {}

    uint32_t QSizeAndFlags() const { return Load(uiSizeAndFlags); }
    uint32_t QOffsetAndOwner() const { return Load(uiOffsetAndOwner); }
    uint32_t QSize() const { return QSizeAndFlags() & SIZE_MASK; }
    bool QCompressionToggle() const { return (QSizeAndFlags() & COMPRESSION_TOGGLE) != 0; }
    bool QChecked() const { return (QSizeAndFlags() & CHECKED) != 0; }
    void SetChecked(bool checked);
    uint32_t QOffset() const { return QOffsetAndOwner() & OFFSET_MASK; }
    // Keeps the owner bit; an offset of 0 invalidates the record.
    void SetOffset(uint32_t offset);
    bool QOwner() const { return (QOffsetAndOwner() & OWNER) != 0; }
    // Whole words, for programs that build tables.
    void SetSizeAndFlags(uint32_t value) { Ref(uiSizeAndFlags).store(value, kOrder); }
    void SetOffsetAndOwner(uint32_t value) { Ref(uiOffsetAndOwner).store(value, kOrder); }

    VXHash kHash;              // HASH_FILE key of the name with extension
    uint32_t uiSizeAndFlags;   // stored size, compression toggle, checked bit
    uint32_t uiOffsetAndOwner; // offset of the data in the archive, owner bit

private:
    static constexpr std::memory_order kOrder = std::memory_order_relaxed;
    static std::atomic_ref<uint32_t> Ref(uint32_t& word) { return std::atomic_ref<uint32_t>(word); }
    static uint32_t Load(uint32_t const& word)
    {
        return std::atomic_ref<uint32_t>(const_cast<uint32_t&>(word)).load(kOrder);
    }
};

inline void VXFileEntry::SetChecked(bool checked)
{
    if (checked)
        Ref(uiSizeAndFlags).fetch_or(CHECKED, kOrder);
    else
        Ref(uiSizeAndFlags).fetch_and(~CHECKED, kOrder);
}

inline void VXFileEntry::SetOffset(uint32_t offset)
{
    std::atomic_ref<uint32_t> word = Ref(uiOffsetAndOwner);
    uint32_t old = word.load(kOrder);
    while (!word.compare_exchange_weak(old, (old & OWNER) | (offset & OFFSET_MASK), kOrder))
    {
    }
}

static_assert(sizeof(VXFileEntry) == 16, "a file record is 16 bytes in the file");
