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
        const TemporaryFiles files;
        EXPECT_EQ(1, WriteMdlFile(files.Path("w.mdl").c_str()));
        std::string strBytes = TemporaryFiles::Read(files.Path("w.mdl"));
        strBytes.erase(std::remove(strBytes.begin(), strBytes.end(), '\r'), strBytes.end());
        return strBytes;
    }
};

Texts FromFile(const std::string& strBytes)
{
    const TemporaryFiles files;
    Mdl mdl;
    EXPECT_EQ(1, mdl.OpenMdlFile(files.Write("a.mdl", strBytes).c_str(), false));
    return mdl.Paths();
}

Texts FromBuffer(const std::string& strBytes)
{
    // Nothing is readable behind the text.
    const MisalignedBlock block(Bytes(strBytes.begin(), strBytes.end()), 1);
    Mdl mdl;
    EXPECT_EQ(1, mdl.OpenMdlFileByBuffer(block.As<const char>(), static_cast<int>(strBytes.size())));
    return mdl.Paths();
}

std::string BadIndex(const std::string& strFunction)
{
    return CheckLine("VO_PROCESS_ERROR", "nIndex < m_StrVertor.size()", "ZMdlFile::" + strFunction);
}
}  // namespace

TEST(MdlFile, APathWithABackslashIsWrittenWithOneMoreInFront)
{
    Mdl mdl;
    EXPECT_EQ(1, mdl.AddPath("a\\b"));
    EXPECT_EQ(1, mdl.AddPath("c/d"));
    EXPECT_EQ("\\a\\b\nc/d\n", mdl.Written());
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
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.mdl", "\\a\\b\nc\n");
    Mdl mdl;
    ASSERT_EQ(1, mdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ("\\a\\b\n\nc\n\n", mdl.Written());
    ASSERT_EQ(1, mdl.WriteMdlFile(strPath.c_str()));
    Mdl again;
    ASSERT_EQ(1, again.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"a\\b\n", "\n", "c\n", "\n"}), again.Paths());
}

TEST(MdlFile, OpeningAFileAddsToWhatIsThere)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.mdl", "x\n");
    Mdl mdl;
    mdl.AddPath("first");
    EXPECT_EQ(1, mdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ(1, mdl.OpenMdlFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"first", "x\n", "x\n"}), mdl.Paths());
}

TEST(MdlFile, CreatingEmptiesAnExistingFileAndLeavesTheList)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.mdl", "x\n");
    Mdl mdl;
    mdl.AddPath("kept");
    EXPECT_EQ(1, mdl.OpenMdlFile(strPath.c_str(), true));
    EXPECT_EQ((Texts{"kept"}), mdl.Paths());
    EXPECT_EQ("", TemporaryFiles::Read(strPath));
    EXPECT_EQ(1, mdl.OpenMdlFile(files.Path("new.mdl").c_str(), true));
    EXPECT_EQ("", TemporaryFiles::Read(files.Path("new.mdl")));
}

TEST(MdlFile, AFileThatCantBeOpenedGives0AndALogLine)
{
    const TemporaryFiles files;
    const LogCapture log;
    Mdl mdl;
    EXPECT_EQ(0, mdl.OpenMdlFile(files.Path("none.mdl").c_str(), false));
    EXPECT_EQ(0, mdl.OpenMdlFile(files.Folder().generic_string().c_str(), false));
    EXPECT_EQ(0, mdl.OpenMdlFile(files.Path("none/a.mdl").c_str(), true));
    EXPECT_EQ(0, mdl.OpenMdlFile(nullptr, false));
    EXPECT_EQ(Texts(4, CheckLine("VO_PROCESS_ERROR", "pMdlFile", "ZMdlFile::OpenMdlFile")), log.Lines());
    EXPECT_EQ(0, mdl.GetPathCount());
}

TEST(MdlFileDeathTest, ALineOf259CharactersOrMoreWithItsLineEndEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryFiles files;
    Mdl mdl;
    EXPECT_EQ(1, mdl.OpenMdlFile(files.Write("fits.mdl", std::string(257, 'x') + "\n").c_str(), false));
    EXPECT_DEATH(mdl.OpenMdlFile(files.Write("a.mdl", std::string(258, 'x') + "\n").c_str(), false), "259 characters");
    EXPECT_DEATH(mdl.OpenMdlFile(files.Write("b.mdl", std::string(1000, 'x')).c_str(), false), "259 characters");
    EXPECT_EQ((Texts{std::string(257, 'x') + "\n"}), mdl.Paths());
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
    Mdl mdl;
    EXPECT_EQ(1, mdl.OpenMdlFileByBuffer("", 0));
    EXPECT_EQ(1, mdl.OpenMdlFileByBuffer(nullptr, 5));
    EXPECT_EQ(1, mdl.OpenMdlFileByBuffer("abc", -1));
    EXPECT_EQ(0, mdl.GetPathCount());
}

