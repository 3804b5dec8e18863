// Reading an INI file: what becomes an entry, what is refused, and what is found.
#include "config/ini_tools.h"
#include "support/random.h"
#include "support/stdout_capture.h"

using namespace initest;

namespace
{
// What OpenIniFile gives for a file of these bytes, and what it prints.
struct Opened
{
    explicit Opened(const std::string& strBytes)
    {
        const TemporaryFiles kFiles;
        strPath = kFiles.Write("a.ini", strBytes);
        const LogCapture kLog;
        StdoutCapture kStdout;
        nResult = kIni.OpenIniFile(strPath.c_str(), true);
        strPrinted = kStdout.Text();
        uLogLines = kLog.Count();
    }

    Ini kIni;
    std::string strPath;
    int nResult = -1;
    std::string strPrinted;
    size_t uLogLines = 0;
};

// The refusal of a first line, in the bytes of the GBK code page.
std::string Refusal(const std::string& strPath)
{
    return strPath +
           "\xD3\xD0\xCE\xCA\xCC\xE2\xA3\xAC\xC7\xEB\xC8\xB7\xC8\xCF\xB5\xDA\xD2\xBB\xD0\xD0\xD3\xD0[section]";
}
}  // namespace

TEST(IniOpen, EachLineBecomesAnEntryOfItsKind)
{
    const Ini kIni("[main]\nname=1\n; a remark\njust text\n[other]\n");
    EXPECT_EQ((Texts{"s:[main]", "k:name=1", "c:; a remark", "c:just text", "s:[other]"}), kIni.Lines());
}

TEST(IniOpen, EntriesAreLinkedBothWaysAndTheLastOneIsTheTail)
{
    const Ini kIni("[main]\na=1\nb=2\n");
    EXPECT_EQ(nullptr, kIni.m_pFirstEntry->pPrev);
    EXPECT_EQ(kIni.m_pFirstEntry, kIni.Entry("a=1")->pPrev);
    EXPECT_EQ(kIni.Entry("a=1"), kIni.Entry("b=2")->pPrev);
    EXPECT_EQ(kIni.Entry("b=2"), kIni.m_pLastEntry);
    EXPECT_EQ(nullptr, kIni.m_pLastEntry->pNext);
}

TEST(IniOpen, AByteOrderMarkInFrontOfTheFirstSectionIsGone)
{
    const Ini kIni("\xEF\xBB\xBF[main]\r\na=1\r\n");
    EXPECT_EQ((Texts{"s:[main]", "k:a=1"}), kIni.Lines());
}

TEST(IniOpen, AllThatStandsInFrontOfTheFirstBracketOfTheFirstLineIsDropped)
{
    EXPECT_EQ((Texts{"s:[main]x", "k:a=1"}), Ini(";junk=[main]x\na=1\n").Lines());
    EXPECT_EQ((Texts{"s:[main]"}), Ini(std::string("a\0b[main]\n", 10)).Lines());
}

TEST(IniOpen, AnEmptyFileOpensAndHasNoEntries)
{
    Opened kOpened("");
    EXPECT_EQ(1, kOpened.nResult);
    EXPECT_EQ(nullptr, kOpened.kIni.SectionBegin());
    EXPECT_EQ(nullptr, kOpened.kIni.m_pLastEntry);
    EXPECT_EQ("", kOpened.strPrinted);
    EXPECT_EQ(0u, kOpened.uLogLines);
}

TEST(IniOpen, AFirstLineWithoutABracketIsRefusedWithItsTextInGbk)
{
    for (const char* pszBytes :
         {"key=value\n[main]\n", "\n[main]\n", "\r\n[main]\r\n", "ab\rc[main]\n", "key=value", "x"})
    {
        Opened kOpened(pszBytes);
        EXPECT_EQ(0, kOpened.nResult) << pszBytes;
        EXPECT_EQ(Refusal(kOpened.strPath), kOpened.strPrinted) << pszBytes;
        EXPECT_EQ(0u, kOpened.uLogLines) << pszBytes;
        EXPECT_EQ(nullptr, kOpened.kIni.SectionBegin()) << pszBytes;
    }
}

TEST(IniOpen, AFirstLineOf254CharactersWithoutABracketIsRefused)
{
    Opened kOpened(std::string(254, 'x') + "[main]\n");
    EXPECT_EQ(0, kOpened.nResult);
    EXPECT_EQ(Refusal(kOpened.strPath), kOpened.strPrinted);
}

