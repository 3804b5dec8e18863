// Start, stop and suspension of a monitor, in every order that a host may choose.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;

typedef std::vector<std::string> Texts;

TEST(FileMonitorLife, AFreshObjectHoldsNothing)
{
    OpenMonitor kMonitor;
    EXPECT_EQ(VOWCHAR(0), kMonitor.m_tszRootPath[0]);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kMonitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, kMonitor.m_hFileMonitorThread);
    EXPECT_FALSE(kMonitor.m_bFileMonitorSuspended);
    EXPECT_EQ(nullptr, kMonitor.m_hFileEventThread);
    EXPECT_FALSE(kMonitor.m_bFileEventSuspended);
    EXPECT_EQ(0, kMonitor.m_nSpecialEventCount);
    EXPECT_EQ(0, kMonitor.m_nEventQueueBusy);
    EXPECT_EQ(0, kMonitor.m_nExitThread);
    EXPECT_EQ(nullptr, kMonitor.m_pFileMonitorEventDispatcher);
}

TEST(FileMonitorLife, InitMakesBothThreadsSuspendedAndUnInitTakesEverythingDown)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    const votest::LogCapture kLog;
    EXPECT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    EXPECT_EQ(kFolder.Text(), VOWString(kMonitor.m_tszRootPath));
    EXPECT_NE(INVALID_HANDLE_VALUE, kMonitor.m_hFileMonitorHandle);
    EXPECT_NE(nullptr, kMonitor.m_hFileMonitorThread);
    EXPECT_TRUE(kMonitor.m_bFileMonitorSuspended);
    EXPECT_NE(nullptr, kMonitor.m_overLapped.hEvent);
    EXPECT_NE(nullptr, kMonitor.m_hFileEventThread);
    EXPECT_TRUE(kMonitor.m_bFileEventSuspended);
    EXPECT_NE(nullptr, kMonitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(1, kMonitor.UnInit());
    EXPECT_EQ(INVALID_HANDLE_VALUE, kMonitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, kMonitor.m_hFileMonitorThread);
    EXPECT_EQ(nullptr, kMonitor.m_overLapped.hEvent);
    EXPECT_EQ(nullptr, kMonitor.m_hFileEventThread);
    EXPECT_TRUE(kMonitor.m_bFileEventSuspended) << "left as it is";
    EXPECT_EQ(nullptr, kMonitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(1, kMonitor.m_nExitThread);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(FileMonitorLife, AnEmptyRootFailsAtItsCheckAndLeavesADispatcher)
{
    OpenMonitor kMonitor;
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.Init(VOTEXT("")));
    EXPECT_EQ(
        (Texts{Line("*m_tszRootPath", "CreateFileDirMonitorHandle"), Line("CreateFileDirMonitorHandle()", "Init")}),
        kLog.Lines());
    EXPECT_NE(nullptr, kMonitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(nullptr, kMonitor.m_hFileMonitorThread);
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(FileMonitorLife, ANullRootIsAnEmptyOne)
{
    OpenMonitor kMonitor;
    EXPECT_EQ(0, kMonitor.Init(nullptr));
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(FileMonitorLife, ANullRootIsAnEmptyOneAlsoAfterAnInitThatFailed)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    EXPECT_EQ(0, kMonitor.Init((kFolder.Text() + VOTEXT("/not there")).c_str()));
    EXPECT_EQ(1, kMonitor.UnInit());
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.Init(nullptr));
    EXPECT_EQ(
        (Texts{Line("*m_tszRootPath", "CreateFileDirMonitorHandle"), Line("CreateFileDirMonitorHandle()", "Init")}),
        kLog.Lines());
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(FileMonitorLife, ARootThatCannotBeOpenedFailsWithTwoLogLinesAndNoThreads)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.Init((kFolder.Text() + VOTEXT("/missing")).c_str()));
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE != m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("CreateFileDirMonitorHandle()", "Init")}),
              kLog.Lines());
    EXPECT_EQ(nullptr, kMonitor.m_hFileMonitorThread);
    EXPECT_EQ(nullptr, kMonitor.m_hFileEventThread);
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(FileMonitorLife, ARootOf260CharactersIsCutTo259BeforeItIsOpened)
{
    OpenMonitor kMonitor;
    EXPECT_EQ(0, kMonitor.Init(VOWString(260, VOWCHAR('r')).c_str()));
    EXPECT_EQ(VOWString(259, VOWCHAR('r')), VOWString(kMonitor.m_tszRootPath));
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(FileMonitorLife, ASecondInitFailsAtTheFirstCheckAndChangesNothingButTheRoot)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    void* const hDirectory = kMonitor.m_hFileMonitorHandle;
    void* const hThread = kMonitor.m_hFileMonitorThread;
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.Init(VOTEXT("elsewhere")));
    EXPECT_EQ((Texts{Line("NULL == m_pFileMonitorEventDispatcher", "CreateFileMonitorDispatcher"),
                     Line("CreateFileMonitorDispatcher()", "Init")}),
              kLog.Lines());
    EXPECT_EQ(hDirectory, kMonitor.m_hFileMonitorHandle);
    EXPECT_EQ(hThread, kMonitor.m_hFileMonitorThread);
    EXPECT_EQ(VOWString(VOTEXT("elsewhere")), VOWString(kMonitor.m_tszRootPath));
    kMonitor.UnInit();
}

