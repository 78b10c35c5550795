// Reads of one PageFile from several threads at once: every page comes back whole and the
// read counter misses none.
#include "VXTestSupport.h"
#include "vxsystem/VXPageFile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(PageFileStress, ConcurrentReadsSeeWholePages)
{
    constexpr unsigned int kPageSize = 512;
    constexpr uint64_t kPages = 64;
    constexpr int kThreads = 4;
    constexpr int kReadsPerThread = 2000;
    vxtest::TempDir dir;
    std::string path = dir / "shared.pages";
    std::string data = vxtest::RandomBytes(kPages * kPageSize, 11);
    VXBTreeFile::PageFile file(path.c_str(), kPageSize, 0, VXSystemFile::AM_READ_WRITE,
                               VXSystemFile::OM_CREATE_ALWAYS);
    ASSERT_EQ(file.Allocate(kPages), 1u);
    for (uint64_t n = 1; n <= kPages; ++n)
        ASSERT_EQ(file.Write(data.data() + (n - 1) * kPageSize, n), VXSystemFile::EC_OK);

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                std::string page(kPageSize, '\0');
                for (int i = 0; i < kReadsPerThread; ++i)
                {
                    uint64_t n = 1 + (i * 7 + t) % kPages;
                    if (file.Read(page.data(), n) != VXSystemFile::EC_OK ||
                        page.compare(0, kPageSize, data, (n - 1) * kPageSize, kPageSize) != 0)
                        wrong.fetch_add(1, std::memory_order_relaxed);
                    file.Acquire();
                    file.Release();
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(file.QReads(), unsigned(kThreads * kReadsPerThread));
    EXPECT_EQ(file.QAcquireCount(), 0u);
}
