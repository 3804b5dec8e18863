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
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    RecordingListener kListener;
    for (const VOWString& strFilter : vecFilters)
    {
        kMonitor.AddFilterDir(strFilter.c_str());
    }
    EXPECT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    EXPECT_EQ(1, kMonitor.AddFileMonitorListener(&kListener));
    kMonitor.m_nSpecialEventCount = nSpecialEventCount;
    for (const Event& kEvent : vecEvents)
    {
        kMonitor.Push(kEvent);
    }
    kMonitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitFor([&] { return kMonitor.HasFileEvent() == 0; }));
    kMonitor.UnInit();
    return kListener.Calls();
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
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    RecordingListener kListener;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    ASSERT_EQ(1, kMonitor.AddFileMonitorListener(&kListener));
    kMonitor.Push(MakeEvent(kRemove, VOTEXT("C:/x")));
    const Clock::time_point kStart = Clock::now();
    kMonitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitFor([&] { return kListener.Calls() == Texts{"Remove C:/x"}; }));
    EXPECT_LE(450, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - kStart).count())
        << "a round is one sleep of 500 ms, less what a clock's step may take off";
    EXPECT_EQ(2, kMonitor.m_nSpecialEventCount) << "held once, and the hold ended";
    kMonitor.RemoveFileMonitorListener(&kListener);
    kMonitor.UnInit();
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
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
    kMonitor.SuspendEventDispatcher(false);
    EXPECT_TRUE(WaitFor([&] { return kMonitor.HasFileEvent() == 0; }));
    kMonitor.UnInit();
}

// A monitor with a running dispatch thread, whose events are those that a test pushes.
class FilteredMonitor : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(1, m_kMonitor.Init(m_kFolder.Text().c_str()));
        ASSERT_EQ(1, m_kMonitor.AddFileMonitorListener(&m_kListener));
    }
    void TearDown() override { m_kMonitor.UnInit(); }

    // The calls for this event and those before it; a second event tells when it has been delivered or dropped.
    Texts AfterAnEventOf(const VOWCHAR* pszPath)
    {
        m_kListener.Clear();
        m_kMonitor.Push(MakeEvent(kAdd, pszPath));
        m_kMonitor.Push(MakeEvent(kAdd, VOTEXT("end")));
        EXPECT_TRUE(WaitFor([&] { return !m_kListener.Calls().empty() && m_kListener.Calls().back() == "Add end"; }));
        return m_kListener.Calls();
    }

    const TemporaryFolder m_kFolder{};
    OpenMonitor m_kMonitor;
    RecordingListener m_kListener;
};

TEST_F(FilteredMonitor, HoldsToAFilterThatIsAddedWhileItRuns)
{
    m_kMonitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add C:/a", "Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    EXPECT_EQ(1, m_kMonitor.AddFilterDir(VOTEXT("C:/a")));
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
}

TEST_F(FilteredMonitor, HoldsToWhatADerivedClassMadeOfTheFiltersFromTheNextResumptionOn)
{
    m_kMonitor.m_vecFilterDir = {VOTEXT("C:/a")};
    m_kMonitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    m_kMonitor.SuspendEventDispatcher(true);
    m_kMonitor.m_vecFilterDir.clear();
    m_kMonitor.m_vecFilterDir.push_back(VOTEXT("C:/b"));
    m_kMonitor.SuspendEventDispatcher(false);
    EXPECT_EQ((Texts{"Add C:/a", "Add end"}), AfterAnEventOf(VOTEXT("C:/a")));
    EXPECT_EQ((Texts{"Add end"}), AfterAnEventOf(VOTEXT("C:/b")));
}

TEST_F(FilteredMonitor, FiltersComeAndGoWhileItDelivers)
{
    m_kMonitor.SuspendEventDispatcher(false);
    for (int i = 0; i < 200; ++i)
    {
        m_kMonitor.Push(MakeEvent(kAdd, VOTEXT("C:/a")));
        m_kMonitor.AddFilterDir(VOTEXT("C:/a path that is long enough to have memory of its own"));
        if (i % 20 == 0)
        {
            m_kMonitor.SuspendEventDispatcher(true);
            m_kMonitor.m_vecFilterDir.clear();
            m_kMonitor.SuspendEventDispatcher(false);
        }
    }
    EXPECT_TRUE(WaitFor([&] { return m_kListener.Calls().size() == 200; }));
    EXPECT_EQ(19u, m_kMonitor.m_vecFilterDir.size());
}

}  // namespace
