#include "vxsystem/VXLocks.h"
#include "vxsystem/VXThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace
{
constexpr int kThreads = 4;
constexpr int kRounds = 50000;
constexpr int kSleepingRounds = 10000; // for the locks whose waiters sleep in the kernel

class BodyThread : public VXThread
{
public:
    ~BodyThread() override { Close(); }
    std::function<void()> kBody;
    uint32_t uiSeenId = 0;

protected:
    unsigned int ThreadProc() override
    {
        uiSeenId = GetCurrentThreadId();
        kBody();
        return 7;
    }
};

// Runs body(index) on count VXThreads that start together, so that they contend from the
// first round, and checks that each ran on its own thread and was joined.
void RunThreads(int count, std::function<void(int)> const& body)
{
    std::atomic<bool> go{false};
    std::vector<BodyThread> threads(count);
    for (int i = 0; i < count; ++i)
    {
        threads[i].kBody = [&, i]
        {
            while (!go.load())
                std::this_thread::yield();
            body(i);
        };
        EXPECT_TRUE(threads[i].Initialize(VXThread::STACK_16K, "LocksStress"));
        EXPECT_FALSE(threads[i].Initialize(0, nullptr)); // already running
        threads[i].SetThreadPriority(0);
    }
    go = true;
    for (BodyThread& thread : threads)
    {
        thread.Close();
        EXPECT_EQ(thread.QExitCode(), 7u);
        EXPECT_NE(thread.uiSeenId, VXThread::GetCurrentThreadId());
    }
    EXPECT_TRUE(count == 1 || threads[0].uiSeenId != threads[count - 1].uiSeenId);
}

// Data that the lock must protect: a read-modify-write that now and then yields while
// holding, so that a lock letting two threads in shows as a lost count or an overlap.
struct Guarded
{
    long lFirst = 0;
    long lSecond = 0;
    std::atomic<int> iInside{0};
    std::atomic<bool> bOverlap{false};
    void Bump(int round)
    {
        if (iInside.fetch_add(1, std::memory_order_relaxed) != 0)
            bOverlap.store(true, std::memory_order_relaxed);
        long first = lFirst;
        if (round % 64 == 0)
            std::this_thread::yield();
        lFirst = first + 1;
        if (round % 64 == 32)
            std::this_thread::yield(); // readers must not see the halves differ
        ++lSecond;
        iInside.fetch_sub(1, std::memory_order_relaxed);
    }
};

// Runs rounds rounds of body(thread, round, data) on each of count threads; body bumps
// the data under the lock. No bump may overlap another, nor be lost.
void ExpectBumps(long expected, int count, int rounds,
                 std::function<void(int, int, Guarded&)> const& body)
{
    Guarded data;
    RunThreads(count,
               [&](int index)
               {
                   for (int i = 0; i < rounds; ++i)
                       body(index, i, data);
               });
    EXPECT_EQ(data.lFirst, expected);
    EXPECT_EQ(data.lSecond, expected);
    EXPECT_FALSE(data.bOverlap.load());
}

// Starts count waiters, then signals from another thread 10 ms later. Every waiter must
// be let through before its 5 s time-out: a lost wake-up shows as a failed wait.
void ExpectWoken(int count, std::function<bool()> const& wait, std::function<void()> const& signal)
{
    std::atomic<int> woken{0};
    std::thread signaller(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            signal();
        });
    RunThreads(count, [&](int) { woken.fetch_add(wait()); });
    signaller.join();
    EXPECT_EQ(woken.load(), count);
}
} // namespace

TEST(LocksStress, SpinLocksGiveExactCounts)
{
    VXSpinLock reentrant;
    ExpectBumps(kThreads * kRounds, kThreads, kRounds,
                [&](int, int round, Guarded& data)
                {
                    reentrant.Lock("stress");
                    reentrant.Lock(nullptr); // the owner enters again
                    data.Bump(round);
                    reentrant.Unlock();
                    EXPECT_EQ(reentrant.QOwnerThread(), VXThread::GetCurrentThreadId());
                    reentrant.Unlock();
                });
    EXPECT_EQ(reentrant.QOwnerThread(), 0u);

    VXNonReentrantSpinLock plain;
    ExpectBumps(kThreads * kRounds, kThreads, kRounds,
                [&](int, int round, Guarded& data)
                {
                    if (round % 4 != 0 || !plain.TryLock())
                        plain.Lock();
                    data.Bump(round);
                    plain.Unlock();
                });
    EXPECT_TRUE(plain.TryLock());
    EXPECT_FALSE(plain.TryLock());
    plain.Unlock();

    static_assert(sizeof(VXSafeSleep) == 4); // the spin back-off fits one zeroed word
}

TEST(LocksStress, CriticalSectionIsReentrantAndTracksOwner)
{
    VXCriticalSection section;
    ExpectBumps(kThreads * kRounds, kThreads, kRounds,
                [&](int, int round, Guarded& data)
                {
                    section.Enter("outer");
                    section.Lock("inner");
                    EXPECT_EQ(section.QOwnerThread(), VXThread::GetCurrentThreadId());
                    EXPECT_EQ(section.QLockCount(), 2u);
                    data.Bump(round);
                    section.Unlock();
                    EXPECT_EQ(section.QLockCount(), 1u);
                    section.Unlock();
                });
    EXPECT_EQ(section.QOwnerThread(), 0u);
    EXPECT_EQ(section.QLockCount(), 0u);

    section.Unlock(); // not held: ignored
    section.Enter();
    std::thread(
        [&]
        {
            EXPECT_FALSE(section.TryLock());
            section.Unlock(); // not the owner: ignored
        })
        .join();
    EXPECT_EQ(section.QLockCount(), 1u);
    section.Unlock();
    EXPECT_TRUE(section.TryLock());
    section.Unlock();
}

