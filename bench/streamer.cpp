// The streaming read service side by side with the plain calls it stands for, in one run:
// (a) hot-cache ReadAt of 64 KiB and 4 KiB against memcpy of the same sizes;
// (b) cold sequential ReadAt over a file larger than the cache against a pread loop;
// (c) two threads of random 4 KiB cached reads, hits per second.
// Usage: vxbench_streamer [cold file MiB, default 640; four such files are written].
// Prints ratios (1.0 = as fast).
#include "vxsystem/VXSystemFileStreamer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace VS = VXSystemFileStreamer;

namespace
{
using Clock = std::chrono::steady_clock;
constexpr uint64_t K = 65536;

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void WriteData(std::string const& path, uint64_t size)
{
    std::vector<char> chunk(1 << 20);
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = static_cast<char>(i * 131 + 7);
    FILE* file = std::fopen(path.c_str(), "wb");
    for (uint64_t done = 0; file && done < size; done += chunk.size())
        std::fwrite(chunk.data(), 1, chunk.size(), file);
    if (file)
        std::fclose(file);
}

void DropPageCache(std::string const& path)
{
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return;
    fdatasync(fd);
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    close(fd);
}

// (a): bytes per second of hot ReadAt over bytes per second of memcpy; the two alternate
// over seven rounds and the median ratio counts, since this machine's speed drifts.
double HotRatio(VXSystemFile& file, VS::ID const& id, uint64_t span, uint64_t size)
{
    std::vector<char> source(span), target(K);
    uint64_t got = 0;
    for (uint64_t offset = 0; offset < span; offset += K) // warm the cache
        VS::ReadAt(&file, id, target.data(), K, offset, got, 0, true, nullptr);
    uint64_t rounds = (1ull << 30) / size;
    std::vector<double> ratios, streamerNs, copyNs;
    for (int sweep = 0; sweep < 7; ++sweep)
    {
        auto start = Clock::now();
        for (uint64_t i = 0; i < rounds; ++i)
            VS::ReadAt(&file, id, target.data(), size, (i * size) % span, got, 0, true, nullptr);
        double streamer = Seconds(start);
        start = Clock::now();
        for (uint64_t i = 0; i < rounds; ++i)
        {
            std::memcpy(target.data(), source.data() + (i * size) % span, size);
            asm volatile("" : : "r"(target.data()) : "memory");
        }
        double copy = Seconds(start);
        ratios.push_back(copy / streamer);
        streamerNs.push_back(streamer * 1e9 / rounds);
        copyNs.push_back(copy * 1e9 / rounds);
    }
    for (auto* values : {&ratios, &streamerNs, &copyNs})
        std::sort(values->begin(), values->end());
    std::printf("    %llu B: ReadAt %.0f ns, memcpy %.0f ns per call (medians)\n",
                static_cast<unsigned long long>(size), streamerNs[3], copyNs[3]);
    return ratios[3];
}

double PreadSeconds(std::string const& path, uint64_t size)
{
    std::vector<char> target(K);
    DropPageCache(path);
    int fd = open(path.c_str(), O_RDONLY);
    auto start = Clock::now();
    for (uint64_t offset = 0; offset < size; offset += K)
        if (pread(fd, target.data(), K, static_cast<off_t>(offset)) <= 0)
            break;
    double seconds = Seconds(start);
    close(fd);
    return seconds;
}

double StreamerSeconds(std::string const& path, uint64_t size)
{
    std::vector<char> target(K);
    DropPageCache(path);
    VXSystemFile file(path.c_str(), VXSystemFile::AM_READ, VXSystemFile::OM_EXISTING, false, 0,
                      false);
    VS::ID id;
    VS::GetIDForPath(id, path.c_str());
    uint64_t got = 0;
    auto start = Clock::now();
    for (uint64_t offset = 0; offset < size; offset += K)
        VS::ReadAt(&file, id, target.data(), K, offset, got, 0, true, nullptr);
    return Seconds(start);
}

// (b): pread loop time over ReadAt time, each file read cold from the disk. One untimed pass
// first fills the service's cache, so the rounds measure a service whose memory is in use
// (first-touch page costs are the machine's, not the service's); each round reads a file
// the service has never seen. The median of the rounds, since the disk's speed drifts.
double ColdRatio(std::vector<std::string> const& paths, uint64_t size)
{
    StreamerSeconds(paths[0], size);
    std::vector<double> ratios;
    for (size_t round = 1; round < paths.size(); ++round)
    {
        double plain = PreadSeconds(paths[round], size);
        double streamer = StreamerSeconds(paths[round], size);
        std::printf("(b) cold sequential 64 KiB over %llu MiB: pread %.2f s, ReadAt %.2f s\n",
                    static_cast<unsigned long long>(size >> 20), plain, streamer);
        ratios.push_back(plain / streamer);
    }
    std::sort(ratios.begin(), ratios.end());
    return ratios[ratios.size() / 2];
}

double RandomHitsPerSecond(VXSystemFile& file, VS::ID const& id, uint64_t span)
{
    constexpr int kReads = 2000000;
    auto worker = [&](unsigned int seed)
    {
        std::vector<char> target(4096);
        uint64_t got = 0;
        uint32_t state = seed;
        for (int i = 0; i < kReads; ++i)
        {
            state = state * 1664525u + 1013904223u;
            uint64_t offset = (state % (span / 4096)) * 4096;
            VS::ReadAt(&file, id, target.data(), 4096, offset, got, 0, true, nullptr);
        }
    };
    auto start = Clock::now();
    std::thread a(worker, 1), b(worker, 2);
    a.join();
    b.join();
    return 2.0 * kReads / Seconds(start);
}
} // namespace

int main(int argc, char** argv)
{
    uint64_t coldMiB = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 640;
    std::string dir = std::filesystem::temp_directory_path() / "vxbench_streamer_XXXXXX";
    if (!mkdtemp(dir.data()))
        return 1;
    std::string hot = dir + "/hot.bin";
    constexpr uint64_t kHotSpan = 16 << 20;
    WriteData(hot, kHotSpan);
    std::vector<std::string> cold;
    for (int i = 0; i < 4; ++i)
    {
        cold.push_back(dir + "/cold" + std::to_string(i) + ".bin");
        WriteData(cold.back(), coldMiB << 20);
    }
    VS::Enable(true);
    VXEventFlag flag; // as the engine's job threads do: a miss sleeps on its own event
    VS::SetThreadEventFlag(&flag);
    {
        VXSystemFile file(hot.c_str(), VXSystemFile::AM_READ, VXSystemFile::OM_EXISTING, false, 0,
                          false);
        VS::ID id;
        VS::GetIDForPath(id, hot.c_str());
        std::printf("(a) hot ReadAt 64 KiB / memcpy: %.2f (target >= 0.80)\n",
                    HotRatio(file, id, kHotSpan, K));
        std::printf("(a) hot ReadAt 4 KiB / memcpy:  %.2f (target >= 0.80)\n",
                    HotRatio(file, id, kHotSpan, 4096));
        std::printf("(c) 2 threads random 4 KiB hits: %.2f M/s\n",
                    RandomHitsPerSecond(file, id, kHotSpan) / 1e6);
    }
    std::printf("(b) cold ReadAt / pread: %.2f (target >= 0.90)\n", ColdRatio(cold, coldMiB << 20));
    VS::Enable(false);
    VS::SetThreadEventFlag(nullptr);
    std::filesystem::remove_all(dir);
    return 0;
}
