// Packing and restoring a set of files through VXFileSet against the same work done with
// stdio (fopen, fread, fwrite through a 64 KiB buffer), the obvious alternative: 64 files
// of 64 KiB and 4 of 4 MiB, packed into one stream file, and that stream restored into a
// folder. Also the typed value helpers into a memory storage against memcpy. Prints the
// time per operation and the VXFileSet/stdio ratios. Data lives in a temp folder that is
// removed at the end.
#include "vxsystem/VXFileSet.h"
#include "vxsystem/VXMemStorage.h"
#include "vxsystem/VXSystemFileStorage.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace
{
struct Data
{
    fs::path kRoot = fs::temp_directory_path() / "vxbench-fileset";
    std::vector<std::string> kNames; // relative to kRoot / "src"
    VXFileSet::FileList kList;

    Data()
    {
        fs::remove_all(kRoot);
        fs::create_directories(kRoot / "src" / "small");
        std::string small(64 << 10, 's'), large(4 << 20, 'l');
        for (int i = 0; i < 68; ++i)
        {
            std::string name = i < 64 ? "small/f" + std::to_string(i) : "large" + std::to_string(i);
            std::ofstream(kRoot / "src" / name, std::ios::binary) << (i < 64 ? small : large);
            kNames.push_back(name);
        }
        fs::current_path(kRoot / "src");
        for (auto const& name : kNames)
            kList.Add(VXFixedString(name.c_str()));
    }
    // The streams the restore benchmarks read, so that each one runs alone too.
    void PackOnce();
    ~Data() { fs::remove_all(kRoot); }
};

Data& Get()
{
    static Data data;
    return data;
}

// The stdio stream: the same bytes as the VTAR stream, written and read by hand.
void StdioPack(std::string const& stream)
{
    FILE* out = std::fopen(stream.c_str(), "wb");
    std::vector<char> buffer(64 << 10);
    std::fwrite("VTAR\1\0", 1, 6, out);
    auto count = static_cast<uint16_t>(Get().kNames.size());
    std::fwrite(&count, 2, 1, out);
    for (auto const& name : Get().kNames)
    {
        FILE* in = std::fopen(name.c_str(), "rb");
        std::fseek(in, 0, SEEK_END);
        uint64_t size = static_cast<uint64_t>(std::ftell(in));
        std::fseek(in, 0, SEEK_SET);
        auto length = static_cast<uint16_t>(name.size());
        std::fwrite(&length, 2, 1, out);
        std::fwrite(name.data(), 1, length, out);
        std::fwrite(&size, 8, 1, out);
        for (size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), in)) > 0;)
            std::fwrite(buffer.data(), 1, n, out);
        std::fclose(in);
    }
    std::fclose(out);
}

void StdioRestore(std::string const& stream, fs::path const& folder)
{
    FILE* in = std::fopen(stream.c_str(), "rb");
    std::vector<char> buffer(64 << 10);
    char header[8];
    std::fread(header, 1, 8, in);
    uint16_t count = 0;
    std::memcpy(&count, header + 6, 2);
    for (uint16_t i = 0; i < count; ++i)
    {
        uint16_t length = 0;
        uint64_t size = 0;
        std::fread(&length, 2, 1, in);
        std::string name(length, '\0');
        std::fread(name.data(), 1, length, in);
        std::fread(&size, 8, 1, in);
        fs::path target = folder / name;
        fs::create_directories(target.parent_path());
        FILE* out = std::fopen(target.c_str(), "wb");
        for (uint64_t left = size; left > 0;)
        {
            size_t step = left < buffer.size() ? left : buffer.size();
            std::fread(buffer.data(), 1, step, in);
            std::fwrite(buffer.data(), 1, step, out);
            left -= step;
        }
        std::fclose(out);
    }
    std::fclose(in);
}

std::string StreamPath(char const* name)
{
    return (Get().kRoot / name).string();
}

void Data::PackOnce()
{
    VXSystemFileStorage out(StreamPath("set.vtar").c_str(), VXSystemFile::AM_WRITE,
                            VXSystemFile::OM_CREATE_ALWAYS);
    VXFileSet::Write(out, kList);
    StdioPack(StreamPath("stdio.vtar"));
}

