#include "SysFileTestHelpers.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace sysfiletest;
using Functor = VXSystemFileAsyncFunctor;

namespace
{
// Long enough for a worker to finish a one-block transfer.
constexpr auto kPause = std::chrono::milliseconds(30);

class AsyncTest : public ::testing::Test
{
protected:
    void SetUp() override { vxtest::WriteFile(sPath, sBytes); }

    vxtest::TempDir sDir;
    std::string sPath = sDir / "data.bin";
    std::string sBytes = vxtest::RandomBytes(2 * kBlock, 3);
    Block pBlock = AlignedBlock(kBlock);
    Recorder kRecorder;
};
} // namespace

TEST_F(AsyncTest, ResultArrivesOnlyInsideTheIssuersAlertableWait)
{
    Functor fresh; // never issued: available
    EXPECT_TRUE(fresh.Wait(true) && fresh.Wait(false) && fresh.Test());
    VF file = Open(sPath, VF::AM_READ_WRITE, VF::OM_EXISTING, true);
    // A read at the end is refused at once, reported as success, and delivers nothing.
    EXPECT_EQ(file.ReadAsync(pBlock.get(), kBlock, 2 * kBlock, kRecorder), VF::EC_OK);
    EXPECT_TRUE(kRecorder.Test());

    ASSERT_EQ(file.ReadAsync(pBlock.get(), kBlock, kBlock, kRecorder), VF::EC_OK);
    std::this_thread::sleep_for(kPause); // the worker is long done, yet nothing was delivered
    EXPECT_FALSE(kRecorder.Test());
    EXPECT_EQ(kRecorder.iCalls, 0);
    EXPECT_TRUE(kRecorder.Wait(true));
    EXPECT_EQ(kRecorder.iCalls, 1);
    EXPECT_EQ(kRecorder.eCode, VF::EC_OK);
    EXPECT_EQ(kRecorder.uiBytes, kBlock);
    EXPECT_EQ(kRecorder.kThread, std::this_thread::get_id());
    EXPECT_EQ(std::string(pBlock.get(), kBlock), sBytes.substr(kBlock));

    // The same functor carries a write next; AlertableSleep delivers it, Test collects.
    std::memset(pBlock.get(), 'w', kBlock);
    ASSERT_EQ(file.WriteAsync(pBlock.get(), kBlock, 2 * kBlock, kRecorder), VF::EC_OK);
    EXPECT_TRUE(Functor::AlertableSleep(Functor::INFINITE_WAIT));
    EXPECT_FALSE(Functor::AlertableSleep(0));
    EXPECT_TRUE(kRecorder.Test());
    EXPECT_EQ(kRecorder.iCalls, 2);
    EXPECT_EQ(vxtest::ReadFile(sPath), sBytes + std::string(kBlock, 'w'));
}

TEST_F(AsyncTest, ForeignThreadsPollButNeverDeliver)
{
    VF plain = Open(sPath, VF::AM_READ, VF::OM_EXISTING); // opened without async: refused
    EXPECT_EQ(plain.ReadAsync(pBlock.get(), kBlock, 0, kRecorder), VF::EC_FAILED);
    EXPECT_TRUE(kRecorder.Test());

    VF file = Open(sPath, VF::AM_READ, VF::OM_EXISTING, true);
    ASSERT_EQ(file.ReadAsync(pBlock.get(), kBlock, 0, kRecorder), VF::EC_OK);
    std::this_thread::sleep_for(kPause);
    std::thread([&] { EXPECT_FALSE(kRecorder.Wait(false) || kRecorder.Test()); }).join();
    EXPECT_EQ(kRecorder.iCalls, 0);
    // A blocking foreign wait ends once the issuer has waited alertably.
    std::thread waiter([&] { EXPECT_TRUE(kRecorder.Wait(true)); });
    std::this_thread::sleep_for(kPause);
    EXPECT_TRUE(Functor::AlertableSleep(Functor::INFINITE_WAIT));
    waiter.join();
    EXPECT_EQ(kRecorder.iCalls, 1);
    EXPECT_EQ(kRecorder.kThread, std::this_thread::get_id());
}
