// One group of 64 small tasklets, opened, filled, closed and waited for: run by the caller
// alone on a held pool (WaitForCompletion(true)), by the released six-thread pool
// (WaitForCompletion(false)), and by the pool with the caller helping, against the same
// work in a plain loop. Prints microseconds per group and ratios to the plain loop; the
// pool's one-millisecond pause after every turn dominates its figures.
#include "vxsystem/VXWin32TaskletManager.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace
{
constexpr int TASKS = 64;
constexpr int WORK = 4000; // loop steps per tasklet

uint32_t Work(uint32_t uiSeed)
{
    for (int i = 0; i < WORK; ++i)
        uiSeed = uiSeed * 1664525u + 1013904223u;
    return uiSeed;
}

struct WorkTask : VXWin32TaskletData
{
    uint32_t uiResult = 0;

protected:
    void Process() override { uiResult = Work(uiResult + 1); }
};

void RunGroup(benchmark::State& rState, VXWin32TaskletManager& rManager, bool bHelp)
{
    std::vector<WorkTask> aTasks(TASKS);
    VXTaskletGroup kGroup;
    rManager.CreateTaskGroup(kGroup);
    for (auto _ : rState)
    {
        rManager.OpenTaskGroup(kGroup);
        for (int i = 0; i < TASKS; ++i)
        {
            VXTasklet kTask(aTasks[i]);
            rManager.AttachTask(kGroup, kTask, i == TASKS - 1);
        }
        kGroup.WaitForCompletion(bHelp);
    }
    benchmark::DoNotOptimize(aTasks[0].uiResult);
    rManager.DestroyTaskGroup(kGroup, true);
}

void Caller(benchmark::State& rState)
{
    static VXWin32TaskletManager kHeld(6); // never released
    RunGroup(rState, kHeld, true);
}

void Pool(benchmark::State& rState)
{
    RunGroup(rState, VXWin32TaskletManager::QWin32Instance(), false);
}

void PoolHelped(benchmark::State& rState)
{
    RunGroup(rState, VXWin32TaskletManager::QWin32Instance(), true);
}

void PlainLoop(benchmark::State& rState)
{
    uint32_t auiResults[TASKS] = {};
    for (auto _ : rState)
    {
        for (uint32_t& ruiResult : auiResults)
            ruiResult = Work(ruiResult + 1);
        benchmark::DoNotOptimize(auiResults);
    }
}

// Keeps microseconds per group by name for the ratio lines.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const& rRuns) override
    {
        ConsoleReporter::ReportRuns(rRuns);
        for (Run const& rRun : rRuns)
        {
            if (!rRun.error_occurred && rRun.run_type == Run::RT_Iteration)
                kUs[rRun.run_name.function_name] = rRun.GetAdjustedRealTime() / 1000.0;
        }
    }
    void PrintRatio(std::string const& sName, std::string const& sBase) const
    {
        auto it = kUs.find(sName), itBase = kUs.find(sBase);
        if (it == kUs.end() || itBase == kUs.end())
            return;
        std::printf("%-22s %10.1f us per group  ratio to plain loop %6.2f\n", sName.c_str(),
                    it->second, it->second / itBase->second);
    }

private:
    std::map<std::string, double> kUs;
};
} // namespace

int main(int argc, char** argv)
{
    VXWin32TaskletManager::QWin32Instance().SignalInstanceAvailable();
    char const* apNames[] = {"group/plain_loop", "group/caller_only", "group/pool",
                             "group/pool_helped"};
    benchmark::RegisterBenchmark(apNames[0], PlainLoop)->UseRealTime();
    benchmark::RegisterBenchmark(apNames[1], Caller)->UseRealTime();
    benchmark::RegisterBenchmark(apNames[2], Pool)->UseRealTime();
    benchmark::RegisterBenchmark(apNames[3], PoolHelped)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    RatioReporter kReporter;
    benchmark::RunSpecifiedBenchmarks(&kReporter);
    std::printf("\n");
    for (char const* pName : apNames)
        kReporter.PrintRatio(pName, apNames[0]);
    VXWin32TaskletManager::QWin32Instance().ShutdownAllTasks();
    benchmark::Shutdown();
    return 0;
}
