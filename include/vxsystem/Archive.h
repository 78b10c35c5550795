// Archive: one open .vxa file. It is both the archive's description (header and tables in
// memory, through VXArchive) and the one stream on the file (through VXFile) that all its
// member readers share. It answers which record belongs to a pair of keys, fetches names
// from memory or from disk, and makes the readers (ArchiveFile, CompressedArchiveFile),
// which the caller owns and which must not outlive the archive.
//
// Opening checks the file before trusting it: the header, and every count, length and
// offset against the file's size and against each other (tables and name table inside
// the file, directory name lengths adding up, keys sorted, member data inside the file,
// one terminated name of at most 255 bytes per record). A file that fails is Disabled,
// exactly like a file with a wrong tag, and serves nothing.
//
// Collision test (with ArchiveManager::bCheckRuntimeCollisions and a name): a hit stands
// only if the text its key was made from equals the stored name, without regard to case.
// For a directory that text is the path's drive and directory with one trailing backslash
// removed, or "." when there is none; for a file, its name with the extension.
//
// Threads: searches take no lock and may run on any number of threads; the cached indices
// and the run-time bits of the records are single atomic words, validated before use.
// The stream, its buffer and the on-disk name fetches are guarded by one reentrant lock
// (CriticalSectionEnter/Leave); a name fetched from disk lives in a scratch that the next
// fetch overwrites, so callers hold the lock around the fetch and the use of its result.
#pragma once

#include "vxsystem/VXArchive.h"
#include "vxsystem/VXCriticalSection.h"
#include "vxsystem/VXFile.h"
#include "vxsystem/VXHash.h"

#include <atomic>
#include <cstdint>

class ArchiveFile;
class VXArchiveIndex;
class ArchiveManager;
class CompressedArchiveFile;

class Archive : public VXArchive, public VXFile
{
public:
    static constexpr uint64_t NO_INDEX = ~0ull;           // no cached index
    static constexpr uint64_t NO_DIRECTORY = 0xFFFFFFFF;  // record in no directory
    static constexpr uint64_t STREAM_BUFFER_SIZE = 10240; // the stream's buffer after open

    // Opens and loads with a stream buffer of bufferSize, then shrinks the buffer. The
    // caller tests bGood (FileIsGood) and GetDisabled.
    Archive(char const* name, uint64_t bufferSize, bool secondary, bool invalidateOthers);
    ~Archive() override;
    Archive(Archive const&) = delete;
    Archive& operator=(Archive const&) = delete;

    // name may be null; it is used for the collision test only.
    bool FindDirectory(VXHash const& dir, uint64_t& index, char const* name);
    bool FindFileInDirectory(uint64_t dirIndex, VXHash const& file, uint64_t& index,
                             char const* name, bool ignoreOwner);
    // Both searches at once, with the owner test and the lazy loose-file test. Without
    // collision checks an index built at open answers in constant time; the answers are
    // those of the two searches.
    bool FindFile(VXHash const& dir, VXHash const& file, uint64_t& dirIndex, uint64_t& fileIndex,
                  char const* name);
    // A reader on the record, or null if it is not usable here. The caller owns it.
    ArchiveFile* GetFile(uint64_t dirIndex, uint64_t fileIndex, uint64_t bufferSize,
                         char const* name);
    ArchiveFile* GetFileByFileEntry(VXFileEntry* entry, uint64_t bufferSize, char const* name);
    VXFileEntry* GetFileEntryForFile(VXHash const& dir, VXHash const& file, char const* name);

    // Null past the table.
    VXDirectoryEntry* GetDirectory(uint64_t index);
    uint64_t GetDirectoryIndexForFileEntry(VXFileEntry const* entry) const;
    uint64_t GetFileIndexForFileEntryFromDirectory(uint64_t dirIndex,
                                                   VXFileEntry const* entry) const;
    // Null when the archive has no such names or the index is out of range.
    char* GetDirectoryString(uint64_t dirIndex);
    char* GetFileString(uint64_t dirIndex, uint64_t fileIndex);
    char* GetFileNameForFileEntry(VXFileEntry const* entry);

    // Owner bit equal to Secondary (unless ignoreOwner) and a non-zero offset.
    bool CheckValidFile(VXFileEntry const* entry, bool ignoreOwner) const;
    // The once-per-record test against a loose twin under "Data\"; true when this call
    // invalidated the record.
    bool CheckInvalidateFile(VXFileEntry* entry, char const* name);

