// A monitor's life where memory is short on its host's thread.
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"
#include "support/new_faults.h"

using namespace monitortest;
using namespace votest;

TEST(FileMonitorMemory, AStartThatMissesOneAllocationEndsInAnErrorAndTheNextOneSucceeds)
{
    for (unsigned uNth = 1;; ++uNth)
    {
        SCOPED_TRACE(uNth);
        const monitortest::TemporaryFolder kFolder;
        VOTSFileMonitorManager kMonitor;
        bool bStarted = false;
        NewFaults::Arm(uNth);
        try
        {
            bStarted = kMonitor.Init(kFolder.Text().c_str()) != 0 && kMonitor.BeginThread() != 0;
        }
        catch (const std::bad_alloc&)
        {
        }
        NewFaults::Disarm();
        const bool bFired = NewFaults::Fired();
        kMonitor.UnInit();
        EXPECT_NE(0, kMonitor.Init(kFolder.Text().c_str()));
        EXPECT_NE(0, kMonitor.BeginThread());
        kMonitor.UnInit();
        if (!bFired)
        {
            EXPECT_TRUE(bStarted);
            EXPECT_GT(uNth, 1u);
            break;
        }
    }
}
