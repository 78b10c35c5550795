// The path hash is part of the file format: every key below must come out bit for bit.
#include "vxsystem/VXHash.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

namespace
{
struct KeyCase
{
    char const* pName;
    char const* pExtension;
    unsigned char ucBytes[4];
    unsigned int uiCRC;
    uint64_t uiHash;
};

constexpr KeyCase kKeys[] = {
    {"a", nullptr, {0x61, 0x00, 0x01, 0x61}, 0x00000000, 0x0000000061010061ull},
    {"ab", nullptr, {0x62, 0x00, 0x02, 0x61}, 0x00000000, 0x0000000061020062ull},
    {"abc", nullptr, {0x63, 0x62, 0x03, 0x61}, 0x00000000, 0x0000000061036263ull},
    {"abcd", nullptr, {0x64, 0x63, 0x04, 0x61}, 0x00000062, 0x0000006261046364ull},
    {"helmet", ".dds", {0xF4, 0xE5, 0x06, 0x68}, 0xC003E2AB, 0xC003E2AB6806E5F4ull},
    {"HELMET", ".DDS", {0xF4, 0xE5, 0x06, 0x68}, 0xC003E2AB, 0xC003E2AB6806E5F4ull},
    {"walk", ".kf", {0xEB, 0x6C, 0x04, 0x77}, 0x1711E44A, 0x1711E44A77046CEBull},
    {"readme", ".txt", {0x65, 0x6D, 0x06, 0x72}, 0xC7EDDCEA, 0xC7EDDCEA72066D65ull},
    {"meshes\\armor", nullptr, {0x72, 0x6F, 0x0C, 0x6D}, 0xB6E5BFE8, 0xB6E5BFE86D0C6F72ull},
};

uint64_t FileKey(char const* path)
{
    return VXHash(path, VXHash::HASH_FILE).Hash();
}

uint64_t DirKey(char const* path)
{
    return VXHash(path, VXHash::HASH_DIRECTORY).Hash();
}
} // namespace

TEST(VXHash, KeyTableComesOutBitForBit)
{
    for (KeyCase const& c : kKeys)
    {
        SCOPED_TRACE(c.pName);
        VXHash key;
        VXHash::Create(c.pName, c.pExtension, key);
        EXPECT_EQ(key.Hash(), c.uiHash);
        unsigned char bytes[8];
        std::memcpy(bytes, &key, 8); // memory order is file order
        EXPECT_EQ(0, std::memcmp(bytes, c.ucBytes, 4));
        EXPECT_EQ(0, std::memcmp(bytes + 4, &c.uiCRC, 4));
        unsigned char last, last2, length, first;
        unsigned int crc;
        key.GetAll(last, last2, length, first, crc);
        EXPECT_EQ(last, c.ucBytes[0]);
        EXPECT_EQ(first, c.ucBytes[3]);
        EXPECT_EQ(0, key.Compare(VXHash(last, last2, length, first, crc)));
    }
}

TEST(VXHash, PathSplitsAndEdges)
{
    EXPECT_EQ(FileKey("textures\\armor\\helmet.dds"), 0xC003E2AB6806E5F4ull);
    EXPECT_EQ(FileKey("MESHES/Walk.KF"), 0x1711E44A77046CEBull);
    EXPECT_EQ(DirKey("meshes\\armor\\a.kof"), 0xB6E5BFE86D0C6F72ull);
    EXPECT_EQ(DirKey("meshes\\armor\\"), 0xB6E5BFE86D0C6F72ull);
    // Without a trailing separator the last component is a file name; no directory is ".".
    // The lookup's own split, MakeDirAndFile, must agree with the constructors.
    std::pair<char const*, char const*> const dirs[] = {
        {"a\\b", "a"}, {"a\\b\\", "a\\b"}, {"", "."},
        {"x", "."},    {"a.kof", "."},     {"meshes\\armor\\a.kof", "meshes\\armor"}};
    for (auto [path, raw] : dirs)
    {
        VXHash dir, file;
        VXHash::MakeDirAndFile(path, dir, file);
        EXPECT_EQ(DirKey(path), VXHash(raw, VXHash::HASH_RAW).Hash()) << path;
        EXPECT_EQ(dir.Hash(), DirKey(path)) << path;
        EXPECT_EQ(file.Hash(), FileKey(path)) << path;
    }
    EXPECT_EQ(DirKey("a/b/c.kof"), DirKey("a\\b\\c.kof")); // either separator, one key
    EXPECT_EQ(VXHash("x", static_cast<VXHash::HASHPROCESS>(7)).Hash(), DirKey("x"));
    for (uint64_t empty :
         {FileKey("meshes\\.kof"), FileKey(""), VXHash("", VXHash::HASH_RAW).Hash()})
        EXPECT_EQ(empty, 0u);
    EXPECT_EQ(VXHash(std::string(300, 'q').c_str(), VXHash::HASH_RAW).Length(), 44);
    EXPECT_EQ(VXHash("abcdef", VXHash::HASH_RAW).CRC(), VXHash("ABCDEF", VXHash::HASH_RAW).CRC());
}

