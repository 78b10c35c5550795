// FileFinder::BuildFileList over a directory of 10,000 members spread over three archives
// plus 100 loose files, as a host lists textures for a menu: microseconds per call and
// per name listed. Invalidation is on, so the disk scan runs and loose names take
// precedence over members.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveManager.h"
#include "vxsystem/FileFinder.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;

std::string Texture(unsigned int i)
{
    char name[64];
    std::snprintf(name, sizeof(name), "tex%05u.dds", i);
    return name;
}

class View
{
public:
    View() : kRoot(fs::temp_directory_path() / ("vxbench-list-" + std::to_string(::getpid())))
    {
        fs::create_directories(kRoot / "Data/textures");
        for (unsigned int a = 0; a < 3; ++a)
        {
            VXArchiveWriter writer;
            for (unsigned int i = a; i < 10000; i += 3)
                writer.AddFile("textures\\" + Texture(i), std::string("x"),
                               VXArchiveWriter::MC_STORED);
            writer.Write((kRoot / ("Data/Part" + std::to_string(a) + ".vxa")).string());
        }
        // Loose files: half override members, half are new names.
        for (unsigned int i = 0; i < 100; ++i)
            std::ofstream(kRoot / "Data/textures" / Texture(i % 2 ? i * 97 : 10000 + i)) << "l";
        kPrevious = fs::current_path();
        fs::current_path(kRoot);
        ArchiveManager::Init(true, "Data\\", "Part0.vxa,Part1.vxa,Part2.vxa", 0x20000);
        ArchiveManager::SetInvalidation(true, nullptr);
        pFinder = std::make_unique<FileFinder>(nullptr, 0, false);
        FileFinder::AddPath("Data");
        ArchiveManager::OpenMasterArchives();
    }
    ~View()
    {
        std::vector<std::unique_ptr<Archive>> archives;
        for (Archive* archive : *ArchiveManager::GetArchiveList())
            archives.emplace_back(archive);
        ArchiveManager::CloseAll();
        pFinder.reset();
        fs::current_path(kPrevious);
        fs::remove_all(kRoot);
    }

private:
    fs::path kRoot, kPrevious;
    std::unique_ptr<FileFinder> pFinder;
};

void BuildFileList(benchmark::State& state)
{
    View view;
    size_t names = 0;
    for (auto _ : state)
    {
        VXSimpleList<char const*>* list =
            FileFinder::BuildFileList("Data\\textures\\*.dds", "textures\\");
        names = list ? list->QCount() : 0;
        FileFinder::DeleteFileNameList(list);
    }
    state.counters["names"] = static_cast<double>(names);
    state.counters["us_per_call"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 1e-6,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["ns_per_name"] =
        benchmark::Counter(static_cast<double>(state.iterations() * names) * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BuildFileList)->Unit(benchmark::kMicrosecond)->MinTime(2.0);
} // namespace

BENCHMARK_MAIN();
