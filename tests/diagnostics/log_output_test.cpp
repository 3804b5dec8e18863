// The log file writer. Each test works in a folder of its own, which is the working directory meanwhile.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <thread>

#include "support/temporary_files.h"
#include "vo_log_output.h"

using namespace votest;

namespace
{
class Writer : public VOLogOutput
{
public:
    using VOLogOutput::GetCurrentTimeString;
    using VOLogOutput::GetPriorityString;
    using VOLogOutput::m_szLogFile;
    using VOLogOutput::MakePathDir;
};

// Text with "#" for every digit.
std::string Shape(std::string strText)
{
    std::replace_if(
        strText.begin(), strText.end(), [](char ch) { return ch >= '0' && ch <= '9'; }, '#');
    return strText;
}

std::string LocalTime(const char* pszFormat)
{
    const time_t nNow = time(nullptr);
    char szText[64];
    strftime(szText, sizeof(szText), pszFormat, localtime(&nNow));
    return szText;
}

class LogOutput : public testing::Test
{
protected:
    LogOutput() : m_pathBefore(std::filesystem::current_path()) { std::filesystem::current_path(m_files.Folder()); }
    ~LogOutput() override { std::filesystem::current_path(m_pathBefore); }

    // The file's content, by its name, with "/" for "\" and LF for CR LF.
    static std::string Content(const Writer& writer)
    {
        std::string strPath = writer.m_szLogFile;
        std::replace(strPath.begin(), strPath.end(), '\\', '/');
        std::string strBytes = TemporaryFiles::Read(strPath);
        strBytes.erase(std::remove(strBytes.begin(), strBytes.end(), '\r'), strBytes.end());
        return strBytes;
    }

    // What lies in the working directory, at most two levels deep, as shapes.
    static std::vector<std::string> Found()
    {
        std::vector<std::string> vecFound;
        for (const auto& entry : std::filesystem::recursive_directory_iterator("."))
        {
            vecFound.push_back(Shape(entry.path().lexically_relative(".").generic_string()));
        }
        std::sort(vecFound.begin(), vecFound.end());
        return vecFound;
    }

    TemporaryFiles m_files;
    std::filesystem::path m_pathBefore;
};

typedef std::vector<std::string> Texts;
const std::string STAMP = "####-##-## ##-##-##";
}  // namespace

TEST_F(LogOutput, InitMakesTheFoldersAndTheNameAndNoFile)
{
    Writer writer;
    EXPECT_EQ(1, writer.Init("logs"));
    EXPECT_EQ("logs\\####-##-##\\" + STAMP + ".log", Shape(writer.m_szLogFile));
    EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
}

TEST_F(LogOutput, TheNameHoldsTheLocalTimeOfInit)
{
    Writer writer;
    const std::string strBefore = LocalTime("logs\\%Y-%m-%d\\%Y-%m-%d %H-%M-%S.log");
    writer.Init("logs");
    const std::string strAfter = LocalTime("logs\\%Y-%m-%d\\%Y-%m-%d %H-%M-%S.log");
    EXPECT_LE(strBefore, writer.m_szLogFile);
    EXPECT_GE(strAfter, writer.m_szLogFile);
}

TEST_F(LogOutput, TheFirstLineMakesTheFile)
{
    Writer writer;
    writer.Init("logs");
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_ERROR, "text of the message\n"));
    EXPECT_EQ(STAMP + ":[VOLOG-ERROR]text of the message\n", Shape(Content(writer)));
}

TEST_F(LogOutput, ALineCarriesTheTimeAtWhichItWasWritten)
{
    Writer writer;
    writer.Init("logs");
    const std::string strBefore = LocalTime("%Y-%m-%d %H-%M-%S");
    writer.OutputPrintf(VOLOG_INFO, "x");
    const std::string strAfter = LocalTime("%Y-%m-%d %H-%M-%S");
    EXPECT_LE(strBefore, Content(writer).substr(0, 19));
    EXPECT_GE(strAfter, Content(writer).substr(0, 19));
}

TEST_F(LogOutput, ATextWithoutALineEndRunsOnIntoTheNextLine)
{
    Writer writer;
    writer.Init("logs");
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_DEBUG, "one"));
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_WARNING, "two\n"));
    EXPECT_EQ(STAMP + ":[VOLOG-DEBUG]one" + STAMP + ":[VOLOG-WARNING]two\n", Shape(Content(writer)));
}

TEST_F(LogOutput, TextIsWrittenAsItIs)
{
    Writer writer;
    writer.Init("logs");
    const std::string strLong(100000, 'x');
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_INFO, "100% %s %n\n"));
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_INFO, strLong.c_str()));
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]###% %s %n\n" + STAMP + ":[VOLOG-INFO]" + strLong, Shape(Content(writer)));
}

