// Threads that can be suspended.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <thread>

#include "tests/platform/platform_test_support.h"
#include "tests/support/waiting.h"

namespace
{

// A thread that runs a function; ended and waited for with the object.
class TestThread
{
public:
    explicit TestThread(std::function<void()> fnBody, DWORD uFlags = 0) : m_fnBody(std::move(fnBody))
    {
        m_hThread = CreateThread(nullptr, 0, Run, this, uFlags, nullptr);
        EXPECT_NE(nullptr, m_hThread);
    }
    ~TestThread()
    {
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(m_hThread, LONG_TIME));
        EXPECT_TRUE(CloseHandle(m_hThread));
    }
    TestThread(const TestThread&) = delete;
    TestThread& operator=(const TestThread&) = delete;

    HANDLE Handle() const { return m_hThread; }

private:
    static DWORD WINAPI Run(void* pThis)
    {
        static_cast<TestThread*>(pThis)->m_fnBody();
        return 0;
    }

    std::function<void()> m_fnBody;
    HANDLE m_hThread = nullptr;
};

// A thread that counts until it is told to stop.
class CountingThread
{
public:
    ~CountingThread() { m_bStop = true; }

    // So many counts more than there are now; false when they don't come.
    bool Advances(uint64_t uCounts = 1000) const
    {
        const uint64_t uFrom = m_uCount.load();
        const ULONGLONG uUntil = GetTickCount64() + LONG_TIME;
        while (m_uCount.load() < uFrom + uCounts)
        {
            if (GetTickCount64() > uUntil)
            {
                return false;
            }
            Sleep(1);
        }
        return true;
    }
    // Nothing more is counted while somebody who would count has every opportunity to.
    bool StandsStill() const
    {
        const uint64_t uFrom = m_uCount.load();
        for (int nRound = 0; nRound < 20; ++nRound)
        {
            Sleep(1);
        }
        return m_uCount.load() == uFrom;
    }
    HANDLE Handle() const { return m_thread.Handle(); }
    void Stop() { m_bStop = true; }

private:
    std::atomic<bool> m_bStop{false};
    std::atomic<uint64_t> m_uCount{0};
    TestThread m_thread{[this]
                        {
                            while (!m_bStop)
                            {
                                ++m_uCount;
                            }
                        }};
};
}  // namespace

TEST(Threads, RunTheirProcedureWithItsParameter)
{
    std::atomic<DWORD> uThreadId{0};
    {
        TestThread thread([&] { uThreadId = GetCurrentThreadId(); });
    }
    EXPECT_NE(0u, uThreadId);
    EXPECT_NE(GetCurrentThreadId(), uThreadId);
}

TEST(Threads, TellTheirNumberToTheirCreator)
{
    std::atomic<DWORD> uSeen{0};
    DWORD uTold = 0;
    struct Caller
    {
        static DWORD WINAPI Run(void* pSeen)
        {
            *static_cast<std::atomic<DWORD>*>(pSeen) = GetCurrentThreadId();
            return 0;
        }
    };
    const HANDLE hThread = CreateThread(nullptr, 0, Caller::Run, &uSeen, 0, &uTold);
    ASSERT_NE(nullptr, hThread);
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hThread, LONG_TIME));
    EXPECT_TRUE(CloseHandle(hThread));
    EXPECT_EQ(uSeen, uTold);
}

TEST(Threads, CreatedSuspendedDoNothingBeforeTheyAreResumed)
{
    std::atomic<bool> bRan{false};
    TestThread thread([&] { bRan = true; }, CREATE_SUSPENDED);
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(thread.Handle(), 30));
    EXPECT_FALSE(bRan);
    EXPECT_EQ(1u, ResumeThread(thread.Handle()));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(thread.Handle(), LONG_TIME));
    EXPECT_TRUE(bRan);
}

TEST(Threads, CreatedSuspendedCanBeSuspendedOnceMore)
{
    std::atomic<bool> bRan{false};
    TestThread thread([&] { bRan = true; }, CREATE_SUSPENDED);
    EXPECT_EQ(1u, SuspendThread(thread.Handle()));
    EXPECT_EQ(2u, ResumeThread(thread.Handle()));
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(thread.Handle(), 30));
    EXPECT_FALSE(bRan);
    EXPECT_EQ(1u, ResumeThread(thread.Handle()));
}

