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
    const LumResult kResult = RunLum({"crash", "write"});
    EXPECT_EQ(kResult.nExitCode, kAccessViolation);
    EXPECT_TRUE(kResult.strErr.starts_with("lum: crash: exception 0xC0000005 (invalid access to memory) at "))
        << kResult.strErr;
    EXPECT_TRUE(Contains(kResult.strErr, "WriteToNowhere") || Contains(kResult.strErr, " (lum): ")) << kResult.strErr;
    EXPECT_TRUE(kResult.strErr.ends_with(kEnd)) << kResult.strErr;
}

TEST_F(LumCrash, TheReportIsInTheLogFileToo)
{
    TemporaryFolder kFolder;
    RunLum({"crash", "write", "--log", kFolder.Name()});
    const std::string strLog = AllLogs(kFolder.Path());
    EXPECT_TRUE(Contains(strLog, ":[VOLOG-ERROR]lum: crash: exception 0xC0000005")) << strLog;
    EXPECT_TRUE(strLog.ends_with(kEnd)) << strLog;
}

TEST_F(LumCrash, AnAbortIsReportedAndEndsAsAnAbort)
{
    const LumResult kResult = RunLum({"crash", "abort"});
    EXPECT_EQ(kResult.nExitCode, 3);
    EXPECT_TRUE(kResult.strErr.starts_with("lum: crash: SIGABRT (aborted)\n")) << kResult.strErr;
    EXPECT_TRUE(kResult.strErr.ends_with(kEnd)) << kResult.strErr;
}

TEST_F(LumCrash, ACrashOfAnotherThreadIsReported)
{
    const LumResult kResult = RunLum({"crash", "thread"});
    EXPECT_EQ(kResult.nExitCode, kAccessViolation);
    EXPECT_TRUE(Contains(kResult.strErr, kEnd)) << kResult.strErr;
}

TEST_F(LumCrash, AReportThatHangsIsGivenUp)
{
    const LumResult kResult = RunLum({"crash", "hang"});
    EXPECT_EQ(kResult.nExitCode, kAccessViolation);
    EXPECT_TRUE(Contains(kResult.strErr, "(the report takes too long and is given up)\n")) << kResult.strErr;
}
