// Changing an INI file, the exact states of its chain, and writing it.
#include "config/ini_tools.h"

using namespace initest;

namespace
{
const char* const kWriteString = "ZIniFile::WriteString";
}

TEST(IniWrite, AFileComesOutWithCrLfAndOneEmptyLineInFrontOfEachSectionButTheFirst)
{
    EXPECT_EQ("[a]\r\nx=1\r\n;c\r\n\r\n[b]\r\n\r\n[c]\r\ny=2\r\n",
              Ini("[a]\n\nx=1\n;c\n[b]\r\n\n\n\n[c]\ny=2").Written());
}

TEST(IniWrite, WritingTwiceGivesTheSameBytes)
{
    const std::string strOnce = Ini("[a]\nx=1\n[b]\ny=2\n").Written();
    EXPECT_EQ(strOnce, Ini(strOnce).Written());
}

TEST(IniWrite, EntriesNotYetFilledAreLeftOut)
{
    Ini kIni;
    kIni.AddItem(tpSECTION, "[a]");
    ASSERT_NE(nullptr, kIni.MakeNewEntry());
    EXPECT_EQ("[a]\r\n", kIni.Written());
}

TEST(IniWrite, AReadOnlyFileIsChangedAndIsReadOnlyAfterwards)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.ini", "[a]\nx=1\n");
    TemporaryFiles::MakeReadOnly(strPath);
    Ini kIni;
    ASSERT_EQ(1, kIni.OpenIniFile(strPath.c_str(), false));
    kIni.WriteInt("a", "x", 2);
    EXPECT_EQ(1, kIni.WriteIniFile(strPath.c_str()));
    EXPECT_EQ("[a]\r\nx=2\r\n", TemporaryFiles::Read(strPath));
    EXPECT_TRUE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(IniWrite, AFileThatCouldBeWrittenStaysSo)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.ini", "[a]\n");
    Ini kIni("[b]\n");
    EXPECT_EQ(1, kIni.WriteIniFile(strPath.c_str()));
    EXPECT_EQ("[b]\r\n", TemporaryFiles::Read(strPath));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(IniWrite, AFileThatCantBeOpenedLosesTheEntriesAndLogs)
{
    const TemporaryFiles kFiles;
    const std::string strFolder = kFiles.Folder().generic_string();
    const std::string strNowhere = kFiles.Path("none/a.ini");
    for (const char* pszPath : {strFolder.c_str(), strNowhere.c_str(), "", static_cast<const char*>(nullptr)})
    {
        Ini kIni("[a]\nx=1\n");
        const LogCapture kLog;
        EXPECT_EQ(0, kIni.WriteIniFile(pszPath));
        EXPECT_EQ(nullptr, kIni.m_pFirstEntry);
        EXPECT_EQ(nullptr, kIni.m_pLastEntry);
        EXPECT_EQ((Texts{"VO_PROCESS_ERROR_FALSE at line # in ZIniFile::WriteIniFile\n"}), kLog.Lines());
    }
}

