// The detect thread at work, with its pause cut short: thousands of looks, suspending, stopping, and every call of the
// system failing once.
#include <algorithm>
#include <optional>
#include <thread>

#include "fileevent/detect_thread.h"
#include "fileevent/event_section_tools.h"
#include "support/fault_points.h"
#include "support/new_faults.h"
#include "support/process_resources.h"
#include "support/stdout_capture.h"

namespace
{
using namespace eventtest;

class EventThread : public testing::Test
{
protected:
    EventThread()
    {
        g_uVODetectPause = 1;
        m_container.AppendEvent(InfoOf(VOTEXT("before everything")), 1);
    }
    ~EventThread() override { g_uVODetectPause = 500; }

    // Adds an event and publishes it with a later time; gives its time.
    Time PublishNext()
    {
        m_ullTime += 2;
        EXPECT_EQ(1, m_container.RemoveEvent(kAllTime));
        EXPECT_EQ(1, m_container.AppendEvent(InfoOf(VOTEXT("path")), m_ullTime));
        m_publisher.Publish(AF_SOURCE, m_container, m_ullTime + 1);
        return m_ullTime;
    }

    // Publishes events until the thread delivers them: from then on it has its base.
    void WaitForTheFirst(const Record& record)
    {
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                PublishNext();
                return record.Count() != 0;
            }));
    }

    Publisher m_publisher;
    VOTSFileEventContainer m_container;
    Time m_ullTime = 1000;
    Record m_record;
    StoppingInspector m_inspector;
};

TEST_F(EventThread, ThousandsOfLooksAndDeliveriesLeaveTheProcessAsItWas)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    WaitForTheFirst(m_record);
    const auto fnDeliver = [&](int nTimes)
    {
        for (int i = 0; i < nTimes; ++i)
        {
            const Time ullTime = PublishNext();
            ASSERT_TRUE(WaitUntil([&] { return m_record.LastTime() == ullTime; })) << i;
        }
    };
    fnDeliver(100);
    const votest::ProcessResources before = votest::ResourcesOfThisProcess();
    g_uVODetectPause = 0;
    for (int nRound = 0; nRound < 10; ++nRound)
    {
        fnDeliver(100);
        // A publisher that comes anew gives the name a new section.
        Bytes vecState = votest::CopyBytes(m_publisher.State(), 336);
        m_publisher.PutState(vecState);
    }
    // Many looks without anything new: on Linux they are counted.
    VOFaultArm("OpenFileMappingW", 0xFFFFFFFFu, false);
    if (VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        EXPECT_TRUE(WaitUntil([] { return VOFaultHits() >= 5000; }));
    }
    VOFaultDisarm();
    g_uVODetectPause = 1;
    fnDeliver(1);
    const votest::ProcessResources after = votest::ResourcesOfThisProcess();
    EXPECT_LE(after.uHandles, before.uHandles + 2);
    EXPECT_LE(after.uMappings, before.uMappings + 8);
    // What the test itself keeps of a thousand events is part of it.
    EXPECT_LE(after.uHeapBytes, before.uHeapBytes + (1u << 20));
    EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
}

TEST_F(EventThread, LooksAtSectionsWithoutContentLeaveTheProcessAsItWas)
{
    ASSERT_EQ(1, m_inspector.Run());
    votest::StdoutCapture quiet;
    std::optional<LogCapture> log(std::in_place);
    const auto fnPublishEmpty = [&](size_t uTimes)
    {
        for (size_t i = 0; i < uTimes; ++i)
        {
            log->Clear();
            m_publisher.Publish(AF_SOURCE, Bytes(64, 0), m_ullTime += 2);
            ASSERT_TRUE(WaitUntil([&] { return log->Count() != 0; }));
        }
    };
    fnPublishEmpty(20);
    const votest::ProcessResources before = votest::ResourcesOfThisProcess();
    fnPublishEmpty(300);
    m_inspector.Stop();
    const votest::ProcessResources after = votest::ResourcesOfThisProcess();
    EXPECT_LE(after.uHandles, before.uHandles + 2);
    EXPECT_LE(after.uMappings, before.uMappings + 8);
    EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
}