TEST(Threads, StandStillAsSoonAsTheyAreSuspended)
{
    CountingThread counter;
    for (int nRound = 0; nRound < 20; ++nRound)
    {
        ASSERT_TRUE(counter.Advances());
        ASSERT_EQ(0u, SuspendThread(counter.Handle()));
        EXPECT_TRUE(counter.StandsStill());
        ASSERT_EQ(1u, ResumeThread(counter.Handle()));
    }
    EXPECT_TRUE(counter.Advances());
}

TEST(Threads, CountTheirSuspensions)
{
    CountingThread counter;
    EXPECT_EQ(0u, SuspendThread(counter.Handle()));
    EXPECT_EQ(1u, SuspendThread(counter.Handle()));
    EXPECT_EQ(2u, SuspendThread(counter.Handle()));
    EXPECT_EQ(3u, ResumeThread(counter.Handle()));
    EXPECT_EQ(2u, ResumeThread(counter.Handle()));
    EXPECT_TRUE(counter.StandsStill());
    EXPECT_EQ(1u, ResumeThread(counter.Handle()));
    EXPECT_TRUE(counter.Advances());
}

TEST(Threads, CanBeSuspended127Times)
{
    CountingThread counter;
    for (DWORD uCount = 0; uCount < 127; ++uCount)
    {
        ASSERT_EQ(uCount, SuspendThread(counter.Handle()));
    }
    EXPECT_EQ(kFailedCall, SuspendThread(counter.Handle()));
    EXPECT_EQ(DWORD{ERROR_SIGNAL_REFUSED}, GetLastError());
    for (DWORD uCount = 127; uCount > 0; --uCount)
    {
        ASSERT_EQ(uCount, ResumeThread(counter.Handle()));
    }
    EXPECT_TRUE(counter.Advances());
}

TEST(Threads, ThatRunAreResumedWithoutEffect)
{
    CountingThread counter;
    EXPECT_EQ(0u, ResumeThread(counter.Handle()));
    EXPECT_EQ(0u, SuspendThread(counter.Handle()));
    EXPECT_EQ(1u, ResumeThread(counter.Handle()));
}

TEST(Threads, GoOnAfterTheirHandleIsClosed)
{
    struct State
    {
        HANDLE hGoOn = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        HANDLE hDone = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        static DWORD WINAPI Run(void* pState)
        {
            State& state = *static_cast<State*>(pState);
            WaitForSingleObject(state.hGoOn, INFINITE);
            SetEvent(state.hDone);
            return 0;
        }
    } state;
    const HANDLE hThread = CreateThread(nullptr, 0, State::Run, &state, 0, nullptr);
    ASSERT_NE(nullptr, hThread);
    EXPECT_TRUE(CloseHandle(hThread));
    EXPECT_TRUE(SetEvent(state.hGoOn));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(state.hDone, LONG_TIME));
    EXPECT_TRUE(CloseHandle(state.hGoOn));
    EXPECT_TRUE(CloseHandle(state.hDone));
}

TEST(Threads, ThatHaveEndedCannotBeSuspended)
{
    TestThread thread([] {});
    ASSERT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(thread.Handle(), LONG_TIME));
    EXPECT_EQ(kFailedCall, SuspendThread(thread.Handle()));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    // Ended is ended, for every further look.
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(thread.Handle(), 0));
}

TEST(Threads, CanSuspendThemselves)
{
    for (const bool bPseudoHandle : {true, false})
    {
        std::atomic<HANDLE> hSelf{nullptr};
        std::atomic<DWORD> uPrevious{77};
        TestThread thread([&] { uPrevious = SuspendThread(bPseudoHandle ? GetCurrentThread() : hSelf.load()); },
                          CREATE_SUSPENDED);
        hSelf = thread.Handle();
        EXPECT_EQ(1u, ResumeThread(thread.Handle()));
        // It is suspended from the moment in which there is something to resume.
        EXPECT_TRUE(votest::WaitUntil([&] { return ResumeThread(thread.Handle()) == 1; }));
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(thread.Handle(), LONG_TIME));
        EXPECT_EQ(0u, uPrevious);
    }
}

