#include "vxawriter/VXArchiveWriter.h"

#include "vxsystem/ArchiveManager.h"
#include "vxsystem/VXArchive.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{
constexpr uint64_t kMaxOffset = 0x7FFFFFFF;     // offset bits of a file record
constexpr uint64_t kMaxStoredSize = 0x3FFFFFFF; // size bits of a file record
constexpr size_t kMaxNameBytes = 255;           // a length byte; the reader's 256-byte scratch

bool KeyLess(VXHash const& a, VXHash const& b)
{
    return a.Hash() < b.Hash();
}

void Put32(std::vector<uint8_t>& out, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

void Put64(std::vector<uint8_t>& out, size_t at, uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        out[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

bool SameTextNoCase(std::string const& a, std::string const& b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](char x, char y)
                      {
                          return std::tolower(static_cast<unsigned char>(x)) ==
                                 std::tolower(static_cast<unsigned char>(y));
                      });
}
} // namespace

// Where the archive's bytes go: positioned writes into a file or into memory.
class VXArchiveSink
{
public:
    virtual ~VXArchiveSink() = default;
    virtual bool WriteAt(uint64_t offset, void const* data, size_t size) = 0;
};

namespace
{
class FileSink : public VXArchiveSink
{
public:
    explicit FileSink(std::string const& path) : pFile(std::fopen(path.c_str(), "wb")) {}
    ~FileSink() override { Close(); }
    bool Good() const { return pFile != nullptr; }
    bool Close()
    {
        bool ok = pFile && std::fclose(pFile) == 0;
        pFile = nullptr;
        return ok;
    }
    bool WriteAt(uint64_t offset, void const* data, size_t size) override
    {
        if (!pFile || fseeko(pFile, static_cast<off_t>(offset), SEEK_SET) != 0)
            return false;
        return size == 0 || std::fwrite(data, 1, size, pFile) == size;
    }

private:
    FILE* pFile;
};

class MemorySink : public VXArchiveSink
{
public:
    explicit MemorySink(std::vector<uint8_t>& out) : kOut(out) { kOut.clear(); }
    bool WriteAt(uint64_t offset, void const* data, size_t size) override
    {
        if (kOut.size() < offset + size)
            kOut.resize(offset + size);
        if (size)
            std::memcpy(kOut.data() + offset, data, size);
        return true;
    }

private:
    std::vector<uint8_t>& kOut;
};
} // namespace

VXArchiveWriter::VXArchiveWriter(VXArchiveWriterOptions const& options) : kOptions(options) {}

bool VXArchiveWriter::Fail(std::string const& message)
{
    sError = message;
    return false;
}

bool VXArchiveWriter::CheckName(std::string const& path)
{
    if (path.empty() || path.front() == '\\' || path.back() == '\\')
        return Fail("not a relative file name: '" + path + "'");
    if (path.find(':') != std::string::npos || path.find('\0') != std::string::npos)
        return Fail("not a relative file name: '" + path + "'");
    std::string lowered = path;
    for (char& c : lowered)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!kNamesAdded.insert(lowered).second)
        return Fail("added twice: '" + path + "'");
    return true;
}

bool VXArchiveWriter::AddFile(std::string const& path, void const* data, size_t size,
                              MemberCompression compression)
{
    std::string bytes(static_cast<char const*>(data), static_cast<char const*>(data) + size);
    return AddFile(path, bytes, compression);
}

bool VXArchiveWriter::AddFile(std::string const& path, std::string const& bytes,
                              MemberCompression compression)
{
    std::string name = path;
    std::replace(name.begin(), name.end(), '/', '\\');
    Member member;
    size_t slash = name.rfind('\\');
    member.sDirectory = slash == std::string::npos ? "." : name.substr(0, slash);
    member.sFileName = slash == std::string::npos ? name : name.substr(slash + 1);
    if (member.sDirectory.size() + 1 > kMaxNameBytes || member.sFileName.size() > kMaxNameBytes)
        return Fail("name too long for the format: '" + name + "'");
    if (!CheckName(name))
        return false;
    member.sPath = name;
    VXHash::MakeDirAndFile(name.c_str(), member.kDirectory, member.kFile);
    member.sBytes = bytes;
    bool byDefault = (kOptions.uiFlags & VXArchiveHeader::AF_COMPRESSED) != 0;
    member.bCompressed = compression == MC_DEFAULT ? byDefault : compression == MC_COMPRESSED;
    kMembers.push_back(std::move(member));
    return true;
}

