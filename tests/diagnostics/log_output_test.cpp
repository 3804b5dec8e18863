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
    LogOutput() : m_pathBefore(std::filesystem::current_path()) { std::filesystem::current_path(m_kFiles.Folder()); }
    ~LogOutput() override { std::filesystem::current_path(m_pathBefore); }

    // The file's content, by its name, with "/" for "\" and LF for CR LF.
    static std::string Content(const Writer& rkWriter)
    {
        std::string strPath = rkWriter.m_szLogFile;
        std::replace(strPath.begin(), strPath.end(), '\\', '/');
        std::string strBytes = TemporaryFiles::Read(strPath);
        strBytes.erase(std::remove(strBytes.begin(), strBytes.end(), '\r'), strBytes.end());
        return strBytes;
    }

    // What lies in the working directory, at most two levels deep, as shapes.
    static std::vector<std::string> Found()
    {
        std::vector<std::string> vecFound;
        for (const auto& kEntry : std::filesystem::recursive_directory_iterator("."))
        {
            vecFound.push_back(Shape(kEntry.path().lexically_relative(".").generic_string()));
        }
        std::sort(vecFound.begin(), vecFound.end());
        return vecFound;
    }

    TemporaryFiles m_kFiles;
    std::filesystem::path m_pathBefore;
};

typedef std::vector<std::string> Texts;
const std::string STAMP = "####-##-## ##-##-##";
}  // namespace

TEST_F(LogOutput, InitMakesTheFoldersAndTheNameAndNoFile)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.Init("logs"));
    EXPECT_EQ("logs\\####-##-##\\" + STAMP + ".log", Shape(kWriter.m_szLogFile));
    EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
}

TEST_F(LogOutput, TheNameHoldsTheLocalTimeOfInit)
{
    Writer kWriter;
    const std::string strBefore = LocalTime("logs\\%Y-%m-%d\\%Y-%m-%d %H-%M-%S.log");
    kWriter.Init("logs");
    const std::string strAfter = LocalTime("logs\\%Y-%m-%d\\%Y-%m-%d %H-%M-%S.log");
    EXPECT_LE(strBefore, kWriter.m_szLogFile);
    EXPECT_GE(strAfter, kWriter.m_szLogFile);
}

TEST_F(LogOutput, TheFirstLineMakesTheFile)
{
    Writer kWriter;
    kWriter.Init("logs");
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_ERROR, "text of the message\n"));
    EXPECT_EQ(STAMP + ":[VOLOG-ERROR]text of the message\n", Shape(Content(kWriter)));
}

TEST_F(LogOutput, ALineCarriesTheTimeAtWhichItWasWritten)
{
    Writer kWriter;
    kWriter.Init("logs");
    const std::string strBefore = LocalTime("%Y-%m-%d %H-%M-%S");
    kWriter.OutputPrintf(VOLOG_INFO, "x");
    const std::string strAfter = LocalTime("%Y-%m-%d %H-%M-%S");
    EXPECT_LE(strBefore, Content(kWriter).substr(0, 19));
    EXPECT_GE(strAfter, Content(kWriter).substr(0, 19));
}

TEST_F(LogOutput, ATextWithoutALineEndRunsOnIntoTheNextLine)
{
    Writer kWriter;
    kWriter.Init("logs");
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_DEBUG, "one"));
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_WARNING, "two\n"));
    EXPECT_EQ(STAMP + ":[VOLOG-DEBUG]one" + STAMP + ":[VOLOG-WARNING]two\n", Shape(Content(kWriter)));
}

TEST_F(LogOutput, TextIsWrittenAsItIs)
{
    Writer kWriter;
    kWriter.Init("logs");
    const std::string strLong(100000, 'x');
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_INFO, "100% %s %n\n"));
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_INFO, strLong.c_str()));
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]###% %s %n\n" + STAMP + ":[VOLOG-INFO]" + strLong, Shape(Content(kWriter)));
}

TEST_F(LogOutput, APriorityAbove7WritesNothingButMakesTheFile)
{
    Writer kWriter;
    kWriter.Init("logs");
    EXPECT_EQ(0, kWriter.OutputPrintf(VOLOG_PRIORITY_MAX, "text"));
    EXPECT_EQ("", Content(kWriter));
    EXPECT_EQ(0, kWriter.OutputPrintf(static_cast<VOLOG_PRIORITY>(1000), "text"));
    EXPECT_EQ("", Content(kWriter));
}