TEST(Threads, ThatNobodyHasSuspendedResumeThemselvesWithoutHarm)
{
    EXPECT_EQ(0u, ResumeThread(GetCurrentThread()));
    DWORD uPrevious = 77;
    {
        TestThread thread([&] { uPrevious = ResumeThread(GetCurrentThread()); });
    }
    EXPECT_EQ(0u, uPrevious);
    EXPECT_TRUE(CloseHandle(GetCurrentThread()));
    EXPECT_TRUE(CloseHandle(GetCurrentProcess()));
}

TEST(Threads, ThatAreSuspendedAreWaitedForUntilTheyEnd)
{
    std::atomic<bool> bWaited{false};
    TestThread target([] {}, CREATE_SUSPENDED);
    TestThread waiter(
        [&]
        {
            EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(target.Handle(), INFINITE));
            bWaited = true;
        });
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(waiter.Handle(), 30));
    EXPECT_FALSE(bWaited);
    EXPECT_EQ(1u, ResumeThread(target.Handle()));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(waiter.Handle(), LONG_TIME));
    EXPECT_TRUE(bWaited);
}

TEST(Threads, ThatWaitAreSuspendedInTheirWaitAndWaitOnAfterwards)
{
    const HANDLE hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<bool> bWaits{false};
    std::atomic<bool> bPassed{false};
    {
        TestThread thread(
            [&]
            {
                bWaits = true;
                EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hEvent, INFINITE));
                bPassed = true;
            });
        ASSERT_TRUE(votest::WaitUntil([&] { return bWaits.load(); }));
        EXPECT_EQ(0u, SuspendThread(thread.Handle()));
        EXPECT_EQ(1u, ResumeThread(thread.Handle()));
        EXPECT_EQ(0u, SuspendThread(thread.Handle()));
        EXPECT_TRUE(SetEvent(hEvent));
        EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(thread.Handle(), 30));
        EXPECT_FALSE(bPassed);
        EXPECT_EQ(1u, ResumeThread(thread.Handle()));
    }
    EXPECT_TRUE(bPassed);
    EXPECT_TRUE(CloseHandle(hEvent));
}

TEST(Threads, LeaveASignalToTheOthersWhileTheyStandStill)
{
    const HANDLE hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<int> nWaiting{0};
    const auto fnWait = [&]
    {
        ++nWaiting;
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hEvent, LONG_TIME));
    };
    TestThread first(fnWait);
    TestThread second(fnWait);
    ASSERT_TRUE(votest::WaitUntil([&] { return nWaiting == 2; }));
    EXPECT_EQ(0u, SuspendThread(first.Handle()));
    EXPECT_TRUE(SetEvent(hEvent));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(second.Handle(), LONG_TIME));
    EXPECT_TRUE(SetEvent(hEvent));
    EXPECT_EQ(1u, ResumeThread(first.Handle()));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(first.Handle(), LONG_TIME));
    EXPECT_TRUE(CloseHandle(hEvent));
}

TEST(Threads, SleepNoShorterForBeingSuspended)
{
    for (const bool bSleep : {true, false})
    {
        const HANDLE hNever = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        std::atomic<bool> bBegan{false};
        ULONGLONG uTook = 0;
        {
            TestThread thread(
                [&]
                {
                    const ULONGLONG uFrom = GetTickCount64();
                    bBegan = true;
                    if (bSleep)
                    {
                        Sleep(300);
                    }
                    else
                    {
                        EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(hNever, 300));
                    }
                    uTook = GetTickCount64() - uFrom;
                });
            ASSERT_TRUE(votest::WaitUntil([&] { return bBegan.load(); }));
            for (int nRound = 0; nRound < 20; ++nRound)
            {
                EXPECT_NE(kFailedCall, SuspendThread(thread.Handle()));
                EXPECT_NE(kFailedCall, ResumeThread(thread.Handle()));
            }
        }
        EXPECT_GE(uTook, 300u - 16u);  // the clock of a system ticks every 16 ms at worst
        EXPECT_TRUE(CloseHandle(hNever));
    }
}

