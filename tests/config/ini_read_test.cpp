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
        const TemporaryFiles files;
        strPath = files.Write("a.ini", strBytes);
        const LogCapture log;
        StdoutCapture printed;
        nResult = ini.OpenIniFile(strPath.c_str(), true);
        strPrinted = printed.Text();
        uLogLines = log.Count();
    }

    Ini ini;
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
    const Ini ini("[main]\nname=1\n; a remark\njust text\n[other]\n");
    EXPECT_EQ((Texts{"s:[main]", "k:name=1", "c:; a remark", "c:just text", "s:[other]"}), ini.Lines());
}

TEST(IniOpen, EntriesAreLinkedBothWaysAndTheLastOneIsTheTail)
{
    const Ini ini("[main]\na=1\nb=2\n");
    EXPECT_EQ(nullptr, ini.m_pFirstEntry->pPrev);
    EXPECT_EQ(ini.m_pFirstEntry, ini.Entry("a=1")->pPrev);
    EXPECT_EQ(ini.Entry("a=1"), ini.Entry("b=2")->pPrev);
    EXPECT_EQ(ini.Entry("b=2"), ini.m_pLastEntry);
    EXPECT_EQ(nullptr, ini.m_pLastEntry->pNext);
}

TEST(IniOpen, AByteOrderMarkInFrontOfTheFirstSectionIsGone)
{
    const Ini ini("\xEF\xBB\xBF[main]\r\na=1\r\n");
    EXPECT_EQ((Texts{"s:[main]", "k:a=1"}), ini.Lines());
}

TEST(IniOpen, AllThatStandsInFrontOfTheFirstBracketOfTheFirstLineIsDropped)
{
    EXPECT_EQ((Texts{"s:[main]x", "k:a=1"}), Ini(";junk=[main]x\na=1\n").Lines());
    EXPECT_EQ((Texts{"s:[main]"}), Ini(std::string("a\0b[main]\n", 10)).Lines());
}

TEST(IniOpen, AnEmptyFileOpensAndHasNoEntries)
{
    Opened opened("");
    EXPECT_EQ(1, opened.nResult);
    EXPECT_EQ(nullptr, opened.ini.SectionBegin());
    EXPECT_EQ(nullptr, opened.ini.m_pLastEntry);
    EXPECT_EQ("", opened.strPrinted);
    EXPECT_EQ(0u, opened.uLogLines);
}

TEST(IniOpen, AFirstLineWithoutABracketIsRefusedWithItsTextInGbk)
{
    for (const char* pszBytes :
         {"key=value\n[main]\n", "\n[main]\n", "\r\n[main]\r\n", "ab\rc[main]\n", "key=value", "x"})
    {
        Opened opened(pszBytes);
        EXPECT_EQ(0, opened.nResult) << pszBytes;
        EXPECT_EQ(Refusal(opened.strPath), opened.strPrinted) << pszBytes;
        EXPECT_EQ(0u, opened.uLogLines) << pszBytes;
        EXPECT_EQ(nullptr, opened.ini.SectionBegin()) << pszBytes;
    }
}

TEST(IniOpen, AFirstLineOf254CharactersWithoutABracketIsRefused)
{
    Opened opened(std::string(254, 'x') + "[main]\n");
    EXPECT_EQ(0, opened.nResult);
    EXPECT_EQ(Refusal(opened.strPath), opened.strPrinted);
}

TEST(IniOpen, AFirstLineIsNotSearchedInWhatAnEarlierFileHeld)
{
    const TemporaryFiles files;
    const std::string strEarlier = files.Write("earlier.ini", std::string(200, 'x') + "[main]\n");
    const std::string strPath = files.Write("a.ini", "x");
    StdoutCapture printed;
    Ini ini;
    // One behind the other, so that the second one finds the stack as the first one leaves it.
    const int nEarlier = ini.OpenIniFile(strEarlier.c_str(), true);
    const int nResult = ini.OpenIniFile(strPath.c_str(), true);
    EXPECT_EQ(1, nEarlier);
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(Refusal(strPath), printed.Text());
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
    const LogCapture log;
    const TemporaryFiles files;
    for (const std::string& strPath : {files.Path("none.ini"), std::string(), files.Write("b.ini", "no bracket\n")})
    {
        Ini ini("[main]\na=1\n");
        StdoutCapture printed;
        EXPECT_EQ(0, ini.OpenIniFile(strPath.c_str(), false));
        EXPECT_EQ(nullptr, ini.m_pFirstEntry);
        EXPECT_EQ(nullptr, ini.m_pLastEntry);
    }
    Ini ini("[main]\na=1\n");
    EXPECT_EQ(1, ini.OpenIniFile(files.Write("c.ini", "[c]\n").c_str(), false));
    EXPECT_EQ((Texts{"s:[c]"}), ini.Lines());
}

