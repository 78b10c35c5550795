// Maps engine names (backslashes, any letter case) to paths on a case-sensitive disk.
// Folder listings are cached, at most kMaxFolders of them, the least recently used
// going first. A listing is trusted while its folder's identity and times are those it
// was read with; the library's own creates, renames and deletes drop it at once, since
// two changes within one timestamp tick leave the times alone. The loose-file test
// answers misses from a listing checked in the last few milliseconds without a stat.
#include "foundation/VXCRuntime.h"
#include "foundation/VXPlatformSync.h"
#include "platform/VXPlatformRuntime.h"

#include "vxsystem/MemoryManager.h"
#include "vxsystem/VXCriticalSection.h"

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{
constexpr size_t kMaxPath = 4096;
constexpr uint32_t kMaxFolders = 2048;
constexpr uint32_t kBuckets = 4096; // a power of two

uint32_t Bucket(char const* path)
{
    uint32_t hash = 2166136261u; // FNV-1a
    for (; *path; ++path)
        hash = (hash ^ static_cast<unsigned char>(*path)) * 16777619u;
    return hash & (kBuckets - 1);
}

struct Stamp
{
    dev_t tDevice;
    ino_t tInode;
    timespec tModified;
    timespec tChanged;

    bool Same(struct stat const& info) const
    {
        return tDevice == info.st_dev && tInode == info.st_ino &&
               tModified.tv_sec == info.st_mtim.tv_sec &&
               tModified.tv_nsec == info.st_mtim.tv_nsec &&
               tChanged.tv_sec == info.st_ctim.tv_sec && tChanged.tv_nsec == info.st_ctim.tv_nsec;
    }
};

struct Folder
{
    char* pPath;        // the folder as spelled when listed; null for a free slot
    Stamp kStamp;       // identity and times when listed
    char* pNames;       // its entries, each terminated
    uint32_t* pOrder;   // offsets into pNames, sorted without regard to case, then with
    uint32_t uiCount;   // entries
    uint64_t uiUsed;    // tick of the last use, for the LRU choice
    uint32_t uiNext;    // next slot + 1 in the same bucket; 0 ends the chain
    bool bRacy;         // listed within kRacySeconds of its last change: may miss a change
    uint64_t uiChecked; // PlatformTickCountMs() when last found current
};

// How long a listing found current answers for its folder without a stat: a change made
// by another process shows after at most this long, the library's own changes at once. On
// the coarse clock, since a probe reads it on every answer; a tick more of trust is no harm.
constexpr uint64_t kTrustMilliseconds = 2;

// A folder changed again within one timestamp tick keeps its times, so a listing read that
// soon after a change is not trusted alone to say a name is absent; it is read again later.
constexpr time_t kRacySeconds = 2;

bool IsRacy(struct stat const& info)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec - info.st_mtim.tv_sec <= kRacySeconds ||
           now.tv_sec - info.st_ctim.tv_sec <= kRacySeconds;
}

void* Allocate(size_t size)
{
    return MemoryManager::Instance().Allocate(size);
}

void Free(void* block)
{
    MemoryManager::Instance().Deallocate(block);
}

class ListingCache
{
public:
    // The entry of folder (whose stat is info) that equals component without regard to
    // case, copied to found (foundSize bytes).
    bool Match(char const* folder, struct stat const& info, char const* component, char* found,
               size_t foundSize)
    {
        return Find(folder, info, component, found, foundSize, true) == kFound;
    }

    enum Outcome
    {
        kUnlisted, // the folder could not be listed: nothing is known
        kAbsent,
        kFound,
        kStale // held, but to be checked against the disk first
    };

    // As Match; a racy listing tells nothing unless trustRacy.
    Outcome Find(char const* folder, struct stat const& info, char const* component, char* found,
                 size_t foundSize, bool trustRacy)
    {
        VXScopedCriticalSection hold(kLock, "Path resolver");
        Folder* listing = Listing(folder, info);
        if (!listing || (listing->bRacy && !trustRacy))
            return kUnlisted;
        listing->uiChecked = PlatformTickCountMs();
        return Search(*listing, component, found, foundSize);
    }

