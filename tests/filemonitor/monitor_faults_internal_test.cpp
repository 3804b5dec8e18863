// Every call of the system that a monitor's start makes fails once: the log lines, what was made before stays, and
// UnInit takes it down.
#include <atomic>
#include <mutex>

#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"
#include "platform/fault_points.h"
#include "platform/vo_platform.h"
#include "support/new_faults.h"

namespace
{
using namespace monitortest;

typedef std::vector<std::string> Texts;

// The log of an Init in which this call fails at its uNth use.
Texts InitLines(const char* pszCall, unsigned uNth, OpenMonitor& rkMonitor, const TemporaryFolder& kFolder)
{
    const votest::LogCapture kLog;
    VOFaultArm(pszCall, uNth, false);
    EXPECT_EQ(0, rkMonitor.Init(kFolder.Text().c_str()));
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    return kLog.Lines();
}

class FileMonitorFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
        {
            GTEST_SKIP() << "the system makes the calls here";
        }
    }

    const TemporaryFolder m_kFolder{};
    OpenMonitor m_kMonitor;
};

TEST_F(FileMonitorFaults, ADirectoryThatCannotBeOpenedLeavesADispatcherAlone)
{
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE != m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("CreateFileDirMonitorHandle()", "Init")}),
              InitLines("CreateFileW", 1, m_kMonitor, m_kFolder));
    EXPECT_NE(nullptr, m_kMonitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(INVALID_HANDLE_VALUE, m_kMonitor.m_hFileMonitorHandle);
    EXPECT_EQ(1, m_kMonitor.UnInit());
}

TEST_F(FileMonitorFaults, AMonitorThreadThatCannotBeMadeLeavesTheDirectoryOpen)
{
    EXPECT_EQ(
        (Texts{Line("m_hFileMonitorThread", "CreateFileMonitorThread"), Line("CreateFileMonitorThread()", "Init")}),
        InitLines("CreateThread", 1, m_kMonitor, m_kFolder));
    EXPECT_NE(INVALID_HANDLE_VALUE, m_kMonitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, m_kMonitor.m_hFileMonitorThread);
    EXPECT_EQ(1, m_kMonitor.UnInit());
    EXPECT_EQ(INVALID_HANDLE_VALUE, m_kMonitor.m_hFileMonitorHandle);
}

TEST_F(FileMonitorFaults, AnEventThatCannotBeMadeLeavesAThreadWithoutItsMarkThatUnInitEnds)
{
    EXPECT_EQ((Texts{Line("m_overLapped.hEvent != NULL", "CreateFileMonitorThread"),
                     Line("CreateFileMonitorThread()", "Init")}),
              InitLines("CreateEventW", 1, m_kMonitor, m_kFolder));
    EXPECT_NE(nullptr, m_kMonitor.m_hFileMonitorThread);
    EXPECT_FALSE(m_kMonitor.m_bFileMonitorSuspended);
    EXPECT_EQ(1, m_kMonitor.BeginThread()) << "nothing is marked suspended";
    EXPECT_EQ(1, m_kMonitor.SuspendFileMonitor(true));
    EXPECT_EQ(1, m_kMonitor.UnInit());
    EXPECT_EQ(nullptr, m_kMonitor.m_hFileMonitorThread);
}

TEST_F(FileMonitorFaults, ADispatchThreadThatCannotBeMadeLeavesTheOtherOneSuspended)
{
    EXPECT_EQ((Texts{Line("m_hFileEventThread", "CreateFileEventProcessThread"),
                     Line("CreateFileEventProcessThread()", "Init")}),
              InitLines("CreateThread", 2, m_kMonitor, m_kFolder));
    EXPECT_TRUE(m_kMonitor.m_bFileMonitorSuspended);
    EXPECT_EQ(nullptr, m_kMonitor.m_hFileEventThread);
    EXPECT_EQ(1, m_kMonitor.UnInit());
}

