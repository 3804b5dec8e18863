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
    static void SetCurrent(VOTSFileEventMappingAssemble* pInstance) { ms_pkInstance = pInstance; }
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
    LogCapture log;
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    ASSERT_NE(nullptr, pAssemble);
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("hMappingState", kSetup)));
    log.Clear();
    EXPECT_EQ(1, pAssemble->Run());
    EXPECT_EQ(1, pAssemble->Stop());
    Record record;
    Held listener(record);
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(0, pAssemble->BindListener(static_cast<enumAssetFrom>(uSource), listener.Get()));
    }
    EXPECT_EQ(1u, listener.Get()->RefCount());
    EXPECT_EQ(0u, log.Count());
}

TEST_F(EventAssemble, TwoInstancesAreOneObjectAndOneReleaseLeavesItUsable)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pFirst = VOTSFileEventMappingAssemble::Instance();
    EXPECT_EQ(pFirst, VOTSFileEventMappingAssemble::Instance());
    EXPECT_EQ(2, OpenAssemble::References());
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1, OpenAssemble::References());
    Record record;
    Held listener(record);
    EXPECT_EQ(1, pFirst->BindListener(AF_SOURCE, listener.Get()));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(0, OpenAssemble::References());
    EXPECT_EQ(nullptr, OpenAssemble::Current());
    EXPECT_EQ(1u, listener.Get()->RefCount()) << "the inspector's reference went with it";
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
    Publisher publisher;
    OpenAssemble left;
    OpenAssemble::SetCurrent(&left);
    LogCapture log;
    EXPECT_NE(&left, VOTSFileEventMappingAssemble::Instance());
    EXPECT_THAT(log.Lines(),
                ElementsAre(votest::CheckLine("VO_CHECK_ERROR", "NULL == ms_pkInstance", kAssemble + "Instance")));
}

TEST_F(EventAssemble, ASectionOf336BytesWithOneEnabledSourceGivesOneInspectorAndRunStartsOneThread)
{
    Publisher publisher;
    publisher.SetEnabled(AF_TARGET, 0x80000000u);
    OpenAssemble object;
    EXPECT_EQ(1, object._SetupInspector());
    EXPECT_THAT(object.Sources(), ElementsAre(AF_TARGET));
    EXPECT_EQ(1, object.Run());
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        // Resuming what isn't suspended tells whether there is a thread, and does nothing else.
        EXPECT_EQ(uSource == AF_TARGET ? 1 : 0, object.SuspendEvent(static_cast<enumAssetFrom>(uSource), 0));
    }
}

TEST_F(EventAssemble, EveryEnabledRecordGetsAnInspectorWhateverItsTimes)
{
    Publisher publisher;
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        publisher.SetEnabled(uSource, 1 + uSource);
    }
    OpenAssemble object;
    EXPECT_EQ(1, object._SetupInspector());
    EXPECT_THAT(object.Sources(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9)) << "the record of no source as well";
}

TEST_F(EventAssemble, ASourcePublishedLaterIsNotSeen)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    publisher.SetEnabled(AF_TARGET, 1);
    publisher.SetEnabled(AF_SOURCE, 0);
    Record record;
    Held listener(record);
    EXPECT_EQ(0, pAssemble->BindListener(AF_TARGET, listener.Get()));
    EXPECT_EQ(1, pAssemble->BindListener(AF_SOURCE, listener.Get()));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1, VOTSFileEventMappingAssemble::Instance()->BindListener(AF_TARGET, listener.Get()));
}

TEST_F(EventAssemble, AnotherVersionIsReportedAndGivesNoSources)
{
    for (const char* const pszVersion : {"version.1.4", "version.1.5x", ""})
    {
        Publisher publisher(EmptyState(pszVersion));
        publisher.SetEnabled(AF_SOURCE, 1);
        OpenAssemble object;
        LogCapture log;
        EXPECT_EQ(0, object._SetupInspector());
        EXPECT_THAT(log.Lines(),
                    ElementsAre(ProcessError(
                        "::strcmp(pMappingState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION) == 0", kSetup)));
        EXPECT_THAT(object.Sources(), IsEmpty());
    }
}

