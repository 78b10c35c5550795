// The intern table: bucket chains under striped spin locks, lookups that raise the count
// under the read lock, and a last release that confirms the count under the write lock,
// so that no lookup can hand out an entry that is being freed.
#include "vxsystem/VXStringPool.h"

#include "foundation/VXStringPoolAlloc.h"
#include "foundation/VXStringPoolLock.h"
#include "foundation/VXStringPoolText.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

using Entry = VXStringPool::Entry;

namespace
{
// Zero-initialised static storage with trivial destructors: the table exists before any
// dynamic initialiser and outlives every static handle.
Entry* gapBuckets[VXStringPool::BUCKET_COUNT];
VXStringPool::StripeLock gakStripes[VXStringPool::STRIPE_COUNT];
std::atomic<bool> gbAlive{true};
std::atomic<VXStringPoolAllocFunc> gpAllocFunc{nullptr};

VXStringPool::StripeLock& StripeOf(uint32_t uiBucket)
{
    return gakStripes[uiBucket & (VXStringPool::STRIPE_COUNT - 1)];
}

uint32_t BucketOf(uint32_t uiFlags)
{
    return uiFlags >> VXStringPool::HASH_SHIFT;
}

template <class CharT> constexpr uint32_t WidthBit()
{
    return std::is_same_v<CharT, VXWChar> ? VXStringPool::WIDE_BIT : 0;
}

void* AllocateBlock(size_t uiBytes)
{
    VXStringPoolAllocFunc pFunc = gpAllocFunc.load(std::memory_order_relaxed);
    return pFunc ? pFunc(uiBytes) : std::malloc(uiBytes);
}

Entry* NewHeader(size_t uiBytes, uint32_t uiFlags)
{
    void* pBlock = AllocateBlock(uiBytes);
    if (!pBlock)
        return nullptr;
    std::memset(pBlock, 0, uiBytes);
    Entry* pEntry = new (pBlock) Entry;
    pEntry->pNext = nullptr;
    pEntry->uiFlags.store(uiFlags, std::memory_order_relaxed); // published by the write lock
    return pEntry;
}

template <class CharT> Entry* NewFull(CharT const* pText, uint32_t uiLength, uint32_t uiBucket)
{
    size_t uiBytes = sizeof(Entry) + (static_cast<size_t>(uiLength) + 1) * sizeof(CharT);
    uint32_t uiFlags = 1 | WidthBit<CharT>() | (uiBucket << VXStringPool::HASH_SHIFT);
    Entry* pEntry = NewHeader(uiBytes, uiFlags);
    if (!pEntry)
        return nullptr;
    pEntry->uiLength = uiLength;
    std::memcpy(reinterpret_cast<CharT*>(pEntry + 1), pText, uiLength * sizeof(CharT));
    return pEntry;
}

Entry* NewAlias(Entry* pTarget, uint32_t uiBucket)
{
    uint32_t uiWide = pTarget->uiFlags.load(std::memory_order_relaxed) & VXStringPool::WIDE_BIT;
    uint32_t uiFlags =
        1 | VXStringPool::ALIAS_BIT | uiWide | (uiBucket << VXStringPool::HASH_SHIFT);
    Entry* pEntry = NewHeader(sizeof(Entry), uiFlags);
    if (!pEntry)
        return nullptr;
    pEntry->pTarget = pTarget;
    VXStringPool::AddRef(pTarget);
    return pEntry;
}

void LinkHead(uint32_t uiBucket, Entry* pEntry)
{
    pEntry->pNext = gapBuckets[uiBucket];
    gapBuckets[uiBucket] = pEntry;
}

void LinkBehind(Entry* pBefore, Entry* pEntry)
{
    pEntry->pNext = pBefore->pNext;
    pBefore->pNext = pEntry;
}

bool Unlink(uint32_t uiBucket, Entry* pEntry)
{
    Entry** ppLink = &gapBuckets[uiBucket];
    while (*ppLink && *ppLink != pEntry)
        ppLink = &(*ppLink)->pNext;
    if (!*ppLink)
        return false;
    *ppLink = pEntry->pNext;
    return true;
}

template <class CharT> bool SameWidth(Entry const* pEntry)
{
    return (pEntry->uiFlags.load(std::memory_order_relaxed) & VXStringPool::WIDE_BIT) ==
           WidthBit<CharT>();
}

template <class CharT> bool EqualExact(Entry const* pEntry, CharT const* pText, uint32_t uiLength)
{
    return VXStringPool::QLength(pEntry) == uiLength &&
           std::memcmp(VXStringPool::QText<CharT>(pEntry), pText, uiLength * sizeof(CharT)) == 0;
}

// Both finders run under the stripe's lock. Folding keeps lengths, so a length mismatch
// rules out a match before any character is compared.
template <class CharT> Entry* FindNoCase(uint32_t uiBucket, CharT const* pText, uint32_t uiLength)
{
    for (Entry* pEntry = gapBuckets[uiBucket]; pEntry; pEntry = pEntry->pNext)
        if (SameWidth<CharT>(pEntry) && VXStringPool::QLength(pEntry) == uiLength &&
            vxpool::EqualNoCase(VXStringPool::QText<CharT>(pEntry), pText, uiLength))
            return pEntry;
    return nullptr;
}

template <class CharT> Entry* FindExact(uint32_t uiBucket, CharT const* pText, uint32_t uiLength)
{
    for (Entry* pEntry = gapBuckets[uiBucket]; pEntry; pEntry = pEntry->pNext)
        if (SameWidth<CharT>(pEntry) && EqualExact(pEntry, pText, uiLength))
            return pEntry;
    return nullptr;
}

template <class CharT> Entry* InternNoCase(CharT const* pText)
{
    uint32_t uiLength = 0;
    uint32_t uiBucket = VXStringPool::Hash(pText, false, uiLength);
    VXStringPool::StripeLock& rLock = StripeOf(uiBucket);
    VXSafeSleep kBackoff;
    for (;;)
    {
        vxpool::LockRead(rLock, kBackoff);
        if (Entry* pFound = FindNoCase(uiBucket, pText, uiLength))
        {
            VXStringPool::AddRef(pFound);
            vxpool::UnlockRead(rLock);
            return pFound;
        }
        if (vxpool::TryUpgrade(rLock))
        {
            Entry* pEntry = NewFull(pText, uiLength, uiBucket);
            if (pEntry)
                LinkHead(uiBucket, pEntry);
            vxpool::UnlockWrite(rLock);
            return pEntry;
        }
        kBackoff.Sleep();
    }
}

template <class CharT>
Entry* LookupExact(uint32_t uiBucket, CharT const* pText, uint32_t uiLength, VXSafeSleep& rBackoff)
{
    VXStringPool::StripeLock& rLock = StripeOf(uiBucket);
    vxpool::LockRead(rLock, rBackoff);
    Entry* pFound = FindExact(uiBucket, pText, uiLength);
    if (pFound)
        VXStringPool::AddRef(pFound);
    vxpool::UnlockRead(rLock);
    return pFound;
}

// The case-insensitive entry of the text in bucket uiFold, made if missing; the caller
// owns one reference on it. rbExact tells whether its spelling is the given one.
template <class CharT>
Entry* TakeCanonical(uint32_t uiFold, CharT const* pText, uint32_t uiLength, bool& rbExact,
                     VXSafeSleep& rBackoff)
{
    VXStringPool::StripeLock& rLock = StripeOf(uiFold);
    for (;;)
    {
        vxpool::LockRead(rLock, rBackoff);
        if (Entry* pFound = FindNoCase(uiFold, pText, uiLength))
        {
            VXStringPool::AddRef(pFound);
            rbExact = EqualExact(pFound, pText, uiLength);
            vxpool::UnlockRead(rLock);
            return pFound;
        }
        if (vxpool::TryUpgrade(rLock))
        {
            Entry* pEntry = NewFull(pText, uiLength, uiFold);
            if (pEntry)
                LinkHead(uiFold, pEntry);
            vxpool::UnlockWrite(rLock);
            rbExact = true;
            return pEntry;
        }
        rBackoff.Sleep();
    }
}

// Finds or adds the case-sensitive entry in bucket uiExact, given the canonical entry.
template <class CharT>
Entry* TakeExact(uint32_t uiExact, uint32_t uiFold, Entry* pCanonical, bool bExact,
                 CharT const* pText, uint32_t uiLength, VXSafeSleep& rBackoff)
{
    VXStringPool::StripeLock& rLock = StripeOf(uiExact);
    for (;;)
    {
        // Another thread may have added the entry since the first lookup.
        vxpool::LockRead(rLock, rBackoff);
        if (Entry* pFound = FindExact(uiExact, pText, uiLength))
        {
            VXStringPool::AddRef(pFound);
            vxpool::UnlockRead(rLock);
            return pFound;
        }
        if (bExact && uiExact == uiFold)
        {
            VXStringPool::AddRef(pCanonical);
            vxpool::UnlockRead(rLock);
            return pCanonical;
        }
        if (!vxpool::TryUpgrade(rLock))
        {
            rBackoff.Sleep();
            continue;
        }
        Entry* pEntry = bExact ? NewAlias(pCanonical, uiExact) : NewFull(pText, uiLength, uiExact);
        if (pEntry && !bExact && uiExact == uiFold)
            LinkBehind(pCanonical, pEntry); // case-insensitive lookups still meet the canonical
        else if (pEntry)
            LinkHead(uiExact, pEntry);
        vxpool::UnlockWrite(rLock);
        return pEntry;
    }
}

template <class CharT> Entry* InternExact(CharT const* pText)
{
    uint32_t uiLength = 0;
    uint32_t uiExact = VXStringPool::Hash(pText, true, uiLength);
    VXSafeSleep kBackoff;
    if (Entry* pFound = LookupExact(uiExact, pText, uiLength, kBackoff))
        return pFound;

    uint32_t uiFold = VXStringPool::Hash(pText, false, uiLength);
    bool bExact = false;
    kBackoff.Reset();
    Entry* pCanonical = TakeCanonical(uiFold, pText, uiLength, bExact, kBackoff);
    if (!pCanonical)
        return nullptr;
    kBackoff.Reset();
    Entry* pResult = TakeExact(uiExact, uiFold, pCanonical, bExact, pText, uiLength, kBackoff);
    VXStringPool::Release(pCanonical);
    return pResult;
}

// Drops one reference. Gives the alias target whose reference must be dropped next when
// the entry was an alias that this call freed, else null.
Entry* DropReference(Entry* pEntry)
{
    uint32_t uiFlags = pEntry->uiFlags.load(std::memory_order_relaxed);
    VXSafeSleep kBackoff;
    for (;;)
    {
        uint32_t uiCount = uiFlags & VXStringPool::COUNT_MASK;
        if (uiCount >= VXStringPool::COUNT_STICKY || uiCount == 0)
            return nullptr;
        if (uiCount != 1)
        {
            // Release: this holder's reads of the entry happen before its free.
            if (pEntry->uiFlags.compare_exchange_weak(
                    uiFlags, uiFlags - 1, std::memory_order_release, std::memory_order_relaxed))
                return nullptr;
            continue;
        }
        uint32_t uiBucket = BucketOf(uiFlags);
        VXStringPool::StripeLock& rLock = StripeOf(uiBucket);
        vxpool::LockWrite(rLock, kBackoff);
        // Acquire: pairs with the release decrements of the other holders.
        uiFlags = pEntry->uiFlags.load(std::memory_order_acquire);
        if ((uiFlags & VXStringPool::COUNT_MASK) != 1)
        {
            bool bDropped = pEntry->uiFlags.compare_exchange_strong(
                uiFlags, uiFlags - 1, std::memory_order_release, std::memory_order_relaxed);
            vxpool::UnlockWrite(rLock);
            if (bDropped)
                return nullptr;
            continue;
        }
        bool bUnlinked = Unlink(uiBucket, pEntry);
        vxpool::UnlockWrite(rLock);
        if (!bUnlinked)
            return nullptr;
        Entry* pTarget = (uiFlags & VXStringPool::ALIAS_BIT) ? pEntry->pTarget : nullptr;
        std::free(pEntry);
        return pTarget;
    }
}

template <class CharT>
void Visit(VXStringPool::IterationCallback& rCallback, uint32_t uiBucket, Entry const* pEntry)
{
    rCallback.Visit(static_cast<unsigned short>(uiBucket), VXStringPool::QText<CharT>(pEntry));
}
} // namespace

