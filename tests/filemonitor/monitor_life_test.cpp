// Start, stop and suspension of a monitor, in every order that a host may choose.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;

typedef std::vector<std::string> Texts;

TEST(FileMonitorLife, AFreshObjectHoldsNothing)
{
    OpenMonitor monitor;
    EXPECT_EQ(VOWCHAR(0), monitor.m_tszRootPath[0]);
    EXPECT_EQ(INVALID_HANDLE_VALUE, monitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, monitor.m_hFileMonitorThread);
    EXPECT_FALSE(monitor.m_bFileMonitorSuspended);
    EXPECT_EQ(nullptr, monitor.m_hFileEventThread);
    EXPECT_FALSE(monitor.m_bFileEventSuspended);
    EXPECT_EQ(0, monitor.m_nSpecialEventCount);
    EXPECT_EQ(0, monitor.m_nEventQueueBusy);
    EXPECT_EQ(0, monitor.m_nExitThread);
    EXPECT_EQ(nullptr, monitor.m_pFileMonitorEventDispatcher);
}

TEST(FileMonitorLife, InitMakesBothThreadsSuspendedAndUnInitTakesEverythingDown)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    const votest::LogCapture log;
    EXPECT_EQ(1, monitor.Init(folder.Text().c_str()));
    EXPECT_EQ(folder.Text(), VOWString(monitor.m_tszRootPath));
    EXPECT_NE(INVALID_HANDLE_VALUE, monitor.m_hFileMonitorHandle);
    EXPECT_NE(nullptr, monitor.m_hFileMonitorThread);
    EXPECT_TRUE(monitor.m_bFileMonitorSuspended);
    EXPECT_NE(nullptr, monitor.m_overLapped.hEvent);
    EXPECT_NE(nullptr, monitor.m_hFileEventThread);
    EXPECT_TRUE(monitor.m_bFileEventSuspended);
    EXPECT_NE(nullptr, monitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(1, monitor.UnInit());
    EXPECT_EQ(INVALID_HANDLE_VALUE, monitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, monitor.m_hFileMonitorThread);
    EXPECT_EQ(nullptr, monitor.m_overLapped.hEvent);
    EXPECT_EQ(nullptr, monitor.m_hFileEventThread);
    EXPECT_TRUE(monitor.m_bFileEventSuspended) << "left as it is";
    EXPECT_EQ(nullptr, monitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(1, monitor.m_nExitThread);
    EXPECT_EQ(0u, log.Count());
}

TEST(FileMonitorLife, AnEmptyRootFailsAtItsCheckAndLeavesADispatcher)
{
    OpenMonitor monitor;
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.Init(VOTEXT("")));
    EXPECT_EQ(
        (Texts{Line("*m_tszRootPath", "CreateFileDirMonitorHandle"), Line("CreateFileDirMonitorHandle()", "Init")}),
        log.Lines());
    EXPECT_NE(nullptr, monitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(nullptr, monitor.m_hFileMonitorThread);
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(FileMonitorLife, ANullRootIsAnEmptyOne)
{
    OpenMonitor monitor;
    EXPECT_EQ(0, monitor.Init(nullptr));
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(FileMonitorLife, ANullRootIsAnEmptyOneAlsoAfterAnInitThatFailed)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    EXPECT_EQ(0, monitor.Init((folder.Text() + VOTEXT("/not there")).c_str()));
    EXPECT_EQ(1, monitor.UnInit());
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.Init(nullptr));
    EXPECT_EQ(
        (Texts{Line("*m_tszRootPath", "CreateFileDirMonitorHandle"), Line("CreateFileDirMonitorHandle()", "Init")}),
        log.Lines());
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(FileMonitorLife, ARootThatCannotBeOpenedFailsWithTwoLogLinesAndNoThreads)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.Init((folder.Text() + VOTEXT("/missing")).c_str()));
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE != m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("CreateFileDirMonitorHandle()", "Init")}),
              log.Lines());
    EXPECT_EQ(nullptr, monitor.m_hFileMonitorThread);
    EXPECT_EQ(nullptr, monitor.m_hFileEventThread);
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(FileMonitorLife, ARootOf260CharactersIsCutTo259BeforeItIsOpened)
{
    OpenMonitor monitor;
    EXPECT_EQ(0, monitor.Init(VOWString(260, VOWCHAR('r')).c_str()));
    EXPECT_EQ(VOWString(259, VOWCHAR('r')), VOWString(monitor.m_tszRootPath));
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(FileMonitorLife, ASecondInitFailsAtTheFirstCheckAndChangesNothingButTheRoot)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    void* const hDirectory = monitor.m_hFileMonitorHandle;
    void* const hThread = monitor.m_hFileMonitorThread;
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.Init(VOTEXT("elsewhere")));
    EXPECT_EQ((Texts{Line("NULL == m_pFileMonitorEventDispatcher", "CreateFileMonitorDispatcher"),
                     Line("CreateFileMonitorDispatcher()", "Init")}),
              log.Lines());
    EXPECT_EQ(hDirectory, monitor.m_hFileMonitorHandle);
    EXPECT_EQ(hThread, monitor.m_hFileMonitorThread);
    EXPECT_EQ(VOWString(VOTEXT("elsewhere")), VOWString(monitor.m_tszRootPath));
    monitor.UnInit();
}

