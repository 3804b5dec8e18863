// The process-wide object over the event streams of all sources.
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "diagnostics/fresh_process.h"
#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

const std::string kSetup = kAssemble + "_SetupInspector";

class OpenAssemble : public VOTSFileEventMappingAssemble
{
public:
    OpenAssemble() = default;
    ~OpenAssemble() { _CloseInspector(); }
    using VOTSFileEventMappingAssemble::_CloseInspector;
    using VOTSFileEventMappingAssemble::_SetupInspector;
    using VOTSFileEventMappingAssemble::m_pArrInspector;

    static int References() { return ms_nRefCountOfInstance; }
    static VOTSFileEventMappingAssemble* Current() { return ms_pkInstance; }
    static void SetCurrent(VOTSFileEventMappingAssemble* pkInstance) { ms_pkInstance = pkInstance; }
    std::vector<unsigned int> Sources() const
    {
        std::vector<unsigned int> vecSource;
        for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
        {
            if (m_pArrInspector[uSource] != nullptr)
            {
                vecSource.push_back(uSource);
            }
        }
        return vecSource;
    }
};

class EventAssemble : public testing::Test
{
protected:
    void TearDown() override
    {
        while (OpenAssemble::References() > 0)
        {
            VOTSFileEventMappingAssemble::Release();
        }
        EXPECT_EQ(nullptr, OpenAssemble::Current());
    }
};

TEST_F(EventAssemble, WithoutAStateSectionThereIsAnObjectWithoutSources)
{
    LogCapture kLog;
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    ASSERT_NE(nullptr, pkAssemble);
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("hMappingState", kSetup)));
    kLog.Clear();
    EXPECT_EQ(1, pkAssemble->Run());
    EXPECT_EQ(1, pkAssemble->Stop());
    Record kRecord;
    Held kListener(kRecord);
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(0, pkAssemble->BindListener(static_cast<enumAssetFrom>(uSource), kListener.Get()));
    }
    EXPECT_EQ(1u, kListener.Get()->RefCount());
    EXPECT_EQ(0u, kLog.Count());
}

TEST_F(EventAssemble, TwoInstancesAreOneObjectAndOneReleaseLeavesItUsable)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pkFirst = VOTSFileEventMappingAssemble::Instance();
    EXPECT_EQ(pkFirst, VOTSFileEventMappingAssemble::Instance());
    EXPECT_EQ(2, OpenAssemble::References());
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1, OpenAssemble::References());
    Record kRecord;
    Held kListener(kRecord);
    EXPECT_EQ(1, pkFirst->BindListener(AF_SOURCE, kListener.Get()));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_EQ(nullptr, OpenAssemble::Current());
    EXPECT_EQ(1u, kListener.Get()->RefCount()) << "the inspector's reference went with it";
}

TEST_F(EventAssemble, AReleaseTooManyDoesNothing)
{
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_NE(nullptr, VOTSFileEventMappingAssemble::Instance());
    EXPECT_EQ(1, OpenAssemble::References());
}

TEST_F(EventAssemble, AnObjectThatIsThereWithoutAReferenceIsReported)
{
    Publisher kPublisher;
    OpenAssemble kLeft;
    OpenAssemble::SetCurrent(&kLeft);
    LogCapture kLog;
    EXPECT_NE(&kLeft, VOTSFileEventMappingAssemble::Instance());
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(votest::CheckLine("VO_CHECK_ERROR", "NULL == ms_pkInstance", kAssemble + "Instance")));
}

TEST_F(EventAssemble, ASectionOf336BytesWithOneEnabledSourceGivesOneInspectorAndRunStartsOneThread)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_TARGET, 0x80000000u);
    OpenAssemble kObject;
    EXPECT_EQ(1, kObject._SetupInspector());
    EXPECT_THAT(kObject.Sources(), ElementsAre(AF_TARGET));
    EXPECT_EQ(1, kObject.Run());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        // Resuming what isn't suspended tells whether there is a thread, and does nothing else.
        EXPECT_EQ(uSource == AF_TARGET ? 1 : 0, kObject.SuspendEvent(static_cast<enumAssetFrom>(uSource), 0));
    }
}