void PackFileSet(benchmark::State& state)
{
    for (auto _ : state)
    {
        VXSystemFileStorage out(StreamPath("set.vtar").c_str(), VXSystemFile::AM_WRITE,
                                VXSystemFile::OM_CREATE_ALWAYS);
        if (!VXFileSet::Write(out, Get().kList))
            state.SkipWithError("pack failed");
    }
}

void PackStdio(benchmark::State& state)
{
    for (auto _ : state)
        StdioPack(StreamPath("stdio.vtar"));
}

void RestoreFileSet(benchmark::State& state)
{
    for (auto _ : state)
    {
        VXSystemFileStorage in(StreamPath("set.vtar").c_str(), VXSystemFile::AM_READ,
                               VXSystemFile::OM_EXISTING);
        if (!VXFileSet::Read(in, StreamPath("out-set").c_str(), nullptr))
            state.SkipWithError("restore failed");
    }
}

void RestoreStdio(benchmark::State& state)
{
    for (auto _ : state)
        StdioRestore(StreamPath("stdio.vtar"), Get().kRoot / "out-stdio");
}

constexpr size_t kValues = 4096;

void ValuesStorage(benchmark::State& state)
{
    std::vector<unsigned char> block(kValues * 14);
    for (auto _ : state)
    {
        VXMemStorage out(block.size(), block.data());
        for (size_t i = 0; i < kValues; ++i)
        {
            out.WriteValue(static_cast<uint16_t>(i));
            out.WriteValue(static_cast<uint32_t>(i));
            out.WriteValue(static_cast<uint64_t>(i));
        }
        benchmark::DoNotOptimize(block.data());
    }
}

void ValuesMemcpy(benchmark::State& state)
{
    std::vector<unsigned char> block(kValues * 14);
    for (auto _ : state)
    {
        unsigned char* cursor = block.data();
        for (size_t i = 0; i < kValues; ++i)
        {
            auto a = static_cast<uint16_t>(i);
            auto b = static_cast<uint32_t>(i);
            auto c = static_cast<uint64_t>(i);
            std::memcpy(cursor, &a, 2);
            std::memcpy(cursor + 2, &b, 4);
            std::memcpy(cursor + 6, &c, 8);
            cursor += 14;
        }
        benchmark::DoNotOptimize(block.data());
    }
}

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs)
            if (!run.error_occurred && run.run_type == Run::RT_Iteration)
                kNs[run.run_name.function_name] = run.GetAdjustedRealTime();
    }
    void PrintRatio(char const* label, char const* ours, char const* baseline)
    {
        if (kNs.count(ours) && kNs.count(baseline))
            std::printf("%-28s VXFileSet/storage %10.3f ms  stdio/memcpy %10.3f ms  ratio %5.2f\n",
                        label, kNs[ours] / 1e6, kNs[baseline] / 1e6, kNs[ours] / kNs[baseline]);
    }

private:
    std::map<std::string, double> kNs;
};
} // namespace

int main(int argc, char** argv)
{
    Get().PackOnce();
    benchmark::RegisterBenchmark("pack/file_set", PackFileSet)->UseRealTime();
    benchmark::RegisterBenchmark("pack/stdio", PackStdio)->UseRealTime();
    benchmark::RegisterBenchmark("restore/file_set", RestoreFileSet)->UseRealTime();
    benchmark::RegisterBenchmark("restore/stdio", RestoreStdio)->UseRealTime();
    benchmark::RegisterBenchmark("values/storage", ValuesStorage)->UseRealTime();
    benchmark::RegisterBenchmark("values/memcpy", ValuesMemcpy)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nwall time per operation; ratio = ours / baseline (68 files, 20 MiB)\n");
    reporter.PrintRatio("pack 68 files", "pack/file_set", "pack/stdio");
    reporter.PrintRatio("restore 68 files", "restore/file_set", "restore/stdio");
    reporter.PrintRatio("4096 x 3 typed values", "values/storage", "values/memcpy");
    return 0;
}
