// Messages that don't fit: never delivered in part. And what standard output sees when.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "diagnostics/fresh_process.h"
#include "support/log_capture.h"
#include "support/stdout_capture.h"

using namespace votest;

namespace
{
// A process that ends without flushing loses what only stands in the stream's buffer.
void LogAndEndWithoutFlushing()
{
    static char s_szBuffer[4096];
    int anPipe[2];
    CHECK_HERE(pipe(anPipe) == 0);
    fflush(stdout);
    dup2(anPipe[1], STDOUT_FILENO);
    close(anPipe[1]);
    setvbuf(stdout, s_szBuffer, _IOFBF, sizeof(s_szBuffer));
    VOLogPrintf(VOLOG_ERROR, "kept in the buffer\n");
    const int nEmpty = open("/dev/null", O_WRONLY);
    dup2(nEmpty, STDOUT_FILENO);  // the pipe's last writer is gone: what comes out now was written before
    char szRead[64];
    CHECK_HERE(read(anPipe[0], szRead, sizeof(szRead)) == 0);
}
}  // namespace

TEST(OversizedMessage, IsDeliveredEmptyToTheHookAndToStandardOutput)
{
    LogCapture log;
    log.SetHookResult(4);
    StdoutCapture printed;
    EXPECT_EQ(4, VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str()));
    EXPECT_EQ(4, VOLogPrintf(VOLOG_WARNING, "%s", std::string(100000, 'x').c_str()));
    EXPECT_EQ("", printed.Text());
    EXPECT_EQ((std::vector<LogEntry>{{VOLOG_ERROR, ""}, {VOLOG_WARNING, ""}}), log.Entries());
}

TEST(OversizedMessage, DoesNotDisturbTheNext)
{
    const LogCapture log;
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str());
    VOLogPrintf(VOLOG_ERROR, "next\n");
    EXPECT_EQ("next\n", log.Entries().at(1).strText);
}

TEST(LogFrontDeathTest, StandardOutputIsNotFlushedByAMessage)
{
    EXPECT_IN_FRESH_PROCESS(LogAndEndWithoutFlushing());
}
