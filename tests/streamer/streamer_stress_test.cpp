// Eight callers mix cached, uncached and asynchronous reads over several files while
// versions move and the cache is dropped; every byte is checked.
#include "StreamerTestKit.h"
#include "streamer/VXStreamerQueues.h"

#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace streamertest;

TEST_F(StreamerFixture, ManyCallersReadExactBytes)
{
    std::vector<std::unique_ptr<DataFile>> files;
    for (uint32_t i = 0; i < 4; ++i)
        files.push_back(
            std::make_unique<DataFile>(sDir, std::string(1, char('a' + i)), 40 * K + i * 777, i));
    std::atomic<int> failures{0};
    auto caller = [&](unsigned int seed)
    {
        std::mt19937 random(seed);
        VXEventFlag flag;
        if (seed % 2)
            VS::SetThreadEventFlag(&flag);
        std::string out;
        for (int op = 0; op < 150; ++op)
        {
            DataFile& data = *files[random() % files.size()];
            uint64_t offset = random() % (data.sBytes.size() + K);
            uint64_t size = random() % (3 * K);
            out.assign(size, '\0');
            uint64_t got = 0;
            switch (random() % 6)
            {
            case 0:
            case 1:
                VS::ReadAt(&data.kFile, data.kID, out.data(), size, offset, got, random() % 4, true,
                           nullptr);
                break;
            case 2:
                VS::ReadAt(&data.kFile, data.kID, out.data(), size, offset, got, 1, false, nullptr);
                break;
            case 3:
            {
                VS::AsyncParams params(random() % 4, true, seed % 2 ? &flag : nullptr);
                VS::ReadAtAsync(&data.kFile, data.kID, out.data(), size, offset, params);
                params.Wait();
                got = params.QBytesRead();
                break;
            }
            case 4:
                VS::UpdateFileVersion(data.kID);
                VS::RequestAt(&data.kFile, data.kID, size, offset, 2, nullptr);
                continue;
            default:
                VS::UncacheAll(random() % 2);
                continue;
            }
            out.resize(got);
            if (out != data.Slice(offset, size))
                ++failures;
        }
        VS::SetThreadEventFlag(nullptr);
    };
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 8; ++t)
        threads.emplace_back(caller, t + 1);
    for (auto& thread : threads)
        thread.join();
    VS::Enable(false); // finishes the last prefetches while the files are still open
    EXPECT_EQ(failures.load(), 0);
}

TEST(StreamerQueueStress, ProducersAndConsumersLoseNothing)
{
    auto queue = std::make_unique<VXSystemFileStreamer::RequestQueue>();
    constexpr int kPerThread = 20000;
    static VXSystemFileStreamer::ReadRequest items[4 * kPerThread];
    std::atomic<int> popped{0};
    std::vector<std::atomic<int>> seen(4 * kPerThread);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < kPerThread; ++i)
                    queue->Push(&items[t * kPerThread + i]);
            });
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&]
            {
                while (popped.load() < 4 * kPerThread)
                    if (auto* item = queue->Pop())
                    {
                        seen[item - items].fetch_add(1);
                        popped.fetch_add(1);
                    }
            });
    for (auto& thread : threads)
        thread.join();
    for (auto const& count : seen)
        ASSERT_EQ(count.load(), 1);
}
