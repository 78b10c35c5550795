#include "vxsystem/VXMemoryFile.h"

#include "foundation/VXConsole.h"

#include <cstring>

VXMemoryFile::VXMemoryFile(char const* name, KoFile::OpenMode mode, uint64_t size)
    : VXFile(), uiMemorySize(0), pMemory(nullptr), uiMemoryPos(0), uiBlockSize(0)
{
    eMode = mode;
    if (name && std::strlen(name) < MAX_PATH_BYTES)
        std::strcpy(acFileName, name);
    AllocateBlock(size);
}

VXMemoryFile::~VXMemoryFile()
{
    MemoryManager::Instance().Deallocate(pMemory);
}

void VXMemoryFile::AllocateBlock(uint64_t size)
{
    MemoryManager::Instance().Deallocate(pMemory);
    pMemory = MemoryManager::Instance().Allocate(size);
    uiBlockSize = pMemory ? size : 0;
    uiMemorySize = uiBlockSize;
    uiMemoryPos = uiTrueFilePos = uiFileSize = 0;
    bGood = pMemory != nullptr;
}

bool VXMemoryFile::Seek(int64_t offset)
{
    return Seek(offset, ms_iSeekCur);
}

bool VXMemoryFile::Seek(int64_t offset, int whence)
{
    auto distance = static_cast<uint64_t>(offset);
    uint64_t target = 0;
    if (whence == ms_iSeekSet)
        target = distance;
    else if (whence == ms_iSeekCur)
        target = uiMemoryPos + distance; // a step below 0 wraps high and is capped below
    else if (whence == ms_iSeekEnd)
        target = distance > uiMemorySize ? 0 : uiMemorySize - distance;
    else
        return false;
    uiMemoryPos = target < uiMemorySize ? target : uiMemorySize;
    uiTrueFilePos = uiMemoryPos;
    return true;
}

bool VXMemoryFile::Open(bool, bool)
{
    return true;
}

uint64_t VXMemoryFile::GetSize()
{
    return uiMemorySize;
}

void VXMemoryFile::SetSize(uint64_t size)
{
    uiMemorySize = size < uiBlockSize ? size : uiBlockSize;
}

void VXMemoryFile::Reallocate(uint64_t size)
{
    AllocateBlock(size);
}

uint64_t VXMemoryFile::DoRead(void* buffer, uint64_t size)
{
    uint64_t count = size < QRoomLeft() ? size : QRoomLeft();
    if (buffer && count)
        std::memcpy(buffer, static_cast<char const*>(pMemory) + uiMemoryPos, count);
    uiMemoryPos += size;
    uiTrueFilePos = uiMemoryPos;
    return count;
}

uint64_t VXMemoryFile::DoWrite(void const* buffer, uint64_t size)
{
    uint64_t count = size;
    if (uiMemoryPos > uiMemorySize || size > uiMemorySize - uiMemoryPos)
    {
        VXConsolePrint("VXMemoryFile::Write has written off the end of the file!\n");
        count = QRoomLeft();
    }
    if (buffer && count)
        std::memcpy(static_cast<char*>(pMemory) + uiMemoryPos, buffer, count);
    uiMemoryPos += size;
    uiTrueFilePos = uiMemoryPos;
    if (uiMemoryPos > uiFileSize)
        uiFileSize = uiMemoryPos;
    return count;
}