TEST_F(EventThread, RunAndStopAgainAndAgainLeaveTheProcessAsItWas)
{
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    const auto fnRunAndStop = [&](int nTimes)
    {
        for (int i = 0; i < nTimes; ++i)
        {
            ASSERT_EQ(1, m_inspector.Run());
            VOSleepMilliseconds(i % 4 == 0 ? 2 : 0);
            ASSERT_EQ(1, m_inspector.Stop());
        }
    };
    fnRunAndStop(20);
    const votest::ProcessResources before = votest::ResourcesOfThisProcess();
    fnRunAndStop(300);
    const votest::ProcessResources after = votest::ResourcesOfThisProcess();
    EXPECT_LE(after.uHandles, before.uHandles + 2);
    EXPECT_LE(after.uMappings, before.uMappings + 8);
    EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
}

TEST_F(EventThread, EveryEventOfAStreamArrivesOnceAndInOrder)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    WaitForTheFirst(m_record);
    // The publisher keeps all events of the test, and publishes without waiting for the reader.
    VOTSFileEventContainer stream;
    std::vector<Time> vecExpected;
    for (int i = 0; i < 400; ++i)
    {
        m_ullTime += 2;
        vecExpected.push_back(m_ullTime);
        ASSERT_EQ(1, stream.AppendEvent(InfoOf(VOTEXT("path")), m_ullTime));
        m_publisher.Publish(AF_SOURCE, stream, m_ullTime + 1);
    }
    EXPECT_TRUE(WaitUntil([&] { return m_record.LastTime() == m_ullTime; }));
    m_inspector.Stop();
    std::vector<Time> vecTimes = m_record.Times();
    ASSERT_LE(vecExpected.size(), vecTimes.size());
    vecTimes.erase(vecTimes.begin(), vecTimes.end() - static_cast<std::ptrdiff_t>(vecExpected.size()));
    EXPECT_EQ(vecExpected, vecTimes);
}

// ---------------------------------------------------------------------------------------------------------------------
// Suspending and stopping
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventThread, WhatIsPublishedWhileItIsSuspendedArrivesOnResumption)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    WaitForTheFirst(m_record);
    const Time ullLast = m_ullTime;
    ASSERT_TRUE(WaitUntil([&] { return m_record.LastTime() == ullLast; }));

    // Made before: a thread that stands may hold the allocator's lock. Its slot is left closed, too, if it stands
    // inside.
    VOTSFileEventContainer missed;
    AppendTimes(missed, {ullLast + 10, ullLast + 20});
    const Bytes vecImage = ImageOf(missed);
    ASSERT_EQ(1, m_inspector.SuspendEvent(1));
    const size_t uBefore = m_record.Count();
    ASSERT_EQ(1, m_inspector.SuspendEvent(0));
    m_publisher.Publish(AF_SOURCE, vecImage, ullLast + 30);
    EXPECT_TRUE(m_record.WaitFor(uBefore + 2));
    m_inspector.Stop();
    const std::vector<Time> vecTimes = m_record.Times();
    EXPECT_EQ(ullLast + 20, vecTimes.back());
    EXPECT_EQ(ullLast + 10, vecTimes[vecTimes.size() - 2]);
}

TEST_F(EventThread, SuspendedAtAnyInstructionItLosesNothing)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    g_uVODetectPause = 0;
    ASSERT_EQ(1, m_inspector.Run());
    WaitForTheFirst(m_record);
    for (int i = 0; i < 300; ++i)
    {
        const Time ullTime = PublishNext();
        for (int j = 0; j < 5; ++j)
        {
            // Nothing that could need a lock of the thread's happens in between.
            (void)m_inspector.SuspendEvent(1);
            (void)m_inspector.SuspendEvent(0);
        }
        ASSERT_TRUE(WaitUntil([&] { return m_record.LastTime() == ullTime; })) << i;
    }
    m_inspector.Stop();
    const std::vector<Time> vecTimes = m_record.Times();
    for (size_t i = 1; i < vecTimes.size(); ++i)
    {
        ASSERT_LT(vecTimes[i - 1], vecTimes[i]) << "nothing twice, nothing out of order";
    }
}