TEST(FileMonitorLife, EachPieceRefusesToBeMadeTwice)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.CreateFileDirMonitorHandle());
    EXPECT_EQ(0, kMonitor.CreateFileMonitorThread());
    EXPECT_EQ(0, kMonitor.CreateFileEventProcessThread());
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE == m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("NULL == m_hFileMonitorThread", "CreateFileMonitorThread"),
                     Line("NULL == m_hFileEventThread", "CreateFileEventProcessThread")}),
              kLog.Lines());
    kMonitor.UnInit();
}

TEST(FileMonitorLife, WithoutThreadsBeginThreadReturns1AndSuspendFileMonitor0)
{
    OpenMonitor kMonitor;
    const votest::LogCapture kLog;
    EXPECT_EQ(1, kMonitor.BeginThread());
    EXPECT_EQ(1, kMonitor.SuspendThread());
    EXPECT_EQ(0, kMonitor.SuspendFileMonitor(true));
    EXPECT_EQ(0, kMonitor.SuspendEventDispatcher(true));
    EXPECT_FALSE(kMonitor.m_bFileMonitorSuspended);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(FileMonitorLife, UnInitOfANeverInitialisedObjectReturns1)
{
    OpenMonitor kMonitor;
    EXPECT_EQ(1, kMonitor.UnInit());
    EXPECT_EQ(0, kMonitor.m_nExitThread) << "there were no threads to end";
}

TEST(FileMonitorLife, ListenersBeforeInitAreRefusedInSilence)
{
    OpenMonitor kMonitor;
    RecordingListener kListener;
    const votest::LogCapture kLog;
    EXPECT_EQ(0, kMonitor.AddFileMonitorListener(&kListener));
    EXPECT_EQ(0, kMonitor.RemoveFileMonitorListener(&kListener));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(FileMonitorLife, FiltersAreKeptAsTheyStandDuplicatesToo)
{
    OpenMonitor kMonitor;
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_EQ(1, kMonitor.AddFilterDir(i % 2 == 0 ? VOTEXT("C:\\Temp\\") : VOTEXT("c:/temp")));
    }
    ASSERT_EQ(100u, kMonitor.m_vecFilterDir.size());
    EXPECT_EQ(VOWString(VOTEXT("C:\\Temp\\")), kMonitor.m_vecFilterDir[98]);
    EXPECT_EQ(VOWString(VOTEXT("c:/temp")), kMonitor.m_vecFilterDir[99]);
    EXPECT_EQ(1, kMonitor.AddFilterDir(nullptr));
    EXPECT_EQ(100u, kMonitor.m_vecFilterDir.size());
}

TEST(FileMonitorLife, TheFiltersCanBeReadAsAVector)
{
    OpenMonitor kMonitor;
    EXPECT_TRUE(kMonitor.m_vecFilterDir.begin() == kMonitor.m_vecFilterDir.end());
    for (const VOWCHAR* pszDir : {VOTEXT("C:/a"), VOTEXT("C:\\b"), VOTEXT("C:/a")})
    {
        EXPECT_EQ(1, kMonitor.AddFilterDir(pszDir));
    }
    const auto& rkFilters = kMonitor.m_vecFilterDir;
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/a"), VOTEXT("C:\\b"), VOTEXT("C:/a")}),
              std::vector<VOWString>(rkFilters.begin(), rkFilters.end()));
    EXPECT_EQ(VOWString(VOTEXT("C:\\b")), rkFilters.at(1));
    EXPECT_THROW(rkFilters.at(3), std::out_of_range);
    EXPECT_EQ(rkFilters.front(), rkFilters.back());
}