TEST_F(LogOutput, APriorityAbove7WritesNothingButMakesTheFile)
{
    Writer writer;
    writer.Init("logs");
    EXPECT_EQ(0, writer.OutputPrintf(VOLOG_PRIORITY_MAX, "text"));
    EXPECT_EQ("", Content(writer));
    EXPECT_EQ(0, writer.OutputPrintf(static_cast<VOLOG_PRIORITY>(1000), "text"));
    EXPECT_EQ("", Content(writer));
}

TEST_F(LogOutput, ASecondInitGoesOnInTheSameFileWithinOneSecondAndMovesOnLater)
{
    Writer first;
    Writer second;
    // Until both fall into one second; each try is one, so the second can't turn at every one of them.
    do
    {
        ASSERT_EQ(1, first.Init("logs"));
        ASSERT_EQ(1, second.Init("logs"));
    } while (std::string(first.m_szLogFile) != second.m_szLogFile);
    first.OutputPrintf(VOLOG_INFO, "one\n");
    second.OutputPrintf(VOLOG_INFO, "two\n");
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]one\n" + STAMP + ":[VOLOG-INFO]two\n", Shape(Content(first)));
    const std::string strFirst = first.m_szLogFile;
    while (strFirst == first.m_szLogFile)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_EQ(1, first.Init("logs"));
    }
    EXPECT_LT(strFirst, first.m_szLogFile);
}

TEST_F(LogOutput, AFolderThatCantBeMadeLeavesInitAt1AndTheWriteFails)
{
    m_files.Write("taken", "a file");
    Writer writer;
    EXPECT_EQ(1, writer.Init("taken"));
    EXPECT_EQ(0, writer.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ((Texts{"taken"}), Found());
}

TEST_F(LogOutput, FoldersOfSeveralLevelsAndEitherSlashAreMade)
{
    Writer writer;
    EXPECT_EQ(1, writer.Init("a/b\\c"));
    EXPECT_EQ((Texts{"a", "a/b", "a/b/c", "a/b/c/####-##-##"}), Found());
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_ERROR, "text"));
}

TEST_F(LogOutput, ThePathOfTheWorkingDirectoryItselfWorks)
{
    Writer writer;
    EXPECT_EQ(1, writer.Init("."));
    EXPECT_EQ((Texts{"####-##-##"}), Found());
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(".\\####-##-##\\" + STAMP + ".log", Shape(writer.m_szLogFile));
}

TEST_F(LogOutput, AFullPathWorks)
{
    Writer writer;
    const std::string strPath = m_files.Path("logs");
    EXPECT_EQ(1, writer.Init(strPath.c_str()));
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(STAMP + ":[VOLOG-ERROR]text", Shape(Content(writer)));
    EXPECT_EQ((Texts{"logs", "logs/####-##-##", "logs/####-##-##/" + STAMP + ".log"}), Found());
}

TEST_F(LogOutput, FoldersOfAPathToTheParentAreMadeHereAndTheFirstWriteFails)
{
    std::filesystem::create_directory("here");
    std::filesystem::current_path("here");
    for (const char* pszPath : {"..\\logs", "../logs"})
    {
        Writer writer;
        EXPECT_EQ(1, writer.Init(pszPath));
        EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
        EXPECT_FALSE(std::filesystem::exists("../logs"));
        EXPECT_EQ(0, writer.OutputPrintf(VOLOG_ERROR, "text"));
    }
    std::filesystem::current_path("..");
}

TEST_F(LogOutput, ANullPathMakesTheFoldersOfItsTextAndLeavesTheName)
{
    Writer writer;
    ASSERT_EQ(1, writer.Init("logs"));
    const std::string strBefore = writer.m_szLogFile;
    EXPECT_EQ(0, writer.Init(nullptr));
    EXPECT_EQ(strBefore, writer.m_szLogFile);
    EXPECT_EQ((Texts{"(null)", "(null)/####-##-##", "logs", "logs/####-##-##"}), Found());
}

TEST_F(LogOutput, APathThatGetsTooLongIsRefusedWithTheNameAsItWas)
{
    Writer writer;
    ASSERT_EQ(1, writer.Init("logs"));
    const std::string strBefore = writer.m_szLogFile;
    // The date, the time, ".log" and two slashes take 35 characters.
    for (const size_t uLength : {225u, 249u, 300u, 5000u})
    {
        EXPECT_EQ(0, writer.Init(std::string(uLength, 'x').c_str())) << uLength;
        EXPECT_EQ(strBefore, writer.m_szLogFile);
    }
    EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
    // Below a file, so that no folder is made that is too long to be removed.
    m_files.Write("taken", "a file");
    EXPECT_EQ(1, writer.Init(("taken/" + std::string(218, 'x')).c_str()));
    EXPECT_EQ(259u, strlen(writer.m_szLogFile));
}

TEST_F(LogOutput, WithoutInitNothingIsWritten)
{
    Writer writer;
    EXPECT_EQ(0, writer.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(Texts{}, Found());
}

TEST_F(LogOutput, UnInitChangesNothing)
{
    Writer writer;
    EXPECT_EQ(1, writer.UnInit());
    writer.Init("logs");
    EXPECT_EQ(1, writer.UnInit());
    EXPECT_EQ(1, writer.OutputPrintf(VOLOG_INFO, "text"));
    EXPECT_EQ(1, writer.UnInit());
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]text", Shape(Content(writer)));
}

