// PageInfoTable bookkeeping case by case, then a B-tree-like workload through PageFile and
// an 8-slot cache over 1,000 pages, checked page by page against a model in memory.
#include "VXTestSupport.h"
#include "vxsystem/VXMemoryPager.h"
#include "vxsystem/VXPageFile.h"
#include "vxsystem/VXPageInfoTable.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

using namespace VXBTreeFile;

namespace
{
constexpr unsigned int kFresh = PageInfo::PAGE_NEW | 1;

struct Cache
{
    explicit Cache(unsigned int count)
        : kInfo(count), kSlots(PageInfoTable::QRequiredTableSize(count)),
          kTable(kSlots.data(), static_cast<unsigned int>(kSlots.size()), kInfo.data(), count)
    {
    }
    // Acquire by lookup; evicted and found come back through the members.
    PageInfo* Get(uint64_t page, uint64_t count = 1)
    {
        PageInfo* info = nullptr;
        bool ok = kTable.AcquireInfo(info, page, uiEvicted, uiFound, count);
        EXPECT_EQ(ok, info != nullptr);
        return info;
    }
    void Touch(uint64_t page, bool dirty)
    {
        PageInfo* info = Get(page);
        if (dirty)
            PageInfoTable::MarkInfoDirty(info);
        kTable.ReleaseInfo(info);
    }
    std::vector<uint64_t> Flush(bool sort)
    {
        PageInfo const* list = nullptr;
        kTable.RemoveUnusedDirtyPages(list, sort);
        std::vector<uint64_t> pages;
        for (PageInfo const* info = list; info; info = info->pPrev)
            pages.push_back(info->uiPage);
        kTable.ReturnPageListToAvail(list);
        return pages;
    }
    std::vector<PageInfo> kInfo;
    std::vector<PageInfo*> kSlots;
    PageInfoTable kTable;
    uint64_t uiEvicted = 0;
    uint64_t uiFound = 0;
};

struct Pager : MemoryPager
{
    Pager() : MemoryPager(0, 200) {}
};
} // namespace

TEST(PageInfoTable, RequiredTableSize)
{
    std::pair<unsigned int, unsigned int> const cases[] = {{0, 1}, {1, 1}, {3, 4}, {1000, 2048}};
    for (auto [count, size] : cases)
        EXPECT_EQ(PageInfoTable::QRequiredTableSize(count), size) << count;
}

TEST(PageInfoTable, AcquireReleaseAndEviction)
{
    Cache cache(4);
    PageInfo* held[4];
    for (int i = 0; i < 4; ++i)
    {
        held[i] = cache.Get(10 + i);
        EXPECT_EQ(held[i], &cache.kInfo[3 - i]); // reverse array order
        EXPECT_EQ(held[i]->uiFlags, kFresh);
        EXPECT_EQ(cache.uiFound, 0u);
    }
    EXPECT_EQ(cache.Get(20), nullptr); // all acquired
    EXPECT_EQ(cache.kTable.QMisses(), 5u);

    PageInfo* again = cache.Get(10, 1);
    EXPECT_EQ(again, held[0]);
    EXPECT_EQ(cache.uiFound, 1u);
    cache.kTable.ReleaseInfo(again); // count 2 to 1: pointer kept
    EXPECT_EQ(again, held[0]);
    PageInfoTable::MarkInfoDirty(held[0]);
    for (PageInfo*& info : held)
    {
        cache.kTable.ReleaseInfo(info);
        EXPECT_EQ(info, nullptr);
    }
    EXPECT_EQ(cache.kTable.QDirtyInLRU(), 1u);

    // Off the ring with a count of 1 whatever the argument, still dirty.
    PageInfo* ring = cache.Get(10, 5);
    EXPECT_EQ(ring->uiFlags, PageInfo::PAGE_DIRTY | PageInfo::PAGE_NEW | 1);
    EXPECT_EQ(cache.kTable.QDirtyInLRU(), 0u);
    cache.kTable.ReleaseInfo(ring);
    // The oldest on the ring goes first: clean 11, 12, 13, then dirty 10 (released last).
    for (uint64_t page : {30, 31, 32, 33})
    {
        cache.Get(page);
        EXPECT_EQ(cache.uiEvicted, page == 33 ? 10u : 0u) << page;
    }
    EXPECT_EQ(cache.kTable.QTableUsed(), 4u);
}

