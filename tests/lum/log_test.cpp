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
    static const std::regex s_line("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}:\\[([^\\]]*)\\](.*)");
    for (const std::string& strLine : LinesOf(strLog))
    {
        std::smatch parts;
        if (std::regex_match(strLine, parts, s_line) && parts[1] == strLevel && Contains(parts[2].str(), strText))
        {
            return true;
        }
    }
    return false;
}

void Append(const fs::path& file, std::string_view strText)
{
    std::ofstream(file, std::ios::binary | std::ios::app) << strText;
}

}  // namespace

TEST(LumLog, ServeWritesTheFileThatTheDocumentationNames)
{
    TemporaryFolder folder;
    folder.Write("files/a.txt", "1");
    const LumServe serve({"--source", folder.Name("files"), "--log", folder.Name("deep/logs")});
    ASSERT_TRUE(serve.Publishes());
    const std::vector<fs::path> vecFiles = LogFilesBelow(folder.Path() / "deep" / "logs");
    ASSERT_EQ(vecFiles.size(), 1u);
    const std::string strDay = vecFiles[0].parent_path().filename().string();
    EXPECT_TRUE(std::regex_match(strDay, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}"))) << strDay;
    EXPECT_TRUE(
        std::regex_match(vecFiles[0].filename().string(), std::regex(strDay + " [0-9]{2}-[0-9]{2}-[0-9]{2}\\.log")));
    EXPECT_TRUE(HasLine(AllLogs(folder.Path() / "deep"), "VOLOG-INFO", "serving 2 nodes of 1 source"));
}

TEST(LumLog, WhatServeSaysOnStandardErrorIsInTheFileToo)
{
    TemporaryFolder folder;
    const LumResult result = RunLum({"serve", "--source", folder.Name("nowhere"), "--log", folder.Name("logs")});
    EXPECT_EQ(result.nExitCode, 2);
    ASSERT_NE(result.strErr, "");
    for (const std::string& strLine : LinesOf(result.strErr))
    {
        ASSERT_EQ(strLine.substr(0, 5), "lum: ");
        EXPECT_TRUE(HasLine(AllLogs(folder.Path() / "logs"), "VOLOG-WARNING", strLine.substr(5))) << strLine;
    }
}

TEST(LumLog, WhatTheLibraryLogsIsInTheFileAndOnStandardErrorAndNotAmongTheResults)
{
    TemporaryFolder folder;
    const LumResult result = RunLum({"crash", "abort", "--log", folder.Name("logs")});
    const std::string strLine = "VO_PROCESS_ERROR(emPriority < VOLOG_PRIORITY_MAX)";
    EXPECT_TRUE(HasLine(AllLogs(folder.Path() / "logs"), "VOLOG-ERROR", strLine));
    EXPECT_TRUE(Contains(result.strErr, strLine));
    EXPECT_FALSE(Contains(result.strOut, "VO_PROCESS_ERROR")) << result.strOut;
}

TEST(LumLog, AFolderThatCantBeWrittenEndsServeBeforeItPublishes)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write("file", "1");
    for (const std::string& strLog : {strFile, strFile + "/logs", std::string(), folder.Name(std::string(250, 'x'))})
    {
        const LumResult result = RunLum({"serve", "--source", folder.Name(), "--log", strLog});
        EXPECT_EQ(result.nExitCode, 2) << strLog;
        EXPECT_EQ(result.strOut, "") << strLog;
        EXPECT_EQ(LinesOf(result.strErr).size(), 1u) << result.strErr;
    }
}

TEST(LumLog, AFolderAboveIsMadeWhereItsNameSays)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "here");
    const LumServe serve({"--source", folder.Name("here"), "--log", folder.Name("here/../there")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(LogFilesBelow(folder.Path() / "there").size(), 1u);
}

TEST(LumLog, TheNewestFileIsPrinted)
{
    TemporaryFolder folder;
    folder.Write("2026-11-14/2026-11-14 08-03-56.log", "old\n");
    folder.Write("2026-11-15/2026-11-15 00-00-01.log", "early\n");
    folder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\r\ntwo\nthree\n");
    folder.Write("2026-11-15/2026-11-15 00-00-03.txt", "no log file\n");
    folder.Write("2026-11-16/notes.log", "no log file\n");
    folder.Write("zz/2026-11-17 00-00-01.log", "no log file\n");
    const LumResult result = RunLum({"log", folder.Name()});
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(result.strOut, "one\ntwo\nthree\n");
    EXPECT_EQ(result.strErr, "");
}

TEST(LumLog, TheLastLinesAreCounted)
{
    TemporaryFolder folder;
    folder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\n\nthree\nfour");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "0"}).strOut, "");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "1"}).strOut, "four");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "2"}).strOut, "three\nfour");
    EXPECT_EQ(RunLum({"log", folder.Name(), "-n", "3"}).strOut, "\nthree\nfour");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "4"}).strOut, "one\n\nthree\nfour");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "5"}).strOut, "one\n\nthree\nfour");
    folder.Write("2026-11-15/2026-11-15 00-00-02.log", "one\ntwo\n");
    EXPECT_EQ(RunLum({"log", folder.Name(), "--lines", "1"}).strOut, "two\n");
}

TEST(LumLog, WithoutALogFileThereIsNothingToShow)
{
    TemporaryFolder folder;
    folder.Write("2026-11-15/other", "1");
    EXPECT_EQ(RunLum({"log", folder.Name()}).nExitCode, 1);
    EXPECT_EQ(RunLum({"log", folder.Name("nowhere")}).nExitCode, 2);
    EXPECT_EQ(RunLum({"log", folder.Write("file", "1")}).nExitCode, 2);
}

TEST(LumLog, FollowingShowsWhatIsAddedAndGoesOnWithANewerFile)
{
    TemporaryFolder folder;
    const std::string strFirst = folder.Write("2026-11-15/2026-11-15 00-00-02.log", "skipped\none\n");
    LumProcess log({"log", folder.Name(), "--follow", "--lines", "1"});
    ASSERT_TRUE(WaitUntil([&] { return log.Out() == "one\n"; })) << log.Out();
    Append(fs::path(std::u8string(strFirst.begin(), strFirst.end())), "two\n");
    ASSERT_TRUE(WaitUntil([&] { return log.Out() == "one\ntwo\n"; })) << log.Out();
    folder.Write("2026-11-16/2026-11-16 00-00-01.log", "three\n");
    ASSERT_TRUE(WaitUntil([&] { return log.Out() == "one\ntwo\nthree\n"; })) << log.Out();
    EXPECT_TRUE(log.IsRunning());
    if (!log.RequestStop())
    {
        GTEST_SKIP() << "a process can't be asked to stop here";
    }
    EXPECT_EQ(log.Wait(), 0);
}

TEST(LumLog, FollowingAnEmptyFolderWaitsForAFile)
{
    TemporaryFolder folder;
    LumProcess log({"log", folder.Name(), "-f"});
    ASSERT_TRUE(WaitUntil([&] { return Contains(log.Err(), "no log file is there yet"); }));
    const LumServe serve({"--source", folder.Name(), "--log", folder.Name()});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_TRUE(WaitUntil([&] { return HasLine(log.Out(), "VOLOG-INFO", "serving "); })) << log.Out();
}