// The rounds of the wait, without their sleep.
TEST_F(FileMonitorFaults, APushThatNeverGetsTheQueueLosesItsEventAfter65535RoundsWithALogLine)
{
    const votest::LogCapture kLog;
    m_kMonitor.m_nEventQueueBusy = 1;
    VOFaultArm("Sleep", 1, true);
    EXPECT_EQ(0, m_kMonitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a"))));
    EXPECT_EQ(65535u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ((Texts{Line("uTimeCount < 0xFFFF", "PushEvent")}), kLog.Lines());
    EXPECT_EQ(1, m_kMonitor.m_nEventQueueBusy) << "the flag is its owner's";
    EXPECT_EQ(0, m_kMonitor.HasFileEvent());
    EXPECT_EQ(1u, m_kMonitor.LostChanges());
}

TEST_F(FileMonitorFaults, AReadThatFailsIsMadeAgainInSilence)
{
    ASSERT_EQ(1, m_kMonitor.Init(m_kFolder.Text().c_str()));
    RecordingListener kListener;
    m_kMonitor.AddFileMonitorListener(&kListener);
    const votest::LogCapture kLog;
    VOFaultArm("ReadDirectoryChangesW", 1, true);
    m_kMonitor.BeginThread();
    EXPECT_TRUE(WaitFor([] { return VOFaultHits() >= 2; }));
    EXPECT_FALSE(m_kMonitor.IsWatching());
    VOFaultDisarm();
    EXPECT_TRUE(WaitFor([this] { return m_kMonitor.IsWatching(); })) << "a later one goes on";
    EXPECT_TRUE(WaitFor(
        [&]
        {
            m_kFolder.Write("a", "x");
            return !kListener.Calls().empty();
        }));
    m_kMonitor.SuspendEventDispatcher(true);
    while (m_kMonitor.RemoveFileMonitorListener(&kListener) == 0)
    {
        m_kMonitor.SuspendEventDispatcher(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        m_kMonitor.SuspendEventDispatcher(true);
    }
    m_kMonitor.UnInit();
    EXPECT_EQ(0u, kLog.Count());
}

TEST_F(FileMonitorFaults, WhatTheSystemLostIsCounted)
{
    ASSERT_EQ(1, m_kMonitor.Init(m_kFolder.Text().c_str()));
    m_kMonitor.BeginThread();
    VOFaultArm("inotify.overflow", 1, false);
    EXPECT_EQ(0u, m_kMonitor.LostChanges());
    EXPECT_TRUE(WaitFor(
        [&]
        {
            m_kFolder.Write("a", "x");
            return m_kMonitor.LostChanges() != 0;
        }));
    VOFaultDisarm();
    EXPECT_EQ(1u, m_kMonitor.LostChanges());
    m_kMonitor.UnInit();
}

TEST_F(FileMonitorFaults, APushWithoutMemoryLosesItsEventWithALogLineAndLetsGoOfTheQueue)
{
    Event kEvent =
        MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a path with memory of its own"));
    unsigned uLost = 0;
    for (unsigned uNth = 1; m_kMonitor.HasFileEvent() == 0; ++uNth)
    {
        const votest::LogCapture kLog;
        votest::NewFaults::Arm(uNth);
        EXPECT_EQ(0, m_kMonitor.PushEvent(kEvent));
        votest::NewFaults::Disarm();
        ASSERT_EQ(0, m_kMonitor.m_nEventQueueBusy);
        ASSERT_EQ(votest::NewFaults::Fired() ? 1u : 0u, kLog.Count());
        ASSERT_NE(votest::NewFaults::Fired(), m_kMonitor.HasFileEvent() == 1);
        uLost += votest::NewFaults::Fired() ? 1 : 0;
    }
    EXPECT_LE(1u, uLost);
    EXPECT_EQ(uLost, m_kMonitor.LostChanges());
    Event kPopped;
    EXPECT_EQ(1, m_kMonitor.PopEvent(kPopped));
    EXPECT_EQ(kEvent.strFilePath, kPopped.strFilePath);
}

std::mutex g_kHeldLock;
std::atomic<int> g_nInside{0};
std::atomic<bool> g_bLeave{false};

// Stands in for a monitor thread that is stopped while it holds a lock which the whole process shares.
DWORD WINAPI HoldALock(void*)
{
    const std::lock_guard<std::mutex> kGuard(g_kHeldLock);
    g_nInside = 1;
    while (!g_bLeave)
    {
        ::Sleep(1);
    }
    return 0;
}

class LockingListener : public VOTSFileMonitorEventListener_Adapter
{
public:
    void OnFileMonitor_Add(const VOWCHAR*) override
    {
        nInside = 1;
        const std::lock_guard<std::mutex> kGuard(g_kHeldLock);
    }
    std::atomic<int> nInside{0};
};

TEST_F(FileMonitorFaults, UnInitLetsBothThreadsGoBeforeItWaitsForOne)
{
    LockingListener kListener;
    ASSERT_EQ(1, m_kMonitor.CreateFileMonitorDispatcher());
    ASSERT_EQ(1, m_kMonitor.AddFileMonitorListener(&kListener));
    ASSERT_EQ(1, m_kMonitor.CreateFileEventProcessThread());
    m_kMonitor.m_hFileMonitorThread = ::CreateThread(nullptr, 0, &HoldALock, nullptr, 0, nullptr);
    m_kMonitor.m_overLapped.hEvent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(WaitFor([] { return g_nInside == 1; }));
    m_kMonitor.SuspendFileMonitor(true);
    g_bLeave = true;
    m_kMonitor.SuspendEventDispatcher(false);
    m_kMonitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    EXPECT_TRUE(WaitFor([&] { return kListener.nInside == 1; }));
    const HANDLE hMonitorThread = m_kMonitor.m_hFileMonitorThread;

    const votest::LogCapture kLog;
    std::atomic<bool> bEnded{false};
    std::thread kEnding(
        [&]
        {
            m_kMonitor.UnInit();
            bEnded = true;
        });
    for (int i = 0; i < 1000 && !bEnded; ++i)
    {
        ::Sleep(10);
    }
    EXPECT_TRUE(bEnded);
    if (!bEnded)
    {
        ::ResumeThread(hMonitorThread);
    }
    kEnding.join();
}

}  // namespace
