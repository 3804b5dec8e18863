// An inspector with its thread at its own pace: start, first look, delivery, suspending and stopping.
#include <chrono>
#include <thread>

#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

typedef std::chrono::steady_clock Clock;

long long MillisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
}

// What a thread that was just created may have slept too short by the system's clock ticks.
constexpr long long kTick = 20;

TEST(EventInspector, IsBuiltForItsSourceWithoutAThread)
{
    OpenInspector built(AF_MERGESRC);
    EXPECT_EQ(AF_MERGESRC, built.m_eaf);
    EXPECT_EQ(1, built.m_bRunning);
    EXPECT_EQ(nullptr, built.m_hDetectThread);
    EXPECT_THAT(built.m_vecListener, IsEmpty());
}

TEST(EventInspector, BeforeARunSuspendingGives0AndStoppingGives1)
{
    LogCapture log;
    OpenInspector built(AF_SOURCE);
    EXPECT_EQ(0, built.SuspendEvent(1));
    EXPECT_EQ(0, built.SuspendEvent(0));
    EXPECT_EQ(1, built.Stop());
    EXPECT_EQ(1, built.DestroyDetectThread());
    EXPECT_EQ(1, built.m_bRunning);
    EXPECT_EQ(0u, log.Count());
}

TEST(EventInspector, TheThreadsProcedureNeedsAnInspector)
{
    LogCapture log;
    EXPECT_EQ(0u, OpenInspector::ThreadProc_DetectFileEvnet(nullptr));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pInspector", kInspector + "ThreadProc_DetectFileEvnet")));
}

TEST(EventInspector, ASecondRunIsHarmless)
{
    StoppingInspector running;
    EXPECT_EQ(1, running.Run());
    void* const hThread = running.m_hDetectThread;
    EXPECT_NE(nullptr, hThread);
    EXPECT_EQ(1, running.Run());
    EXPECT_EQ(hThread, running.m_hDetectThread);
    EXPECT_EQ(1, running.CreateDetectThread());
    EXPECT_EQ(hThread, running.m_hDetectThread);
    EXPECT_EQ(1, running.Stop());
    EXPECT_EQ(nullptr, running.m_hDetectThread);
    EXPECT_EQ(0, running.m_bRunning);
    EXPECT_EQ(1, running.Stop());
}

TEST(EventInspector, TheFirstDeliveryComes500MillisecondsAfterTheRunAtTheEarliest)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    Record record;
    Held listener(record);
    StoppingInspector running;
    running.BindListener(listener.Get());
    const Clock::time_point begin = Clock::now();
    ASSERT_EQ(1, running.Run());
    ASSERT_TRUE(record.WaitFor(1));
    EXPECT_LE(500 - kTick, MillisecondsSince(begin));
    EXPECT_THAT(record.Times(), ElementsAre(10));
    EXPECT_EQ(AF_SOURCE, record.All()[0].eaf);
    EXPECT_EQ(VOWString(VOTEXT("10")), record.All()[0].strPath);
}

TEST(EventInspector, WithoutASectionTheThreadPollsAndPicksTheStreamUpOnceThereIsOne)
{
    LogCapture log;
    Record record;
    Held listener(record);
    StoppingInspector running(AF_TARGET);
    running.BindListener(listener.Get());
    ASSERT_EQ(1, running.Run());
    VOSleepMilliseconds(700);
    Publisher publisher;
    publisher.Publish(AF_TARGET, ImageOfTimes({1, 2}), 10);
    Time ullTime = 20;
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            publisher.Publish(AF_TARGET, ImageOfTimes({1, 2, ullTime}), ullTime + 1);
            ullTime += 2;
            VOSleepMilliseconds(100);
            return record.Count() != 0;
        }));
    running.Stop();
    EXPECT_LE(20u, record.Times().front()) << "the first time seen is the base";
    EXPECT_EQ(0u, log.Count());
}

TEST(EventInspector, StopsWithinItsPauseAfterOneSuspension)
{
    StoppingInspector running;
    ASSERT_EQ(1, running.Run());
    ASSERT_EQ(1, running.SuspendEvent(1));
    EXPECT_EQ(1, running.Stop());
    EXPECT_EQ(nullptr, running.m_hDetectThread);
}

TEST(EventInspector, SuspendedTwiceItStopsOnceItHasBeenResumedOnceMore)
{
    StoppingInspector running;
    ASSERT_EQ(1, running.Run());
    ASSERT_EQ(1, running.SuspendEvent(1));
    ASSERT_EQ(1, running.SuspendEvent(1));
    std::atomic<bool> bStopped{false};
    std::thread stopper(
        [&]
        {
            EXPECT_EQ(1, running.Stop());
            bStopped = true;
        });
    ASSERT_TRUE(WaitUntil([&] { return std::atomic_ref<int>(running.m_bRunning).load() == 0; }));
    VOSleepMilliseconds(700);
    EXPECT_FALSE(bStopped) << "one step isn't enough";
    EXPECT_EQ(1, running.SuspendEvent(0));
    stopper.join();
    EXPECT_TRUE(bStopped);
}

TEST(EventInspector, StopWaitsForTheListenerAtWork)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10, 11}), 10);
    Record record;
    std::atomic<bool> bInside{false};
    std::atomic<bool> bRelease{false};
    std::atomic<int> nFinished{0};
    Held listener(record,
                  [&](const FileEventParam&)
                  {
                      bInside = true;
                      (void)WaitUntil([&] { return bRelease.load(); });
                      ++nFinished;
                  });
    StoppingInspector running;
    running.BindListener(listener.Get());
    ASSERT_EQ(1, running.Run());
    ASSERT_TRUE(WaitUntil([&] { return bInside.load(); }));
    std::thread stopper([&] { EXPECT_EQ(1, running.Stop()); });
    ASSERT_TRUE(WaitUntil([&] { return std::atomic_ref<int>(running.m_bRunning).load() == 0; }));
    EXPECT_EQ(0, nFinished);
    bRelease = true;
    stopper.join();
    EXPECT_EQ(2, nFinished) << "the dispatch in progress is finished whole";
}

TEST(EventInspector, TwoInspectorsOfOneSourceBothGetItsEvents)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    Record akRecord[2];
    Held first(akRecord[0]);
    Held second(akRecord[1]);
    StoppingInspector akRunning[2];
    akRunning[0].BindListener(first.Get());
    akRunning[1].BindListener(second.Get());
    ASSERT_EQ(1, akRunning[0].Run());
    ASSERT_EQ(1, akRunning[1].Run());
    EXPECT_TRUE(akRecord[0].WaitFor(1));
    EXPECT_TRUE(akRecord[1].WaitFor(1));
}

}  // namespace
