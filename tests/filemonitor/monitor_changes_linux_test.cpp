// Changes below subfolders and of folders, which the other system's stand-in doesn't tell of.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;
namespace fs = std::filesystem;

TEST(FileMonitorChanges, SubfoldersAreWatchedFromTheMomentTheyAreThere)
{
    const TemporaryFolder folder;
    OpenMonitor monitor;
    RecordingListener listener;
    fs::create_directories(folder.Path() / "old");
    ASSERT_EQ(1, monitor.Init(folder.Text().c_str()));
    monitor.AddFileMonitorListener(&listener);
    monitor.BeginThread();
    unsigned uSigns = 0;
    ASSERT_TRUE(WaitUntil(
        [&]
        {
            folder.Write("old/sign" + std::to_string(uSigns++));
            return !listener.Calls().empty();
        }));
    fs::create_directories(folder.Path() / "new/deep");
    folder.Write("new/deep/a.txt");
    fs::rename(folder.Path() / "new", folder.Path() / "moved");
    folder.Write("moved/deep/b.txt");
    const auto Told = [&](const std::string& strCall)
    {
        const std::vector<std::string> vecCalls = listener.Calls();
        return std::find(vecCalls.begin(), vecCalls.end(), strCall) != vecCalls.end();
    };
    EXPECT_TRUE(WaitUntil([&] { return Told("Add " + folder.Shown("moved/deep/b.txt")); }));
    EXPECT_TRUE(Told("Add " + folder.Shown("new")));
    EXPECT_TRUE(Told("Add " + folder.Shown("new/deep/a.txt")) || Told("Add " + folder.Shown("moved/deep/a.txt")));
    EXPECT_FALSE(Told("Modified " + folder.Shown("moved"))) << "folders are never modified";
    monitor.SuspendFileMonitor(true);
    EXPECT_TRUE(WaitUntil([&] { return monitor.RemoveFileMonitorListener(&listener) == 1; }));
    monitor.UnInit();
}

}  // namespace
