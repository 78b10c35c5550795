// Pooled strings against a std::unordered_set<std::string> behind a std::shared_mutex,
// the obvious alternative: intern of an existing name (a lookup in the set), intern and
// release of a new name (insert and erase), a copy of a handle (a std::string copy) and
// an equality test, on 1 and 2 threads. Prints ns per operation and pool/set ratios.
#include "vxsystem/VXFixedString.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace
{
constexpr size_t NAMES = 4096; // a power of two
constexpr int MAX_THREADS = 2;

struct TransparentHash
{
    using is_transparent = void;
    size_t operator()(std::string_view sText) const { return std::hash<std::string_view>{}(sText); }
};

struct Fixture
{
    std::vector<std::string> kExisting;
    std::vector<std::string> kFresh[MAX_THREADS]; // never interned: each thread its own
    std::vector<VXFixedString> kKeepFolded;       // keep the existing names interned
    std::vector<VXFixedStringCS> kKeepExact;
    std::unordered_set<std::string, TransparentHash, std::equal_to<>> kSet;
    std::shared_mutex kSetLock;

    Fixture()
    {
        char acName[128];
        for (size_t i = 0; i < NAMES; ++i)
        {
            std::snprintf(acName, sizeof(acName), "Meshes\\Armor\\Iron\\Helmet%04zu.kof", i);
            kExisting.emplace_back(acName);
            kKeepFolded.emplace_back(acName);
            kKeepExact.emplace_back(acName);
            kSet.emplace(acName);
            for (int t = 0; t < MAX_THREADS; ++t)
            {
                std::snprintf(acName, sizeof(acName), "Textures\\Thread%d\\Fresh%04zu.dds", t, i);
                kFresh[t].emplace_back(acName);
            }
        }
    }
};

Fixture& Data()
{
    static Fixture kFixture;
    return kFixture;
}

template <class Handle> void PoolHit(benchmark::State& rState)
{
    Fixture& rData = Data();
    size_t i = static_cast<size_t>(rState.thread_index()) * 977;
    for (auto _ : rState)
    {
        Handle kName(rData.kExisting[i++ & (NAMES - 1)].c_str());
        benchmark::DoNotOptimize(kName.QString());
    }
}

void SetHit(benchmark::State& rState)
{
    Fixture& rData = Data();
    size_t i = static_cast<size_t>(rState.thread_index()) * 977;
    for (auto _ : rState)
    {
        std::shared_lock kLock(rData.kSetLock);
        auto it = rData.kSet.find(std::string_view(rData.kExisting[i++ & (NAMES - 1)]));
        benchmark::DoNotOptimize(it);
    }
}

void PoolNew(benchmark::State& rState)
{
    std::vector<std::string> const& rNames = Data().kFresh[rState.thread_index()];
    size_t i = 0;
    for (auto _ : rState)
    {
        VXFixedString kName(rNames[i++ & (NAMES - 1)].c_str());
        benchmark::DoNotOptimize(kName.QString());
    }
}

void SetNew(benchmark::State& rState)
{
    Fixture& rData = Data();
    std::vector<std::string> const& rNames = rData.kFresh[rState.thread_index()];
    size_t i = 0;
    for (auto _ : rState)
    {
        std::unique_lock kLock(rData.kSetLock);
        auto kResult = rData.kSet.emplace(rNames[i++ & (NAMES - 1)]);
        rData.kSet.erase(kResult.first);
    }
}

void PoolCopy(benchmark::State& rState)
{
    VXFixedString const& rSource = Data().kKeepFolded[static_cast<size_t>(rState.thread_index())];
    for (auto _ : rState)
    {
        VXFixedString kCopy(rSource);
        benchmark::DoNotOptimize(kCopy.QString());
    }
}

void StringCopy(benchmark::State& rState)
{
    std::string const& rSource = Data().kExisting[static_cast<size_t>(rState.thread_index())];
    for (auto _ : rState)
    {
        std::string sCopy(rSource);
        benchmark::DoNotOptimize(sCopy.data());
    }
}

void PoolEqual(benchmark::State& rState)
{
    VXFixedString kA(Data().kExisting[0].c_str());
    VXFixedString kB(Data().kExisting[0].c_str());
    for (auto _ : rState)
    {
        benchmark::DoNotOptimize(kA);
        benchmark::DoNotOptimize(kA == kB);
    }
}

void StringEqual(benchmark::State& rState)
{
    std::string sA = Data().kExisting[0];
    std::string sB = Data().kExisting[0];
    for (auto _ : rState)
    {
        benchmark::DoNotOptimize(sA);
        benchmark::DoNotOptimize(sA == sB);
    }
}

// Collects ns per operation by benchmark name and thread count for the ratio table.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const& rRuns) override
    {
        ConsoleReporter::ReportRuns(rRuns);
        // With repetitions the median stands for the benchmark, else its one run.
        for (Run const& rRun : rRuns)
        {
            bool bMedian = rRun.run_type == Run::RT_Aggregate && rRun.aggregate_name == "median";
            if (rRun.error_occurred || (rRun.run_type != Run::RT_Iteration && !bMedian))
                continue;
            auto kKey = std::make_pair(rRun.run_name.function_name, rRun.threads);
            if (bMedian || !kNs.count(kKey))
                kNs[kKey] = rRun.GetAdjustedRealTime();
        }
    }

    void PrintRatio(char const* pLabel, char const* pPool, char const* pBaseline)
    {
        for (int64_t iThreads = 1; iThreads <= MAX_THREADS; ++iThreads)
        {
            auto itPool = kNs.find({pPool, iThreads});
            auto itBase = kNs.find({pBaseline, iThreads});
            if (itPool == kNs.end() || itBase == kNs.end())
                continue;
            std::printf("%-34s %lld thr  pool %8.1f ns  baseline %8.1f ns  ratio %5.2f\n", pLabel,
                        static_cast<long long>(iThreads), itPool->second, itBase->second,
                        itPool->second / itBase->second);
        }
    }

private:
    std::map<std::pair<std::string, int64_t>, double> kNs;
};

