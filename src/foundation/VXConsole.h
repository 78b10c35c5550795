// The system's console print: its one message goes to the standard output, flushed at
// once so that it is not lost if the process ends abnormally. Thread-safe as stdio is.
#pragma once

// printf-style.
void VXConsolePrint(char const* format, ...);
