// ArchiveManager: the static class that knows the archives of the process. This part holds
// what needs no open archive: how an extension maps to an archive type, how a name becomes
// relative to the data folder, and the settings a host gives before archives are opened.
// The settings are written at start-up and read without a lock afterwards.
#pragma once

#include "vxsystem/VXArchiveTypes.h"
#include "vxsystem/VXHash.h"
#include "vxsystem/VXTArray.h"

#include <atomic>
#include <cstdint>

struct ArchiveTypeExtension
{
    char acExtension[4]; // lower case, no dot, zero-terminated
    ARCHIVE_TYPE eType;  // a single type bit
};

class Archive;
class ArchiveFile;
class VXFileEntry;
template <class T> class VXSimpleList;

class ArchiveManager
{
public:
    // Opens the invalidation lists, then every archive of the master list and of the
    // load-order file "Plugins.txt", and fills the master table. False when an archive
    // could not be opened; the others serve all the same.
    static bool OpenMasterArchives();
    // Opens and lists one archive found through the finder (not in archives). A type
    // other than 0 replaces the archive's own. Null when archives are off, no finder
    // exists, or the file is missing or broken. The archive stays the caller's to destroy.
    static Archive* OpenArchive(char const* name, unsigned short type, bool invalidateOthers);
    // The open archive opened as path, compared case-blind.
    static Archive* GetArchive(char const* path);
    static void AddArchive(Archive* archive);
    // Unlists the archive and clears every reference to it; it is not destroyed.
    static bool RemoveArchive(Archive* archive);
    static bool CloseArchive(char const* name);
    static bool CloseArchive(Archive* archive);
    // Drops the list (not the archives), the invalidation lists and the master table.
    static void CloseAll();
    static VXTArray<Archive*>* GetArchiveList() { return pArchiveList; }

    // The reader of the first archive that holds the name; the caller owns it.
    static ArchiveFile* GetFile(char const* pFile, unsigned int bufferSize, ARCHIVE_TYPE type);
    static Archive* GetArchiveForFile(char const* pFile, ARCHIVE_TYPE type);
    static bool FindFile(char const* pFile, ARCHIVE_TYPE type);
    static ArchiveFile* GetFileByFileEntry(ARCHIVE_TYPE_INDEX index, VXFileEntry* entry,
                                           unsigned int bufferSize, char const* name);
    static VXFileEntry* GetFileEntryForFile(ARCHIVE_TYPE_INDEX index, VXHash& dir, VXHash& file,
                                            char const* name);
    // Row 0, or row 1 where row 0 is empty.
    static Archive* GetMasterArchive(ARCHIVE_TYPE_INDEX index);
    static Archive* GetMasterArchive(ARCHIVE_TYPE_INDEX index, unsigned int row);
    static void SetMasterArchive(Archive* archive, ARCHIVE_TYPE_INDEX index, unsigned int row);
    // Drops the names that the archives do not ask to keep once start-up is over.
    static void CleanupArchiveStringsAfterStartup();

    // Adds the keys of an invalidation file, found through the finder: lines with a
    // backslash name directories, others file names in any directory.
    static void LoadInvalidationFile(char const* name);
    // Drops the first record of this name in the list, whatever its type.
    static bool InvalidateFile(char const* path);
    // Drops this record from every listed archive of an overlapping type.
    static void InvalidateFileInArchives(VXHash& dir, VXHash& file, unsigned int typeMask);
    // Only the pointer is written: a list replaced here goes back to whoever set it. The
    // list in place at CloseAll is freed there, so it must be a VXTArray placed in a
    // MemoryManager block, holding VXHash objects from MemoryManager.
    static void SetInvalidateDirectoryHashes(VXTArray<VXHash*>* list);
    static void SetInvalidateFileNameHashes(VXTArray<VXHash*>* list);
    static VXTArray<VXHash*>* QInvalidateDirectoryHashes() { return pInvalidateDirectoryHashes; }
    static VXTArray<VXHash*>* QInvalidateFileNameHashes() { return pInvalidateFileNameHashes; }

    // Directory queries (need archives with file names). Names added to a list come from
    // MemoryManager, belong to the list and go in at its head. A list that already holds
    // names takes members from the first archive with the directory only, and never a
    // member whose file name it holds. Records that lookups no longer serve (dropped, or
    // shadowed by a loose file) are never named.
    static void AddToFileList(VXSimpleList<char const*>* list, char const* pattern,
                              char const* prefix, ARCHIVE_TYPE type);
    // One archive's part of AddToFileList; gives the sorted keys of the list's names once
    // it has made them (the caller frees them), else sorted unchanged.
    static VXHash** AddArchiveToFileList(Archive* archive, unsigned int count, VXHash** sorted,
                                         VXHash& dir, VXHash& pattern,
                                         VXSimpleList<char const*>* list, char const* prefix);
    static bool WildCardMatch(char const* name, VXHash* pattern);
    // A member of path's directory, written into out (MAX_PATH_BYTES) as path with its file
    // part replaced; false when no archive serves a member of that directory.
    static bool GetRandomFileNameForDirectory(char const* path, char* out, ARCHIVE_TYPE type);
    // The same for the smallest member; the first in table order among equals.
    static bool GetFileNameForSmallestFileInDirectory(char const* path, char* out,
                                                      ARCHIVE_TYPE type);
    static bool GetFileNameForFileEntry(ARCHIVE_TYPE_INDEX index, VXFileEntry* entry, char* out);
    static Archive* GetArchiveForFileEntry(VXFileEntry* entry);

