// Directory changes where memory is short: a call fails or a loss is told, and nothing stays behind that never ends.
#include <filesystem>
#include <fstream>

#include "support/fault_points.h"
#include "tests/platform/change_reader.h"
#include "tests/support/new_faults.h"

namespace
{
VOWString RootOf(const votest::TemporaryFolder& folder)
{
    return Wide(folder.Path().string());
}

void MakeFile(const votest::TemporaryFolder& folder, const char* pszName)
{
    EXPECT_TRUE(std::ofstream(folder.Path() / pszName).is_open());
}
}  // namespace

TEST(DirectoryChangesWithoutMemory, ACallThatFailsForItLeavesNothingPendingAndTheNextOneReads)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system's own call";
    }
    unsigned uFailed = 0;
    for (unsigned uNth = 1;; ++uNth)
    {
        SCOPED_TRACE(uNth);
        const votest::TemporaryFolder folder;
        ChangeReader reader(RootOf(folder));
        ASSERT_TRUE(reader.IsOpen());
        votest::NewFaults::Arm(uNth);
        const bool bBegun = reader.Begin();
        votest::NewFaults::Disarm();
        const bool bFired = votest::NewFaults::Fired();
        EXPECT_EQ(bFired, !bBegun);
        if (!bBegun)
        {
            EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
            EXPECT_FALSE(CancelIoEx(reader.Handle(), nullptr));
            ASSERT_TRUE(reader.Begin());
            ++uFailed;
        }
        MakeFile(folder, "file");
        EXPECT_TRUE(reader.ReadUntil("+ file"));
        if (!bFired)
        {
            break;
        }
    }
    EXPECT_GT(uFailed, 2u);
}

TEST(DirectoryChangesWithoutMemory, AWatchThatRunsOutOfItTellsALossAndGoesOn)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system's own call";
    }
    const votest::TemporaryFolder folder;
    ChangeReader reader(RootOf(folder));
    ASSERT_TRUE(reader.Begin());
    VOFaultArm("watcher.memory", 1, false);
    MakeFile(folder, "first");
    EXPECT_TRUE(reader.ReadUntilOrLost("+ first"));
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ(1u, reader.Losses());
    MakeFile(folder, "second");
    EXPECT_TRUE(reader.ReadUntil("+ second"));
}
