// The log file that serve writes, and lum log.
#include <regex>

#include "tests/live/live_test_support.h"
#include "tests/lum/log_files.h"

namespace fs = std::filesystem;

namespace
{

// The text of one line in a log file, by level; the time in front is any.
bool HasLine(const std::string& strLog, const std::string& strLevel, const std::string& strText)
{
    static const std::regex s_kLine("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}:\\[([^\\]]*)\\](.*)");
    for (const std::string& strLine : LinesOf(strLog))
    {
        std::smatch kParts;
        if (std::regex_match(strLine, kParts, s_kLine) && kParts[1] == strLevel && Contains(kParts[2].str(), strText))
        {
            return true;
        }
    }
    return false;
}

void Append(const fs::path& kFile, std::string_view strText)
{
    std::ofstream(kFile, std::ios::binary | std::ios::app) << strText;
}

}  // namespace

TEST(LumLog, ServeWritesTheFileThatTheDocumentationNames)
{
    TemporaryFolder kFolder;
    kFolder.Write("files/a.txt", "1");
    const LumServe kServe({"--source", kFolder.Name("files"), "--log", kFolder.Name("deep/logs")});
    ASSERT_TRUE(kServe.Publishes());
    const std::vector<fs::path> vecFiles = LogFilesBelow(kFolder.Path() / "deep" / "logs");
    ASSERT_EQ(vecFiles.size(), 1u);
    const std::string strDay = vecFiles[0].parent_path().filename().string();
    EXPECT_TRUE(std::regex_match(strDay, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}"))) << strDay;
    EXPECT_TRUE(
        std::regex_match(vecFiles[0].filename().string(), std::regex(strDay + " [0-9]{2}-[0-9]{2}-[0-9]{2}\\.log")));
    EXPECT_TRUE(HasLine(AllLogs(kFolder.Path() / "deep"), "VOLOG-INFO", "serving 2 nodes of 1 source"));
}

TEST(LumLog, WhatServeSaysOnStandardErrorIsInTheFileToo)
{
    TemporaryFolder kFolder;
    const LumResult kResult = RunLum({"serve", "--source", kFolder.Name("nowhere"), "--log", kFolder.Name("logs")});
    EXPECT_EQ(kResult.nExitCode, 2);
    ASSERT_NE(kResult.strErr, "");
    for (const std::string& strLine : LinesOf(kResult.strErr))
    {
        ASSERT_EQ(strLine.substr(0, 5), "lum: ");
        EXPECT_TRUE(HasLine(AllLogs(kFolder.Path() / "logs"), "VOLOG-WARNING", strLine.substr(5))) << strLine;
    }
}

TEST(LumLog, WhatTheLibraryLogsIsInTheFileAndOnStandardErrorAndNotAmongTheResults)
{
    TemporaryFolder kFolder;
    const LumResult kResult = RunLum({"crash", "abort", "--log", kFolder.Name("logs")});
    const std::string strLine = "VO_PROCESS_ERROR(emPriority < VOLOG_PRIORITY_MAX)";
    EXPECT_TRUE(HasLine(AllLogs(kFolder.Path() / "logs"), "VOLOG-ERROR", strLine));
    EXPECT_TRUE(Contains(kResult.strErr, strLine));
    EXPECT_FALSE(Contains(kResult.strOut, "VO_PROCESS_ERROR")) << kResult.strOut;
}

TEST(LumLog, AFolderThatCantBeWrittenEndsServeBeforeItPublishes)
{
    TemporaryFolder kFolder;
    const std::string strFile = kFolder.Write("file", "1");
    for (const std::string& strLog : {strFile, strFile + "/logs", std::string(), kFolder.Name(std::string(250, 'x'))})
    {
        const LumResult kResult = RunLum({"serve", "--source", kFolder.Name(), "--log", strLog});
        EXPECT_EQ(kResult.nExitCode, 2) << strLog;
        EXPECT_EQ(kResult.strOut, "") << strLog;
        EXPECT_EQ(LinesOf(kResult.strErr).size(), 1u) << kResult.strErr;
    }
}

TEST(LumLog, AFolderAboveIsMadeWhereItsNameSays)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "here");
    const LumServe kServe({"--source", kFolder.Name("here"), "--log", kFolder.Name("here/../there")});
    ASSERT_TRUE(kServe.Publishes());
    EXPECT_EQ(LogFilesBelow(kFolder.Path() / "there").size(), 1u);
}

