#include "platform/posix/VXPosixStreamCalls.h"

namespace
{
constexpr VXPosixStreamCalls kDefaults = {.pfnOpen = fopen,
                                          .pfnClose = fclose,
                                          .pfnRead = fread,
                                          .pfnWrite = fwrite,
                                          .pfnFlush = fflush,
                                          .pfnSeek = fseeko,
                                          .pfnTell = ftello};

VXPosixStreamCalls gCalls = kDefaults;
} // namespace

VXPosixStreamCalls& VXPosixStreamCallTable()
{
    return gCalls;
}

VXPosixStreamCalls const& VXPosixStreamCallDefaults()
{
    return kDefaults;
}