TEST_F(EventAssemble, ASetUpWithInspectorsInPlaceStopsAtTheFirst)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    publisher.SetEnabled(AF_MERGETARGET, 1);
    OpenAssemble object;
    ASSERT_EQ(1, object._SetupInspector());
    delete std::exchange(object.m_pArrInspector[AF_MERGETARGET], nullptr);
    LogCapture log;
    EXPECT_EQ(0, object._SetupInspector());
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("NULL == m_pArrInspector[i]", kSetup)));
    EXPECT_THAT(object.Sources(), ElementsAre(AF_SOURCE));
    EXPECT_EQ(1, object._CloseInspector());
    EXPECT_THAT(object.Sources(), IsEmpty());
}

TEST_F(EventAssemble, BindingToASourceWithoutAnInspectorGives0AndTakesNoReference)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    Record record;
    Held listener(record);
    LogCapture log;
    for (const unsigned int uSource : {0u, 2u, 9u, 10u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        EXPECT_EQ(0, pAssemble->BindListener(static_cast<enumAssetFrom>(uSource), listener.Get())) << uSource;
    }
    EXPECT_EQ(1u, listener.Get()->RefCount());
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(1, pAssemble->BindListener(AF_SOURCE, listener.Get()));
    EXPECT_EQ(2u, listener.Get()->RefCount());
}

TEST_F(EventAssemble, SuspendingBeforeTheRunLogsTheSecondCheckAndGives0)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    LogCapture log;
    EXPECT_EQ(0, pAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("m_pArrInspector[(int)eaf]->SuspendEvent(bSuspend)",
                                                      kAssemble + "SuspendEvent")));
    log.Clear();
    for (const unsigned int uSource : {0u, 2u, 10u, 0xFFFFFFFFu})
    {
        EXPECT_EQ(0, pAssemble->SuspendEvent(static_cast<enumAssetFrom>(uSource), 1));
    }
    EXPECT_EQ(4u, log.Count());
    EXPECT_EQ(ProcessError("m_pArrInspector[(int)eaf]", kAssemble + "SuspendEvent"), log.Lines()[3]);
}

TEST_F(EventAssemble, RunsSuspendsAndStopsItsSources)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    publisher.Publish(AF_TARGET, ImageOfTimes({20}), 20);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    Record akRecord[2];
    Held source(akRecord[0]);
    Held target(akRecord[1]);
    EXPECT_EQ(1, pAssemble->BindListener(AF_SOURCE, source.Get()));
    EXPECT_EQ(1, pAssemble->BindListener(AF_TARGET, target.Get()));
    EXPECT_EQ(1, pAssemble->Run());
    EXPECT_EQ(1, pAssemble->Run()) << "a second time changes nothing";
    EXPECT_TRUE(akRecord[0].WaitFor(1));
    EXPECT_TRUE(akRecord[1].WaitFor(1));
    EXPECT_EQ(1, pAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_EQ(1, pAssemble->SuspendEvent(AF_SOURCE, 0));
    EXPECT_EQ(1, pAssemble->Stop());
    EXPECT_THAT(akRecord[0].Times(), ElementsAre(10));
    EXPECT_THAT(akRecord[1].Times(), ElementsAre(20));
    LogCapture log;
    EXPECT_EQ(0, pAssemble->SuspendEvent(AF_SOURCE, 1));
    EXPECT_EQ(1u, log.Count());
}

TEST_F(EventAssemble, TheLastReleaseStopsRunningThreadsAndLetsGoOfListeners)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    publisher.Publish(AF_TARGET, ImageOfTimes({10}), 10);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    Record record;
    // A listener that asks for the instance itself mustn't keep the release from ending.
    Held listener(record,
                  [](const FileEventParam&)
                  {
                      (void)VOTSFileEventMappingAssemble::Instance();
                      VOTSFileEventMappingAssemble::Release();
                  });
    EXPECT_EQ(1, pAssemble->BindListener(AF_SOURCE, listener.Get()));
    EXPECT_EQ(1, pAssemble->BindListener(AF_TARGET, listener.Get()));
    EXPECT_EQ(1, pAssemble->Run());
    EXPECT_TRUE(record.WaitFor(1));
    VOTSFileEventMappingAssemble::Release();
    EXPECT_EQ(1u, listener.Get()->RefCount());
}