    // Answers from the listing of folder without asking the disk when it was found current
    // less than kTrustMilliseconds ago; kStale when it is held but must be checked first,
    // kUnlisted when it is not held.
    // Call inside Held.
    Outcome Recent(char const* path, char const* component, char* found, size_t foundSize)
    {
        for (uint32_t at = aBuckets[Bucket(path)]; at; at = aFolders[at - 1].uiNext)
        {
            Folder& folder = aFolders[at - 1];
            if (std::strcmp(folder.pPath, path) != 0)
                continue;
            if (folder.bRacy || PlatformTickCountMs() - folder.uiChecked > kTrustMilliseconds)
                return kStale;
            folder.uiUsed = ++uiTick;
            return Search(folder, component, found, foundSize);
        }
        return kUnlisted;
    }

    // Runs visit with the lock held: a walk up a path's folders pays for one hold.
    template <class Visit> void Held(Visit visit)
    {
        VXScopedCriticalSection hold(kLock, "Path resolver");
        visit();
    }

    // Forgets every listing of the folder with this identity.
    void Drop(struct stat const& info)
    {
        VXScopedCriticalSection hold(kLock, "Path resolver");
        for (Folder& folder : aFolders)
            if (folder.pPath && folder.kStamp.tDevice == info.st_dev &&
                folder.kStamp.tInode == info.st_ino)
                Clear(folder);
    }

    uint32_t Count()
    {
        VXScopedCriticalSection hold(kLock, "Path resolver");
        uint32_t count = 0;
        for (Folder const& folder : aFolders)
            count += folder.pPath != nullptr;
        return count;
    }

private:
    static Outcome Search(Folder const& listing, char const* component, char* found,
                          size_t foundSize)
    {
        uint32_t* end = listing.pOrder + listing.uiCount;
        uint32_t* at = std::lower_bound(listing.pOrder, end, component,
                                        [&](uint32_t offset, char const* key)
                                        { return VXStricmp(listing.pNames + offset, key) < 0; });
        if (at == end || VXStricmp(listing.pNames + *at, component) != 0)
            return kAbsent;
        size_t length = std::strlen(listing.pNames + *at);
        if (length >= foundSize)
            return kAbsent;
        std::memcpy(found, listing.pNames + *at, length + 1);
        return kFound;
    }

    Folder* Listing(char const* path, struct stat const& info)
    {
        uint32_t bucket = Bucket(path);
        for (uint32_t at = aBuckets[bucket]; at; at = aFolders[at - 1].uiNext)
        {
            Folder& folder = aFolders[at - 1];
            if (std::strcmp(folder.pPath, path) != 0)
                continue;
            folder.uiUsed = ++uiTick;
            if (folder.kStamp.Same(info) && !(folder.bRacy && !IsRacy(info)))
                return &folder;
            Clear(folder);
            break;
        }
        Folder* slot = &aFolders[0];
        for (Folder& folder : aFolders) // only when a folder is listed: rare
        {
            if (!folder.pPath)
            {
                slot = &folder;
                break;
            }
            if (folder.uiUsed < slot->uiUsed)
                slot = &folder;
        }
        Clear(*slot);
        if (!Load(*slot, path, info))
            return nullptr;
        slot->uiNext = aBuckets[bucket];
        aBuckets[bucket] = static_cast<uint32_t>(slot - aFolders) + 1;
        return slot;
    }

