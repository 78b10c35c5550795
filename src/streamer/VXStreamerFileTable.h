// The file table of the streaming read service: paths to 32-bit identities (PathTable,
// an open-addressed table with chains through its own entries) and one content version
// per identity ever handed out (VersionTable). Thread-safe: PathLock guards the paths,
// VersionLock the versions; PathLock is always taken first.
#pragma once

#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXFixedString.h"
#include "vxsystem/VXSpinLock.h"
#include "vxsystem/VXTArray.h"

#include <atomic>

namespace VXSystemFileStreamer
{
// Not thread-safe on its own.
class PathTable
{
public:
    struct PathEntry
    {
        VXFixedString sKey;
        unsigned int uiID;
        PathEntry* pLink; // null when free; chain ends point at the sentinel
    };

    PathTable() = default;
    ~PathTable() { Clear(); }
    PathTable(PathTable const&) = delete;
    PathTable& operator=(PathTable const&) = delete;

    // Gives the identity stored for key; a new key is stored with candidate. inserted
    // tells which. False when the table could not grow.
    bool InsertOrFind(VXFixedString const& key, unsigned int candidate, unsigned int& id,
                      bool& inserted);
    void Clear();

    unsigned int QCapacity() const { return uiCapacity; }
    unsigned int QFreeCount() const { return uiFreeCount; }
    PathEntry const* QEntries() const { return pEntries; }
    bool QChainEnd(PathEntry const* link) const { return link == Sentinel(); }
    unsigned int QHome(VXFixedString const& key) const;

private:
    static PathEntry* Sentinel();
    bool Grow();
    PathEntry* TakeFree();
    void Place(PathEntry* entry, VXFixedString const& key, unsigned int id, PathEntry* link);

    PathEntry* pEntries = nullptr;
    unsigned int uiCapacity = 0;
    unsigned int uiFreeCount = 0;
    unsigned int uiCursor = 0;
};

class FileTable
{
public:
    FileTable() : uiNextFileID(0) {}

    // Leaves id alone at the identity limit or when the table cannot grow.
    void GetIDForPath(unsigned int& id, VXFixedString const& path);
    // All bits set for an identity the table never gave. Takes no lock: the versions are
    // reserved for every identity at once, so the table never moves.
    uint64_t QVersion(unsigned int id) const;
    void UpdateVersion(unsigned int id);
    // Forgets the paths; versions and the identity counter stay.
    void ClearPaths();

private:
    PathTable kPaths;
    VXTArray<uint64_t, VXTArrayHeapAllocator> VersionTable;
    VXReadWriteLock VersionLock;
    VXCriticalSection PathLock;
    unsigned int uiNextFileID;
    // The versions the table has handed out; released after each one is stored.
    std::atomic<unsigned int> uiVersionCount{0};
    uint64_t* pVersions = nullptr;
};
} // namespace VXSystemFileStreamer
