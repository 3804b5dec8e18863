// The log front as it is at load.
#include <gtest/gtest.h>

#include "diagnostics/fresh_process.h"

#include "support/stdout_capture.h"
#include "vo_log.h"

using namespace votest;

namespace votest_fresh
{
int FailingCheck()
{
    int nResult = 0;
    VO_PROCESS_ERROR(nResult);
    nResult = 1;
Exit0:
    return nResult;
}
}  // namespace votest_fresh

namespace
{
int s_nHookCalls = 0;

int CountingHook(VOLOG_PRIORITY, const char*)
{
    ++s_nHookCalls;
    return 3;
}

void LogWithNothingConfigured()
{
    StdoutCapture printed;
    CHECK_HERE(VOLogPrintf(VOLOG_ERROR, "text %d\n", 5) == 0);
    CHECK_HERE(printed.Text() == "text 5\n");
}

void TraceWithNothingConfigured()
{
    StdoutCapture printed;
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "text\n") == 1);
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "%s\n", reinterpret_cast<const char*>(uintptr_t{1})) == 1);
    CHECK_HERE(printed.Text().empty());
}

void RefuseEmptyHooks()
{
    CHECK_HERE(SetLogPrintfFunction(nullptr) == 0);
    CHECK_HERE(SetTracePrintFunction(nullptr) == 0);
    StdoutCapture printed;
    CHECK_HERE(VOLogPrintf(VOLOG_ERROR, "text\n") == 0);
    CHECK_HERE(printed.Text() == "text\n");
}

void EnableWithoutAttaching()
{
    CHECK_HERE(SetTracePrintFunction(&CountingHook) == 1);
    SetTracePrintEnable(0, 1);
    StdoutCapture printed;
    CHECK_HERE(VOTracePrintf(VOLOG_INFO, "text\n") == 1);
    CHECK_HERE(s_nHookCalls == 0);
    CHECK_HERE(printed.Text().empty());
}

void FailACheckWithoutHooks()
{
    StdoutCapture printed;
    CHECK_HERE(votest_fresh::FailingCheck() == 0);
    const std::string strText = printed.Text();
    CHECK_HERE(strText.find("VO_PROCESS_ERROR(nResult) at line ") == 0);
    CHECK_HERE(strText.find(" in votest_fresh::FailingCheck\n") != std::string::npos);
    CHECK_HERE(strText.find("TracePrintf") == std::string::npos);
}
}  // namespace

TEST(FreshProcessDeathTest, VOLogPrintfWithNothingConfiguredReturns0AndWritesToStandardOutput)
{
    EXPECT_IN_FRESH_PROCESS(LogWithNothingConfigured());
}

TEST(FreshProcessDeathTest, VOTracePrintfWithNothingConfiguredReturns1AndDoesNothing)
{
    EXPECT_IN_FRESH_PROCESS(TraceWithNothingConfigured());
}

TEST(FreshProcessDeathTest, AnEmptyHookIsRefusedAlsoWhenNoneIsSet)
{
    EXPECT_IN_FRESH_PROCESS(RefuseEmptyHooks());
}

TEST(FreshProcessDeathTest, EnablingTracesWithoutAConsoleLeavesThemClosed)
{
    EXPECT_IN_FRESH_PROCESS(EnableWithoutAttaching());
}

TEST(FreshProcessDeathTest, AFailedCheckIsWrittenToStandardOutputWithoutAnyHook)
{
    EXPECT_IN_FRESH_PROCESS(FailACheckWithoutHooks());
}

TEST(FreshProcessDeathTest, AWrongExpectationInAFreshProcessIsSeen)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CHECK_HERE(VOTracePrintf(VOLOG_INFO, "text\n") == 2);
            exit(FreshProcessFailures() != 0);
        },
        testing::ExitedWithCode(1), "doesn't hold");
}
