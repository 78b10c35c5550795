// Progress of a long command: a bar redrawn in place when stdout is a terminal, plain
// lines at most a few per second when it is not (a log stays readable).
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

class VxaProgress
{
public:
    VxaProgress(char const* verb, uint64_t totalFiles, uint64_t totalBytes);
    void Update(uint64_t files, uint64_t bytes);
    // The last line, with the totals and the rate.
    void Finish();

private:
    void Print(bool last);

    std::string sVerb;
    uint64_t uiTotalFiles, uiTotalBytes;
    uint64_t uiFiles = 0, uiBytes = 0;
    bool bTerminal;
    std::chrono::steady_clock::time_point kStart, kLastPrint;
};
