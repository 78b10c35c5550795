#include "vxsystem/FileFinder.h"

#include "vxsystem/VXFile.h"
#include "vxsystem/VXThread.h"

#include "foundation/VXCRuntime.h"
#include "platform/VXPlatformRuntime.h"

#include <cstring>

FileFinder* FileFinder::pFinder = nullptr;
int FileFinder::iFileLogging = 0;
FileFinder::GetstringLogFunc FileFinder::spGetstringLog = nullptr;
bool FileFinder::bUseDDXTextures = false;

namespace
{
bool IsServedNever(char const* name, size_t length)
{
    // Textures of these kinds are never served by name, whatever lies on disk.
    if (length < 4 || name[length - 4] != '.')
        return false;
    char const* extension = name + length - 3;
    return VXStricmp(extension, "tga") == 0 || VXStricmp(extension, "bmp") == 0;
}

bool Accessible(char const* path)
{
    return PlatformAccess(path, 0) == 0;
}
} // namespace

FileFinder::FileFinder(char const*, int fileLogging, bool useDDXTextures)
{
    if (!pFinder)
        pFinder = this;
    KoFile::SetFileCreateFunc(&FileFinder::GetFile);
    KoFile::SetFileAccessFunc(&FileFinder::AccessFile);
    iFileLogging = fileLogging;
    bUseDDXTextures = useDDXTextures;
}

FileFinder::~FileFinder()
{
    for (unsigned int i = kPaths.QSize(); i > 0; --i)
        MemoryManager::Instance().Deallocate(kPaths[i - 1]);
    kPaths.Clear();
    if (pFinder == this)
        pFinder = nullptr;
}

void FileFinder::Close()
{
    delete pFinder;
}

void FileFinder::AddPath(char const* path)
{
    if (pFinder)
        pFinder->_AddPath(path);
}

void FileFinder::RemovePath(unsigned int index)
{
    if (pFinder)
        pFinder->_RemovePath(index);
}

unsigned int FileFinder::GetNumPaths()
{
    return pFinder ? pFinder->NumPaths() : 0;
}

char const* FileFinder::GetPath(unsigned int index)
{
    return pFinder ? pFinder->Path(index) : nullptr;
}

void FileFinder::_AddPath(char const* path)
{
    if (!path)
        return;
    size_t length = std::strlen(path);
    bool slashed = length > 0 && path[length - 1] == '\\';
    auto* copy = static_cast<char*>(MemoryManager::Instance().Allocate(length + 2));
    if (!copy)
        return;
    std::memcpy(copy, path, length);
    if (!slashed)
        copy[length++] = '\\';
    copy[length] = 0;
    if (kPaths.Add(copy) == VXTArray<char*>::INVALID_INDEX)
        MemoryManager::Instance().Deallocate(copy);
}

void FileFinder::_RemovePath(unsigned int index)
{
    if (index >= kPaths.QSize())
        return;
    MemoryManager::Instance().Deallocate(kPaths[index]);
    kPaths.RemoveAt(index);
}

char const* FileFinder::Path(unsigned int index) const
{
    return index < kPaths.QSize() ? kPaths[index] : nullptr;
}

FileFinder::FILE_LOCATION FileFinder::Exist(char const* name, char* pOutPath,
                                            unsigned int uiSearchFlags, unsigned int uiArchiveType)
{
    if (!name || !*name)
        return FILE_NOT_FOUND;
    if (uiArchiveType == 0xFFFFFFFF)
        uiArchiveType = ARCHIVE_TYPE_ALL;
    if (name[1] == ':')
        uiSearchFlags |= SEARCH_NO_ARCHIVES | SEARCH_NO_PATHS;
    else if (name[0] == '.' && name[1] == '\\')
    {
        uiSearchFlags |= SEARCH_NO_PATHS;
        name += 2;
    }
    if (*name == '\\')
        ++name;
    size_t length = std::strlen(name);
    FILE_LOCATION found = FILE_NOT_FOUND;
    char prepared[MAX_PATH_BYTES];
    // A name that does not fit the path buffer is served by nothing.
    if (length < MAX_PATH_BYTES && !IsServedNever(name, length))
    {
        std::memcpy(prepared, name, length + 1);
        found = LookForFile(prepared, uiSearchFlags, uiArchiveType);
    }
    if (pOutPath)
    {
        if (found != FILE_NOT_FOUND)
            std::memcpy(pOutPath, prepared, std::strlen(prepared) + 1);
        else
            pOutPath[0] = 0;
    }
    return found;
}

