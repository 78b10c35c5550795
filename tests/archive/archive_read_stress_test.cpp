// Eight threads read different members of one archive at once, through lookups by name
// and the shared stream, and check every byte against the source by checksum.
#include "ArchiveTestKit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace vxtest;

namespace
{
constexpr int kThreads = 8;
constexpr int kMembersPerThread = 12;
constexpr int kRounds = 6;

uint64_t Checksum(char const* bytes, size_t size, uint64_t sum = 1469598103934665603ull)
{
    for (size_t i = 0; i < size; ++i)
        sum = (sum ^ static_cast<unsigned char>(bytes[i])) * 1099511628211ull;
    return sum;
}
} // namespace

TEST(ArchiveReadStress, EightThreadsOneArchive)
{
    ArchiveSettingsScope settings(16384); // members above this stream through the archive
    TempDir dir;
    VXArchiveWriter writer;
    std::vector<std::string> names;
    std::vector<uint64_t> sums;
    for (int i = 0; i < kThreads * kMembersPerThread; ++i)
    {
        std::string name =
            "stress\\t" + std::to_string(i % kThreads) + "\\m" + std::to_string(i) + ".bin";
        std::string bytes = RandomBytes(256 + (i * 7919) % 65280, static_cast<uint32_t>(i));
        if (i % 3 == 0)
            for (size_t j = 0; j < bytes.size(); j += 3)
                bytes[j] = 'z'; // compressible
        auto compression = i % 2 ? VXArchiveWriter::MC_STORED : VXArchiveWriter::MC_COMPRESSED;
        ASSERT_TRUE(writer.AddFile(name, bytes, compression));
        names.push_back(name);
        sums.push_back(Checksum(bytes.data(), bytes.size()));
    }
    std::string path = dir / "stress.vxa";
    ASSERT_TRUE(writer.Write(path));
    Archive archive(path.c_str(), 262144, false, false);
    ASSERT_FALSE(archive.GetDisabled());

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                std::vector<char> block(40000);
                for (int round = 0; round < kRounds; ++round)
                    for (int k = 0; k < kMembersPerThread; ++k)
                    {
                        size_t index = static_cast<size_t>(t * kMembersPerThread + k);
                        auto file = OpenMember(archive, names[index].c_str());
                        if (!file)
                        {
                            failures.fetch_add(1, std::memory_order_relaxed);
                            continue;
                        }
                        size_t chunk =
                            1 + (index * 131 + static_cast<size_t>(round) * 977) % block.size();
                        uint64_t sum = 1469598103934665603ull;
                        while (uint64_t got = file->Read(block.data(), chunk))
                            sum = Checksum(block.data(), got, sum);
                        if (sum != sums[index])
                            failures.fetch_add(1, std::memory_order_relaxed);
                    }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
}
