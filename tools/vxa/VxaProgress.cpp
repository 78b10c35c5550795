#include "VxaProgress.h"

#include <cstdio>
#ifdef _WIN32
#include <io.h>
#define VXA_ISATTY _isatty
#define VXA_FILENO _fileno
#else
#include <unistd.h>
#define VXA_ISATTY isatty
#define VXA_FILENO fileno
#endif

namespace
{
using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}
} // namespace

VxaProgress::VxaProgress(char const* verb, uint64_t totalFiles, uint64_t totalBytes)
    : sVerb(verb), uiTotalFiles(totalFiles), uiTotalBytes(totalBytes),
      bTerminal(VXA_ISATTY(VXA_FILENO(stdout)) != 0), kStart(Clock::now()), kLastPrint(kStart)
{
}

void VxaProgress::Update(uint64_t files, uint64_t bytes)
{
    uiFiles = files;
    uiBytes = bytes;
    // A terminal redraws ten times a second; a log gets a line every two seconds.
    auto gap = bTerminal ? std::chrono::milliseconds(100) : std::chrono::milliseconds(2000);
    if (Clock::now() - kLastPrint >= gap)
        Print(false);
}

void VxaProgress::Finish()
{
    uiFiles = uiTotalFiles;
    uiBytes = uiTotalBytes;
    Print(true);
}

void VxaProgress::Print(bool last)
{
    kLastPrint = Clock::now();
    double elapsed = Seconds(kLastPrint - kStart);
    double rate = elapsed > 0 ? uiBytes / elapsed / (1024.0 * 1024.0) : 0.0;
    unsigned percent = uiTotalBytes ? static_cast<unsigned>(100.0 * uiBytes / uiTotalBytes) : 100;
    if (bTerminal)
    {
        char bar[21] = {};
        for (unsigned i = 0; i < 20; ++i)
            bar[i] = i < percent / 5 ? '#' : '.';
        std::printf("\r%s [%s] %3u%%  %llu/%llu files  %.1f MiB  %.1f MiB/s%s", sVerb.c_str(), bar,
                    percent, static_cast<unsigned long long>(uiFiles),
                    static_cast<unsigned long long>(uiTotalFiles), uiBytes / 1048576.0, rate,
                    last ? "\n" : "");
    }
    else
    {
        std::printf("%s %llu/%llu files, %llu bytes, %.1f MiB/s%s\n", sVerb.c_str(),
                    static_cast<unsigned long long>(uiFiles),
                    static_cast<unsigned long long>(uiTotalFiles),
                    static_cast<unsigned long long>(uiBytes), rate, last ? ", done" : "");
    }
    std::fflush(stdout);
}
