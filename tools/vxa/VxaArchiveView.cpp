#include "VxaArchiveView.h"

#include "vxsystem/Archive.h"
#include "vxsystem/ArchiveFile.h"
#include "vxsystem/ArchiveManager.h"
#include "vxsystem/VXHash.h"
#include "vxsystem/WildCard.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <zlib.h>

namespace
{
std::string KeyName(char const* kind, uint64_t key)
{
    char text[40];
    std::snprintf(text, sizeof(text), "%s#%016" PRIx64, kind, key);
    return text;
}

// A raw reader starts behind an embedded name, which its size still counts; a compressed
// one gives the inflated size and keeps its position in stored bytes.
uint64_t ContentSize(ArchiveFile& reader, VxaMember const& member)
{
    return member.bCompressed ? reader.GetSize() : reader.GetSize() - reader.Tell();
}

bool LessNoCase(VxaMember const& a, VxaMember const& b)
{
    return std::lexicographical_compare(
        a.sPath.begin(), a.sPath.end(), b.sPath.begin(), b.sPath.end(),
        [](char x, char y) { return std::tolower(uint8_t(x)) < std::tolower(uint8_t(y)); });
}
} // namespace

VxaArchiveView::VxaArchiveView() = default;
VxaArchiveView::~VxaArchiveView() = default;

bool VxaArchiveView::Open(std::string const& path, std::string& reason)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
    {
        reason = "no such file";
        return false;
    }
    // A tool reads every name and never drops records for loose twins.
    ArchiveManager::Init(true, "", nullptr, 0x20000);
    ArchiveManager::SetInvalidateOlderFiles(false);
    ArchiveManager::SetRetainTables(2, 2, 2);
    pArchive.reset(new Archive(path.c_str(), 0x20000, false, false));
    if (!pArchive->FileIsGood())
    {
        reason = "cannot be read";
        return false;
    }
    if (pArchive->GetDisabled())
    {
        reason = "not a valid archive: the reader refused its header or tables";
        return false;
    }
    sPath = path;
    bEmbeddedNames = pArchive->QEmbeddedFileNames();
    Collect();
    return true;
}

void VxaArchiveView::Collect()
{
    Archive& archive = *pArchive;
    for (uint64_t d = 0; VXDirectoryEntry* dir = archive.GetDirectory(d); ++d)
    {
        char const* dirName = archive.GetDirectoryString(d);
        std::string prefix = dirName ? dirName : KeyName("dir", dir->kHash.Hash());
        prefix = (prefix == "." || prefix.empty()) ? "" : prefix + "\\";
        for (uint64_t f = 0; f < dir->uiEntryCount; ++f)
        {
            VXFileEntry const& entry = dir->pEntries[f];
            char const* fileName = archive.GetFileString(d, f);
            VxaMember member;
            member.sPath = prefix + (fileName ? fileName : KeyName("file", entry.kHash.Hash()));
            member.uiDirectory = d;
            member.uiFile = f;
            member.uiStoredSize = entry.QSize();
            member.uiOffset = entry.QOffset();
            member.bCompressed = entry.QCompressionToggle() != archive.QCompressed();
            member.bNamed = dirName && fileName;
            member.uiDirKey = dir->kHash.Hash();
            member.uiFileKey = entry.kHash.Hash();
            kMembers.push_back(member);
        }
    }
    std::stable_sort(kMembers.begin(), kMembers.end(), LessNoCase);
}

std::string VxaArchiveView::CheckKeys(VxaMember const& member)
{
    if (!member.bNamed)
        return {};
    VXHash dir, file;
    VXHash::MakeDirAndFile(member.sPath.c_str(), dir, file);
    if (dir.Hash() != member.uiDirKey)
        return "the directory key does not belong to its stored name";
    if (file.Hash() != member.uiFileKey)
        return "the file key does not belong to its stored name";
    return {};
}

std::string VxaArchiveView::CheckStream(VxaMember const& member)
{
    if (!member.bCompressed)
        return {};
    std::string stored(member.uiStoredSize, '\0');
    std::ifstream in(sPath, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(member.uiOffset));
    if (!in.read(stored.data(), static_cast<std::streamsize>(stored.size())))
        return "stored bytes run past the end of the file";
    size_t head = bEmbeddedNames && !stored.empty() ? 1 + uint8_t(stored[0]) : 0;
    if (stored.size() < head + 8)
        return "too short for its inflated size";
    uint64_t size = 0;
    for (int i = 7; i >= 0; --i)
        size = size << 8 | uint8_t(stored[head + i]);
    // Sizes come from the record's 30 bits, so this buffer stays small enough to allocate.
    std::string inflated(static_cast<size_t>(std::min<uint64_t>(size, 1ull << 32)), '\0');
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return "zlib cannot start";
    stream.next_in = reinterpret_cast<Bytef*>(stored.data() + head + 8);
    stream.avail_in = static_cast<uInt>(stored.size() - head - 8);
    stream.next_out = reinterpret_cast<Bytef*>(inflated.data());
    stream.avail_out = static_cast<uInt>(inflated.size());
    int result = inflate(&stream, Z_FINISH);
    uint64_t produced = stream.total_out;
    inflateEnd(&stream);
    if (result != Z_STREAM_END)
        return result == Z_DATA_ERROR ? "corrupt zlib stream (data or checksum)"
                                      : "zlib stream longer than its inflated size";
    if (produced != size)
        return "zlib stream shorter than its inflated size";
    if (stream.avail_in != 0)
        return "bytes left over behind the zlib stream";
    return {};
}

uint64_t VxaArchiveView::QSize(VxaMember const& member)
{
    std::unique_ptr<ArchiveFile> reader(
        pArchive->GetFile(member.uiDirectory, member.uiFile, 0, member.sPath.c_str()));
    return reader ? ContentSize(*reader, member) : 0;
}

bool VxaArchiveView::Read(VxaMember const& member, std::string& out, std::string& reason)
{
    out.clear();
    std::unique_ptr<ArchiveFile> reader(
        pArchive->GetFile(member.uiDirectory, member.uiFile, 0, member.sPath.c_str()));
    if (!reader)
    {
        reason = "the record holds no readable member";
        return false;
    }
    uint64_t size = ContentSize(*reader, member);
    out.resize(size);
    uint64_t got = size ? reader->Read(out.data(), size) : 0;
    if (got != size)
    {
        char text[96];
        std::snprintf(text, sizeof(text), "%s: %" PRIu64 " of %" PRIu64 " bytes",
                      member.bCompressed ? "corrupt compressed data" : "data cut short", got, size);
        reason = text;
        out.resize(got);
        return false;
    }
    return true;
}

bool VxaNameClimbsOut(std::string const& path)
{
    if (path.empty() || path[0] == '\\' || path[0] == '/' || path.find(':') != std::string::npos)
        return true;
    size_t start = 0;
    while (start <= path.size())
    {
        size_t end = path.find_first_of("\\/", start);
        if (end == std::string::npos)
            end = path.size();
        if (path.compare(start, end - start, "..") == 0 && end - start == 2)
            return true;
        start = end + 1;
    }
    return false;
}

bool VxaMatches(std::string const& pattern, std::string const& path)
{
    // The whole path counts, extension included, so "meshes\\*" picks a folder.
    return pattern.empty() ||
           WildCard::Match(path.c_str(), pattern.c_str(),
                           WildCard::WILDCARD_KEEP_PATH | WildCard::WILDCARD_KEEP_EXTENSION);
}
