// The state with a history, the guard of an integer, the reference count and the event that is accepted or rejected.
#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "support/log_capture.h"
#include "vo_small_objects.h"

using namespace votest;

namespace
{

// ---------------------------------------------------------------------------------------------------------------------
// VOStackLock
// ---------------------------------------------------------------------------------------------------------------------

class OpenStackLock : public VOStackLock
{
public:
    using VOStackLock::m_nLockState;
    using VOStackLock::m_stackLockedState;
    using VOStackLock::VOStackLock;
};

const std::string kNothingSaved =
    CheckLine("VO_PROCESS_ERROR", "!m_stackLockedState.empty()", "VOStackLock::ReleaseLock");

TEST(StackLock, BeginsWithTheGivenStateAndNothingSaved)
{
    EXPECT_EQ(0, VOStackLock().IsLocked());
    EXPECT_EQ(-7, VOStackLock(-7).IsLocked());
    EXPECT_TRUE(OpenStackLock(3).m_stackLockedState.empty());
}

TEST(StackLock, ReleasesInTheReverseOrderOfLocking)
{
    LogCapture kLog;
    VOStackLock kLock(0);
    EXPECT_EQ(0, kLock.IsLocked());
    EXPECT_EQ(1, kLock.DoLock(5));
    EXPECT_EQ(1, kLock.DoLock(7));
    EXPECT_EQ(7, kLock.IsLocked());
    EXPECT_EQ(1, kLock.ReleaseLock());
    EXPECT_EQ(5, kLock.IsLocked());
    EXPECT_EQ(1, kLock.ReleaseLock());
    EXPECT_EQ(0, kLock.IsLocked());
    EXPECT_EQ(0u, kLog.Count());
    EXPECT_EQ(0, kLock.ReleaseLock());
    EXPECT_EQ(0, kLock.IsLocked());
    EXPECT_THAT(kLog.Lines(), testing::ElementsAre(kNothingSaved));
}

TEST(StackLock, AReleaseTooManyLeavesTheStateAsItIs)
{
    LogCapture kLog;
    VOStackLock kLock(9);
    EXPECT_EQ(0, kLock.ReleaseLock());
    EXPECT_EQ(9, kLock.IsLocked());
    EXPECT_EQ(1, kLock.DoLock(1));
    EXPECT_EQ(1, kLock.ReleaseLock());
    EXPECT_EQ(9, kLock.IsLocked());
    EXPECT_EQ(1u, kLog.Count());
}

TEST(StackLock, LockingWithTheCurrentStateNeedsItsReleaseToo)
{
    VOStackLock kLock(4);
    EXPECT_EQ(1, kLock.DoLock(4));
    EXPECT_EQ(1, kLock.DoLock(6));
    EXPECT_EQ(1, kLock.ReleaseLock());
    EXPECT_EQ(4, kLock.IsLocked());
    EXPECT_EQ(1, kLock.ReleaseLock());
    EXPECT_EQ(4, kLock.IsLocked());
    LogCapture kLog;
    EXPECT_EQ(0, kLock.ReleaseLock());
    EXPECT_EQ(1u, kLog.Count());
}

TEST(StackLock, KeepsTheSavedStatesInOrderNewestAtTheBack)
{
    OpenStackLock kLock(1);
    kLock.DoLock(2);
    kLock.DoLock(3);
    EXPECT_THAT(kLock.m_stackLockedState, testing::ElementsAre(1, 2));
    EXPECT_EQ(3, kLock.m_nLockState);
}

TEST(StackLock, ACopyHasTheStateAndTheWholeStackAndGoesItsOwnWay)
{
    VOStackLock kLock(1);
    kLock.DoLock(2);
    kLock.DoLock(3);
    VOStackLock kCopy(kLock);
    VOStackLock kAssigned(99);
    kAssigned.DoLock(98);
    kAssigned = kLock;
    EXPECT_EQ(1, kLock.ReleaseLock());
    for (VOStackLock* const pkLock : {&kCopy, &kAssigned})
    {
        EXPECT_EQ(3, pkLock->IsLocked());
        EXPECT_EQ(1, pkLock->ReleaseLock());
        EXPECT_EQ(2, pkLock->IsLocked());
        EXPECT_EQ(1, pkLock->ReleaseLock());
        EXPECT_EQ(1, pkLock->IsLocked());
    }
    EXPECT_EQ(2, kLock.IsLocked());
}

TEST(StackLock, HasNoLimitButMemory)
{
    VOStackLock kLock;
    for (int i = 1; i <= 100000; ++i)
    {
        ASSERT_EQ(1, kLock.DoLock(i));
    }
    for (int i = 100000; i > 0; --i)
    {
        ASSERT_EQ(i, kLock.IsLocked());
        ASSERT_EQ(1, kLock.ReleaseLock());
    }
    EXPECT_EQ(0, kLock.IsLocked());
}

static_assert(std::has_virtual_destructor_v<VOStackLock>);

// ---------------------------------------------------------------------------------------------------------------------
// ZRecoverState
// ---------------------------------------------------------------------------------------------------------------------

TEST(RecoverState, DoesNotChangeTheTargetWhenItIsMade)
{
    int nTarget = 5;
    {
        const ZRecoverState kGuard(&nTarget, 1);
        EXPECT_EQ(5, nTarget);
    }
    EXPECT_EQ(1, nTarget) << "what was given, not what was there";
}

TEST(RecoverState, RestoresItsValueHoweverOftenTheScopeChangedTheTarget)
{
    int nTarget = 1;
    {
        const ZRecoverState kGuard(&nTarget, 1);
        for (nTarget = 0; nTarget < 50; ++nTarget)
        {
        }
        nTarget = -3;
    }
    EXPECT_EQ(1, nTarget);
}

TEST(RecoverState, WithANullTargetDoesNothing)
{
    LogCapture kLog;
    {
        const ZRecoverState kGuard(nullptr, 1);
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(RecoverState, RestoresWhenAnExceptionLeavesTheScope)
{
    int nTarget = 1;
    try
    {
        const ZRecoverState kGuard(&nTarget, 1);
        nTarget = 0;
        throw std::runtime_error("out");
    }
    catch (const std::runtime_error&)
    {
    }
    EXPECT_EQ(1, nTarget);
}

TEST(RecoverState, AssignmentTakesTargetAndValue)
{
    int nFirst = 10;
    int nSecond = 20;
    {
        ZRecoverState kSecond(&nSecond, 2);
        {
            ZRecoverState kFirst(&nFirst, 1);
            kFirst = kSecond;
        }
        EXPECT_EQ(10, nFirst) << "its own target is forgotten";
        EXPECT_EQ(2, nSecond);
        nSecond = 30;
    }
    EXPECT_EQ(2, nSecond);
}

// ---------------------------------------------------------------------------------------------------------------------
// ZRef
// ---------------------------------------------------------------------------------------------------------------------

class Counted : public ZRef
{
public:
    explicit Counted(std::atomic<int>& rnDeleted) : m_rnDeleted(rnDeleted) {}
    Counted(const Counted&) = default;
    ~Counted() override { ++m_rnDeleted; }
    using ZRef::m_uRefCount;

private:
    std::atomic<int>& m_rnDeleted;
};

TEST(Ref, BeginsAtOneAndTheLastReleaseDeletesThroughTheVirtualDestructor)
{
    std::atomic<int> nDeleted{0};
    ZRef* const pkObject = new Counted(nDeleted);
    EXPECT_EQ(1u, pkObject->RefCount());
    EXPECT_EQ(2u, pkObject->AddRef());
    EXPECT_EQ(3u, pkObject->AddRef());
    pkObject->Release();
    pkObject->Release();
    EXPECT_EQ(1u, pkObject->RefCount());
    EXPECT_EQ(0, nDeleted);
    pkObject->Release();
    EXPECT_EQ(1, nDeleted);
}

TEST(Ref, ACopyAndAnAssignedObjectHaveTheCountAsItStands)
{
    ZRef kFirst;
    kFirst.AddRef();
    kFirst.AddRef();
    const ZRef kCopy(kFirst);
    EXPECT_EQ(3u, kCopy.RefCount());
    ZRef kAssigned;
    kAssigned = kFirst;
    EXPECT_EQ(3u, kAssigned.RefCount());
    EXPECT_EQ(3u, kFirst.RefCount());
}

TEST(Ref, AReleaseAtZeroDeletesNothing)
{
    std::atomic<int> nDeleted{0};
    {
        Counted kObject(nDeleted);
        kObject.m_uRefCount = 0;
        kObject.Release();
        EXPECT_EQ(0xFFFFFFFFu, kObject.RefCount());
        EXPECT_EQ(0, nDeleted);
    }
    EXPECT_EQ(1, nDeleted);
}

TEST(Ref, ManyThreadsAddAndReleaseAndOneDeletes)
{
    std::atomic<int> nDeleted{0};
    Counted* const pkObject = new Counted(nDeleted);
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        pkObject->AddRef();
        vecThreads.emplace_back(
            [pkObject]
            {
                for (int i = 0; i < 20000; ++i)
                {
                    EXPECT_LE(2u, pkObject->AddRef());
                    EXPECT_LE(2u, pkObject->RefCount());
                    pkObject->Release();
                }
                pkObject->Release();
            });
    }
    pkObject->Release();
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(1, nDeleted);
}

static_assert(std::has_virtual_destructor_v<ZRef>);

// ---------------------------------------------------------------------------------------------------------------------
// VOBaseEvent
// ---------------------------------------------------------------------------------------------------------------------

TEST(BaseEvent, BeginsAcceptedAndTheLastCallWins)
{
    VOBaseEvent kEvent;
    IVOBaseEvent& riEvent = kEvent;
    EXPECT_EQ(1, riEvent.IsAccepted());
    EXPECT_EQ(0, riEvent.IsRejected());
    EXPECT_EQ(1, riEvent.Reject());
    EXPECT_EQ(0, riEvent.IsAccepted());
    EXPECT_EQ(1, riEvent.IsRejected());
    EXPECT_EQ(1, riEvent.Reject());
    EXPECT_EQ(1, riEvent.IsRejected());
    EXPECT_EQ(1, riEvent.Accept());
    EXPECT_EQ(1, riEvent.IsAccepted());
    EXPECT_EQ(0, riEvent.IsRejected());
}

TEST(BaseEvent, ACopyAndAnAssignedEventHaveTheSameAnswer)
{
    VOBaseEvent kRejected;
    kRejected.Reject();
    VOBaseEvent kCopy(kRejected);
    EXPECT_EQ(1, kCopy.IsRejected());
    VOBaseEvent kAssigned;
    kAssigned = kRejected;
    EXPECT_EQ(1, kAssigned.IsRejected());
    kAssigned.Accept();
    EXPECT_EQ(1, kRejected.IsRejected());
}

class OpenEvent : public VOBaseEvent
{
public:
    using VOBaseEvent::m_nAccepted;
};

TEST(BaseEvent, AnyOtherValueIsHandedOutAndIsNoRejection)
{
    OpenEvent kEvent;
    kEvent.m_nAccepted = 5;
    EXPECT_EQ(5, kEvent.IsAccepted());
    EXPECT_EQ(0, kEvent.IsRejected());
}

static_assert(std::has_virtual_destructor_v<VOBaseEvent>);
static_assert(!std::is_convertible_v<IVOBaseEvent*, VOBaseEvent*>);

TEST(BaseEvent, TheInterfaceIsAVirtualBase)
{
    // Two ways down to the interface meet in one.
    class Left : public virtual VOBaseEvent
    {
    };
    class Both : public Left, public virtual IVOBaseEvent
    {
    };
    Both kBoth;
    IVOBaseEvent& riEvent = kBoth;
    EXPECT_EQ(1, riEvent.Reject());
    EXPECT_EQ(1, kBoth.IsRejected());
}

}  // namespace
