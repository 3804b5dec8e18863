// Signals and terminals.
#include <errno.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "platform/vo_process.h"
#include "tests/platform/platform_test_support.h"

namespace
{
// Starts this program in a role, in a session of its own: on a new terminal when pTerminal is given, else without one.
// Gives what it prints and its exit code.
struct SessionResult
{
    std::string strOutput;
    int nExitCode = -1;
};

SessionResult RunInSession(const char* pszRole, bool bTerminal)
{
    SessionResult result;
    int aPipe[2] = {-1, -1};
    int nRead = -1;
    EXPECT_TRUE(bTerminal || pipe(aPipe) == 0);
    const std::string strRole = pszRole;
    const pid_t nProcess = bTerminal ? forkpty(&nRead, nullptr, nullptr, nullptr) : fork();
    if (nProcess == 0)
    {
        if (!bTerminal)
        {
            setsid();
            dup2(aPipe[1], STDOUT_FILENO);
            close(aPipe[0]);
            close(aPipe[1]);
        }
        setenv("VOBASE_TEST_ROLE", strRole.c_str(), 1);
        execl("/proc/self/exe", "child", static_cast<char*>(nullptr));
        _exit(98);
    }
    if (!bTerminal)
    {
        close(aPipe[1]);
        nRead = aPipe[0];
    }
    char szPart[256];
    // A terminal whose last user has gone ends with an error.
    for (ssize_t nBytes = read(nRead, szPart, sizeof(szPart)); nBytes > 0; nBytes = read(nRead, szPart, sizeof(szPart)))
    {
        result.strOutput.append(szPart, static_cast<size_t>(nBytes));
    }
    close(nRead);
    int nStatus = 0;
    waitpid(nProcess, &nStatus, 0);
    result.nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    return result;
}
}  // namespace

TEST(StopRequest, IsATerminationSignal)
{
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP})
    {
        ChildProcess child("wait-for-stop", "");
        ASSERT_EQ("waiting", child.ReadLine());
        ASSERT_EQ(0, kill(static_cast<pid_t>(child.ProcessId()), nSignal));
        EXPECT_EQ(7, child.WaitForEnd()) << nSignal;
    }
}

TEST(StopRequest, MadeASecondTimeEndsTheProcess)
{
    ChildProcess child("ignore-stop", "");
    ASSERT_EQ("waiting", child.ReadLine());
    ASSERT_EQ(0, kill(static_cast<pid_t>(child.ProcessId()), SIGINT));
    ASSERT_EQ("noted", child.ReadLine());
    VOSleepMilliseconds(kVOSameStopRequest);
    ASSERT_EQ(0, kill(static_cast<pid_t>(child.ProcessId()), SIGINT));
    EXPECT_EQ(-1, child.WaitForEnd());
}

// A program that runs another one for a time sends it the signal, and then its whole group.
TEST(StopRequest, ThatIsPassedOnTwiceIsOneRequest)
{
    for (const int nSecond : {SIGINT, SIGTERM})
    {
        bool bTogether = false;
        for (int i = 0; i < 20 && !bTogether; ++i)  // both within the time, also on a machine that is busy
        {
            ChildProcess child("ignore-stop", "");
            ASSERT_EQ("waiting", child.ReadLine());
            const auto begin = std::chrono::steady_clock::now();
            ASSERT_EQ(0, kill(static_cast<pid_t>(child.ProcessId()), SIGINT));
            ASSERT_EQ("noted", child.ReadLine());
            ASSERT_EQ(0, kill(static_cast<pid_t>(child.ProcessId()), nSecond));
            bTogether = std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(kVOSameStopRequest);
            if (bTogether)
            {
                child.WriteLine("");
                EXPECT_EQ(0, child.WaitForEnd()) << nSecond;
            }
        }
        EXPECT_TRUE(bTogether);
    }
}

TEST(Terminal, IsRecognised)
{
    const SessionResult result = RunInSession("describe-terminal", true);
    EXPECT_NE(std::string::npos, result.strOutput.find("> terminal\r\n")) << result.strOutput;
}

TEST(ParentConsole, IsTheControllingTerminal)
{
    const SessionResult result = RunInSession("attach-elsewhere", true);
    // The role has sent its standard output to nowhere; only what goes to the console itself arrives here.
    EXPECT_NE(std::string::npos, result.strOutput.find("> on the console\r\n")) << result.strOutput;
    EXPECT_EQ(std::string::npos, result.strOutput.find("lost")) << result.strOutput;
    EXPECT_EQ(0, result.nExitCode);
}

TEST(ParentConsole, IsMissingWithoutAControllingTerminal)
{
    const SessionResult result = RunInSession("attach", false);
    EXPECT_NE(std::string::npos, result.strOutput.find("> no console 6\n")) << result.strOutput;
    EXPECT_EQ(0, result.nExitCode);
}

TEST(ParentConsole, OfAnyOtherProcessIsRefused)
{
    EXPECT_FALSE(AttachConsole(1));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
}

TEST(ReopenedStream, StaysAsItWasWhenTheNameCannotBeOpened)
{
    const TemporaryFolder folder;
    FILE* const pStream = fopen(folder.WriteFile("first").c_str(), "w");
    ASSERT_NE(nullptr, pStream);
    FILE* pReopened = pStream;
    EXPECT_EQ(ENOENT, freopen_s(&pReopened, "/no/such/folder/file", "w", pStream));
    EXPECT_EQ(nullptr, pReopened);
    EXPECT_EQ(EINVAL, freopen_s(nullptr, "x", "w", pStream));
    EXPECT_EQ(EINVAL, freopen_s(&pReopened, nullptr, "w", pStream));
    fputs("goes on", pStream);
    fclose(pStream);
    EXPECT_EQ(7u, std::filesystem::file_size(folder.Path() / "first"));
}

TEST(WideFormatOnLinux, RefusesWhatItDoesNotKnow)
{
    VOWCHAR szText[32];
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchPrintf(szText, 32, VOTEXT("a%f"), 1.0));
    EXPECT_EQ(Wide("a"), VOWString(szText));
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchPrintf(szText, 32, VOTEXT("a%")));
    EXPECT_EQ(-1, _stprintf_s(szText, 32, VOTEXT("b%q")));
    EXPECT_EQ(Wide(""), VOWString(szText));
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchPrintf(szText, 32, VOTEXT("c%5d"), 1));
    EXPECT_EQ(Wide("c"), VOWString(szText));
}

TEST(WideTextOnLinux, TakesNullPointersForNothing)
{
    VOWCHAR szText[4] = {'a', 0};
    EXPECT_NE(0, StrCmpW(nullptr, szText));
    EXPECT_NE(0, StrCmpIW(szText, nullptr));
    EXPECT_EQ(nullptr, StrStrW(nullptr, szText));
    EXPECT_EQ(nullptr, StrStrIW(szText, nullptr));
    EXPECT_EQ(nullptr, StrStrIW(szText, VOTEXT("")));
    EXPECT_EQ(nullptr, lstrcpyW(szText, nullptr));
    EXPECT_EQ(0u, CharLowerBuffW(nullptr, 4));
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchCopy(szText, 4, nullptr));
    EXPECT_EQ(nullptr, wcstok_s(szText, VOTEXT("|"), nullptr));
    EXPECT_EQ(Wide("a"), VOWString(szText));
    StrCpyNW(szText, nullptr, 4);
    EXPECT_EQ(Wide(""), VOWString(szText));
}
