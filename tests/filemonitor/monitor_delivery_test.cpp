// From the queue to the listeners: filters, kinds, and what is never delivered.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;

typedef std::vector<std::string> Texts;

// What a listener is told of these events, with these filters. The end of the queue is marked by an event that no
// filter of a test stops.
Texts Delivered(const std::vector<Event>& vecEvents, const std::vector<VOWString>& vecFilters = {},
                int nSpecialEventCount = 0)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    RecordingListener listener;
    for (const VOWString& strFilter : vecFilters)
    {
        monitor.AddFilterDir(strFilter.c_str());
    }
    EXPECT_EQ(1, monitor.Init(folder.Text().c_str()));
    EXPECT_EQ(1, monitor.AddFileMonitorListener(&listener));
    monitor.m_nSpecialEventCount = nSpecialEventCount;
    for (const Event& event : vecEvents)
    {
        monitor.Push(event);
    }
    monitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitUntil([&] { return monitor.HasFileEvent() == 0; }));
    monitor.UnInit();
    return listener.Calls();
}

TEST(FileMonitorDelivery, EachTypeReachesItsOperation)
{
    EXPECT_EQ((Texts{"Add C:/data/a.txt", "Rename C:/data/a.txt b.txt", "Modified C:/data/c", "Remove C:/data/c"}),
              Delivered({MakeEvent(kAdd, VOTEXT("C:/data/a.txt")),
                         MakeEvent(kRename, VOTEXT("C:/data/a.txt"), VOTEXT("C:/data/b.txt")),
                         MakeEvent(kModified, VOTEXT("C:/data/c")), MakeEvent(kRemove, VOTEXT("C:/data/c"))}));
}

TEST(FileMonitorDelivery, AnUnknownTypeIsToldToNoOne)
{
    EXPECT_EQ((Texts{"Add C:/a"}),
              Delivered({MakeEvent(0, VOTEXT("C:/x")), MakeEvent(5, VOTEXT("C:/y")), MakeEvent(kAdd, VOTEXT("C:/a"))}));
}

TEST(FileMonitorDelivery, ALoneRemoveIsDeliveredOneRoundLate)
{
    typedef std::chrono::steady_clock Clock;
    const TemporaryFolder folder;
    OpenMonitor monitor;
    RecordingListener listener;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    ASSERT_EQ(1, monitor.AddFileMonitorListener(&listener));
    monitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    const Clock::time_point start = Clock::now();
    monitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitUntil([&] { return listener.Calls() == Texts{"Remove C:/x"}; }));
    EXPECT_LE(450, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count())
        << "a round is one sleep of 500 ms, less what a clock's step may take off";
    EXPECT_EQ(2, monitor.m_nSpecialEventCount) << "held once, and the hold ended";
    monitor.RemoveFileMonitorListener(&listener);
    monitor.UnInit();
}

TEST(FileMonitorDelivery, ARemoveAndARenameToItAreOneModifiedAndTheSourceIsToldToNoOne)
{
    EXPECT_EQ((Texts{"Modified C:/x"}),
              Delivered({MakeEvent(kRemove, VOTEXT("C:/x")), MakeEvent(kRename, VOTEXT("C:/y"), VOTEXT("C:/x"))}));
}

TEST(FileMonitorDelivery, AFilterIsAPrefixOfCharactersAndNotOfPathParts)
{
    EXPECT_EQ((Texts{"Add C:/data/tem", "Add D:/C:/data/temp"}),
              Delivered({MakeEvent(kAdd, VOTEXT("C:/data/temp/a")), MakeEvent(kAdd, VOTEXT("C:/data/temporary/a.txt")),
                         MakeEvent(kAdd, VOTEXT("C:/data/tem")), MakeEvent(kAdd, VOTEXT("D:/C:/data/temp"))},
                        {VOTEXT("C:/data/temp")}));
}

TEST(FileMonitorDelivery, AFilterInAnotherLetterCaseOrWithBackslashesDoesNotMatch)
{
    EXPECT_EQ((Texts{"Add C:/data/temp/a"}), Delivered({MakeEvent(kAdd, VOTEXT("C:/data/temp/a"))},
                                                       {VOTEXT("c:/data"), VOTEXT("C:\\data"), VOTEXT("C:/DATA")}));
}