TEST(IniWrite, SetFileReadOnlyClearsTheAttributeAndNeverSetsIt)
{
    const TemporaryFiles kFiles;
    const std::string strPath = kFiles.Write("a.ini", "");
    Ini kIni;
    EXPECT_EQ(1, kIni.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    TemporaryFiles::MakeReadOnly(strPath);
    EXPECT_EQ(1, kIni.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_TRUE(TemporaryFiles::IsReadOnly(strPath));
    EXPECT_EQ(1, kIni.SetFileReadOnly(strPath.c_str(), 0));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    EXPECT_EQ(1, kIni.SetFileReadOnly(kFiles.Path("none").c_str(), 0));
}

TEST(IniChange, AnExistingKeyKeepsItsSpellingAndItsComment)
{
    Ini kIni("[a]\nNaMe=1 ; note\n");
    kIni.WriteString("A", "name", "2");
    EXPECT_EQ((Texts{"s:[a]", "k:NaMe=2; note"}), kIni.Lines());
}

TEST(IniChange, ALongOldValueLeavesNothingOfItselfInTheNewLine)
{
    Ini kIni("[a]\nk=" + std::string(200, 'v') + ";c\n");
    kIni.WriteString("a", "k", "2");
    EXPECT_EQ((Texts{"s:[a]", "k:k=2;c"}), kIni.Lines());
}

TEST(IniChange, AnEmptyOrMissingValueIsRefusedAndTheLineStays)
{
    const LogCapture kLog;
    Ini kIni("[a]\nx=1\n");
    kIni.WriteString("a", "x", "");
    kIni.WriteString("a", "x", nullptr);
    EXPECT_EQ((Texts{"s:[a]", "k:x=1"}), kIni.Lines());
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pValue && *pValue", kWriteString);
    EXPECT_EQ((Texts{strLine, strLine}), kLog.Lines());
}

TEST(IniChange, AnEmptyOrMissingSectionIsRefusedBeforeTheValueIsLookedAt)
{
    const LogCapture kLog;
    Ini kIni("[a]\nx=1\n");
    kIni.WriteString("", "x", "");
    kIni.WriteString(nullptr, "x", "1");
    EXPECT_EQ((Texts{"s:[a]", "k:x=1"}), kIni.Lines());
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pSection && *pSection", kWriteString);
    EXPECT_EQ((Texts{strLine, strLine}), kLog.Lines());
}

TEST(IniChange, NewKeysStandAtTheStartOfTheirSectionTheNewestFirst)
{
    Ini kIni("[m]\nx=1\n[n]\n");
    kIni.WriteString("m", "a", "1");
    kIni.WriteString("m", "b", "2");
    EXPECT_EQ((Texts{"s:[m]", "k:b=2", "k:a=1", "k:x=1", "s:[n]"}), kIni.Lines());
    EXPECT_EQ("[m]\r\nb=2\r\na=1\r\nx=1\r\n\r\n[n]\r\n", kIni.Written());
}

TEST(IniChange, ANewSectionStandsAtTheEnd)
{
    Ini kIni("[m]\nx=1\n");
    kIni.WriteString("New", "Key", "v");
    EXPECT_EQ((Texts{"s:[m]", "k:x=1", "s:[New]", "k:Key=v"}), kIni.Lines());
    EXPECT_EQ(kIni.Entry("Key=v"), kIni.m_pLastEntry);
    Ini kEmpty;
    kEmpty.WriteString("New", "Key", "v");
    EXPECT_EQ((Texts{"s:[New]", "k:Key=v"}), kEmpty.Lines());
}

TEST(IniChange, ANullKeyWritesTheValueAsACommentLine)
{
    Ini kIni("[m]\nx=1\n");
    kIni.WriteString("m", nullptr, "; remark");
    kIni.WriteString("n", nullptr, "; another");
    EXPECT_EQ((Texts{"s:[m]", "c:; remark", "k:x=1", "s:[n]", "c:; another"}), kIni.Lines());
}

TEST(IniChange, NumbersAreWrittenInTheirFormats)
{
    Ini kIni("[m]\nb=0\ni=0\nd=0\nf=0\n");
    kIni.WriteBool("m", "b", 7);
    kIni.WriteInt("m", "i", -2147483647 - 1);
    kIni.WriteDouble("m", "d", 1.5, nullptr);
    kIni.WriteDouble("m", "f", 2.25, "%.1lf");
    EXPECT_EQ((Texts{"s:[m]", "k:b=1", "k:i=-2147483648", "k:d=1.5000000000E+00", "k:f=2.2"}), kIni.Lines());
    kIni.WriteBool("m", "b", 0);
    EXPECT_EQ(0, kIni.ReadBool("m", "b", 1));
}

TEST(IniChange, ADoubleThatDoesNotFitIn31CharactersIsRefusedAndNotCut)
{
    const LogCapture kLog;
    Ini kIni("[m]\nd=0\n");
    kIni.WriteDouble("m", "d", 1e300, "%lf");
    EXPECT_EQ((Texts{"s:[m]", "k:d=0"}), kIni.Lines());
    EXPECT_EQ(1u, kLog.Count());
    kIni.WriteDouble("m", "d", 1.0, "%031.0lf");
    EXPECT_EQ((Texts{"s:[m]", "k:d=" + std::string(30, '0') + "1"}), kIni.Lines());
}

TEST(IniChange, AValueMayComeFromTheObjectItself)
{
    Ini kIni("[m]\na=old\nb=new\n");
    kIni.WriteString("m", "a", kIni.ReadString("m", "b", ""));
    kIni.WriteString("m", "b", kIni.Entry("a=new")->pszText);
    EXPECT_EQ((Texts{"s:[m]", "k:a=new", "k:b=a=new"}), kIni.Lines());
}

TEST(IniChain, MakeNewEntryLinksBehindTheTailAndDoesNotMoveIt)
{
    Ini kIni;
    ZENTRY* const pFirst = kIni.MakeNewEntry();
    ASSERT_NE(nullptr, pFirst);
    EXPECT_EQ(pFirst, kIni.m_pFirstEntry);
    EXPECT_EQ(nullptr, kIni.m_pLastEntry);
    EXPECT_EQ(0, pFirst->cType);
    EXPECT_EQ(nullptr, pFirst->pPrev);
    EXPECT_EQ(nullptr, pFirst->pNext);

    Ini kOther("[m]\na=1\n");
    ZENTRY* const pTail = kOther.m_pLastEntry;
    ZENTRY* const pEntry = kOther.MakeNewEntry();
    EXPECT_EQ(pTail, kOther.m_pLastEntry);
    EXPECT_EQ(pEntry, pTail->pNext);
    EXPECT_EQ(pTail, pEntry->pPrev);
}

TEST(IniChain, AddItemAtLeavesTheBackLinkOfTheEntryBehindAndTheTail)
{
    Ini kIni("[m]\na=1\n");
    ZENTRY* const pFirst = kIni.m_pFirstEntry;
    ZENTRY* const pSecond = kIni.m_pLastEntry;
    EXPECT_EQ(1, kIni.AddItemAt(pFirst, tpCOMMENT, ";x"));
    ZENTRY* const pNew = pFirst->pNext;
    EXPECT_STREQ(";x", pNew->pszText);
    EXPECT_EQ(tpCOMMENT, pNew->cType);
    EXPECT_EQ(pFirst, pNew->pPrev);
    EXPECT_EQ(pSecond, pNew->pNext);
    EXPECT_EQ(pFirst, pSecond->pPrev);
    EXPECT_EQ(pSecond, kIni.m_pLastEntry);
}

TEST(IniChain, AddItemAtNothingGives0)
{
    Ini kIni("[m]\n");
    EXPECT_EQ(0, kIni.AddItemAt(nullptr, tpCOMMENT, ";x"));
    EXPECT_EQ(0, kIni.AddItemAt(kIni.m_pFirstEntry, tpCOMMENT, nullptr));
    EXPECT_EQ(0, kIni.AddItem(tpCOMMENT, nullptr));
    EXPECT_EQ((Texts{"s:[m]"}), kIni.Lines());
}

TEST(IniChain, ALineAddedBehindTheTailIsUnhookedByTheNextAppend)
{
    Ini kIni("[m]\n");
    kIni.WriteString("m", "a", "1");
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), kIni.Lines());
    EXPECT_EQ(kIni.m_pFirstEntry, kIni.m_pLastEntry);
    kIni.WriteString("n", "b", "2");
    EXPECT_EQ((Texts{"s:[m]", "s:[n]", "k:b=2"}), kIni.Lines());
}

