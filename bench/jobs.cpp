// Job lists against oneTBB, interleaved in one process on all of the machine's cores:
//  (a) 1,000,000 empty jobs in one list (TBB: parallel_for, simple_partitioner, grain 1);
//  (b) 100,000 jobs cut by 1,000 sync points (TBB: 1,000 parallel_fors of 100): the cost
//      of a sync point over the same jobs without syncs;
//  (c) fork-join of 64 jobs of 2 us, right away and after 1 ms idle: efficiency against
//      the serial time on all cores, the serial run timed in the same sweep;
//  (d) CPU time in the 300 ms after a burst, in percent of one core.
// Each sweep runs every case on both; the table gives medians of wall and process CPU
// time and of the per-sweep ratios to TBB. Without TBB the TBB columns stay empty.
#include "jobs/VXJobThread.h"
#include "vxsystem/VXJobs.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#if defined(VX_HAVE_TBB)
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#endif

namespace
{
constexpr int kSweeps = 11;
constexpr int kManyJobs = 1000000;
constexpr int kSyncJobs = 100000;
constexpr int kSyncs = 1000;
constexpr int kForkJobs = 64;

double WallNow()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double CpuNow()
{
    timespec kTime{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &kTime);
    return static_cast<double>(kTime.tv_sec) + static_cast<double>(kTime.tv_nsec) * 1e-9;
}

struct Sample
{
    double dWall; // seconds
    double dCpu;
};

Sample Measure(std::function<void()> const& rRun)
{
    double dCpu = CpuNow();
    double dWall = WallNow();
    rRun();
    return Sample{WallNow() - dWall, CpuNow() - dCpu};
}

void Empty(void*) {}

// About 2 us of arithmetic, calibrated once.
volatile uint64_t gSink = 0;
uint64_t guiWorkLoops = 1000;

void Work(void*)
{
    uint64_t uiValue = 1;
    for (uint64_t i = 0; i < guiWorkLoops; ++i)
        uiValue = uiValue * 6364136223846793005ull + 1442695040888963407ull;
    gSink = uiValue;
}

double ThreadCpuNow()
{
    timespec kTime{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &kTime);
    return static_cast<double>(kTime.tv_sec) + static_cast<double>(kTime.tv_nsec) * 1e-9;
}

// On this thread's CPU time, so that a loaded machine does not skew the job's size.
void Calibrate()
{
    for (int i = 0; i < 20; ++i)
    {
        double dStart = ThreadCpuNow();
        for (int j = 0; j < 1000; ++j)
            Work(nullptr);
        double dSpent = ThreadCpuNow() - dStart;
        guiWorkLoops = static_cast<uint64_t>(static_cast<double>(guiWorkLoops) * 2e-3 / dSpent);
    }
}

struct Case
{
    char const* pName;
    char const* pUnit;
    std::vector<double> kOurs, kOursCpu, kTbb, kTbbCpu, kRatio;
};

double Median(std::vector<double> kValues)
{
    if (kValues.empty())
        return 0.0;
    std::sort(kValues.begin(), kValues.end());
    return kValues[kValues.size() / 2];
}

void Settle()
{
    // Long enough for either pool's idle threads to park.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

unsigned int Threads()
{
    return VXJobs::GetNumJobThreads();
}

// (a): a reusable list, built once; each run is one submit and wait.
Sample OursMany(VXJobs::JobList& rList)
{
    return Measure(
        [&]
        {
            rList.Submit();
            rList.Wait();
        });
}

#if defined(VX_HAVE_TBB)
template <class Body> void TbbFor(int iCount, Body const& rBody)
{
    tbb::parallel_for(tbb::blocked_range<int>(0, iCount, 1), rBody, tbb::simple_partitioner());
}
#endif
} // namespace

int main()
{
    VXJobs::StartJobThreads(nullptr, 0, 0);
    unsigned int uiCores = std::thread::hardware_concurrency();
    Calibrate();
    std::printf("job threads %u, cores %u, work loop %llu\n", Threads(), uiCores,
                static_cast<unsigned long long>(guiWorkLoops));
#if defined(VX_HAVE_TBB)
    tbb::global_control kControl(tbb::global_control::max_allowed_parallelism, uiCores);
    auto EmptyBody = [](tbb::blocked_range<int> const&) {};
    auto WorkBody = [](tbb::blocked_range<int> const& rRange)
    {
        for (int i = rRange.begin(); i != rRange.end(); ++i)
            Work(nullptr);
    };
#endif
    VXJobs::JobList kMany(VXFixedString("many"), 0, Threads(), kManyJobs, 0, true, nullptr, false);
    for (int i = 0; i < kManyJobs; ++i)
        kMany.AddJob(&Empty, nullptr);
    VXJobs::JobList kSynced(VXFixedString("synced"), 0, Threads(), kSyncJobs, kSyncs, true, nullptr,
                            false);
    VXJobs::JobList kFlat(VXFixedString("flat"), 0, Threads(), kSyncJobs, 0, true, nullptr, false);
    for (int i = 0; i < kSyncJobs; ++i)
    {
        kSynced.AddJob(&Empty, nullptr);
        kFlat.AddJob(&Empty, nullptr);
        if (i % (kSyncJobs / kSyncs) == kSyncJobs / kSyncs - 1 && i + 1 < kSyncJobs)
        {
            kSynced.InsertSyncPoint(VXJobs::SYNC_SIGNAL);
            kSynced.InsertSyncPoint(VXJobs::SYNC_WAIT);
        }
    }
    VXJobs::JobList kFork(VXFixedString("fork"), 0, Threads(), kForkJobs, 0, true, nullptr, false);
    for (int i = 0; i < kForkJobs; ++i)
        kFork.AddJob(&Work, nullptr);
    // The same jobs one after another on this thread, timed in each sweep: the machine's
    // speed drifts from minute to minute.
    auto Serial = []
    {
        return Measure(
            []
            {
                for (int i = 0; i < kForkJobs; ++i)
                    Work(nullptr);
            });
    };

    Case aCases[5] = {{"(a) empty job", "ns/job", {}, {}, {}, {}, {}},
                      {"(b) sync point", "us/sync", {}, {}, {}, {}, {}},
                      {"(c) fork-join", "% eff", {}, {}, {}, {}, {}},
                      {"(c) after 1 ms idle", "% eff", {}, {}, {}, {}, {}},
                      {"(d) idle after burst", "% core", {}, {}, {}, {}, {}}};
    auto Add = [](Case& rCase, Sample kOurs, Sample kTbb, double dScale)
    {
        rCase.kOurs.push_back(kOurs.dWall * dScale);
        rCase.kOursCpu.push_back(kOurs.dCpu * dScale);
        if (kTbb.dWall <= 0.0)
            return;
        rCase.kTbb.push_back(kTbb.dWall * dScale);
        rCase.kTbbCpu.push_back(kTbb.dCpu * dScale);
        rCase.kRatio.push_back(kOurs.dWall / kTbb.dWall);
    };
    auto Efficiency = [&](Sample kRun, Sample kSerial)
    {
        // Serial time over the cores' wall time; CPU column: serial over CPU time.
        return Sample{100.0 * kSerial.dWall / (kRun.dWall * uiCores),
                      100.0 * kSerial.dWall / kRun.dCpu};
    };
    for (int iSweep = 0; iSweep < kSweeps; ++iSweep)
    {
        Sample kNone{0.0, 0.0};
        Sample kTbbMany = kNone, kTbbSynced = kNone, kTbbFlat = kNone, kTbbFork = kNone,
               kTbbIdleFork = kNone, kTbbQuiet = kNone, kTbbSerial = kNone;
        Settle();
        Sample kOursMany = OursMany(kMany);
        Settle();
        Sample kOursSynced = OursMany(kSynced);
        Sample kOursFlat = OursMany(kFlat);
        Settle();
        OursMany(kFork);
        Sample kOursSerial = Serial();
        Sample kOursFork = OursMany(kFork);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        Sample kOursIdleFork = OursMany(kFork);
        Settle();
        OursMany(kFlat);
        Sample kOursQuiet =
            Measure([] { std::this_thread::sleep_for(std::chrono::milliseconds(300)); });
#if defined(VX_HAVE_TBB)
        Settle();
        kTbbMany = Measure([&] { TbbFor(kManyJobs, EmptyBody); });
        Settle();
        kTbbSynced = Measure(
            [&]
            {
                for (int i = 0; i < kSyncs; ++i)
                    TbbFor(kSyncJobs / kSyncs, EmptyBody);
            });
        kTbbFlat = Measure([&] { TbbFor(kSyncJobs, EmptyBody); });
        Settle();
        TbbFor(kForkJobs, WorkBody);
        kTbbSerial = Serial();
        kTbbFork = Measure([&] { TbbFor(kForkJobs, WorkBody); });
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        kTbbIdleFork = Measure([&] { TbbFor(kForkJobs, WorkBody); });
        Settle();
        TbbFor(kSyncJobs, EmptyBody);
        kTbbQuiet = Measure([] { std::this_thread::sleep_for(std::chrono::milliseconds(300)); });
#endif
        Add(aCases[0], kOursMany, kTbbMany, 1e9 / kManyJobs);
        auto SyncCost = [](Sample kWith, Sample kWithout) {
            return Sample{kWith.dWall - kWithout.dWall, kWith.dCpu - kWithout.dCpu};
        };
        Add(aCases[1], SyncCost(kOursSynced, kOursFlat), SyncCost(kTbbSynced, kTbbFlat),
            1e6 / kSyncs);
        Add(aCases[2], Efficiency(kOursFork, kOursSerial),
            kTbbFork.dWall > 0 ? Efficiency(kTbbFork, kTbbSerial) : kNone, 1.0);
        Add(aCases[3], Efficiency(kOursIdleFork, kOursSerial),
            kTbbIdleFork.dWall > 0 ? Efficiency(kTbbIdleFork, kTbbSerial) : kNone, 1.0);
        auto Quiet = [](Sample kRun) { return Sample{kRun.dCpu / kRun.dWall * 100.0, 0.0}; };
        Add(aCases[4], Quiet(kOursQuiet), kTbbQuiet.dWall > 0 ? Quiet(kTbbQuiet) : kNone, 1.0);
    }
    std::printf("medians of %d sweeps (efficiency cases: CPU column = serial time over CPU "
                "time; idle case: wall column = CPU %% of one core)\n",
                kSweeps);
    std::printf("%-22s %-8s %12s %12s %12s %12s %10s\n", "case", "unit", "VX wall", "VX cpu",
                "TBB wall", "TBB cpu", "VX/TBB");
    for (Case const& rCase : aCases)
        std::printf("%-22s %-8s %12.3f %12.3f %12.3f %12.3f %10.3f\n", rCase.pName, rCase.pUnit,
                    Median(rCase.kOurs), Median(rCase.kOursCpu), Median(rCase.kTbb),
                    Median(rCase.kTbbCpu), Median(rCase.kRatio));
    VXJobs::StopJobThreads();
    return 0;
}
