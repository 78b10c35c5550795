// PageFile: header handling, page allocation and whole-page transfers over the system
// file's platform half. No platform call here.
#include "vxsystem/VXPageFile.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace VXBTreeFile
{
namespace
{
// Page 0 has to hold the header, so no page is smaller than it.
bool IsPageSize(unsigned int size)
{
    return size >= 16 && std::has_single_bit(size);
}

void Put32(unsigned char* at, unsigned int value)
{
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * i));
}

unsigned int Get32(unsigned char const* at)
{
    return at[0] | at[1] << 8 | at[2] << 16 | static_cast<unsigned int>(at[3]) << 24;
}
} // namespace

PageFile::PageFile(char const* name, unsigned int pageSize, unsigned int uiInitialSize,
                   VXSystemFile::AccessMode access, VXSystemFile::OpenMode open)
    : uiAcquireCount(0), uiFileSize(0), uiNextPageOffset(0), uiPageSize(pageSize),
      uiPageShift(static_cast<unsigned int>(std::countr_zero(pageSize))), uiSeeks(0), uiReads(0),
      uiWrites(0), bValid(false)
{
    bool create = open == OM_CREATE_ALWAYS || open == OM_CREATE_NEW;
    // A bad page size for a new file: nothing is created or emptied.
    if (create && !IsPageSize(pageSize))
    {
        SetErrorCode(uiState, EC_FAILED);
        return;
    }
    VXSystemFile::operator=(
        VXSystemFile(name, access, open, false, std::max(uiInitialSize, pageSize), false));
    bool headerRead = !create && QLastError() == EC_OK && ReadHeader();
    // A kept file too short for a header is started afresh, as a created one is.
    if (!headerRead && QLastError() == EC_OK && IsPageSize(pageSize))
    {
        uiNextPageOffset = pageSize;
        if (WriteHeader())
        {
            uiFileSize = std::max(uiInitialSize, pageSize);
            bValid = true;
        }
    }
    if (bValid)
        return;
    // Give the file up at once, but keep the cause for QLastError.
    ErrorCode cause = QLastError();
    VXSystemFile::operator=(VXSystemFile());
    if (cause != EC_OK)
        SetErrorCode(uiState, cause);
}

PageFile::PageFile(PageFile& other) : VXSystemFile(static_cast<VXSystemFile&>(other))
{
    CopyNumbers(other);
    other.bValid = false;
}

PageFile& PageFile::operator=(PageFile& other)
{
    if (&other == this)
        return *this;
    FinishFile();
    VXSystemFile::operator=(static_cast<VXSystemFile&>(other));
    CopyNumbers(other);
    other.bValid = false;
    return *this;
}

PageFile::~PageFile()
{
    FinishFile();
}

void PageFile::CopyNumbers(PageFile const& other)
{
    uiAcquireCount.store(other.uiAcquireCount.load(std::memory_order_relaxed),
                         std::memory_order_relaxed);
    uiFileSize = other.uiFileSize;
    uiNextPageOffset = other.uiNextPageOffset;
    uiPageSize = other.uiPageSize;
    uiPageShift = other.uiPageShift;
    uiSeeks = other.uiSeeks;
    uiReads.store(other.uiReads.load(std::memory_order_relaxed), std::memory_order_relaxed);
    uiWrites = other.uiWrites;
    bValid = other.bValid;
}

