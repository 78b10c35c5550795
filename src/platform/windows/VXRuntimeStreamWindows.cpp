// Windows half of the stream transfer calls: the C runtime's own.
#include "platform/VXPlatformRuntime.h"

uint64_t PlatformReadStream(FILE* stream, void* buffer, uint64_t size)
{
    return stream && buffer ? fread(buffer, 1, static_cast<size_t>(size), stream) : 0;
}

uint64_t PlatformWriteStream(FILE* stream, void const* buffer, uint64_t size)
{
    return stream && buffer ? fwrite(buffer, 1, static_cast<size_t>(size), stream) : 0;
}

int PlatformFlushStream(FILE* stream)
{
    return stream ? fflush(stream) : EOF;
}

int PlatformCloseStream(FILE* stream)
{
    return stream ? fclose(stream) : EOF;
}
