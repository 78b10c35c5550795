// VXFile: the named file of the engine, a KoFile over a stdio stream. On top of KoFile
// it keeps its name, opens read and append files only when first read (so that making
// the object costs no disk access), tracks its own position, can hold a whole file in
// its buffer, and reads and writes NUL-framed strings, lines and typed values. Archive readers and
// memory files derive from it. One thread at a time per object.
#pragma once

#include "vxsystem/KoFile.h"
#include "vxsystem/VXStringT.h"

#include <string>

class VXFixedStringCS;
class VXFixedStringWCS;

// Element count for the next array operator.
struct IOSIZE
{
    uint32_t uiSize;
};

class VXFile : public KoFile
{
public:
    static constexpr uint64_t WHOLE_FILE_BUFFER = 0xFFFFFFFF; // buffer size: read it all

    static uint32_t iCount; // live objects; unguarded, a rough figure under threads

    VXFile(char const* name, KoFile::OpenMode mode, uint64_t bufferSize, bool text);
    VXFile(VXFile const& other);
    VXFile& operator=(VXFile const& other);
    ~VXFile() override;

    // The creation hook: may give any class of the family. Caller owns the result.
    static VXFile* GetFile(char const* name, KoFile::OpenMode mode, unsigned int bufferSize);

    bool Seek(int64_t offset, int whence) override;
    using KoFile::Seek;
    uint64_t GetFileSize() const override;

    // Opens the stream if it is not open; the first argument is unused.
    virtual bool Open(bool unused, bool text);
    // Adopts an open stream; the object owns it afterwards.
    virtual bool OpenByFilePointer(FILE* stream);
    // Measures the file (opening it if need be) and caches the size.
    virtual uint64_t GetSize();
    // NUL-framed text, at most maxBytes stored; gives the length read.
    virtual uint64_t ReadString(VXStringT<char>& out, uint64_t maxBytes);
    virtual uint64_t ReadString(VXStringT<VXWChar>& out, uint64_t maxBytes);
    // Reads up to the delimiter (consumed, not stored); gives bytes consumed.
    virtual uint64_t GetLine(char* out, uint64_t outSize, VXWChar delimiter);
    // Gives bytes written (units for the wide form).
    virtual uint64_t WriteString(VXStringT<char> const& text, bool terminator);
    virtual uint64_t WriteString(VXStringT<VXWChar> const& text, bool terminator);
    // The same for pooled strings; a null handle writes as the empty text.
    uint64_t WriteString(VXFixedStringCS const& text, bool terminator);
    uint64_t WriteString(VXFixedStringWCS const& text, bool terminator);
    // Whether the named file is on disk now; looks at the disk, not at the object.
    virtual bool Exist();

    void Close();
    bool ChangeBufferSize(uint64_t newSize);
    void CalculateFileSize() { GetSize(); }
    SYSTEMTIME GetLastSaveTime() const;

    FILE* File() const { return pFile; }
    char const* FileName() const { return acFileName; }
    bool FileIsGood() const { return bGood; }
    bool FilePointerIsValid() const { return pFile != nullptr; }
    uint64_t FileSize() const { return uiFileSize; }
    void SetFileSize(uint64_t size) { uiFileSize = size; }
    char* QBuffer() const { return pBuffer; }
    uint64_t QBufferSize() const { return uiBufferSize; }
    uint64_t QBufferReadSize() const { return uiBufferReadSize; }
    uint64_t QReadPos() const { return uiReadPos; }
    uint64_t QTrueFilePos() const { return uiTrueFilePos; }
    void SetTrueFilePos(uint64_t position) { uiTrueFilePos = position; }
    uint64_t QResult() const { return uiResult; }
    void SetArraySize(uint64_t count) { uiArraySize = count; }
    uint64_t Tell() const { return uiTrueFilePos; }
    bool Flush() { return KoFile::Flush(); }

    // Present for the engine's callers; a VXFile has one buffer and no streamer path.
    bool AddAuxBuffer(unsigned int, unsigned int) { return true; }
    void RemoveAuxBuffer() {}
    bool Prefetch(uint64_t, uint64_t, unsigned int) { return false; }
    void EnableReadThroughStreamer(bool, unsigned int) {}