TEST(IniChain, DeleteKeyUnlinksFromBothNeighboursAndDoesNotMoveTheTail)
{
    Ini kIni("[m]\na=1\nb=2\nc=3\n");
    ZENTRY* const pTail = kIni.m_pLastEntry;
    EXPECT_EQ(1, kIni.DeleteKey("M", "B"));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1", "k:c=3"}), kIni.Lines());
    EXPECT_EQ(kIni.Entry("a=1"), pTail->pPrev);
    EXPECT_EQ(1, kIni.DeleteKey("m", "c"));
    EXPECT_EQ(pTail, kIni.m_pLastEntry);
    EXPECT_EQ(0, kIni.DeleteKey("m", "c"));
    EXPECT_EQ(0, kIni.DeleteKey("none", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), kIni.Lines());
}

TEST(IniChain, AnAppendAfterTheTailWasDeletedGoesToTheEndOfTheChain)
{
    Ini kIni("[m]\na=1\nb=2\n");
    EXPECT_EQ(1, kIni.DeleteKey("m", "b"));
    kIni.WriteString("n", "c", "3");
    EXPECT_EQ((Texts{"s:[m]", "k:a=1", "s:[n]", "k:c=3"}), kIni.Lines());
    EXPECT_EQ(kIni.Entry("c=3"), kIni.m_pLastEntry);
}

