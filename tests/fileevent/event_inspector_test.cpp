// An inspector with its thread at its own pace: start, first look, delivery, suspending and stopping.
#include <chrono>
#include <thread>

#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

typedef std::chrono::steady_clock Clock;

long long MillisecondsSince(Clock::time_point kBegin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - kBegin).count();
}

// What a thread that was just created may have slept too short by the system's clock ticks.
constexpr long long kTick = 20;

TEST(EventInspector, IsBuiltForItsSourceWithoutAThread)
{
    OpenInspector kBuilt(AF_MERGESRC);
    EXPECT_EQ(AF_MERGESRC, kBuilt.m_eaf);
    EXPECT_EQ(1, kBuilt.m_bRunning);
    EXPECT_EQ(nullptr, kBuilt.m_hDetectThread);
    EXPECT_THAT(kBuilt.m_vecListener, IsEmpty());
}

TEST(EventInspector, BeforeARunSuspendingGives0AndStoppingGives1)
{
    LogCapture kLog;
    OpenInspector kBuilt(AF_SOURCE);
    EXPECT_EQ(0, kBuilt.SuspendEvent(1));
    EXPECT_EQ(0, kBuilt.SuspendEvent(0));
    EXPECT_EQ(1, kBuilt.Stop());
    EXPECT_EQ(1, kBuilt.DestroyDetectThread());
    EXPECT_EQ(1, kBuilt.m_bRunning);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(EventInspector, TheThreadsProcedureNeedsAnInspector)
{
    LogCapture kLog;
    EXPECT_EQ(0u, OpenInspector::ThreadProc_DetectFileEvnet(nullptr));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pInspector", kInspector + "ThreadProc_DetectFileEvnet")));
}

TEST(EventInspector, ASecondRunIsHarmless)
{
    StoppingInspector kRunning;
    EXPECT_EQ(1, kRunning.Run());
    void* const hThread = kRunning.m_hDetectThread;
    EXPECT_NE(nullptr, hThread);
    EXPECT_EQ(1, kRunning.Run());
    EXPECT_EQ(hThread, kRunning.m_hDetectThread);
    EXPECT_EQ(1, kRunning.CreateDetectThread());
    EXPECT_EQ(hThread, kRunning.m_hDetectThread);
    EXPECT_EQ(1, kRunning.Stop());
    EXPECT_EQ(nullptr, kRunning.m_hDetectThread);
    EXPECT_EQ(0, kRunning.m_bRunning);
    EXPECT_EQ(1, kRunning.Stop());
}

TEST(EventInspector, TheFirstDeliveryComes500MillisecondsAfterTheRunAtTheEarliest)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    Record kRecord;
    Held kListener(kRecord);
    StoppingInspector kRunning;
    kRunning.BindListener(kListener.Get());
    const Clock::time_point kBegin = Clock::now();
    ASSERT_EQ(1, kRunning.Run());
    ASSERT_TRUE(kRecord.WaitFor(1));
    EXPECT_LE(500 - kTick, MillisecondsSince(kBegin));
    EXPECT_THAT(kRecord.Times(), ElementsAre(10));
    EXPECT_EQ(AF_SOURCE, kRecord.All()[0].eaf);
    EXPECT_EQ(VOWString(VOTEXT("10")), kRecord.All()[0].strPath);
}

TEST(EventInspector, WithoutASectionTheThreadPollsAndPicksTheStreamUpOnceThereIsOne)
{
    LogCapture kLog;
    Record kRecord;
    Held kListener(kRecord);
    StoppingInspector kRunning(AF_TARGET);
    kRunning.BindListener(kListener.Get());
    ASSERT_EQ(1, kRunning.Run());
    VOSleepMilliseconds(700);
    Publisher kPublisher;
    kPublisher.Publish(AF_TARGET, ImageOfTimes({1, 2}), 10);
    Time ullTime = 20;
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            kPublisher.Publish(AF_TARGET, ImageOfTimes({1, 2, ullTime}), ullTime + 1);
            ullTime += 2;
            VOSleepMilliseconds(100);
            return kRecord.Count() != 0;
        }));
    kRunning.Stop();
    EXPECT_LE(20u, kRecord.Times().front()) << "the first time seen is the base";
    EXPECT_EQ(0u, kLog.Count());
}

TEST(EventInspector, StopsWithinItsPauseAfterOneSuspension)
{
    StoppingInspector kRunning;
    ASSERT_EQ(1, kRunning.Run());
    ASSERT_EQ(1, kRunning.SuspendEvent(1));
    EXPECT_EQ(1, kRunning.Stop());
    EXPECT_EQ(nullptr, kRunning.m_hDetectThread);
}

TEST(EventInspector, SuspendedTwiceItStopsOnceItHasBeenResumedOnceMore)
{
    StoppingInspector kRunning;
    ASSERT_EQ(1, kRunning.Run());
    ASSERT_EQ(1, kRunning.SuspendEvent(1));
    ASSERT_EQ(1, kRunning.SuspendEvent(1));
    std::atomic<bool> bStopped{false};
    std::thread kStopper(
        [&]
        {
            EXPECT_EQ(1, kRunning.Stop());
            bStopped = true;
        });
    ASSERT_TRUE(WaitUntil([&] { return std::atomic_ref<int>(kRunning.m_bRunning).load() == 0; }));
    VOSleepMilliseconds(700);
    EXPECT_FALSE(bStopped) << "one step isn't enough";
    EXPECT_EQ(1, kRunning.SuspendEvent(0));
    kStopper.join();
    EXPECT_TRUE(bStopped);
}

TEST(EventInspector, StopWaitsForTheListenerAtWork)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, ImageOfTimes({10, 11}), 10);
    Record kRecord;
    std::atomic<bool> bInside{false};
    std::atomic<bool> bRelease{false};
    std::atomic<int> nFinished{0};
    Held kListener(kRecord,
                   [&](const FileEventParam&)
                   {
                       bInside = true;
                       (void)WaitUntil([&] { return bRelease.load(); });
                       ++nFinished;
                   });
    StoppingInspector kRunning;
    kRunning.BindListener(kListener.Get());
    ASSERT_EQ(1, kRunning.Run());
    ASSERT_TRUE(WaitUntil([&] { return bInside.load(); }));
    std::thread kStopper([&] { EXPECT_EQ(1, kRunning.Stop()); });
    ASSERT_TRUE(WaitUntil([&] { return std::atomic_ref<int>(kRunning.m_bRunning).load() == 0; }));
    EXPECT_EQ(0, nFinished);
    bRelease = true;
    kStopper.join();
    EXPECT_EQ(2, nFinished) << "the dispatch in progress is finished whole";
}

TEST(EventInspector, TwoInspectorsOfOneSourceBothGetItsEvents)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    Record akRecord[2];
    Held kFirst(akRecord[0]);
    Held kSecond(akRecord[1]);
    StoppingInspector akRunning[2];
    akRunning[0].BindListener(kFirst.Get());
    akRunning[1].BindListener(kSecond.Get());
    ASSERT_EQ(1, akRunning[0].Run());
    ASSERT_EQ(1, akRunning[1].Run());
    EXPECT_TRUE(akRecord[0].WaitFor(1));
    EXPECT_TRUE(akRecord[1].WaitFor(1));
}

}  // namespace
