// Every call of the system that a monitor's start makes fails once: the log lines, what was made before stays, and
// UnInit takes it down.
#include <atomic>
#include <mutex>

#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"
#include "platform/vo_platform.h"
#include "support/fault_points.h"
#include "support/new_faults.h"

namespace
{
using namespace monitortest;

typedef std::vector<std::string> Texts;

// The log of an Init in which this call fails at its uNth use.
Texts InitLines(const char* pszCall, unsigned uNth, OpenMonitor& monitor, const TemporaryFolder& folder)
{
    const votest::LogCapture log;
    VOFaultArm(pszCall, uNth, false);
    EXPECT_EQ(0, monitor.Init(folder.Text().c_str()));
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    return log.Lines();
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

    const TemporaryFolder m_folder{};
    OpenMonitor m_monitor;
};

TEST_F(FileMonitorFaults, ADirectoryThatCannotBeOpenedLeavesADispatcherAlone)
{
    EXPECT_EQ((Texts{Line("INVALID_HANDLE_VALUE != m_hFileMonitorHandle", "CreateFileDirMonitorHandle"),
                     Line("CreateFileDirMonitorHandle()", "Init")}),
              InitLines("CreateFileW", 1, m_monitor, m_folder));
    EXPECT_NE(nullptr, m_monitor.m_pFileMonitorEventDispatcher);
    EXPECT_EQ(INVALID_HANDLE_VALUE, m_monitor.m_hFileMonitorHandle);
    EXPECT_EQ(1, m_monitor.UnInit());
}

TEST_F(FileMonitorFaults, AMonitorThreadThatCannotBeMadeLeavesTheDirectoryOpen)
{
    EXPECT_EQ(
        (Texts{Line("m_hFileMonitorThread", "CreateFileMonitorThread"), Line("CreateFileMonitorThread()", "Init")}),
        InitLines("CreateThread", 1, m_monitor, m_folder));
    EXPECT_NE(INVALID_HANDLE_VALUE, m_monitor.m_hFileMonitorHandle);
    EXPECT_EQ(nullptr, m_monitor.m_hFileMonitorThread);
    EXPECT_EQ(1, m_monitor.UnInit());
    EXPECT_EQ(INVALID_HANDLE_VALUE, m_monitor.m_hFileMonitorHandle);
}

TEST_F(FileMonitorFaults, AnEventThatCannotBeMadeLeavesAThreadWithoutItsMarkThatUnInitEnds)
{
    EXPECT_EQ((Texts{Line("m_overLapped.hEvent != NULL", "CreateFileMonitorThread"),
                     Line("CreateFileMonitorThread()", "Init")}),
              InitLines("CreateEventW", 1, m_monitor, m_folder));
    EXPECT_NE(nullptr, m_monitor.m_hFileMonitorThread);
    EXPECT_FALSE(m_monitor.m_bFileMonitorSuspended);
    EXPECT_EQ(1, m_monitor.BeginThread()) << "nothing is marked suspended";
    EXPECT_EQ(1, m_monitor.SuspendFileMonitor(true));
    EXPECT_EQ(1, m_monitor.UnInit());
    EXPECT_EQ(nullptr, m_monitor.m_hFileMonitorThread);
}

TEST_F(FileMonitorFaults, ADispatchThreadThatCannotBeMadeLeavesTheOtherOneSuspended)
{
    EXPECT_EQ((Texts{Line("m_hFileEventThread", "CreateFileEventProcessThread"),
                     Line("CreateFileEventProcessThread()", "Init")}),
              InitLines("CreateThread", 2, m_monitor, m_folder));
    EXPECT_TRUE(m_monitor.m_bFileMonitorSuspended);
    EXPECT_EQ(nullptr, m_monitor.m_hFileEventThread);
    EXPECT_EQ(1, m_monitor.UnInit());
}

// The rounds of the wait, without their sleep.
TEST_F(FileMonitorFaults, APushThatNeverGetsTheQueueLosesItsEventAfter65535RoundsWithALogLine)
{
    const votest::LogCapture log;
    m_monitor.m_nEventQueueBusy = 1;
    VOFaultArm("Sleep", 1, true);
    EXPECT_EQ(0, m_monitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a"))));
    EXPECT_EQ(65535u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ((Texts{Line("uTimeCount < 0xFFFF", "PushEvent")}), log.Lines());
    EXPECT_EQ(1, m_monitor.m_nEventQueueBusy) << "the flag is its owner's";
    EXPECT_EQ(0, m_monitor.HasFileEvent());
    EXPECT_EQ(1u, m_monitor.LostChanges());
}

TEST_F(FileMonitorFaults, AReadThatFailsIsMadeAgainInSilence)
{
    ASSERT_EQ(1, m_monitor.Init(m_folder.Text().c_str()));
    RecordingListener listener;
    m_monitor.AddFileMonitorListener(&listener);
    const votest::LogCapture log;
    VOFaultArm("ReadDirectoryChangesW", 1, true);
    m_monitor.BeginThread();
    EXPECT_TRUE(WaitUntil([] { return VOFaultHits() >= 2; }));
    EXPECT_FALSE(m_monitor.IsWatching());
    VOFaultDisarm();
    EXPECT_TRUE(WaitUntil([this] { return m_monitor.IsWatching(); })) << "a later one goes on";
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            m_folder.Write("a", "x");
            return !listener.Calls().empty();
        }));
    EXPECT_EQ(0u, log.Count());
    m_monitor.SuspendEventDispatcher(true);
    // A refusal leaves a line.
    while (m_monitor.RemoveFileMonitorListener(&listener) == 0)
    {
        m_monitor.SuspendEventDispatcher(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        m_monitor.SuspendEventDispatcher(true);
    }
    m_monitor.UnInit();
}

TEST_F(FileMonitorFaults, WhatTheSystemLostIsCounted)
{
    ASSERT_EQ(1, m_monitor.Init(m_folder.Text().c_str()));
    m_monitor.BeginThread();
    VOFaultArm("inotify.overflow", 1, false);
    EXPECT_EQ(0u, m_monitor.LostChanges());
    EXPECT_TRUE(WaitUntil(
        [&]
        {
            m_folder.Write("a", "x");
            return m_monitor.LostChanges() != 0;
        }));
    VOFaultDisarm();
    EXPECT_EQ(1u, m_monitor.LostChanges());
    m_monitor.UnInit();
}

TEST_F(FileMonitorFaults, APushWithoutMemoryLosesItsEventWithALogLineAndLetsGoOfTheQueue)
{
    Event event = MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a path with memory of its own"));
    unsigned uLost = 0;
    for (unsigned uNth = 1; m_monitor.HasFileEvent() == 0; ++uNth)
    {
        const votest::LogCapture log;
        votest::NewFaults::Arm(uNth);
        EXPECT_EQ(0, m_monitor.PushEvent(event));
        votest::NewFaults::Disarm();
        ASSERT_EQ(0, m_monitor.m_nEventQueueBusy);
        ASSERT_EQ(votest::NewFaults::Fired() ? 1u : 0u, log.Count());
        ASSERT_NE(votest::NewFaults::Fired(), m_monitor.HasFileEvent() == 1);
        uLost += votest::NewFaults::Fired() ? 1 : 0;
    }
    EXPECT_LE(1u, uLost);
    EXPECT_EQ(uLost, m_monitor.LostChanges());
    Event popped;
    EXPECT_EQ(1, m_monitor.PopEvent(popped));
    EXPECT_EQ(event.strFilePath, popped.strFilePath);
}

std::mutex g_heldLock;
std::atomic<int> g_nInside{0};
std::atomic<bool> g_bLeave{false};

// Stands in for a monitor thread that is stopped while it holds a lock which the whole process shares.
DWORD WINAPI HoldALock(void*)
{
    const std::lock_guard<std::mutex> guard(g_heldLock);
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
        const std::lock_guard<std::mutex> guard(g_heldLock);
    }
    std::atomic<int> nInside{0};
};

TEST_F(FileMonitorFaults, UnInitLetsBothThreadsGoBeforeItWaitsForOne)
{
    LockingListener listener;
    ASSERT_EQ(1, m_monitor.CreateFileMonitorDispatcher());
    ASSERT_EQ(1, m_monitor.AddFileMonitorListener(&listener));
    ASSERT_EQ(1, m_monitor.CreateFileEventProcessThread());
    m_monitor.m_hFileMonitorThread = ::CreateThread(nullptr, 0, &HoldALock, nullptr, 0, nullptr);
    m_monitor.m_overLapped.hEvent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(WaitUntil([] { return g_nInside == 1; }));
    m_monitor.SuspendFileMonitor(true);
    g_bLeave = true;
    m_monitor.SuspendEventDispatcher(false);
    m_monitor.Push(MakeEvent(VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD, VOTEXT("C:/a")));
    EXPECT_TRUE(WaitUntil([&] { return listener.nInside == 1; }));
    const HANDLE hMonitorThread = m_monitor.m_hFileMonitorThread;

    const votest::LogCapture log;
    std::atomic<bool> bEnded{false};
    std::thread ending(
        [&]
        {
            m_monitor.UnInit();
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
    ending.join();
}

}  // namespace
