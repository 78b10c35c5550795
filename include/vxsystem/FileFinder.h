// FileFinder: the one front door that turns a relative name into a working file object.
// It asks the open archives first, then the working directory, then the search paths,
// and installs itself as KoFile's file factory and access test, so that every
// KoFile::GetFile in the process comes here. A singleton by convention; the path list is
// set up before searches begin, after which searches may run on any thread.
#pragma once

#include "vxsystem/KoFile.h"
#include "vxsystem/VXTArray.h"

class FileFinder : public VXHeapObject
{
public:
    enum FILE_LOCATION
    {
        FILE_NOT_FOUND = 0,  // nothing serves this name
        FILE_ON_DISK = 1,    // a loose file; the result path opens directly
        FILE_IN_ARCHIVE = 2, // an archive member; the result path is the name
    };

    // Each set bit removes a source from the search.
    static constexpr unsigned int SEARCH_NO_ARCHIVES = 0x1;
    static constexpr unsigned int SEARCH_NO_CWD = 0x2;
    static constexpr unsigned int SEARCH_NO_PATHS = 0x4;
    static constexpr unsigned int ARCHIVE_TYPE_ALL = 0xFFFF;

    static FileFinder* pFinder;  // the singleton; null until the first construction
    static int iFileLogging;     // logging level given at construction
    static bool bUseDDXTextures; // kept for the host; no search decision rests on it

    // The first argument is not read. Becomes the singleton unless one exists, and
    // installs the file factory and access test at every construction.
    FileFinder(char const* unused, int fileLogging, bool useDDXTextures);
    ~FileFinder();
    FileFinder(FileFinder const&) = delete;
    FileFinder& operator=(FileFinder const&) = delete;

    // The singleton; only valid while one exists.
    static FileFinder& Finder() { return *pFinder; }
    // Destroys the singleton, if any.
    static void Close();

    static void AddPath(char const* path);
    static void RemovePath(unsigned int index);
    static unsigned int GetNumPaths();
    static char const* GetPath(unsigned int index);
    void _AddPath(char const* path);
    void _RemovePath(unsigned int index);
    unsigned int NumPaths() const { return kPaths.QSize(); }
    char const* Path(unsigned int index) const;

    // The search. pOutPath, when given, must hold MAX_PATH_BYTES and receives the path
    // that serves the name (empty when nothing does).
    FILE_LOCATION Exist(char const* name, char* pOutPath, unsigned int uiSearchFlags,
                        unsigned int uiArchiveType);
    static FILE_LOCATION Locate(char const* name, char* pOutPath, unsigned int uiSearchFlags,
                                unsigned int uiArchiveType);
    // The search proper on a prepared name in a MAX_PATH_BYTES buffer, which it may
    // rewrite to the path found.
    FILE_LOCATION LookForFile(char* name, unsigned int uiSearchFlags, unsigned int uiArchiveType);
    FILE_LOCATION LookForFile(char* name, unsigned int uiSearchFlags);
    bool SearchCWD(int uiSearchFlags, int uiArchiveType) const;
    bool SearchAlternateSubdirectories(int uiSearchFlags, int uiArchiveType) const;

    // Finds and opens; null when nothing serves the name. The caller owns the result.
    static KoFile* GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize,
                           unsigned int uiArchiveType);
    static KoFile* GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize);
    // Whether the name can be opened in this mode.
    static bool AccessFile(char const* name, KoFile::OpenMode mode);
    // The path of pRelative as seen from the file pBase; pOut holds MAX_PATH_BYTES.
    static void CombineFileNames(char* pBase, char* pRelative, char* pOut);
    // Last write time of what serves the name: for an archive member, its archive's file.
    // Zero and false when nothing does.
    static bool GetFileTime(char const* name, _FILETIME& time, unsigned int uiArchiveType);
    static bool GetFileTime(char const* name, _FILETIME& time);

protected:
    // Last write time of the first match on disk; false and no write when there is none.
    static bool PlatformGetFileTime(char const* path, _FILETIME& time);

private:
    // The archive stage in front of the loose search: true settles the search as
    // FILE_IN_ARCHIVE; otherwise it may rewrite the flags that the loose search obeys.
    bool LookInArchives(char* name, unsigned int& uiSearchFlags, unsigned int uiArchiveType);
    static KoFile* GetArchiveFile(char const* name, unsigned int uiBufferSize,
                                  unsigned int uiArchiveType);

    VXTArray<char*> kPaths; // search paths in order added, each owned, ending in '\'
};