    // Load tracking: records appended in call order, duplicates kept; no lock, the host
    // orders its calls. The report writes one "FileEntries\Cell %08X.<archive>.txt" per
    // archive, header first, then one "directory\file" line per record, CR LF ended.
    static void TrackFileEntryLoad(VXFileEntry* entry);
    static void ClearFileEntryTracking();
    static void OutputFileEntryTracking(char* header, unsigned int cell);
    static bool OutputProfileStats(char* unused);
    static void SetTrackFileEntryLoading(bool track) { bTrackFileEntryLoading = track; }
    static bool GetTrackFileEntryLoading() { return bTrackFileEntryLoading; }
    static VXTArray<VXFileEntry*>* pFileEntryTrackingArray; // owned; null when none
    static bool bTrackFileEntryLoading;                     // a switch for the host only

    static constexpr unsigned int uiExtensionCountS = 29;

    static void Init(bool useArchives, char const* masterFilePath, char const* masterArchiveList,
                     uint64_t bufferSize);
    // A non-null file name is copied and replaces the previous one.
    static void SetInvalidation(bool invalidateOlderFiles, char const* file);
    // Frees the copied invalidation file name and archive list.
    static void Shutdown();

    static void SetRetainTables(int directories, int fileNames, int fileNameOffsets);
    static void SetRetainDirectoryStringTable(int setting)
    {
        iRetainDirectoryStringTable = setting;
    }
    static void SetRetainFilenameStringTable(int setting) { iRetainFilenameStringTable = setting; }
    static void SetRetainFilenameOffsetTable(int setting) { iRetainFilenameOffsetTable = setting; }
    static int QRetainDirectoryStringTable() { return iRetainDirectoryStringTable; }
    static int QRetainFilenameStringTable() { return iRetainFilenameStringTable; }
    static int QRetainFilenameOffsetTable() { return iRetainFilenameOffsetTable; }
    static void SetInvalidateOlderFiles(bool invalidate) { bInvalidateOlderFiles = invalidate; }
    static bool QInvalidateOlderFiles() { return bInvalidateOlderFiles; }
    static void SetCheckRuntimeCollisions(bool check) { bCheckRuntimeCollisions = check; }
    static void SetRuntimeCollisions(bool check) { bCheckRuntimeCollisions = check; }
    static bool QCheckRuntimeCollisions() { return bCheckRuntimeCollisions; }

    // Readers made from now on keep at most 128 KiB of a member in memory.
    static void SetStartupFinished()
    {
        uiArchiveFileBufferSizeS.store(0x20000, std::memory_order_relaxed);
    }
    static bool ArchivesEnabled() { return bUseArchives; }
    static char const* QMasterFilePath() { return sMasterFilePath; }
    static uint64_t QArchiveFileBufferSize()
    {
        return uiArchiveFileBufferSizeS.load(std::memory_order_relaxed);
    }
    // The stream buffer a master archive of this type is given; 0 for an unknown index.
    static uint64_t QMasterArchiveBufferSize(ARCHIVE_TYPE_INDEX index);

    // Sorts the extension map for the bisection of GetArchiveTypeFromFileExtension.
    static void SortArchiveTypeExtensions();
    // A one-, two- or three-letter extension, with or without its dot; ARCHIVE_TYPE_MISC
    // when it is not in the map (or the map has not been sorted).
    static ARCHIVE_TYPE GetArchiveTypeFromFileExtension(char const* extension);
    static ARCHIVE_TYPE GetArchiveTypeFromFileName(char const* name);
    // Skips one leading backslash, then a leading "Data\" or "data\"; points into name.
    static char const* TrimFileName(char const* name);

    static ArchiveTypeExtension ArchiveTypeExtensionsMap[uiExtensionCountS];

    static bool bUseArchives;               // archives are searched at all
    static bool bInvalidateOlderFiles;      // loose files override archive members
    static int iRetainDirectoryStringTable; // 0 never, 1 as the archive asks, else always
    static int iRetainFilenameStringTable;  // the same for file names
    static int iRetainFilenameOffsetTable;  // the same for offsets into the file names
    static bool bCheckRuntimeCollisions;    // hits with a name are compared with the names
    static bool bStartupStringsCleaned;     // the start-up names have been dropped
    static char sMasterFilePath[260];       // root folder of the loose files
    static char* sArchiveInvalidationFile;  // owned; null when none was given
    static char* sMasterArchiveList;        // owned; comma-separated archive names
    // Largest private buffer of a member reader. The one setting that changes while readers
    // are made on other threads; relaxed, as it publishes nothing else.
    static std::atomic<uint64_t> uiArchiveFileBufferSizeS;

    static VXTArray<Archive*>* pArchiveList; // open archives, oldest first; null until one opens
    // Whichever archive answered most recently gets the next question first. Threads
    // share it without a lock: losing a race merely reorders the search.
    static std::atomic<Archive*> spLastArchive;
    static Archive* spMasterArchives[2][ARCHIVE_INDEX_COUNT]; // [row][type index]
    static VXTArray<VXHash*>* pInvalidateFileNameHashes;      // owned; null when none
    static VXTArray<VXHash*>* pInvalidateDirectoryHashes;     // owned; null when none

private:
    static void MakeMaster(Archive* archive);
};

// A model's path under the data folder, at most outSize - 1 characters long:
// "Trees" before a name ending in spt, the name itself when it starts with "meshes\",
// else "meshes\" before it.
void StandardizeModelPath(char const* path, char* out, uint64_t outSize);
