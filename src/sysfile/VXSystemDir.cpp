#include "vxsystem/VXSystemDir.h"

#include "foundation/VXPathText.h"
#include "platform/VXPlatformRuntime.h"
#include "sysfile/VXSystemDirPlatform.h"
#include "vxsystem/FilePathUtilities.h"
#include "vxsystem/WildCard.h"

#include <cstring>

namespace
{
using ErrorCode = VXSystemFile::ErrorCode;

// Seconds from 1601-01-01 to 1970-01-01.
constexpr int64_t kEpochDifference = 11644473600;

_FILETIME ToFileTime(int64_t seconds, int64_t nanoseconds)
{
    uint64_t ticks = 0;
    if (seconds >= -kEpochDifference)
        ticks = static_cast<uint64_t>(seconds + kEpochDifference) * 10000000u +
                static_cast<uint64_t>(nanoseconds / 100);
    return {static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
}

// A folder step never misses its own target: what is missing is a folder above it.
ErrorCode FolderError(int platformError)
{
    ErrorCode code = VXSystemFile::FileErrorFromPlatform(platformError);
    return code == VXSystemFile::EC_FILE_NOT_FOUND ? VXSystemFile::EC_PATH_NOT_FOUND : code;
}

// Index of the last separator of a pattern, or -1.
int LastSeparator(char const* pattern)
{
    int last = -1;
    for (int i = 0; pattern[i]; ++i)
        if (vxpath::IsSeparator(pattern[i]))
            last = i;
    return last;
}
} // namespace

VXSystemDir::VXSystemDir(char const* folder)
{
    eLastError = DoOpen(folder);
}

VXSystemDir::~VXSystemDir()
{
    DoClose();
}

VXSystemFile::ErrorCode VXSystemDir::DoOpen(char const* folder)
{
    hFind = nullptr;
    bFirstEntry = true;
    acPattern[0] = 0;
    std::memset(&sFindData, 0, sizeof(sFindData));
    if (!folder)
        return eLastError = VXSystemFile::EC_PATH_NOT_FOUND;
    // The folder, a separator and "*" must fit whole: a cut pattern names another folder.
    if (std::strlen(folder) + 2 >= MAX_PATH_BYTES)
        return eLastError = VXSystemFile::EC_FAILED;
    VXStaticStringT<260> pattern;
    FilePathUtilities::Join(folder, "*", pattern);
    std::memcpy(acPattern, pattern.QString(), pattern.QLength() + 1);
    return eLastError = FindFirst();
}

VXSystemFile::ErrorCode VXSystemDir::DoClose()
{
    if (QFindValid())
        PlatformCloseDir(hFind);
    hFind = nullptr;
    return eLastError;
}

VXSystemFile::ErrorCode VXSystemDir::FindFirst()
{
    // The pattern's last part filters the entries of the folder before it.
    int separator = LastSeparator(acPattern);
    char folder[MAX_PATH_BYTES] = ".";
    if (separator == 0)
        std::strcpy(folder, "\\");
    else if (separator > 0)
    {
        std::memcpy(folder, acPattern, static_cast<size_t>(separator));
        folder[separator] = 0;
    }
    char resolved[MAX_PATH_BYTES];
    if (!PlatformResolvePath(folder, resolved, sizeof(resolved)))
        return VXSystemFile::EC_FAILED;
    void* handle = nullptr;
    if (int error = PlatformOpenDir(resolved, handle))
        return FolderError(error);
    hFind = handle;
    int error = FindNext();
    if (error == 0)
        return VXSystemFile::EC_OK;
    PlatformCloseDir(hFind);
    hFind = nullptr;
    // An existing folder with nothing that matches is a missing file, as the platform's
    // find reports it.
    if (error == VX_DIR_END)
        return VXSystemFile::EC_FILE_NOT_FOUND;
    return VXSystemFile::FileErrorFromPlatform(error);
}

int VXSystemDir::FindNext()
{
    char const* filter = acPattern + (LastSeparator(acPattern) + 1);
    bool all = std::strcmp(filter, "*") == 0;
    for (;;)
    {
        char const* name = nullptr;
        if (int result = PlatformReadDir(hFind, name))
            return result;
        size_t length = std::strlen(name);
        if (length >= MAX_PATH_BYTES || (!all && !WildCard::Match(name, filter, 0)))
            continue;
        FillEntry(name, length);
        return 0;
    }
}

void VXSystemDir::FillEntry(char const* name, size_t length)
{
    std::memset(&sFindData, 0, sizeof(sFindData));
    std::memcpy(sFindData.acName, name, length + 1);
    VXDirEntryFacts facts{};
    // An entry that cannot be looked at (a dangling link) stays listed, as neither kind.
    if (PlatformStatDirEntry(hFind, name, facts) != 0)
        return;
    if (facts.bDirectory)
        sFindData.uiAttributes = ATTRIBUTE_DIRECTORY;
    else if (facts.bRegular)
    {
        sFindData.uiAttributes = ATTRIBUTE_NORMAL;
        sFindData.uiSizeHigh = static_cast<uint32_t>(facts.uiSize >> 32);
        sFindData.uiSizeLow = static_cast<uint32_t>(facts.uiSize);
    }
    sFindData.ftLastAccess = ToFileTime(facts.iAccessSec, facts.iAccessNsec);
    sFindData.ftLastWrite = ToFileTime(facts.iWriteSec, facts.iWriteNsec);
    sFindData.ftCreation =
        facts.bHasBirth ? ToFileTime(facts.iBirthSec, facts.iBirthNsec) : sFindData.ftLastWrite;
}

VXSystemFile::ErrorCode VXSystemDir::NextEntry(bool& finished)
{
    if (bFirstEntry)
    {
        bFirstEntry = false;
        finished = false;
        return eLastError;
    }
    if (QFindValid())
    {
        int error = FindNext();
        finished = error != 0;
        if (finished && error != VX_DIR_END)
            eLastError = VXSystemFile::FileErrorFromPlatform(error);
    }
    return eLastError;
}

bool VXSystemDir::GetInfo(VXSystemFile::Info& info) const
{
    info.ftCreation = sFindData.ftCreation;
    info.ftLastAccess = sFindData.ftLastAccess;
    info.ftLastWrite = sFindData.ftLastWrite;
    info.uiSize = static_cast<uint64_t>(sFindData.uiSizeHigh) << 32 | sFindData.uiSizeLow;
    return true;
}

VXSystemFile::ErrorCode VXSystemDir::MakeDir(char const* path)
{
    if (!path)
        return VXSystemFile::EC_PATH_NOT_FOUND;
    char resolved[MAX_PATH_BYTES];
    if (!PlatformResolvePath(path, resolved, sizeof(resolved)))
        return VXSystemFile::EC_FAILED;
    int error = PlatformMakeDir(resolved);
    return error ? FolderError(error) : VXSystemFile::EC_OK;
}

bool VXSystemDir::MakeEntireDirPath(char const* path)
{
    if (!path || std::strlen(path) >= MAX_PATH_BYTES)
        return false;
    char copy[MAX_PATH_BYTES];
    bool ok = true;
    for (size_t i = 0; path[i] && ok; ++i)
    {
        copy[i] = path[i];
        if (!vxpath::IsSeparator(path[i]))
            continue;
        // A separator at the very start stands for the root, which is always there.
        if (i > 0)
        {
            copy[i] = 0;
            VXSystemFile::ErrorCode code = MakeDir(copy);
            ok = code == VXSystemFile::EC_OK || code == VXSystemFile::EC_ALREADY_EXISTS;
        }
        copy[i] = cSep;
    }
    return ok;
}