TEST(IniOpen, TheFirstLineMayEndTheFileWithoutALineEnd)
{
    EXPECT_EQ((Texts{"s:[main]"}), Ini("[main]").Lines());
}

TEST(IniOpen, AnEmptyLineGivesNoEntry)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1", "s:[b]"}), Ini("[main]\n\n\na=1\r\n\r\n[b]\n\n").Lines());
}

TEST(IniOpen, LineEndsMayBeLfOrCrLf)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1", "k:b=2"}), Ini("[main]\r\na=1\nb=2\r\n").Lines());
}

TEST(IniOpen, OneCrAtTheEndOfALineIsRemovedAndNoOther)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1", "k:b\r=2"}), Ini("[main]\na=1\r\r\nb\r=2\n").Lines());
}

TEST(IniOpen, ALineOfMoreThan254CharactersIsCutAndItsRestIsALineOfItsOwn)
{
    const std::string strKey = "k=" + std::string(252, 'v');
    EXPECT_EQ((Texts{"s:[main]", "k:" + strKey, "c:rest"}), Ini("[main]\n" + strKey + "rest\n").Lines());
    EXPECT_EQ((Texts{"s:[main]", "k:" + strKey, "k:b=1"}), Ini("[main]\n" + strKey + "\nb=1\n").Lines());
    EXPECT_EQ((Texts{"s:[main]", "k:" + strKey, "k:b=1"}), Ini("[main]\r\n" + strKey + "\r\nb=1\r\n").Lines());
    EXPECT_EQ((Texts{"s:[main]", "c:" + std::string(254, ';'), "s:[x]"}),
              Ini("[main]\n" + std::string(254, ';') + "[x]\n").Lines());
}

TEST(IniOpen, ALineIsClassifiedByWhatStandsInFrontOfItsFirstSemicolon)
{
    EXPECT_EQ((Texts{"s:[main]", "c:;[a]", "c:x;=1", "k:[x=1;]", "k:k=v;[s]", "s:[s];k=v"}),
              Ini("[main]\n;[a]\nx;=1\n[x=1;]\nk=v;[s]\n[s];k=v\n").Lines());
}

TEST(IniOpen, BracketsMakeASectionInAnyOrderAndAnywhere)
{
    EXPECT_EQ((Texts{"s:[main]", "s:]x[", "s:path=a[1]", "c:[x", "k:[x=1"}),
              Ini("[main]\n]x[\npath=a[1]\n[x\n[x=1\n").Lines());
}

TEST(IniOpen, NothingIsTrimmed)
{
    EXPECT_EQ((Texts{"s:[ main ]", "k:  a = 1  "}), Ini("[ main ]\n  a = 1  \n").Lines());
}

TEST(IniOpen, TextBehindAZeroByteIsNotSeen)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1"}), Ini(std::string("[main]\na=1\0b\n\0c\n", 17)).Lines());
}

TEST(IniOpen, WhatTheObjectHeldIsGoneWhateverComesOfTheFile)
{
    const LogCapture kLog;
    const TemporaryFiles kFiles;
    for (const std::string& strPath : {kFiles.Path("none.ini"), std::string(), kFiles.Write("b.ini", "no bracket\n")})
    {
        Ini kIni("[main]\na=1\n");
        StdoutCapture kStdout;
        EXPECT_EQ(0, kIni.OpenIniFile(strPath.c_str(), false));
        EXPECT_EQ(nullptr, kIni.m_pFirstEntry);
        EXPECT_EQ(nullptr, kIni.m_pLastEntry);
    }
    Ini kIni("[main]\na=1\n");
    EXPECT_EQ(1, kIni.OpenIniFile(kFiles.Write("c.ini", "[c]\n").c_str(), false));
    EXPECT_EQ((Texts{"s:[c]"}), kIni.Lines());
}

TEST(IniOpen, AMissingNameFailsItsCheck)
{
    const LogCapture kLog;
    Ini kIni;
    EXPECT_EQ(0, kIni.OpenIniFile(nullptr, false));
    EXPECT_EQ(0, kIni.OpenIniFile("", false));
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pFileName && pFileName[0]", "ZIniFile::OpenIniFile");
    EXPECT_EQ((Texts{strLine, strLine}), kLog.Lines());
}

