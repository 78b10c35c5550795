// FileFinder::Exist on archived names: hits, misses and wrong-case hits, with 1,000 and
// 100,000 members spread over three archives. Prints ns per call; a hit should stay flat
// as the archives grow, since a lookup is two hashes and two binary searches.
#include "vxawriter/VXArchiveWriter.h"
#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveManager.h"
#include "vxsystem/FileFinder.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{
std::string MemberName(unsigned int i)
{
    char name[64];
    std::snprintf(name, sizeof(name), "meshes\\set%03u\\part%06u.kof", i % 300, i);
    return name;
}

class View
{
public:
    explicit View(unsigned int members) : sRoot(MakeRoot())
    {
        std::filesystem::create_directories(sRoot + "/Data");
        for (unsigned int a = 0; a < 3; ++a)
        {
            VXArchiveWriterOptions options;
            options.uiFlags = 0; // stored members, no names: the lookup alone is measured
            VXArchiveWriter writer(options);
            for (unsigned int i = a; i < members; i += 3)
                writer.AddFile(MemberName(i), std::string("x"), VXArchiveWriter::MC_STORED);
            writer.Write(sRoot + "/Data/Part" + std::to_string(a) + ".vxa");
        }
        if (chdir(sRoot.c_str()) != 0)
            return;
        ArchiveManager::Init(true, "Data\\", "Part0.vxa,Part1.vxa,Part2.vxa", 0x20000);
        ArchiveManager::SetInvalidation(true, nullptr);
        pFinder = std::make_unique<FileFinder>(nullptr, 0, false);
        FileFinder::AddPath("Data");
        ArchiveManager::OpenMasterArchives();
        for (unsigned int i = 0; i < 4096; ++i)
        {
            std::string name = MemberName((i * 7919u) % members);
            kHits.push_back(name);
            std::string upper = name;
            std::transform(upper.begin(), upper.end(), upper.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            kWrongCase.push_back(upper);
            kMisses.push_back("meshes\\set" + std::to_string(i % 300) + "\\none" +
                              std::to_string(i) + ".kof");
        }
    }

    ~View()
    {
        std::vector<std::unique_ptr<Archive>> archives;
        if (VXTArray<Archive*>* list = ArchiveManager::GetArchiveList())
            for (Archive* archive : *list)
                archives.emplace_back(archive);
        ArchiveManager::CloseAll();
        archives.clear();
        pFinder.reset();
        ArchiveManager::Shutdown();
        if (chdir("/") == 0)
            std::filesystem::remove_all(sRoot);
    }

    std::vector<std::string> kHits, kWrongCase, kMisses;

private:
    static std::string MakeRoot()
    {
        char pattern[] = "/tmp/vxbench-XXXXXX";
        return mkdtemp(pattern) ? pattern : "/tmp/vxbench";
    }

    std::string sRoot;
    std::unique_ptr<FileFinder> pFinder;
};

enum Kind
{
    HIT,
    WRONG_CASE_HIT,
    MISS,
};

// One view lives at a time, since the archive manager is process-wide; a benchmark for
// another size replaces it before its timed loop.
std::unique_ptr<View> gView;
unsigned int gViewMembers = 0;

void RunExist(benchmark::State& state, unsigned int members, Kind kind)
{
    if (gViewMembers != members)
    {
        gView.reset();
        gView = std::make_unique<View>(members);
        gViewMembers = members;
    }
    std::vector<std::string> const& names = kind == HIT              ? gView->kHits
                                            : kind == WRONG_CASE_HIT ? gView->kWrongCase
                                                                     : gView->kMisses;
    FileFinder::FILE_LOCATION expected =
        kind == MISS ? FileFinder::FILE_NOT_FOUND : FileFinder::FILE_IN_ARCHIVE;
    char out[MAX_PATH_BYTES];
    size_t i = 0;
    int64_t wrong = 0;
    for (auto _ : state)
    {
        FileFinder::FILE_LOCATION found =
            FileFinder::Locate(names[i++ & 4095].c_str(), out, 0, 0xFFFF);
        wrong += found != expected;
        benchmark::DoNotOptimize(found);
    }
    if (wrong)
        state.SkipWithError("a lookup gave the wrong answer");
}
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    for (unsigned int members : {1000u, 100000u})
    {
        std::string suffix = std::to_string(members);
        suffix.insert(suffix.begin(), '/'); // GCC 12 warns falsely on "/" + std::string
        benchmark::RegisterBenchmark(("Exist_hit" + suffix).c_str(), RunExist, members, HIT);
        benchmark::RegisterBenchmark(("Exist_wrong_case_hit" + suffix).c_str(), RunExist, members,
                                     WRONG_CASE_HIT);
        benchmark::RegisterBenchmark(("Exist_miss" + suffix).c_str(), RunExist, members, MISS);
    }
    benchmark::RunSpecifiedBenchmarks();
    gView.reset();
    benchmark::Shutdown();
    return 0;
}