TEST_F(EventAssemble, EveryEnabledRecordGetsAnInspectorWhateverItsTimes)
{
    Publisher kPublisher;
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        kPublisher.SetEnabled(uSource, 1 + uSource);
    }
    OpenAssemble kObject;
    EXPECT_EQ(1, kObject._SetupInspector());
    EXPECT_THAT(kObject.Sources(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9)) << "the record of no source as well";
}

TEST_F(EventAssemble, ASourcePublishedLaterIsNotSeen)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    kPublisher.SetEnabled(AF_TARGET, 1);
    kPublisher.SetEnabled(AF_SOURCE, 0);
    Record kRecord;
    Held kListener(kRecord);
    EXPECT_EQ(0, pkAssemble->BindListener(AF_TARGET, kListener.Get()));
    EXPECT_EQ(1, pkAssemble->BindListener(AF_SOURCE, kListener.Get()));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1, VOTSFileEventMappingAssemble::Instance()->BindListener(AF_TARGET, kListener.Get()));
}

TEST_F(EventAssemble, AnotherVersionIsReportedAndGivesNoSources)
{
    for (const char* const pszVersion : {"version.1.4", "version.1.5x", ""})
    {
        Publisher kPublisher(EmptyState(pszVersion));
        kPublisher.SetEnabled(AF_SOURCE, 1);
        OpenAssemble kObject;
        LogCapture kLog;
        EXPECT_EQ(0, kObject._SetupInspector());
        EXPECT_THAT(kLog.Lines(),
                    ElementsAre(ProcessError(
                        "::strcmp(pMappingState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION) == 0", kSetup)));
        EXPECT_THAT(kObject.Sources(), IsEmpty());
    }
}

TEST_F(EventAssemble, ASetUpWithInspectorsInPlaceStopsAtTheFirst)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    kPublisher.SetEnabled(AF_MERGETARGET, 1);
    OpenAssemble kObject;
    ASSERT_EQ(1, kObject._SetupInspector());
    delete std::exchange(kObject.m_pArrInspector[AF_MERGETARGET], nullptr);
    LogCapture kLog;
    EXPECT_EQ(0, kObject._SetupInspector());
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("NULL == m_pArrInspector[i]", kSetup)));
    EXPECT_THAT(kObject.Sources(), ElementsAre(AF_SOURCE));
    EXPECT_EQ(1, kObject._CloseInspector());
    EXPECT_THAT(kObject.Sources(), IsEmpty());
}

TEST_F(EventAssemble, BindingToASourceWithoutAnInspectorGives0AndTakesNoReference)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    Record kRecord;
    Held kListener(kRecord);
    LogCapture kLog;
    for (const unsigned int uSource : {0u, 2u, 9u, 10u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        EXPECT_EQ(0, pkAssemble->BindListener(static_cast<enumAssetFrom>(uSource), kListener.Get())) << uSource;
    }
    EXPECT_EQ(1u, kListener.Get()->RefCount());
    EXPECT_EQ(0u, kLog.Count());
    EXPECT_EQ(1, pkAssemble->BindListener(AF_SOURCE, kListener.Get()));
    EXPECT_EQ(2u, kListener.Get()->RefCount());
}

TEST_F(EventAssemble, SuspendingBeforeTheRunLogsTheSecondCheckAndGives0)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    LogCapture kLog;
    EXPECT_EQ(0, pkAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("m_pArrInspector[(int)eaf]->SuspendEvent(bSuspend)",
                                                       kAssemble + "SuspendEvent")));
    kLog.Clear();
    for (const unsigned int uSource : {0u, 2u, 10u, 0xFFFFFFFFu})
    {
        EXPECT_EQ(0, pkAssemble->SuspendEvent(static_cast<enumAssetFrom>(uSource), 1));
    }
    EXPECT_EQ(4u, kLog.Count());
    EXPECT_EQ(ProcessError("m_pArrInspector[(int)eaf]", kAssemble + "SuspendEvent"), kLog.Lines()[3]);
}