TEST_F(EventThread, StopFromTheSuspendedStateReturnsWhereverTheThreadStands)
{
    g_uVODetectPause = 0;
    m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    for (int i = 0; i < 200; ++i)
    {
        ASSERT_EQ(1, m_inspector.Run());
        ASSERT_EQ(1, m_inspector.SuspendEvent(1));
        ASSERT_EQ(1, m_inspector.Stop());
        ASSERT_EQ(0, m_inspector.SuspendEvent(1));
    }
    EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1));
}

TEST_F(EventThread, AListenerMaySuspendItsOwnThread)
{
    std::atomic<int> nSuspended{0};
    Held listener(m_record,
                  [&](const FileEventParam&)
                  {
                      ++nSuspended;
                      m_inspector.SuspendEvent(1);
                      ++nSuspended;
                  });
    m_inspector.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            // No publishing once it stands: it may stand inside a slot.
            if (nSuspended == 0)
            {
                PublishNext();
            }
            return nSuspended == 1;
        }));
    m_inspector.SuspendEvent(0);
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            m_inspector.SuspendEvent(0);
            return nSuspended >= 2;
        }));
    // The test publishes several events before the first one arrives: each of them suspends anew.
    std::atomic<bool> bDone{false};
    std::thread resumer(
        [&]
        {
            while (!bDone)
            {
                m_inspector.SuspendEvent(0);
                VOSleepMilliseconds(1);
            }
        });
    EXPECT_TRUE(WaitUntil([&] { return nSuspended % 2 == 0 && m_record.LastTime() == m_ullTime; }));
    bDone = true;
    resumer.join();
    m_inspector.Stop();
}

TEST_F(EventThread, AfterAStopANewRunPassesOverWhatWasPublishedInBetween)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    WaitForTheFirst(m_record);
    ASSERT_EQ(1, m_inspector.Stop());
    EXPECT_EQ(nullptr, m_inspector.m_hDetectThread);
    EXPECT_EQ(0, m_inspector.m_bRunning);
    const Time ullMissed = PublishNext();
    ASSERT_EQ(1, m_inspector.Run());
    EXPECT_EQ(1, m_inspector.m_bRunning);
    const size_t uBefore = m_record.Count();
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            PublishNext();
            return m_record.Count() > uBefore;
        }));
    for (const Time ullTime : m_record.Times())
    {
        EXPECT_NE(ullMissed, ullTime);
    }
}

TEST_F(EventThread, ListenersAreBoundWhileItRunsAndGetWhatComesNext)
{
    ASSERT_EQ(1, m_inspector.Run());
    std::vector<std::unique_ptr<Held>> vecListener;
    std::vector<std::unique_ptr<Record>> vecRecord;
    for (int i = 0; i < 20; ++i)
    {
        vecRecord.push_back(std::make_unique<Record>());
        vecListener.push_back(std::make_unique<Held>(*vecRecord.back()));
        EXPECT_EQ(1, m_inspector.BindListener(vecListener.back()->Get()));
        WaitForTheFirst(*vecRecord.back());
    }
    m_inspector.Stop();
    for (size_t i = 1; i < vecRecord.size(); ++i)
    {
        EXPECT_LE(vecRecord[i]->Count(), vecRecord[i - 1]->Count());
    }
}