void Register(char const* pName, void (*pFunc)(benchmark::State&))
{
    benchmark::RegisterBenchmark(pName, pFunc)->Threads(1)->Threads(MAX_THREADS)->UseRealTime();
}
} // namespace

int main(int argc, char** argv)
{
    Data();
    Register("hit/pool_ci", PoolHit<VXFixedString>);
    Register("hit/pool_cs", PoolHit<VXFixedStringCS>);
    Register("hit/set_lookup", SetHit);
    Register("new/pool_intern_release", PoolNew);
    Register("new/set_insert_erase", SetNew);
    Register("copy/pool_handle", PoolCopy);
    Register("copy/std_string", StringCopy);
    Register("equal/pool_handle", PoolEqual);
    Register("equal/std_string", StringEqual);

    benchmark::Initialize(&argc, argv);
    RatioReporter kReporter;
    benchmark::RunSpecifiedBenchmarks(&kReporter);
    std::printf("\nns per operation per thread; ratio = pool / baseline\n");
    kReporter.PrintRatio("intern existing (CI) vs set lookup", "hit/pool_ci", "hit/set_lookup");
    kReporter.PrintRatio("intern existing (CS) vs set lookup", "hit/pool_cs", "hit/set_lookup");
    kReporter.PrintRatio("intern+release new vs insert+erase", "new/pool_intern_release",
                         "new/set_insert_erase");
    kReporter.PrintRatio("copy handle vs std::string copy", "copy/pool_handle", "copy/std_string");
    kReporter.PrintRatio("handle == vs std::string ==", "equal/pool_handle", "equal/std_string");
    benchmark::Shutdown();
    return 0;
}