TEST_F(EventAssemble, RunsSuspendsAndStopsItsSources)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    kPublisher.Publish(AF_TARGET, ImageOfTimes({20}), 20);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    Record akRecord[2];
    Held kSource(akRecord[0]);
    Held kTarget(akRecord[1]);
    EXPECT_EQ(1, pkAssemble->BindListener(AF_SOURCE, kSource.Get()));
    EXPECT_EQ(1, pkAssemble->BindListener(AF_TARGET, kTarget.Get()));
    EXPECT_EQ(1, pkAssemble->Run());
    EXPECT_EQ(1, pkAssemble->Run()) << "a second time changes nothing";
    EXPECT_TRUE(akRecord[0].WaitFor(1));
    EXPECT_TRUE(akRecord[1].WaitFor(1));
    EXPECT_EQ(1, pkAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_EQ(1, pkAssemble->SuspendEvent(AF_SOURCE, 0));
    EXPECT_EQ(1, pkAssemble->Stop());
    EXPECT_THAT(akRecord[0].Times(), ElementsAre(10));
    EXPECT_THAT(akRecord[1].Times(), ElementsAre(20));
    LogCapture kLog;
    EXPECT_EQ(0, pkAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_EQ(1u, kLog.Count());
}

TEST_F(EventAssemble, TheLastReleaseStopsRunningThreadsAndLetsGoOfListeners)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    kPublisher.Publish(AF_TARGET, ImageOfTimes({10}), 10);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    Record kRecord;
    // A listener that asks for the instance itself mustn't keep the release from ending.
    Held kListener(kRecord,
                   [](const FileEventParam&)
                   {
                       (void)VOTSFileEventMappingAssemble::Instance();
                       VOTSFileEventMappingAssemble::Release();
                   });
    EXPECT_EQ(1, pkAssemble->BindListener(AF_SOURCE, kListener.Get()));
    EXPECT_EQ(1, pkAssemble->BindListener(AF_TARGET, kListener.Get()));
    EXPECT_EQ(1, pkAssemble->Run());
    EXPECT_TRUE(kRecord.WaitFor(1));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1u, kListener.Get()->RefCount());
}

// Two sources: the listener of the second is stopped while it holds a lock that the listener of the first asks for.
class EventAssembleWithAHeldLock : public EventAssemble
{
protected:
    void SetUp() override
    {
        m_kPublisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
        m_kPublisher.Publish(AF_TARGET, ImageOfTimes({10}), 10);
        m_pkAssemble = VOTSFileEventMappingAssemble::Instance();
        ASSERT_EQ(1, m_pkAssemble->BindListener(AF_SOURCE, m_kAsking.Get()));
        ASSERT_EQ(1, m_pkAssemble->BindListener(AF_TARGET, m_kHolding.Get()));
        m_pkAssemble->Run();
        ASSERT_TRUE(WaitUntil([&] { return m_nHolding == 1 && m_nAsking == 1; }));
        ASSERT_EQ(1, m_pkAssemble->SuspendEvent(AF_TARGET, 1));
        m_bLeave = true;
    }