TEST(IniOpen, AMissingNameFailsItsCheck)
{
    const LogCapture log;
    Ini ini;
    EXPECT_EQ(0, ini.OpenIniFile(nullptr, false));
    EXPECT_EQ(0, ini.OpenIniFile("", false));
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pFileName && pFileName[0]", "ZIniFile::OpenIniFile");
    EXPECT_EQ((Texts{strLine, strLine}), log.Lines());
}

TEST(IniOpen, AFileThatIsMissingOrAFolderFailsItsCheck)
{
    const LogCapture log;
    const TemporaryFiles files;
    Ini ini;
    EXPECT_EQ(0, ini.OpenIniFile(files.Path("none.ini").c_str(), false));
    EXPECT_EQ(0, ini.OpenIniFile(files.Folder().generic_string().c_str(), false));
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pIniFile", "ZIniFile::OpenIniFile");
    EXPECT_EQ((Texts{strLine, strLine}), log.Lines());
}

TEST(IniOpen, APathMayHaveBackslashes)
{
    const TemporaryFiles files;
    std::string strPath = files.Write("a.ini", "[main]\n");
    const size_t uSlash = strPath.rfind('/');
    strPath[uSlash] = '\\';
    Ini ini;
    EXPECT_EQ(1, ini.OpenIniFile(strPath.c_str(), false));
    EXPECT_EQ((Texts{"s:[main]"}), ini.Lines());
}

TEST(IniOpen, FilesOfRandomBytesAreReadOrRefusedAndNothingElse)
{
    Random random(71000);
    for (int i = 0; i < 200; ++i)
    {
        std::string strBytes = random.Percent(70) ? "[" : "";
        for (size_t uLeft = random.Below(2000); uLeft > 0; --uLeft)
        {
            static const char s_achOften[] = "[]=;\r\n\0 ";
            strBytes.push_back(random.Percent(40) ? s_achOften[random.Below(sizeof(s_achOften))]
                                                  : static_cast<char>(random.Word()));
        }
        // A byte that ends text on one of the systems.
        std::replace(strBytes.begin(), strBytes.end(), '\x1A', 'z');
        const TemporaryFiles files;
        const std::string strPath = files.Write("r.ini", strBytes);
        StdoutCapture printed;
        Ini ini;
        const int nResult = ini.OpenIniFile(strPath.c_str(), false);
        EXPECT_EQ(nResult == 0, printed.Text() == Refusal(strPath));
        for (const ZENTRY* pEntry = ini.m_pFirstEntry; pEntry != nullptr; pEntry = pEntry->pNext)
        {
            ASSERT_LE(strlen(pEntry->pszText), 254u);
            ASSERT_TRUE(pEntry->cType >= tpSECTION && pEntry->cType <= tpCOMMENT);
        }
    }
}

TEST(IniFind, SectionAndKeyNamesAreComparedWithoutCase)
{
    Ini ini("[MAIN]\nkey=1\n[other]\nkey=2\n");
    EXPECT_EQ(ini.m_pFirstEntry, ini.FindSection("Main"));
    EXPECT_EQ(1, ini.ReadInt("Main", "Key", 0));
    EXPECT_EQ(2, ini.ReadInt("OTHER", "KEY", 0));
}

TEST(IniFind, OnlyTheLettersOfAsciiHaveACase)
{
    Ini ini("[m\xE4in]\nk\xE4y=1\n[@`{]\n");
    EXPECT_NE(nullptr, ini.FindSection("M\xE4IN"));
    EXPECT_EQ(nullptr, ini.FindSection("M\xC4IN"));
    EXPECT_EQ(nullptr, ini.FindSection("`@["));
    EXPECT_NE(nullptr, ini.FindSection("@`{"));
}

TEST(IniFind, ASectionIsFoundByItsWholeTextOnly)
{
    Ini ini("[main] ; remark\n[ma]\n[main]x\n[]\n[main]\n");
    EXPECT_EQ(ini.Entry("[main]"), ini.FindSection("main"));
    EXPECT_EQ(ini.Entry("[]"), ini.FindSection(""));
    EXPECT_EQ(nullptr, ini.FindSection("mai"));
    EXPECT_EQ(nullptr, ini.FindSection("main] ; remar"));
    EXPECT_EQ(nullptr, ini.FindSection(nullptr));
}

