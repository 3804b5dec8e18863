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
    LumProcess process(vecAll);
    Crash crash;
    EXPECT_TRUE(WaitUntil([&] { return !process.IsRunning(); }));
    process.Wait();
    crash.strErr = process.Err();
    crash.nSignal = process.EndingSignal();
    // "WriteToNowhere at line 29"
    const std::string strOut = process.Out();
    const std::string strAnnounced = "WriteToNowhere at line ";
    const size_t uAt = strOut.find(strAnnounced);
    EXPECT_NE(uAt, std::string::npos) << strOut;
    if (uAt != std::string::npos)
    {
        crash.strFault = "crash.cpp (" + std::to_string(atoi(strOut.c_str() + uAt + strAnnounced.size())) +
                         "): lum::(anonymous namespace)::WriteToNowhere";
    }
    return crash;
}

constexpr const char* kEnd = "lum: end of the report\n";

// The lines of a report between its two lines of introduction and its end.
std::vector<std::string> Frames(const Crash& crash)
{
    std::vector<std::string> vecLines = LinesOf(crash.strErr);
    EXPECT_LE(3u, vecLines.size()) << crash.strErr;
    if (vecLines.size() >= 3)
    {
        vecLines.erase(vecLines.begin(), vecLines.begin() + 2);
        vecLines.pop_back();
    }
    return vecLines;
}

}  // namespace