TEST(FileMonitorLife, EachPieceRefusesToBeMadeTwice)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.CreateFileDirMonitorHandle());
    EXPECT_EQ(0, monitor.CreateFileMonitorThread());
    EXPECT_EQ(0, monitor.CreateFileEventProcessThread());
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE == m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("NULL == m_hFileMonitorThread", "CreateFileMonitorThread"),
                     Line("NULL == m_hFileEventThread", "CreateFileEventProcessThread")}),
              log.Lines());
    monitor.UnInit();
}

TEST(FileMonitorLife, WithoutThreadsBeginThreadReturns1AndSuspendFileMonitor0)
{
    OpenMonitor monitor;
    const votest::LogCapture log;
    EXPECT_EQ(1, monitor.BeginThread());
    EXPECT_EQ(1, monitor.SuspendThread());
    EXPECT_EQ(0, monitor.SuspendFileMonitor(true));
    EXPECT_EQ(0, monitor.SuspendEventDispatcher(true));
    EXPECT_FALSE(monitor.m_bFileMonitorSuspended);
    EXPECT_EQ(0u, log.Count());
}

TEST(FileMonitorLife, UnInitOfANeverInitialisedObjectReturns1)
{
    OpenMonitor monitor;
    EXPECT_EQ(1, monitor.UnInit());
    EXPECT_EQ(0, monitor.m_nExitThread) << "there were no threads to end";
}

TEST(FileMonitorLife, ListenersBeforeInitAreRefusedInSilence)
{
    OpenMonitor monitor;
    RecordingListener listener;
    const votest::LogCapture log;
    EXPECT_EQ(0, monitor.AddFileMonitorListener(&listener));
    EXPECT_EQ(0, monitor.RemoveFileMonitorListener(&listener));
    EXPECT_EQ(0u, log.Count());
}

TEST(FileMonitorLife, FiltersAreKeptAsTheyStandDuplicatesToo)
{
    OpenMonitor monitor;
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_EQ(1, monitor.AddFilterDir(i % 2 == 0 ? VOTEXT("C:\\Temp\\") : VOTEXT("c:/temp")));
    }
    ASSERT_EQ(100u, monitor.m_vecFilterDir.size());
    EXPECT_EQ(VOWString(VOTEXT("C:\\Temp\\")), monitor.m_vecFilterDir[98]);
    EXPECT_EQ(VOWString(VOTEXT("c:/temp")), monitor.m_vecFilterDir[99]);
    EXPECT_EQ(1, monitor.AddFilterDir(nullptr));
    EXPECT_EQ(100u, monitor.m_vecFilterDir.size());
}

TEST(FileMonitorLife, TheFiltersCanBeReadAsAVector)
{
    OpenMonitor monitor;
    EXPECT_TRUE(monitor.m_vecFilterDir.begin() == monitor.m_vecFilterDir.end());
    for (const VOWCHAR* pszDir : {VOTEXT("C:/a"), VOTEXT("C:\\b"), VOTEXT("C:/a")})
    {
        EXPECT_EQ(1, monitor.AddFilterDir(pszDir));
    }
    const auto& filters = monitor.m_vecFilterDir;
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/a"), VOTEXT("C:\\b"), VOTEXT("C:/a")}),
              std::vector<VOWString>(filters.begin(), filters.end()));
    EXPECT_EQ(VOWString(VOTEXT("C:\\b")), filters.at(1));
    EXPECT_THROW(filters.at(3), std::out_of_range);
    EXPECT_EQ(filters.front(), filters.back());
}