    // Drops one record (searched without a name); the name is not used.
    bool InvalidateFile(uint64_t dirIndex, VXHash& file, char const* name);
    bool InvalidateFile(VXHash& dir, VXHash& file, char const* name);
    // Drops every record that a loose file under "Data\" shadows or that the manager's
    // lists name (when the archive has names), else every record whose loose file under
    // the master folder is newer than the archive. Gives the number dropped.
    uint64_t FindNewerAndInvalidate();
    // For tools, with run-time collision checks on and names at hand: the stored name that
    // differs from path's directory or file, or null when the record matches.
    char const* DoesFileCollide(VXHash& dir, VXHash& file, char* path);

    // 1 gives the archive's flag, 0 false, anything else true.
    static bool CheckRetain(bool archiveFlag, int setting);
    bool QRetainDirectoryStringTable() const;
    bool QRetainFilenameStringTable() const;
    bool QRetainFilenameOffsetTable() const;
    // Whether names are loaded at open.
    bool QLoadStrings() const;

    char const* GetFileName() const { return acFileName; }
    void CriticalSectionEnter(char const* name) { kCriticalSection.Enter(name); }
    void CriticalSectionLeave() { kCriticalSection.Unlock(); }

    // Bytes of read-ahead blocks that all archives hold now; bounded whatever their number.
    static uint64_t QReadAheadBytes();

    // Seconds since 1970 of the file's last write, taken at open.
    int64_t GetArchiveFileTime() const { return iArchiveFileTime; }
    void SetArchiveFileTime(int64_t time) { iArchiveFileTime = time; }
    uint64_t QFileNamesOffset() const { return uiFileNamesOffset; }

    bool GetDisabled() const { return ucArchiveFlags & FLAG_DISABLED; }
    void SetDisabled(bool set) { SetArchiveFlag(FLAG_DISABLED, set); }
    bool GetPrimary() const { return ucArchiveFlags & FLAG_PRIMARY; }
    void SetPrimary(bool set) { SetArchiveFlag(FLAG_PRIMARY, set); }
    bool GetSecondary() const { return ucArchiveFlags & FLAG_SECONDARY; }
    void SetSecondary(bool set) { SetArchiveFlag(FLAG_SECONDARY, set); }
    bool GetHasDirectoryStrings() const { return ucArchiveFlags & FLAG_HAS_DIRECTORY_STRINGS; }
    void SetHasDirectoryStrings(bool set) { SetArchiveFlag(FLAG_HAS_DIRECTORY_STRINGS, set); }
    bool GetHasFileStrings() const { return ucArchiveFlags & FLAG_HAS_FILE_STRINGS; }
    void SetHasFileStrings(bool set) { SetArchiveFlag(FLAG_HAS_FILE_STRINGS, set); }

protected:
    // Unless Primary, these free what they name; they always clear the matching flag.
    void DeleteDirectoryStringArray();
    void DeleteFilenameStringArray(bool keepOffsets);
    void DeleteFileData();
    // When this archive's file was last written; false when the file is gone.
    bool PlatformGetLastWriteTime(_FILETIME* time) const;
    // Walks root + subPath recursively and drops the records of files newer than
    // archiveTime. Gives the number dropped.
    unsigned int InvalidateOlderFilesByPath(char const* root, char const* subPath,
                                            _FILETIME* archiveTime);

private:
    friend class ArchiveFile;
    friend class ArchiveManager;

    enum ARCHIVE_FLAGS : uint8_t
    {
        FLAG_DISABLED = 0x01,
        FLAG_PRIMARY = 0x04,
        FLAG_SECONDARY = 0x08,
        FLAG_HAS_DIRECTORY_STRINGS = 0x10,
        FLAG_HAS_FILE_STRINGS = 0x20,
    };
    static constexpr unsigned int uiNameScratchS = 256; // a name and its terminator

    void SetArchiveFlag(uint8_t flag, bool set)
    {
        ucArchiveFlags =
            static_cast<uint8_t>(set ? (ucArchiveFlags | flag) : (ucArchiveFlags & ~flag));
    }

