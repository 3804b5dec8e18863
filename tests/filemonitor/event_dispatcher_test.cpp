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
    OpenDispatcher kDispatcher;
    EXPECT_TRUE(kDispatcher.m_listListeners.empty());
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
}

TEST(FileMonitorEventDispatcher, PassesEachKindOfEventToEveryListenerInTheOrderOfAdding)
{
    OpenDispatcher kDispatcher;
    Texts vecOrder;
    RecordingListener kFirst;
    ActingListener kBetween([&] { vecOrder.push_back(std::to_string(kFirst.Calls().size())); });
    RecordingListener kLast;
    EXPECT_EQ(1, kDispatcher.AddListener(&kFirst));
    EXPECT_EQ(1, kDispatcher.AddListener(&kBetween));
    EXPECT_EQ(1, kDispatcher.AddListener(&kLast));
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    kDispatcher.OnFileMonitor_Remove(VOTEXT("C:/b"));
    kDispatcher.OnFileMonitor_Rename(VOTEXT("C:/c"), VOTEXT("d"));
    kDispatcher.OnFileMonitor_Modified(VOTEXT("C:/e"));
    const Texts vecExpected{"Add C:/a", "Remove C:/b", "Rename C:/c d", "Modified C:/e"};
    EXPECT_EQ(vecExpected, kFirst.Calls());
    EXPECT_EQ(vecExpected, kLast.Calls());
    EXPECT_EQ((Texts{"1", "4"}), vecOrder);
    kDispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AListenerAddedTwiceIsCalledOncePerEvent)
{
    OpenDispatcher kDispatcher;
    RecordingListener kListener;
    EXPECT_EQ(1, kDispatcher.AddListener(&kListener));
    EXPECT_EQ(1, kDispatcher.AddListener(&kListener));
    EXPECT_EQ(1u, kDispatcher.m_listListeners.size());
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(1u, kListener.Calls().size());
    kDispatcher.RemoveListener(&kListener);
}

TEST(FileMonitorEventDispatcher, AListenerThatTwoThreadsAddAtOnceStandsInTheListOnce)
{
    OpenDispatcher kDispatcher;
    RecordingListener kListener;
    const votest::LogCapture kLog;
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
            nAdded += kDispatcher.AddListener(&kListener);
        };
        std::thread kOther(Add);
        Add();
        kOther.join();
        ASSERT_LE(1, nAdded) << "one of them was turned away by the other, not both";
        ASSERT_EQ(1u, kDispatcher.m_listListeners.size());
        ASSERT_EQ(1, kDispatcher.RemoveListener(&kListener));
    }
}

TEST(FileMonitorEventDispatcher, RemovingAListenerThatWasNeverAddedReturns1)
{
    OpenDispatcher kDispatcher;
    RecordingListener kListener;
    const votest::LogCapture kLog;
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kListener));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(FileMonitorEventDispatcher, RemovingTakesOutEachEntryOfAListener)
{
    OpenDispatcher kDispatcher;
    RecordingListener kTwice;
    RecordingListener kOther;
    kDispatcher.m_listListeners = {&kTwice, &kOther, &kTwice};
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kTwice));
    EXPECT_EQ(1u, kDispatcher.m_listListeners.size());
    EXPECT_EQ(0, kDispatcher.IsListenerExist(&kTwice));
    EXPECT_EQ(1, kDispatcher.IsListenerExist(&kOther));
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
    kDispatcher.RemoveListener(&kOther);
}

TEST(FileMonitorEventDispatcher, ANullListenerIsRefusedBeforeTheFlagIsLookedAt)
{
    OpenDispatcher kDispatcher;
    kDispatcher.m_blstEnable = 0;
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kDispatcher.AddListener(nullptr));
    EXPECT_EQ(0, kDispatcher.RemoveListener(nullptr));
    EXPECT_EQ((Texts{DispatcherLine("pListener", "AddListener"), DispatcherLine("pListener", "RemoveListener")}),
              kLog.Lines());
}