TEST(MdlFile, ALineOf1024CharactersInABufferStopsTheReadingThere)
{
    const LogCapture log;
    const std::string strTail(1022, 'y');
    EXPECT_EQ((Texts{"a", "b", "c"}), FromBuffer("a\nb " + strTail.substr(1) + "\nc\n"));
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ((Texts{"a"}), FromBuffer("a\n" + std::string(1024, 'x') + "\nc\n"));
    EXPECT_EQ(CheckLine("VO_PROCESS_ERROR", "uLineLength < uLineBufferSize", "ZMdlFile::GetBufferLine"),
              log.Lines().back());
}

TEST(MdlFile, GetBufferLineTakesOneLineAndPassesOverAllLineEndsBehindIt)
{
    Mdl mdl;
    char szBuffer[] = "ab\r\n\n\rcd";
    char* pszAt = szBuffer;
    char szLine[3] = {};
    EXPECT_EQ(1, mdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_STREQ("ab", szLine);
    EXPECT_EQ(szBuffer + 6, pszAt);
    EXPECT_EQ(1, mdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_STREQ("cd", szLine);
    const LogCapture log;
    EXPECT_EQ(0, mdl.GetBufferLine(&pszAt, sizeof(szLine), szLine));
    EXPECT_EQ(szBuffer + 8, pszAt);
    EXPECT_EQ(0u, log.Count());
}

TEST(MdlFile, GetBufferLineLeavesThePointerBeforeALineThatDoesNotFit)
{
    const LogCapture log;
    Mdl mdl;
    char szBuffer[] = "abc\n";
    char* pszAt = szBuffer;
    char szLine[4] = "xyz";
    EXPECT_EQ(0, mdl.GetBufferLine(&pszAt, 3, szLine));
    EXPECT_EQ(szBuffer, pszAt);
    EXPECT_STREQ("xyz", szLine);
    EXPECT_EQ(1u, log.Count());
    EXPECT_EQ(1, mdl.GetBufferLine(&pszAt, 4, szLine));
    EXPECT_STREQ("abc", szLine);
}

TEST(MdlFile, GetBufferLineChecksEachOfItsArguments)
{
    const LogCapture log;
    Mdl mdl;
    char szBuffer[] = "a";
    char* pszAt = szBuffer;
    char* pszNull = nullptr;
    char szLine[4];
    EXPECT_EQ(0, mdl.GetBufferLine(nullptr, 4, szLine));
    EXPECT_EQ(0, mdl.GetBufferLine(&pszNull, 4, szLine));
    EXPECT_EQ(0, mdl.GetBufferLine(&pszAt, 0, szLine));
    EXPECT_EQ(0, mdl.GetBufferLine(&pszAt, 4, nullptr));
    const std::string strFunction = "ZMdlFile::GetBufferLine";
    EXPECT_EQ((Texts{CheckLine("VO_PROCESS_ERROR", "ppszBuffer", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "*ppszBuffer", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "uLineBufferSize > 0", strFunction),
                     CheckLine("VO_PROCESS_ERROR", "szRetLine", strFunction)}),
              log.Lines());
}

TEST(MdlFile, ABadIndexLogsAndLeavesTheListUnchanged)
{
    const LogCapture log;
    Mdl mdl;
    mdl.AddPath("a");
    for (const int nIndex : {-1, 1, INT_MIN, INT_MAX})
    {
        EXPECT_EQ(nullptr, mdl.GetPathByIndex(nIndex));
        EXPECT_EQ(0, mdl.RemovePathAt(nIndex));
        EXPECT_EQ(0, mdl.ReplacePath("b", nIndex));
    }
    EXPECT_EQ(12u, log.Count());
    EXPECT_EQ(BadIndex("GetPathByIndex"), log.Lines()[0]);
    EXPECT_EQ(BadIndex("RemovePathAt"), log.Lines()[1]);
    EXPECT_EQ(BadIndex("ReplacePath"), log.Lines()[2]);
    EXPECT_EQ((Texts{"a"}), mdl.Paths());
}

TEST(MdlFile, PathsAreRemovedAndReplacedInPlace)
{
    Mdl mdl;
    for (const char* pszPath : {"a", "b", "c"})
    {
        mdl.AddPath(pszPath);
    }
    EXPECT_EQ(1, mdl.ReplacePath("last", 2));
    EXPECT_EQ(1, mdl.ReplacePath("first", 0));
    EXPECT_EQ((Texts{"first", "b", "last"}), mdl.Paths());
    EXPECT_EQ(1, mdl.RemovePathAt(1));
    EXPECT_EQ((Texts{"first", "last"}), mdl.Paths());
    EXPECT_EQ(2, mdl.GetPathCount());
}

TEST(MdlFile, ReplacePathCopiesThePathAsItStandsAndAddPathDoesNot)
{
    Mdl mdl;
    mdl.AddPath("\\a");
    EXPECT_STREQ("a", mdl.GetPathByIndex(0));
    mdl.ReplacePath("\\b", 0);
    EXPECT_STREQ("\\b", mdl.GetPathByIndex(0));
}

TEST(MdlFile, APathOfTheListItselfCanBeAddedAndCanReplaceItself)
{
    Mdl mdl;
    mdl.AddPath("abc");
    mdl.AddPath(mdl.GetPathByIndex(0));
    mdl.ReplacePath(mdl.GetPathByIndex(1) + 1, 1);
    EXPECT_EQ((Texts{"abc", "bc"}), mdl.Paths());
}

TEST(MdlFile, ClearAllOnAnEmptyListGives1)
{
    Mdl mdl;
    EXPECT_EQ(1, mdl.ClearAll());
    mdl.AddPath("a");
    EXPECT_EQ(1, mdl.ClearAll());
    EXPECT_EQ(0, mdl.GetPathCount());
}

TEST(MdlFile, APathHasAtMost259Characters)
{
    Mdl mdl;
    const std::string strLongest(259, 'x');
    EXPECT_EQ(1, mdl.AddPath(strLongest.c_str()));
    EXPECT_EQ(1, mdl.AddPath(("\\" + strLongest).c_str()));
    EXPECT_EQ((Texts{strLongest, strLongest}), mdl.Paths());
}

TEST(MdlFile, AReadOnlyFileIsWrittenAndCanBeWrittenAfterwards)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.mdl", "old");
    TemporaryFiles::MakeReadOnly(strPath);
    Mdl mdl;
    mdl.AddPath("new");
    EXPECT_EQ(1, mdl.WriteMdlFile(strPath.c_str()));
    EXPECT_EQ("new", TemporaryFiles::Read(strPath).substr(0, 3));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(MdlFile, SetFileReadOnlyClearsTheAttributeAndNeverSetsIt)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.mdl", "");
    Mdl mdl;
    EXPECT_EQ(1, mdl.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    TemporaryFiles::MakeReadOnly(strPath);
    EXPECT_EQ(1, mdl.SetFileReadOnly(strPath.c_str(), 0));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(MdlFile, AListThatCantBeWrittenLogsAndStaysWhole)
{
    const TemporaryFiles files;
    const LogCapture log;
    Mdl mdl;
    mdl.AddPath("a");
    EXPECT_EQ(0, mdl.WriteMdlFile(files.Path("none/a.mdl").c_str()));
    EXPECT_EQ(0, mdl.WriteMdlFile(files.Folder().generic_string().c_str()));
    EXPECT_EQ(0, mdl.WriteMdlFile(nullptr));
    EXPECT_EQ(Texts(3, CheckLine("VO_PROCESS_ERROR", "pMdlFile", "ZMdlFile::WriteMdlFile")), log.Lines());
    EXPECT_EQ((Texts{"a"}), mdl.Paths());
}

TEST(MdlFile, CopiesShareTheirPathsAndTheLastOneFreesThem)
{
    Mdl first;
    first.AddPath("a");
    first.AddPath("b");
    Mdl second;
    second.AddPath("gone");
    {
        const Mdl third(first);
        second = third;
    }
    EXPECT_EQ(first.GetPathByIndex(0), second.GetPathByIndex(0));
    EXPECT_EQ(1, first.RemovePathAt(0));
    EXPECT_EQ((Texts{"b"}), first.Paths());
    EXPECT_EQ((Texts{"a", "b"}), second.Paths());
    first.ClearAll();
    EXPECT_EQ((Texts{"a", "b"}), second.Paths());
}

TEST(MdlFile, BuffersOfRandomBytesAreReadAndNothingElse)
{
    Random random(72000);
    const LogCapture log;
    for (int i = 0; i < 300; ++i)
    {
        std::string strBytes;
        for (size_t uLeft = random.Below(3000); uLeft > 0; --uLeft)
        {
            static const char s_achOften[] = " \r\n\\/\0";
            // Lines stay short, so that no path meets the bounded copy's limit.
            strBytes.push_back(uLeft % 200 == 0     ? '\n'
                               : random.Percent(20) ? s_achOften[random.Below(6)]
                                                    : static_cast<char>(random.Word()));
        }
        for (const std::string& path : FromBuffer(strBytes))
        {
            ASSERT_EQ(std::string::npos, path.find_first_of(" \r\n"));
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
    Mdl mdl;
    mdl.AddPath("first");
    mdl.m_StrVertor.push_front(pszBlock);
    Mdl copy(mdl);
    EXPECT_EQ(std::string(8, 5), std::string(pszBlock + kPathSize, 8));
    EXPECT_EQ(1, mdl.RemovePathAt(0));
    EXPECT_EQ(1, mdl.ReplacePath("other", 0));
    EXPECT_EQ((Texts{"other"}), mdl.Paths());
    EXPECT_EQ((Texts{"of its own", "first"}), copy.Paths());
    EXPECT_EQ(std::string(8, 5), std::string(pszBlock + kPathSize, 8));
}

TEST(MdlFile, AFileEndsAtItsEndMark)
{
    EXPECT_EQ((Texts{"a\n", "b"}), FromFile("a\r\nb\x1A\r\nc\r\n"));
}
