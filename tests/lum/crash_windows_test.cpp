// What lum reports when it crashes, on Windows. How much the debug help library knows of a frame depends on the debug
// files; the module is always known.
#include "platform/vo_platform.h"
#include "tests/lum/log_files.h"

namespace
{

// Processes started from here inherit the mode: no debugger and no message box takes the end of a crash away.
class LumCrash : public testing::Test
{
protected:
    LumCrash() : m_uBefore(SetErrorMode(SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS)) {}
    ~LumCrash() override { SetErrorMode(m_uBefore); }

private:
    UINT m_uBefore;
};

constexpr const char* kEnd = "lum: end of the report\n";
constexpr int kAccessViolation = static_cast<int>(0xC0000005u);

}  // namespace

TEST_F(LumCrash, AnInvalidAccessIsReportedAndTheExceptionEndsTheProcess)
{
    const LumResult result = RunLum({"crash", "write"});
    EXPECT_EQ(result.nExitCode, kAccessViolation);
    EXPECT_TRUE(result.strErr.starts_with("lum: crash: exception 0xC0000005 (invalid access to memory) at "))
        << result.strErr;
    EXPECT_TRUE(Contains(result.strErr, "WriteToNowhere") || Contains(result.strErr, " (lum): ")) << result.strErr;
    EXPECT_TRUE(result.strErr.ends_with(kEnd)) << result.strErr;
}

TEST_F(LumCrash, TheReportIsInTheLogFileToo)
{
    TemporaryFolder folder;
    RunLum({"crash", "write", "--log", folder.Name()});
    const std::string strLog = AllLogs(folder.Path());
    EXPECT_TRUE(Contains(strLog, ":[VOLOG-ERROR]lum: crash: exception 0xC0000005")) << strLog;
    EXPECT_TRUE(strLog.ends_with(kEnd)) << strLog;
}

TEST_F(LumCrash, AnAbortIsReportedAndEndsAsAnAbort)
{
    const LumResult result = RunLum({"crash", "abort"});
    EXPECT_EQ(result.nExitCode, 3);
    EXPECT_TRUE(result.strErr.starts_with("lum: crash: SIGABRT (aborted)\n")) << result.strErr;
    EXPECT_TRUE(result.strErr.ends_with(kEnd)) << result.strErr;
}

TEST_F(LumCrash, ACrashOfAnotherThreadIsReported)
{
    const LumResult result = RunLum({"crash", "thread"});
    EXPECT_EQ(result.nExitCode, kAccessViolation);
    EXPECT_TRUE(Contains(result.strErr, kEnd)) << result.strErr;
}

TEST_F(LumCrash, AReportThatHangsIsGivenUp)
{
    const LumResult result = RunLum({"crash", "hang"});
    EXPECT_EQ(result.nExitCode, kAccessViolation);
    EXPECT_TRUE(Contains(result.strErr, "(the report takes too long and is given up)\n")) << result.strErr;
}
