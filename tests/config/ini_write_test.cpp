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
    Ini ini;
    ini.AddItem(tpSECTION, "[a]");
    ASSERT_NE(nullptr, ini.MakeNewEntry());
    EXPECT_EQ("[a]\r\n", ini.Written());
}

TEST(IniWrite, AReadOnlyFileIsChangedAndIsReadOnlyAfterwards)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "[a]\nx=1\n");
    TemporaryFiles::MakeReadOnly(strPath);
    Ini ini;
    ASSERT_EQ(1, ini.OpenIniFile(strPath.c_str(), false));
    ini.WriteInt("a", "x", 2);
    EXPECT_EQ(1, ini.WriteIniFile(strPath.c_str()));
    EXPECT_EQ("[a]\r\nx=2\r\n", TemporaryFiles::Read(strPath));
    EXPECT_TRUE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(IniWrite, AFileThatCouldBeWrittenStaysSo)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "[a]\n");
    Ini ini("[b]\n");
    EXPECT_EQ(1, ini.WriteIniFile(strPath.c_str()));
    EXPECT_EQ("[b]\r\n", TemporaryFiles::Read(strPath));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
}

TEST(IniWrite, AFileThatCantBeOpenedLosesTheEntriesAndLogs)
{
    const TemporaryFiles files;
    const std::string strFolder = files.Folder().generic_string();
    const std::string strNowhere = files.Path("none/a.ini");
    for (const char* pszPath : {strFolder.c_str(), strNowhere.c_str(), "", static_cast<const char*>(nullptr)})
    {
        Ini ini("[a]\nx=1\n");
        const LogCapture log;
        EXPECT_EQ(0, ini.WriteIniFile(pszPath));
        EXPECT_EQ(nullptr, ini.m_pFirstEntry);
        EXPECT_EQ(nullptr, ini.m_pLastEntry);
        EXPECT_EQ((Texts{"VO_PROCESS_ERROR_FALSE at line # in ZIniFile::WriteIniFile\n"}), log.Lines());
    }
}

