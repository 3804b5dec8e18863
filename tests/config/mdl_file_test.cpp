// The path list file.
#include <climits>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/temporary_files.h"
#include "z_mdl_file.h"

using namespace votest;

namespace
{
typedef std::vector<std::string> Texts;

class Mdl : public ZMdlFile
{
public:
    using ZMdlFile::GetBufferLine;
    using ZMdlFile::m_StrVertor;
    using ZMdlFile::SetFileReadOnly;

    Texts Paths()
    {
        Texts vecPath;
        for (int i = 0; i < GetPathCount(); ++i)
        {
            vecPath.push_back(GetPathByIndex(i));
        }
        return vecPath;
    }

    // The bytes that WriteMdlFile writes, with LF for CR LF.
    std::string Written()
    {
        const TemporaryFiles kFiles;
        EXPECT_EQ(1, WriteMdlFile(kFiles.Path("w.mdl").c_str()));
        std::string strBytes = TemporaryFiles::Read(kFiles.Path("w.mdl"));
        strBytes.erase(std::remove(strBytes.begin(), strBytes.end(), '\r'), strBytes.end());
        return strBytes;
    }
};

Texts FromFile(const std::string& strBytes)
{
    const TemporaryFiles kFiles;
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.OpenMdlFile(kFiles.Write("a.mdl", strBytes).c_str(), false));
    return kMdl.Paths();
}

Texts FromBuffer(const std::string& strBytes)
{
    // Nothing is readable behind the text.
    const MisalignedBlock kBlock(Bytes(strBytes.begin(), strBytes.end()), 1);
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.OpenMdlFileByBuffer(kBlock.As<const char>(), static_cast<int>(strBytes.size())));
    return kMdl.Paths();
}

std::string BadIndex(const std::string& strFunction)
{
    return CheckLine("VO_PROCESS_ERROR", "nIndex < m_StrVertor.size()", "ZMdlFile::" + strFunction);
}
}  // namespace

TEST(MdlFile, APathWithABackslashIsWrittenWithOneMoreInFront)
{
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.AddPath("a\\b"));
    EXPECT_EQ(1, kMdl.AddPath("c/d"));
    EXPECT_EQ("\\a\\b\nc/d\n", kMdl.Written());
}

TEST(MdlFile, APathFromAFileEndsWithItsNewline)
{
    EXPECT_EQ((Texts{"a\\b\n", "c/d\n", "e"}), FromFile("\\a\\b\nc/d\ne"));
    EXPECT_EQ((Texts{"a\n", "b\n"}), FromFile("a\r\nb\r\n"));
}

TEST(MdlFile, OneBackslashAtTheStartOfALineIsTakenAway)
{
    EXPECT_EQ((Texts{"\\server\\x\n", "a\n", "\n"}), FromFile("\\\\server\\x\n\\a\n\\\n"));
}

TEST(MdlFile, AListReadAndWrittenAgainHasAnEmptyLineAfterEachPath)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.mdl", "\\a\\b\nc\n");
    Mdl kMdl;
    ASSERT_EQ(1, kMdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ("\\a\\b\n\nc\n\n", kMdl.Written());
    ASSERT_EQ(1, kMdl.WriteMdlFile(strPath.c_str()));
    Mdl kAgain;
    ASSERT_EQ(1, kAgain.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"a\\b\n", "\n", "c\n", "\n"}), kAgain.Paths());
}

TEST(MdlFile, OpeningAFileAddsToWhatIsThere)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.mdl", "x\n");
    Mdl kMdl;
    kMdl.AddPath("first");
    EXPECT_EQ(1, kMdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ(1, kMdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"first", "x\n", "x\n"}), kMdl.Paths());
}

TEST(MdlFile, CreatingEmptiesAnExistingFileAndLeavesTheList)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.mdl", "x\n");
    Mdl kMdl;
    kMdl.AddPath("kept");
    EXPECT_EQ(1, kMdl.OpenMdlFile(strPath.c_str(), true));
    EXPECT_EQ((Texts{"kept"}), kMdl.Paths());
    EXPECT_EQ("", TemporaryFiles::Read(strPath));
    EXPECT_EQ(1, kMdl.OpenMdlFile(kFiles.Path("new.mdl").c_str(), true));
    EXPECT_EQ("", TemporaryFiles::Read(kFiles.Path("new.mdl")));
}

