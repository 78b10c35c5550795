#include "vxsystem/VXSearchPath.h"

KoSearchPath::KoSearchPath() : uiNextPath(0), acPath{}, acScratch{} {}

KoSearchPath::~KoSearchPath() = default;

void KoSearchPath::Reset()
{
    uiNextPath = 0;
}

void KoSearchPath::SetPath(char const* path)
{
    unsigned int length = 0;
    for (; path && path[length] && length + 1 < MAX_PATH_BYTES; ++length)
        acPath[length] = path[length];
    acPath[length] = 0;
}

VXSearchPath::~VXSearchPath() = default;

bool VXSearchPath::GetNextPath(char* out)
{
    if (uiNextPath != 0 || !out)
        return false;
    unsigned int i = 0;
    for (; acPath[i]; ++i)
        out[i] = acPath[i];
    out[i] = 0;
    ++uiNextPath;
    return true;
}

bool VXSearchPath::QValid() const
{
    return true;
}