    // Loading and its checks (ArchiveLoad.cpp).
    void Load(bool invalidateOthers);
    bool LoadTables(uint64_t fileSize);
    bool LoadDirectoryTable(uint64_t fileSize);
    bool LoadDirectoryBlock(uint64_t index, uint64_t fileSize, uint64_t& namesUsed);
    bool FitDirectoryName(uint64_t used, uint64_t length);
    bool LoadFileNames(uint64_t fileSize, uint64_t fileCount);
    bool ReadExact(void* dest, uint64_t size);
    void FreeAll();
    void BuildIndex();

    // Name fetches from disk (ArchiveStrings.cpp).
    bool ReadStreamAt(uint64_t position, void* dest, uint64_t size);
    char* FetchFileNameAt(uint64_t position);
    bool SkipFileNames(uint64_t count, uint64_t& position);

    // The pass at the end of a successful open (ArchiveInvalidation.cpp).
    void RunOpenPass(bool invalidateOthers);
    uint64_t InvalidateByPresence(uint64_t dirIndex);

    // The collision test (ArchiveLookup.cpp).
    bool DirectoryNameMatches(uint64_t dirIndex, char const* name);
    bool FileNameMatches(uint64_t dirIndex, uint64_t fileIndex, char const* name);

    // Member bytes at an absolute position (ArchiveReadAhead.cpp). A read that continues
    // the previous one is served from a block read ahead; any other read goes straight
    // into out with one positioned read and no lock, so readers on several threads do not
    // queue. Gives the bytes delivered.
    struct ReadAheadBlock;
    struct ReadPlan;
    uint64_t ReadMember(uint64_t position, char* out, uint64_t size);
    // Under the lock: which block serves the read, and what the read fetches itself.
    void PlanRead(uint64_t position, uint64_t size, ReadPlan& plan);
    uint64_t ReadFromDisk(uint64_t position, char* out, uint64_t size);
    // Reads the block at position. As the next block it is kept for the run (null back);
    // else it becomes current and comes back with a count held for the caller. Null when
    // it cannot be read, or at the file's end.
    ReadAheadBlock* FillReadAhead(uint64_t position, bool next);
    // Under the lock: block (or none) becomes current, the old one loses the archive's count.
    void SetReadAhead(ReadAheadBlock* block);
    static void DropReadAhead(ReadAheadBlock* block);
    void ReleaseReadAhead();

    // The shared stream, for the member readers; the caller holds the lock.
    bool SeekStreamTo(uint64_t position);
    uint64_t ReadStringAt(uint64_t position, VXStringT<char>& out, uint64_t maxBytes);
    uint64_t ReadStringAt(uint64_t position, VXStringT<VXWChar>& out, uint64_t maxBytes);

    int64_t iArchiveFileTime;                // seconds since 1970, at open
    uint64_t uiFileNamesOffset;              // of the file name table in the file
    VXCriticalSection kCriticalSection;      // the stream, its buffer, the disk fetches
    uint8_t ucArchiveFlags;                  // ARCHIVE_FLAGS
    VXArchiveIndex* pIndex;                  // pair of keys to record; null when absent
    char* pDirectoryStrings;                 // all directory names, when resident
    uint64_t* pDirectoryStringOffsets;       // per directory, into pDirectoryStrings
    uint64_t uiDirectoryNamesCapacity;       // bytes of pDirectoryStrings while loading
    char* pFileStrings;                      // the file name table, when resident
    uint64_t** pFileStringOffsets;           // per directory, per file, into the table
    char acDirectoryScratch[uiNameScratchS]; // directory name fetched last from disk
    char acFileScratch[uiNameScratchS];      // file name fetched last from disk
    ReadAheadBlock* pReadAhead;              // current block, under the lock; runs only
    ReadAheadBlock* pReadAheadNext;          // the one behind it, fetched ahead
    bool bFillingReadAhead;                  // a thread reads the next block, under the lock
    // Written by lookups and member reads on any thread: padded off the lines that they
    // only read, so that threads sharing an archive do not pull those from each other.
    char acHintsFront[64];
    std::atomic<uint64_t> uiLastDirectoryIndex; // hint: the directory found last
    std::atomic<uint64_t> uiLastFileIndex;      // hint: the file found last in it
    // Where the previous member read ended, and whether a block is held: both also read
    // without the lock, as hints that let a scattered read skip it.
    std::atomic<uint64_t> uiNextReadPos;
    std::atomic<bool> bReadAheadHeld;
    char acHintsBack[64];
};