TEST_F(EventThread, RunStopAndBindMayBeCalledByManyThreads)
{
    PublishNext();
    std::vector<std::thread> vecThreads;
    std::atomic<int> nWrong{0};
    std::mutex madeLock;
    std::vector<std::pair<Record, Listener*>> vecMade;
    for (unsigned int uThread = 0; uThread < 4; ++uThread)
    {
        vecThreads.emplace_back(
            [&, uThread]
            {
                Random random(uThread);
                for (int i = 0; i < 60; ++i)
                {
                    switch (random.Below(3))
                    {
                        case 0:
                            nWrong += m_inspector.Run() == 1 ? 0 : 1;
                            break;
                        case 1:
                            nWrong += m_inspector.Stop() == 1 ? 0 : 1;
                            break;
                        default:
                        {
                            // Let go of at once: the thread finds it dead.
                            const Record record;
                            Held listener(record);
                            nWrong += m_inspector.BindListener(listener.Get()) == 1 ? 0 : 1;
                            const std::lock_guard<std::mutex> guard(madeLock);
                            vecMade.emplace_back(record, listener.Get());
                            break;
                        }
                    }
                }
            });
    }
    for (int i = 0; i < 100; ++i)
    {
        PublishNext();
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(0, nWrong);
    m_inspector.Stop();

    // A listener whose entry went with a dead one's keeps the reference of its lost binding.
    const std::vector<IVOTSFileEventListener*>& bound = m_inspector.m_vecListener;
    for (const auto& [record, pListener] : vecMade)
    {
        if (record.Deleted() == 0 && std::find(bound.begin(), bound.end(), pListener) == bound.end())
        {
            pListener->Release();
        }
    }
}

TEST_F(EventThread, SourcesDeliverBesideEachOther)
{
    Record otherRecord;
    StoppingInspector other(AF_MERGETARGET);
    std::atomic<bool> bInside{false};
    std::atomic<bool> bRelease{false};
    Held slow(m_record,
              [&](const FileEventParam&)
              {
                  bInside = true;
                  (void)WaitUntil([&] { return bRelease.load(); });
              });
    Held listener(otherRecord);
    m_inspector.BindListener(slow.Get());
    other.BindListener(listener.Get());
    ASSERT_EQ(1, m_inspector.Run());
    ASSERT_EQ(1, other.Run());
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            if (!bInside)
            {
                PublishNext();
            }
            return bInside.load();
        }));
    Time ullTime = 10;
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            m_publisher.Publish(AF_MERGETARGET, ImageOfTimes({ullTime}), ullTime);
            ++ullTime;
            return otherRecord.Count() != 0;
        }))
        << "one listener at work delays its own source only";
    bRelease = true;
    // Before what its listener looks at goes.
    m_inspector.Stop();
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls that fail
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventThread, WithoutAThreadRunFailsAndTheNextOneSucceeds)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system's own call can't be made to fail";
    }
    LogCapture log;
    VOFaultArm("CreateThread", 1, false);
    EXPECT_EQ(0, m_inspector.Run());
    VOFaultDisarm();
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("m_hDetectThread", kInspector + "CreateDetectThread"),
                                         ProcessError("CreateDetectThread()", kInspector + "Run")));
    EXPECT_EQ(0, m_inspector.SuspendEvent(1));
    EXPECT_EQ(1, m_inspector.Stop());
    EXPECT_EQ(1, m_inspector.Run());
}

TEST_F(EventThread, WithoutItsEventTheThreadEndsAndStopReturns)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system's own call can't be made to fail";
    }
    LogCapture log;
    VOFaultArm("CreateEventW", 1, false);
    EXPECT_EQ(1, m_inspector.Run());
    EXPECT_TRUE(WaitUntil([&] { return log.Count() != 0; }));
    VOFaultDisarm();
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("hWaitObj", kInspector + "ThreadProc_DetectFileEvnet")));
    EXPECT_EQ(1, m_inspector.Run()) << "harmless: there is a thread, if one that has ended";
    EXPECT_EQ(1, m_inspector.Stop());
    EXPECT_EQ(1, m_inspector.Run());
}

TEST_F(EventThread, AWaitThatFailsOnceChangesNothing)
{
    Held listener(m_record);
    m_inspector.BindListener(listener.Get());
    for (unsigned int uNth = 1; uNth < 6; ++uNth)
    {
        VOFaultArm("WaitForSingleObject", uNth, false);
        ASSERT_EQ(1, m_inspector.Run());
        const size_t uBefore = m_record.Count();
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                PublishNext();
                return m_record.Count() > uBefore;
            }));
        ASSERT_EQ(1, m_inspector.Stop());
        VOFaultDisarm();
    }
}