    VXFile& operator>>(char& value) { return ReadValue(value); }
    VXFile& operator>>(unsigned char& value) { return ReadValue(value); }
    VXFile& operator>>(short& value) { return ReadValue(value); }
    VXFile& operator>>(unsigned short& value) { return ReadValue(value); }
    VXFile& operator>>(int& value) { return ReadValue(value); }
    VXFile& operator>>(unsigned int& value) { return ReadValue(value); }
    VXFile& operator>>(float& value) { return ReadValue(value); }
    VXFile& operator>>(double& value) { return ReadValue(value); }
    VXFile& operator>>(char* values) { return ReadArray(values); }
    VXFile& operator>>(unsigned char* values) { return ReadArray(values); }
    VXFile& operator>>(short* values) { return ReadArray(values); }
    VXFile& operator>>(unsigned short* values) { return ReadArray(values); }
    VXFile& operator>>(int* values) { return ReadArray(values); }
    VXFile& operator>>(unsigned int* values) { return ReadArray(values); }
    VXFile& operator>>(IOSIZE const& size);
    VXFile& operator>>(VXStringT<char>& text);
    VXFile& operator>>(VXStringT<VXWChar>& text);

    VXFile& operator<<(char const& value) { return WriteValue(value); }
    VXFile& operator<<(unsigned char const& value) { return WriteValue(value); }
    VXFile& operator<<(short const& value) { return WriteValue(value); }
    VXFile& operator<<(unsigned short const& value) { return WriteValue(value); }
    VXFile& operator<<(int const& value) { return WriteValue(value); }
    VXFile& operator<<(unsigned int const& value) { return WriteValue(value); }
    VXFile& operator<<(float const& value) { return WriteValue(value); }
    VXFile& operator<<(double const& value) { return WriteValue(value); }
    VXFile& operator<<(char* values) { return WriteArray(values); }
    VXFile& operator<<(unsigned char* values) { return WriteArray(values); }
    VXFile& operator<<(short const* values) { return WriteArray(values); }
    VXFile& operator<<(unsigned short const* values) { return WriteArray(values); }
    VXFile& operator<<(int const* values) { return WriteArray(values); }
    VXFile& operator<<(unsigned int const* values) { return WriteArray(values); }
    VXFile& operator<<(IOSIZE const& size);
    VXFile& operator<<(VXStringT<char> const& text);
    VXFile& operator<<(VXStringT<VXWChar> const& text);
    VXFile& operator<<(std::string const& text);
    // Text without terminator; the array count is neither used nor cleared.
    VXFile& operator<<(char const* text);
    VXFile& operator<<(unsigned char const* text);

protected:
    VXFile();

    uint64_t DoRead(void* buffer, uint64_t size) override;
    uint64_t DoWrite(void const* buffer, uint64_t size) override;

    bool CheckIsGood();
    // Drops the buffer's state before a stream is opened or adopted.
    void ResetForOpen();
    void AllocateBuffer(uint64_t size);
    void FreeBuffer();
    void InvalidateFilePointer() { pFile = nullptr; }

    char acFileName[MAX_PATH_BYTES]; // the file's name; empty when it was too long
    uint64_t uiResult;               // byte count of the latest stream operator
    uint64_t uiArraySize;            // element count for the next array operator
    uint64_t uiTrueFilePos;          // logical position in the file
    uint64_t uiFileSize;             // cached size; 0 = not known

private:
    void CopyName(VXFile const& other);

    template <class T> VXFile& ReadValue(T& value)
    {
        uiResult = Read(&value, sizeof(T));
        return *this;
    }
    template <class T> VXFile& WriteValue(T const& value)
    {
        uiResult = Write(&value, sizeof(T));
        return *this;
    }
    template <class T> VXFile& ReadArray(T* values)
    {
        uiResult = values ? Read(values, uiArraySize * sizeof(T)) : 0;
        uiArraySize = 0;
        return *this;
    }
    template <class T> VXFile& WriteArray(T const* values)
    {
        uiResult = values ? Write(values, uiArraySize * sizeof(T)) : 0;
        uiArraySize = 0;
        return *this;
    }
};
