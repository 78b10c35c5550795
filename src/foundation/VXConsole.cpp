#include "foundation/VXConsole.h"

#include <cstdarg>
#include <cstdio>

void VXConsolePrint(char const* format, ...)
{
    if (!format)
        return;
    va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    std::fflush(stdout);
}
