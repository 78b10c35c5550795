// Arbitrary bytes as a load-order file, appended to a list that may end oddly.
#include "archive/VXLoadLists.h"
#include "vxsystem/VXMemoryFile.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    VXMemoryFile file("Plugins.txt", KoFile::MODE_READ_WRITE, size);
    file.Write(data, size);
    file.Seek(0, KoFile::ms_iSeekSet);
    static char work[32768];
    std::strcpy(work, size % 2 ? "Master.vxa\n " : "Master.vxa");
    VXAppendLoadOrder(file, work, sizeof(work));
    return 0;
}
