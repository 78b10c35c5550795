#include "vxsystem/VXFileSet.h"

#include "vxsystem/VXStringT.h"
#include "vxsystem/VXSystemDir.h"
#include "vxsystem/VXSystemFileStorage.h"

#include <cstring>

using namespace VXStorageDefs;

namespace
{
constexpr unsigned char kMagic[4] = {'V', 'T', 'A', 'R'};
constexpr uint16_t kVersion = 1;
constexpr unsigned int kMaxFiles = 0xFFFF;
constexpr uint64_t kCopyBlock = 0xA00000;
constexpr uint64_t kEntryOverhead = 10; // name length and file size

// One heap block for moving a file's content, no larger than the content needs.
class CopyBlock
{
public:
    explicit CopyBlock(uint64_t size)
        : pBlock(static_cast<unsigned char*>(
              MemoryManager::Instance().Allocate(size < kCopyBlock ? size : kCopyBlock)))
    {
    }
    ~CopyBlock() { MemoryManager::Instance().Deallocate(pBlock); }
    CopyBlock(CopyBlock const&) = delete;
    CopyBlock& operator=(CopyBlock const&) = delete;
    unsigned char* QPtr() const { return pBlock; }

private:
    unsigned char* pBlock;
};

// Moves size bytes from one storage to the other in copy-block steps; out's buffered
// bytes, if any, go first.
bool Copy(VXStorage const& from, VXStorage& to, uint64_t size)
{
    CopyBlock block(size);
    if (!block.QPtr())
        return false;
    for (uint64_t left = size; left != 0;)
    {
        uint64_t step = left < kCopyBlock ? left : kCopyBlock;
        if (from.Read(step, block.QPtr()) != STORAGE_OK ||
            to.WriteThrough(step, block.QPtr()) != STORAGE_OK)
            return false;
        left -= step;
    }
    return true;
}

// Bytes between the position and the end, 0 when the position stands at or past it.
uint64_t QBytesLeft(VXStorage const& storage)
{
    uint64_t size = storage.GetSize();
    uint64_t position = storage.GetPosition();
    return position < size ? size - position : 0;
}

bool ReadHeader(VXStorage& in, uint16_t& count)
{
    unsigned char magic[sizeof(kMagic)] = {};
    uint16_t version = 0;
    count = 0;
    if (in.Read(sizeof(magic), magic) != STORAGE_OK ||
        std::memcmp(magic, kMagic, sizeof(magic)) != 0)
        return false;
    if (in.ReadValue(version) != STORAGE_OK || version != kVersion)
        return false;
    return in.ReadValue(count) == STORAGE_OK;
}

VXFixedString FolderPrefix(char const* pFolder)
{
    size_t length = pFolder ? std::strlen(pFolder) : 0;
    if (length == 0)
        return VXFixedString();
    if (pFolder[length - 1] == '\\' || pFolder[length - 1] == '/')
        return VXFixedString(pFolder);
    VXStringT<char> prefix;
    if (!prefix.Format("%s/", pFolder))
        return VXFixedString();
    return VXFixedString(prefix.QString());
}
} // namespace

uint64_t VXFileSet::QEntrySize(VXFixedString const& name)
{
    uint64_t size = 0;
    if (VXSystemFile::GetSizeOfFile(name.QString(), size) != VXSystemFile::EC_OK)
        size = 0;
    return name.QLength() + kEntryOverhead + size;
}

uint64_t VXFileSet::QSize(FileList const& files)
{
    uint64_t size = sizeof(kMagic) + 2 * sizeof(uint16_t);
    for (unsigned int i = 0; i < files.QSize(); ++i)
        size += QEntrySize(files[i]);
    return size;
}

bool VXFileSet::Write(VXStorage& out, FileList const& files)
{
    if (files.QSize() > kMaxFiles)
        return false;
    uint32_t magic = 0;
    std::memcpy(&magic, kMagic, sizeof(magic));
    if (out.WriteValue(magic) != STORAGE_OK || out.WriteValue(kVersion) != STORAGE_OK ||
        out.WriteValue(static_cast<uint16_t>(files.QSize())) != STORAGE_OK)
        return false;
    for (unsigned int i = 0; i < files.QSize(); ++i)
        if (!WriteEntry(out, files[i]))
            return false;
    return true;
}

bool VXFileSet::WriteEntry(VXStorage& out, VXFixedString const& name)
{
    // The short string form holds at most 65535 characters.
    if (name.QLength() > 0xFFFF)
        return false;
    VXSystemFileStorage file(name.QString(), VXSystemFile::AM_READ, VXSystemFile::OM_EXISTING);
    uint64_t size = file.QGood() ? file.GetSize() : 0;
    if (out.WriteString(name.QString(), true) != STORAGE_OK || out.WriteValue(size) != STORAGE_OK)
        return false;
    return size == 0 || Copy(file, out, size);
}

bool VXFileSet::Read(VXStorage& in, char const* pFolder, VXStorage* pNameLog)
{
    uint16_t count = 0;
    if (!ReadHeader(in, count))
        return false;
    VXFixedString folder = FolderPrefix(pFolder);
    for (unsigned int i = 0; i < count; ++i)
        if (!ReadEntry(in, folder, pNameLog))
            return false;
    return true;
}

bool VXFileSet::ReadEntry(VXStorage& in, VXFixedString const& folder, VXStorage* pNameLog)
{
    VXFixedString name;
    uint64_t size = 0;
    if (in.ReadString(name, true) != STORAGE_OK || in.ReadValue(size) != STORAGE_OK)
        return false;
    if (!QRestorableName(name.QString()) ||
        size_t{folder.QLength()} + name.QLength() >= MAX_PATH_BYTES || size > QBytesLeft(in))
        return false;
    if (size == 0)
        return true;
    if (pNameLog)
        pNameLog->WriteString(name.QString(), true);
    VXStaticStringT<MAX_PATH_BYTES> path;
    path.Format("%s%s", folder.QString(), name.QString());
    if (!VXSystemDir::MakeEntireDirPath(path.QString()))
        return false;
    VXSystemFileStorage file(path.QString(), VXSystemFile::AM_WRITE,
                             VXSystemFile::OM_CREATE_ALWAYS);
    return file.QGood() && Copy(in, file, size);
}
