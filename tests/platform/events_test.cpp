// Events, waits and time.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/platform/platform_test_support.h"

namespace
{

class TestEvent
{
public:
    TestEvent(BOOL bManualReset, BOOL bInitialState)
        : m_hEvent(CreateEventW(nullptr, bManualReset, bInitialState, nullptr))
    {
        EXPECT_NE(nullptr, m_hEvent);
    }
    ~TestEvent() { EXPECT_TRUE(CloseHandle(m_hEvent)); }
    TestEvent(const TestEvent&) = delete;
    TestEvent& operator=(const TestEvent&) = delete;

    HANDLE Get() const { return m_hEvent; }
    bool IsSet() const { return WaitForSingleObject(m_hEvent, 0) == WAIT_OBJECT_0; }

private:
    HANDLE m_hEvent;
};
}  // namespace

TEST(Events, BeginInTheStateTheyAreGiven)
{
    EXPECT_FALSE(TestEvent(FALSE, FALSE).IsSet());
    EXPECT_TRUE(TestEvent(FALSE, TRUE).IsSet());
    EXPECT_FALSE(TestEvent(TRUE, FALSE).IsSet());
    EXPECT_TRUE(TestEvent(TRUE, TRUE).IsSet());
}

TEST(Events, WithAutomaticResetLetOneWaitThroughForEachSignal)
{
    TestEvent event(FALSE, FALSE);
    EXPECT_TRUE(SetEvent(event.Get()));
    EXPECT_TRUE(SetEvent(event.Get()));  // signals don't add up
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(event.IsSet());
}

TEST(Events, WithManualResetLetEverybodyThroughUntilTheyAreReset)
{
    TestEvent event(TRUE, FALSE);
    EXPECT_TRUE(SetEvent(event.Get()));
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(ResetEvent(event.Get()));
    EXPECT_FALSE(event.IsSet());
}

TEST(Events, CanBeResetBeforeAnybodyWaits)
{
    TestEvent event(FALSE, TRUE);
    EXPECT_TRUE(ResetEvent(event.Get()));
    EXPECT_FALSE(event.IsSet());
}

TEST(Events, WakeWhoWaits)
{
    TestEvent there(FALSE, FALSE);
    TestEvent back(FALSE, FALSE);
    std::thread other(
        [&]
        {
            for (int nRound = 0; nRound < 1000; ++nRound)
            {
                EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(there.Get(), INFINITE));
                SetEvent(back.Get());
            }
        });
    for (int nRound = 0; nRound < 1000; ++nRound)
    {
        SetEvent(there.Get());
        ASSERT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(back.Get(), LONG_TIME));
    }
    other.join();
}

TEST(Events, LetOneOfManyWaitersThroughForEachSignal)
{
    TestEvent event(FALSE, FALSE);
    TestEvent passed(FALSE, FALSE);
    std::atomic<int> nPassed{0};
    std::vector<std::thread> vecWaiters;
    for (int nWaiter = 0; nWaiter < 8; ++nWaiter)
    {
        vecWaiters.emplace_back(
            [&]
            {
                EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(event.Get(), LONG_TIME));
                ++nPassed;
                SetEvent(passed.Get());
            });
    }
    for (int nSignals = 1; nSignals <= 8; ++nSignals)
    {
        EXPECT_TRUE(SetEvent(event.Get()));
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(passed.Get(), LONG_TIME));
        EXPECT_EQ(nSignals, nPassed);
    }
    for (std::thread& waiter : vecWaiters)
    {
        waiter.join();
    }
    EXPECT_FALSE(event.IsSet());
}

TEST(Waits, EndNoEarlierThanTheirTime)
{
    TestEvent event(FALSE, FALSE);
    const ULONGLONG uFrom = GetTickCount64();
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(event.Get(), 100));
    EXPECT_GE(GetTickCount64() - uFrom, 84u);  // the clock of a system ticks every 16 ms at worst
}

TEST(Waits, ForWhatCannotBeWaitedForFail)
{
    SectionName name("waitsection");
    const HANDLE hSection = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.Get());
    ASSERT_NE(nullptr, hSection);
    const HANDLE hClosed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(CloseHandle(hClosed));
    EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(hSection, 0));
    for (const HANDLE hWrong : {static_cast<HANDLE>(nullptr), hClosed})
    {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(hWrong, 0));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    }
    EXPECT_TRUE(CloseHandle(hSection));
}

TEST(Events, ThatAreClosedCannotBeSet)
{
    const HANDLE hClosed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(CloseHandle(hClosed));
    EXPECT_FALSE(SetEvent(hClosed));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    EXPECT_FALSE(ResetEvent(hClosed));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    EXPECT_FALSE(CloseHandle(hClosed));
}

TEST(Time, PassesBySleeping)
{
    const ULONGLONG uFrom = GetTickCount64();
    Sleep(0);
    Sleep(50);
    EXPECT_GE(GetTickCount64() - uFrom, 34u);
}
