// The archive stage of the finder. No archive serves names yet: the loose search
// answers every name, and the archive branch of GetFile gives nothing.
#include "vxsystem/FileFinder.h"

bool FileFinder::LookInArchives(char*, unsigned int&, unsigned int)
{
    return false;
}

KoFile* FileFinder::GetArchiveFile(char const*, unsigned int, unsigned int)
{
    return nullptr;
}