TEST(IniWrite, SetFileReadOnlyClearsTheAttributeAndNeverSetsIt)
{
    const TemporaryFiles files;
    const std::string strPath = files.Write("a.ini", "");
    Ini ini;
    EXPECT_EQ(1, ini.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    TemporaryFiles::MakeReadOnly(strPath);
    EXPECT_EQ(1, ini.SetFileReadOnly(strPath.c_str(), 1));
    EXPECT_TRUE(TemporaryFiles::IsReadOnly(strPath));
    EXPECT_EQ(1, ini.SetFileReadOnly(strPath.c_str(), 0));
    EXPECT_FALSE(TemporaryFiles::IsReadOnly(strPath));
    EXPECT_EQ(1, ini.SetFileReadOnly(files.Path("none").c_str(), 0));
}

TEST(IniChange, AnExistingKeyKeepsItsSpellingAndItsComment)
{
    Ini ini("[a]\nNaMe=1 ; note\n");
    ini.WriteString("A", "name", "2");
    EXPECT_EQ((Texts{"s:[a]", "k:NaMe=2; note"}), ini.Lines());
}

TEST(IniChange, ALongOldValueLeavesNothingOfItselfInTheNewLine)
{
    Ini ini("[a]\nk=" + std::string(200, 'v') + ";c\n");
    ini.WriteString("a", "k", "2");
    EXPECT_EQ((Texts{"s:[a]", "k:k=2;c"}), ini.Lines());
}

TEST(IniChange, AnEmptyOrMissingValueIsRefusedAndTheLineStays)
{
    const LogCapture log;
    Ini ini("[a]\nx=1\n");
    ini.WriteString("a", "x", "");
    ini.WriteString("a", "x", nullptr);
    EXPECT_EQ((Texts{"s:[a]", "k:x=1"}), ini.Lines());
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pValue && *pValue", kWriteString);
    EXPECT_EQ((Texts{strLine, strLine}), log.Lines());
}

TEST(IniChange, AnEmptyOrMissingSectionIsRefusedBeforeTheValueIsLookedAt)
{
    const LogCapture log;
    Ini ini("[a]\nx=1\n");
    ini.WriteString("", "x", "");
    ini.WriteString(nullptr, "x", "1");
    EXPECT_EQ((Texts{"s:[a]", "k:x=1"}), ini.Lines());
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pSection && *pSection", kWriteString);
    EXPECT_EQ((Texts{strLine, strLine}), log.Lines());
}

TEST(IniChange, NewKeysStandAtTheStartOfTheirSectionTheNewestFirst)
{
    Ini ini("[m]\nx=1\n[n]\n");
    ini.WriteString("m", "a", "1");
    ini.WriteString("m", "b", "2");
    EXPECT_EQ((Texts{"s:[m]", "k:b=2", "k:a=1", "k:x=1", "s:[n]"}), ini.Lines());
    EXPECT_EQ("[m]\r\nb=2\r\na=1\r\nx=1\r\n\r\n[n]\r\n", ini.Written());
}

TEST(IniChange, ANewSectionStandsAtTheEnd)
{
    Ini ini("[m]\nx=1\n");
    ini.WriteString("New", "Key", "v");
    EXPECT_EQ((Texts{"s:[m]", "k:x=1", "s:[New]", "k:Key=v"}), ini.Lines());
    EXPECT_EQ(ini.Entry("Key=v"), ini.m_pLastEntry);
    Ini empty;
    empty.WriteString("New", "Key", "v");
    EXPECT_EQ((Texts{"s:[New]", "k:Key=v"}), empty.Lines());
}

TEST(IniChange, ANullKeyWritesTheValueAsACommentLine)
{
    Ini ini("[m]\nx=1\n");
    ini.WriteString("m", nullptr, "; remark");
    ini.WriteString("n", nullptr, "; another");
    EXPECT_EQ((Texts{"s:[m]", "c:; remark", "k:x=1", "s:[n]", "c:; another"}), ini.Lines());
}

TEST(IniChange, NumbersAreWrittenInTheirFormats)
{
    Ini ini("[m]\nb=0\ni=0\nd=0\nf=0\n");
    ini.WriteBool("m", "b", 7);
    ini.WriteInt("m", "i", -2147483647 - 1);
    ini.WriteDouble("m", "d", 1.5, nullptr);
    ini.WriteDouble("m", "f", 2.25, "%.1lf");
    EXPECT_EQ((Texts{"s:[m]", "k:b=1", "k:i=-2147483648", "k:d=1.5000000000E+00", "k:f=2.2"}), ini.Lines());
    ini.WriteBool("m", "b", 0);
    EXPECT_EQ(0, ini.ReadBool("m", "b", 1));
}

TEST(IniChange, ADoubleThatDoesNotFitIn31CharactersIsRefusedAndNotCut)
{
    const LogCapture log;
    Ini ini("[m]\nd=0\n");
    ini.WriteDouble("m", "d", 1e300, "%lf");
    EXPECT_EQ((Texts{"s:[m]", "k:d=0"}), ini.Lines());
    EXPECT_EQ(1u, log.Count());
    ini.WriteDouble("m", "d", 1.0, "%031.0lf");
    EXPECT_EQ((Texts{"s:[m]", "k:d=" + std::string(30, '0') + "1"}), ini.Lines());
}

TEST(IniChange, AValueMayComeFromTheObjectItself)
{
    Ini ini("[m]\na=old\nb=new\n");
    ini.WriteString("m", "a", ini.ReadString("m", "b", ""));
    ini.WriteString("m", "b", ini.Entry("a=new")->pszText);
    EXPECT_EQ((Texts{"s:[m]", "k:a=new", "k:b=a=new"}), ini.Lines());
}

TEST(IniChain, MakeNewEntryLinksBehindTheTailAndDoesNotMoveIt)
{
    Ini ini;
    ZENTRY* const pFirst = ini.MakeNewEntry();
    ASSERT_NE(nullptr, pFirst);
    EXPECT_EQ(pFirst, ini.m_pFirstEntry);
    EXPECT_EQ(nullptr, ini.m_pLastEntry);
    EXPECT_EQ(0, pFirst->cType);
    EXPECT_EQ(nullptr, pFirst->pPrev);
    EXPECT_EQ(nullptr, pFirst->pNext);

    Ini other("[m]\na=1\n");
    ZENTRY* const pTail = other.m_pLastEntry;
    ZENTRY* const pEntry = other.MakeNewEntry();
    EXPECT_EQ(pTail, other.m_pLastEntry);
    EXPECT_EQ(pEntry, pTail->pNext);
    EXPECT_EQ(pTail, pEntry->pPrev);
}

TEST(IniChain, AddItemAtLeavesTheBackLinkOfTheEntryBehindAndTheTail)
{
    Ini ini("[m]\na=1\n");
    ZENTRY* const pFirst = ini.m_pFirstEntry;
    ZENTRY* const pSecond = ini.m_pLastEntry;
    EXPECT_EQ(1, ini.AddItemAt(pFirst, tpCOMMENT, ";x"));
    ZENTRY* const pNew = pFirst->pNext;
    EXPECT_STREQ(";x", pNew->pszText);
    EXPECT_EQ(tpCOMMENT, pNew->cType);
    EXPECT_EQ(pFirst, pNew->pPrev);
    EXPECT_EQ(pSecond, pNew->pNext);
    EXPECT_EQ(pFirst, pSecond->pPrev);
    EXPECT_EQ(pSecond, ini.m_pLastEntry);
}

TEST(IniChain, AddItemAtNothingGives0)
{
    Ini ini("[m]\n");
    EXPECT_EQ(0, ini.AddItemAt(nullptr, tpCOMMENT, ";x"));
    EXPECT_EQ(0, ini.AddItemAt(ini.m_pFirstEntry, tpCOMMENT, nullptr));
    EXPECT_EQ(0, ini.AddItem(tpCOMMENT, nullptr));
    EXPECT_EQ((Texts{"s:[m]"}), ini.Lines());
}

TEST(IniChain, ALineAddedBehindTheTailIsUnhookedByTheNextAppend)
{
    Ini ini("[m]\n");
    ini.WriteString("m", "a", "1");
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), ini.Lines());
    EXPECT_EQ(ini.m_pFirstEntry, ini.m_pLastEntry);
    ini.WriteString("n", "b", "2");
    EXPECT_EQ((Texts{"s:[m]", "s:[n]", "k:b=2"}), ini.Lines());
}

