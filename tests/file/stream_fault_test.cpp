// Faults put in the way of the stdio calls under KoFile and VXFile: a failed flush, write
// or seek is never forgotten, and a file that could not be read serves nothing.
#include <gtest/gtest.h>

#if defined(_WIN32)
// The stdio seam sits in the POSIX half; Windows reaches its files through the system.
TEST(StreamFault, PosixOnly)
{
    GTEST_SKIP() << "the stdio fault table exists only in the POSIX half";
}
#else
#include "vxsystem/VXFile.h"
#include "vxsystem/VXSystemFile.h"

#include "VXTestSupport.h"
#include "platform/posix/VXPosixFileCalls.h"
#include "platform/posix/VXPosixStreamCalls.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{
constexpr auto Real = VXPosixStreamCallDefaults;
std::string gReported; // names given to the error callback

class StreamFault : public ::testing::Test
{
protected:
    StreamFault()
    {
        VXSystemFile::SetErrorCallback([](char const* name, VXSystemFile::FileOperation, int)
                                       { return gReported += name, true; });
    }
    ~StreamFault() override
    {
        VXPosixStreamCallTable() = Real();
        VXSystemFile::SetErrorCallback(nullptr);
        gReported.clear();
    }
    vxtest::TempDir sDir;
};

TEST_F(StreamFault, FailedWritesFlushesAndSeeksStayFailed)
{
    std::string path = sDir / "f";
    {
        VXFile file(path.c_str(), KoFile::MODE_WRITE, 64, false);
        ASSERT_EQ(file.Write("AAAA", 4), 4u);
        VXPosixStreamCallTable().pfnWrite = [](void const*, size_t, size_t, FILE*) -> size_t
        { return 0; };
        file.GetSize(); // its flush fails: the loss must surface later
        VXPosixStreamCallTable() = Real();
        EXPECT_EQ(file.Write("BBBB", 4), 0u);
        EXPECT_FALSE(file.Flush());
        EXPECT_EQ(gReported, "");
    }
    EXPECT_EQ(gReported, path); // the close reports the lost save

    VXFile file(path.c_str(), KoFile::MODE_READ_WRITE, 0, false);
    VXPosixStreamCallTable().pfnSeek = [](FILE* f, off_t offset, int whence)
    { return whence == SEEK_SET ? -1 : Real().pfnSeek(f, offset, whence); };
    EXPECT_EQ(file.KoFile::GetFileSize(), 0u); // could not seek back
    VXPosixStreamCallTable() = Real();
    EXPECT_EQ(file.Write("XY", 2), 0u);
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(vxtest::ReadFile(path), "");
}

TEST_F(StreamFault, ShortWholeFileReadServesNothing)
{
    std::string path = sDir / "whole";
    vxtest::WriteFile(path, std::string(100, 'w'));
    VXFile file(path.c_str(), KoFile::MODE_READ, VXFile::WHOLE_FILE_BUFFER, false);
    VXPosixStreamCallTable().pfnRead = [](void* b, size_t size, size_t count, FILE* f)
    { return Real().pfnRead(b, size, count / 2, f); };
    char out[100];
    EXPECT_EQ(file.Read(out, sizeof(out)), 0u);
    EXPECT_FALSE(file.FileIsGood());
}

TEST_F(StreamFault, CopiesNeverShareTheStreamAndDescriptorsAreCloseOnExec)
{
    std::string path = sDir / "copy";
    VXFile file(path.c_str(), KoFile::MODE_WRITE, 16, false);
    ASSERT_EQ(file.Write("kept", 4), 4u);
    {
        VXFile copy(file);
        VXFile assigned(path.c_str(), KoFile::MODE_READ, 16, false);
        assigned = file;
        EXPECT_TRUE(copy.File() == nullptr && assigned.QBuffer() == nullptr);
    }
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(vxtest::ReadFile(path), "kept");

    int fd = fileno(file.File());
    int dup = VXPosixFileCallDefaults().pfnDup(fd);
    EXPECT_TRUE(fcntl(fd, F_GETFD) & fcntl(dup, F_GETFD) & FD_CLOEXEC);
    close(dup);
}
} // namespace
#endif