TEST_F(LogOutput, ASecondInitGoesOnInTheSameFileWithinOneSecondAndMovesOnLater)
{
    Writer kFirst;
    Writer kSecond;
    // Until both fall into one second; each try is one, so the second can't turn at every one of them.
    do
    {
        ASSERT_EQ(1, kFirst.Init("logs"));
        ASSERT_EQ(1, kSecond.Init("logs"));
    } while (std::string(kFirst.m_szLogFile) != kSecond.m_szLogFile);
    kFirst.OutputPrintf(VOLOG_INFO, "one\n");
    kSecond.OutputPrintf(VOLOG_INFO, "two\n");
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]one\n" + STAMP + ":[VOLOG-INFO]two\n", Shape(Content(kFirst)));
    const std::string strFirst = kFirst.m_szLogFile;
    while (strFirst == kFirst.m_szLogFile)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_EQ(1, kFirst.Init("logs"));
    }
    EXPECT_LT(strFirst, kFirst.m_szLogFile);
}

TEST_F(LogOutput, AFolderThatCantBeMadeLeavesInitAt1AndTheWriteFails)
{
    m_kFiles.Write("taken", "a file");
    Writer kWriter;
    EXPECT_EQ(1, kWriter.Init("taken"));
    EXPECT_EQ(0, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ((Texts{"taken"}), Found());
}

TEST_F(LogOutput, FoldersOfSeveralLevelsAndEitherSlashAreMade)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.Init("a/b\\c"));
    EXPECT_EQ((Texts{"a", "a/b", "a/b/c", "a/b/c/####-##-##"}), Found());
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
}

TEST_F(LogOutput, ThePathOfTheWorkingDirectoryItselfWorks)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.Init("."));
    EXPECT_EQ((Texts{"####-##-##"}), Found());
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(".\\####-##-##\\" + STAMP + ".log", Shape(kWriter.m_szLogFile));
}

TEST_F(LogOutput, AFullPathWorks)
{
    Writer kWriter;
    const std::string strPath = m_kFiles.Path("logs");
    EXPECT_EQ(1, kWriter.Init(strPath.c_str()));
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(STAMP + ":[VOLOG-ERROR]text", Shape(Content(kWriter)));
    EXPECT_EQ((Texts{"logs", "logs/####-##-##", "logs/####-##-##/" + STAMP + ".log"}), Found());
}

TEST_F(LogOutput, FoldersOfAPathToTheParentAreMadeHereAndTheFirstWriteFails)
{
    std::filesystem::create_directory("here");
    std::filesystem::current_path("here");
    for (const char* pszPath : {"..\\logs", "../logs"})
    {
        Writer kWriter;
        EXPECT_EQ(1, kWriter.Init(pszPath));
        EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
        EXPECT_FALSE(std::filesystem::exists("../logs"));
        EXPECT_EQ(0, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
    }
    std::filesystem::current_path("..");
}

TEST_F(LogOutput, ANullPathMakesTheFoldersOfItsTextAndLeavesTheName)
{
    Writer kWriter;
    ASSERT_EQ(1, kWriter.Init("logs"));
    const std::string strBefore = kWriter.m_szLogFile;
    EXPECT_EQ(0, kWriter.Init(nullptr));
    EXPECT_EQ(strBefore, kWriter.m_szLogFile);
    EXPECT_EQ((Texts{"(null)", "(null)/####-##-##", "logs", "logs/####-##-##"}), Found());
}

TEST_F(LogOutput, APathThatGetsTooLongIsRefusedWithTheNameAsItWas)
{
    Writer kWriter;
    ASSERT_EQ(1, kWriter.Init("logs"));
    const std::string strBefore = kWriter.m_szLogFile;
    // The date, the time, ".log" and two slashes take 35 characters.
    for (const size_t uLength : {225u, 249u, 300u, 5000u})
    {
        EXPECT_EQ(0, kWriter.Init(std::string(uLength, 'x').c_str())) << uLength;
        EXPECT_EQ(strBefore, kWriter.m_szLogFile);
    }
    EXPECT_EQ((Texts{"logs", "logs/####-##-##"}), Found());
    // Below a file, so that no folder is made that is too long to be removed.
    m_kFiles.Write("taken", "a file");
    EXPECT_EQ(1, kWriter.Init(("taken/" + std::string(218, 'x')).c_str()));
    EXPECT_EQ(259u, strlen(kWriter.m_szLogFile));
}

TEST_F(LogOutput, WithoutInitNothingIsWritten)
{
    Writer kWriter;
    EXPECT_EQ(0, kWriter.OutputPrintf(VOLOG_ERROR, "text"));
    EXPECT_EQ(Texts{}, Found());
}

TEST_F(LogOutput, UnInitChangesNothing)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.UnInit());
    kWriter.Init("logs");
    EXPECT_EQ(1, kWriter.UnInit());
    EXPECT_EQ(1, kWriter.OutputPrintf(VOLOG_INFO, "text"));
    EXPECT_EQ(1, kWriter.UnInit());
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]text", Shape(Content(kWriter)));
}