TEST_F(LogOutput, AssignmentCopiesTheName)
{
    Writer writer;
    writer.Init("logs");
    Writer copy;
    copy = writer;
    EXPECT_STREQ(writer.m_szLogFile, copy.m_szLogFile);
    copy.OutputPrintf(VOLOG_INFO, "text");
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]text", Shape(Content(writer)));
}

TEST_F(LogOutput, MakePathDirPassesOverFullStopsAndSlashesAtTheStart)
{
    Writer writer;
    EXPECT_EQ(1, writer.MakePathDir("\\\\./..//one\\two/three"));
    EXPECT_EQ((Texts{"one", "one/two", "one/two/three"}), Found());
    EXPECT_EQ(1, writer.MakePathDir("/four"));
    EXPECT_EQ((Texts{"four", "one", "one/two", "one/two/three"}), Found());
}

TEST_F(LogOutput, MakePathDirAlwaysGives1)
{
    Writer writer;
    EXPECT_EQ(1, writer.MakePathDir(""));
    EXPECT_EQ(1, writer.MakePathDir("..\\"));
    EXPECT_EQ(1, writer.MakePathDir(nullptr));
    EXPECT_EQ(1, writer.MakePathDir(std::string(1000, 'x').c_str()));
    EXPECT_EQ(1, writer.MakePathDir("a\\b\\"));
    EXPECT_EQ(1, writer.MakePathDir("a\\b\\"));
    EXPECT_EQ((Texts{"a", "a/b"}), Found());
}

TEST_F(LogOutput, EachPriorityHasItsNarrowTag)
{
    Writer writer;
    const Texts vecTag = {"VOLOG-RESERVE0", "VOLOG-RESERVE1", "VOLOG-RESERVE2", "VOLOG-ERROR",
                          "VOLOG-WARNING",  "VOLOG-RESERVE3", "VOLOG-INFO",     "VOLOG-DEBUG"};
    for (size_t i = 0; i < vecTag.size(); ++i)
    {
        char szTag[30] = "x";
        EXPECT_EQ(1, writer.GetPriorityString(static_cast<VOLOG_PRIORITY>(i), szTag, sizeof(szTag)));
        EXPECT_EQ(vecTag[i], szTag);
    }
}

TEST_F(LogOutput, APriorityAbove7OrANullBufferHasNoTag)
{
    Writer writer;
    char szTag[30] = "x";
    EXPECT_EQ(0, writer.GetPriorityString(VOLOG_PRIORITY_MAX, szTag, sizeof(szTag)));
    EXPECT_STREQ("x", szTag);
    EXPECT_EQ(0, writer.GetPriorityString(VOLOG_ERROR, nullptr, 30));
    EXPECT_EQ(1, writer.GetPriorityString(VOLOG_ERROR, szTag, 6));
    EXPECT_STREQ("VOLOG", szTag);
    EXPECT_EQ(1, writer.GetPriorityString(static_cast<VOLOG_PRIORITY>(-1), szTag, sizeof(szTag)));
    EXPECT_STREQ("", szTag);
}

TEST_F(LogOutput, TheFirstFlagThatIsSetDecidesTheTimeFormat)
{
    Writer writer;
    for (const auto& [nFlags, pszShape] :
         {std::pair{4, "####-##-## ##-##-##"}, std::pair{1, "####-##-##"}, std::pair{2, "##-##-##"},
          std::pair{3, "####-##-##"}, std::pair{7, "####-##-## ##-##-##"}, std::pair{6, "####-##-## ##-##-##"},
          std::pair{8 + 2, "##-##-##"}})
    {
        char szTime[30] = "x";
        EXPECT_EQ(1, writer.GetCurrentTimeString(szTime, sizeof(szTime), nFlags));
        EXPECT_EQ(pszShape, Shape(szTime)) << nFlags;
    }
}

TEST_F(LogOutput, WithNoFlagTheBufferIsLeftAloneAndANullBufferGives0)
{
    Writer writer;
    char szTime[30] = "kept";
    EXPECT_EQ(1, writer.GetCurrentTimeString(szTime, sizeof(szTime), 0));
    EXPECT_EQ(1, writer.GetCurrentTimeString(szTime, sizeof(szTime), 8));
    EXPECT_STREQ("kept", szTime);
    EXPECT_EQ(0, writer.GetCurrentTimeString(nullptr, 30, 4));
    EXPECT_EQ(0, writer.GetCurrentTimeString(nullptr, 30, 0));
    EXPECT_EQ(1, writer.GetCurrentTimeString(szTime, 10, 4));
    EXPECT_STREQ("", szTime);
    EXPECT_EQ(1, writer.GetCurrentTimeString(szTime, 0, 4));
}