TEST(LocksStress, ReadWriteLockExcludesWritersFromReaders)
{
    VXReadWriteLock lock;
    std::atomic<int> readersInside{0};
    std::atomic<bool> broken{false};
    ExpectBumps(8 * kRounds, 5, 4 * kRounds,
                [&](int index, int round, Guarded& data)
                {
                    if (index < 2) // writers
                    {
                        lock.LockForWrite();
                        bool alone = readersInside.load() == 0;
                        data.Bump(round); // no reader may come in meanwhile either
                        if (!alone || readersInside.load() != 0)
                            broken = true;
                        lock.UnlockWrite();
                        return;
                    }
                    lock.LockForRead();
                    readersInside.fetch_add(1);
                    if (round % 64 == 0)
                        std::this_thread::yield();
                    if (data.iInside.load() != 0 || data.lFirst != data.lSecond)
                        broken = true;
                    readersInside.fetch_sub(1);
                    lock.UnlockRead();
                });
    EXPECT_FALSE(broken.load());
}

TEST(LocksStress, SemaphoresWithOneUnitExcludeLikeLocks)
{
    VXSemaphore semaphore(1, 1);
    ASSERT_TRUE(semaphore.QValid());
    ExpectBumps(kThreads * kSleepingRounds, kThreads, kSleepingRounds,
                [&](int, int round, Guarded& data)
                {
                    EXPECT_EQ(semaphore.Wait(-1), 1);
                    data.Bump(round);
                    EXPECT_EQ(semaphore.Signal(1), 1);
                });

    VXSemaphore pair(0, 2); // two units at once wake two waiters
    ExpectWoken(
        2, [&] { return pair.Wait(5000) == 1; }, [&] { EXPECT_EQ(pair.Signal(2), 1); });

    VXSemaphore small(1, 2);
    EXPECT_EQ(small.Signal(2), 0); // would pass the maximum: nothing added
    EXPECT_EQ(small.Signal(0), 0);
    EXPECT_EQ(small.Wait(0), 1);
    EXPECT_EQ(small.Signal(2), 1);
    EXPECT_EQ(small.Wait(0) + small.Wait(0), 2);
    EXPECT_EQ(small.Wait(20), 0); // empty: times out

    VXCountedSemaphore gate; // at most one unit
    EXPECT_EQ(gate.Signal(), 1);
    EXPECT_EQ(gate.Signal(), 0);
    ExpectBumps(kThreads * kSleepingRounds, kThreads, kSleepingRounds,
                [&](int, int round, Guarded& data)
                {
                    EXPECT_EQ(gate.Wait(), 1);
                    data.Bump(round);
                    EXPECT_EQ(gate.Signal(), 1);
                });
    EXPECT_EQ(gate.QCount(), 1);

    VXCountedSemaphore refusing; // a full handle takes no unit: the count must not rise
    VXSemaphore::CloseHandle(refusing.hSemaphore);
    refusing.hSemaphore = VXSemaphore::CreateHandle(1, 1);
    EXPECT_EQ(refusing.Signal(), 0);
    EXPECT_EQ(refusing.QCount(), 0);
}

TEST(LocksStress, EventFlagsLetOneThroughOrAll)
{
    VXEventFlag token(false, true, "token"); // auto-reset: one waiter through per Set
    ExpectBumps(kThreads * kSleepingRounds, kThreads, kSleepingRounds,
                [&](int, int round, Guarded& data)
                {
                    EXPECT_TRUE(token.Wait(-1));
                    data.Bump(round);
                    token.Set();
                });
    EXPECT_TRUE(token.Wait(0));
    EXPECT_FALSE(token.Wait(0)); // consumed

    VXEventFlag gate(true, false); // manual reset: one Set lets all waiters through
    ExpectWoken(
        3, [&] { return gate.Wait(5000); }, [&] { gate.Set(); });
    EXPECT_TRUE(gate.Wait(0)); // manual reset: stays set
    gate.Reset();
    EXPECT_FALSE(gate.Wait(10));

    VXEventFlag other;
    VXEventFlag* flags[] = {&token, &other};
    EXPECT_EQ(VXEventFlag::WaitMultiple(flags, 2, false, 10), -1);
    ExpectWoken(
        1, [&] { return VXEventFlag::WaitMultiple(flags, 2, false, 5000) == 1; },
        [&] { other.Set(); });
    token.Set(); // one set now, the other later
    ExpectWoken(
        1, [&] { return VXEventFlag::WaitMultiple(flags, 2, true, 5000) == 0; },
        [&] { other.Set(); });
    EXPECT_FALSE(token.Wait(0) || other.Wait(0)); // all taken by the multiple waits
    VXEventFlag* withNull[] = {&token, nullptr};
    EXPECT_EQ(VXEventFlag::WaitMultiple(withNull, 2, false, 0), -1);
}

// A thread that lets itself go may be freed by its owner at once; what is left of its run
// must not write into the object (AddressSanitizer sees such a write).
TEST(LocksStress, ThreadThatClosesItselfLeavesItsFreedObjectAlone)
{
    // Never destroyed: the released thread may still be inside freed.Wait at exit.
    static VXEventFlag& closed = *new VXEventFlag;
    static VXEventFlag& freed = *new VXEventFlag;
    struct SelfClosing : VXThread
    {
        unsigned int ThreadProc() override
        {
            Close();
            closed.Set();
            freed.Wait(-1);
            return 7;
        }
    };
    auto* thread = new SelfClosing;
    ASSERT_TRUE(thread->Initialize(0, "SelfClosing"));
    EXPECT_TRUE(closed.Wait(-1));
    EXPECT_FALSE(thread->QStarted());
    delete thread;
    freed.Set();
}