void VXStringPool::Intern(Entry*& rpOut, char const* pText, bool bCaseSensitive)
{
    if (!pText)
        rpOut = nullptr;
    else
        rpOut = bCaseSensitive ? InternExact(pText) : InternNoCase(pText);
}

void VXStringPool::Intern(Entry*& rpOut, VXWChar const* pText, bool bCaseSensitive)
{
    if (!pText)
        rpOut = nullptr;
    else
        rpOut = bCaseSensitive ? InternExact(pText) : InternNoCase(pText);
}

void VXStringPool::Release(Entry*& rpHandle)
{
    Entry* pEntry = rpHandle;
    rpHandle = nullptr;
    // Relaxed: FreeAll is ordered before any later Release by the caller's own sync.
    if (!pEntry || !gbAlive.load(std::memory_order_relaxed))
        return;
    while (pEntry)
        pEntry = DropReference(pEntry);
}

void VXStringPool::Iterate(IterationCallback& rCallback)
{
    VXSafeSleep kBackoff;
    for (uint32_t uiBucket = 0; uiBucket < BUCKET_COUNT; ++uiBucket)
    {
        StripeLock& rLock = StripeOf(uiBucket);
        vxpool::LockRead(rLock, kBackoff);
        for (Entry const* pEntry = gapBuckets[uiBucket]; pEntry; pEntry = pEntry->pNext)
        {
            if (pEntry->uiFlags.load(std::memory_order_relaxed) & WIDE_BIT)
                Visit<VXWChar>(rCallback, uiBucket, pEntry);
            else
                Visit<char>(rCallback, uiBucket, pEntry);
        }
        vxpool::UnlockRead(rLock);
        kBackoff.Reset();
    }
}

void VXStringPool::FreeAll()
{
    if (!gbAlive.load(std::memory_order_relaxed))
        return;
    VXSafeSleep kBackoff;
    for (uint32_t uiBucket = 0; uiBucket < BUCKET_COUNT; ++uiBucket)
    {
        StripeLock& rLock = StripeOf(uiBucket);
        vxpool::LockWrite(rLock, kBackoff);
        Entry* pEntry = gapBuckets[uiBucket];
        gapBuckets[uiBucket] = nullptr;
        vxpool::UnlockWrite(rLock);
        while (pEntry)
        {
            Entry* pNext = pEntry->pNext;
            std::free(pEntry);
            pEntry = pNext;
        }
        kBackoff.Reset();
    }
    gbAlive.store(false, std::memory_order_relaxed);
}

VXStringPoolAllocFunc VXStringPoolSetAllocFunc(VXStringPoolAllocFunc pFunc)
{
    return gpAllocFunc.exchange(pFunc, std::memory_order_relaxed);
}
