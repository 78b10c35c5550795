// Restores arbitrary bytes as a file-set stream into a fresh folder inside a sandbox
// folder, then checks that nothing appeared in the sandbox outside the target, and that
// no name the restore went on to write climbs out of the target, however far: a climb past
// the sandbox would not show up in the walk.
#include "vxsystem/VXFileSet.h"
#include "vxsystem/VXMemStorage.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h> // mkdtemp

namespace fs = std::filesystem;

namespace
{
// Made on first use and removed at exit. Held through a pointer that is never freed, so
// the exit handler runs before nothing it needs is destroyed.
fs::path const& Sandbox()
{
    static fs::path const* const root = []
    {
        std::string pattern = (fs::temp_directory_path() / "vxfuzz-fileset-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        fs::create_directories(fs::path(pattern) / "work");
        std::atexit(
            []
            {
                std::error_code ignored;
                fs::remove_all(Sandbox(), ignored);
            });
        return new fs::path(pattern);
    }();
    return *root;
}

// Both separators count, as they do for the restore.
bool StaysInside(fs::path const& target, std::string name)
{
    for (char& c : name)
        if (c == '\\')
            c = '/';
    std::string joined = (target.string() + "/" + name);
    std::string normal = fs::path(joined).lexically_normal().string();
    return normal.rfind(target.string() + "/", 0) == 0;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    fs::path const& root = Sandbox();
    fs::path target = root / "work" / "target";
    std::string bytes(reinterpret_cast<char const*>(data), size);
    VXMemStorage in(bytes.size(), reinterpret_cast<unsigned char*>(bytes.data()));
    std::string log(size + 16, '\0');
    VXMemStorage names(log.size(), reinterpret_cast<unsigned char*>(log.data()));
    VXFileSet::Read(in, target.c_str(), &names);
    if (names.Seek(0, VXStorageDefs::STORAGE_SEEK_BEGIN) == VXStorageDefs::STORAGE_OK)
        for (VXFixedStringCS name; names.ReadString(name, true) == VXStorageDefs::STORAGE_OK;)
            if (!StaysInside(target, name.QString()))
                __builtin_trap();
    for (auto const& entry : fs::recursive_directory_iterator(root))
    {
        fs::path const& path = entry.path();
        bool inside = path == root / "work" || path == target ||
                      path.string().rfind(target.string() + "/", 0) == 0;
        if (!inside)
            __builtin_trap();
    }
    std::error_code ignored;
    fs::remove_all(target, ignored);
    return 0;
}