    Folder* Load(Folder& folder, char const* path, struct stat const& info)
    {
        DIR* dir = opendir(path);
        if (!dir)
            return nullptr;
        size_t used = 0, capacity = 0;
        uint32_t count = 0;
        bool ok = true;
        while (dirent* entry = readdir(dir))
        {
            size_t length = std::strlen(entry->d_name) + 1;
            if (used + length > capacity && !Grow(folder.pNames, used, capacity, used + length))
                ok = false;
            if (!ok)
                break;
            std::memcpy(folder.pNames + used, entry->d_name, length);
            used += length;
            ++count;
        }
        closedir(dir);
        folder.pOrder =
            ok && count ? static_cast<uint32_t*>(Allocate(count * sizeof(uint32_t))) : nullptr;
        size_t pathLength = std::strlen(path) + 1;
        folder.pPath = ok ? static_cast<char*>(Allocate(pathLength)) : nullptr;
        if (!folder.pPath || (count && !folder.pOrder))
        {
            Clear(folder);
            return nullptr;
        }
        std::memcpy(folder.pPath, path, pathLength);
        for (uint32_t i = 0, offset = 0; i < count; ++i)
        {
            folder.pOrder[i] = offset;
            offset += static_cast<uint32_t>(std::strlen(folder.pNames + offset) + 1);
        }
        char const* names = folder.pNames;
        std::sort(folder.pOrder, folder.pOrder + count,
                  [names](uint32_t a, uint32_t b)
                  {
                      int folded = VXStricmp(names + a, names + b);
                      return folded ? folded < 0 : std::strcmp(names + a, names + b) < 0;
                  });
        folder.uiCount = count;
        folder.kStamp = {info.st_dev, info.st_ino, info.st_mtim, info.st_ctim};
        folder.uiUsed = ++uiTick;
        folder.bRacy = IsRacy(info);
        folder.uiChecked = PlatformTickCountMs();
        return &folder;
    }

    static bool Grow(char*& block, size_t used, size_t& capacity, size_t needed)
    {
        size_t grown = std::max<size_t>(needed, capacity ? capacity * 2 : 4096);
        auto* bigger = static_cast<char*>(Allocate(grown));
        if (!bigger)
            return false;
        if (used)
            std::memcpy(bigger, block, used);
        Free(block);
        block = bigger;
        capacity = grown;
        return true;
    }

    void Clear(Folder& folder)
    {
        if (folder.pPath)
            Unlink(folder);
        Free(folder.pPath);
        Free(folder.pNames);
        Free(folder.pOrder);
        folder = Folder{};
    }

    void Unlink(Folder& folder)
    {
        uint32_t self = static_cast<uint32_t>(&folder - aFolders) + 1;
        for (uint32_t* link = &aBuckets[Bucket(folder.pPath)]; *link;
             link = &aFolders[*link - 1].uiNext)
            if (*link == self)
            {
                *link = folder.uiNext;
                return;
            }
    }

    VXCriticalSection kLock;        // guards everything below
    uint32_t aBuckets[kBuckets]{};  // slot + 1 of each chain's head
    Folder aFolders[kMaxFolders]{}; // the listings
    uint64_t uiTick = 0;            // use counter for the LRU choice
};

ListingCache& Cache()
{
    static ListingCache sCache;
    return sCache;
}

// One component after another; a component that is missing as spelled takes the spelling
// its folder's listing has. Gives whether the whole path exists; out holds the path with
// every component that matched in its disk spelling and the rest as given.
bool Walk(char const* name, char* out, size_t outSize)
{
    size_t length = std::strlen(name);
    if (length + 1 > outSize || length + 1 > kMaxPath)
        return false;
    for (size_t i = 0; i <= length; ++i)
        out[i] = name[i] == '\\' ? '/' : name[i];
    struct stat info;
    if (lstat(out, &info) == 0)
        return true;
    bool matching = true;
    struct stat folderInfo;
    size_t start = out[0] == '/' ? 1 : 0;
    if (stat(start ? "/" : ".", &folderInfo) != 0)
        return false;
    while (start <= length)
    {
        char* end = std::strchr(out + start, '/');
        size_t stop = end ? static_cast<size_t>(end - out) : length;
        char saved = out[stop];
        out[stop] = 0;
        char* component = out + start;
        bool special = !*component || !std::strcmp(component, ".") || !std::strcmp(component, "..");
        bool present = matching && stat(out, &info) == 0;
        if (matching && !present && !special)
        {
            char found[256];
            char folder[kMaxPath];
            if (start <= 1) // the working folder, or the root
                std::memcpy(folder, start ? "/" : ".", 2);
            else
            {
                std::memcpy(folder, out, start - 1);
                folder[start - 1] = 0;
            }
            if (Cache().Match(folder, folderInfo, component, found, sizeof(found)) &&
                std::strlen(found) == stop - start)
            {
                std::memcpy(component, found, stop - start);
                present = stat(out, &info) == 0;
            }
        }
        matching = present;
        folderInfo = info;
        out[stop] = saved;
        start = stop + 1;
    }
    return matching;
}