TEST(IniOpen, AFileThatIsMissingOrAFolderFailsItsCheck)
{
    const LogCapture kLog;
    const TemporaryFiles kFiles;
    Ini kIni;
    EXPECT_EQ(0, kIni.OpenIniFile(kFiles.Path("none.ini").c_str(), false));
    EXPECT_EQ(0, kIni.OpenIniFile(kFiles.Folder().generic_string().c_str(), false));
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pIniFile", "ZIniFile::OpenIniFile");
    EXPECT_EQ((Texts{strLine, strLine}), kLog.Lines());
}

TEST(IniOpen, APathMayHaveBackslashes)
{
    const TemporaryFiles kFiles;
    std::string strPath = kFiles.Write("a.ini", "[main]\n");
    const size_t uSlash = strPath.rfind('/');
    strPath[uSlash] = '\\';
    Ini kIni;
    EXPECT_EQ(1, kIni.OpenIniFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"s:[main]"}), kIni.Lines());
}

TEST(IniOpen, FilesOfRandomBytesAreReadOrRefusedAndNothingElse)
{
    Random kRandom(71000);
    for (int i = 0; i < 200; ++i)
    {
        std::string strBytes = kRandom.Percent(70) ? "[" : "";
        for (size_t uLeft = kRandom.Below(2000); uLeft > 0; --uLeft)
        {
            static const char s_achOften[] = "[]=;\r\n\0 ";
            strBytes.push_back(kRandom.Percent(40) ? s_achOften[kRandom.Below(sizeof(s_achOften))]
                                                   : static_cast<char>(kRandom.Word()));
        }
        // A byte that ends text on one of the systems.
        std::replace(strBytes.begin(), strBytes.end(), '\x1A', 'z');
        const TemporaryFiles kFiles;
        const std::string strPath = kFiles.Write("r.ini", strBytes);
        StdoutCapture kStdout;
        Ini kIni;
        const int nResult = kIni.OpenIniFile(strPath.c_str(), false);
        EXPECT_EQ(nResult == 0, kStdout.Text() == Refusal(strPath));
        for (const ZENTRY* pEntry = kIni.m_pFirstEntry; pEntry != nullptr; pEntry = pEntry->pNext)
        {
            ASSERT_LE(strlen(pEntry->pszText), 254u);
            ASSERT_TRUE(pEntry->cType >= tpSECTION && pEntry->cType <= tpCOMMENT);
        }
    }
}

TEST(IniFind, SectionAndKeyNamesAreComparedWithoutCase)
{
    Ini kIni("[MAIN]\nkey=1\n[other]\nkey=2\n");
    EXPECT_EQ(kIni.m_pFirstEntry, kIni.FindSection("Main"));
    EXPECT_EQ(1, kIni.ReadInt("Main", "Key", 0));
    EXPECT_EQ(2, kIni.ReadInt("OTHER", "KEY", 0));
}

TEST(IniFind, OnlyTheLettersOfAsciiHaveACase)
{
    Ini kIni("[m\xE4in]\nk\xE4y=1\n[@`{]\n");
    EXPECT_NE(nullptr, kIni.FindSection("M\xE4IN"));
    EXPECT_EQ(nullptr, kIni.FindSection("M\xC4IN"));
    EXPECT_EQ(nullptr, kIni.FindSection("`@["));
    EXPECT_NE(nullptr, kIni.FindSection("@`{"));
}

TEST(IniFind, ASectionIsFoundByItsWholeTextOnly)
{
    Ini kIni("[main] ; remark\n[ma]\n[main]x\n[]\n[main]\n");
    EXPECT_EQ(kIni.Entry("[main]"), kIni.FindSection("main"));
    EXPECT_EQ(kIni.Entry("[]"), kIni.FindSection(""));
    EXPECT_EQ(nullptr, kIni.FindSection("mai"));
    EXPECT_EQ(nullptr, kIni.FindSection("main] ; remar"));
    EXPECT_EQ(nullptr, kIni.FindSection(nullptr));
}

TEST(IniFind, TheFirstOfTwoSectionsOfOneNameWins)
{
    Ini kIni("[a]\nx=1\n[a]\ny=2\n");
    EXPECT_EQ(kIni.m_pFirstEntry, kIni.FindSection("a"));
    EXPECT_EQ(7, kIni.ReadInt("a", "y", 7));
}

