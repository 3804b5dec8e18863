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
    LogCapture log;
    VOStackLock lock(0);
    EXPECT_EQ(0, lock.IsLocked());
    EXPECT_EQ(1, lock.DoLock(5));
    EXPECT_EQ(1, lock.DoLock(7));
    EXPECT_EQ(7, lock.IsLocked());
    EXPECT_EQ(1, lock.ReleaseLock());
    EXPECT_EQ(5, lock.IsLocked());
    EXPECT_EQ(1, lock.ReleaseLock());
    EXPECT_EQ(0, lock.IsLocked());
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(0, lock.ReleaseLock());
    EXPECT_EQ(0, lock.IsLocked());
    EXPECT_THAT(log.Lines(), testing::ElementsAre(kNothingSaved));
}

TEST(StackLock, AReleaseTooManyLeavesTheStateAsItIs)
{
    LogCapture log;
    VOStackLock lock(9);
    EXPECT_EQ(0, lock.ReleaseLock());
    EXPECT_EQ(9, lock.IsLocked());
    EXPECT_EQ(1, lock.DoLock(1));
    EXPECT_EQ(1, lock.ReleaseLock());
    EXPECT_EQ(9, lock.IsLocked());
    EXPECT_EQ(1u, log.Count());
}

TEST(StackLock, LockingWithTheCurrentStateNeedsItsReleaseToo)
{
    VOStackLock lock(4);
    EXPECT_EQ(1, lock.DoLock(4));
    EXPECT_EQ(1, lock.DoLock(6));
    EXPECT_EQ(1, lock.ReleaseLock());
    EXPECT_EQ(4, lock.IsLocked());
    EXPECT_EQ(1, lock.ReleaseLock());
    EXPECT_EQ(4, lock.IsLocked());
    LogCapture log;
    EXPECT_EQ(0, lock.ReleaseLock());
    EXPECT_EQ(1u, log.Count());
}

TEST(StackLock, KeepsTheSavedStatesInOrderNewestAtTheBack)
{
    OpenStackLock lock(1);
    lock.DoLock(2);
    lock.DoLock(3);
    EXPECT_THAT(lock.m_stackLockedState, testing::ElementsAre(1, 2));
    EXPECT_EQ(3, lock.m_nLockState);
}

TEST(StackLock, ACopyHasTheStateAndTheWholeStackAndGoesItsOwnWay)
{
    VOStackLock lock(1);
    lock.DoLock(2);
    lock.DoLock(3);
    VOStackLock copy(lock);
    VOStackLock assigned(99);
    assigned.DoLock(98);
    assigned = lock;
    EXPECT_EQ(1, lock.ReleaseLock());
    for (VOStackLock* const pLock : {&copy, &assigned})
    {
        EXPECT_EQ(3, pLock->IsLocked());
        EXPECT_EQ(1, pLock->ReleaseLock());
        EXPECT_EQ(2, pLock->IsLocked());
        EXPECT_EQ(1, pLock->ReleaseLock());
        EXPECT_EQ(1, pLock->IsLocked());
    }
    EXPECT_EQ(2, lock.IsLocked());
}

TEST(StackLock, HasNoLimitButMemory)
{
    VOStackLock lock;
    for (int i = 1; i <= 100000; ++i)
    {
        ASSERT_EQ(1, lock.DoLock(i));
    }
    for (int i = 100000; i > 0; --i)
    {
        ASSERT_EQ(i, lock.IsLocked());
        ASSERT_EQ(1, lock.ReleaseLock());
    }
    EXPECT_EQ(0, lock.IsLocked());
}

static_assert(std::has_virtual_destructor_v<VOStackLock>);

// ---------------------------------------------------------------------------------------------------------------------
// ZRecoverState
// ---------------------------------------------------------------------------------------------------------------------

TEST(RecoverState, DoesNotChangeTheTargetWhenItIsMade)
{
    int nTarget = 5;
    {
        const ZRecoverState guard(&nTarget, 1);
        EXPECT_EQ(5, nTarget);
    }
    EXPECT_EQ(1, nTarget) << "what was given, not what was there";
}

TEST(RecoverState, RestoresItsValueHoweverOftenTheScopeChangedTheTarget)
{
    int nTarget = 1;
    {
        const ZRecoverState guard(&nTarget, 1);
        for (nTarget = 0; nTarget < 50; ++nTarget)
        {
        }
        nTarget = -3;
    }
    EXPECT_EQ(1, nTarget);
}