TEST(IniChain, DeleteKeyUnlinksFromBothNeighboursAndDoesNotMoveTheTail)
{
    Ini ini("[m]\na=1\nb=2\nc=3\n");
    ZENTRY* const pTail = ini.m_pLastEntry;
    EXPECT_EQ(1, ini.DeleteKey("M", "B"));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1", "k:c=3"}), ini.Lines());
    EXPECT_EQ(ini.Entry("a=1"), pTail->pPrev);
    EXPECT_EQ(1, ini.DeleteKey("m", "c"));
    EXPECT_EQ(pTail, ini.m_pLastEntry);
    EXPECT_EQ(0, ini.DeleteKey("m", "c"));
    EXPECT_EQ(0, ini.DeleteKey("none", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), ini.Lines());
}

TEST(IniChain, AnAppendAfterTheTailWasDeletedGoesToTheEndOfTheChain)
{
    Ini ini("[m]\na=1\nb=2\n");
    EXPECT_EQ(1, ini.DeleteKey("m", "b"));
    ini.WriteString("n", "c", "3");
    EXPECT_EQ((Texts{"s:[m]", "k:a=1", "s:[n]", "k:c=3"}), ini.Lines());
    EXPECT_EQ(ini.Entry("c=3"), ini.m_pLastEntry);
}

