// Invalidation across the list: the host's lists of overridden names, and the host's and
// the newer archives' requests to drop records. Each drop is one atomic store into a
// record, so searches on other threads see it valid or invalid, never torn.
#include "vxsystem/ArchiveManager.h"

#include "archive/VXLoadLists.h"
#include "vxsystem/Archive.h"
#include "vxsystem/FileFinder.h"
#include "vxsystem/VXFile.h"

#include <memory>

VXTArray<VXHash*>* ArchiveManager::pInvalidateFileNameHashes = nullptr;
VXTArray<VXHash*>* ArchiveManager::pInvalidateDirectoryHashes = nullptr;

namespace
{
VXFileEntry* FindRecord(Archive& archive, VXHash const& dir, VXHash const& file)
{
    uint64_t dirIndex = 0;
    uint64_t fileIndex = 0;
    if (!archive.FindDirectory(dir, dirIndex, nullptr) ||
        !archive.FindFileInDirectory(dirIndex, file, fileIndex, nullptr, false))
        return nullptr;
    return &archive.GetDirectory(dirIndex)->pEntries[fileIndex];
}
} // namespace

void ArchiveManager::LoadInvalidationFile(char const* name)
{
    if (!name)
        return;
    std::unique_ptr<KoFile> file(FileFinder::GetFile(name, KoFile::MODE_READ, 10240));
    auto* text = dynamic_cast<VXFile*>(file.get());
    if (!text || !text->Open(false, false))
        return;
    VXReadInvalidationLines(*text, pInvalidateDirectoryHashes, pInvalidateFileNameHashes);
}

bool ArchiveManager::InvalidateFile(char const* path)
{
    if (!pArchiveList || !path)
        return false;
    VXHash dir;
    VXHash file;
    VXHash::MakeDirAndFile(TrimFileName(path), dir, file);
    for (Archive* archive : *pArchiveList)
    {
        if (!archive || archive->GetDisabled())
            continue;
        if (VXFileEntry* entry = FindRecord(*archive, dir, file))
        {
            entry->SetOffset(0);
            return true;
        }
    }
    return false;
}

void ArchiveManager::InvalidateFileInArchives(VXHash& dir, VXHash& file, unsigned int typeMask)
{
    if (!pArchiveList)
        return;
    for (Archive* archive : *pArchiveList)
    {
        if (!archive || !(archive->QArchiveType() & typeMask & 0xFFFF))
            continue;
        if (VXFileEntry* entry = FindRecord(*archive, dir, file))
            entry->SetOffset(0);
    }
}

void ArchiveManager::SetInvalidateDirectoryHashes(VXTArray<VXHash*>* list)
{
    pInvalidateDirectoryHashes = list;
}

void ArchiveManager::SetInvalidateFileNameHashes(VXTArray<VXHash*>* list)
{
    pInvalidateFileNameHashes = list;
}
