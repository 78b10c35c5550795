// Faults put in the way of the file layer's system calls: every operation must report the
// mapped code, keep what was already written, and ride over EINTR and short transfers.
#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"
#include "platform/posix/VXPosixFileCalls.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <type_traits>

using namespace sysfiletest;
using VF = VXSystemFile;
using Table = VXPosixFileCalls;

namespace
{
VXPosixFileCalls const& Real()
{
    return VXPosixFileCallDefaults();
}

// Fakes for one entry of the table, whatever its signature.
template <auto Member, typename Fn> struct Fake;
template <auto Member, typename R, typename... A> struct Fake<Member, R (*)(A...)>
{
    // Every other call is interrupted; per thread, so async workers agree.
    static R Interrupt(A... args)
    {
        thread_local int tCalls = 0;
        if (++tCalls % 2 == 0)
            return (Real().*Member)(args...);
        errno = EINTR;
        return R(-1);
    }
    template <int Error> static R Fail(A...)
    {
        errno = Error;
        return R(-1);
    }
};
template <auto Member> using FakeOf = Fake<Member, std::remove_cvref_t<decltype(Real().*Member)>>;

template <auto... Members> void Interrupt()
{
    ((VXPosixFileCallTable().*Members = FakeOf<Members>::Interrupt), ...);
}
template <auto Member, int Error> void Fail()
{
    VXPosixFileCallTable().*Member = FakeOf<Member>::template Fail<Error>;
}

// Transfers of at most three bytes at a time.
ssize_t ShortRead(int fd, void* b, size_t n)
{
    return Real().pfnRead(fd, b, std::min<size_t>(n, 3));
}
ssize_t ShortPread(int fd, void* b, size_t n, off_t o)
{
    return Real().pfnPread(fd, b, std::min<size_t>(n, 3), o);
}
ssize_t ShortWrite(int fd, void const* b, size_t n)
{
    return Real().pfnWrite(fd, b, std::min<size_t>(n, 3));
}

// A disk with gSpace bytes left: a write takes what fits, then fails with ENOSPC.
std::atomic<size_t> gSpace{0};
ssize_t FullWrite(int fd, void const* b, size_t n)
{
    size_t fits = std::min(n, gSpace.load());
    gSpace -= fits;
    if (n && !fits)
        return errno = ENOSPC, -1;
    return Real().pfnWrite(fd, b, fits);
}

class FaultTest : public ::testing::Test
{
protected:
    ~FaultTest() override { VXPosixFileCallTable() = Real(); }
    std::string P(std::string const& name) const { return sDir / name; }

    vxtest::TempDir sDir;
};
} // namespace