TEST(IniChain, DeletingAKeyWhoseBackLinkIsStaleUnhooksTheLinesBetween)
{
    // The new line stands between the section and the key, whose back link still names the section.
    Ini kIni("[m]\na=1\nb=2\n");
    kIni.WriteString("m", "new", "0");
    EXPECT_EQ(1, kIni.DeleteKey("m", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:b=2"}), kIni.Lines());
}

TEST(IniChain, NoLinkEverLeadsToADeletedEntry)
{
    // "b=2" keeps its back link to "a=1" when a line is added between them; "a=1" goes first then.
    Ini kIni("[m]\na=1\nb=2\nc=3\n");
    kIni.AddKey(kIni.Entry("a=1"), "new", "0");
    EXPECT_EQ(1, kIni.DeleteKey("m", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:new=0", "k:b=2", "k:c=3"}), kIni.Lines());
    EXPECT_EQ(1, kIni.DeleteKey("m", "b"));
    EXPECT_EQ(1, kIni.DeleteKey("m", "c"));
    EXPECT_EQ("[m]\r\n", kIni.Written());
}

TEST(IniChain, DeleteSectionOfAnUnknownNameDoesNothingAndGives1)
{
    Ini kIni("[m]\na=1\n");
    EXPECT_EQ(1, kIni.DeleteSection("none"));
    EXPECT_EQ(1, kIni.DeleteSection(nullptr));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), kIni.Lines());
}

TEST(IniChain, DeletingASectionInTheMiddleTakesAllItsLines)
{
    Ini kIni("[a]\nx=1\n[b]\ny=2\n;z\n[c]\n");
    EXPECT_EQ(1, kIni.DeleteSection("B"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[c]"}), kIni.Lines());
    EXPECT_EQ(kIni.Entry("x=1"), kIni.Entry("[c]")->pPrev);
}

TEST(IniChain, TheLastLineOfADeletedSectionIsTakenOutWithoutBeingFreed)
{
    Ini kIni("[a]\nx=1\ny=2\n[b]\n");
    const ZENTRY* const pLast = kIni.Entry("y=2");
    EXPECT_EQ(1, kIni.DeleteSection("a"));
    EXPECT_STREQ("y=2", pLast->pszText);
}

TEST(IniChain, DeletingTheFirstSectionMakesTheNextOneTheHead)
{
    Ini kIni("[a]\nx=1\n[b]\ny=2\n");
    EXPECT_EQ(1, kIni.DeleteSection("a"));
    EXPECT_EQ((Texts{"s:[b]", "k:y=2"}), kIni.Lines());
    EXPECT_EQ(nullptr, kIni.m_pFirstEntry->pPrev);
}

TEST(IniChain, TheLastLineOfTheLastSectionStaysAndBelongsToTheSectionInFront)
{
    Ini kIni("[a]\nx=1\n[b]\ny=2\nz=3\n");
    EXPECT_EQ(1, kIni.DeleteSection("b"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "k:z=3"}), kIni.Lines());
    EXPECT_EQ(3, kIni.ReadInt("a", "z", 0));
    EXPECT_EQ("[a]\r\nx=1\r\nz=3\r\n", kIni.Written());
}

TEST(IniChain, ALastSectionOfOneLineIsNotDeleted)
{
    Ini kIni("[a]\nx=1\n[b]\n");
    EXPECT_EQ(1, kIni.DeleteSection("b"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[b]"}), kIni.Lines());
    Ini kOnly("[a]\nx=1\n");
    EXPECT_EQ(1, kOnly.DeleteSection("a"));
    EXPECT_EQ((Texts{"k:x=1"}), kOnly.Lines());
}

TEST(IniChain, AddSectionAndKeyAppendsEvenWhatIsThere)
{
    Ini kIni("[a]\nx=1\n");
    EXPECT_EQ(1, kIni.AddSectionAndKey("a", "x", "2"));
    EXPECT_EQ(1, kIni.AddSectionAndKey("b", nullptr, "text"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[a]", "k:x=2", "s:[b]", "c:text"}), kIni.Lines());
}

TEST(IniChain, CopiesStandOnOneChainThatLivesUntilTheLastOfThemLetsItGo)
{
    Ini kIni("[a]\nx=1\n");
    Ini kCopy;
    kCopy.WriteString("gone", "k", "1");
    kCopy = kIni;
    EXPECT_EQ(kIni.m_pFirstEntry, kCopy.m_pFirstEntry);
    EXPECT_EQ(kIni.m_pLastEntry, kCopy.m_pLastEntry);
    EXPECT_EQ(1, kIni.DeleteKey("a", "x"));
    kIni.FreeAllMem();
    EXPECT_EQ((Texts{"s:[a]"}), kCopy.Lines());
    kCopy.WriteString("b", "k", "1");
    EXPECT_EQ((Texts{"s:[a]", "s:[b]", "k:k=1"}), kCopy.Lines());
    Ini kThird(kCopy);
    kThird = *&kThird;
    EXPECT_EQ(kCopy.m_pFirstEntry, kThird.m_pFirstEntry);
}

TEST(IniChain, FreeMemFreesABlockOfTheRuntime)
{
    Ini kIni("[a]\nx=1\n");
    kIni.FreeMem(kIni.m_pLastEntry->pszText);
    kIni.FreeMem(nullptr);
    kIni.m_pLastEntry->pszText = nullptr;
    EXPECT_EQ("[a]\r\n", kIni.Written());
    EXPECT_EQ(0, kIni.ReadInt("a", "x", 0));
}

TEST(IniWrite, ANameThatGoesWithTheEntriesStillGetsItsAttributesBack)
{
    // A folder can't be written, which costs the entries; its name is one of them.
    const TemporaryFiles kFiles;
    const std::string strFolder = kFiles.Path("folder");
    std::filesystem::create_directories(strFolder);
    TemporaryFiles::MakeReadOnly(strFolder);
    const bool bReadOnly = TemporaryFiles::IsReadOnly(strFolder);  // not every system has that of a folder
    Ini kIni("[main]\n" + strFolder + "\n");
    const LogCapture kLog;
    EXPECT_EQ(0, kIni.WriteIniFile(kIni.Entry(strFolder)->pszText));
    EXPECT_EQ(nullptr, kIni.SectionBegin());
    EXPECT_EQ(bReadOnly, TemporaryFiles::IsReadOnly(strFolder));
}