TEST(MdlFile, AFileThatCantBeOpenedGives0AndALogLine)
{
    const TemporaryFiles kFiles;
    const LogCapture kLog;
    Mdl kMdl;
    EXPECT_EQ(0, kMdl.OpenMdlFile(kFiles.Path("none.mdl").c_str(), false));
    EXPECT_EQ(0, kMdl.OpenMdlFile(kFiles.Folder().generic_string().c_str(), false));
    EXPECT_EQ(0, kMdl.OpenMdlFile(kFiles.Path("none/a.mdl").c_str(), true));
    EXPECT_EQ(0, kMdl.OpenMdlFile(nullptr, false));
    EXPECT_EQ(Texts(4, CheckLine("VO_PROCESS_ERROR", "pMdlFile", "ZMdlFile::OpenMdlFile")), kLog.Lines());
    EXPECT_EQ(0, kMdl.GetPathCount());
}

TEST(MdlFileDeathTest, ALineOf259CharactersOrMoreWithItsLineEndEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryFiles kFiles;
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.OpenMdlFile(kFiles.Write("fits.mdl", std::string(257, 'x') + "\n").c_str(), false));
    EXPECT_DEATH(kMdl.OpenMdlFile(kFiles.Write("a.mdl", std::string(258, 'x') + "\n").c_str(), false),
                 "259 characters");
    EXPECT_DEATH(kMdl.OpenMdlFile(kFiles.Write("b.mdl", std::string(1000, 'x')).c_str(), false), "259 characters");
    EXPECT_EQ((Texts{std::string(257, 'x') + "\n"}), kMdl.Paths());
}

TEST(MdlFile, ABufferGivesItsLinesWithoutLineEndsAndCutAtTheirFirstBlank)
{
    EXPECT_EQ((Texts{"a", "c"}), FromBuffer("a b\r\n\r\nc"));
    EXPECT_EQ((Texts{"a\\b", "c/d"}), FromBuffer("\\a\\b\nc/d\n\n\r"));
}

TEST(MdlFile, ABufferThatBeginsWithALineEndGivesAnEmptyFirstPath)
{
    EXPECT_EQ((Texts{"", "a"}), FromBuffer("\r\n\na\n"));
    EXPECT_EQ((Texts{"", "a"}), FromBuffer("\na"));
}

TEST(MdlFile, ABufferEndsAtItsFirstZero)
{
    EXPECT_EQ((Texts{"a"}), FromBuffer(std::string("a\n\0b\n", 5)));
}

TEST(MdlFile, AnEmptyBufferGives1AndNothing)
{
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.OpenMdlFileByBuffer("", 0));
    EXPECT_EQ(1, kMdl.OpenMdlFileByBuffer(nullptr, 5));
    EXPECT_EQ(1, kMdl.OpenMdlFileByBuffer("abc", -1));
    EXPECT_EQ(0, kMdl.GetPathCount());
}

TEST(MdlFile, ALineOf1024CharactersInABufferStopsTheReadingThere)
{
    const LogCapture kLog;
    const std::string strTail(1022, 'y');
    EXPECT_EQ((Texts{"a", "b", "c"}), FromBuffer("a\nb " + strTail.substr(1) + "\nc\n"));
    EXPECT_EQ(0u, kLog.Count());
    EXPECT_EQ((Texts{"a"}), FromBuffer("a\n" + std::string(1024, 'x') + "\nc\n"));
    EXPECT_EQ(CheckLine("VO_PROCESS_ERROR", "uLineLength < uLineBufferSize", "ZMdlFile::GetBufferLine"),
              kLog.Lines().back());
}

