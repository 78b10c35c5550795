// One archive opened with the library's own reader, for the inspecting commands: its
// members with names, sizes and compression, and their bytes. Names the archive does not
// store are shown as the keys that stand for them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class Archive;

struct VxaMember
{
    std::string sPath;     // directory and file name with backslashes
    uint64_t uiDirectory;  // index in the directory table
    uint64_t uiFile;       // index in that directory's records
    uint64_t uiStoredSize; // bytes in the archive
    uint64_t uiOffset;     // of the member's data
    bool bCompressed;      // a zlib stream
    bool bNamed;           // sPath comes from stored names, not from keys
    uint64_t uiDirKey;     // the record's keys, as stored
    uint64_t uiFileKey;
};

class VxaArchiveView
{
public:
    VxaArchiveView();
    ~VxaArchiveView();

    // False with a reason when the file is missing or the reader refuses it.
    bool Open(std::string const& path, std::string& reason);
    // Every member, sorted by path without regard to case.
    std::vector<VxaMember> const& QMembers() const { return kMembers; }
    // The member's bytes as a host reads them (inflated); false with a reason when the
    // reader gives fewer bytes than the member holds.
    bool Read(VxaMember const& member, std::string& out, std::string& reason);
    // Empty when the member's stored names give its stored keys, else what differs.
    static std::string CheckKeys(VxaMember const& member);
    // For a compressed member, whether its stream is whole: it ends where the member ends,
    // its checksum holds, and it expands to the size stored before it. Empty when sound.
    std::string CheckStream(VxaMember const& member);
    // The member's size as read (inflated), 0 when no reader can be made.
    uint64_t QSize(VxaMember const& member);

private:
    void Collect();

    std::string sPath;
    bool bEmbeddedNames = false;
    std::unique_ptr<Archive> pArchive;
    std::vector<VxaMember> kMembers;
};

// Whether a stored name would leave the folder it is extracted to: absolute, a drive, or
// a ".." component, with either separator.
bool VxaNameClimbsOut(std::string const& path);
// Case-blind wildcard match of a member path ("*" and "?"), or true for an empty pattern.
bool VxaMatches(std::string const& pattern, std::string const& path);
