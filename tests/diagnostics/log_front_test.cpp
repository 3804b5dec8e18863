// The log channel: hooks, texts, levels.
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/stdout_capture.h"
#include "support/text.h"
#include "vo_log.h"

using namespace votest;

namespace
{
int ReturnSeven(VOLOG_PRIORITY, const char*)
{
    return 7;
}

int s_nCalls = 0;

int CountCalls(VOLOG_PRIORITY, const char*)
{
    ++s_nCalls;
    return -5;
}
}  // namespace

TEST(LogFront, AHookThatReturns7MakesVOLogPrintfReturn7)
{
    const LogCapture log;
    ASSERT_EQ(1, SetLogPrintfFunction(&ReturnSeven));
    EXPECT_EQ(7, VOLogPrintf(VOLOG_DEBUG, "text\n"));
}

TEST(LogFront, ANegativeHookResultIsHandedToTheCaller)
{
    const LogCapture log;
    ASSERT_EQ(1, SetLogPrintfFunction(&CountCalls));
    EXPECT_EQ(-5, VOLogPrintf(VOLOG_DEBUG, "text\n"));
}

TEST(LogFront, AnEmptyHookIsRefusedAndTheEarlierHookIsStillCalled)
{
    const LogCapture log;
    ASSERT_EQ(1, SetLogPrintfFunction(&CountCalls));
    ASSERT_EQ(1, SetTracePrintFunction(&CountCalls));
    EXPECT_EQ(0, SetLogPrintfFunction(nullptr));
    EXPECT_EQ(0, SetTracePrintFunction(nullptr));
    s_nCalls = 0;
    EXPECT_EQ(-5, VOLogPrintf(VOLOG_ERROR, "text\n"));
    EXPECT_EQ(1, s_nCalls);
}

TEST(LogFront, AHookIsReplacedByTheNext)
{
    const LogCapture log;
    ASSERT_EQ(1, SetLogPrintfFunction(&CountCalls));
    ASSERT_EQ(1, SetLogPrintfFunction(&ReturnSeven));
    s_nCalls = 0;
    EXPECT_EQ(7, VOLogPrintf(VOLOG_ERROR, "text\n"));
    EXPECT_EQ(0, s_nCalls);
}

TEST(LogFront, TheHookGetsTheLevelAndTheFormattedText)
{
    const LogCapture log;
    VOLogPrintf(VOLOG_WARNING, "%s has %d of %u, %5.2f%%\n", "box", -3, 7u, 42.857);
    VOLogPrintf(VOLOG_RESERVE3, "plain");
    EXPECT_EQ((std::vector<LogEntry>{{VOLOG_WARNING, "box has -3 of 7, 42.86%\n"}, {VOLOG_RESERVE3, "plain"}}),
              log.Entries());
}

TEST(LogFront, NoLevelIsFilteredOut)
{
    const LogCapture log;
    for (int nLevel = VOLOG_RESERVE0; nLevel <= VOLOG_PRIORITY_MAX; ++nLevel)
    {
        VOLogPrintf(static_cast<VOLOG_PRIORITY>(nLevel), "text\n");
    }
    ASSERT_EQ(9u, log.Count());
    for (int nLevel = VOLOG_RESERVE0; nLevel <= VOLOG_PRIORITY_MAX; ++nLevel)
    {
        EXPECT_EQ(nLevel, log.Entries()[static_cast<size_t>(nLevel)].emPriority);
    }
}

TEST(LogFront, StandardOutputGetsTheTextWithoutTagOrTimeAlsoWhenAHookIsSet)
{
    const LogCapture log;
    StdoutCapture printed;
    VOLogPrintf(VOLOG_ERROR, "one %d\n", 1);
    VOLogPrintf(VOLOG_DEBUG, "two");
    EXPECT_EQ("one 1\ntwo", printed.Text());
    EXPECT_EQ(2u, log.Count());
}

TEST(LogFront, TextThatLooksLikeAFormatIsWrittenAsItIs)
{
    const LogCapture log;
    StdoutCapture printed;
    VOLogPrintf(VOLOG_ERROR, "%s\n", "100 %s %n %d");
    EXPECT_EQ("100 %s %n %d\n", printed.Text());
    EXPECT_EQ("100 %s %n %d\n", log.Entries().at(0).strText);
}

TEST(LogFront, TheEmptyTextIsDelivered)
{
    const LogCapture log;
    VOLogPrintf(VOLOG_ERROR, "%s", "");
    EXPECT_EQ((std::vector<LogEntry>{{VOLOG_ERROR, ""}}), log.Entries());
}

