// Heap and resident memory of 300 open archives of 1,000 stored members each, as a host
// that mounts many archives holds them. Prints bytes per archive; the archives live in a
// temp folder that is removed at the end.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveManager.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr int kArchives = 300;
constexpr int kMembers = 1000;

std::string Name(char const* format, int a, int b = 0)
{
    char name[64];
    std::snprintf(name, sizeof(name), format, a, b);
    return name;
}

size_t HeapBytes()
{
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

size_t ResidentBytes()
{
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}
} // namespace

int main()
{
    std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("vxbench_memory_" + std::to_string(getpid()));
    std::filesystem::create_directories(root);
    VXArchiveWriterOptions options;
    options.uiFlags &= ~VXArchiveHeader::AF_COMPRESSED;
    VXArchiveWriter writer(options);
    for (int i = 0; i < kMembers; ++i)
        writer.AddFile(Name("meshes\\set%d\\part%d.kof", i % 50, i),
                       std::string(100 + i % 400, 'x'), VXArchiveWriter::MC_STORED);
    std::string first = (root / "a0.vxa").string();
    if (!writer.Write(first))
        return 1;
    for (int a = 1; a < kArchives; ++a)
        std::filesystem::copy_file(first, root / Name("a%d.vxa", a));
    ArchiveManager::Init(true, "", nullptr, 0);
    ArchiveManager::SetInvalidateOlderFiles(false);
    int result = 0;
    {
        std::vector<std::unique_ptr<Archive>> archives;
        size_t heapBefore = HeapBytes(), residentBefore = ResidentBytes();
        for (int a = 0; a < kArchives; ++a)
            archives.push_back(std::make_unique<Archive>(
                (root / Name("a%d.vxa", a)).string().c_str(), 65536, false, false));
        size_t heap = HeapBytes() - heapBefore, resident = ResidentBytes() - residentBefore;
        for (auto const& archive : archives)
            result |= archive->GetDisabled() ? 1 : 0;
        std::printf("%d open archives of %d members: heap %.2f MB (%.1f KB each), "
                    "resident +%.2f MB\n",
                    kArchives, kMembers, heap / 1e6, heap / 1e3 / kArchives, resident / 1e6);
    }
    std::error_code error;
    std::filesystem::remove_all(root, error);
    ArchiveManager::Shutdown();
    return result;
}