TEST(VXHash, ExtensionIndexAndItsFourBytes)
{
    // The extension's first four bytes decide: ".ddsx" counts as ".dds", ".kfx" as nothing.
    std::pair<char const*, int> const indices[] = {{"a.kof", 1}, {"a.kf", 2},      {"a.dds", 3},
                                                   {"a.wav", 4}, {"sound.adp", 5}, {"a.ddsx", 3},
                                                   {"a.kfx", 0}, {"a.txt", 0},     {"a", 0}};
    for (auto [name, index] : indices)
        EXPECT_EQ(VXHash(name, VXHash::HASH_FILE).ExtensionIndex(), index) << name;
    VXHash adp("sound.adp", VXHash::HASH_FILE);
    unsigned char last, last2, length, first;
    unsigned int crc;
    adp.GetAll(last, last2, length, first, crc);
    EXPECT_TRUE((first & 0x80) && (last2 & 0x80) && !(last & 0x80)); // the index rides in high bits
    EXPECT_EQ(adp.First(), 's');
    EXPECT_EQ(adp.Last2(), 'n');
}

TEST(VXHash, CompareAndWildCards)
{
    VXHash a("a.kof", VXHash::HASH_FILE), b("b.kof", VXHash::HASH_FILE),
        a2("A.KOF", VXHash::HASH_FILE);
    EXPECT_EQ(a == a2, 0);
    EXPECT_NE(a == b, 0);
    EXPECT_EQ(a.Compare(&b), a.Hash() < b.Hash() ? -1 : 1);
    EXPECT_EQ(b.Compare(a), a.Hash() < b.Hash() ? 1 : -1);
    VXHash high(0, 0, 0, 0, 0x80000000u), low(0xFF, 0xFF, 0xFF, 0xFF, 1);
    EXPECT_EQ(high.Compare(low), 1); // CRC is the high word, compared unsigned
    VXHash dds("*.dds", VXHash::HASH_FILE);
    EXPECT_EQ(dds.WildCardCompare(VXHash("helmet.dds", VXHash::HASH_FILE)), 0);
    EXPECT_EQ(dds.WildCardCompare(VXHash("zz.dds", VXHash::HASH_FILE)), 0);
    EXPECT_EQ(dds.WildCardCompare(VXHash("helmet.kof", VXHash::HASH_FILE)), 1);
    VXHash txt("*.txt", VXHash::HASH_FILE);
    EXPECT_EQ(txt.WildCardCompare(VXHash("menu.xml", VXHash::HASH_FILE)), 0);
    EXPECT_EQ(txt.WildCardCompare(VXHash("a.dds", VXHash::HASH_FILE)), 1);
    // Same length, middle and extension index: first and last characters are not compared.
    VXHash pattern("abcdx.kof", VXHash::HASH_FILE);
    EXPECT_EQ(pattern.WildCardCompare(VXHash("zbcqq.kof", VXHash::HASH_FILE)), 0);
    EXPECT_EQ(pattern.WildCardCompare(VXHash("abcdx.dds", VXHash::HASH_FILE)), 1);
    VXHash lowCrc(0, 0, 3, 'a', 5), highCrc(0, 0, 3, 'a', 9), otherLength(0, 0, 4, 'a', 5);
    EXPECT_EQ(lowCrc.WildCardCompare(&highCrc), -1);
    EXPECT_EQ(highCrc.WildCardCompare(lowCrc), 1);
    EXPECT_EQ(lowCrc.WildCardCompare(otherLength), 1);
}

TEST(VXHash, MakeHashString)
{
    char text[32];
    VXHash("helmet.dds", VXHash::HASH_FILE).MakeHashString(text);
    EXPECT_STREQ(text, "h06\xE5\xF4"
                       "C003E2AB");
    VXHash("readme.txt", VXHash::HASH_FILE).MakeHashString(text);
    EXPECT_STREQ(text, "r06meC7EDDCEA");
    VXHash("a", VXHash::HASH_RAW).MakeHashString(nullptr); // ignored
}