TEST(LogFront, AShortTextAfterALongOneHasNoRestOfIt)
{
    const LogCapture log;
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1000, 'x').c_str());
    VOLogPrintf(VOLOG_ERROR, "short");
    EXPECT_EQ("short", log.Entries().at(1).strText);
}

TEST(LogFront, AMessageOf1023CharactersIsDeliveredWhole)
{
    const LogCapture log;
    StdoutCapture printed;
    const std::string strLong = std::string(1022, 'x') + "\n";
    VOLogPrintf(VOLOG_ERROR, "%s", strLong.c_str());
    EXPECT_EQ(strLong, printed.Text());
    EXPECT_EQ(strLong, log.Entries().at(0).strText);
}

TEST(LogFront, TracingIsClosedUntilAConsoleIsAttached)
{
    const LogCapture log;
    SetTracePrintEnable(0, 1);
    EXPECT_EQ(1, VOTracePrintf(VOLOG_INFO, "text\n"));
    SetTracePrintEnable(0, 0);
    EXPECT_EQ(1, VOTracePrintf(VOLOG_INFO, "text\n"));
    EXPECT_TRUE(log.Traces().empty());
    EXPECT_EQ(0u, log.Count());
}

TEST(LogFront, AClosedTraceDoesNotLookAtItsArguments)
{
    // Formatting would read at address 1.
    const LogCapture log;
    const char* pszUnreadable = reinterpret_cast<const char*>(uintptr_t{1});
    StdoutCapture printed;
    EXPECT_EQ(1, VOTracePrintf(VOLOG_INFO, "%s\n", pszUnreadable));
    EXPECT_EQ("", printed.Text());
}

TEST(LogFront, TheLevelsHaveTheirFixedValues)
{
    EXPECT_EQ(0, VOLOG_RESERVE0);
    EXPECT_EQ(1, VOLOG_RESERVE1);
    EXPECT_EQ(2, VOLOG_RESERVE2);
    EXPECT_EQ(3, VOLOG_ERROR);
    EXPECT_EQ(4, VOLOG_WARNING);
    EXPECT_EQ(5, VOLOG_RESERVE3);
    EXPECT_EQ(6, VOLOG_INFO);
    EXPECT_EQ(7, VOLOG_DEBUG);
    EXPECT_EQ(8, VOLOG_PRIORITY_MAX);
    EXPECT_EQ(4u, sizeof(VOLOG_PRIORITY));
    EXPECT_TRUE(std::is_signed_v<std::underlying_type_t<VOLOG_PRIORITY>>);
}

TEST(LogFront, EveryLevelHasItsWideTagInConstantStorage)
{
    const LogCapture log;
    const std::vector<VOWString> vecTag = {
        VOTEXT("[VO3D-RESERVE0]"), VOTEXT("[VO3D-RESERVE1]"), VOTEXT("[VO3D-RESERVE2]"), VOTEXT("[VO3D-ERROR]"),
        VOTEXT("[VO3D-WARNING]"),  VOTEXT("[VO3D-RESERVE3]"), VOTEXT("[VO3D-INFO]"),     VOTEXT("[VO3D-DEBUG]")};
    for (size_t i = 0; i < vecTag.size(); ++i)
    {
        const VOWCHAR* pszTag = GetLogPriorityString(static_cast<VOLOG_PRIORITY>(i));
        EXPECT_EQ(vecTag[i], ReadText(pszTag));
        EXPECT_EQ(pszTag, GetLogPriorityString(static_cast<VOLOG_PRIORITY>(i)));
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(LogFront, TheTagOfPriorityMaxIsAnEmptyPointerAndOneLogLine)
{
    const LogCapture log;
    EXPECT_EQ(nullptr, GetLogPriorityString(VOLOG_PRIORITY_MAX));
    EXPECT_EQ((std::vector<std::string>{
                  CheckLine("VO_PROCESS_ERROR", "emPriority < VOLOG_PRIORITY_MAX", "GetLogPriorityString")}),
              log.Lines());
    EXPECT_EQ(VOLOG_ERROR, log.Entries().at(0).emPriority);
}

TEST(LogFront, TheTagOfAValueThatIsNoLevelIsAnEmptyPointerAndOneLogLine)
{
    const LogCapture log;
    EXPECT_EQ(nullptr, GetLogPriorityString(static_cast<VOLOG_PRIORITY>(9)));
    EXPECT_EQ(1u, log.Count());
    EXPECT_EQ(nullptr, GetLogPriorityString(static_cast<VOLOG_PRIORITY>(-1)));
    EXPECT_EQ(2u, log.Count());
    EXPECT_EQ(nullptr, GetLogPriorityString(static_cast<VOLOG_PRIORITY>(-2147483647 - 1)));
    EXPECT_EQ(3u, log.Count());
}