// True when a whole header arrived, whether or not it is good (bValid tells); false when
// the file is too short for one or could not be read (the error bits tell).
bool PageFile::ReadHeader()
{
    unsigned char header[uiHeaderBytes];
    uint64_t position = 0;
    uint64_t bytes = 0;
    if (SetErrorCode(uiState, DoSeek(0, SM_BEGIN, position)) != EC_OK)
        return false;
    if (SetErrorCode(uiState, DoRead(header, uiHeaderBytes, bytes)) != EC_OK ||
        bytes < uiHeaderBytes)
        return false;
    unsigned int next = Get32(header + 4);
    unsigned int size = Get32(header + 8);
    unsigned int shift = Get32(header + 12);
    if (Get32(header) != PAGE_FILE_MAGIC || !IsPageSize(size) ||
        shift != static_cast<unsigned int>(std::countr_zero(size)) || next < size ||
        next % size != 0)
        return true;
    uiNextPageOffset = next;
    uiPageSize = size;
    uiPageShift = shift;
    uint64_t length = 0;
    if (SetErrorCode(uiState, DoSeek(0, SM_END, length)) != EC_OK)
        return true;
    uiFileSize = static_cast<unsigned int>(std::min<uint64_t>(length, UINT32_MAX));
    // A file cut short of its allocated pages has lost data: refuse it.
    bValid = length >= next;
    return true;
}

bool PageFile::WriteHeader()
{
    unsigned char header[uiHeaderBytes];
    Put32(header, PAGE_FILE_MAGIC);
    Put32(header + 4, uiNextPageOffset);
    Put32(header + 8, uiPageSize);
    Put32(header + 12, uiPageShift);
    uint64_t position = 0;
    uint64_t bytes = 0;
    if (SetErrorCode(uiState, DoSeek(0, SM_BEGIN, position)) != EC_OK)
        return false;
    return SetErrorCode(uiState, DoWrite(header, uiHeaderBytes, bytes)) == EC_OK;
}

// Pages allocated but never written still have to lie inside the file, or the reopen
// would take the file for a truncated one; then the header goes back.
void PageFile::FinishFile()
{
    if (!bValid)
        return;
    uint64_t length = 0;
    uint64_t position = 0;
    if (DoGetSize(length) == EC_OK && length < uiNextPageOffset &&
        SetErrorCode(uiState, DoSeek(uiNextPageOffset, SM_BEGIN, position)) == EC_OK)
        SetErrorCode(uiState, DoSetEndOfFile());
    WriteHeader();
}

uint64_t PageFile::PageOffset(uint64_t page) const
{
    if (page == 0 || page > (uint64_t{UINT32_MAX} >> uiPageShift))
        return 0;
    return page << uiPageShift;
}

VXSystemFile::ErrorCode PageFile::Read(void* target, uint64_t page)
{
    uint64_t offset = PageOffset(page);
    if (!bValid || offset == 0 || offset >= uiFileSize)
        return EC_FAILED;
    uiReads.fetch_add(1, std::memory_order_relaxed);
    uint64_t bytes = 0;
    ErrorCode code = SetErrorCode(uiState, DoReadAt(target, uiPageSize, offset, bytes));
    // A page past the real end of the file (or a failed read) leaves no stale bytes.
    if (bytes < uiPageSize)
        std::memset(static_cast<char*>(target) + bytes, 0, uiPageSize - bytes);
    return code;
}

VXSystemFile::ErrorCode PageFile::Write(void const* source, uint64_t page)
{
    uint64_t offset = PageOffset(page);
    if (!bValid || offset == 0 || offset >= uiNextPageOffset)
        return EC_FAILED;
    ++uiSeeks;
    uint64_t position = 0;
    ErrorCode code =
        SetErrorCode(uiState, DoSeek(static_cast<int64_t>(offset), SM_BEGIN, position));
    if (code != EC_OK)
        return code;
    ++uiWrites;
    uint64_t bytes = 0;
    code = SetErrorCode(uiState, DoWrite(source, uiPageSize, bytes));
    // Only what reached the file counts, so a failed write claims no length.
    uiFileSize = static_cast<unsigned int>(std::max<uint64_t>(uiFileSize, offset + bytes));
    return code;
}

uint64_t PageFile::Allocate()
{
    return Allocate(1);
}

uint64_t PageFile::Allocate(unsigned int count)
{
    uint64_t next = uiNextPageOffset + (uint64_t{count} << uiPageShift);
    if (!bValid || next > UINT32_MAX)
        return 0;
    uint64_t first = uiNextPageOffset >> uiPageShift;
    uiNextPageOffset = static_cast<unsigned int>(next);
    return first;
}
} // namespace VXBTreeFile
