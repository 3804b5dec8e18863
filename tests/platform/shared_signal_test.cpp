// A word that steps, and those who wait for it.
#include "platform/vo_shared_signal.h"

#include <chrono>
#include <thread>
#include <vector>

#include "tests/platform/platform_test_support.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

const VOWCHAR* const kpszSignalName = VOTEXT("vo_test_signal");

milliseconds Since(steady_clock::time_point begin)
{
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

TEST(SharedSignal, AStepAddsOne)
{
    uint32_t uWord = 0xFFFFFFFFu;
    VOSharedSignal signal(kpszSignalName, uWord);
    EXPECT_EQ(0xFFFFFFFFu, signal.Now());
    signal.Step();
    EXPECT_EQ(0u, signal.Now());
    signal.Step();
    EXPECT_EQ(1u, uWord);
}

TEST(SharedSignal, AWaitForWhatHasHappenedReturnsAtOnce)
{
    uint32_t uWord = 5;
    const VOSharedSignal signal(kpszSignalName, uWord);
    EXPECT_TRUE(signal.WaitWhile(4, 0));
    EXPECT_TRUE(signal.WaitWhile(6, 60000));
}

TEST(SharedSignal, AWaitThatNothingEndsTakesItsTime)
{
    uint32_t uWord = 5;
    const VOSharedSignal signal(kpszSignalName, uWord);
    EXPECT_FALSE(signal.WaitWhile(5, 0));
    const steady_clock::time_point begin = steady_clock::now();
    EXPECT_FALSE(signal.WaitWhile(5, 50));
    EXPECT_GE(Since(begin), milliseconds(45));
}

// Each object has what it waits by of its own, as in several processes.
TEST(SharedSignal, AllWhoWaitGoOnWithEachStep)
{
    constexpr int kWaiters = 4;
    constexpr uint32_t kSteps = 200;
    uint32_t uWord = 0;
    uint32_t auSeen[kWaiters] = {};
    bool abInTime[kWaiters] = {};
    std::vector<std::thread> vecWaiters;
    for (int i = 0; i < kWaiters; ++i)
    {
        vecWaiters.emplace_back(
            [&uWord, &uSeen = auSeen[i], &bInTime = abInTime[i]]
            {
                const VOSharedSignal signal(kpszSignalName, uWord);
                bInTime = true;
                while (uSeen < kSteps && bInTime)
                {
                    bInTime = signal.WaitWhile(uSeen, 60000);
                    uSeen = signal.Now();
                }
            });
    }
    VOSharedSignal signal(kpszSignalName, uWord);
    for (uint32_t uStep = 0; uStep < kSteps; ++uStep)
    {
        signal.Step();
        std::this_thread::sleep_for(milliseconds(uStep % 7 == 0 ? 1 : 0));
    }
    for (int i = 0; i < kWaiters; ++i)
    {
        vecWaiters[static_cast<size_t>(i)].join();
        EXPECT_TRUE(abInTime[i]);
        EXPECT_EQ(kSteps, auSeen[i]);
    }
}

}  // namespace
