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
        EXPECT_EQ(1, m_kMonitor.Init((m_kFolder.Text() + strSeparatorBehind).c_str()));
        EXPECT_EQ(1, m_kMonitor.AddFileMonitorListener(&m_kListener));
        m_kMonitor.BeginThread();
        EXPECT_TRUE(WaitFor(
            [&]
            {
                m_kFolder.Write("sign" + std::to_string(m_uSigns++));
                return !m_kListener.Calls().empty();
            }));
        Settle();
        m_kListener.Clear();
    }
    ~WatchedFolder()
    {
        m_kMonitor.SuspendFileMonitor(true);
        EXPECT_TRUE(WaitFor([&] { return m_kMonitor.RemoveFileMonitorListener(&m_kListener) == 1; }));
        m_kMonitor.UnInit();
    }
    WatchedFolder(const WatchedFolder&) = delete;
    WatchedFolder& operator=(const WatchedFolder&) = delete;

    // Everything that was told by the time that a later change is told.
    Texts Told()
    {
        Settle();
        Texts vecTold;
        for (const std::string& strCall : m_kListener.Calls())
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
        m_kFolder.Write(strSign);
        EXPECT_TRUE(WaitFor(
            [&]
            {
                const Texts vecCalls = m_kListener.Calls();
                return !vecCalls.empty() && vecCalls.back().ends_with(strSign) && m_kMonitor.HasFileEvent() == 0;
            }));
    }

    std::string Shown(const std::string& strRelative) const { return m_kFolder.Shown(strRelative); }

    TemporaryFolder m_kFolder;
    OpenMonitor m_kMonitor;
    RecordingListener m_kListener;

private:
    unsigned m_uSigns = 0;
};

bool Has(const Texts& vecTold, const std::string& strWanted)
{
    return std::find(vecTold.begin(), vecTold.end(), strWanted) != vecTold.end();
}

TEST(FileMonitorChanges, AFileThatIsMadeRenamedAndDeletedIsTold)
{
    WatchedFolder kWatched;
    kWatched.m_kFolder.Write("a.txt");
    fs::rename(kWatched.m_kFolder.Path() / "a.txt", kWatched.m_kFolder.Path() / "b.txt");
    fs::remove(kWatched.m_kFolder.Path() / "b.txt");
    const Texts vecTold = kWatched.Told();
    EXPECT_TRUE(Has(vecTold, "Add " + kWatched.Shown("a.txt")));
    EXPECT_TRUE(Has(vecTold, "Rename " + kWatched.Shown("a.txt") + " b.txt"));
    EXPECT_TRUE(Has(vecTold, "Remove " + kWatched.Shown("b.txt")));
}

TEST(FileMonitorChanges, AWriteIsTold)
{
    WatchedFolder kWatched;
    kWatched.m_kFolder.Write("a.txt");
    kWatched.Told();
    kWatched.m_kListener.Clear();
    kWatched.m_kFolder.Write("a.txt", "longer");
    EXPECT_TRUE(Has(kWatched.Told(), "Modified " + kWatched.Shown("a.txt")));
}

TEST(FileMonitorChanges, ASaveThroughADeletionAndARenameIsOneModifiedOfTheTarget)
{
    WatchedFolder kWatched;
    kWatched.m_kFolder.Write("scene.fbx");
    kWatched.m_kFolder.Write("scene.tmp", "new");
    kWatched.Told();
    kWatched.m_kListener.Clear();
    fs::remove(kWatched.m_kFolder.Path() / "scene.fbx");
    fs::rename(kWatched.m_kFolder.Path() / "scene.tmp", kWatched.m_kFolder.Path() / "scene.fbx");
    EXPECT_EQ((Texts{"Modified " + kWatched.Shown("scene.fbx")}), kWatched.Told());
}

TEST(FileMonitorChanges, ChangesMadeWhileTheMonitorIsSuspendedArriveWhenItGoesOn)
{
    WatchedFolder kWatched;
    EXPECT_EQ(1, kWatched.m_kMonitor.SuspendFileMonitor(true));
    kWatched.m_kFolder.Write("late.txt");
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_TRUE(kWatched.m_kListener.Calls().empty());
    EXPECT_EQ(1, kWatched.m_kMonitor.SuspendFileMonitor(false));
    EXPECT_TRUE(Has(kWatched.Told(), "Add " + kWatched.Shown("late.txt")));
}

TEST(FileMonitorChanges, ARootWithABackslashGivesPathsWithForwardSlashes)
{
    WatchedFolder kWatched(VOTEXT("\\"));
    kWatched.m_kFolder.Write("a.txt");
    EXPECT_TRUE(Has(kWatched.Told(), "Add " + kWatched.Shown("/a.txt"))) << "the separator is doubled";
}

}  // namespace