TEST(FileMonitorLife, ADerivedClassCanReserveChangeEraseAndClearTheFilters)
{
    OpenMonitor monitor;
    std::vector<VOWString>& vecFilters = monitor.m_vecFilterDir;
    vecFilters.reserve(10);
    monitor.AddFilterDir(VOTEXT("C:/a"));
    monitor.AddFilterDir(VOTEXT("C:/b"));
    vecFilters[0] = VOTEXT("C:/c");
    vecFilters.erase(vecFilters.begin() + 1);
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/c")}), monitor.m_vecFilterDir);
    vecFilters.clear();
    EXPECT_TRUE(monitor.m_vecFilterDir.empty());
}

TEST(FileMonitorLife, SuspendingTwiceSuspendsOnceAndOneResumeIsEnough)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    RecordingListener listener;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    ASSERT_EQ(1, monitor.AddFileMonitorListener(&listener));
    EXPECT_EQ(1, monitor.BeginThread());
    EXPECT_FALSE(monitor.m_bFileEventSuspended);
    EXPECT_EQ(1, monitor.SuspendEventDispatcher(true));
    EXPECT_EQ(1, monitor.SuspendEventDispatcher(true));
    EXPECT_TRUE(monitor.m_bFileEventSuspended);
    monitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_TRUE(listener.Calls().empty());
    EXPECT_EQ(1, monitor.SuspendEventDispatcher(false));
    EXPECT_FALSE(monitor.m_bFileEventSuspended);
    EXPECT_TRUE(WaitUntil([&] { return listener.Calls() == Texts{"Add C:/a"}; }));
    monitor.SuspendThread();
    EXPECT_EQ(1, monitor.RemoveFileMonitorListener(&listener));
    monitor.UnInit();
}

TEST(FileMonitorLife, UnInitWhileBothThreadsAreSuspendedCompletes)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    monitor.BeginThread();
    monitor.SuspendThread();
    EXPECT_EQ(1, monitor.UnInit());
    EXPECT_EQ(nullptr, monitor.m_hFileMonitorThread);
}

TEST(FileMonitorLife, AMonitorThatIsStoppedAtAnyMomentOfItsStartEnds)
{
    const TemporaryFolder folder;
    for (int i = 0; i < 300; ++i)
    {
        OpenMonitor monitor;
        ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
        monitor.SuspendFileMonitor(false);
        std::this_thread::sleep_for(std::chrono::microseconds(i % 3 == 0 ? 0 : i));
        EXPECT_EQ(1, monitor.UnInit());
    }
}

TEST(FileMonitorLife, AfterUnInitASecondInitSucceedsAndItsThreadsEndAtOnce)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    RecordingListener listener;
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    monitor.BeginThread();
    monitor.UnInit();
    EXPECT_EQ(1, monitor.Init(folder.Text().c_str()));
    EXPECT_EQ(1, monitor.m_nExitThread);
    EXPECT_EQ(1, monitor.AddFileMonitorListener(&listener));
    EXPECT_EQ(1, monitor.BeginThread());
    monitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_TRUE(listener.Calls().empty());
    EXPECT_EQ(1, monitor.HasFileEvent());
    EXPECT_EQ(1, monitor.RemoveFileMonitorListener(&listener));
    monitor.UnInit();
}

TEST(FileMonitorLife, ThreadProceduresWithoutAMonitorLogAndEnd)
{
    const votest::LogCapture log;
    EXPECT_EQ(0u, OpenMonitor::ThreadProc_FileMonitor(nullptr));
    EXPECT_EQ(0u, OpenMonitor::ThreadProc_FileEventDispatcher(nullptr));
    EXPECT_EQ(
        (Texts{Line("lpParameter", "ThreadProc_FileMonitor"), Line("lpParameter", "ThreadProc_FileEventDispatcher")}),
        log.Lines());
}

TEST(FileMonitorLife, ACopyTakesTheQueueTheFiltersAndTheRoot)
{
    OpenMonitor monitor;
    monitor.Init(VOTEXT(""));
    monitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    monitor.AddFilterDir(VOTEXT("C:/b"));
    OpenMonitor copy(monitor);
    OpenMonitor assigned;
    assigned = monitor;
    Event event;
    monitor.PopEvent(event);
    for (OpenMonitor* pOne : {&copy, &assigned})
    {
        EXPECT_EQ(1u, pOne->m_vecFileEvents.size());
        EXPECT_EQ(1u, pOne->m_vecFilterDir.size());
        EXPECT_EQ(monitor.m_pFileMonitorEventDispatcher, pOne->m_pFileMonitorEventDispatcher);
    }
    monitor.UnInit();
}

}  // namespace
