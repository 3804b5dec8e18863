// The lock of one publisher, against one contract on both systems.
#include <atomic>
#include <thread>

#include "tests/platform/platform_test_support.h"

typedef VOInstanceLock::Result LockResult;

TEST(InstanceLock, IsFreeAtFirst)
{
    const VOWString strName = UniqueName("lock");
    VOInstanceLock lock;
    EXPECT_FALSE(lock.IsHeld());
    EXPECT_EQ(LockResult::Acquired, lock.TryAcquire(strName.c_str()));
    EXPECT_TRUE(lock.IsHeld());
}

TEST(InstanceLock, IsHeldAgainstAnotherObjectOfTheSameProcess)
{
    const VOWString strName = UniqueName("samelock");
    VOInstanceLock first;
    VOInstanceLock second;
    ASSERT_EQ(LockResult::Acquired, first.TryAcquire(strName.c_str()));
    EXPECT_EQ(LockResult::HeldByOther, second.TryAcquire(strName.c_str()));
    EXPECT_EQ(VOProcessId(), second.HolderProcessId());
    EXPECT_FALSE(second.IsHeld());
}

TEST(InstanceLock, IsFreeAfterItsRelease)
{
    const VOWString strName = UniqueName("released");
    VOInstanceLock first;
    VOInstanceLock second;
    ASSERT_EQ(LockResult::Acquired, first.TryAcquire(strName.c_str()));
    first.Release();
    EXPECT_FALSE(first.IsHeld());
    EXPECT_EQ(LockResult::Acquired, second.TryAcquire(strName.c_str()));
    second.Release();
    {
        VOInstanceLock scoped;
        EXPECT_EQ(LockResult::Acquired, scoped.TryAcquire(strName.c_str()));
    }
    EXPECT_EQ(LockResult::Acquired, first.TryAcquire(strName.c_str()));
}

TEST(InstanceLock, BelongsToItsName)
{
    VOInstanceLock first;
    VOInstanceLock second;
    EXPECT_EQ(LockResult::Acquired, first.TryAcquire(UniqueName("one").c_str()));
    EXPECT_EQ(LockResult::Acquired, second.TryAcquire(UniqueName("two").c_str()));
}

TEST(InstanceLock, IsNotTakenTwiceByOneObject)
{
    VOInstanceLock lock;
    ASSERT_EQ(LockResult::Acquired, lock.TryAcquire(UniqueName("once").c_str()));
    EXPECT_EQ(LockResult::Error, lock.TryAcquire(UniqueName("more").c_str()));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    EXPECT_TRUE(lock.IsHeld());
}

TEST(InstanceLock, NeedsAName)
{
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Error, lock.TryAcquire(VOTEXT("")));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(LockResult::Error, lock.TryAcquire(nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(InstanceLock, GoesWithASectionOfTheSameName)
{
    const SectionName name("both");
    VOPublishedSection section;
    VOInstanceLock lock;
    EXPECT_TRUE(section.OpenOrCreate(name.Get(), 100));
    EXPECT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
}

TEST(InstanceLockOfAnotherProcess, IsReportedWithItsHolder)
{
    const SectionName name("holder");
    ChildProcess child("lock", name.Ascii());
    ASSERT_EQ("acquired", child.ReadLine());
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::HeldByOther, lock.TryAcquire(name.Get()));
    EXPECT_EQ(child.ProcessId(), lock.HolderProcessId());
    ChildProcess third("lock", name.Ascii());
    EXPECT_EQ("held by " + std::to_string(child.ProcessId()), third.ReadLine());
}

TEST(InstanceLockOfAnotherProcess, IsFreeWhenTheProcessIsKilled)
{
    const SectionName name("killedlock");
    ChildProcess child("lock", name.Ascii());
    ASSERT_EQ("acquired", child.ReadLine());
    child.Kill();
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
    ChildProcess next("lock", name.Ascii());
    EXPECT_EQ("held by " + std::to_string(VOProcessId()), next.ReadLine());
}

TEST(InstanceLockOfAnotherProcess, IsFreeWhenTheProcessEnds)
{
    const SectionName name("endedlock");
    ChildProcess child("lock", name.Ascii());
    ASSERT_EQ("acquired", child.ReadLine());
    child.WriteLine("");
    ASSERT_EQ(0, child.WaitForEnd());
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
}

TEST(InstanceLockThreads, HoldItOneAtATime)
{
    const VOWString strName = UniqueName("contended");
    std::atomic<int> nHolders{0};
    std::atomic<bool> bShared{false};
    std::atomic<unsigned> uAcquired{0};
    std::vector<std::thread> vecThreads;
    for (unsigned uThread = 0; uThread < 4; ++uThread)
    {
        vecThreads.emplace_back(
            [&]
            {
                // Every thread goes on until it has had the lock often enough, so that all of them meet.
                for (unsigned uMine = 0; uMine < 50;)
                {
                    VOInstanceLock lock;
                    const LockResult eResult = lock.TryAcquire(strName.c_str());
                    if (eResult == LockResult::Acquired)
                    {
                        bShared = bShared || ++nHolders != 1;
                        std::this_thread::yield();
                        --nHolders;
                        ++uMine;
                        ++uAcquired;
                    }
                    else if (eResult == LockResult::Error)
                    {
                        return;
                    }
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(200u, uAcquired.load());
    EXPECT_FALSE(bShared.load());
}
