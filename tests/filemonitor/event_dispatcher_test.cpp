// The fan-out: who is called, in which order, and when the list can't be changed.
#include <atomic>
#include <stdexcept>

#include "filemonitor/monitor_test_tools.h"

namespace
{
using namespace monitortest;

class OpenDispatcher : public VOTSFileMonitorEventDispatcher
{
public:
    using VOTSFileMonitorEventDispatcher::IsListenerExist;
    using VOTSFileMonitorEventDispatcher::m_blstEnable;
    using VOTSFileMonitorEventDispatcher::m_listListeners;
};

std::string DispatcherLine(const std::string& strText, const std::string& strFunction)
{
    return Line(strText, strFunction, "VOTSFileMonitorEventDispatcher");
}

// Calls a function at each event.
class ActingListener : public VOTSFileMonitorEventListener_Adapter
{
public:
    explicit ActingListener(std::function<void()> Act) : m_Act(std::move(Act)) {}
    void OnFileMonitor_Add(const VOWCHAR*) override { m_Act(); }
    void OnFileMonitor_Modified(const VOWCHAR*) override { m_Act(); }

private:
    std::function<void()> m_Act;
};

typedef std::vector<std::string> Texts;

TEST(FileMonitorEventDispatcher, StartsEmptyAndOpenForChanges)
{
    OpenDispatcher dispatcher;
    EXPECT_TRUE(dispatcher.m_listListeners.empty());
    EXPECT_EQ(1, dispatcher.m_blstEnable);
}

TEST(FileMonitorEventDispatcher, PassesEachKindOfEventToEveryListenerInTheOrderOfAdding)
{
    OpenDispatcher dispatcher;
    Texts vecOrder;
    RecordingListener first;
    ActingListener between([&] { vecOrder.push_back(std::to_string(first.Calls().size())); });
    RecordingListener last;
    EXPECT_EQ(1, dispatcher.AddListener(&first));
    EXPECT_EQ(1, dispatcher.AddListener(&between));
    EXPECT_EQ(1, dispatcher.AddListener(&last));
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    dispatcher.OnFileMonitor_Remove(VOTEXT("C:/b"));
    dispatcher.OnFileMonitor_Rename(VOTEXT("C:/c"), VOTEXT("d"));
    dispatcher.OnFileMonitor_Modified(VOTEXT("C:/e"));
    const Texts vecExpected{"Add C:/a", "Remove C:/b", "Rename C:/c d", "Modified C:/e"};
    EXPECT_EQ(vecExpected, first.Calls());
    EXPECT_EQ(vecExpected, last.Calls());
    EXPECT_EQ((Texts{"1", "4"}), vecOrder);
    dispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AListenerAddedTwiceIsCalledOncePerEvent)
{
    OpenDispatcher dispatcher;
    RecordingListener listener;
    EXPECT_EQ(1, dispatcher.AddListener(&listener));
    EXPECT_EQ(1, dispatcher.AddListener(&listener));
    EXPECT_EQ(1u, dispatcher.m_listListeners.size());
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(1u, listener.Calls().size());
    dispatcher.RemoveListener(&listener);
}

TEST(FileMonitorEventDispatcher, AListenerThatTwoThreadsAddAtOnceStandsInTheListOnce)
{
    OpenDispatcher dispatcher;
    RecordingListener listener;
    const votest::LogCapture log;
    for (int i = 0; i < 2000; ++i)
    {
        std::atomic<int> nReady{0};
        std::atomic<int> nAdded{0};
        const auto Add = [&]
        {
            for (++nReady; nReady != 2;)
            {
                std::this_thread::yield();
            }
            nAdded += dispatcher.AddListener(&listener);
        };
        std::thread other(Add);
        Add();
        other.join();
        ASSERT_LE(1, nAdded) << "one of them was turned away by the other, not both";
        ASSERT_EQ(1u, dispatcher.m_listListeners.size());
        ASSERT_EQ(1, dispatcher.RemoveListener(&listener));
    }
}

TEST(FileMonitorEventDispatcher, RemovingAListenerThatWasNeverAddedReturns1)
{
    OpenDispatcher dispatcher;
    RecordingListener listener;
    const votest::LogCapture log;
    EXPECT_EQ(1, dispatcher.RemoveListener(&listener));
    EXPECT_EQ(0u, log.Count());
}

TEST(FileMonitorEventDispatcher, RemovingTakesOutEachEntryOfAListener)
{
    OpenDispatcher dispatcher;
    RecordingListener twice;
    RecordingListener other;
    dispatcher.m_listListeners = {&twice, &other, &twice};
    EXPECT_EQ(1, dispatcher.RemoveListener(&twice));
    EXPECT_EQ(1u, dispatcher.m_listListeners.size());
    EXPECT_EQ(0, dispatcher.IsListenerExist(&twice));
    EXPECT_EQ(1, dispatcher.IsListenerExist(&other));
    EXPECT_EQ(1, dispatcher.m_blstEnable);
    dispatcher.RemoveListener(&other);
}

TEST(FileMonitorEventDispatcher, ANullListenerIsRefusedBeforeTheFlagIsLookedAt)
{
    OpenDispatcher dispatcher;
    dispatcher.m_blstEnable = 0;
    const votest::LogCapture log;
    EXPECT_EQ(0, dispatcher.AddListener(nullptr));
    EXPECT_EQ(0, dispatcher.RemoveListener(nullptr));
    EXPECT_EQ((Texts{DispatcherLine("pListener", "AddListener"), DispatcherLine("pListener", "RemoveListener")}),
              log.Lines());
}

TEST(FileMonitorEventDispatcher, AddListenerFromInsideAnEventReturns0AndLogsAndTheNextEventReachesTheSameListeners)
{
    OpenDispatcher dispatcher;
    RecordingListener fresh;
    RecordingListener old;
    std::vector<int> vecResults;
    ActingListener acting(
        [&]
        {
            vecResults.push_back(dispatcher.m_blstEnable);
            vecResults.push_back(dispatcher.AddListener(&fresh));
            vecResults.push_back(dispatcher.RemoveListener(&old));
        });
    dispatcher.AddListener(&acting);
    dispatcher.AddListener(&old);
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ((std::vector<int>{0, 0, 0}), vecResults);
    EXPECT_EQ((Texts{DispatcherLine("m_blstEnable", "AddListener"), DispatcherLine("m_blstEnable", "RemoveListener")}),
              log.Lines());
    EXPECT_EQ(1, dispatcher.m_blstEnable);
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/b"));
    EXPECT_EQ(2u, old.Calls().size());
    EXPECT_TRUE(fresh.Calls().empty());
    dispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AChangeFromAnotherThreadDuringAnEventIsRefused)
{
    OpenDispatcher dispatcher;
    RecordingListener fresh;
    int nResult = 1;
    ActingListener acting([&] { std::thread([&] { nResult = dispatcher.AddListener(&fresh); }).join(); });
    dispatcher.AddListener(&acting);
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Modified(VOTEXT("C:/a"));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(1u, log.Count());
    dispatcher.RemoveListener(&acting);
}

TEST(FileMonitorEventDispatcher, ANullEntryEndsTheWalkWithALogLine)
{
    OpenDispatcher dispatcher;
    RecordingListener before;
    RecordingListener behind;
    dispatcher.m_listListeners = {&before, nullptr, &behind};
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Remove(VOTEXT("C:/a"));
    EXPECT_EQ(1u, before.Calls().size());
    EXPECT_TRUE(behind.Calls().empty());
    EXPECT_EQ((Texts{DispatcherLine("piListener", "OnFileMonitor_Remove")}), log.Lines());
    EXPECT_EQ(1, dispatcher.m_blstEnable);
    dispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AnExceptionFromAListenerOpensTheListAgain)
{
    OpenDispatcher dispatcher;
    ActingListener throwing([] { throw std::runtime_error("listener"); });
    dispatcher.AddListener(&throwing);
    EXPECT_THROW(dispatcher.OnFileMonitor_Add(VOTEXT("C:/a")), std::runtime_error);
    EXPECT_EQ(1, dispatcher.m_blstEnable);
    EXPECT_EQ(1, dispatcher.RemoveListener(&throwing));
}

TEST(FileMonitorEventDispatcher, AnInnerEventLeavesTheListClosedForTheRestOfTheOuterOne)
{
    OpenDispatcher dispatcher;
    RecordingListener last;
    int nDepth = 0;
    int nRemoved = -1;
    ActingListener nesting(
        [&]
        {
            if (++nDepth == 1)
            {
                dispatcher.OnFileMonitor_Modified(VOTEXT("C:/inner"));
                nRemoved = dispatcher.RemoveListener(&last);
            }
        });
    dispatcher.AddListener(&nesting);
    dispatcher.AddListener(&last);
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/outer"));
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ((Texts{DispatcherLine("m_blstEnable", "RemoveListener")}), log.Lines());
    EXPECT_EQ((Texts{"Modified C:/inner", "Add C:/outer"}), last.Calls());
    EXPECT_EQ(1, dispatcher.m_blstEnable);
    EXPECT_EQ(1, dispatcher.RemoveListener(&last));
    dispatcher.RemoveListener(&nesting);
}

TEST(FileMonitorEventDispatcher, ASearchFromAListenersCallLeavesTheListClosed)
{
    OpenDispatcher dispatcher;
    int nFound = -1;
    int nRemoved = -1;
    ActingListener* pActing = nullptr;
    ActingListener acting(
        [&]
        {
            nFound = dispatcher.IsListenerExist(pActing);
            nRemoved = dispatcher.RemoveListener(pActing);
        });
    pActing = &acting;
    dispatcher.AddListener(&acting);
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(1, nFound);
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ(1, dispatcher.RemoveListener(&acting));
}

TEST(FileMonitorEventDispatcher, AnAssignmentDuringAnEventLeavesTheListClosed)
{
    OpenDispatcher dispatcher;
    OpenDispatcher other;
    int nRemoved = -1;
    ActingListener acting(
        [&]
        {
            dispatcher = other;
            nRemoved = dispatcher.RemoveListener(&acting);
        });
    dispatcher.AddListener(&acting);
    const votest::LogCapture log;
    dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ(1, dispatcher.m_blstEnable);
}

TEST(FileMonitorEventDispatcher, TheEndOfOneThreadsEventLeavesTheListClosedForAnothers)
{
    OpenDispatcher dispatcher;
    std::atomic<int> nCalls{0};
    std::atomic<bool> bGoOn{false};
    ActingListener acting(
        [&]
        {
            // Only the first call stays.
            while (nCalls.fetch_add(1) == 0 && !bGoOn)
            {
                for (; !bGoOn; std::this_thread::yield())
                {
                }
            }
        });
    dispatcher.AddListener(&acting);
    std::thread staying([&] { dispatcher.OnFileMonitor_Add(VOTEXT("C:/a")); });
    while (nCalls == 0)
    {
        std::this_thread::yield();
    }
    dispatcher.OnFileMonitor_Modified(VOTEXT("C:/b"));
    {
        const votest::LogCapture log;
        EXPECT_EQ(0, dispatcher.RemoveListener(&acting));
    }
    bGoOn = true;
    staying.join();
    EXPECT_EQ(1, dispatcher.RemoveListener(&acting));
}

TEST(FileMonitorEventDispatcher, AListenerThatHasBeenRemovedIsNotBeingCalledAndIsNotCalledAgain)
{
    OpenDispatcher dispatcher;
    std::atomic<bool> bThere{true};
    std::atomic<bool> bStarted{false};
    std::atomic<bool> bEnd{false};
    std::atomic<int> nLate{0};
    ActingListener coming(
        [&]
        {
            for (int i = 0; i < 20; ++i)
            {
                nLate += bThere ? 0 : 1;
            }
        });
    std::thread eventThread(
        [&]
        {
            for (bStarted = true; !bEnd;)
            {
                dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
            }
        });
    while (!bStarted)
    {
        std::this_thread::yield();
    }
    const votest::LogCapture log;
    for (int i = 0; i < 5000; ++i)
    {
        bThere = true;
        (void)dispatcher.AddListener(&coming);
        while (dispatcher.RemoveListener(&coming) == 0)
        {
        }
        bThere = false;
    }
    bEnd = true;
    eventThread.join();
    EXPECT_EQ(0, nLate);
}

TEST(FileMonitorEventDispatcher, ADestructorWithListenersLeftLogsAndDeletesNone)
{
    RecordingListener listener;
    const votest::LogCapture log;
    {
        OpenDispatcher dispatcher;
        dispatcher.AddListener(&listener);
    }
    EXPECT_EQ((Texts{votest::CheckLine("VO_CHECK_ERROR", "m_listListeners.size() == 0",
                                       "VOTSFileMonitorEventDispatcher::~VOTSFileMonitorEventDispatcher")}),
              log.Lines());
    listener.OnFileMonitor_Add(VOTEXT("C:/still/there"));
    EXPECT_EQ(1u, listener.Calls().size());
}

TEST(FileMonitorEventDispatcher, CopiesCarryTheListAndTheFlag)
{
    OpenDispatcher dispatcher;
    RecordingListener listener;
    dispatcher.AddListener(&listener);
    dispatcher.m_blstEnable = 0;
    OpenDispatcher copy(dispatcher);
    OpenDispatcher assigned;
    assigned = dispatcher;
    for (OpenDispatcher* pOne : {&copy, &assigned, &dispatcher})
    {
        EXPECT_EQ(1u, pOne->m_listListeners.size());
        EXPECT_EQ(0, pOne->m_blstEnable);
        pOne->m_listListeners.clear();
    }
}

TEST(FileMonitorEventDispatcher, ListenersComeAndGoWhileEventsRunOnAnotherThread)
{
    OpenDispatcher dispatcher;
    RecordingListener steady;
    dispatcher.AddListener(&steady);
    constexpr size_t kEvents = 2000;
    std::thread eventThread(
        [&]
        {
            for (size_t i = 0; i < kEvents; ++i)
            {
                dispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
            }
        });
    const votest::LogCapture log;
    size_t uRefused = 0;
    for (int i = 0; i < 2000; ++i)
    {
        VOTSFileMonitorEventListener_Adapter passing;
        uRefused += dispatcher.AddListener(&passing) == 0;
        while (dispatcher.RemoveListener(&passing) == 0)
        {
            ++uRefused;
        }
    }
    eventThread.join();
    EXPECT_EQ(kEvents, steady.Calls().size());
    EXPECT_EQ(uRefused, log.Count());
    while (dispatcher.RemoveListener(&steady) == 0)
    {
    }
    EXPECT_TRUE(dispatcher.m_listListeners.empty());
}

TEST(FileMonitorEventDispatcher, TheAdapterDoesNothing)
{
    VOTSFileMonitorEventListener_Adapter adapter;
    const votest::LogCapture log;
    IVOTSFileMonitorEventListener& listener = adapter;
    listener.OnFileMonitor_Add(nullptr);
    listener.OnFileMonitor_Remove(nullptr);
    listener.OnFileMonitor_Rename(nullptr, nullptr);
    listener.OnFileMonitor_Modified(nullptr);
    EXPECT_EQ(0u, log.Count());
}

}  // namespace
