// Changes below subfolders and of folders, which the other system's stand-in doesn't tell of.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"

namespace
{
using namespace monitortest;
namespace fs = std::filesystem;

TEST(FileMonitorChanges, SubfoldersAreWatchedFromTheMomentTheyAreThere)
{
    const TemporaryFolder kFolder;
    OpenMonitor kMonitor;
    RecordingListener kListener;
    fs::create_directories(kFolder.Path() / "old");
    ASSERT_EQ(1, kMonitor.Init(kFolder.Text().c_str()));
    kMonitor.AddFileMonitorListener(&kListener);
    kMonitor.BeginThread();
    unsigned uSigns = 0;
    ASSERT_TRUE(WaitFor(
        [&]
        {
            kFolder.Write("old/sign" + std::to_string(uSigns++));
            return !kListener.Calls().empty();
        }));
    fs::create_directories(kFolder.Path() / "new/deep");
    kFolder.Write("new/deep/a.txt");
    fs::rename(kFolder.Path() / "new", kFolder.Path() / "moved");
    kFolder.Write("moved/deep/b.txt");
    const auto Told = [&](const std::string& strCall)
    {
        const std::vector<std::string> vecCalls = kListener.Calls();
        return std::find(vecCalls.begin(), vecCalls.end(), strCall) != vecCalls.end();
    };
    EXPECT_TRUE(WaitFor([&] { return Told("Add " + kFolder.Shown("moved/deep/b.txt")); }));
    EXPECT_TRUE(Told("Add " + kFolder.Shown("new")));
    EXPECT_TRUE(Told("Add " + kFolder.Shown("new/deep/a.txt")) || Told("Add " + kFolder.Shown("moved/deep/a.txt")));
    EXPECT_FALSE(Told("Modified " + kFolder.Shown("moved"))) << "folders are never modified";
    kMonitor.SuspendFileMonitor(true);
    EXPECT_TRUE(WaitFor([&] { return kMonitor.RemoveFileMonitorListener(&kListener) == 1; }));
    kMonitor.UnInit();
}

}  // namespace
