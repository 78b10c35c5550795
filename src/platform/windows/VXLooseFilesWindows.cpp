// Windows half of the loose-file presence test and the folder-listing cache hooks. The
// file system there ignores letter case, so no listing is cached and nothing needs
// dropping when the library changes a folder.
#include "platform/VXPlatformRuntime.h"

#include <io.h>

bool PlatformLooseFileExists(char const* name)
{
    return name && *name && _access(name, 0) == 0;
}

void PlatformNotePathChanged(char const*) {}

uint32_t PlatformCachedFolderCount()
{
    return 0;
}
