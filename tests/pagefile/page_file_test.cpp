// PageFile: allocation numbers, the exact header, reopen round trips, headers that must be
// refused without touching the file, and a full disk part-way through.
#include "VXTestSupport.h"
#include "vxsystem/VXPageFile.h"

#include <gtest/gtest.h>

#include <cstring>

#if !defined(_WIN32)
#include "platform/posix/VXPosixFileCalls.h"
#endif

using VXBTreeFile::PageFile;
using VF = VXSystemFile;

namespace
{
std::string Header(uint32_t magic, uint32_t next, uint32_t size, uint32_t shift)
{
    uint32_t words[4] = {magic, next, size, shift};
    return std::string(reinterpret_cast<char const*>(words), sizeof(words));
}

class PageFileTest : public ::testing::Test
{
protected:
    vxtest::TempDir sDir;
    std::string sPath = sDir / "tree.pages";
};
} // namespace

TEST_F(PageFileTest, NewFileAllocatesAndGuardsItsPages)
{
    PageFile file(sPath.c_str(), 4096, 0, VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
    ASSERT_TRUE(file.QValid());
    std::string page(4096, 'p');
    EXPECT_EQ(file.Write(page.data(), 1), VF::EC_FAILED); // not allocated yet
    EXPECT_EQ(file.Read(page.data(), 1), VF::EC_FAILED);  // past the one known page
    EXPECT_EQ(file.Allocate(), 1u);
    EXPECT_EQ(file.Allocate(), 2u);
    EXPECT_EQ(file.Allocate(3), 3u);
    EXPECT_EQ(file.Allocate(), 6u);
    EXPECT_EQ(file.Write(page.data(), 0), VF::EC_FAILED);
    EXPECT_EQ(file.Write(page.data(), 7), VF::EC_FAILED);
    EXPECT_EQ(file.Write(page.data(), 2), VF::EC_OK);
    EXPECT_EQ(file.Read(page.data(), 1), VF::EC_OK); // allocated, never written: zeros
    EXPECT_EQ(page, std::string(4096, '\0'));
    EXPECT_EQ(file.Read(page.data(), uint64_t{1} << 40), VF::EC_FAILED);
    EXPECT_EQ(file.QSeeks(), 1u);
    EXPECT_EQ(file.QWrites(), 1u);
    EXPECT_EQ(file.QReads(), 1u);
}

TEST_F(PageFileTest, PagesAndHeaderSurviveReopen)
{
    std::string data = vxtest::RandomBytes(5 * 512, 7);
    {
        PageFile file(sPath.c_str(), 512, 0, VF::AM_READ_WRITE, VF::OM_CREATE_NEW);
        ASSERT_EQ(file.Allocate(6), 1u); // page 6 stays unwritten
        for (uint64_t page = 1; page <= 5; ++page)
            ASSERT_EQ(file.Write(data.data() + (page - 1) * 512, page), VF::EC_OK);
        PageFile moved(file); // the transfer leaves the source without a file
        EXPECT_FALSE(file.QValid());
        EXPECT_EQ(file.Write(data.data(), 1), VF::EC_FAILED);
    }
    std::string bytes = vxtest::ReadFile(sPath);
    ASSERT_EQ(bytes.size(), 7u * 512);
    EXPECT_EQ(bytes.substr(0, 16), Header(0x9A6EF17E, 7 * 512, 512, 9));
    EXPECT_EQ(bytes.substr(512, data.size()), data);

    PageFile file(sPath.c_str(), 4096, 0, VF::AM_READ_WRITE, VF::OM_EXISTING);
    ASSERT_TRUE(file.QValid());
    EXPECT_EQ(file.QPageSize(), 512u);
    std::string page(512, '\0');
    for (uint64_t n = 1; n <= 5; ++n)
    {
        ASSERT_EQ(file.Read(page.data(), n), VF::EC_OK);
        EXPECT_EQ(page, data.substr((n - 1) * 512, 512)) << n;
    }
    EXPECT_EQ(file.Allocate(), 7u);
}

TEST_F(PageFileTest, BadHeadersAreRefusedAndLeftUntouched)
{
    std::string tail(4096 * 2, 'x');
    std::string const cases[] = {
        Header(0x9A6EF17F, 4096, 4096, 12) + tail,     // wrong magic
        Header(0x9A6EF17E, 4096, 0, 0) + tail,         // page size 0
        Header(0x9A6EF17E, 3000, 3000, 12) + tail,     // not a power of two
        Header(0x9A6EF17E, 4096, 4096, 11) + tail,     // shift at odds with the size
        Header(0x9A6EF17E, 5000, 4096, 12) + tail,     // next offset not a page multiple
        Header(0x9A6EF17E, 0, 4096, 12) + tail,        // next offset inside the header page
        Header(0x9A6EF17E, 4 * 4096, 4096, 12) + tail, // file cut short of its pages
        Header(0x9A6EF17E, 8, 8, 3) + tail,            // pages smaller than the header
        std::string(16, 'z'),
    };
    for (std::string const& bytes : cases)
    {
        vxtest::WriteFile(sPath, bytes);
        {
            PageFile file(sPath.c_str(), 4096, 0, VF::AM_READ_WRITE, VF::OM_EXISTING);
            EXPECT_FALSE(file.QValid());
            EXPECT_EQ(file.Allocate(), 0u);
            EXPECT_EQ(file.Write(tail.data(), 1), VF::EC_FAILED);
        }
        EXPECT_EQ(vxtest::ReadFile(sPath), bytes);
    }
    PageFile missing((sDir / "none").c_str(), 4096, 0, VF::AM_READ_WRITE, VF::OM_EXISTING);
    EXPECT_FALSE(missing.QValid());
    EXPECT_EQ(missing.QLastError(), VF::EC_FILE_NOT_FOUND);
    PageFile badSize(sPath.c_str(), 1000, 0, VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
    EXPECT_FALSE(badSize.QValid());
    EXPECT_EQ(vxtest::ReadFile(sPath), std::string(16, 'z')); // not emptied
}

TEST_F(PageFileTest, ShortFileStartsAfreshOnlyWhenWritable)
{
    vxtest::WriteFile(sPath, "short");
    EXPECT_FALSE(PageFile(sPath.c_str(), 256, 0, VF::AM_READ, VF::OM_EXISTING).QValid());
    EXPECT_EQ(vxtest::ReadFile(sPath), "short");
    {
        PageFile file(sPath.c_str(), 256, 0, VF::AM_READ_WRITE, VF::OM_EXISTING);
        EXPECT_TRUE(file.QValid());
        EXPECT_EQ(file.Allocate(), 1u);
    }
    EXPECT_EQ(vxtest::ReadFile(sPath).substr(0, 16), Header(0x9A6EF17E, 512, 256, 8));
}

#if !defined(_WIN32)
TEST_F(PageFileTest, FullDiskFailsTheWriteAndKeepsEarlierPages)
{
    std::string data = vxtest::RandomBytes(3 * 256, 3);
    PageFile file(sPath.c_str(), 256, 0, VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
    file.Allocate(3);
    for (uint64_t page = 1; page <= 2; ++page)
        ASSERT_EQ(file.Write(data.data() + (page - 1) * 256, page), VF::EC_OK);
    VXPosixFileCallTable().pfnWrite = [](int, void const*, size_t) -> ssize_t
    { return errno = ENOSPC, -1; };
    EXPECT_EQ(file.Write(data.data() + 512, 3), VF::EC_FAILED);
    EXPECT_EQ(file.QLastError(), VF::EC_FAILED);
    VXPosixFileCallTable() = VXPosixFileCallDefaults();
    EXPECT_EQ(file.Read(data.data(), 3), VF::EC_FAILED); // never reached the file
    EXPECT_EQ(vxtest::ReadFile(sPath).substr(256), data.substr(0, 512));
}
#endif