TEST_F(LogOutput, AssignmentCopiesTheName)
{
    Writer kWriter;
    kWriter.Init("logs");
    Writer kCopy;
    kCopy = kWriter;
    EXPECT_STREQ(kWriter.m_szLogFile, kCopy.m_szLogFile);
    kCopy.OutputPrintf(VOLOG_INFO, "text");
    EXPECT_EQ(STAMP + ":[VOLOG-INFO]text", Shape(Content(kWriter)));
}

TEST_F(LogOutput, MakePathDirPassesOverFullStopsAndSlashesAtTheStart)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.MakePathDir("\\\\./..//one\\two/three"));
    EXPECT_EQ((Texts{"one", "one/two", "one/two/three"}), Found());
    EXPECT_EQ(1, kWriter.MakePathDir("/four"));
    EXPECT_EQ((Texts{"four", "one", "one/two", "one/two/three"}), Found());
}

TEST_F(LogOutput, MakePathDirAlwaysGives1)
{
    Writer kWriter;
    EXPECT_EQ(1, kWriter.MakePathDir(""));
    EXPECT_EQ(1, kWriter.MakePathDir("..\\"));
    EXPECT_EQ(1, kWriter.MakePathDir(nullptr));
    EXPECT_EQ(1, kWriter.MakePathDir(std::string(1000, 'x').c_str()));
    EXPECT_EQ(1, kWriter.MakePathDir("a\\b\\"));
    EXPECT_EQ(1, kWriter.MakePathDir("a\\b\\"));
    EXPECT_EQ((Texts{"a", "a/b"}), Found());
}

TEST_F(LogOutput, EachPriorityHasItsNarrowTag)
{
    Writer kWriter;
    const Texts vecTag = {"VOLOG-RESERVE0", "VOLOG-RESERVE1", "VOLOG-RESERVE2", "VOLOG-ERROR",
                          "VOLOG-WARNING",  "VOLOG-RESERVE3", "VOLOG-INFO",     "VOLOG-DEBUG"};
    for (size_t i = 0; i < vecTag.size(); ++i)
    {
        char szTag[30] = "x";
        EXPECT_EQ(1, kWriter.GetPriorityString(static_cast<VOLOG_PRIORITY>(i), szTag, sizeof(szTag)));
        EXPECT_EQ(vecTag[i], szTag);
    }
}

TEST_F(LogOutput, APriorityAbove7OrANullBufferHasNoTag)
{
    Writer kWriter;
    char szTag[30] = "x";
    EXPECT_EQ(0, kWriter.GetPriorityString(VOLOG_PRIORITY_MAX, szTag, sizeof(szTag)));
    EXPECT_STREQ("x", szTag);
    EXPECT_EQ(0, kWriter.GetPriorityString(VOLOG_ERROR, nullptr, 30));
    EXPECT_EQ(1, kWriter.GetPriorityString(VOLOG_ERROR, szTag, 6));
    EXPECT_STREQ("VOLOG", szTag);
    EXPECT_EQ(1, kWriter.GetPriorityString(static_cast<VOLOG_PRIORITY>(-1), szTag, sizeof(szTag)));
    EXPECT_STREQ("", szTag);
}

TEST_F(LogOutput, TheFirstFlagThatIsSetDecidesTheTimeFormat)
{
    Writer kWriter;
    for (const auto& [nFlags, pszShape] :
         {std::pair{4, "####-##-## ##-##-##"}, std::pair{1, "####-##-##"}, std::pair{2, "##-##-##"},
          std::pair{3, "####-##-##"}, std::pair{7, "####-##-## ##-##-##"}, std::pair{6, "####-##-## ##-##-##"},
          std::pair{8 + 2, "##-##-##"}})
    {
        char szTime[30] = "x";
        EXPECT_EQ(1, kWriter.GetCurrentTimeString(szTime, sizeof(szTime), nFlags));
        EXPECT_EQ(pszShape, Shape(szTime)) << nFlags;
    }
}

TEST_F(LogOutput, WithNoFlagTheBufferIsLeftAloneAndANullBufferGives0)
{
    Writer kWriter;
    char szTime[30] = "kept";
    EXPECT_EQ(1, kWriter.GetCurrentTimeString(szTime, sizeof(szTime), 0));
    EXPECT_EQ(1, kWriter.GetCurrentTimeString(szTime, sizeof(szTime), 8));
    EXPECT_STREQ("kept", szTime);
    EXPECT_EQ(0, kWriter.GetCurrentTimeString(nullptr, 30, 4));
    EXPECT_EQ(0, kWriter.GetCurrentTimeString(nullptr, 30, 0));
    EXPECT_EQ(1, kWriter.GetCurrentTimeString(szTime, 10, 4));
    EXPECT_STREQ("", szTime);
    EXPECT_EQ(1, kWriter.GetCurrentTimeString(szTime, 0, 4));
}