    // Whether an operation ends although nobody else lets the suspended thread go.
    bool Ends(const std::function<void()>& fnOperation)
    {
        const LogCapture kLog;
        std::atomic<bool> bEnded{false};
        std::thread kThread(
            [&]
            {
                fnOperation();
                bEnded = true;
            });
        for (int i = 0; i < 1000 && !bEnded; ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const bool bResult = bEnded;
        if (!bResult)
        {
            m_pkAssemble->SuspendEvent(AF_TARGET, 0);
        }
        kThread.join();
        return bResult;
    }

    Publisher m_kPublisher;
    std::mutex m_kLock;
    std::atomic<int> m_nHolding{0};
    std::atomic<int> m_nAsking{0};
    std::atomic<bool> m_bLeave{false};
    Record m_kRecord;
    Held m_kHolding{m_kRecord, [this](const FileEventParam&)
                    {
                        const std::lock_guard<std::mutex> kGuard(m_kLock);
                        for (m_nHolding = 1; !m_bLeave; std::this_thread::yield())
                        {
                        }
                    }};
    Held m_kAsking{m_kRecord, [this](const FileEventParam&)
                   {
                       while (m_nHolding == 0)
                       {
                           std::this_thread::yield();
                       }
                       m_nAsking = 1;
                       const std::lock_guard<std::mutex> kGuard(m_kLock);
                   }};
    VOTSFileEventMappingAssemble* m_pkAssemble = nullptr;
};

TEST_F(EventAssembleWithAHeldLock, StopLetsAllThreadsGoBeforeItWaitsForOne)
{
    EXPECT_TRUE(Ends([&] { m_pkAssemble->Stop(); }));
}

TEST_F(EventAssembleWithAHeldLock, TheLastReleaseLetsAllThreadsGoBeforeItWaitsForOne)
{
    EXPECT_TRUE(Ends([] { VOTSFileEventMappingAssemble::Release(); }));
}

TEST_F(EventAssemble, AThreadThatWasSuspendedTwiceStaysSoUntilItIsResumedOnceMore)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    kPublisher.SetEnabled(AF_TARGET, 1);
    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
    pkAssemble->Run();
    pkAssemble->SuspendEvent(AF_TARGET, 1);
    pkAssemble->SuspendEvent(AF_TARGET, 1);
    std::atomic<int> nEnded{0};
    const auto Stop = [&]
    {
        pkAssemble->Stop();
        ++nEnded;
    };
    std::thread kOne(Stop);
    std::thread kOther(Stop);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_EQ(0, nEnded) << "two that stop don't resume it twice";
    EXPECT_EQ(1, pkAssemble->SuspendEvent(AF_TARGET, 0));
    kOne.join();
    kOther.join();
}

TEST_F(EventAssemble, InstanceIsMadeOnceByManyThreads)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    std::vector<std::thread> vecThreads;
    std::atomic<VOTSFileEventMappingAssemble*> apkSeen[4] = {};
    for (auto& rpkSeen : apkSeen)
    {
        vecThreads.emplace_back([&rpkSeen] { rpkSeen = VOTSFileEventMappingAssemble::Instance(); });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(4, OpenAssemble::References());
    for (auto& rpkSeen : apkSeen)
    {
        EXPECT_EQ(OpenAssemble::Current(), rpkSeen.load());
    }
}

TEST_F(EventAssemble, OnManyThreadsAnObjectIsThereFromInstanceToRelease)
{
    Publisher kPublisher;
    kPublisher.SetEnabled(AF_SOURCE, 1);
    const LogCapture kLog;
    std::atomic<int> nMisses = 0;
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&nMisses]
            {
                for (int nRound = 0; nRound < 300; ++nRound)
                {
                    VOTSFileEventMappingAssemble* const pkAssemble = VOTSFileEventMappingAssemble::Instance();
                    nMisses += (pkAssemble->*&OpenAssemble::m_pArrInspector)[AF_SOURCE] == nullptr ? 1 : 0;
                    VOTSFileEventMappingAssemble::Release();
                }
            });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(0, nMisses);
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_EQ(nullptr, OpenAssemble::Current());
}

TEST(EventAssembleDeathTest, ReleaseMayBeCalledFromAHookWhileInstanceReports)
{
    EXPECT_IN_FRESH_PROCESS({
        static bool s_bCalled = false;
        SetLogPrintfFunction(
            [](VOLOG_PRIORITY, const char*)
            {
                s_bCalled = true;
                VOTSFileEventMappingAssemble::Release();
                return 0;
            });
        // Without an end, a thread that waits for itself would keep the test.
        std::thread(
            []
            {
                std::this_thread::sleep_for(std::chrono::seconds(20));
                _Exit(3);
            })
            .detach();
        CHECK_HERE(VOTSFileEventMappingAssemble::Instance() != nullptr);
        CHECK_HERE(s_bCalled);
        CHECK_HERE(OpenAssemble::References() == 1);
    });
}

}  // namespace
