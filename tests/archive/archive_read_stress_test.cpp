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
constexpr uint64_t kSeed = 1469598103934665603ull;

uint64_t Checksum(char const* bytes, size_t size, uint64_t sum = kSeed)
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
    std::vector<TestMember> members;
    std::vector<uint64_t> sums;
    for (int i = 0; i < kThreads * kMembersPerThread; ++i)
    {
        std::string bytes = RandomBytes(256 + (i * 7919) % 65280, static_cast<uint32_t>(i));
        for (size_t j = 0; i % 3 == 0 && j < bytes.size(); j += 3)
            bytes[j] = 'z'; // compressible
        members.push_back(
            {"stress\\t" + std::to_string(i % kThreads) + "\\m" + std::to_string(i) + ".bin", bytes,
             i % 2 ? VXArchiveWriter::MC_STORED : VXArchiveWriter::MC_COMPRESSED});
        sums.push_back(Checksum(bytes.data(), bytes.size()));
    }
    Archive archive(SaveArchive(dir, BuildArchive(members)).c_str(), 262144, false, false);
    ASSERT_FALSE(archive.GetDisabled());
    ASSERT_EQ(archive.QFileCount(), members.size());

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                std::vector<char> block(70000);
                for (int round = 0; round < kRounds; ++round)
                    for (size_t k = 0; k < kMembersPerThread; ++k)
                    {
                        size_t index = static_cast<size_t>(t) * kMembersPerThread + k;
                        auto file = OpenMember(archive, members[index].sPath.c_str());
                        // Odd rounds read whole members: one inflate call, or one read.
                        size_t chunk = round % 2
                                           ? block.size()
                                           : 1 + (index * 131 + static_cast<size_t>(round) * 977) %
                                                     block.size();
                        uint64_t sum = kSeed;
                        while (uint64_t got = file ? file->Read(block.data(), chunk) : 0)
                            sum = Checksum(block.data(), got, sum);
                        if (sum != sums[index]) // relaxed: only the count matters, read after join
                            failures.fetch_add(1, std::memory_order_relaxed);
                    }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
}