TEST(FileMonitorEventDispatcher, AddListenerFromInsideAnEventReturns0AndLogsAndTheNextEventReachesTheSameListeners)
{
    OpenDispatcher kDispatcher;
    RecordingListener kNew;
    RecordingListener kOld;
    std::vector<int> vecResults;
    ActingListener kActing(
        [&]
        {
            vecResults.push_back(kDispatcher.m_blstEnable);
            vecResults.push_back(kDispatcher.AddListener(&kNew));
            vecResults.push_back(kDispatcher.RemoveListener(&kOld));
        });
    kDispatcher.AddListener(&kActing);
    kDispatcher.AddListener(&kOld);
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ((std::vector<int>{0, 0, 0}), vecResults);
    EXPECT_EQ((Texts{DispatcherLine("m_blstEnable", "AddListener"), DispatcherLine("m_blstEnable", "RemoveListener")}),
              kLog.Lines());
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/b"));
    EXPECT_EQ(2u, kOld.Calls().size());
    EXPECT_TRUE(kNew.Calls().empty());
    kDispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AChangeFromAnotherThreadDuringAnEventIsRefused)
{
    OpenDispatcher kDispatcher;
    RecordingListener kNew;
    int nResult = 1;
    ActingListener kActing([&] { std::thread([&] { nResult = kDispatcher.AddListener(&kNew); }).join(); });
    kDispatcher.AddListener(&kActing);
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Modified(VOTEXT("C:/a"));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(1u, kLog.Count());
    kDispatcher.RemoveListener(&kActing);
}

TEST(FileMonitorEventDispatcher, ANullEntryEndsTheWalkWithALogLine)
{
    OpenDispatcher kDispatcher;
    RecordingListener kBefore;
    RecordingListener kBehind;
    kDispatcher.m_listListeners = {&kBefore, nullptr, &kBehind};
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Remove(VOTEXT("C:/a"));
    EXPECT_EQ(1u, kBefore.Calls().size());
    EXPECT_TRUE(kBehind.Calls().empty());
    EXPECT_EQ((Texts{DispatcherLine("piListener", "OnFileMonitor_Remove")}), kLog.Lines());
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
    kDispatcher.m_listListeners.clear();
}

TEST(FileMonitorEventDispatcher, AnExceptionFromAListenerOpensTheListAgain)
{
    OpenDispatcher kDispatcher;
    ActingListener kThrowing([] { throw std::runtime_error("listener"); });
    kDispatcher.AddListener(&kThrowing);
    EXPECT_THROW(kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a")), std::runtime_error);
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kThrowing));
}

TEST(FileMonitorEventDispatcher, AnInnerEventLeavesTheListClosedForTheRestOfTheOuterOne)
{
    OpenDispatcher kDispatcher;
    RecordingListener kLast;
    int nDepth = 0;
    int nRemoved = -1;
    ActingListener kNesting(
        [&]
        {
            if (++nDepth == 1)
            {
                kDispatcher.OnFileMonitor_Modified(VOTEXT("C:/inner"));
                nRemoved = kDispatcher.RemoveListener(&kLast);
            }
        });
    kDispatcher.AddListener(&kNesting);
    kDispatcher.AddListener(&kLast);
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/outer"));
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ((Texts{DispatcherLine("m_blstEnable", "RemoveListener")}), kLog.Lines());
    EXPECT_EQ((Texts{"Modified C:/inner", "Add C:/outer"}), kLast.Calls());
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kLast));
    kDispatcher.RemoveListener(&kNesting);
}

TEST(FileMonitorEventDispatcher, ASearchFromAListenersCallLeavesTheListClosed)
{
    OpenDispatcher kDispatcher;
    int nFound = -1;
    int nRemoved = -1;
    ActingListener* pkActing = nullptr;
    ActingListener kActing(
        [&]
        {
            nFound = kDispatcher.IsListenerExist(pkActing);
            nRemoved = kDispatcher.RemoveListener(pkActing);
        });
    pkActing = &kActing;
    kDispatcher.AddListener(&kActing);
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(1, nFound);
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kActing));
}

TEST(FileMonitorEventDispatcher, AnAssignmentDuringAnEventLeavesTheListClosed)
{
    OpenDispatcher kDispatcher;
    OpenDispatcher kOther;
    int nRemoved = -1;
    ActingListener kActing(
        [&]
        {
            kDispatcher = kOther;
            nRemoved = kDispatcher.RemoveListener(&kActing);
        });
    kDispatcher.AddListener(&kActing);
    const votest::LogCapture kLog;
    kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
    EXPECT_EQ(0, nRemoved);
    EXPECT_EQ(1, kDispatcher.m_blstEnable);
}

