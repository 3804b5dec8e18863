// SetTracePrintEnable with and without a terminal. Each test runs in a process of its own, in a session of its own,
// whose controlling terminal is a pseudo terminal made by the test, or none.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "diagnostics/fresh_process.h"
#include "support/log_capture.h"
#include "vo_log.h"

using namespace votest;

namespace votest_trace
{
// Hooks that write down in which order things happen.
std::vector<std::string>& Happenings()
{
    static std::vector<std::string> s_vecHappening;
    return s_vecHappening;
}

int NoteLog(VOLOG_PRIORITY, const char* pszText)
{
    Happenings().push_back("log " + WithoutLineNumber(pszText));
    return 0;
}

int NoteTrace(VOLOG_PRIORITY emPriority, const char* pszText)
{
    Happenings().push_back((emPriority == VOLOG_INFO ? "trace " : "other level ") + WithoutLineNumber(pszText));
    return 0;
}

int Evaluated(int nValue)
{
    Happenings().push_back("evaluated");
    return nValue;
}

int AllMacros()
{
    VO_PROCESS_ERROR(Evaluated(1));
    VO_COM_PROCESS_ERROR(Evaluated(0));
    VO_CHECK_ERROR(Evaluated(0));
    VO_PROCESS_ERROR(Evaluated(0));
Exit0:
    return 0;
}

int FalseMacro()
{
    VO_PROCESS_ERROR_FALSE;
Exit0:
    return 0;
}
}  // namespace votest_trace

namespace
{
using namespace votest_trace;

// The terminal of this process's session; made once per process.
class Terminal
{
public:
    Terminal()
    {
        CHECK_HERE(setsid() > 0);
        m_nMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        CHECK_HERE(m_nMaster >= 0 && grantpt(m_nMaster) == 0 && unlockpt(m_nMaster) == 0);
        m_nSlave = open(ptsname(m_nMaster), O_RDWR);
        CHECK_HERE(m_nSlave >= 0);
        ioctl(m_nSlave, TIOCSCTTY, 0);
    }

    // What was written to the terminal since the last call.
    std::string Read()
    {
        fflush(stdout);
        fflush(stderr);
        std::string strText;
        char szPart[512];
        for (ssize_t nRead = read(m_nMaster, szPart, sizeof(szPart)); nRead > 0;
             nRead = read(m_nMaster, szPart, sizeof(szPart)))
        {
            strText.append(szPart, static_cast<size_t>(nRead));
        }
        strText.erase(std::remove(strText.begin(), strText.end(), '\r'), strText.end());
        return strText;
    }

private:
    int m_nMaster;
    int m_nSlave;
};

// Standard error goes to the terminal once tracing has taken it over; this keeps the way to the test's own report.
class KeptReport
{
public:
    KeptReport() : m_nStderr(dup(STDERR_FILENO)) {}
    ~KeptReport()
    {
        fflush(stderr);
        dup2(m_nStderr, STDERR_FILENO);
        close(m_nStderr);
        for (const auto& [strWhat, nLine] : m_vecFailed)
        {
            CheckInFreshProcess(false, strWhat.c_str(), nLine);
        }
    }

    void Check(bool bHolds, const char* pszWhat, int nLine)
    {
        if (!bHolds)
        {
            m_vecFailed.push_back({pszWhat, nLine});
        }
    }

private:
    int m_nStderr;
    std::vector<std::pair<std::string, int>> m_vecFailed;
};

#define CHECK_KEPT(condition) report.Check((condition), #condition, __LINE__)

bool TracingRuns(Terminal& terminal)
{
    terminal.Read();
    const int nResult = VOTracePrintf(VOLOG_INFO, "probe\n");
    return nResult == 0 && terminal.Read() == "probe\n";
}

bool TracingIsSilent(Terminal& terminal)
{
    terminal.Read();
    const int nResult = VOTracePrintf(VOLOG_INFO, "probe\n");
    return nResult == 1 && terminal.Read().empty();
}

void WithoutATerminal()
{
    CHECK_HERE(setsid() > 0);
    const LogCapture log;
    SetTracePrintEnable(1, 1);
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "%s\n", reinterpret_cast<const char*>(uintptr_t{1})) == 1);
    SetTracePrintEnable(0, 1);
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "text\n") == 1);
    CHECK_HERE(log.Traces().empty());
}