TEST_F(FaultTest, InterruptedAndShortCallsAreContinued)
{
    std::string data = vxtest::RandomBytes(10000, 1);
    Interrupt<&Table::pfnOpen, &Table::pfnFstat, &Table::pfnFlock, &Table::pfnFtruncate,
              &Table::pfnFsync, &Table::pfnRenameNoReplace, &Table::pfnUnlink, &Table::pfnWrite,
              &Table::pfnPwrite, &Table::pfnPread>();
    for (int round = 0; round < 2; ++round)
    {
        if (round == 1)
        {
            VXPosixFileCallTable().pfnRead = ShortRead;
            VXPosixFileCallTable().pfnPread = ShortPread;
            VXPosixFileCallTable().pfnWrite = ShortWrite;
        }
        std::string name = P("f" + std::to_string(round));
        uint64_t moved = 0;
        {
            VF file = Open(name, VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
            ASSERT_EQ(file.QLastError(), VF::EC_OK);
            EXPECT_EQ(file.Write(data.data(), data.size(), moved), VF::EC_OK);
            EXPECT_EQ(file.WriteAt("END", 3, data.size(), moved), VF::EC_OK);
            EXPECT_EQ(file.Truncate(3), VF::EC_OK);
            EXPECT_EQ(file.Flush(), VF::EC_OK);
            std::string back(data.size() + 50, '\0');
            EXPECT_EQ(file.ReadAt(back.data(), back.size(), 0, moved), VF::EC_OK);
            EXPECT_EQ(back.substr(0, moved), data);
        }
        EXPECT_EQ(VF::CopyFile(name.c_str(), (name + ".copy").c_str(), true), VF::EC_OK);
        EXPECT_EQ(VF::RenameFile((name + ".copy").c_str(), (name + ".moved").c_str(), true),
                  VF::EC_OK);
        EXPECT_EQ(vxtest::ReadFile(name + ".moved"), data);
        EXPECT_EQ(VF::DeleteFile((name + ".moved").c_str()), VF::EC_OK);
    }
}

TEST_F(FaultTest, FullDiskKeepsWhatWasWritten)
{
    std::string data = vxtest::RandomBytes(1000, 2);
    VF file = Open(P("full"), VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
    VXPosixFileCallTable().pfnWrite = FullWrite;
    gSpace = 600;
    uint64_t moved = 0;
    EXPECT_EQ(file.Write(data.data(), data.size(), moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 600u);
    EXPECT_EQ(vxtest::ReadFile(P("full")), data.substr(0, 600));
    // Space again: the rest continues where the failed write stopped.
    gSpace = 1 << 20;
    EXPECT_EQ(file.Write(data.data() + 600, 400, moved), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("full")), data);
    Fail<&Table::pfnPwrite, ENOSPC>();
    EXPECT_EQ(file.WriteAt(data.data(), 10, 2000, moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);

    // A copy that runs out of room removes its own half-written target.
    gSpace = 100;
    EXPECT_EQ(VF::CopyFile(P("full").c_str(), P("copy").c_str(), false), VF::EC_FAILED);
    EXPECT_FALSE(vxtest::FileExists(P("copy")));
}

TEST_F(FaultTest, EveryOperationReportsTheMappedCode)
{
    vxtest::WriteFile(P("f"), "content");
    vxtest::WriteFile(P("g"), "other");
    VF file = Open(P("f"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    char buffer[16];
    uint64_t moved = 9;
    uint64_t size = 9;
    VF::Info info{};
    Fail<&Table::pfnRead, EIO>();
    Fail<&Table::pfnPread, EIO>();
    EXPECT_EQ(file.Read(buffer, 4, moved), VF::EC_FAILED);
    EXPECT_EQ(file.ReadAt(buffer, 4, 0, moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    Fail<&Table::pfnFsync, EIO>();
    EXPECT_EQ(file.Flush(), VF::EC_FAILED);
    Fail<&Table::pfnFtruncate, EROFS>();
    EXPECT_EQ(file.SetEndOfFile(), VF::EC_WRITE_PROTECTED);
    Fail<&Table::pfnLseek, EINVAL>();
    EXPECT_EQ(file.Truncate(1), VF::EC_FAILED);
    Fail<&Table::pfnFstat, EIO>();
    EXPECT_EQ(file.GetSize(size), VF::EC_FAILED);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(file.GetInfo(info), VF::EC_FAILED);
    Fail<&Table::pfnOpen, EROFS>();
    EXPECT_EQ(Open(P("x"), VF::AM_WRITE, VF::OM_CREATE_ALWAYS).QLastError(),
              VF::EC_WRITE_PROTECTED);
    Fail<&Table::pfnOpen, EACCES>();
    EXPECT_EQ(VF::GetSizeOfFile(P("g").c_str(), size), VF::EC_FAILED);
    Fail<&Table::pfnUnlink, EIO>();
    EXPECT_EQ(VF::DeleteFile(P("g").c_str()), VF::EC_FAILED);
    Fail<&Table::pfnRenameNoReplace, EXDEV>();
    EXPECT_EQ(VF::RenameFile(P("g").c_str(), P("h").c_str(), false), VF::EC_FAILED);
    VXPosixFileCallTable() = Real();
    EXPECT_EQ(vxtest::ReadFile(P("f")), "content");
    EXPECT_EQ(vxtest::ReadFile(P("g")), "other");

    // A file system that cannot refuse by itself: the layer looks before it moves.
    Fail<&Table::pfnRenameNoReplace, ENOSYS>();
    EXPECT_EQ(VF::RenameFile(P("f").c_str(), P("g").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(VF::RenameFile(P("f").c_str(), P("g").c_str(), false), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("g")), "content");
}

namespace
{
class Result : public VXSystemFileAsyncFunctor
{
public:
    VF::ErrorCode eCode = VF::EC_INVALID;
    uint64_t uiBytes = 0;

private:
    void operator()(VF::ErrorCode code, uint64_t bytes) override
    {
        eCode = code;
        uiBytes = bytes;
    }
};
} // namespace

TEST_F(FaultTest, AsyncTransfersSurviveInterruptsAndReportErrors)
{
    std::string data = vxtest::RandomBytes(2 * kBlock, 4);
    vxtest::WriteFile(P("a"), data);
    VF file = Open(P("a"), VF::AM_READ, VF::OM_EXISTING, true);
    auto block = AlignedBlock(std::string(2 * kBlock, '\0'));
    Result result;
    Interrupt<&Table::pfnPread, &Table::pfnDup>();
    ASSERT_EQ(file.ReadAsync(block.get(), 2 * kBlock, 0, result), VF::EC_OK);
    EXPECT_TRUE(result.Wait(true));
    EXPECT_EQ(result.eCode, VF::EC_OK);
    EXPECT_EQ(std::string(block.get(), 2 * kBlock), data);

    Fail<&Table::pfnPread, EIO>();
    ASSERT_EQ(file.ReadAsync(block.get(), kBlock, 0, result), VF::EC_OK);
    EXPECT_TRUE(result.Wait(true));
    EXPECT_EQ(result.eCode, VF::EC_FAILED);
    EXPECT_EQ(result.uiBytes, 0u);
    EXPECT_EQ(file.QLastError(), VF::EC_OK); // the transfer's error is not the file's

    Fail<&Table::pfnDup, EMFILE>(); // no descriptor for the transfer: refused at once
    EXPECT_EQ(file.ReadAsync(block.get(), kBlock, 0, result), VF::EC_FAILED);
    EXPECT_TRUE(result.Test());
}
