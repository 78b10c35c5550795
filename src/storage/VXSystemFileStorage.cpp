#include "vxsystem/VXSystemFileStorage.h"

using namespace VXStorageDefs;

VXSystemFileStorage::VXSystemFileStorage(char const* path, VXSystemFile::AccessMode access,
                                         VXSystemFile::OpenMode open)
    : sFile(path, access, open, false, 0, false),
      bCanRead(access == VXSystemFile::AM_READ || access == VXSystemFile::AM_READ_WRITE),
      bCanWrite(access == VXSystemFile::AM_READ_WRITE || access == VXSystemFile::AM_WRITE),
      bGood(sFile.QLastError() == VXSystemFile::EC_OK)
{
}

uint64_t VXSystemFileStorage::GetSize() const
{
    uint64_t size = 0;
    if (bGood)
        bGood = sFile.GetSize(size) == VXSystemFile::EC_OK;
    return bGood ? size : 0;
}

uint64_t VXSystemFileStorage::GetPosition() const
{
    uint64_t position = 0;
    if (bGood)
        bGood = sFile.Seek(0, VXSystemFile::SM_CURRENT, position) == VXSystemFile::EC_OK;
    return bGood ? position : 0;
}

VXStorage::ErrorCode VXSystemFileStorage::Seek(int64_t offset, SeekMode mode) const
{
    VXSystemFile::SeekMode fileMode = VXSystemFile::SM_BEGIN;
    if (mode == STORAGE_SEEK_CURRENT)
        fileMode = VXSystemFile::SM_CURRENT;
    else if (mode == STORAGE_SEEK_END)
        fileMode = VXSystemFile::SM_END;
    uint64_t position = 0;
    bool moved = sFile.Seek(offset, fileMode, position) == VXSystemFile::EC_OK;
    if (bGood && moved)
        return STORAGE_OK;
    bGood = false;
    return STORAGE_FAILED;
}

VXStorage::ErrorCode VXSystemFileStorage::Read(uint64_t size, unsigned char* const buffer) const
{
    if (!bCanRead)
        return STORAGE_NOT_SUPPORTED;
    uint64_t done = 0;
    bool stalled = false;
    while (done < size && bGood && !stalled)
    {
        uint64_t moved = 0;
        bGood = sFile.Read(buffer + done, size - done, moved) == VXSystemFile::EC_OK;
        done += moved;
        stalled = moved == 0;
    }
    return bGood && !stalled ? STORAGE_OK : STORAGE_FAILED;
}

VXStorage::ErrorCode VXSystemFileStorage::Write(uint64_t size, unsigned char const* const buffer)
{
    if (!bCanWrite)
        return STORAGE_NOT_SUPPORTED;
    uint64_t done = 0;
    while (done < size && bGood)
    {
        uint64_t moved = 0;
        bGood = sFile.Write(buffer + done, size - done, moved) == VXSystemFile::EC_OK && moved;
        done += moved;
    }
    return bGood ? STORAGE_OK : STORAGE_FAILED;
}
