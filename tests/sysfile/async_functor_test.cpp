#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"
#include "vxsystem/VXSystemFileAsyncFunctor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace sysfiletest;
using VF = VXSystemFile;

namespace
{
// Records what the completion told it, and on which thread.
class Recorder : public VXSystemFileAsyncFunctor
{
public:
    int iCalls = 0;
    VF::ErrorCode eCode = VF::EC_INVALID;
    uint64_t uiBytes = 0;
    std::thread::id kThread;

private:
    void operator()(VF::ErrorCode code, uint64_t bytes) override
    {
        ++iCalls;
        eCode = code;
        uiBytes = bytes;
        kThread = std::this_thread::get_id();
    }
};

class AsyncTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        sBytes = vxtest::RandomBytes(2 * kBlock, 3);
        vxtest::WriteFile(sDir / "data.bin", sBytes);
    }
    VF OpenData(VF::AccessMode access)
    {
        return Open(sDir / "data.bin", access, VF::OM_EXISTING, true);
    }

    vxtest::TempDir sDir;
    std::string sBytes;
};

void Pause()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}
} // namespace

TEST_F(AsyncTest, FreshFunctorAndRefusedIssueAreAvailable)
{
    VXSystemFileAsyncFunctor fresh;
    EXPECT_TRUE(fresh.Wait(true));
    EXPECT_TRUE(fresh.Wait(false));
    EXPECT_TRUE(fresh.Test());

    VF plain = Open(sDir / "data.bin", VF::AM_READ, VF::OM_EXISTING, false);
    auto block = AlignedBlock(std::string(kBlock, '\0'));
    Recorder recorder;
    EXPECT_EQ(plain.ReadAsync(block.get(), kBlock, 0, recorder), VF::EC_FAILED);
    EXPECT_EQ(plain.QLastError(), VF::EC_FAILED);
    EXPECT_TRUE(recorder.Wait(true));

    // A read at the end is refused at once, and reported as success.
    VF file = OpenData(VF::AM_READ);
    EXPECT_EQ(file.ReadAsync(block.get(), kBlock, 2 * kBlock, recorder), VF::EC_OK);
    EXPECT_TRUE(recorder.Test());
    EXPECT_EQ(recorder.iCalls, 0);
}

TEST_F(AsyncTest, ResultArrivesOnlyInsideTheIssuersAlertableWait)
{
    VF file = OpenData(VF::AM_READ_WRITE);
    auto block = AlignedBlock(std::string(kBlock, '\0'));
    Recorder recorder;
    ASSERT_EQ(file.ReadAsync(block.get(), kBlock, kBlock, recorder), VF::EC_OK);
    Pause(); // the worker is long done, yet nothing was delivered
    EXPECT_FALSE(recorder.Test());
    EXPECT_EQ(recorder.iCalls, 0);
    EXPECT_TRUE(recorder.Wait(true));
    EXPECT_EQ(recorder.iCalls, 1);
    EXPECT_EQ(recorder.eCode, VF::EC_OK);
    EXPECT_EQ(recorder.uiBytes, kBlock);
    EXPECT_EQ(recorder.kThread, std::this_thread::get_id());
    EXPECT_EQ(std::string(block.get(), kBlock), sBytes.substr(kBlock));

    // The same functor carries a write next; AlertableSleep delivers it, Test collects.
    std::memset(block.get(), 'w', kBlock);
    ASSERT_EQ(file.WriteAsync(block.get(), kBlock, 2 * kBlock, recorder), VF::EC_OK);
    EXPECT_TRUE(VXSystemFileAsyncFunctor::AlertableSleep(VXSystemFileAsyncFunctor::INFINITE_WAIT));
    EXPECT_FALSE(VXSystemFileAsyncFunctor::AlertableSleep(0));
    EXPECT_TRUE(recorder.Test());
    EXPECT_EQ(recorder.iCalls, 2);
    EXPECT_EQ(vxtest::ReadFile(sDir / "data.bin"), sBytes + std::string(kBlock, 'w'));
}

TEST_F(AsyncTest, ForeignThreadsPollButNeverDeliver)
{
    VF file = OpenData(VF::AM_READ);
    auto block = AlignedBlock(std::string(kBlock, '\0'));
    Recorder recorder;
    ASSERT_EQ(file.ReadAsync(block.get(), kBlock, 0, recorder), VF::EC_OK);
    Pause();
    bool waitFalse = true;
    bool test = true;
    std::thread(
        [&]
        {
            waitFalse = recorder.Wait(false);
            test = recorder.Test();
        })
        .join();
    EXPECT_FALSE(waitFalse);
    EXPECT_FALSE(test);
    EXPECT_EQ(recorder.iCalls, 0);

    // A blocking foreign wait ends once the issuer has waited alertably.
    std::thread waiter([&] { EXPECT_TRUE(recorder.Wait(true)); });
    Pause();
    EXPECT_TRUE(VXSystemFileAsyncFunctor::AlertableSleep(VXSystemFileAsyncFunctor::INFINITE_WAIT));
    waiter.join();
    EXPECT_EQ(recorder.iCalls, 1);
    EXPECT_EQ(recorder.kThread, std::this_thread::get_id());
    EXPECT_TRUE(recorder.Test());
}

TEST_F(AsyncTest, CompletionsOfAnEndedThreadAreDropped)
{
    // Static: the transfer may still be running when the test ends.
    alignas(kBlock) static char block[kBlock];
    static Recorder recorder;
    VF file = OpenData(VF::AM_READ);
    std::thread([&] { EXPECT_EQ(file.ReadAsync(block, kBlock, 0, recorder), VF::EC_OK); }).join();
    Pause();
    EXPECT_FALSE(recorder.Wait(false)); // still busy: its issuer is gone
    EXPECT_EQ(recorder.iCalls, 0);
}
