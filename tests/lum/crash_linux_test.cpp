// What lum reports when it crashes, on Linux: names and lines of the stack, and an end as without the report.
#include <signal.h>

#include "tests/live/live_test_support.h"
#include "tests/lum/log_files.h"

namespace
{

struct Crash
{
    std::string strErr;
    std::string strFault;  // "crash.cpp (line): ...WriteToNowhere", as the program announced it
    int nSignal = 0;
};

Crash RunCrash(const std::vector<std::string>& vecArguments)
{
    std::vector<std::string> vecAll = {"crash"};
    vecAll.insert(vecAll.end(), vecArguments.begin(), vecArguments.end());
    LumProcess kProcess(vecAll);
    Crash kCrash;
    EXPECT_TRUE(WaitUntil([&] { return !kProcess.IsRunning(); }));
    kProcess.Wait();
    kCrash.strErr = kProcess.Err();
    kCrash.nSignal = kProcess.EndingSignal();
    // "WriteToNowhere at line 29"
    const std::string strOut = kProcess.Out();
    const std::string strAnnounced = "WriteToNowhere at line ";
    const size_t uAt = strOut.find(strAnnounced);
    EXPECT_NE(uAt, std::string::npos) << strOut;
    if (uAt != std::string::npos)
    {
        kCrash.strFault = "crash.cpp (" + std::to_string(atoi(strOut.c_str() + uAt + strAnnounced.size())) +
                          "): lum::(anonymous namespace)::WriteToNowhere";
    }
    return kCrash;
}

constexpr const char* kEnd = "lum: end of the report\n";

}  // namespace

TEST(LumCrash, AnInvalidAccessIsReportedWithTheFunctionAndItsLine)
{
    const Crash kCrash = RunCrash({"write"});
    EXPECT_EQ(kCrash.nSignal, SIGSEGV);
    EXPECT_TRUE(kCrash.strErr.starts_with("lum: crash: SIGSEGV (invalid access to memory) at 0x10\n")) << kCrash.strErr;
    EXPECT_TRUE(Contains(kCrash.strErr, kCrash.strFault)) << kCrash.strErr;
    EXPECT_TRUE(Contains(kCrash.strErr, ": main\n")) << kCrash.strErr;
    EXPECT_TRUE(kCrash.strErr.ends_with(kEnd)) << kCrash.strErr;
}

TEST(LumCrash, TheReportIsInTheLogFileToo)
{
    TemporaryFolder kFolder;
    const Crash kCrash = RunCrash({"write", "--log", kFolder.Name()});
    const std::string strLog = AllLogs(kFolder.Path());
    EXPECT_TRUE(Contains(strLog, ":[VOLOG-ERROR]lum: crash: SIGSEGV (invalid access to memory) at 0x10\n")) << strLog;
    EXPECT_TRUE(Contains(strLog, kCrash.strFault)) << strLog;
    EXPECT_TRUE(strLog.ends_with(kEnd)) << strLog;
}

TEST(LumCrash, AnAbortEndsAsAnAbort)
{
    const Crash kCrash = RunCrash({"abort"});
    EXPECT_EQ(kCrash.nSignal, SIGABRT);
    EXPECT_TRUE(kCrash.strErr.starts_with("lum: crash: SIGABRT (aborted)\n")) << kCrash.strErr;
    EXPECT_TRUE(Contains(kCrash.strErr, "lum::RunCrash")) << kCrash.strErr;
    EXPECT_TRUE(kCrash.strErr.ends_with(kEnd)) << kCrash.strErr;
}

TEST(LumCrash, AStackThatIsUsedUpIsReported)
{
    const Crash kCrash = RunCrash({"stack"});
    EXPECT_EQ(kCrash.nSignal, SIGSEGV);
    EXPECT_TRUE(Contains(kCrash.strErr, "UseUpTheStack")) << kCrash.strErr;
    EXPECT_TRUE(kCrash.strErr.ends_with(kEnd)) << kCrash.strErr;
}

TEST(LumCrash, ACrashOfAnotherThreadIsReportedWithThatThreadsStack)
{
    const Crash kCrash = RunCrash({"thread"});
    EXPECT_EQ(kCrash.nSignal, SIGSEGV);
    EXPECT_TRUE(Contains(kCrash.strErr, kCrash.strFault)) << kCrash.strErr;
    EXPECT_FALSE(Contains(kCrash.strErr, ": main\n")) << kCrash.strErr;
}

TEST(LumCrash, EverySignalOfACrashIsReportedAndEndsTheProcessItself)
{
    const std::pair<int, const char*> akSignals[] = {
        {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}, {SIGABRT, "SIGABRT"}};
    for (const auto& [nSignal, pszName] : akSignals)
    {
        LumProcess kProcess({"crash", "wait"});
        ASSERT_TRUE(WaitUntil([&] { return Contains(kProcess.Out(), "WriteToNowhere"); }));
        ASSERT_EQ(kill(static_cast<pid_t>(kProcess.ProcessId()), nSignal), 0);
        ASSERT_TRUE(WaitUntil([&] { return !kProcess.IsRunning(); })) << pszName;
        kProcess.Wait();
        EXPECT_EQ(kProcess.EndingSignal(), nSignal);
        EXPECT_TRUE(kProcess.Err().starts_with(std::string("lum: crash: ") + pszName + " (")) << kProcess.Err();
        EXPECT_TRUE(Contains(kProcess.Err(), "), sent by process ")) << kProcess.Err();
        EXPECT_TRUE(Contains(kProcess.Err(), "lum::RunCrash")) << kProcess.Err();
    }
}

TEST(LumCrash, AReportThatHangsIsGivenUpAndTheSignalEndsTheProcess)
{
    const Crash kCrash = RunCrash({"hang"});
    EXPECT_EQ(kCrash.nSignal, SIGSEGV);
    EXPECT_TRUE(kCrash.strErr.ends_with("(the report takes too long and is given up)\n")) << kCrash.strErr;
}

TEST(LumCrash, AReportThatCrashesItselfEndsWithTheFirstSignal)
{
    const Crash kCrash = RunCrash({"twice"});
    EXPECT_EQ(kCrash.nSignal, SIGSEGV) << "and not the abort of the report";
    EXPECT_FALSE(Contains(kCrash.strErr, "given up")) << kCrash.strErr;
    EXPECT_FALSE(Contains(kCrash.strErr, kEnd)) << kCrash.strErr;
}

TEST(LumCrash, AServerThatCrashesReportsIntoItsLog)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name(), "--log", kFolder.Name("logs")});
    ASSERT_TRUE(kServe.Publishes());
    ASSERT_EQ(kill(static_cast<pid_t>(kServe.Process().ProcessId()), SIGSEGV), 0);
    ASSERT_TRUE(WaitUntil([&] { return !kServe.Process().IsRunning(); }));
    kServe.Process().Wait();
    EXPECT_EQ(kServe.Process().EndingSignal(), SIGSEGV);
    const std::string strLog = AllLogs(kFolder.Path() / "logs");
    EXPECT_TRUE(Contains(strLog, "lum: crash: SIGSEGV")) << strLog;
    EXPECT_TRUE(Contains(strLog, ": main\n")) << strLog;
}
