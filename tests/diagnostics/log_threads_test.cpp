// Many threads that report at once. Made for the thread sanitizer.
#include <gtest/gtest.h>
#include <algorithm>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/log_capture.h"
#include "support/stdout_capture.h"

using namespace votest;

namespace
{
constexpr int kThreads = 8;
constexpr int kMessages = 200;

template <typename Body>
void RunOnThreads(Body body)
{
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        vecThread.emplace_back(body, nThread);
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
    }
}

std::string Message(int nThread, int nMessage)
{
    return "thread " + std::to_string(nThread) + " message " + std::to_string(nMessage) + " " +
           std::string(static_cast<size_t>(100 + nMessage % 300), static_cast<char>('a' + nThread));
}

std::vector<std::string> AllMessages()
{
    std::vector<std::string> vecMessage;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        for (int nMessage = 0; nMessage < kMessages; ++nMessage)
        {
            vecMessage.push_back(Message(nThread, nMessage));
        }
    }
    std::sort(vecMessage.begin(), vecMessage.end());
    return vecMessage;
}

int ReturnZero(VOLOG_PRIORITY, const char*)
{
    return 0;
}
}  // namespace

TEST(LogThreads, EveryMessageOfEveryThreadReachesHookAndStandardOutputWhole)
{
    const LogCapture log;
    StdoutCapture printed;
    RunOnThreads(
        [](int nThread)
        {
            for (int nMessage = 0; nMessage < kMessages; ++nMessage)
            {
                VOLogPrintf(VOLOG_WARNING, "%s\n", Message(nThread, nMessage).c_str());
                VOTracePrintf(VOLOG_INFO, "%s\n", "closed");
            }
        });
    std::vector<std::string> vecHooked;
    for (const LogEntry& entry : log.Entries())
    {
        vecHooked.push_back(entry.strText.substr(0, entry.strText.size() - 1));
    }
    std::vector<std::string> vecWritten;
    std::istringstream written(printed.Text());
    for (std::string strLine; std::getline(written, strLine);)
    {
        vecWritten.push_back(strLine);
    }
    std::sort(vecHooked.begin(), vecHooked.end());
    std::sort(vecWritten.begin(), vecWritten.end());
    EXPECT_TRUE(AllMessages() == vecHooked);
    EXPECT_TRUE(AllMessages() == vecWritten);
    EXPECT_TRUE(log.Traces().empty());
}

TEST(LogThreads, MessagesOfOneThreadKeepTheirOrder)
{
    const LogCapture log;
    StdoutCapture quiet;
    RunOnThreads(
        [](int nThread)
        {
            for (int nMessage = 0; nMessage < kMessages; ++nMessage)
            {
                VOLogPrintf(VOLOG_WARNING, "%d %d\n", nThread, nMessage);
            }
        });
    std::vector<int> vecNext(kThreads, 0);
    for (const LogEntry& entry : log.Entries())
    {
        std::istringstream text(entry.strText);
        size_t uThread = 0;
        int nMessage = -1;
        text >> uThread >> nMessage;
        ASSERT_LT(uThread, vecNext.size());
        EXPECT_EQ(vecNext[uThread]++, nMessage);
    }
    EXPECT_EQ(std::vector<int>(kThreads, kMessages), vecNext);
}

TEST(LogThreads, HooksAndSwitchesMayBeChangedWhileOthersReport)
{
    const LogCapture log;
    StdoutCapture quiet;
    RunOnThreads(
        [](int nThread)
        {
            for (int nMessage = 0; nMessage < kMessages; ++nMessage)
            {
                if (nThread == 0)
                {
                    SetLogPrintfFunction(&ReturnZero);
                    SetTracePrintFunction(&ReturnZero);
                    SetTracePrintEnable(0, nMessage % 2);
                }
                VOLogPrintf(VOLOG_WARNING, "text\n");
                VOTracePrintf(VOLOG_INFO, "text\n");
                GetLogPriorityString(static_cast<VOLOG_PRIORITY>(nMessage % 9));
            }
        });
    SetTracePrintEnable(0, 0);
    SetLogPrintfFunction(&ReturnZero);
    EXPECT_EQ(0, VOLogPrintf(VOLOG_WARNING, "still there\n"));
}
