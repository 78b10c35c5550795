// File lists: names matching a pattern, from the disk and from the open archives.
#include "vxsystem/FileFinder.h"

#include "vxsystem/ArchiveManager.h"
#include "vxsystem/FilePathUtilities.h"
#include "vxsystem/VXSystemDir.h"
#include "vxsystem/WildCard.h"

#include <cstring>

namespace
{
using NameList = VXSimpleList<char const*>;

NameList* NewList()
{
    return new NameList();
}

// Hands out the list, or frees it and gives null when it holds nothing.
NameList* Result(NameList* list)
{
    if (list && list->QEmpty())
        FileFinder::DeleteFileNameList(list);
    return list;
}

// The directory part of prefix, through its last backslash; 0 when it has none.
size_t DirectoryLength(char const* prefix)
{
    char const* slash = std::strrchr(prefix, '\\');
    return slash ? static_cast<size_t>(slash - prefix + 1) : 0;
}

// prefix's directory part followed by name, at the head of list; false when it cannot.
bool AddName(NameList* list, char const* prefix, size_t prefixLength, char const* name)
{
    size_t length = std::strlen(name);
    auto* text = static_cast<char*>(MemoryManager::Instance().Allocate(prefixLength + length + 1));
    if (!text)
        return false;
    std::memcpy(text, prefix, prefixLength);
    std::memcpy(text + prefixLength, name, length + 1);
    if (list->AddHead(text))
        return true;
    MemoryManager::Instance().Deallocate(text);
    return false;
}

// Calls visit(name) for each entry of path's folder that its file part matches, until
// visit gives false.
template <class Visit> void ForEachMatch(char const* path, Visit visit)
{
    VXStaticStringT<260> folder, pattern;
    if (!FilePathUtilities::SplitPath(path, folder, pattern))
        folder.Set(".");
    VXSystemDir dir(folder.QString());
    bool finished = false;
    while (dir.NextEntry(finished) == VXSystemFile::EC_OK && !finished)
        if (WildCard::Match(dir.QName(), pattern.QString(), 0) && !visit(dir.QName()))
            return;
}

// Loose files matter to a list only when they can stand for members.
bool DiskCounts()
{
    return !ArchiveManager::bUseArchives || ArchiveManager::bInvalidateOlderFiles;
}
} // namespace

VXSimpleList<char const*>* FileFinder::BuildFileList(char const* path, char const* prefix,
                                                     unsigned int uiArchiveType,
                                                     VXSimpleList<char const*>* list)
{
    if (!path || !prefix)
        return nullptr;
    if (!std::strpbrk(path, "*?"))
        return BuildSingleFileList(path, prefix, uiArchiveType, list);
    if (!list && !(list = NewList()))
        return nullptr;
    if (DiskCounts())
        PlatformBuildFileList(path, prefix, list);
    ArchiveManager::AddToFileList(list, path, prefix, static_cast<ARCHIVE_TYPE>(uiArchiveType));
    return Result(list);
}

VXSimpleList<char const*>* FileFinder::BuildFileList(char const* path, char const* prefix)
{
    return BuildFileList(path, prefix, ARCHIVE_TYPE_ALL, nullptr);
}

VXSimpleList<char const*>* FileFinder::BuildSingleFileList(char const* path, char const* prefix,
                                                           unsigned int uiArchiveType,
                                                           VXSimpleList<char const*>* list)
{
    if (!list && !(list = NewList()))
        return nullptr;
    if (!path || !prefix)
        return Result(list);
    bool found = DiskCounts() && PlatformFindSingleFile(path);
    if (!found)
        found = ArchiveManager::FindFile(path, static_cast<ARCHIVE_TYPE>(uiArchiveType));
    char const* slash = std::strrchr(path, '\\');
    size_t prefixLength = DirectoryLength(prefix);
    if (found && slash && prefixLength)
        AddName(list, prefix, prefixLength, slash + 1);
    return Result(list);
}

VXSimpleList<char const*>* FileFinder::BuildSingleFileList(char const* path, char const* prefix,
                                                           VXSimpleList<char const*>* list)
{
    return BuildFileList(path, prefix, ARCHIVE_TYPE_ALL, list);
}

bool FileFinder::BuildFileArray(char const* path, VXTArray<VXFixedString>& out)
{
    VXStaticStringT<260> folder, file;
    FilePathUtilities::SplitPath(path, folder, file);
    FilePathUtilities::Join(folder.QString(), "", folder);
    NameList* list = NewList();
    if (!list)
        return false;
    unsigned int count = PlatformBuildFileList(path, folder.QString(), list);
    if (count && out.Reserve(out.QSize() + count))
        for (auto* node = list->QHead(); node && node->kItem; node = node->pNext)
            out.Add(VXFixedString(node->kItem));
    DeleteFileNameList(list);
    return count != 0;
}

void FileFinder::DeleteFileNameList(VXSimpleList<char const*>*& list)
{
    if (!list)
        return;
    for (auto* node = list->QHead(); node; node = node->pNext)
        MemoryManager::Instance().Deallocate(const_cast<char*>(node->kItem));
    delete list;
    list = nullptr;
}

// The disk side sits on the folder listing of VXSystemDir, whose platform halves resolve
// separators and letter case; the file part of path filters its entries as the
// platform's own find would, without regard to case.
unsigned int FileFinder::PlatformBuildFileList(char const* path, char const* prefix,
                                               VXSimpleList<char const*>* list)
{
    size_t prefixLength = prefix ? DirectoryLength(prefix) : 0;
    if (!path || !list || !prefixLength)
        return 0;
    unsigned int count = 0;
    ForEachMatch(path,
                 [&](char const* name)
                 {
                     count += AddName(list, prefix, prefixLength, name) ? 1 : 0;
                     return true;
                 });
    return count;
}

bool FileFinder::PlatformFindSingleFile(char const* path)
{
    bool found = false;
    if (path)
        ForEachMatch(path, [&](char const*) { return !(found = true); });
    return found;
}