void ATerminalThatComesLater()
{
    CHECK_HERE(setsid() > 0);
    SetTracePrintEnable(1, 1);
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "text\n") == 1);
    const KeptReport kKept;
    KeptReport report;
    const int nMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    CHECK_KEPT(grantpt(nMaster) == 0 && unlockpt(nMaster) == 0);
    const int nSlave = open(ptsname(nMaster), O_RDWR);
    ioctl(nSlave, TIOCSCTTY, 0);
    SetTracePrintEnable(1, 1);
    CHECK_KEPT(VOTracePrintf(VOLOG_INFO, "text\n") == 0);
}

void OneAttachAndASecond()
{
    Terminal terminal;
    KeptReport report;
    CHECK_KEPT(TracingIsSilent(terminal));
    SetTracePrintEnable(1, 1);
    CHECK_KEPT(TracingRuns(terminal));
    SetTracePrintEnable(1, 1);
    CHECK_KEPT(TracingIsSilent(terminal));
    SetTracePrintEnable(0, 1);
    CHECK_KEPT(TracingIsSilent(terminal));
    SetTracePrintEnable(1, 1);
    CHECK_KEPT(TracingIsSilent(terminal));
}

void PauseAndResume()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    CHECK_KEPT(TracingRuns(terminal));
    SetTracePrintEnable(0, 0);
    CHECK_KEPT(TracingIsSilent(terminal));
    SetTracePrintEnable(0, 1);
    CHECK_KEPT(TracingRuns(terminal));
}

void AttachFirstEnableLater()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 0);
    CHECK_KEPT(TracingIsSilent(terminal));
    SetTracePrintEnable(0, 1);
    CHECK_KEPT(TracingRuns(terminal));
}

void BothStreamsEndUpOnTheTerminal()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 0);
    terminal.Read();
    printf("to standard output\n");
    fflush(stdout);
    fprintf(stderr, "to standard error\n");
    CHECK_KEPT(terminal.Read() == "to standard output\nto standard error\n");
    CHECK_KEPT(VOLogPrintf(VOLOG_ERROR, "a log line\n") == 0);
    CHECK_KEPT(terminal.Read() == "a log line\n");
}

void TheTraceHook()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    LogCapture log;
    log.SetHookResult(9);
    CHECK_KEPT(VOTracePrintf(VOLOG_INFO, "hooked %d\n", 1) == 9);
    CHECK_KEPT(log.Traces() == (std::vector<LogEntry>{{VOLOG_INFO, "hooked 1\n"}}));
    CHECK_KEPT(log.Count() == 0);
    CHECK_KEPT(terminal.Read() == "hooked 1\n");
    CHECK_KEPT(SetTracePrintFunction(nullptr) == 0);
    CHECK_KEPT(VOTracePrintf(VOLOG_INFO, "still hooked\n") == 9);
}

void TheTraceLineComesFirst()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    SetLogPrintfFunction(&NoteLog);
    SetTracePrintFunction(&NoteTrace);
    AllMacros();
    const std::string strIn = " at line # in ";
    const std::string strFunction = Happenings()[0].substr(Happenings()[0].find(strIn) + strIn.size());
    CHECK_KEPT(strFunction == "votest_trace::AllMacros\n");
    CHECK_KEPT(Happenings() ==
               (std::vector<std::string>{"trace TracePrintf(Evaluated(1))" + strIn + strFunction, "evaluated",
                                         "trace TracePrintf(Evaluated(0))" + strIn + strFunction, "evaluated",
                                         "trace TracePrintf(Evaluated(0))" + strIn + strFunction, "evaluated",
                                         "log VO_CHECK_ERROR(Evaluated(0))" + strIn + strFunction,
                                         "trace TracePrintf(Evaluated(0))" + strIn + strFunction, "evaluated",
                                         "log VO_PROCESS_ERROR(Evaluated(0))" + strIn + strFunction}));

    Happenings().clear();
    FalseMacro();
    CHECK_KEPT(Happenings().size() == 1);
    CHECK_KEPT(Happenings()[0].find("log VO_PROCESS_ERROR_FALSE at line # in ") == 0);
}

