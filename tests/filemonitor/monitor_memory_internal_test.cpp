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
        const monitortest::TemporaryFolder folder;
        VOTSFileMonitorManager monitor;
        bool bStarted = false;
        NewFaults::Arm(uNth);
        try
        {
            bStarted = monitor.Init(folder.Text().c_str()) != 0 && monitor.BeginThread() != 0;
        }
        catch (const std::bad_alloc&)
        {
        }
        NewFaults::Disarm();
        const bool bFired = NewFaults::Fired();
        monitor.UnInit();
        EXPECT_NE(0, monitor.Init(folder.Text().c_str()));
        EXPECT_NE(0, monitor.BeginThread());
        monitor.UnInit();
        if (!bFired)
        {
            EXPECT_TRUE(bStarted);
            EXPECT_GT(uNth, 1u);
            break;
        }
    }
}