TEST(RecoverState, WithANullTargetDoesNothing)
{
    LogCapture log;
    {
        const ZRecoverState guard(nullptr, 1);
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(RecoverState, RestoresWhenAnExceptionLeavesTheScope)
{
    int nTarget = 1;
    try
    {
        const ZRecoverState guard(&nTarget, 1);
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
        ZRecoverState second(&nSecond, 2);
        {
            ZRecoverState first(&nFirst, 1);
            first = second;
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
    explicit Counted(std::atomic<int>& nDeleted) : m_nDeleted(nDeleted) {}
    Counted(const Counted&) = default;
    ~Counted() override { ++m_nDeleted; }
    using ZRef::m_uRefCount;

private:
    std::atomic<int>& m_nDeleted;
};

TEST(Ref, BeginsAtOneAndTheLastReleaseDeletesThroughTheVirtualDestructor)
{
    std::atomic<int> nDeleted{0};
    ZRef* const pObject = new Counted(nDeleted);
    EXPECT_EQ(1u, pObject->RefCount());
    EXPECT_EQ(2u, pObject->AddRef());
    EXPECT_EQ(3u, pObject->AddRef());
    pObject->Release();
    pObject->Release();
    EXPECT_EQ(1u, pObject->RefCount());
    EXPECT_EQ(0, nDeleted);
    pObject->Release();
    EXPECT_EQ(1, nDeleted);
}

TEST(Ref, ACopyAndAnAssignedObjectHaveTheCountAsItStands)
{
    ZRef first;
    first.AddRef();
    first.AddRef();
    const ZRef copy(first);
    EXPECT_EQ(3u, copy.RefCount());
    ZRef assigned;
    assigned = first;
    EXPECT_EQ(3u, assigned.RefCount());
    EXPECT_EQ(3u, first.RefCount());
}

TEST(Ref, AReleaseAtZeroDeletesNothing)
{
    std::atomic<int> nDeleted{0};
    {
        Counted object(nDeleted);
        object.m_uRefCount = 0;
        object.Release();
        EXPECT_EQ(0xFFFFFFFFu, object.RefCount());
        EXPECT_EQ(0, nDeleted);
    }
    EXPECT_EQ(1, nDeleted);
}

TEST(Ref, ManyThreadsAddAndReleaseAndOneDeletes)
{
    std::atomic<int> nDeleted{0};
    Counted* const pObject = new Counted(nDeleted);
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        pObject->AddRef();
        vecThreads.emplace_back(
            [pObject]
            {
                for (int i = 0; i < 20000; ++i)
                {
                    EXPECT_LE(2u, pObject->AddRef());
                    EXPECT_LE(2u, pObject->RefCount());
                    pObject->Release();
                }
                pObject->Release();
            });
    }
    pObject->Release();
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(1, nDeleted);
}

static_assert(std::has_virtual_destructor_v<ZRef>);

// ---------------------------------------------------------------------------------------------------------------------
// VOBaseEvent
// ---------------------------------------------------------------------------------------------------------------------

TEST(BaseEvent, BeginsAcceptedAndTheLastCallWins)
{
    VOBaseEvent event;
    IVOBaseEvent& riEvent = event;
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
    VOBaseEvent rejected;
    rejected.Reject();
    VOBaseEvent copy(rejected);
    EXPECT_EQ(1, copy.IsRejected());
    VOBaseEvent assigned;
    assigned = rejected;
    EXPECT_EQ(1, assigned.IsRejected());
    assigned.Accept();
    EXPECT_EQ(1, rejected.IsRejected());
}

class OpenEvent : public VOBaseEvent
{
public:
    using VOBaseEvent::m_nAccepted;
};

TEST(BaseEvent, AnyOtherValueIsHandedOutAndIsNoRejection)
{
    OpenEvent event;
    event.m_nAccepted = 5;
    EXPECT_EQ(5, event.IsAccepted());
    EXPECT_EQ(0, event.IsRejected());
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
    Both both;
    IVOBaseEvent& riEvent = both;
    EXPECT_EQ(1, riEvent.Reject());
    EXPECT_EQ(1, both.IsRejected());
}

}  // namespace