TEST(FileMonitorDelivery, AnEmptyFilterStopsEverything)
{
    EXPECT_TRUE(Delivered({MakeEvent(kAdd, VOTEXT("C:/a")), MakeEvent(kAdd, VOTEXT(""))}, {VOTEXT("")}).empty());
}

TEST(FileMonitorDelivery, ARenameOutOfAFilteredFolderIsDroppedAndOneIntoItIsNot)
{
    EXPECT_EQ((Texts{"Rename C:/b/x x"}), Delivered({MakeEvent(kRename, VOTEXT("C:/a/x"), VOTEXT("C:/b/x")),
                                                     MakeEvent(kRename, VOTEXT("C:/b/x"), VOTEXT("C:/a/x"))},
                                                    {VOTEXT("C:/a")}));
}

// Left over from a hold that was passed by: each event is dropped until a Remove comes to the head.
TEST(FileMonitorDelivery, EventsTakenWhileTheHoldCountIsOddAreDropped)
{
    EXPECT_EQ((Texts{"Remove C:/x", "Add C:/b"}),
              Delivered({MakeEvent(kAdd, VOTEXT("C:/a")), MakeEvent(kRemove, VOTEXT("C:/x")),
                         MakeEvent(kAdd, VOTEXT("C:/b"))},
                        {}, 1));
}

TEST(FileMonitorDelivery, WithoutListenersEventsAreTakenAndVanish)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    monitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitUntil([&] { return monitor.HasFileEvent() == 0; }));
    monitor.UnInit();
}

// A monitor with a running dispatch thread, whose events are those that a test pushes.
class FilteredMonitor : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(1, m_monitor.Init(m_folder.Text().c_str()));
        ASSERT_EQ(1, m_monitor.AddFileMonitorListener(&m_listener));
    }
    void TearDown() override { m_monitor.UnInit(); }

    // The calls for this event and those before it; a second event tells when it has been delivered or dropped.
    Texts AfterAnEventOf(const VOWCHAR* pszPath)
    {
        m_listener.Clear();
        m_monitor.Push(MakeEvent(kAdd, pszPath));
        m_monitor.Push(MakeEvent(kAdd, VOTEXT("end")));
        EXPECT_TRUE(WaitUntil([&] { return !m_listener.Calls().empty() && m_listener.Calls().back() == "Add end"; }));
        return m_listener.Calls();
    }

    const TemporaryFolder m_folder{};
    OpenMonitor m_monitor;
    RecordingListener m_listener;
};

TEST_F(FilteredMonitor, HoldsToAFilterThatIsAddedWhileItRuns)
{
    m_monitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add C:/a", "Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    EXPECT_EQ(1, m_monitor.AddFilterDir(VOTEXT("C:/a")));
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
}

TEST_F(FilteredMonitor, HoldsToWhatADerivedClassMadeOfTheFiltersFromTheNextResumptionOn)
{
    m_monitor.m_vecFilterDir = {VOTEXT("C:/a")};
    m_monitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    m_monitor.SuspendEventDispatcher(true);
    m_monitor.m_vecFilterDir.clear();
    m_monitor.m_vecFilterDir.push_back(VOTEXT("C:/b"));
    m_monitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add C:/a", "Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/b")));
}

TEST_F(FilteredMonitor, FiltersComeAndGoWhileItDelivers)
{
    m_monitor.SuspendEventDispatcher(false);
    for (int i = 0; i < 200; ++i)
    {
        m_monitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
        m_monitor.AddFilterDir(VOTEXT("C:/a path that is long enough to have memory of its own"));
        if (i % 20 == 0)
        {
            m_monitor.SuspendEventDispatcher(true);
            m_monitor.m_vecFilterDir.clear();
            m_monitor.SuspendEventDispatcher(false);
        }
    }
    EXPECT_TRUE(WaitUntil([&] { return m_listener.Calls().size() == 200; }));
    EXPECT_EQ(19u, m_monitor.m_vecFilterDir.size());
}

}  // namespace
