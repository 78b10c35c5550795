#include "vxsystem/VXLocks.h"
#include "vxsystem/VXThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <new>
#include <thread>
#include <vector>

namespace
{
constexpr int kThreads = 4;
constexpr int kRounds = 100000;

// Starts the bodies together so that they contend from the first round.
void RunThreads(int count, std::function<void(int)> const& body)
{
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(
            [&, i]
            {
                waiting.fetch_sub(1);
                while (waiting.load() != 0)
                    std::this_thread::yield();
                body(i);
            });
    for (std::thread& thread : threads)
        thread.join();
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
} // namespace

TEST(LocksStress, SpinLocksGiveExactCounts)
{
    VXSpinLock reentrant;
    VXNonReentrantSpinLock plain;
    Guarded a;
    Guarded b;
    std::atomic<int> tryFailures{0};
    RunThreads(kThreads,
               [&](int)
               {
                   for (int i = 0; i < kRounds; ++i)
                   {
                       reentrant.Lock("stress");
                       reentrant.Lock(nullptr); // the owner enters again
                       EXPECT_EQ(reentrant.QOwnerThread(), VXThread::GetCurrentThreadId());
                       a.Bump(i);
                       reentrant.Unlock();
                       EXPECT_EQ(reentrant.QOwnerThread(), VXThread::GetCurrentThreadId());
                       reentrant.Unlock();

                       if (i % 4 == 0 && !plain.TryLock())
                       {
                           tryFailures.fetch_add(1, std::memory_order_relaxed);
                           plain.Lock();
                       }
                       else if (i % 4 != 0)
                           plain.Lock();
                       b.Bump(i);
                       plain.Unlock();
                   }
               });
    EXPECT_EQ(a.lFirst, kThreads * kRounds);
    EXPECT_EQ(a.lSecond, a.lFirst);
    EXPECT_EQ(b.lFirst, kThreads * kRounds);
    EXPECT_EQ(b.lSecond, b.lFirst);
    EXPECT_FALSE(a.bOverlap.load() || b.bOverlap.load());
    EXPECT_EQ(reentrant.QOwnerThread(), 0u);
    EXPECT_TRUE(plain.TryLock());
    EXPECT_FALSE(plain.TryLock());
    plain.Unlock();
}

TEST(LocksStress, CriticalSectionIsReentrantAndTracksOwner)
{
    VXCriticalSection section;
    Guarded counter;
    RunThreads(kThreads,
               [&](int)
               {
                   uint32_t self = VXThread::GetCurrentThreadId();
                   for (int i = 0; i < kRounds; ++i)
                   {
                       section.Enter("outer");
                       section.Lock("inner");
                       EXPECT_EQ(section.QOwnerThread(), self);
                       EXPECT_EQ(section.QLockCount(), 2u);
                       counter.Bump(i);
                       section.Unlock();
                       EXPECT_EQ(section.QLockCount(), 1u);
                       section.Unlock();
                   }
               });
    EXPECT_EQ(counter.lFirst, kThreads * kRounds);
    EXPECT_EQ(counter.lSecond, counter.lFirst);
    EXPECT_FALSE(counter.bOverlap.load());
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
    Guarded data;
    std::atomic<int> readersInside{0};
    std::atomic<int> writersInside{0};
    std::atomic<bool> broken{false};
    constexpr int kWriters = 2;
    constexpr int kWrites = 10000;
    RunThreads(5,
               [&](int index)
               {
                   if (index < kWriters)
                   {
                       for (int i = 0; i < kWrites; ++i)
                       {
                           lock.LockForWrite();
                           if (writersInside.fetch_add(1) != 0 || readersInside.load() != 0)
                               broken = true;
                           data.Bump(i);
                           writersInside.fetch_sub(1);
                           lock.UnlockWrite();
                       }
                       return;
                   }
                   for (int i = 0; i < 3 * kWrites; ++i)
                   {
                       lock.LockForRead();
                       readersInside.fetch_add(1);
                       if (i % 64 == 0)
                           std::this_thread::yield();
                       if (writersInside.load() != 0 || data.lFirst != data.lSecond)
                           broken = true;
                       readersInside.fetch_sub(1);
                       lock.UnlockRead();
                   }
               });
    EXPECT_FALSE(broken.load());
    EXPECT_EQ(data.lFirst, kWriters * kWrites);
}

TEST(LocksStress, SemaphoreCountsEveryUnit)
{
    VXSemaphore semaphore(0, 0x40000000);
    ASSERT_TRUE(semaphore.QValid());
    constexpr int kUnits = 4000;
    std::atomic<int> taken{0};
    RunThreads(4,
               [&](int index)
               {
                   if (index < 2)
                   {
                       for (int i = 0; i < kUnits / 4; ++i)
                           EXPECT_EQ(semaphore.Signal(2), 1); // two units, two waiters woken
                       return;
                   }
                   for (int i = 0; i < kUnits / 2; ++i)
                       if (semaphore.Wait(-1) == 1)
                           taken.fetch_add(1);
               });
    EXPECT_EQ(taken.load(), kUnits);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(semaphore.Wait(20), 0); // empty: times out
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(19));

    VXSemaphore small(1, 2);
    EXPECT_EQ(small.Signal(2), 0); // would pass the maximum: nothing added
    EXPECT_EQ(small.Signal(0), 0);
    EXPECT_EQ(small.Signal(1), 1);
    EXPECT_EQ(small.Wait(0), 1);
    EXPECT_EQ(small.Wait(0), 1);
    EXPECT_EQ(small.Wait(0), 0);
}