TEST(IniChain, DeletingAKeyWhoseBackLinkIsStaleUnhooksTheLinesBetween)
{
    // The new line stands between the section and the key, whose back link still names the section.
    Ini ini("[m]\na=1\nb=2\n");
    ini.WriteString("m", "new", "0");
    EXPECT_EQ(1, ini.DeleteKey("m", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:b=2"}), ini.Lines());
}

TEST(IniChain, NoLinkEverLeadsToADeletedEntry)
{
    // "b=2" keeps its back link to "a=1" when a line is added between them; "a=1" goes first then.
    Ini ini("[m]\na=1\nb=2\nc=3\n");
    ini.AddKey(ini.Entry("a=1"), "new", "0");
    EXPECT_EQ(1, ini.DeleteKey("m", "a"));
    EXPECT_EQ((Texts{"s:[m]", "k:new=0", "k:b=2", "k:c=3"}), ini.Lines());
    EXPECT_EQ(1, ini.DeleteKey("m", "b"));
    EXPECT_EQ(1, ini.DeleteKey("m", "c"));
    EXPECT_EQ("[m]\r\n", ini.Written());
}

TEST(IniChain, DeleteSectionOfAnUnknownNameDoesNothingAndGives1)
{
    Ini ini("[m]\na=1\n");
    EXPECT_EQ(1, ini.DeleteSection("none"));
    EXPECT_EQ(1, ini.DeleteSection(nullptr));
    EXPECT_EQ((Texts{"s:[m]", "k:a=1"}), ini.Lines());
}

TEST(IniChain, DeletingASectionInTheMiddleTakesAllItsLines)
{
    Ini ini("[a]\nx=1\n[b]\ny=2\n;z\n[c]\n");
    EXPECT_EQ(1, ini.DeleteSection("B"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[c]"}), ini.Lines());
    EXPECT_EQ(ini.Entry("x=1"), ini.Entry("[c]")->pPrev);
}

TEST(IniChain, TheLastLineOfADeletedSectionIsTakenOutWithoutBeingFreed)
{
    Ini ini("[a]\nx=1\ny=2\n[b]\n");
    const ZENTRY* const pLast = ini.Entry("y=2");
    EXPECT_EQ(1, ini.DeleteSection("a"));
    EXPECT_STREQ("y=2", pLast->pszText);
}

TEST(IniChain, DeletingTheFirstSectionMakesTheNextOneTheHead)
{
    Ini ini("[a]\nx=1\n[b]\ny=2\n");
    EXPECT_EQ(1, ini.DeleteSection("a"));
    EXPECT_EQ((Texts{"s:[b]", "k:y=2"}), ini.Lines());
    EXPECT_EQ(nullptr, ini.m_pFirstEntry->pPrev);
}

TEST(IniChain, TheLastLineOfTheLastSectionStaysAndBelongsToTheSectionInFront)
{
    Ini ini("[a]\nx=1\n[b]\ny=2\nz=3\n");
    EXPECT_EQ(1, ini.DeleteSection("b"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "k:z=3"}), ini.Lines());
    EXPECT_EQ(3, ini.ReadInt("a", "z", 0));
    EXPECT_EQ("[a]\r\nx=1\r\nz=3\r\n", ini.Written());
}

TEST(IniChain, ALastSectionOfOneLineIsNotDeleted)
{
    Ini ini("[a]\nx=1\n[b]\n");
    EXPECT_EQ(1, ini.DeleteSection("b"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[b]"}), ini.Lines());
    Ini only("[a]\nx=1\n");
    EXPECT_EQ(1, only.DeleteSection("a"));
    EXPECT_EQ((Texts{"k:x=1"}), only.Lines());
}

TEST(IniChain, AddSectionAndKeyAppendsEvenWhatIsThere)
{
    Ini ini("[a]\nx=1\n");
    EXPECT_EQ(1, ini.AddSectionAndKey("a", "x", "2"));
    EXPECT_EQ(1, ini.AddSectionAndKey("b", nullptr, "text"));
    EXPECT_EQ((Texts{"s:[a]", "k:x=1", "s:[a]", "k:x=2", "s:[b]", "c:text"}), ini.Lines());
}

TEST(IniChain, CopiesStandOnOneChainThatLivesUntilTheLastOfThemLetsItGo)
{
    Ini ini("[a]\nx=1\n");
    Ini copy;
    copy.WriteString("gone", "k", "1");
    copy = ini;
    EXPECT_EQ(ini.m_pFirstEntry, copy.m_pFirstEntry);
    EXPECT_EQ(ini.m_pLastEntry, copy.m_pLastEntry);
    EXPECT_EQ(1, ini.DeleteKey("a", "x"));
    ini.FreeAllMem();
    EXPECT_EQ((Texts{"s:[a]"}), copy.Lines());
    copy.WriteString("b", "k", "1");
    EXPECT_EQ((Texts{"s:[a]", "s:[b]", "k:k=1"}), copy.Lines());
    Ini third(copy);
    third = *&third;
    EXPECT_EQ(copy.m_pFirstEntry, third.m_pFirstEntry);
}

TEST(IniChain, FreeMemFreesABlockOfTheRuntime)
{
    Ini ini("[a]\nx=1\n");
    ini.FreeMem(ini.m_pLastEntry->pszText);
    ini.FreeMem(nullptr);
    ini.m_pLastEntry->pszText = nullptr;
    EXPECT_EQ("[a]\r\n", ini.Written());
    EXPECT_EQ(0, ini.ReadInt("a", "x", 0));
}

TEST(IniWrite, ANameThatGoesWithTheEntriesStillGetsItsAttributesBack)
{
    // A folder can't be written, which costs the entries; its name is one of them.
    const TemporaryFiles files;
    const std::string strFolder = files.Path("folder");
    std::filesystem::create_directories(strFolder);
    TemporaryFiles::MakeReadOnly(strFolder);
    const bool bReadOnly = TemporaryFiles::IsReadOnly(strFolder);  // not every system has that of a folder
    Ini ini("[main]\n" + strFolder + "\n");
    const LogCapture log;
    EXPECT_EQ(0, ini.WriteIniFile(ini.Entry(strFolder)->pszText));
    EXPECT_EQ(nullptr, ini.SectionBegin());
    EXPECT_EQ(bReadOnly, TemporaryFiles::IsReadOnly(strFolder));
}
