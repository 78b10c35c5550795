// VXHash: the eight-byte, case-insensitive key under which archives store directories and
// files. It is part of the archive file format: first character, length and last two
// characters in the clear, the middle of the name and the extension folded into a 32-bit
// word, three bits marking a special extension. Keys sort as one unsigned 64-bit word.
// A plain value type without shared state: any thread may use its own keys.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little,
              "VXHash keeps its key as one little-endian word, byte for byte the file layout");

class VXHash
{
public:
    enum HASHPROCESS
    {
        HASH_FILE = 0,      // hash the file name and extension of a path
        HASH_DIRECTORY = 1, // hash the directory part of a path (every other value too)
        HASH_RAW = 2,       // hash the whole text, no split, no extension
    };

    // Leaves the key undefined, as a record about to be read into.
    VXHash() {}
    // Stores the bytes 0 to 3 and the CRC word unchanged.
    VXHash(unsigned char last, unsigned char last2, unsigned char length, unsigned char first,
           unsigned int crc);
    VXHash(char const* text, HASHPROCESS process);

    // The hash proper; extension may be null. A null name hashes as the empty name.
    static void Create(char const* name, char const* extension, VXHash& out);
    // Splits once and gives both keys; a path without directory gives the key of ".".
    static void MakeDirAndFile(char const* path, VXHash& dir, VXHash& file);

    // Orders keys as unsigned 64-bit numbers: -1, 0 or 1.
    int Compare(VXHash const& other) const;
    int Compare(VXHash const* other) const { return Compare(*other); }
    // The three-way value of Compare: 0 means equal.
    int operator==(VXHash const& other) const { return Compare(other); }
    VXHash& operator=(VXHash const& other) = default;
    VXHash(VXHash const& other) = default;

    // This key is the pattern; 0 is a match. -1 only when the candidate's CRC is greater,
    // so that a scan of a sorted table may stop there.
    int WildCardCompare(VXHash const& other) const;
    int WildCardCompare(VXHash const* other) const { return WildCardCompare(*other); }

    unsigned char First() const { return Byte(3) & 0x7F; }
    unsigned char Last() const { return Byte(0) & 0x7F; }
    unsigned char Last2() const { return Byte(1) & 0x7F; }
    unsigned char Length() const { return Byte(2); }
    unsigned int CRC() const { return static_cast<unsigned int>(uiKey >> 32); }
    // 0 to 7; 0 when the extension is not a special one.
    unsigned char ExtensionIndex() const;
    uint64_t const& Hash() const { return uiKey; }
    // The four bytes raw, bit 7 included, and the CRC.
    void GetAll(unsigned char& last, unsigned char& last2, unsigned char& length,
                unsigned char& first, unsigned int& crc) const;
    // Fourteen characters into a buffer of at least 32 bytes; a null buffer is ignored.
    void MakeHashString(char* buffer) const;

private:
    // The key of a name of length characters and an extension (null: none) of its length.
    static uint64_t MakeKey(char const* name, size_t length, char const* extension,
                            size_t extensionLength);
    unsigned char Byte(int index) const { return static_cast<unsigned char>(uiKey >> (8 * index)); }

    uint64_t uiKey; // bytes 0..3: Last, Last2, Length, First; bytes 4..7: CRC
};

static_assert(sizeof(VXHash) == 8, "VXHash is eight bytes in files");