void TheLibrarysOwnChecksAreTraced()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    const LogCapture log;
    GetLogPriorityString(VOLOG_INFO);
    CHECK_KEPT(log.Traces().size() == 1 && WithoutLineNumber(log.Traces()[0].strText) ==
                                               "TracePrintf(emPriority < VOLOG_PRIORITY_MAX) at line # in "
                                               "GetLogPriorityString\n");
    CHECK_KEPT(log.Count() == 0);
}

std::string& SeenAfterTrace()
{
    static std::string s_strSeen;
    return s_strSeen;
}

int TraceFromTheLogHook(VOLOG_PRIORITY, const char* pszText)
{
    VOTracePrintf(VOLOG_INFO, "a trace in between\n");
    SeenAfterTrace() = pszText;
    return 0;
}

void TheChannelsHaveTheirOwnBuffers()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    SetLogPrintfFunction(&TraceFromTheLogHook);
    VOLogPrintf(VOLOG_ERROR, "the log text\n");
    CHECK_KEPT(SeenAfterTrace() == "the log text\n");
    CHECK_KEPT(terminal.Read() == "a trace in between\nthe log text\n");
}

void AnOversizedTrace()
{
    Terminal terminal;
    KeptReport report;
    SetTracePrintEnable(1, 1);
    const LogCapture log;
    VOTracePrintf(VOLOG_INFO, "%s", std::string(1024, 'x').c_str());
    CHECK_KEPT(log.Traces() == (std::vector<LogEntry>{{VOLOG_INFO, ""}}));
    CHECK_KEPT(terminal.Read().empty());
}
}  // namespace

TEST(TraceConsoleDeathTest, EnablingInAProcessWithoutATerminalLeavesTracingSilent)
{
    EXPECT_IN_FRESH_PROCESS(WithoutATerminal());
}

TEST(TraceConsoleDeathTest, ATerminalThatComesLaterCanBeAttachedThen)
{
    EXPECT_IN_FRESH_PROCESS(ATerminalThatComesLater());
}

TEST(TraceConsoleDeathTest, TracingRunsAfterTheFirstAttachAndIsSilentAfterTheSecond)
{
    EXPECT_IN_FRESH_PROCESS(OneAttachAndASecond());
}

TEST(TraceConsoleDeathTest, TracingIsPausedAndResumedWithoutAttachingAgain)
{
    EXPECT_IN_FRESH_PROCESS(PauseAndResume());
}

TEST(TraceConsoleDeathTest, ATerminalCanBeAttachedFirstAndTracingEnabledLater)
{
    EXPECT_IN_FRESH_PROCESS(AttachFirstEnableLater());
}

TEST(TraceConsoleDeathTest, StandardOutputAndStandardErrorEndUpOnTheTerminal)
{
    EXPECT_IN_FRESH_PROCESS(BothStreamsEndUpOnTheTerminal());
}

TEST(TraceConsoleDeathTest, TheTraceHookGetsTheTextAndItsResultIsReturned)
{
    EXPECT_IN_FRESH_PROCESS(TheTraceHook());
}

TEST(TraceConsoleDeathTest, TheTraceLineComesBeforeTheExpressionIsEvaluatedOnce)
{
    EXPECT_IN_FRESH_PROCESS(TheTraceLineComesFirst());
}

TEST(TraceConsoleDeathTest, TheLibrarysOwnChecksAreTraced)
{
    EXPECT_IN_FRESH_PROCESS(TheLibrarysOwnChecksAreTraced());
}

TEST(TraceConsoleDeathTest, ATraceDoesNotDisturbALogMessage)
{
    EXPECT_IN_FRESH_PROCESS(TheChannelsHaveTheirOwnBuffers());
}

TEST(TraceConsoleDeathTest, ATraceLongerThan1023CharactersIsDeliveredEmpty)
{
    EXPECT_IN_FRESH_PROCESS(AnOversizedTrace());
}
