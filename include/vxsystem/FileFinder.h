// FileFinder: the one front door that turns a relative name into a working file object.
// It asks the open archives first, then the working directory, then the search paths,
// and installs itself as KoFile's file factory and access test, so that every
// KoFile::GetFile in the process comes here. A singleton by convention. Searches may run
// on any thread, but only once the host has finished adding and removing paths.
#pragma once

#include "vxsystem/KoFile.h"
#include "vxsystem/VXFixedString.h"
#include "vxsystem/VXSimpleList.h"
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
    // Searches for an already prepared name held in a MAX_PATH_BYTES buffer; on success
    // the buffer holds the path that was found.
    FILE_LOCATION LookForFile(char* name, unsigned int uiSearchFlags, unsigned int uiArchiveType);
    FILE_LOCATION LookForFile(char* name, unsigned int uiSearchFlags);
    bool SearchCWD(int uiSearchFlags, int uiArchiveType) const;
    bool SearchAlternateSubdirectories(int uiSearchFlags, int uiArchiveType) const;

    // Finds and opens; null if no source has the name. The result is the caller's.
    static KoFile* GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize,
                           unsigned int uiArchiveType);
    static KoFile* GetFile(char const* name, KoFile::OpenMode mode, unsigned int uiBufferSize);
    // The logging hook, reached by GetFile after each lookup for reading whose path is not
    // empty. Silent while iFileLogging is 0; otherwise it hands the outcome, with the
    // calling thread's id, to the host's log function, if one is set.
    using GetstringLogFunc = void (*)(FILE_LOCATION location, char const* path, bool opened,
                                      uint32_t threadId);
    static void OutputGetstring(FILE_LOCATION location, char* path, bool opened);
    static void SetGetstringLogFunc(GetstringLogFunc func) { spGetstringLog = func; }
    // Whether the name can be opened in this mode.
    static bool AccessFile(char const* name, KoFile::OpenMode mode);
    // The path of pRelative as seen from the file pBase; pOut holds MAX_PATH_BYTES.
    static void CombineFileNames(char* pBase, char* pRelative, char* pOut);
    // Last write time of what serves the name: for an archive member, its archive's file.
    // Zero and false when nothing does.
    static bool GetFileTime(char const* name, _FILETIME& time, unsigned int uiArchiveType);
    static bool GetFileTime(char const* name, _FILETIME& time);

    // Names matching path (a pattern with '*' or '?'; a plain path goes to
    // BuildSingleFileList), each as prefix's directory part followed by the file name,
    // added at the head of list (a null list makes a new one). Loose files are listed
    // when they can matter: archives off, or loose files overriding members. A list
    // that ends up empty is freed, list included, and null returned.
    static VXSimpleList<char const*>* BuildFileList(char const* path, char const* prefix,
                                                    unsigned int uiArchiveType,
                                                    VXSimpleList<char const*>* list);
    static VXSimpleList<char const*>* BuildFileList(char const* path, char const* prefix);
    static VXSimpleList<char const*>* BuildSingleFileList(char const* path, char const* prefix,
                                                          unsigned int uiArchiveType,
                                                          VXSimpleList<char const*>* list);
    static VXSimpleList<char const*>* BuildSingleFileList(char const* path, char const* prefix,
                                                          VXSimpleList<char const*>* list);
    // The disk matches of path as pooled names under path's folder; true when any.
    static bool BuildFileArray(char const* path, VXTArray<VXFixedString>& out);
    // Frees the names, the nodes and the list, and nulls the pointer.
    static void DeleteFileNameList(VXSimpleList<char const*>*& list);

protected:
    // The disk matches of path, folders included, added under prefix's directory part;
    // the number added.
    static unsigned int PlatformBuildFileList(char const* path, char const* prefix,
                                              VXSimpleList<char const*>* list);
    static bool PlatformFindSingleFile(char const* path);
    // Modification time of the first loose match; false, time untouched, if none.
    static bool PlatformGetFileTime(char const* path, _FILETIME& time);

private:
    // The archive stage in front of the loose search: true settles the search as
    // FILE_IN_ARCHIVE; otherwise it may rewrite the flags that the loose search obeys.
    bool LookInArchives(char* name, unsigned int& uiSearchFlags, unsigned int uiArchiveType);
    static KoFile* GetArchiveFile(char const* name, unsigned int uiBufferSize,
                                  unsigned int uiArchiveType);

    static GetstringLogFunc spGetstringLog; // the host's log; null when none

    VXTArray<char*> kPaths; // search paths in order added, each owned, ending in '\'
};