TEST(LumLog, TheNewestFileIsPrinted)
{
    TemporaryFolder kFolder;
    kFolder.Write("2026-11-14/2026-11-14 08-03-56.log", "old\n");
    kFolder.Write("2026-11-15/2026-11-15 00-00-01.log", "early\n");
    kFolder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\r\ntwo\nthree\n");
    kFolder.Write("2026-11-15/2026-11-15 00-00-03.txt", "no log file\n");
    kFolder.Write("2026-11-16/notes.log", "no log file\n");
    kFolder.Write("zz/2026-11-17 00-00-01.log", "no log file\n");
    const LumResult kResult = RunLum({"log", kFolder.Name()});
    EXPECT_EQ(kResult.nExitCode, 0);
    EXPECT_EQ(kResult.strOut, "one\ntwo\nthree\n");
    EXPECT_EQ(kResult.strErr, "");
}

TEST(LumLog, TheLastLinesAreCounted)
{
    TemporaryFolder kFolder;
    kFolder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\n\nthree\nfour");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "0"}).strOut, "");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "1"}).strOut, "four");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "2"}).strOut, "three\nfour");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "-n", "3"}).strOut, "\nthree\nfour");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "4"}).strOut, "one\n\nthree\nfour");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "5"}).strOut, "one\n\nthree\nfour");
    kFolder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\ntwo\n");
    EXPECT_EQ(RunLum({"log", kFolder.Name(), "--lines", "1"}).strOut, "two\n");
}

TEST(LumLog, WithoutALogFileThereIsNothingToShow)
{
    TemporaryFolder kFolder;
    kFolder.Write("2026-11-15/other", "1");
    EXPECT_EQ(RunLum({"log", kFolder.Name()}).nExitCode, 1);
    EXPECT_EQ(RunLum({"log", kFolder.Name("nowhere")}).nExitCode, 2);
    EXPECT_EQ(RunLum({"log", kFolder.Write("file", "1")}).nExitCode, 2);
}

TEST(LumLog, FollowingShowsWhatIsAddedAndGoesOnWithANewerFile)
{
    TemporaryFolder kFolder;
    const std::string strFirst = kFolder.Write("2026-11-15/2026-11-15 00-00-02.log", "skipped\none\n");
    LumProcess kLog({"log", kFolder.Name(), "--follow", "--lines", "1"});
    ASSERT_TRUE(WaitUntil([&] { return kLog.Out() == "one\n"; })) << kLog.Out();
    Append(fs::path(std::u8string(strFirst.begin(), strFirst.end())), "two\n");
    ASSERT_TRUE(WaitUntil([&] { return kLog.Out() == "one\ntwo\n"; })) << kLog.Out();
    kFolder.Write("2026-11-16/2026-11-16 00-00-01.log", "three\n");
    ASSERT_TRUE(WaitUntil([&] { return kLog.Out() == "one\ntwo\nthree\n"; })) << kLog.Out();
    EXPECT_TRUE(kLog.IsRunning());
    if (!kLog.RequestStop())
    {
        GTEST_SKIP() << "a process can't be asked to stop here";
    }
    EXPECT_EQ(kLog.Wait(), 0);
}

TEST(LumLog, FollowingAnEmptyFolderWaitsForAFile)
{
    TemporaryFolder kFolder;
    LumProcess kLog({"log", kFolder.Name(), "-f"});
    ASSERT_TRUE(WaitUntil([&] { return Contains(kLog.Err(), "no log file is there yet"); }));
    const LumServe kServe({"--source", kFolder.Name(), "--log", kFolder.Name()});
    ASSERT_TRUE(kServe.Publishes());
    EXPECT_TRUE(WaitUntil([&] { return HasLine(kLog.Out(), "VOLOG-INFO", "serving "); })) << kLog.Out();
}
