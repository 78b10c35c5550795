// Arbitrary bytes as an invalidation file.
#include "archive/VXLoadLists.h"
#include "vxsystem/VXMemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    VXMemoryFile file("invalidation.txt", KoFile::MODE_READ_WRITE, size);
    file.Write(data, size);
    file.Seek(0, KoFile::ms_iSeekSet);
    VXTArray<VXHash*>* dirs = nullptr;
    VXTArray<VXHash*>* files = nullptr;
    VXReadInvalidationLines(file, dirs, files);
    VXFreeHashList(dirs);
    VXFreeHashList(files);
    return 0;
}
