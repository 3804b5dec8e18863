// Real changes in a real directory, from the system's notices to the listener.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;
namespace fs = std::filesystem;

typedef std::vector<std::string> Texts;

// A running monitor with a listener. The watch begins with the first read of its thread, so that a file is written
// until the word of one arrives.
class WatchedFolder
{
public:
    explicit WatchedFolder(const VOWString& strSeparatorBehind = {})
    {
        EXPECT_EQ(1, m_monitor.Init((m_folder.Text() + strSeparatorBehind).c_str()));
        EXPECT_EQ(1, m_monitor.AddFileMonitorListener(&m_listener));
        m_monitor.BeginThread();
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                m_folder.Write("sign" + std::to_string(m_uSigns++));
                return !m_listener.Calls().empty();
            }));
        Settle();
        m_listener.Clear();
    }
    ~WatchedFolder()
    {
        m_monitor.SuspendFileMonitor(true);
        EXPECT_TRUE(WaitUntil([&] { return m_monitor.RemoveFileMonitorListener(&m_listener) == 1; }));
        m_monitor.UnInit();
    }
    WatchedFolder(const WatchedFolder&) = delete;
    WatchedFolder& operator=(const WatchedFolder&) = delete;

    // Everything that was told by the time that a later change is told.
    Texts Told()
    {
        Settle();
        Texts vecTold;
        for (const std::string& strCall : m_listener.Calls())
        {
            if (strCall.find("/sign") == std::string::npos)
            {
                vecTold.push_back(strCall);
            }
        }
        return vecTold;
    }

    void Settle()
    {
        const std::string strSign = "sign_last" + std::to_string(m_uSigns++);
        m_folder.Write(strSign);
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                const Texts vecCalls = m_listener.Calls();
                return !vecCalls.empty() && vecCalls.back().ends_with(strSign) && m_monitor.HasFileEvent() == 0;
            }));
    }

    std::string Shown(const std::string& strRelative) const { return m_folder.Shown(strRelative); }

    TemporaryFolder m_folder;
    OpenMonitor m_monitor;
    RecordingListener m_listener;

private:
    unsigned m_uSigns = 0;
};

bool Has(const Texts& vecTold, const std::string& strWanted)
{
    return std::find(vecTold.begin(), vecTold.end(), strWanted) != vecTold.end();
}

TEST(FileMonitorChanges, AFileThatIsMadeRenamedAndDeletedIsTold)
{
    WatchedFolder watched;
    watched.m_folder.Write("a.txt");
    fs::rename(watched.m_folder.Path() / "a.txt", watched.m_folder.Path() / "b.txt");
    fs::remove(watched.m_folder.Path() / "b.txt");
    const Texts vecTold = watched.Told();
    EXPECT_TRUE(Has(vecTold, "Add " + watched.Shown("a.txt")));
    EXPECT_TRUE(Has(vecTold, "Rename " + watched.Shown("a.txt") + " b.txt"));
    EXPECT_TRUE(Has(vecTold, "Remove " + watched.Shown("b.txt")));
}

TEST(FileMonitorChanges, AWriteIsTold)
{
    WatchedFolder watched;
    watched.m_folder.Write("a.txt");
    watched.Told();
    watched.m_listener.Clear();
    watched.m_folder.Write("a.txt", "longer");
    EXPECT_TRUE(Has(watched.Told(), "Modified " + watched.Shown("a.txt")));
}

TEST(FileMonitorChanges, ASaveThroughADeletionAndARenameIsOneModifiedOfTheTarget)
{
    WatchedFolder watched;
    watched.m_folder.Write("scene.fbx");
    watched.m_folder.Write("scene.tmp", "new");
    watched.Told();
    watched.m_listener.Clear();
    fs::remove(watched.m_folder.Path() / "scene.fbx");
    fs::rename(watched.m_folder.Path() / "scene.tmp", watched.m_folder.Path() / "scene.fbx");
    EXPECT_EQ((Texts{"Modified " + watched.Shown("scene.fbx")}), watched.Told());
}

TEST(FileMonitorChanges, ChangesMadeWhileTheMonitorIsSuspendedArriveWhenItGoesOn)
{
    WatchedFolder watched;
    EXPECT_EQ(1, watched.m_monitor.SuspendFileMonitor(true));
    watched.m_folder.Write("late.txt");
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_TRUE(watched.m_listener.Calls().empty());
    EXPECT_EQ(1, watched.m_monitor.SuspendFileMonitor(false));
    EXPECT_TRUE(Has(watched.Told(), "Add " + watched.Shown("late.txt")));
}

TEST(FileMonitorChanges, ARootWithABackslashGivesPathsWithForwardSlashes)
{
    WatchedFolder watched(VOTEXT("\\"));
    watched.m_folder.Write("a.txt");
    EXPECT_TRUE(Has(watched.Told(), "Add " + watched.Shown("/a.txt"))) << "the separator is doubled";
}

}  // namespace