// A miss answered with at most one stat: the deepest folder of the path that has a listing,
// if the path names it exactly as spelled, tells whether the component below it exists. Only
// an absent component, or a present last one, is answered; a folder to go into, "." and ".."
// are left to the walk. Gives -1 when not answered.
// Splits path[0, end) into its folder and last component; false when the component cannot
// be answered from a listing.
bool SplitLast(char const* path, size_t end, char* folder, char* component, size_t& slash)
{
    slash = end;
    while (slash > 0 && path[slash - 1] != '/')
        --slash;
    if (slash == 0)
        std::memcpy(folder, ".", 2);
    else if (slash == 1)
        std::memcpy(folder, "/", 2);
    else
    {
        std::memcpy(folder, path, slash - 1);
        folder[slash - 1] = 0;
    }
    size_t componentLength = end - slash;
    if (componentLength == 0 || componentLength >= 256)
        return false;
    std::memcpy(component, path + slash, componentLength);
    component[componentLength] = 0;
    return std::strcmp(component, ".") && std::strcmp(component, "..");
}

int AnswerFromListing(char const* path, size_t length)
{
    char folder[kMaxPath];
    char component[256];
    char found[256];
    size_t end = length;
    ListingCache::Outcome outcome = ListingCache::kUnlisted;
    Cache().Held(
        [&]
        {
            size_t slash = 0;
            while (SplitLast(path, end, folder, component, slash))
            {
                outcome = Cache().Recent(folder, component, found, sizeof(found));
                if (outcome != ListingCache::kUnlisted || slash <= 1)
                    return;
                end = slash - 1;
            }
        });
    if (outcome == ListingCache::kUnlisted)
        return -1;
    if (outcome == ListingCache::kStale)
    {
        struct stat info;
        if (stat(folder, &info) != 0)
            return -1;
        outcome = Cache().Find(folder, info, component, found, sizeof(found), false);
    }
    if (outcome == ListingCache::kAbsent)
        return 0;
    return outcome == ListingCache::kFound && end == length ? 1 : -1;
}
} // namespace

bool PlatformResolvePath(char const* name, char* out, size_t outSize)
{
    if (!name || !out || outSize == 0)
        return false;
    if (std::strlen(name) + 1 > outSize)
        return false;
    Walk(name, out, outSize);
    return true;
}

bool PlatformLooseFileExists(char const* name)
{
    if (!name || !*name)
        return false;
    size_t length = std::strlen(name);
    if (length + 1 > kMaxPath)
        return false;
    char path[kMaxPath];
    for (size_t i = 0; i <= length; ++i)
        path[i] = name[i] == '\\' ? '/' : name[i];
    int answer = AnswerFromListing(path, length);
    return answer >= 0 ? answer == 1 : Walk(name, path, sizeof(path));
}

void PlatformNotePathChanged(char const* path)
{
    if (!path || !*path)
        return;
    char parent[kMaxPath];
    size_t length = std::strlen(path);
    if (length >= sizeof(parent))
        return;
    std::memcpy(parent, path, length + 1);
    char* slash = std::strrchr(parent, '/');
    if (slash == parent)
        slash[1] = 0; // a child of the root
    else if (slash)
        *slash = 0;
    else
        std::memcpy(parent, ".", 2);
    int saved = errno; // callers report the errno of their own call after this one
    struct stat info;
    if (stat(parent, &info) == 0)
        Cache().Drop(info);
    errno = saved;
}

uint32_t PlatformCachedFolderCount()
{
    return Cache().Count();
}