TEST_F(EventThread, ALookWhoseNthCallFailsIsTriedAgainWithTheSameEvents)
{
    std::optional<votest::StdoutCapture> quiet(std::in_place);
    for (const bool bNew : {false, true})
    {
        for (unsigned int uNth = 1;; ++uNth)
        {
            TSThreadProcDetect detect;
            Events vecEvent;
            Time ullLast = 5;
            Time ullLatest = 0;
            m_publisher.Publish(AF_SOURCE, SampleModel().Image(), 40);
            if (bNew)
            {
                votest::NewFaults::Arm(uNth);
            }
            else
            {
                VOFaultArm(nullptr, uNth, false);
            }
            const bool bFound = detect.Look(AF_SOURCE, vecEvent, ullLast, ullLatest);
            votest::NewFaults::Disarm();
            VOFaultDisarm();
            const bool bFired = bNew ? votest::NewFaults::Fired() : VOFaultFired() != 0;
            EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1)) << uNth;
            EXPECT_EQ(5u, ullLast);
            if (!bFired)
            {
                EXPECT_TRUE(bFound);
                EXPECT_LE(2u, uNth) << "no call could fail";
                break;
            }
            EXPECT_FALSE(bFound) << uNth;
            vecEvent.clear();
            EXPECT_TRUE(detect.Look(AF_SOURCE, vecEvent, ullLast, ullLatest)) << "after " << uNth << " failed";
            EXPECT_THAT(TimesOf(vecEvent), ElementsAre(10, 20, 30));
        }
    }
}

TEST_F(EventThread, ALookWhoseCallsFailFromTheNthOnHoldsNothing)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system's own calls can't be made to fail";
    }
    std::optional<votest::StdoutCapture> quiet(std::in_place);
    m_publisher.Publish(AF_SOURCE, SampleModel().Image(), 40);
    for (unsigned int uNth = 1;; ++uNth)
    {
        const votest::ProcessResources before = votest::ResourcesOfThisProcess();
        {
            TSThreadProcDetect detect;
            Events vecEvent;
            Time ullLast = 5;
            Time ullLatest = 0;
            VOFaultArm(nullptr, uNth, true);
            (void)detect.Look(AF_SOURCE, vecEvent, ullLast, ullLatest);
            VOFaultDisarm();
        }
        EXPECT_EQ(before.uHandles, votest::ResourcesOfThisProcess().uHandles) << uNth;
        EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE, 0) + m_publisher.Readers(AF_SOURCE, 1)) << uNth;
        if (VOFaultFired() == 0)
        {
            break;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The assemble object
// ---------------------------------------------------------------------------------------------------------------------

class OpenAssemble : public VOTSFileEventMappingAssemble
{
public:
    OpenAssemble() = default;
    ~OpenAssemble() { _CloseInspector(); }
    using VOTSFileEventMappingAssemble::_SetupInspector;
    using VOTSFileEventMappingAssemble::m_pArrInspector;
};

TEST_F(EventThread, ASetUpWhoseNthCallFailsGivesNoSourcesAndTheNextOneSucceeds)
{
    std::optional<votest::StdoutCapture> quiet(std::in_place);
    m_publisher.SetEnabled(AF_TARGET, 1);
    for (const bool bNew : {false, true})
    {
        for (unsigned int uNth = 1;; ++uNth)
        {
            OpenAssemble kAssemble;
            int nResult = 0;
            if (bNew)
            {
                votest::NewFaults::Arm(uNth);
            }
            else
            {
                VOFaultArm(nullptr, uNth, false);
            }
            try
            {
                nResult = kAssemble._SetupInspector();
            }
            catch (const std::bad_alloc&)
            {
            }
            votest::NewFaults::Disarm();
            VOFaultDisarm();
            if (!(bNew ? votest::NewFaults::Fired() : VOFaultFired() != 0))
            {
                EXPECT_EQ(1, nResult);
                EXPECT_NE(nullptr, kAssemble.m_pArrInspector[AF_TARGET]);
                break;
            }
            EXPECT_EQ(0, nResult) << uNth;
            EXPECT_EQ(nullptr, kAssemble.m_pArrInspector[AF_TARGET]) << uNth;
            EXPECT_EQ(1, kAssemble._SetupInspector()) << "after " << uNth << " failed";
        }
    }
}

}  // namespace