FileFinder::FILE_LOCATION FileFinder::Locate(char const* name, char* pOutPath,
                                             unsigned int uiSearchFlags, unsigned int uiArchiveType)
{
    return pFinder ? pFinder->Exist(name, pOutPath, uiSearchFlags, uiArchiveType) : FILE_NOT_FOUND;
}

FileFinder::FILE_LOCATION FileFinder::LookForFile(char* name, unsigned int uiSearchFlags)
{
    return LookForFile(name, uiSearchFlags, ARCHIVE_TYPE_ALL);
}

FileFinder::FILE_LOCATION FileFinder::LookForFile(char* name, unsigned int uiSearchFlags,
                                                  unsigned int uiArchiveType)
{
    if (LookInArchives(name, uiSearchFlags, uiArchiveType))
        return FILE_IN_ARCHIVE;
    int flags = static_cast<int>(uiSearchFlags);
    int type = static_cast<int>(uiArchiveType);
    if (SearchCWD(flags, type) && Accessible(name))
        return FILE_ON_DISK;
    if (!SearchAlternateSubdirectories(flags, type))
        return FILE_NOT_FOUND;
    size_t nameLength = std::strlen(name);
    for (char const* path : kPaths)
    {
        if (!path)
            continue;
        size_t pathLength = std::strlen(path);
        if (VXStrnicmp(name, path, pathLength) == 0)
            continue; // the name already lies under this path
        if (pathLength + nameLength >= MAX_PATH_BYTES)
            continue;
        char joined[MAX_PATH_BYTES];
        std::memcpy(joined, path, pathLength);
        std::memcpy(joined + pathLength, name, nameLength + 1);
        if (Accessible(joined))
        {
            std::memcpy(name, joined, pathLength + nameLength + 1);
            return FILE_ON_DISK;
        }
    }
    return FILE_NOT_FOUND;
}

bool FileFinder::SearchCWD(int uiSearchFlags, int) const
{
    return (uiSearchFlags & SEARCH_NO_CWD) == 0;
}

bool FileFinder::SearchAlternateSubdirectories(int uiSearchFlags, int) const
{
    return (uiSearchFlags & SEARCH_NO_PATHS) == 0;
}

KoFile* FileFinder::GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize)
{
    return GetFile(name, mode, uiBufferSize, ARCHIVE_TYPE_ALL);
}

KoFile* FileFinder::GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize,
                            unsigned int uiArchiveType)
{
    if (!pFinder)
        return nullptr;
    if (mode == KoFile::MODE_WRITE)
        return new VXFile(name, mode, uiBufferSize, false);
    char path[MAX_PATH_BYTES];
    FILE_LOCATION location = pFinder->Exist(name, path, 0, uiArchiveType);
    KoFile* file = nullptr;
    if (location == FILE_IN_ARCHIVE)
        file = GetArchiveFile(path, uiBufferSize, uiArchiveType);
    else if (location == FILE_ON_DISK)
    {
        auto* loose = new VXFile(path, mode, uiBufferSize, false);
        if (loose)
            loose->Open(false, false);
        file = loose;
    }
    if (path[0])
        OutputGetstring(location, path, file != nullptr);
    return file;
}

void FileFinder::OutputGetstring(FILE_LOCATION location, char* path, bool opened)
{
    if (iFileLogging == 0)
        return;
    uint32_t threadId = VXThread::GetCurrentThreadId();
    if (GetstringLogFunc log = spGetstringLog)
        log(location, path, opened, threadId);
}

bool FileFinder::AccessFile(char const* name, KoFile::OpenMode mode)
{
    if (mode == KoFile::MODE_READ)
        return pFinder && pFinder->Exist(name, nullptr, 0, 0xFFFFFFFF) != FILE_NOT_FOUND;
    KoFile probe(name, mode, 0);
    return static_cast<bool>(probe);
}