TEST(LumCrash, AnInvalidAccessIsReportedWithTheFunctionAndItsLine)
{
    const Crash crash = RunCrash({"write"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    EXPECT_TRUE(crash.strErr.starts_with("lum: crash: SIGSEGV (invalid access to memory) at 0x10\n")) << crash.strErr;
    EXPECT_TRUE(Contains(crash.strErr, crash.strFault)) << crash.strErr;
    EXPECT_TRUE(Contains(crash.strErr, ": main\n")) << crash.strErr;
    EXPECT_TRUE(crash.strErr.ends_with(kEnd)) << crash.strErr;
    // Nothing but frames: "file (line): function", or a module where there is no more.
    EXPECT_LE(3u, Frames(crash).size());
    for (const std::string& strFrame : Frames(crash))
    {
        EXPECT_TRUE(strFrame.starts_with("  ") && Contains(strFrame, "): ")) << strFrame;
        EXPECT_FALSE(Contains(strFrame, "ERROR")) << strFrame;
    }
}

TEST(LumCrash, TheReportIsInTheLogFileToo)
{
    TemporaryFolder folder;
    const Crash crash = RunCrash({"write", "--log", folder.Name()});
    const std::string strLog = AllLogs(folder.Path());
    EXPECT_TRUE(Contains(strLog, ":[VOLOG-ERROR]lum: crash: SIGSEGV (invalid access to memory) at 0x10\n")) << strLog;
    EXPECT_TRUE(Contains(strLog, crash.strFault)) << strLog;
    EXPECT_TRUE(strLog.ends_with(kEnd)) << strLog;
}

TEST(LumCrash, AnAbortEndsAsAnAbort)
{
    const Crash crash = RunCrash({"abort"});
    EXPECT_EQ(crash.nSignal, SIGABRT);
    EXPECT_TRUE(crash.strErr.starts_with("lum: crash: SIGABRT (aborted)\n")) << crash.strErr;
    EXPECT_TRUE(Contains(crash.strErr, "lum::RunCrash")) << crash.strErr;
    EXPECT_TRUE(crash.strErr.ends_with(kEnd)) << crash.strErr;
}

TEST(LumCrash, AStackThatIsUsedUpIsReported)
{
    const Crash crash = RunCrash({"stack"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    const std::vector<std::string> vecFrames = Frames(crash);
    ASSERT_LE(2u, vecFrames.size()) << crash.strErr;
    EXPECT_TRUE(Contains(crash.strErr, "UseUpTheStack")) << crash.strErr;
    EXPECT_TRUE(vecFrames.back().starts_with("  ERROR: StackWalk64-Endless-Callstack!")) << vecFrames.back();
    EXPECT_TRUE(crash.strErr.ends_with(kEnd)) << crash.strErr;
}

TEST(LumCrash, OfADeepStackTheTopTwoHundredFramesAreReported)
{
    const Crash crash = RunCrash({"deep"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    const std::vector<std::string> vecFrames = Frames(crash);
    ASSERT_EQ(vecFrames.size(), 201u) << crash.strErr;
    EXPECT_TRUE(Contains(vecFrames[198] + vecFrames[199], "::Ping")) << vecFrames[198];
    EXPECT_TRUE(Contains(vecFrames[198] + vecFrames[199], "::Pong")) << vecFrames[199];
    EXPECT_EQ(vecFrames[200], "  ... and more");
    EXPECT_TRUE(crash.strErr.ends_with(kEnd)) << crash.strErr;
}

TEST(LumCrash, ACrashOfAnotherThreadIsReportedWithThatThreadsStack)
{
    const Crash crash = RunCrash({"thread"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    EXPECT_TRUE(Contains(crash.strErr, crash.strFault)) << crash.strErr;
    EXPECT_FALSE(Contains(crash.strErr, ": main\n")) << crash.strErr;
}

TEST(LumCrash, EverySignalOfACrashIsReportedAndEndsTheProcessItself)
{
    const std::pair<int, const char*> akSignals[] = {
        {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}, {SIGABRT, "SIGABRT"}};
    for (const auto& [nSignal, pszName] : akSignals)
    {
        LumProcess process({"crash", "wait"});
        ASSERT_TRUE(WaitUntil([&] { return Contains(process.Out(), "WriteToNowhere"); }));
        ASSERT_EQ(kill(static_cast<pid_t>(process.ProcessId()), nSignal), 0);
        ASSERT_TRUE(WaitUntil([&] { return !process.IsRunning(); })) << pszName;
        process.Wait();
        EXPECT_EQ(process.EndingSignal(), nSignal);
        EXPECT_TRUE(process.Err().starts_with(std::string("lum: crash: ") + pszName + " (")) << process.Err();
        EXPECT_TRUE(Contains(process.Err(), "), sent by process ")) << process.Err();
        EXPECT_TRUE(Contains(process.Err(), "lum::RunCrash")) << process.Err();
    }
}

TEST(LumCrash, AReportThatHangsIsGivenUpAndTheSignalEndsTheProcess)
{
    const Crash crash = RunCrash({"hang"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    EXPECT_TRUE(crash.strErr.ends_with("(the report takes too long and is given up)\n")) << crash.strErr;
}

TEST(LumCrash, AReportThatIsGivenMoreTimeIsMadeToItsEnd)
{
    const Crash crash = RunCrash({"slow"});
    EXPECT_EQ(crash.nSignal, SIGSEGV);
    EXPECT_TRUE(crash.strErr.ends_with(kEnd)) << crash.strErr;
}

TEST(LumCrash, AReportThatCrashesItselfEndsWithTheFirstSignal)
{
    const Crash crash = RunCrash({"twice"});
    EXPECT_EQ(crash.nSignal, SIGSEGV) << "and not the abort of the report";
    EXPECT_FALSE(Contains(crash.strErr, "given up")) << crash.strErr;
    EXPECT_FALSE(Contains(crash.strErr, kEnd)) << crash.strErr;
}

TEST(LumCrash, AServerThatCrashesReportsIntoItsLog)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name(), "--log", folder.Name("logs")});
    ASSERT_TRUE(serve.Publishes());
    ASSERT_EQ(kill(static_cast<pid_t>(serve.Process().ProcessId()), SIGSEGV), 0);
    ASSERT_TRUE(WaitUntil([&] { return !serve.Process().IsRunning(); }));
    serve.Process().Wait();
    EXPECT_EQ(serve.Process().EndingSignal(), SIGSEGV);
    const std::string strLog = AllLogs(folder.Path() / "logs");
    EXPECT_TRUE(Contains(strLog, "lum: crash: SIGSEGV")) << strLog;
    EXPECT_TRUE(Contains(strLog, ": main\n")) << strLog;
}