TEST(IniFind, TheFirstOfTwoSectionsOfOneNameWins)
{
    Ini ini("[a]\nx=1\n[a]\ny=2\n");
    EXPECT_EQ(ini.m_pFirstEntry, ini.FindSection("a"));
    EXPECT_EQ(7, ini.ReadInt("a", "y", 7));
}

TEST(IniFind, AKeyIsFoundWithWhatItsLineHolds)
{
    Ini ini("[main]\nfirst=x\nNaMe=some=thing ;remark; more\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(1, ini.FindKey("main", "name", &find));
    EXPECT_EQ(ini.m_pFirstEntry, find.pSectionEntry);
    EXPECT_EQ(ini.m_pLastEntry, find.pKeyEntry);
    EXPECT_STREQ("NaMe", find.szKey);
    EXPECT_STREQ("some=thing ", find.szValue);
    EXPECT_STREQ(";remark; more", find.szComment);
}

TEST(IniFind, AMissingSectionNullsThePointersAndLeavesTheTexts)
{
    Ini ini("[main]\na=1\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(0, ini.FindKey("other", "a", &find));
    EXPECT_EQ(nullptr, find.pSectionEntry);
    EXPECT_EQ(nullptr, find.pKeyEntry);
    EXPECT_EQ('x', find.szKey[0]);
    EXPECT_EQ('x', find.szValue[0]);
    EXPECT_EQ('x', find.szComment[0]);
}

TEST(IniFind, ASectionThatIsTheLastEntryHasNoKeysAndEmptiesTheTexts)
{
    Ini ini("[main]\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(0, ini.FindKey("main", "a", &find));
    EXPECT_EQ(ini.m_pFirstEntry, find.pSectionEntry);
    EXPECT_EQ(nullptr, find.pKeyEntry);
    EXPECT_STREQ("", find.szKey);
    EXPECT_STREQ("", find.szValue);
    EXPECT_STREQ("", find.szComment);
}

TEST(IniFind, AFailedSearchHoldsWhatTheLastLineItLookedAtHeld)
{
    Ini ini("[main]\na=1 ;one\nb=2 ;two\n;three\n[other]\nc=3\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(0, ini.FindKey("main", "none", &find));
    EXPECT_EQ(nullptr, find.pKeyEntry);
    EXPECT_STREQ("b", find.szKey);
    EXPECT_STREQ("", find.szValue);
    EXPECT_STREQ(";two", find.szComment);
}

TEST(IniFind, ALineWithoutACommentLeavesNoneOfTheLineInFrontOfIt)
{
    Ini ini("[main]\na=1 ;one\nb=2\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(1, ini.FindKey("main", "b", &find));
    EXPECT_STREQ("", find.szComment);
}

TEST(IniFind, KeysOfASectionEndAtTheNextSectionEntry)
{
    Ini ini("[main]\na=1\npath=a[1]\nb=2\n[other]\nc=3\n");
    EXPECT_EQ(1, ini.ReadInt("main", "a", 0));
    EXPECT_EQ(0, ini.ReadInt("main", "b", 0));
    EXPECT_EQ(0, ini.ReadInt("main", "path", 0));
    EXPECT_EQ(0, ini.ReadInt("main", "c", 0));
}

TEST(IniFind, BlanksAroundTheEqualsSignBelongToKeyAndValue)
{
    Ini ini("[main]\nname = value\n");
    EXPECT_STREQ("none", ini.ReadString("main", "name", "none"));
    EXPECT_STREQ(" value", ini.ReadString("main", "name ", "none"));
}

TEST(IniFind, TheFirstOfTwoEqualKeysWins)
{
    Ini ini("[main]\na=1\nA=2\n");
    EXPECT_EQ(1, ini.ReadInt("main", "a", 0));
}

TEST(IniFind, AKeyIsComparedInFull)
{
    Ini ini("[main]\nabc=1\n=2\n");
    EXPECT_EQ(0, ini.ReadInt("main", "ab", 0));
    EXPECT_EQ(0, ini.ReadInt("main", "abcd", 0));
    EXPECT_EQ(0, ini.ReadInt("main", "abc=1", 0));
    EXPECT_EQ(2, ini.ReadInt("main", "", 0));
}

TEST(IniFind, AValueOfMoreThan127CharactersRunsOnIntoTheRoomOfTheComment)
{
    const std::string strValue(240, 'v');
    Ini ini("[main]\nk=" + strValue + ";c\n");
    tgEFIND find = UsedFind();
    ASSERT_EQ(1, ini.FindKey("main", "k", &find));
    EXPECT_EQ(strValue.substr(0, 128), std::string(find.szValue, 128));
    EXPECT_EQ(strValue.substr(128), find.szComment);
    EXPECT_EQ(strValue, ini.ReadString("main", "k", ""));
}

TEST(IniFind, NamesLongerThanAnyBufferOverrunNothing)
{
    const std::string strLong(5000, 'n');
    Ini ini("[main]\na=1\n");
    tgEFIND find;
    EXPECT_EQ(nullptr, ini.FindSection(strLong.c_str()));
    EXPECT_EQ(0, ini.FindKey("main", strLong.c_str(), &find));
    ini.WriteString(strLong.c_str(), strLong.c_str(), strLong.c_str());
    ASSERT_EQ(1, ini.FindKey(strLong.c_str(), strLong.c_str(), &find));
    EXPECT_EQ(std::string(127, 'n'), find.szKey);
    EXPECT_EQ(std::string(255, 'n'), find.szComment);
    EXPECT_EQ(std::string(263, 'n'), ini.ReadString(strLong.c_str(), strLong.c_str(), ""));
    ini.WriteString(strLong.c_str(), strLong.c_str(), "short");
    EXPECT_EQ(strLong + "=short", ini.m_pLastEntry->pszText);
    EXPECT_EQ(1, ini.DeleteKey(strLong.c_str(), strLong.c_str()));
}

TEST(IniFind, EmptyPointersFindNothing)
{
    Ini ini("[main]\na=1\n");
    tgEFIND find = UsedFind();
    EXPECT_EQ(0, ini.FindKey(nullptr, "a", &find));
    EXPECT_EQ(nullptr, find.pSectionEntry);
    EXPECT_EQ(0, ini.FindKey("main", nullptr, &find));
    EXPECT_EQ(ini.m_pFirstEntry, find.pSectionEntry);
    EXPECT_EQ(0, ini.FindKey("main", "a", nullptr));
}

TEST(IniSections, IterationGoesByTheTextAndNotByTheType)
{
    Ini ini("[main]\n  [one]\n# [two]\n;[three]\nk=[\nx#[four]\n[five];#\n");
    Texts vecText;
    for (ZENTRY* pEntry = ini.SectionBegin(); pEntry != nullptr; pEntry = ini.SectionNext(pEntry))
    {
        vecText.push_back(pEntry->pszText);
    }
    EXPECT_EQ((Texts{"[main]", "  [one]", ";[three]", "k=[", "[five];#"}), vecText);
}

TEST(IniSections, TheNextOfNothingIsNothingAndALogLine)
{
    const LogCapture log;
    Ini ini;
    EXPECT_EQ(nullptr, ini.SectionNext(nullptr));
    EXPECT_EQ((Texts{CheckLine("VO_PROCESS_ERROR", "pEnty", "ZIniFile::SectionNext")}), log.Lines());
}

TEST(IniSections, TheNameOfAnEntryIsItsTextWithoutItsEnds)
{
    const Ini ini("[name]\n");
    char szName[8] = "xxxxxxx";
    ini.m_pFirstEntry->GetEntryName(szName, 7);
    EXPECT_STREQ("name", szName);
}

TEST(IniSections, ANameThatDoesNotFitLeavesTheBufferAlone)
{
    const Ini ini("[name]\n");
    char szName[8] = "xxxxxxx";
    ini.m_pFirstEntry->GetEntryName(szName, 6);
    EXPECT_STREQ("xxxxxxx", szName);
    ini.m_pFirstEntry->GetEntryName(szName, 0);
    ini.m_pFirstEntry->GetEntryName(szName, -1);
    EXPECT_STREQ("xxxxxxx", szName);
}

TEST(IniSections, TheNameOfATextOfOneCharacterOrNoneIsEmpty)
{
    Ini ini;
    for (const char* pszText : {"", "["})
    {
        ASSERT_EQ(1, ini.AddItem(tpSECTION, pszText));
        char szName[4] = "xxx";
        ini.m_pLastEntry->GetEntryName(szName, 3);
        EXPECT_STREQ("", szName);
    }
}

TEST(IniOpen, TheNameMayBeATextOfTheObjectItself)
{
    const TemporaryFiles files;
    const std::string strBase = files.Write("base.ini", "[base]\na=1\n");
    Ini ini("[main]\n" + strBase + "\n");
    EXPECT_EQ(1, ini.OpenIniFile(ini.Entry(strBase)->pszText));
    EXPECT_EQ((Texts{"s:[base]", "k:a=1"}), ini.Lines());
}

TEST(IniOpen, TheFileEndsAtItsEndMark)
{
    EXPECT_EQ((Texts{"s:[main]", "k:a=1"}), Ini("[main]\r\na=1\x1A\r\nb=2\r\n").Lines());
}
