#include "vxsystem/ArchiveManager.h"

#include "archive/VXArchivePath.h"
#include "foundation/VXCRuntime.h"
#include "vxsystem/MemoryManager.h"

#include <cstring>

// Stored unsorted; SortArchiveTypeExtensions orders it before the first lookup.
ArchiveTypeExtension ArchiveManager::ArchiveTypeExtensionsMap[uiExtensionCountS] = {
    {"kf", ARCHIVE_TYPE_MESHES},    {"kof", ARCHIVE_TYPE_MESHES},   {"egm", ARCHIVE_TYPE_MESHES},
    {"egt", ARCHIVE_TYPE_MESHES},   {"tri", ARCHIVE_TYPE_MESHES},   {"cmp", ARCHIVE_TYPE_MESHES},
    {"lst", ARCHIVE_TYPE_MESHES},   {"dtl", ARCHIVE_TYPE_MESHES},   {"btr", ARCHIVE_TYPE_MESHES},
    {"bto", ARCHIVE_TYPE_MESHES},   {"dds", ARCHIVE_TYPE_TEXTURES}, {"tai", ARCHIVE_TYPE_TEXTURES},
    {"tga", ARCHIVE_TYPE_TEXTURES}, {"bmp", ARCHIVE_TYPE_TEXTURES}, {"wav", ARCHIVE_TYPE_SOUNDS},
    {"ogg", ARCHIVE_TYPE_VOICES},   {"lip", ARCHIVE_TYPE_VOICES},   {"xwm", ARCHIVE_TYPE_VOICES},
    {"xml", ARCHIVE_TYPE_MENUS},    {"txt", ARCHIVE_TYPE_MENUS},    {"spt", ARCHIVE_TYPE_TREES},
    {"fnt", ARCHIVE_TYPE_FONTS},    {"tex", ARCHIVE_TYPE_FONTS},    {"vso", ARCHIVE_TYPE_SHADERS},
    {"pso", ARCHIVE_TYPE_SHADERS},  {"vsh", ARCHIVE_TYPE_SHADERS},  {"psh", ARCHIVE_TYPE_SHADERS},
    {"lsl", ARCHIVE_TYPE_SHADERS},  {"h", ARCHIVE_TYPE_SHADERS},
};

bool ArchiveManager::bUseArchives = true;
bool ArchiveManager::bInvalidateOlderFiles = true;
int ArchiveManager::iRetainDirectoryStringTable = 1;
int ArchiveManager::iRetainFilenameStringTable = 1;
int ArchiveManager::iRetainFilenameOffsetTable = 1;
bool ArchiveManager::bCheckRuntimeCollisions = false;
bool ArchiveManager::bStartupStringsCleaned = false;
char ArchiveManager::sMasterFilePath[260] = {};
char* ArchiveManager::sArchiveInvalidationFile = nullptr;
char* ArchiveManager::sMasterArchiveList = nullptr;
std::atomic<uint64_t> ArchiveManager::uiArchiveFileBufferSizeS{0};

namespace
{
// A copy on the MemoryManager heap; null when out of memory.
char* CopyText(char const* text)
{
    size_t length = std::strlen(text);
    auto* copy = static_cast<char*>(MemoryManager::Instance().Allocate(length + 1));
    if (copy)
        std::memcpy(copy, text, length + 1);
    return copy;
}

void Replace(char*& owned, char const* text)
{
    MemoryManager::Instance().Deallocate(owned);
    owned = CopyText(text);
}

// Copies at most size - 1 characters and terminates; gives the characters copied.
size_t CopyCut(char* out, size_t size, char const* text)
{
    size_t length = std::strlen(text);
    if (length >= size)
        length = size - 1;
    std::memcpy(out, text, length);
    out[length] = 0;
    return length;
}

// Up to four characters, lowered, as a big-endian word. For two texts of which one has at
// most three characters, the words order as the case-blind compare orders the texts.
uint32_t PackExtension(char const* text)
{
    uint32_t word = 0;
    int shift = 24;
    for (int i = 0; i < 4 && text[i]; ++i, shift -= 8)
        word |= static_cast<uint32_t>(VXLowerAsciiChar(text[i])) << shift;
    return word;
}

// The map's extensions as words, in map order: made when the program starts and again
// whenever the map is sorted, both before lookups run on other threads.
uint32_t gPackedExtensions[ArchiveManager::uiExtensionCountS];

bool PackMap()
{
    for (unsigned int i = 0; i < ArchiveManager::uiExtensionCountS; ++i)
        gPackedExtensions[i] =
            PackExtension(ArchiveManager::ArchiveTypeExtensionsMap[i].acExtension);
    return true;
}

bool const gPackedAtStart = PackMap();
} // namespace