TEST(IniFind, AKeyIsFoundWithWhatItsLineHolds)
{
    Ini kIni("[main]\nfirst=x\nNaMe=some=thing ;remark; more\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(1, kIni.FindKey("main", "name", &kFind));
    EXPECT_EQ(kIni.m_pFirstEntry, kFind.pSectionEntry);
    EXPECT_EQ(kIni.m_pLastEntry, kFind.pKeyEntry);
    EXPECT_STREQ("NaMe", kFind.szKey);
    EXPECT_STREQ("some=thing ", kFind.szValue);
    EXPECT_STREQ(";remark; more", kFind.szComment);
}

TEST(IniFind, AMissingSectionNullsThePointersAndLeavesTheTexts)
{
    Ini kIni("[main]\na=1\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(0, kIni.FindKey("other", "a", &kFind));
    EXPECT_EQ(nullptr, kFind.pSectionEntry);
    EXPECT_EQ(nullptr, kFind.pKeyEntry);
    EXPECT_EQ('x', kFind.szKey[0]);
    EXPECT_EQ('x', kFind.szValue[0]);
    EXPECT_EQ('x', kFind.szComment[0]);
}

TEST(IniFind, ASectionThatIsTheLastEntryHasNoKeysAndEmptiesTheTexts)
{
    Ini kIni("[main]\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(0, kIni.FindKey("main", "a", &kFind));
    EXPECT_EQ(kIni.m_pFirstEntry, kFind.pSectionEntry);
    EXPECT_EQ(nullptr, kFind.pKeyEntry);
    EXPECT_STREQ("", kFind.szKey);
    EXPECT_STREQ("", kFind.szValue);
    EXPECT_STREQ("", kFind.szComment);
}

TEST(IniFind, AFailedSearchHoldsWhatTheLastLineItLookedAtHeld)
{
    Ini kIni("[main]\na=1 ;one\nb=2 ;two\n;three\n[other]\nc=3\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(0, kIni.FindKey("main", "none", &kFind));
    EXPECT_EQ(nullptr, kFind.pKeyEntry);
    EXPECT_STREQ("b", kFind.szKey);
    EXPECT_STREQ("", kFind.szValue);
    EXPECT_STREQ(";two", kFind.szComment);
}

TEST(IniFind, ALineWithoutACommentLeavesNoneOfTheLineInFrontOfIt)
{
    Ini kIni("[main]\na=1 ;one\nb=2\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(1, kIni.FindKey("main", "b", &kFind));
    EXPECT_STREQ("", kFind.szComment);
}

TEST(IniFind, KeysOfASectionEndAtTheNextSectionEntry)
{
    Ini kIni("[main]\na=1\npath=a[1]\nb=2\n[other]\nc=3\n");
    EXPECT_EQ(1, kIni.ReadInt("main", "a", 0));
    EXPECT_EQ(0, kIni.ReadInt("main", "b", 0));
    EXPECT_EQ(0, kIni.ReadInt("main", "path", 0));
    EXPECT_EQ(0, kIni.ReadInt("main", "c", 0));
}

TEST(IniFind, BlanksAroundTheEqualsSignBelongToKeyAndValue)
{
    Ini kIni("[main]\nname = value\n");
    EXPECT_STREQ("none", kIni.ReadString("main", "name", "none"));
    EXPECT_STREQ(" value", kIni.ReadString("main", "name ", "none"));
}

TEST(IniFind, TheFirstOfTwoEqualKeysWins)
{
    Ini kIni("[main]\na=1\nA=2\n");
    EXPECT_EQ(1, kIni.ReadInt("main", "a", 0));
}

TEST(IniFind, AKeyIsComparedInFull)
{
    Ini kIni("[main]\nabc=1\n=2\n");
    EXPECT_EQ(0, kIni.ReadInt("main", "ab", 0));
    EXPECT_EQ(0, kIni.ReadInt("main", "abcd", 0));
    EXPECT_EQ(0, kIni.ReadInt("main", "abc=1", 0));
    EXPECT_EQ(2, kIni.ReadInt("main", "", 0));
}

TEST(IniFind, AValueOfMoreThan127CharactersRunsOnIntoTheRoomOfTheComment)
{
    const std::string strValue(240, 'v');
    Ini kIni("[main]\nk=" + strValue + ";c\n");
    tgEFIND kFind = UsedFind();
    ASSERT_EQ(1, kIni.FindKey("main", "k", &kFind));
    EXPECT_EQ(strValue.substr(0, 128), std::string(kFind.szValue, 128));
    EXPECT_EQ(strValue.substr(128), kFind.szComment);
    EXPECT_EQ(strValue, kIni.ReadString("main", "k", ""));
}

TEST(IniFind, NamesLongerThanAnyBufferOverrunNothing)
{
    const std::string strLong(5000, 'n');
    Ini kIni("[main]\na=1\n");
    tgEFIND kFind;
    EXPECT_EQ(nullptr, kIni.FindSection(strLong.c_str()));
    EXPECT_EQ(0, kIni.FindKey("main", strLong.c_str(), &kFind));
    kIni.WriteString(strLong.c_str(), strLong.c_str(), strLong.c_str());
    ASSERT_EQ(1, kIni.FindKey(strLong.c_str(), strLong.c_str(), &kFind));
    EXPECT_EQ(std::string(127, 'n'), kFind.szKey);
    EXPECT_EQ(std::string(255, 'n'), kFind.szComment);
    EXPECT_EQ(std::string(263, 'n'), kIni.ReadString(strLong.c_str(), strLong.c_str(), ""));
    kIni.WriteString(strLong.c_str(), strLong.c_str(), "short");
    EXPECT_EQ(strLong + "=short", kIni.m_pLastEntry->pszText);
    EXPECT_EQ(1, kIni.DeleteKey(strLong.c_str(), strLong.c_str()));
}

TEST(IniFind, EmptyPointersFindNothing)
{
    Ini kIni("[main]\na=1\n");
    tgEFIND kFind = UsedFind();
    EXPECT_EQ(0, kIni.FindKey(nullptr, "a", &kFind));
    EXPECT_EQ(nullptr, kFind.pSectionEntry);
    EXPECT_EQ(0, kIni.FindKey("main", nullptr, &kFind));
    EXPECT_EQ(kIni.m_pFirstEntry, kFind.pSectionEntry);
    EXPECT_EQ(0, kIni.FindKey("main", "a", nullptr));
}

TEST(IniSections, IterationGoesByTheTextAndNotByTheType)
{
    Ini kIni("[main]\n  [one]\n# [two]\n;[three]\nk=[\nx#[four]\n[five];#\n");
    Texts vecText;
    for (ZENTRY* pEntry = kIni.SectionBegin(); pEntry != nullptr; pEntry = kIni.SectionNext(pEntry))
    {
        vecText.push_back(pEntry->pszText);
    }
    EXPECT_EQ((Texts{"[main]", "  [one]", ";[three]", "k=[", "[five];#"}), vecText);
}

TEST(IniSections, TheNextOfNothingIsNothingAndALogLine)
{
    const LogCapture kLog;
    Ini kIni;
    EXPECT_EQ(nullptr, kIni.SectionNext(nullptr));
    EXPECT_EQ((Texts{CheckLine("VO_PROCESS_ERROR", "pEnty", "ZIniFile::SectionNext")}), kLog.Lines());
}

TEST(IniSections, TheNameOfAnEntryIsItsTextWithoutItsEnds)
{
    const Ini kIni("[name]\n");
    char szName[8] = "xxxxxxx";
    kIni.m_pFirstEntry->GetEntryName(szName, 7);
    EXPECT_STREQ("name", szName);
}

TEST(IniSections, ANameThatDoesNotFitLeavesTheBufferAlone)
{
    const Ini kIni("[name]\n");
    char szName[8] = "xxxxxxx";
    kIni.m_pFirstEntry->GetEntryName(szName, 6);
    EXPECT_STREQ("xxxxxxx", szName);
    kIni.m_pFirstEntry->GetEntryName(szName, 0);
    kIni.m_pFirstEntry->GetEntryName(szName, -1);
    EXPECT_STREQ("xxxxxxx", szName);
}

TEST(IniSections, TheNameOfATextOfOneCharacterOrNoneIsEmpty)
{
    Ini kIni;
    for (const char* pszText : {"", "["})
    {
        ASSERT_EQ(1, kIni.AddItem(tpSECTION, pszText));
        char szName[4] = "xxx";
        kIni.m_pLastEntry->GetEntryName(szName, 3);
        EXPECT_STREQ("", szName);
    }
}

TEST(IniOpen, TheNameMayBeATextOfTheObjectItself)
{
    const TemporaryFiles kFiles;
    const std::string strBase = kFiles.Write("base.ini", "[base]\na=1\n");
    Ini kIni("[main]\n" + strBase + "\n");
    EXPECT_EQ(1, kIni.OpenIniFile(kIni.Entry(strBase)->pszText));
    EXPECT_EQ((Texts{"s:[base]", "k:a=1"}), kIni.Lines());
}

TEST(IniOpen, TheFileEndsAtItsEndMark)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1"}), Ini("[main]\r\na=1\x1A\r\nb=2\r\n").Lines());
}