TEST(Threads, ThatSuspendOneAnotherAreResumedByAThird)
{
    std::atomic<HANDLE> hFirst{nullptr};
    std::atomic<HANDLE> hSecond{nullptr};
    for (int nRound = 0; nRound < 50; ++nRound)
    {
        TestThread first([&] { SuspendThread(hSecond); }, CREATE_SUSPENDED);
        TestThread second([&] { SuspendThread(hFirst); }, CREATE_SUSPENDED);
        hFirst = first.Handle();
        hSecond = second.Handle();
        ASSERT_TRUE(votest::WaitUntil(
            [&]
            {
                ResumeThread(first.Handle());
                ResumeThread(second.Handle());
                return WaitForSingleObject(first.Handle(), 0) == WAIT_OBJECT_0 &&
                       WaitForSingleObject(second.Handle(), 0) == WAIT_OBJECT_0;
            }));
    }
}

TEST(Threads, EndOnceTheyAreResumedWhenTheyWereSuspendedAtTheirEnd)
{
    for (int nRound = 0; nRound < 300; ++nRound)
    {
        TestThread thread([] {});
        const DWORD uPrevious = SuspendThread(thread.Handle());
        if (uPrevious == kFailedCall)
        {
            EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
        }
        else
        {
            EXPECT_EQ(0u, uPrevious);
            EXPECT_EQ(1u, ResumeThread(thread.Handle()));
        }
    }
}

TEST(Threads, CanBeSuspendedByManyAtOnce)
{
    CountingThread counters[2];
    std::atomic<int> nWrong{0};
    std::vector<std::unique_ptr<TestThread>> vecSuspenders;
    for (unsigned uSeed = 0; uSeed < 4; ++uSeed)
    {
        vecSuspenders.push_back(std::make_unique<TestThread>(
            [&, uSeed]
            {
                std::minstd_rand random(uSeed + 1);
                for (int nRound = 0; nRound < 400; ++nRound)
                {
                    const HANDLE hTarget = counters[random() % 2].Handle();
                    nWrong += SuspendThread(hTarget) == kFailedCall ? 1 : 0;
                    nWrong += ResumeThread(hTarget) == kFailedCall ? 1 : 0;
                }
            }));
    }
    vecSuspenders.clear();
    EXPECT_EQ(0, nWrong);
    for (CountingThread& counter : counters)
    {
        EXPECT_TRUE(counter.Advances());
        EXPECT_EQ(0u, ResumeThread(counter.Handle()));
    }
}

TEST(Threads, ThatStandInsideTheCallsOfThisLayerLetOthersUseThem)
{
    std::atomic<bool> bStop{false};
    TestThread busy(
        [&]
        {
            const VOWString strName = Wide("nothing has this name");
            while (!bStop)
            {
                const HANDLE hEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
                WaitForSingleObject(hEvent, 0);
                CloseHandle(hEvent);
                OpenFileMappingW(FILE_MAP_READ, FALSE, strName.c_str());
            }
        });
    for (int nRound = 0; nRound < 300; ++nRound)
    {
        ASSERT_EQ(0u, SuspendThread(busy.Handle()));
        const HANDLE hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        EXPECT_TRUE(SetEvent(hEvent));
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hEvent, 0));
        EXPECT_TRUE(CloseHandle(hEvent));
        ASSERT_EQ(1u, ResumeThread(busy.Handle()));
    }
    bStop = true;
}

TEST(Threads, HaveHandlesThatAreToldFromOthers)
{
    const HANDLE hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    for (const HANDLE hWrong : {static_cast<HANDLE>(nullptr), hEvent})
    {
        EXPECT_EQ(kFailedCall, SuspendThread(hWrong));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
        EXPECT_EQ(kFailedCall, ResumeThread(hWrong));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    }
    EXPECT_TRUE(CloseHandle(hEvent));
}