void ArchiveManager::Init(bool useArchives, char const* masterFilePath,
                          char const* masterArchiveList, uint64_t bufferSize)
{
    bUseArchives = useArchives;
    CopyCut(sMasterFilePath, sizeof(sMasterFilePath), masterFilePath ? masterFilePath : "");
    Replace(sMasterArchiveList, masterArchiveList ? masterArchiveList : "");
    uiArchiveFileBufferSizeS.store(bufferSize, std::memory_order_relaxed);
}

void ArchiveManager::SetInvalidation(bool invalidateOlderFiles, char const* file)
{
    bInvalidateOlderFiles = invalidateOlderFiles;
    if (file)
        Replace(sArchiveInvalidationFile, file);
}

void ArchiveManager::Shutdown()
{
    MemoryManager::Instance().Deallocate(sArchiveInvalidationFile);
    MemoryManager::Instance().Deallocate(sMasterArchiveList);
    sArchiveInvalidationFile = nullptr;
    sMasterArchiveList = nullptr;
}

void ArchiveManager::SetRetainTables(int directories, int fileNames, int fileNameOffsets)
{
    iRetainDirectoryStringTable = directories;
    iRetainFilenameStringTable = fileNames;
    iRetainFilenameOffsetTable = fileNameOffsets;
}

uint64_t ArchiveManager::QMasterArchiveBufferSize(ARCHIVE_TYPE_INDEX index)
{
    static constexpr uint64_t kSizes[ARCHIVE_INDEX_COUNT] = {65536, 65536, 10240, 65536, 10240,
                                                             10240, 10240, 10240, 10240};
    return index < ARCHIVE_INDEX_COUNT ? kSizes[index] : 0;
}

void ArchiveManager::SortArchiveTypeExtensions()
{
    ArchiveTypeExtension* map = ArchiveTypeExtensionsMap;
    for (unsigned int i = 0; i + 1 < uiExtensionCountS; ++i)
    {
        unsigned int smallest = i;
        for (unsigned int j = i + 1; j < uiExtensionCountS; ++j)
            if (VXStricmp(map[j].acExtension, map[smallest].acExtension) < 0)
                smallest = j;
        if (smallest != i)
        {
            ArchiveTypeExtension swap = map[i];
            map[i] = map[smallest];
            map[smallest] = swap;
        }
    }
    PackMap();
}

ARCHIVE_TYPE ArchiveManager::GetArchiveTypeFromFileExtension(char const* extension)
{
    if (!extension)
        return ARCHIVE_TYPE_MISC;
    if (extension[0] == '.')
        extension += 1;
    else if (extension[0] && extension[1] == '.')
        extension += 2;
    uint32_t key = PackExtension(extension);
    unsigned int low = 0;
    unsigned int high = uiExtensionCountS;
    unsigned int step = 0;
    do
    {
        step = (high - low) / 2;
        unsigned int middle = low + step;
        uint32_t entry = gPackedExtensions[middle];
        if (entry == key)
            return ArchiveTypeExtensionsMap[middle].eType;
        // Selects rather than branches: the direction is a coin toss on every step.
        bool below = key < entry;
        high = below ? middle : high;
        low = below ? low : middle;
    } while (step != 0);
    return ARCHIVE_TYPE_MISC;
}

ARCHIVE_TYPE ArchiveManager::GetArchiveTypeFromFileName(char const* name)
{
    if (!name)
        return ARCHIVE_TYPE_MISC;
    size_t length = std::strlen(name);
    return GetArchiveTypeFromFileExtension(length > 3 ? name + length - 3 : name);
}

char const* ArchiveManager::TrimFileName(char const* name)
{
    if (!name)
        return nullptr;
    auto separator = [](char c) { return c == '\\' || c == '/'; };
    if (separator(name[0]))
        ++name;
    if ((name[0] == 'D' || name[0] == 'd') && name[1] == 'a' && name[2] == 't' && name[3] == 'a' &&
        separator(name[4]))
        name += 5;
    return name;
}

void StandardizeModelPath(char const* path, char* out, uint64_t outSize)
{
    if (!out || outSize == 0)
        return;
    if (!path)
        path = "";
    size_t length = std::strlen(path);
    char const* prefix = "meshes\\";
    if (length > 3 && VXStricmp(path + length - 3, "spt") == 0)
        prefix = "Trees";
    else if (VXStrnicmp(path, "meshes\\", 7) == 0)
        prefix = "";
    size_t used = CopyCut(out, outSize, prefix);
    CopyCut(out + used, outSize - used, path);
}