TEST(LocksStress, CountedSemaphoreStopsAtItsMaximum)
{
    VXCountedSemaphore gate;
    EXPECT_EQ(gate.iCount.load(), 0);
    EXPECT_EQ(gate.iMaxCount, 1);
    EXPECT_EQ(gate.Signal(), 1);
    EXPECT_EQ(gate.Signal(), 0);
    EXPECT_EQ(gate.QCount(), 1);
    EXPECT_EQ(gate.Wait(), 1);
    EXPECT_EQ(gate.QCount(), 0);

    std::atomic<int> passed{0};
    std::thread waiter(
        [&]
        {
            for (int i = 0; i < 200; ++i)
            {
                gate.Wait();
                passed.fetch_add(1);
            }
        });
    for (int sent = 0; sent < 200;)
        if (gate.Signal() == 1)
            ++sent;
        else
            std::this_thread::yield();
    waiter.join();
    EXPECT_EQ(passed.load(), 200);
    EXPECT_EQ(gate.QCount(), 0);
}

TEST(LocksStress, EventFlagsPingPongAndBroadcast)
{
    VXEventFlag ping;
    VXEventFlag pong(false, false, "pong");
    long turn = 0;
    std::thread other(
        [&]
        {
            for (int i = 0; i < 1000; ++i)
            {
                EXPECT_TRUE(ping.Wait(-1));
                ++turn; // ordered by the flags alone
                pong.Set();
            }
        });
    for (int i = 0; i < 1000; ++i)
    {
        ping.Set();
        EXPECT_TRUE(pong.Wait(-1));
        EXPECT_EQ(turn, i + 1);
    }
    other.join();
    EXPECT_FALSE(ping.Wait(0)); // auto-reset: consumed

    VXEventFlag gate(true, false);
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back(
            [&]
            {
                if (gate.Wait(-1))
                    through.fetch_add(1);
            });
    gate.Set();
    for (std::thread& thread : waiters)
        thread.join();
    EXPECT_EQ(through.load(), 3);
    EXPECT_TRUE(gate.Wait(0)); // manual reset: stays set
    gate.Reset();
    EXPECT_FALSE(gate.Wait(10));
}

TEST(LocksStress, WaitMultipleFindsTheSignalledFlag)
{
    VXEventFlag first;
    VXEventFlag second;
    VXEventFlag* flags[] = {&first, &second};
    EXPECT_EQ(VXEventFlag::WaitMultiple(flags, 2, false, 10), -1);
    std::thread setter(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            second.Set();
        });
    EXPECT_EQ(VXEventFlag::WaitMultiple(flags, 2, false, 5000), 1);
    setter.join();
    EXPECT_FALSE(second.Wait(0)); // taken by the multiple wait

    std::thread both(
        [&]
        {
            first.Set();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            second.Set();
        });
    EXPECT_EQ(VXEventFlag::WaitMultiple(flags, 2, true, 5000), 0);
    both.join();
    EXPECT_FALSE(first.Wait(0));
    VXEventFlag* withNull[] = {&first, nullptr};
    EXPECT_EQ(VXEventFlag::WaitMultiple(withNull, 2, false, 0), -1);
}

namespace
{
class CountingThread : public VXThread
{
public:
    CountingThread(VXCriticalSection& section, long& counter) : rSection(section), rCounter(counter)
    {
    }
    ~CountingThread() override { Close(); }
    std::atomic<uint32_t> uiSeenId{0};

protected:
    unsigned int ThreadProc() override
    {
        uiSeenId = GetCurrentThreadId();
        for (int i = 0; i < kRounds; ++i)
        {
            rSection.Lock();
            ++rCounter;
            rSection.Unlock();
        }
        return 7;
    }

private:
    VXCriticalSection& rSection;
    long& rCounter;
};
} // namespace

TEST(LocksStress, ThreadsRunTheirProcAndJoin)
{
    VXCriticalSection section;
    long counter = 0;
    CountingThread threads[3] = {{section, counter}, {section, counter}, {section, counter}};
    for (CountingThread& thread : threads)
    {
        ASSERT_TRUE(thread.Initialize(VXThread::STACK_16K, "CoreStressThread"));
        EXPECT_FALSE(thread.Initialize(0, nullptr)); // already running
        thread.SetThreadPriority(0);
    }
    for (CountingThread& thread : threads)
    {
        thread.Close();
        EXPECT_EQ(thread.QExitCode(), 7u);
        EXPECT_NE(thread.uiSeenId.load(), 0u);
        EXPECT_NE(thread.uiSeenId.load(), VXThread::GetCurrentThreadId());
    }
    EXPECT_EQ(counter, 3 * kRounds);
    EXPECT_NE(threads[0].uiSeenId.load(), threads[1].uiSeenId.load());
}

TEST(LocksStress, SafeSleepStartsFromZeroedMemory)
{
    alignas(VXSafeSleep) unsigned char storage[sizeof(VXSafeSleep)];
    std::memset(storage, 0, sizeof(storage));
    static_assert(sizeof(VXSafeSleep) == 4);
    auto* sleeper = reinterpret_cast<VXSafeSleep*>(storage);
    for (int i = 0; i < 20; ++i)
        sleeper->Sleep();
    EXPECT_EQ(sleeper->QCounter(), 20u);
    sleeper->Reset();
    EXPECT_EQ(sleeper->QCounter(), 0u);
}