TEST(FileMonitorEventDispatcher, TheEndOfOneThreadsEventLeavesTheListClosedForAnothers)
{
    OpenDispatcher kDispatcher;
    std::atomic<int> nCalls{0};
    std::atomic<bool> bGoOn{false};
    ActingListener kActing(
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
    kDispatcher.AddListener(&kActing);
    std::thread kStaying([&] { kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a")); });
    while (nCalls == 0)
    {
        std::this_thread::yield();
    }
    kDispatcher.OnFileMonitor_Modified(VOTEXT("C:/b"));
    {
        const votest::LogCapture kLog;
        EXPECT_EQ(0, kDispatcher.RemoveListener(&kActing));
    }
    bGoOn = true;
    kStaying.join();
    EXPECT_EQ(1, kDispatcher.RemoveListener(&kActing));
}

TEST(FileMonitorEventDispatcher, AListenerThatHasBeenRemovedIsNotBeingCalledAndIsNotCalledAgain)
{
    OpenDispatcher kDispatcher;
    std::atomic<bool> bThere{true};
    std::atomic<bool> bStarted{false};
    std::atomic<bool> bEnd{false};
    std::atomic<int> nLate{0};
    ActingListener kComing(
        [&]
        {
            for (int i = 0; i < 20; ++i)
            {
                nLate += bThere ? 0 : 1;
            }
        });
    std::thread kEventThread(
        [&]
        {
            for (bStarted = true; !bEnd;)
            {
                kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
            }
        });
    while (!bStarted)
    {
        std::this_thread::yield();
    }
    const votest::LogCapture kLog;
    for (int i = 0; i < 5000; ++i)
    {
        bThere = true;
        (void)kDispatcher.AddListener(&kComing);
        while (kDispatcher.RemoveListener(&kComing) == 0)
        {
        }
        bThere = false;
    }
    bEnd = true;
    kEventThread.join();
    EXPECT_EQ(0, nLate);
}

TEST(FileMonitorEventDispatcher, ADestructorWithListenersLeftLogsAndDeletesNone)
{
    RecordingListener kListener;
    const votest::LogCapture kLog;
    {
        OpenDispatcher kDispatcher;
        kDispatcher.AddListener(&kListener);
    }
    EXPECT_EQ((Texts{votest::CheckLine("VO_CHECK_ERROR", "m_listListeners.size() == 0",
                                       "VOTSFileMonitorEventDispatcher::~VOTSFileMonitorEventDispatcher")}),
              kLog.Lines());
    kListener.OnFileMonitor_Add(VOTEXT("C:/still/there"));
    EXPECT_EQ(1u, kListener.Calls().size());
}

TEST(FileMonitorEventDispatcher, CopiesCarryTheListAndTheFlag)
{
    OpenDispatcher kDispatcher;
    RecordingListener kListener;
    kDispatcher.AddListener(&kListener);
    kDispatcher.m_blstEnable = 0;
    OpenDispatcher kCopy(kDispatcher);
    OpenDispatcher kAssigned;
    kAssigned = kDispatcher;
    for (OpenDispatcher* pkOne : {&kCopy, &kAssigned, &kDispatcher})
    {
        EXPECT_EQ(1u, pkOne->m_listListeners.size());
        EXPECT_EQ(0, pkOne->m_blstEnable);
        pkOne->m_listListeners.clear();
    }
}

TEST(FileMonitorEventDispatcher, ListenersComeAndGoWhileEventsRunOnAnotherThread)
{
    OpenDispatcher kDispatcher;
    RecordingListener kSteady;
    kDispatcher.AddListener(&kSteady);
    constexpr size_t kEvents = 2000;
    std::thread kEventThread(
        [&]
        {
            for (size_t i = 0; i < kEvents; ++i)
            {
                kDispatcher.OnFileMonitor_Add(VOTEXT("C:/a"));
            }
        });
    const votest::LogCapture kLog;
    size_t uRefused = 0;
    for (int i = 0; i < 2000; ++i)
    {
        VOTSFileMonitorEventListener_Adapter kPassing;
        uRefused += kDispatcher.AddListener(&kPassing) == 0;
        while (kDispatcher.RemoveListener(&kPassing) == 0)
        {
            ++uRefused;
        }
    }
    kEventThread.join();
    EXPECT_EQ(kEvents, kSteady.Calls().size());
    EXPECT_EQ(uRefused, kLog.Count());
    while (kDispatcher.RemoveListener(&kSteady) == 0)
    {
    }
    EXPECT_TRUE(kDispatcher.m_listListeners.empty());
}

TEST(FileMonitorEventDispatcher, TheAdapterDoesNothing)
{
    VOTSFileMonitorEventListener_Adapter kAdapter;
    const votest::LogCapture kLog;
    IVOTSFileMonitorEventListener& rkListener = kAdapter;
    rkListener.OnFileMonitor_Add(nullptr);
    rkListener.OnFileMonitor_Remove(nullptr);
    rkListener.OnFileMonitor_Rename(nullptr, nullptr);
    rkListener.OnFileMonitor_Modified(nullptr);
    EXPECT_EQ(0u, kLog.Count());
}

}  // namespace