bool VXArchiveWriter::AddDiskFile(std::string const& path, std::string const& diskPath,
                                  MemberCompression compression)
{
    if (!AddFile(path, std::string(), compression))
        return false;
    kMembers.back().sDiskPath = diskPath;
    return true;
}

bool VXArchiveWriter::AddFolder(std::string const& folder, MemberCompression compression)
{
    std::error_code error;
    std::filesystem::recursive_directory_iterator it(folder, error);
    if (error)
        return Fail("cannot list '" + folder + "'");
    for (auto const& entry : it)
    {
        if (!entry.is_regular_file())
            continue;
        std::string relative =
            std::filesystem::relative(entry.path(), folder, error).generic_string();
        if (error || !AddDiskFile(relative, entry.path().string(), compression))
            return error ? Fail("cannot name '" + entry.path().string() + "'") : false;
    }
    return true;
}

bool VXArchiveWriter::LoadBytes(Member const& member, std::string& bytes)
{
    if (member.sDiskPath.empty())
    {
        bytes = member.sBytes;
        return true;
    }
    std::ifstream in(member.sDiskPath, std::ios::binary);
    if (!in)
        return Fail("cannot read '" + member.sDiskPath + "'");
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

// The member's stored form: embedded name, inflated size, then the raw or deflated bytes.
bool VXArchiveWriter::EncodeMember(Member const& member, std::string& stored, uint64_t& sourceSize)
{
    std::string bytes;
    if (!LoadBytes(member, bytes))
        return false;
    sourceSize = bytes.size();
    stored.clear();
    bool embedded = (kOptions.uiFlags & VXArchiveHeader::AF_EMBEDDED_FILE_NAMES) &&
                    kOptions.uiVersion >= VXArchiveHeader::FIRST_EMBEDDED_NAMES_VERSION;
    if (embedded)
    {
        stored.push_back(static_cast<char>(member.sFileName.size()));
        stored += member.sFileName;
    }
    if (!member.bCompressed)
    {
        stored += bytes;
        return true;
    }
    for (int i = 0; i < 8; ++i)
        stored.push_back(static_cast<char>(static_cast<uint64_t>(bytes.size()) >> (8 * i)));
    size_t head = stored.size();
    uLongf packed = compressBound(static_cast<uLong>(bytes.size()));
    stored.resize(head + packed);
    int result = compress2(reinterpret_cast<Bytef*>(stored.data() + head), &packed,
                           reinterpret_cast<Bytef const*>(bytes.data()),
                           static_cast<uLong>(bytes.size()), kOptions.iCompressionLevel);
    if (result != Z_OK)
        return Fail("zlib failed on '" + member.sPath + "'");
    stored.resize(head + packed);
    return true;
}

// Sorts the members and lays out header, directory table, blocks and name table, with
// the file records' size and offset words left for WriteAll.
bool VXArchiveWriter::BuildTables(std::vector<uint8_t>& tables)
{
    std::sort(kMembers.begin(), kMembers.end(),
              [](Member const& a, Member const& b)
              {
                  if (a.kDirectory.Hash() != b.kDirectory.Hash())
                      return KeyLess(a.kDirectory, b.kDirectory);
                  return KeyLess(a.kFile, b.kFile);
              });
    std::vector<size_t> firstOfDirectory;
    for (size_t i = 0; i < kMembers.size(); ++i)
    {
        Member const& member = kMembers[i];
        bool newDirectory = i == 0 || member.kDirectory.Hash() != kMembers[i - 1].kDirectory.Hash();
        if (newDirectory)
        {
            firstOfDirectory.push_back(i);
            continue;
        }
        Member const& previous = kMembers[i - 1];
        if (!SameTextNoCase(member.sDirectory, previous.sDirectory))
            return Fail("directory keys collide: '" + member.sDirectory + "' and '" +
                        previous.sDirectory + "'");
        if (member.kFile.Hash() == previous.kFile.Hash())
            return Fail("file keys collide: '" + member.sPath + "' and '" + previous.sPath + "'");
    }
    firstOfDirectory.push_back(kMembers.size());

    uint32_t flags = kOptions.uiFlags;
    bool dirStrings = flags & VXArchiveHeader::AF_DIRECTORY_STRINGS;
    bool fileStrings = flags & VXArchiveHeader::AF_FILE_STRINGS;
    size_t directoryCount = firstOfDirectory.size() - 1;
    VXArchiveHeader header;
    header.SetVersion(kOptions.uiVersion);
    header.SetFlag(flags, true);
    header.SetDirectoryCount(static_cast<uint32_t>(directoryCount));
    header.SetFileCount(static_cast<uint32_t>(kMembers.size()));
    uint16_t type = kOptions.usArchiveType;
    if (type == 0)
    {
        ArchiveManager::SortArchiveTypeExtensions();
        for (Member const& member : kMembers)
            type |= static_cast<uint16_t>(
                ArchiveManager::GetArchiveTypeFromFileName(member.sFileName.c_str()));
    }
    header.SetArchiveType(type);

    kLayout = VXArchiveLayout();
    tables.assign(VXArchiveHeader::HEADER_SIZE + 24 * directoryCount, 0);
    std::vector<uint8_t> names;
    for (size_t d = 0; d < directoryCount; ++d)
    {
        Member const& first = kMembers[firstOfDirectory[d]];
        uint32_t count = static_cast<uint32_t>(firstOfDirectory[d + 1] - firstOfDirectory[d]);
        size_t record = VXArchiveHeader::HEADER_SIZE + 24 * d;
        Put64(tables, record, first.kDirectory.Hash());
        Put32(tables, record + 8, count);
        kLayout.kDirectoryBlockOffsets.push_back(tables.size());
        if (dirStrings)
        {
            tables.push_back(static_cast<uint8_t>(first.sDirectory.size() + 1));
            tables.insert(tables.end(), first.sDirectory.begin(), first.sDirectory.end());
            tables.push_back(0);
            header.IncrementDirectoryNamesLength(
                static_cast<uint32_t>(first.sDirectory.size() + 1));
        }
        for (size_t m = firstOfDirectory[d]; m < firstOfDirectory[d + 1]; ++m)
        {
            Member const& member = kMembers[m];
            VXArchiveLayout::Member placed{member.sPath, tables.size(), 0, 0, member.bCompressed};
            kLayout.kMembers.push_back(placed);
            tables.resize(tables.size() + 16, 0);
            Put64(tables, placed.uiRecordOffset, member.kFile.Hash());
            names.insert(names.end(), member.sFileName.begin(), member.sFileName.end());
            names.push_back(0);
        }
    }
    kLayout.uiFileNameTableOffset = tables.size();
    if (fileStrings)
    {
        tables.insert(tables.end(), names.begin(), names.end());
        header.IncrementFileNamesLength(static_cast<uint32_t>(names.size()));
    }
    kLayout.uiDataOffset = tables.size();
    std::memcpy(tables.data(), &header, sizeof(header));
    return true;
}

bool VXArchiveWriter::WriteAll(VXArchiveSink& sink)
{
    std::vector<uint8_t> tables;
    if (!BuildTables(tables))
        return false;
    bool compressedByDefault = kOptions.uiFlags & VXArchiveHeader::AF_COMPRESSED;
    uint64_t offset = tables.size();
    std::string stored;
    uint64_t sourceDone = 0;
    for (size_t i = 0; i < kMembers.size(); ++i)
    {
        uint64_t sourceSize = 0;
        if (!EncodeMember(kMembers[i], stored, sourceSize))
            return false;
        if (stored.size() > kMaxStoredSize || offset + stored.size() > kMaxOffset)
            return Fail("archive too large for the format at '" + kMembers[i].sPath + "'");
        VXArchiveLayout::Member& placed = kLayout.kMembers[i];
        placed.uiDataOffset = offset;
        placed.uiStoredSize = static_cast<uint32_t>(stored.size());
        uint32_t sizeWord = placed.uiStoredSize;
        if (kMembers[i].bCompressed != compressedByDefault)
            sizeWord |= VXFileEntry::COMPRESSION_TOGGLE;
        Put32(tables, placed.uiRecordOffset + 8, sizeWord);
        Put32(tables, placed.uiRecordOffset + 12, static_cast<uint32_t>(offset));
        if (!sink.WriteAt(offset, stored.data(), stored.size()))
            return Fail("write failed");
        offset += stored.size();
        if (fnProgress)
            fnProgress(i + 1, sourceDone += sourceSize);
    }
    kLayout.uiFileSize = offset;
    if (!sink.WriteAt(0, tables.data(), tables.size()))
        return Fail("write failed");
    return true;
}

bool VXArchiveWriter::Write(std::string const& archivePath)
{
    FileSink sink(archivePath);
    if (!sink.Good())
        return Fail("cannot create '" + archivePath + "'");
    bool written = WriteAll(sink);
    bool closed = sink.Close();
    if (written && !closed)
        return Fail("cannot finish '" + archivePath + "'");
    return written;
}

bool VXArchiveWriter::WriteToMemory(std::vector<uint8_t>& out)
{
    MemorySink sink(out);
    return WriteAll(sink);
}
