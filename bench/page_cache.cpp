// Random page reads and writes through a PageInfoTable cache (256 slots over 4,096 pages of
// 4 KiB, about 90% hits) against plain pread/pwrite of the same pages in the same order.
// Prints ns per acquire/release pair of the table alone, pages per second both ways and
// their ratio. The file lives in a temp folder that is removed at the end.
#include "vxsystem/VXPageFile.h"
#include "vxsystem/VXPageInfoTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <vector>

namespace
{
using namespace VXBTreeFile;
constexpr unsigned int kPageSize = 4096;
constexpr unsigned int kPages = 4096;
constexpr unsigned int kSlots = 256;
constexpr unsigned int kHot = 200;
constexpr int kOps = 400000;

struct Op
{
    uint64_t uiPage;
    bool bWrite;
};

// 90% of the touches go to a hot set that fits in the cache, the rest anywhere.
std::vector<Op> MakeOps()
{
    std::mt19937 random(99);
    std::vector<Op> ops(kOps);
    for (Op& op : ops)
    {
        op.uiPage = 1 + (random() % 14 ? random() % kHot : random() % kPages);
        op.bWrite = random() % 4 == 0;
    }
    return ops;
}

double Seconds(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Cache
{
    Cache()
        : kInfo(kSlots), kSlotTable(PageInfoTable::QRequiredTableSize(kSlots)),
          kTable(kSlotTable.data(), static_cast<unsigned int>(kSlotTable.size()), kInfo.data(),
                 kSlots),
          kBuffers(size_t{kSlots} * kPageSize)
    {
    }
    char* Buffer(PageInfo const* info) { return &kBuffers[(info - kInfo.data()) * kPageSize]; }
    std::vector<PageInfo> kInfo;
    std::vector<PageInfo*> kSlotTable;
    PageInfoTable kTable;
    std::vector<char> kBuffers;
};

// With file null only the table works: the bookkeeping cost alone.
double RunCached(std::vector<Op> const& ops, PageFile* file, double& hitRate)
{
    Cache cache;
    auto start = std::chrono::steady_clock::now();
    for (Op const& op : ops)
    {
        PageInfo* info = nullptr;
        uint64_t evicted = 0;
        uint64_t found = 0;
        cache.kTable.AcquireInfo(info, op.uiPage, evicted, found, 1);
        if (file && evicted)
            file->Write(cache.Buffer(info), evicted);
        if (file && !found)
            file->Read(cache.Buffer(info), op.uiPage);
        if (op.bWrite)
        {
            cache.Buffer(info)[op.uiPage % kPageSize]++;
            PageInfoTable::MarkInfoDirty(info);
        }
        cache.kTable.ReleaseInfo(info);
    }
    PageInfo const* list = nullptr;
    cache.kTable.RemoveUnusedDirtyPages(list, true);
    for (PageInfo const* info = list; file && info; info = info->pPrev)
        file->Write(cache.Buffer(info), info->uiPage);
    cache.kTable.ReturnPageListToAvail(list);
    hitRate = double(cache.kTable.QHits()) / ops.size();
    return Seconds(start);
}

double RunRaw(std::vector<Op> const& ops, int fd)
{
    std::vector<char> page(kPageSize);
    auto start = std::chrono::steady_clock::now();
    for (Op const& op : ops)
    {
        off_t offset = static_cast<off_t>(op.uiPage * kPageSize);
        if (pread(fd, page.data(), kPageSize, offset) != kPageSize)
            std::fprintf(stderr, "short pread\n");
        if (!op.bWrite)
            continue;
        page[op.uiPage % kPageSize]++;
        if (pwrite(fd, page.data(), kPageSize, offset) != kPageSize)
            std::fprintf(stderr, "short pwrite\n");
    }
    return Seconds(start);
}
} // namespace

int main()
{
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "vxbench_page_cache";
    std::filesystem::create_directories(dir);
    std::string path = (dir / "tree.pages").string();
    {
        PageFile file(path.c_str(), kPageSize, 0, VXSystemFile::AM_READ_WRITE,
                      VXSystemFile::OM_CREATE_ALWAYS);
        std::vector<char> page(kPageSize, 1);
        file.Allocate(kPages);
        for (uint64_t n = 1; n <= kPages; ++n)
            file.Write(page.data(), n);
    }
    std::vector<Op> ops = MakeOps();
    double hitRate = 0;
    double table = RunCached(ops, nullptr, hitRate);
    double cached = 0;
    {
        PageFile file(path.c_str(), kPageSize, 0, VXSystemFile::AM_READ_WRITE,
                      VXSystemFile::OM_EXISTING);
        cached = RunCached(ops, &file, hitRate);
    }
    int fd = open(path.c_str(), O_RDWR);
    double raw = RunRaw(ops, fd);
    close(fd);
    std::filesystem::remove_all(dir);

    std::printf("%d touches of %u pages, %u cache slots, hit rate %.1f%%\n", kOps, kPages, kSlots,
                hitRate * 100);
    std::printf("  table alone          %8.1f ns per acquire/release\n", table * 1e9 / kOps);
    std::printf("  cached through table %8.2f M pages/s\n", kOps / cached / 1e6);
    std::printf("  raw pread/pwrite     %8.2f M pages/s   cached/raw %5.2fx\n", kOps / raw / 1e6,
                raw / cached);
    return 0;
}
