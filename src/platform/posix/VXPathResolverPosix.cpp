// Maps engine names (backslashes, any letter case) to paths on a case-sensitive disk.
// Folder listings are cached and revalidated by the folder's modification time, so a
// name whose spelling differs from the disk costs one stat per folder, not a readdir.
#include "platform/VXPlatformRuntime.h"

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace
{
struct FolderListing
{
    timespec tModified;             // the folder's mtime when listed
    std::vector<std::string> names; // its entries, sorted, so a choice is stable
};

class ListingCache
{
public:
    // The entry of folder whose name equals component without regard to case.
    bool Match(std::string const& folder, std::string const& component, std::string& found)
    {
        struct stat info;
        if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            return false;
        std::lock_guard<std::mutex> hold(kLock);
        FolderListing& listing = kListings[folder];
        if (listing.names.empty() || listing.tModified.tv_sec != info.st_mtim.tv_sec ||
            listing.tModified.tv_nsec != info.st_mtim.tv_nsec)
            Reload(folder, info.st_mtim, listing);
        for (std::string const& name : listing.names)
        {
            if (strcasecmp(name.c_str(), component.c_str()) == 0)
            {
                found = name;
                return true;
            }
        }
        return false;
    }

private:
    static void Reload(std::string const& folder, timespec modified, FolderListing& listing)
    {
        listing.tModified = modified;
        listing.names.clear();
        DIR* dir = opendir(folder.c_str());
        if (!dir)
            return;
        while (dirent* entry = readdir(dir))
            listing.names.emplace_back(entry->d_name);
        closedir(dir);
        std::sort(listing.names.begin(), listing.names.end());
    }

    std::mutex kLock;                                         // guards kListings
    std::unordered_map<std::string, FolderListing> kListings; // by folder path
};

ListingCache& Cache()
{
    static ListingCache sCache;
    return sCache;
}

bool Exists(std::string const& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}
} // namespace

bool PlatformResolvePath(char const* name, char* out, size_t outSize)
{
    if (!name || !out || outSize == 0)
        return false;
    std::string path(name);
    for (char& c : path)
        if (c == '\\')
            c = '/';
    if (!Exists(path))
    {
        std::string resolved = path[0] == '/' ? "/" : "";
        size_t start = path[0] == '/' ? 1 : 0;
        bool matching = true;
        while (start <= path.size())
        {
            size_t end = path.find('/', start);
            if (end == std::string::npos)
                end = path.size();
            std::string component = path.substr(start, end - start);
            std::string folder = resolved.empty() ? "." : resolved;
            std::string found;
            if (matching && !component.empty() && component != "." && component != ".." &&
                !Exists(resolved + component))
            {
                if (Cache().Match(folder, component, found))
                    component = found;
                else
                    matching = false; // nothing below a missing component can match
            }
            resolved += component;
            if (end < path.size())
                resolved += '/';
            start = end + 1;
        }
        path = resolved;
    }
    if (path.size() + 1 > outSize)
        return false;
    std::memcpy(out, path.c_str(), path.size() + 1);
    return true;
}