TEST(PageInfoTable, FlushListsAndDiscard)
{
    Cache cache(6);
    EXPECT_TRUE(cache.Flush(true).empty());
    for (uint64_t page : {9, 3, 4, 7, 5})
        cache.Touch(page, page != 4);
    EXPECT_EQ(cache.Flush(true), (std::vector<uint64_t>{3, 5, 7, 9}));
    EXPECT_EQ(cache.kTable.QTableUsed(), 1u);
    cache.Get(4); // the clean page stayed cached
    EXPECT_EQ(cache.uiFound, 1u);
    for (uint64_t page : {8, 2, 6})
        cache.Touch(page, true);
    EXPECT_EQ(cache.Flush(false), (std::vector<uint64_t>{6, 2, 8})); // last taken first

    PageInfo* discard = cache.Get(40, 1);
    discard->uiFlags |= PageInfo::PAGE_DISCARD;
    cache.kTable.ReleaseInfo(discard);
    EXPECT_EQ(discard, nullptr);
    cache.Get(40);
    EXPECT_EQ(cache.uiFound, 0u); // out of the table as well
}

TEST(PageInfoTable, WorkloadMatchesModel)
{
    constexpr unsigned int kPageSize = 256;
    constexpr uint64_t kPages = 1000;
    vxtest::TempDir dir;
    std::string path = dir / "tree.pages";
    std::vector<std::string> model(kPages + 1, std::string(kPageSize, '\0'));
    std::mt19937 random(42);
    {
        PageFile file(path.c_str(), kPageSize, (kPages + 1) * kPageSize,
                      VXSystemFile::AM_READ_WRITE, VXSystemFile::OM_CREATE_ALWAYS);
        ASSERT_EQ(file.Allocate(kPages), 1u);
        Cache cache(8);
        std::vector<std::string> buffers(8, std::string(kPageSize, '\0'));
        auto buffer = [&](PageInfo* info) -> std::string&
        { return buffers[info - cache.kTable.QInfoA()]; };
        auto write = [&](uint64_t page, std::string const& bytes)
        { ASSERT_EQ(file.Write(bytes.data(), page), VXSystemFile::EC_OK); };
        for (int step = 0; step < 20000; ++step)
        {
            // A root-to-leaf path: hot pages near the top, a wide spread below.
            std::vector<PageInfo*> trail;
            for (uint64_t level = 0; level < 3; ++level)
            {
                uint64_t page = 1 + (level == 0 ? 0 : random() % (level == 1 ? 8 : kPages));
                PageInfo* info = cache.Get(page);
                ASSERT_NE(info, nullptr);
                if (cache.uiEvicted)
                {
                    write(cache.uiEvicted, buffer(info));
                }
                if (!cache.uiFound)
                {
                    ASSERT_EQ(file.Read(buffer(info).data(), page), VXSystemFile::EC_OK);
                }
                ASSERT_EQ(buffer(info), model[page]) << "page " << page << " step " << step;
                trail.push_back(info);
            }
            PageInfo* leaf = trail.back();
            if (random() % 3 == 0)
            {
                buffer(leaf).replace(random() % kPageSize, 1, 1, char(random()));
                model[leaf->uiPage] = buffer(leaf);
                PageInfoTable::MarkInfoDirty(leaf);
            }
            for (PageInfo*& info : trail)
                cache.kTable.ReleaseInfo(info);
            if (step % 1000 == 999 || step == 19999)
            {
                PageInfo const* list = nullptr;
                cache.kTable.RemoveUnusedDirtyPages(list, true);
                for (PageInfo const* info = list; info; info = info->pPrev)
                    write(info->uiPage, buffers[info - cache.kTable.QInfoA()]);
                cache.kTable.ReturnPageListToAvail(list);
            }
        }
        EXPECT_GT(cache.kTable.QHits(), 20000u);
    }
    PageFile file(path.c_str(), 0, 0, VXSystemFile::AM_READ, VXSystemFile::OM_EXISTING);
    ASSERT_TRUE(file.QValid());
    std::string page(kPageSize, '\0');
    for (uint64_t n = 1; n <= kPages; ++n)
    {
        ASSERT_EQ(file.Read(page.data(), n), VXSystemFile::EC_OK);
        ASSERT_EQ(page, model[n]) << n;
    }
}

TEST(MemoryPager, PagesAreAlignedAndCounted)
{
    Pager pager;
    void* pages[3] = {};
    uint64_t handle = 0;
    unsigned int level = 0;
    ASSERT_TRUE(pager.AcquireRoot(pages[0], handle, level));
    EXPECT_EQ(level, 1u);
    for (void*& page : {std::ref(pages[1]), std::ref(pages[2])})
        ASSERT_TRUE(pager.AllocatePage(page, handle));
    void* found = nullptr;
    EXPECT_TRUE(MemoryPager::Acquire(found, handle));
    EXPECT_EQ(found, pages[2]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pages[0]) % 128, 0u);
    pager.DeallocatePage(pages[2]);
    EXPECT_EQ(pager.QActivePages(), 2u);
    pager.DeallocatePage(pages[1]);
    pager.DeallocatePage(pages[0]);
}