TEST(FileMonitorLife, ADerivedClassCanReserveChangeEraseAndClearTheFilters)
{
    OpenMonitor kMonitor;
    std::vector<VOWString>& rvecFilters = kMonitor.m_vecFilterDir;
    rvecFilters.reserve(10);
    kMonitor.AddFilterDir(VOTEXT("C:/a"));
    kMonitor.AddFilterDir(VOTEXT("C:/b"));
    rvecFilters[0] = VOTEXT("C:/c");
    rvecFilters.erase(rvecFilters.begin() + 1);
    EXPECT_EQ((std::vector<VOWString>{VOTEXT("C:/c")}), kMonitor.m_vecFilterDir);
    rvecFilters.clear();
    EXPECT_TRUE(kMonitor.m_vecFilterDir.empty());
}

TEST(FileMonitorLife, SuspendingTwiceSuspendsOnceAndOneResumeIsEnough)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    RecordingListener kListener;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    ASSERT_EQ(1, kMonitor.AddFileMonitorListener(&kListener));
    EXPECT_EQ(1, kMonitor.BeginThread());
    EXPECT_FALSE(kMonitor.m_bFileEventSuspended);
    EXPECT_EQ(1, kMonitor.SuspendEventDispatcher(true));
    EXPECT_EQ(1, kMonitor.SuspendEventDispatcher(true));
    EXPECT_TRUE(kMonitor.m_bFileEventSuspended);
    kMonitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_TRUE(kListener.Calls().empty());
    EXPECT_EQ(1, kMonitor.SuspendEventDispatcher(false));
    EXPECT_FALSE(kMonitor.m_bFileEventSuspended);
    EXPECT_TRUE(WaitFor([&] { return kListener.Calls() == Texts{"Add C:/a"}; }));
    kMonitor.SuspendThread();
    EXPECT_EQ(1, kMonitor.RemoveFileMonitorListener(&kListener));
    kMonitor.UnInit();
}

TEST(FileMonitorLife, UnInitWhileBothThreadsAreSuspendedCompletes)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    kMonitor.BeginThread();
    kMonitor.SuspendThread();
    EXPECT_EQ(1, kMonitor.UnInit());
    EXPECT_EQ(nullptr, kMonitor.m_hFileMonitorThread);
}

TEST(FileMonitorLife, AMonitorThatIsStoppedAtAnyMomentOfItsStartEnds)
{
    const TemporaryFolder kFolder;
    for (int i = 0; i < 300; ++i)
    {
        OpenMonitor kMonitor;
        ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
        kMonitor.SuspendFileMonitor(false);
        std::this_thread::sleep_for(std::chrono::microseconds(i % 3 == 0 ? 0 : i));
        EXPECT_EQ(1, kMonitor.UnInit());
    }
}

TEST(FileMonitorLife, AfterUnInitASecondInitSucceedsAndItsThreadsEndAtOnce)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    RecordingListener kListener;
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    kMonitor.BeginThread();
    kMonitor.UnInit();
    EXPECT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    EXPECT_EQ(1, kMonitor.m_nExitThread);
    EXPECT_EQ(1, kMonitor.AddFileMonitorListener(&kListener));
    EXPECT_EQ(1, kMonitor.BeginThread());
    kMonitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_TRUE(kListener.Calls().empty());
    EXPECT_EQ(1, kMonitor.HasFileEvent());
    EXPECT_EQ(1, kMonitor.RemoveFileMonitorListener(&kListener));
    kMonitor.UnInit();
}

TEST(FileMonitorLife, ThreadProceduresWithoutAMonitorLogAndEnd)
{
    const votest::LogCapture kLog;
    EXPECT_EQ(0u, OpenMonitor::ThreadProc_FileMonitor(nullptr));
    EXPECT_EQ(0u, OpenMonitor::ThreadProc_FileEventDispatcher(nullptr));
    EXPECT_EQ(
        (Texts{Line("lpParameter", "ThreadProc_FileMonitor"), Line("lpParameter", "ThreadProc_FileEventDispatcher")}),
        kLog.Lines());
}

TEST(FileMonitorLife, ACopyTakesTheQueueTheFiltersAndTheRoot)
{
    OpenMonitor kMonitor;
    kMonitor.Init(VOTEXT(""));
    kMonitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    kMonitor.AddFilterDir(VOTEXT("C:/b"));
    OpenMonitor kCopy(kMonitor);
    OpenMonitor kAssigned;
    kAssigned = kMonitor;
    Event kEvent;
    kMonitor.PopEvent(kEvent);
    for (OpenMonitor* pkOne : {&kCopy, &kAssigned})
    {
        EXPECT_EQ(1u, pkOne->m_vecFileEvents.size());
        EXPECT_EQ(1u, pkOne->m_vecFilterDir.size());
        EXPECT_EQ(kMonitor.m_pFileMonitorEventDispatcher, pkOne->m_pFileMonitorEventDispatcher);
    }
    kMonitor.UnInit();
}

}  // namespace