TEST(MdlFile, GetBufferLineTakesOneLineAndPassesOverAllLineEndsBehindIt)
{
    Mdl kMdl;
    char szBuffer[] = "ab\r\n\n\rcd";
    char* pszAt = szBuffer;
    char szLine[3] = {};
    EXPECT_EQ(1, kMdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_STREQ("ab", szLine);
    EXPECT_EQ(szBuffer + 6, pszAt);
    EXPECT_EQ(1, kMdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_STREQ("cd", szLine);
    const LogCapture kLog;
    EXPECT_EQ(0, kMdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_EQ(szBuffer + 8, pszAt);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(MdlFile, GetBufferLineLeavesThePointerBeforeALineThatDoesNotFit)
{
    const LogCapture kLog;
    Mdl kMdl;
    char szBuffer[] = "abc\n";
    char* pszAt = szBuffer;
    char szLine[4] = "xyz";
    EXPECT_EQ(0, kMdl.GetBufferLine(&pszAt, 3, szLine));
    EXPECT_EQ(szBuffer, pszAt);
    EXPECT_STREQ("xyz", szLine);
    EXPECT_EQ(1u, kLog.Count());
    EXPECT_EQ(1, kMdl.GetBufferLine(&pszAt, 4, szLine));
    EXPECT_STREQ("abc", szLine);
}

TEST(MdlFile, GetBufferLineChecksEachOfItsArguments)
{
    const LogCapture kLog;
    Mdl kMdl;
    char szBuffer[] = "a";
    char* pszAt = szBuffer;
    char* pszNull = nullptr;
    char szLine[4];
    EXPECT_EQ(0, kMdl.GetBufferLine(nullptr, 4, szLine));
    EXPECT_EQ(0, kMdl.GetBufferLine(&pszNull, 4, szLine));
    EXPECT_EQ(0, kMdl.GetBufferLine(&pszAt, 0, szLine));
    EXPECT_EQ(0, kMdl.GetBufferLine(&pszAt, 4, nullptr));
    const std::string strFunction = "ZMdlFile::GetBufferLine";
    EXPECT_EQ((Texts{CheckLine("VO_PROCESS_ERROR", "ppszBuffer", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "*ppszBuffer", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "uLineBufferSize > 0", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "szRetLine", strFunction)}),
              kLog.Lines());
}

TEST(MdlFile, ABadIndexLogsAndLeavesTheListUnchanged)
{
    const LogCapture kLog;
    Mdl kMdl;
    kMdl.AddPath("a");
    for (const int nIndex : {-1, 1, INT_MIN, INT_MAX})
    {
        EXPECT_EQ(nullptr, kMdl.GetPathByIndex(nIndex));
        EXPECT_EQ(0, kMdl.RemovePathAt(nIndex));
        EXPECT_EQ(0, kMdl.ReplacePath("b", nIndex));
    }
    EXPECT_EQ(12u, kLog.Count());
    EXPECT_EQ(BadIndex("GetPathByIndex"), kLog.Lines()[0]);
    EXPECT_EQ(BadIndex("RemovePathAt"), kLog.Lines()[1]);
    EXPECT_EQ(BadIndex("ReplacePath"), kLog.Lines()[2]);
    EXPECT_EQ((Texts{"a"}), kMdl.Paths());
}

TEST(MdlFile, PathsAreRemovedAndReplacedInPlace)
{
    Mdl kMdl;
    for (const char* pszPath : {"a", "b", "c"})
    {
        kMdl.AddPath(pszPath);
    }
    EXPECT_EQ(1, kMdl.ReplacePath("last", 2));
    EXPECT_EQ(1, kMdl.ReplacePath("first", 0));
    EXPECT_EQ((Texts{"first", "b", "last"}), kMdl.Paths());
    EXPECT_EQ(1, kMdl.RemovePathAt(1));
    EXPECT_EQ((Texts{"first", "last"}), kMdl.Paths());
    EXPECT_EQ(2, kMdl.GetPathCount());
}

TEST(MdlFile, ReplacePathCopiesThePathAsItStandsAndAddPathDoesNot)
{
    Mdl kMdl;
    kMdl.AddPath("\\a");
    EXPECT_STREQ("a", kMdl.GetPathByIndex(0));
    kMdl.ReplacePath("\\b", 0);
    EXPECT_STREQ("\\b", kMdl.GetPathByIndex(0));
}

TEST(MdlFile, APathOfTheListItselfCanBeAddedAndCanReplaceItself)
{
    Mdl kMdl;
    kMdl.AddPath("abc");
    kMdl.AddPath(kMdl.GetPathByIndex(0));
    kMdl.ReplacePath(kMdl.GetPathByIndex(1) + 1, 1);
    EXPECT_EQ((Texts{"abc", "bc"}), kMdl.Paths());
}

TEST(MdlFile, ClearAllOnAnEmptyListGives1)
{
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.ClearAll());
    kMdl.AddPath("a");
    EXPECT_EQ(1, kMdl.ClearAll());
    EXPECT_EQ(0, kMdl.GetPathCount());
}

TEST(MdlFile, APathHasAtMost259Characters)
{
    Mdl kMdl;
    const std::string strLongest(259, 'x');
    EXPECT_EQ(1, kMdl.AddPath(strLongest.c_str()));
    EXPECT_EQ(1, kMdl.AddPath(("\\" + strLongest).c_str()));
    EXPECT_EQ((Texts{strLongest, strLongest}), kMdl.Paths());
}

TEST(MdlFile, AReadOnlyFileIsWrittenAndCanBeWrittenAfterwards)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.mdl", "old");
    TemporaryFiles::MakeReadOnly(strPath);
    Mdl kMdl;
    kMdl.AddPath("new");
    EXPECT_EQ(1, kMdl.WriteMdlFile(strPath.c_str()));
    EXPECT_EQ("new", TemporaryFiles::Read(strPath).substr(0, 3));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(MdlFile, SetFileReadOnlyClearsTheAttributeAndNeverSetsIt)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.mdl", "");
    Mdl kMdl;
    EXPECT_EQ(1, kMdl.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    TemporaryFiles::MakeReadOnly(strPath);
    EXPECT_EQ(1, kMdl.SetFileReadOnly(strPath.c_str(), 0));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(MdlFile, AListThatCantBeWrittenLogsAndStaysWhole)
{
    const TemporaryFiles kFiles;
    const LogCapture kLog;
    Mdl kMdl;
    kMdl.AddPath("a");
    EXPECT_EQ(0, kMdl.WriteMdlFile(kFiles.Path("none/a.mdl").c_str()));
    EXPECT_EQ(0, kMdl.WriteMdlFile(kFiles.Folder().generic_string().c_str()));
    EXPECT_EQ(0, kMdl.WriteMdlFile(nullptr));
    EXPECT_EQ(Texts(3, CheckLine("VO_PROCESS_ERROR", "pMdlFile", "ZMdlFile::WriteMdlFile")), kLog.Lines());
    EXPECT_EQ((Texts{"a"}), kMdl.Paths());
}

TEST(MdlFile, CopiesShareTheirPathsAndTheLastOneFreesThem)
{
    Mdl kFirst;
    kFirst.AddPath("a");
    kFirst.AddPath("b");
    Mdl kSecond;
    kSecond.AddPath("gone");
    {
        const Mdl kThird(kFirst);
        kSecond = kThird;
    }
    EXPECT_EQ(kFirst.GetPathByIndex(0), kSecond.GetPathByIndex(0));
    EXPECT_EQ(1, kFirst.RemovePathAt(0));
    EXPECT_EQ((Texts{"b"}), kFirst.Paths());
    EXPECT_EQ((Texts{"a", "b"}), kSecond.Paths());
    kFirst.ClearAll();
    EXPECT_EQ((Texts{"a", "b"}), kSecond.Paths());
}

TEST(MdlFile, BuffersOfRandomBytesAreReadAndNothingElse)
{
    Random kRandom(72000);
    const LogCapture kLog;
    for (int i = 0; i < 300; ++i)
    {
        std::string strBytes;
        for (size_t uLeft = kRandom.Below(3000); uLeft > 0; --uLeft)
        {
            static const char s_achOften[] = " \r\n\\/\0";
            // Lines stay short, so that no path meets the bounded copy's limit.
            strBytes.push_back(uLeft % 200 == 0      ? '\n'
                               : kRandom.Percent(20) ? s_achOften[kRandom.Below(6)]
                                                     : static_cast<char>(kRandom.Word()));
        }
        for (const std::string& rkPath : FromBuffer(strBytes))
        {
            ASSERT_EQ(std::string::npos, rkPath.find_first_of(" \r\n"));
        }
    }
}

TEST(MdlFile, ABlockIsExactlyThePathsBytes)
{
    // The list is a derived class's too: it may put blocks of its own there, and nothing behind one is touched.
    static constexpr size_t kPathSize = 260;
    char* const pszBlock = new char[kPathSize + 8]();
    memcpy(pszBlock, "of its own", 11);
    memset(pszBlock + kPathSize, 5, 8);
    Mdl kMdl;
    kMdl.AddPath("first");
    kMdl.m_StrVertor.push_front(pszBlock);
    Mdl kCopy(kMdl);
    EXPECT_EQ(std::string(8, 5), std::string(pszBlock + kPathSize, 8));
    EXPECT_EQ(1, kMdl.RemovePathAt(0));
    EXPECT_EQ(1, kMdl.ReplacePath("other", 0));
    EXPECT_EQ((Texts{"other"}), kMdl.Paths());
    EXPECT_EQ((Texts{"of its own", "first"}), kCopy.Paths());
    EXPECT_EQ(std::string(8, 5), std::string(pszBlock + kPathSize, 8));
}

TEST(MdlFile, AFileEndsAtItsEndMark)
{
    EXPECT_EQ((Texts{"a\n", "b"}), FromFile("a\r\nb\x1A\r\nc\r\n"));
}
