// VXSystemDir: walks the entries of one folder ("." and ".." included, in the platform's
// order), giving name, kind, times and size of each; failures use VXSystemFile's codes. Two statics
// create folders. One pass per object: the object holds the platform's listing from construction to
// destruction. Not shared: an object belongs to one thread. Names may use either separator and any
// letter case.
#pragma once

#include "vxsystem/VXSystemFile.h"

class VXSystemDir
{
public:
    // The current entry as the platform reported it.
    struct FindData
    {
        uint32_t uiAttributes;       // 0x10 a folder, 0x80 a plain file, 0 anything else
        _FILETIME ftCreation;        // birth time where the file system keeps one, else last write
        _FILETIME ftLastAccess;      // last access, as the file system keeps it
        _FILETIME ftLastWrite;       // last change of the content
        uint32_t uiSizeHigh;         // size in bytes, high half; 0 for all but plain files
        uint32_t uiSizeLow;          // size in bytes, low half
        char acName[MAX_PATH_BYTES]; // the entry's name, without its folder
    };

    // Opens the listing; QLastError tells the outcome (EC_PATH_NOT_FOUND for null).
    explicit VXSystemDir(char const* folder);
    ~VXSystemDir();
    VXSystemDir(VXSystemDir const&) = delete;
    VXSystemDir& operator=(VXSystemDir const&) = delete;

    // Steps to the next entry. The first call hands out the entry the open found, or the
    // open's failure, with finished false: the caller has to look at the code. The clean
    // end is finished true with EC_OK. A failure while walking stays in QLastError and is
    // returned by every later call.
    VXSystemFile::ErrorCode NextEntry(bool& finished);

    char const* QName() const { return sFindData.acName; }
    bool QDirectory() const { return (sFindData.uiAttributes & ATTRIBUTE_DIRECTORY) != 0; }
    bool QRegular() const { return (sFindData.uiAttributes & ATTRIBUTE_REGULAR_MASK) != 0; }
    // Times and size of the current entry; always true.
    bool GetInfo(VXSystemFile::Info& info) const;
    VXSystemFile::ErrorCode QLastError() const { return eLastError; }

    static char QSeparator() { return cSep; }
    // Creates one folder. EC_ALREADY_EXISTS when it is there, EC_PATH_NOT_FOUND when the
    // folder above it is missing.
    static VXSystemFile::ErrorCode MakeDir(char const* path);
    // Creates every folder on the path; the part behind the last separator is a file name
    // and is not created. True when all exist afterwards. False for null, or a path of 260
    // characters or more, with nothing created.
    static bool MakeEntireDirPath(char const* path);

private:
    static constexpr char cSep = '\\';
    static constexpr uint32_t ATTRIBUTE_DIRECTORY = 0x10;
    static constexpr uint32_t ATTRIBUTE_NORMAL = 0x80;
    // archive, normal and sparse: what the platform sets on plain files
    static constexpr uint32_t ATTRIBUTE_REGULAR_MASK = 0x2A0;

    VXSystemFile::ErrorCode DoOpen(char const* folder);
    VXSystemFile::ErrorCode DoClose();
    VXSystemFile::ErrorCode FindFirst();
    // The next entry that the pattern's last part lets through: 0, a platform error
    // number, or the platform's end-of-listing value.
    int FindNext();
    void FillEntry(char const* name, size_t length);
    bool QFindValid() const { return hFind != nullptr; }

    char acPattern[MAX_PATH_BYTES]; // the search pattern: the folder joined with "*"
    void* hFind;                    // the platform's listing; null when none
    FindData sFindData;             // the current entry
    bool bFirstEntry;               // the entry the open found is not handed out yet
    VXSystemFile::ErrorCode eLastError;
};
