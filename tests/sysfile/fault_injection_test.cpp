// Faults put in the way of the file layer's system calls: every operation must report the
// mapped code, keep what was already written, and ride over EINTR and short transfers.
#include <gtest/gtest.h>

#if defined(_WIN32)
// The fault table sits in the POSIX half; Windows calls the system directly.
TEST(FaultInjection, PosixOnly)
{
    GTEST_SKIP() << "the fault table exists only in the POSIX half";
}
#else
#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"
#include "platform/posix/VXPosixFileCalls.h"

#include <algorithm>
#include <atomic>
#include <type_traits>

using namespace sysfiletest;
using Table = VXPosixFileCalls;

namespace
{
constexpr auto Real = VXPosixFileCallDefaults;

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
// One fault at a time: the rest of the table is real again.
template <auto Member, int Error> void Fail()
{
    VXPosixFileCallTable() = Real();
    VXPosixFileCallTable().*Member = FakeOf<Member>::template Fail<Error>;
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
    std::string data = vxtest::RandomBytes(2 * kBlock, 1);
    auto roundTrip = [&](std::string const& name)
    {
        uint64_t moved = 0;
        {
            VF file = Open(name, VF::AM_READ_WRITE, VF::OM_CREATE_ALWAYS);
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
    };
    Interrupt<&Table::pfnOpen, &Table::pfnFstat, &Table::pfnFlock, &Table::pfnFtruncate,
              &Table::pfnFsync, &Table::pfnRenameNoReplace, &Table::pfnUnlink, &Table::pfnWrite,
              &Table::pfnPwrite, &Table::pfnPread, &Table::pfnDup>();
    roundTrip(P("interrupted"));

    // The async worker's own descriptor and transfer ride over the interrupts too.
    VF async = Open(P("interrupted"), VF::AM_READ, VF::OM_EXISTING, true);
    Block block = AlignedBlock(2 * kBlock);
    Recorder result;
    ASSERT_EQ(async.ReadAsync(block.get(), 2 * kBlock, 0, result), VF::EC_OK);
    EXPECT_TRUE(result.Wait(true));
    EXPECT_EQ(result.eCode, VF::EC_OK);
    EXPECT_EQ(std::string(block.get(), 2 * kBlock), data);

    // Transfers of at most three bytes at a time.
    Table& calls = VXPosixFileCallTable();
    calls.pfnRead = [](int fd, void* b, size_t n)
    { return Real().pfnRead(fd, b, std::min<size_t>(n, 3)); };
    calls.pfnPread = [](int fd, void* b, size_t n, off_t o)
    { return Real().pfnPread(fd, b, std::min<size_t>(n, 3), o); };
    calls.pfnWrite = [](int fd, void const* b, size_t n)
    { return Real().pfnWrite(fd, b, std::min<size_t>(n, 3)); };
    roundTrip(P("short"));
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
    // A copy that runs out of room removes its own half-written target.
    gSpace = 100;
    EXPECT_EQ(VF::CopyFile(P("full").c_str(), P("copy").c_str(), false), VF::EC_FAILED);
    EXPECT_FALSE(vxtest::FileExists(P("copy")));
}

TEST_F(FaultTest, EveryOperationReportsTheMappedCodeAndKeepsTheData)
{
    vxtest::WriteFile(P("f"), "content");
    vxtest::WriteFile(P("g"), "other");
    VF file = Open(P("f"), VF::AM_READ_WRITE, VF::OM_EXISTING);
    Block block = AlignedBlock(kBlock);
    uint64_t moved = 9;
    VF::Info info{};
    Fail<&Table::pfnRead, EIO>();
    EXPECT_EQ(file.Read(block.get(), 4, moved), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    Fail<&Table::pfnPread, EIO>();
    EXPECT_EQ(file.ReadAt(block.get(), 4, 0, moved = 9), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    Fail<&Table::pfnWrite, ENOSPC>();
    EXPECT_EQ(file.Write("xy", 2, moved = 9), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    Fail<&Table::pfnPwrite, ENOSPC>();
    EXPECT_EQ(file.WriteAt("xy", 2, 2000, moved = 9), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    Fail<&Table::pfnFsync, EIO>();
    EXPECT_EQ(file.Flush(), VF::EC_FAILED);
    Fail<&Table::pfnFtruncate, EROFS>();
    EXPECT_EQ(file.SetEndOfFile(), VF::EC_WRITE_PROTECTED);
    Fail<&Table::pfnLseek, EINVAL>();
    EXPECT_EQ(file.Truncate(1), VF::EC_FAILED);
    Fail<&Table::pfnFstat, EIO>();
    EXPECT_EQ(file.GetSize(moved = 9), VF::EC_FAILED);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(file.GetInfo(info), VF::EC_FAILED);
    Fail<&Table::pfnOpen, EROFS>();
    EXPECT_EQ(Open(P("x"), VF::AM_WRITE, VF::OM_CREATE_ALWAYS).QLastError(),
              VF::EC_WRITE_PROTECTED);
    Fail<&Table::pfnOpen, EACCES>();
    EXPECT_EQ(VF::GetSizeOfFile(P("g").c_str(), moved), VF::EC_FAILED);
    Fail<&Table::pfnUnlink, EIO>();
    EXPECT_EQ(VF::DeleteFile(P("g").c_str()), VF::EC_FAILED);
    Fail<&Table::pfnRenameNoReplace, EXDEV>();
    EXPECT_EQ(VF::RenameFile(P("g").c_str(), P("h").c_str(), false), VF::EC_FAILED);

    // Async: the transfer's error goes to the functor, not the file; no descriptor for
    // the transfer refuses it at once.
    VF async = Open(P("g"), VF::AM_READ, VF::OM_EXISTING, true);
    Recorder result;
    Fail<&Table::pfnPread, EIO>();
    ASSERT_EQ(async.ReadAsync(block.get(), kBlock, 0, result), VF::EC_OK);
    EXPECT_TRUE(result.Wait(true));
    EXPECT_EQ(result.eCode, VF::EC_FAILED);
    EXPECT_EQ(result.uiBytes, 0u);
    EXPECT_EQ(async.QLastError(), VF::EC_OK);
    Fail<&Table::pfnDup, EMFILE>();
    EXPECT_EQ(async.ReadAsync(block.get(), kBlock, 0, result), VF::EC_FAILED);
    EXPECT_TRUE(result.Test());

    VXPosixFileCallTable() = Real();
    EXPECT_EQ(vxtest::ReadFile(P("f")), "content");
    EXPECT_EQ(vxtest::ReadFile(P("g")), "other");
    // A file system that cannot refuse by itself: the layer looks before it moves.
    Fail<&Table::pfnRenameNoReplace, ENOSYS>();
    EXPECT_EQ(VF::RenameFile(P("f").c_str(), P("g").c_str(), true), VF::EC_FAILED);
    EXPECT_EQ(VF::RenameFile(P("f").c_str(), P("g").c_str(), false), VF::EC_OK);
    EXPECT_EQ(vxtest::ReadFile(P("g")), "content");
}
#endif
