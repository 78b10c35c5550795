// VXStringPool: the process-wide intern table behind the fixed-string handles. A text is
// stored once per spelling in a reference-counted entry; handles hold one pointer to it.
// Entries are single malloc blocks (header then text) chained in 65,536 buckets by their
// CRC-16/ARC hash, guarded by 128 striped reader-writer spin words.
//
// Contract:
// - Thread safety: all operations are safe from every thread, at any moment. The table
//   is zero-initialised static storage with a trivial destructor, so it exists before
//   the first dynamic initialiser runs and stays usable until the process ends.
// - Wide text is VXWChar (char16_t): 16-bit units on every platform, although wchar_t is
//   32-bit on POSIX. Narrow and wide entries never match each other.
// - A reference count that reaches 16383 sticks there; the entry is then never freed.
// - Out of memory: when malloc fails for a new entry or alias, Intern gives a null entry
//   and the table is unchanged (any temporary reference taken is dropped). Handle classes
//   turn that into a null handle, which their callers read as an empty name.
// - Used by the handle classes in VXFixedString.h; only IterationCallback is meant for
//   other callers.
#pragma once

#include "vxsystem/VXTypes.h"

#include <atomic>
#include <cstdint>

class VXStringPool
{
public:
    // One pooled text, or an alias that borrows the text of another entry. The block is
    // the header followed, for a full entry, by the terminated text.
    struct Entry
    {
        Entry* pNext;                  // next entry of the bucket chain; guarded by the stripe
        std::atomic<uint32_t> uiFlags; // count 0-13, alias bit 14, wide bit 15, hash 16-31
        union
        {
            uint32_t uiLength; // full entry: characters, terminator excluded
            Entry* pTarget;    // alias: the entry whose text it shares; holds one reference
        };
    };

    // Visitor for Iterate; runs under a stripe's read lock, so it must not create or free
    // pooled strings.
    class IterationCallback
    {
    public:
        IterationCallback() = default;
        virtual void Visit(unsigned short usBucket, VXWChar const* pText) = 0;
        virtual void Visit(unsigned short usBucket, char const* pText) = 0;
        virtual ~IterationCallback() = default;

    protected:
        IterationCallback(IterationCallback const&) = default;
        IterationCallback& operator=(IterationCallback const&) = default;
    };

    static constexpr uint32_t COUNT_MASK = 0x3FFF;   // reference count field
    static constexpr uint32_t COUNT_STICKY = 0x3FFF; // count that never changes again
    static constexpr uint32_t ALIAS_BIT = 0x4000;
    static constexpr uint32_t WIDE_BIT = 0x8000;
    static constexpr uint32_t HASH_SHIFT = 16;
    static constexpr uint32_t BUCKET_COUNT = 0x10000;
    static constexpr uint32_t STRIPE_COUNT = 128;

    // Gives rpOut an entry for pText carrying one new reference; null for a null text or
    // when memory ran out.
    static void Intern(Entry*& rpOut, char const* pText, bool bCaseSensitive);
    static void Intern(Entry*& rpOut, VXWChar const* pText, bool bCaseSensitive);
    // Drops the handle's reference, freeing the entry with its last one; nulls the handle.
    static void Release(Entry*& rpHandle);
    // Visits every entry, aliases included, bucket by bucket in ascending order. Only one
    // bucket is locked at a time, so entries may come and go while the walk runs.
    static void Iterate(IterationCallback& rCallback);
    // Frees every entry. Surviving handles must not be read afterwards; releasing them
    // only nulls them, and entries interned later are never freed. Meant for the very
    // end of a process, with no other thread using the pool.
    static void FreeAll();

    // CRC-16/ARC of the text (folded through tolower/towlower unless case-sensitive);
    // wide units are hashed low byte first. ruiLength receives the length in characters.
    static uint16_t Hash(char const* pText, bool bCaseSensitive, uint32_t& ruiLength);
    static uint16_t Hash(VXWChar const* pText, bool bCaseSensitive, uint32_t& ruiLength);

    // Adds a reference without a lock: the caller's own reference keeps the entry alive.
    static void AddRef(Entry* pEntry)
    {
        // Relaxed: a new reference publishes nothing; the text was published by Intern.
        uint32_t uiFlags = pEntry->uiFlags.load(std::memory_order_relaxed);
        do
        {
            if ((uiFlags & COUNT_MASK) >= COUNT_STICKY)
                return;
        } while (!pEntry->uiFlags.compare_exchange_weak(uiFlags, uiFlags + 1,
                                                        std::memory_order_relaxed));
    }

    // The entry that holds the text, following aliases.
    static Entry const* QFullEntry(Entry const* pEntry)
    {
        while (pEntry->uiFlags.load(std::memory_order_relaxed) & ALIAS_BIT)
            pEntry = pEntry->pTarget;
        return pEntry;
    }
    template <class CharT> static CharT const* QText(Entry const* pEntry)
    {
        return pEntry ? reinterpret_cast<CharT const*>(QFullEntry(pEntry) + 1) : nullptr;
    }
    static uint32_t QLength(Entry const* pEntry)
    {
        return pEntry ? QFullEntry(pEntry)->uiLength : 0;
    }

    // _stricmp/_wcsicmp: compares characters folded as the hash folds them.
    static int CompareNoCase(char const* pA, char const* pB);
    static int CompareNoCase(VXWChar const* pA, VXWChar const* pB);

    // One reader-writer spin word: bit 31 is the writer, bits 0-30 count readers.
    struct alignas(16) StripeLock
    {
        std::atomic<uint32_t> uiWord;
    };

private:
    VXStringPool() = delete;
};
