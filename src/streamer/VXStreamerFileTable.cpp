#include "streamer/VXStreamerFileTable.h"

#include "streamer/VXStreamerTypes.h"
#include "vxsystem/VXCRC32.h"

#include <cstring>
#include <new>

namespace VXSystemFileStreamer
{
PathTable::PathEntry* PathTable::Sentinel()
{
    static int siEnd; // never read: only its address marks the end of a chain
    return reinterpret_cast<PathEntry*>(&siEnd);
}

unsigned int PathTable::QHome(VXFixedString const& key) const
{
    static_assert(sizeof(VXFixedString) == sizeof(uint64_t) || sizeof(VXFixedString) == 4);
    uint64_t handle = 0;
    std::memcpy(&handle, &key, sizeof(key));
    unsigned int crc = 0;
    VXCRC32::GenerateCRC(crc, handle, 0);
    return crc & (uiCapacity - 1);
}

void PathTable::Place(PathEntry* entry, VXFixedString const& key, unsigned int id, PathEntry* link)
{
    entry->sKey = key;
    entry->uiID = id;
    entry->pLink = link;
}

PathTable::PathEntry* PathTable::TakeFree()
{
    do
        uiCursor = (uiCursor - 1) & (uiCapacity - 1);
    while (pEntries[uiCursor].pLink);
    return &pEntries[uiCursor];
}

bool PathTable::Grow()
{
    unsigned int capacity = uiCapacity ? uiCapacity * 2 : 8;
    void* memory = MemoryManager::Instance().Allocate(sizeof(PathEntry) * capacity);
    if (!memory)
        return false;
    PathEntry* old = pEntries;
    unsigned int oldCapacity = uiCapacity;
    pEntries = static_cast<PathEntry*>(memory);
    for (unsigned int i = 0; i < capacity; ++i)
        ::new (&pEntries[i]) PathEntry{VXFixedString(), 0, nullptr};
    uiCapacity = uiFreeCount = uiCursor = capacity;
    for (unsigned int i = 0; i < oldCapacity; ++i)
    {
        unsigned int id;
        bool inserted;
        if (old[i].pLink)
            InsertOrFind(old[i].sKey, old[i].uiID, id, inserted);
        old[i].~PathEntry();
    }
    MemoryManager::Instance().Deallocate(old);
    return true;
}

bool PathTable::InsertOrFind(VXFixedString const& key, unsigned int candidate, unsigned int& id,
                             bool& inserted)
{
    inserted = false;
    if (!uiCapacity && !Grow())
        return false;
    PathEntry* home = &pEntries[QHome(key)];
    if (!home->pLink)
    {
        Place(home, key, candidate, Sentinel());
        --uiFreeCount;
        inserted = true;
        id = candidate;
        return true;
    }
    for (PathEntry* entry = home; entry != Sentinel(); entry = entry->pLink)
        if (entry->sKey == key)
        {
            id = entry->uiID;
            return true;
        }
    if (!uiFreeCount)
        return Grow() && InsertOrFind(key, candidate, id, inserted);
    PathEntry* free = TakeFree();
    PathEntry* otherHome = &pEntries[QHome(home->sKey)];
    if (otherHome == home)
    {
        Place(free, key, candidate, home->pLink);
        home->pLink = free;
    }
    else
    {
        // The resident was pushed here from another chain: move it out of the way.
        PathEntry* before = otherHome;
        while (before->pLink != home)
            before = before->pLink;
        Place(free, home->sKey, home->uiID, home->pLink);
        before->pLink = free;
        Place(home, key, candidate, Sentinel());
    }
    --uiFreeCount;
    inserted = true;
    id = candidate;
    return true;
}

void PathTable::Clear()
{
    for (unsigned int i = 0; i < uiCapacity; ++i)
        pEntries[i].~PathEntry();
    MemoryManager::Instance().Deallocate(pEntries);
    pEntries = nullptr;
    uiCapacity = uiFreeCount = uiCursor = 0;
}

void FileTable::GetIDForPath(unsigned int& id, VXFixedString const& path)
{
    VXScopedCriticalSection guard(PathLock);
    if (uiNextFileID >= uiMaxFiles)
        return;
    unsigned int found;
    bool inserted;
    VersionLock.LockForWrite();
    bool grown = VersionTable.Reserve(uiMaxFiles);
    VersionLock.UnlockWrite();
    if (!grown || !kPaths.InsertOrFind(path, uiNextFileID, found, inserted))
        return;
    id = found;
    if (!inserted)
        return;
    VersionLock.LockForWrite();
    VersionTable.Add(~0ull);
    pVersions = &VersionTable[0];
    VersionLock.UnlockWrite();
    ++uiNextFileID;
    uiVersionCount.store(uiNextFileID, std::memory_order_release);
}

uint64_t FileTable::QVersion(unsigned int id) const
{
    if (id >= uiVersionCount.load(std::memory_order_acquire))
        return ~0ull;
    // Relaxed: versions are only compared for equality, and updates are single atomic adds.
    return std::atomic_ref<uint64_t>(pVersions[id]).load(std::memory_order_relaxed);
}

void FileTable::UpdateVersion(unsigned int id)
{
    VersionLock.LockForRead();
    if (id < VersionTable.QSize())
        std::atomic_ref<uint64_t>(VersionTable[id]).fetch_add(1, std::memory_order_relaxed);
    VersionLock.UnlockRead();
}

void FileTable::ClearPaths()
{
    VXScopedCriticalSection guard(PathLock);
    kPaths.Clear();
}
} // namespace VXSystemFileStreamer
