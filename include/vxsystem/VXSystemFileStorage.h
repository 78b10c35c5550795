// VXSystemFileStorage: a storage over one VXSystemFile opened by name, synchronous and
// cached. Test QGood after construction. A failed file call clears the good flag for
// good: size and position then read 0 and transfers fail without touching the file;
// the platform's detail stays in the file's error word. A read that runs into the end
// of the file fails but keeps the flag, so the storage stays usable after a seek.
// One thread at a time; the destructor closes the file.
#pragma once

#include "vxsystem/VXStorage.h"
#include "vxsystem/VXSystemFile.h"

class VXSystemFileStorage : public VXStorage
{
public:
    VXSystemFileStorage(char const* path, VXSystemFile::AccessMode access,
                        VXSystemFile::OpenMode open);

    bool QGood() const { return bGood && sFile.QLastError() == VXSystemFile::EC_OK; }

    uint64_t GetSize() const override;
    uint64_t GetPosition() const override;
    // Reaches the file even when the flag is clear, but cannot set it again.
    ErrorCode Seek(int64_t offset, SeekMode mode) const override;
    // STORAGE_NOT_SUPPORTED without read access. Past the end: STORAGE_FAILED, with the
    // bytes up to the end in buffer.
    ErrorCode Read(uint64_t size, unsigned char* const buffer) const override;
    // STORAGE_NOT_SUPPORTED without write access. A write that moves nothing fails for good.
    ErrorCode Write(uint64_t size, unsigned char const* const buffer) override;

private:
    mutable VXSystemFile sFile;
    bool bCanRead;
    bool bCanWrite;
    mutable bool bGood;
};
