#include "archive/VXArchiveIndex.h"

#include "vxsystem/MemoryManager.h"

VXArchiveIndex::~VXArchiveIndex()
{
    Clear();
}

void VXArchiveIndex::Clear()
{
    MemoryManager::Instance().Deallocate(pSlots);
    pSlots = nullptr;
    uiMask = 0;
}

uint32_t VXArchiveIndex::Tag(uint64_t hash)
{
    auto tag = static_cast<uint32_t>(hash >> 32);
    return tag ? tag : 1; // 0 marks a free slot
}

uint64_t VXArchiveIndex::Mix(uint64_t dirKey, uint64_t fileKey)
{
    // The keys keep readable characters in their low bytes: stir both halves in.
    uint64_t h = dirKey ^ (fileKey * 0x9E3779B97F4A7C15ull);
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    return h ^ (h >> 32);
}

bool VXArchiveIndex::Build(VXDirectoryEntry const* directories, uint32_t directoryCount)
{
    if (directoryCount > MAX_INDEXED)
        return false;
    uint64_t records = 0;
    for (uint32_t d = 0; d < directoryCount; ++d)
    {
        if (directories[d].uiEntryCount > MAX_INDEXED)
            return false;
        records += directories[d].uiEntryCount;
    }
    uint64_t slots = 16;
    while (slots < records * 2)
        slots *= 2;
    auto* table = static_cast<Slot*>(MemoryManager::Instance().Allocate(slots * sizeof(Slot)));
    if (!table)
        return false;
    for (uint64_t i = 0; i < slots; ++i)
        table[i].uiTag = 0;
    pSlots = table;
    uiMask = slots - 1;
    pDirectories = directories;
    for (uint32_t d = 0; d < directoryCount; ++d)
    {
        for (uint32_t f = 0; f < directories[d].uiEntryCount; ++f)
        {
            uint64_t dirKey = directories[d].kHash.Hash();
            uint64_t fileKey = directories[d].pEntries[f].kHash.Hash();
            uint64_t unused = 0;
            if (Find(dirKey, fileKey, unused, unused))
            {
                // Repeated keys: only the binary searches say which record answers.
                Clear();
                return false;
            }
            uint64_t hash = Mix(dirKey, fileKey);
            uint64_t slot = hash & uiMask;
            while (pSlots[slot].uiTag != 0)
                slot = (slot + 1) & uiMask;
            pSlots[slot] = {Tag(hash), static_cast<uint16_t>(d), static_cast<uint16_t>(f)};
        }
    }
    return true;
}

bool VXArchiveIndex::Find(uint64_t dirKey, uint64_t fileKey, uint64_t& dirIndex,
                          uint64_t& fileIndex) const
{
    if (!pSlots)
        return false;
    uint64_t hash = Mix(dirKey, fileKey);
    uint32_t tag = Tag(hash);
    for (uint64_t slot = hash & uiMask;; slot = (slot + 1) & uiMask)
    {
        Slot const& candidate = pSlots[slot];
        if (candidate.uiTag == 0)
            return false;
        if (candidate.uiTag != tag)
            continue;
        VXDirectoryEntry const& directory = pDirectories[candidate.usDir];
        if (directory.kHash.Hash() == dirKey &&
            directory.pEntries[candidate.usFile].kHash.Hash() == fileKey)
        {
            dirIndex = candidate.usDir;
            fileIndex = candidate.usFile;
            return true;
        }
    }
}
