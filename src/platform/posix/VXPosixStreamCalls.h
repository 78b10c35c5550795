// The stdio calls under the buffered stream files, in one table like VXPosixFileCalls, so
// that tests can fail a flush, a seek or a write at will. Entries keep stdio's own
// conventions (EOF, -1, short counts). Not guarded: change it only while no stream is in use.
#pragma once

#include <sys/types.h>

#include <cstdio>

struct VXPosixStreamCalls
{
    FILE* (*pfnOpen)(char const* path, char const* mode);
    int (*pfnClose)(FILE* stream);
    size_t (*pfnRead)(void* buffer, size_t size, size_t count, FILE* stream);
    size_t (*pfnWrite)(void const* buffer, size_t size, size_t count, FILE* stream);
    int (*pfnFlush)(FILE* stream);
    int (*pfnSeek)(FILE* stream, off_t offset, int whence);
    off_t (*pfnTell)(FILE* stream);
};

// The live table, and the real calls to restore it from.
VXPosixStreamCalls& VXPosixStreamCallTable();
VXPosixStreamCalls const& VXPosixStreamCallDefaults();
