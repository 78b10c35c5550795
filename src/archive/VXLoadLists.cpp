#include "archive/VXLoadLists.h"

#include "platform/VXPlatformRuntime.h"

#include <cstring>
#include <new>

namespace
{
constexpr uint64_t kLineBytes = MAX_PATH_BYTES; // 259 characters and a terminator

bool AddKey(VXTArray<VXHash*>*& list, VXHash const& key)
{
    if (!list)
    {
        void* block = MemoryManager::Instance().Allocate(sizeof(VXTArray<VXHash*>));
        if (!block)
            return false;
        list = ::new (block) VXTArray<VXHash*>();
    }
    void* keyBlock = MemoryManager::Instance().Allocate(sizeof(VXHash));
    if (!keyBlock)
        return false;
    auto* copy = ::new (keyBlock) VXHash(key);
    if (list->Add(copy) != VXTArray<VXHash*>::INVALID_INDEX)
        return true;
    MemoryManager::Instance().Deallocate(copy);
    return false;
}

void AppendName(char* work, size_t workSize, char const* name)
{
    size_t used = std::strlen(work);
    // A list whose text ends in a line feed and one more character is cut there.
    if (used >= 2 && work[used - 2] == '\n')
        work[used -= 2] = 0;
    size_t length = std::strlen(name);
    if (used + 2 + length + 1 > workSize)
        return;
    std::memcpy(work + used, ", ", 2);
    std::memcpy(work + used + 2, name, length + 1);
}
} // namespace

bool VXLoadOrderLineToArchive(char* line)
{
    if (!line[0] || line[0] == '\n' || line[0] == '#')
        return false;
    char* extension = std::strstr(line, ".qkp");
    if (!extension)
        extension = std::strstr(line, ".qkm");
    if (!extension)
        return false;
    std::memcpy(extension, ".vxa", 5);
    return true;
}

void VXAppendLoadOrder(VXFile& file, char* work, size_t workSize)
{
    char line[kLineBytes];
    // A line is read in pieces of at most 259 characters, as a line reader with a fixed
    // buffer does; a long line's pieces are judged one by one.
    while (true)
    {
        uint64_t consumed = file.GetLine(line, sizeof(line), '\n');
        if (consumed == 0)
            return;
        if (!VXLoadOrderLineToArchive(line))
            continue;
        char underData[kLineBytes + 5] = "Data\\";
        std::strcat(underData, line);
        if (PlatformAccess(underData, 0) != 0)
            continue;
        AppendName(work, workSize, line);
    }
}

void VXReadInvalidationLines(VXFile& file, VXTArray<VXHash*>*& dirs, VXTArray<VXHash*>*& files)
{
    char line[kLineBytes];
    while (file.GetLine(line, sizeof(line), 13) != 0)
    {
        char dropped;
        file.Read(&dropped, 1); // the line feed behind the carriage return
        if (std::strchr(line, '\\'))
        {
            char const* text = line[0] == '\\' ? line + 1 : line;
            AddKey(dirs, VXHash(text, VXHash::HASH_DIRECTORY));
        }
        else
            AddKey(files, VXHash(line, VXHash::HASH_FILE));
    }
}

void VXFreeHashList(VXTArray<VXHash*>*& list)
{
    if (!list)
        return;
    for (VXHash* key : *list)
        MemoryManager::Instance().Deallocate(key);
    list->~VXTArray<VXHash*>();
    MemoryManager::Instance().Deallocate(list);
    list = nullptr;
}