// Two sources: the listener of the second is stopped while it holds a lock that the listener of the first asks for.
class EventAssembleWithAHeldLock : public EventAssemble
{
protected:
    void SetUp() override
    {
        m_publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
        m_publisher.Publish(AF_TARGET, ImageOfTimes({10}), 10);
        m_pAssemble = VOTSFileEventMappingAssemble::Instance();
        ASSERT_EQ(1, m_pAssemble->BindListener(AF_SOURCE, m_asking.Get()));
        ASSERT_EQ(1, m_pAssemble->BindListener(AF_TARGET, m_holding.Get()));
        m_pAssemble->Run();
        ASSERT_TRUE(WaitUntil([&] { return m_nHolding == 1 && m_nAsking == 1; }));
        ASSERT_EQ(1, m_pAssemble->SuspendEvent(AF_TARGET, 1));
        m_bLeave = true;
    }

    // Whether an operation ends although nobody else lets the suspended thread go.
    bool Ends(const std::function<void()>& fnOperation)
    {
        const LogCapture log;
        std::atomic<bool> bEnded{false};
        std::thread thread(
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
            m_pAssemble->SuspendEvent(AF_TARGET, 0);
        }
        thread.join();
        return bResult;
    }

    Publisher m_publisher;
    std::mutex m_lock;
    std::atomic<int> m_nHolding{0};
    std::atomic<int> m_nAsking{0};
    std::atomic<bool> m_bLeave{false};
    Record m_record;
    Held m_holding{m_record, [this](const FileEventParam&)
                   {
                       const std::lock_guard<std::mutex> guard(m_lock);
                       for (m_nHolding = 1; !m_bLeave; std::this_thread::yield())
                       {
                       }
                   }};
    Held m_asking{m_record, [this](const FileEventParam&)
                  {
                      while (m_nHolding == 0)
                      {
                          std::this_thread::yield();
                      }
                      m_nAsking = 1;
                      const std::lock_guard<std::mutex> guard(m_lock);
                  }};
    VOTSFileEventMappingAssemble* m_pAssemble = nullptr;
};

TEST_F(EventAssembleWithAHeldLock, StopLetsAllThreadsGoBeforeItWaitsForOne)
{
    EXPECT_TRUE(Ends([&] { m_pAssemble->Stop(); }));
}

TEST_F(EventAssembleWithAHeldLock, TheLastReleaseLetsAllThreadsGoBeforeItWaitsForOne)
{
    EXPECT_TRUE(Ends([] { VOTSFileEventMappingAssemble::Release(); }));
}

TEST_F(EventAssemble, AThreadThatWasSuspendedTwiceStaysSoUntilItIsResumedOnceMore)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    publisher.SetEnabled(AF_TARGET, 1);
    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
    pAssemble->Run();
    pAssemble->SuspendEvent(AF_TARGET, 1);
    pAssemble->SuspendEvent(AF_TARGET, 1);
    std::atomic<int> nEnded{0};
    const auto Stop = [&]
    {
        pAssemble->Stop();
        ++nEnded;
    };
    std::thread one(Stop);
    std::thread other(Stop);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_EQ(0, nEnded) << "two that stop don't resume it twice";
    EXPECT_EQ(1, pAssemble->SuspendEvent(AF_TARGET, 0));
    one.join();
    other.join();
}

TEST_F(EventAssemble, InstanceIsMadeOnceByManyThreads)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    std::vector<std::thread> vecThreads;
    std::atomic<VOTSFileEventMappingAssemble*> apkSeen[4] = {};
    for (auto& pSeen : apkSeen)
    {
        vecThreads.emplace_back([&pSeen] { pSeen = VOTSFileEventMappingAssemble::Instance(); });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(4, OpenAssemble::References());
    for (auto& pSeen : apkSeen)
    {
        EXPECT_EQ(OpenAssemble::Current(), pSeen.load());
    }
}

TEST_F(EventAssemble, OnManyThreadsAnObjectIsThereFromInstanceToRelease)
{
    Publisher publisher;
    publisher.SetEnabled(AF_SOURCE, 1);
    const LogCapture log;
    std::atomic<int> nMisses = 0;
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&nMisses]
            {
                for (int nRound = 0; nRound < 300; ++nRound)
                {
                    VOTSFileEventMappingAssemble* const pAssemble = VOTSFileEventMappingAssemble::Instance();
                    nMisses += (pAssemble->*&OpenAssemble::m_pArrInspector)[AF_SOURCE] == nullptr ? 1 : 0;
                    VOTSFileEventMappingAssemble::Release();
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
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
