// The table of classify types: insertion, the four kinds of lookup, the extension map.
#include "assetindex/asset_test_tools.h"
#include "support/colliding_texts.h"

namespace
{
using namespace assettest;

const std::string kManagerClass = "VOTSAssetNodeClassifyManager::";

class OpenClassify : public VOTSAssetNodeClassifyManager
{
public:
    using VOTSAssetNodeClassifyManager::Exist;
    using VOTSAssetNodeClassifyManager::ExtensionStringEnable;
};

Color Paint(unsigned int uValue)
{
    Color kColor;
    kColor.uValue = uValue;
    return kColor;
}

int Insert(VOTSAssetNodeClassifyManager& rkManager, int nType, const VOWString& strName, const VOWString& strExtensions)
{
    return rkManager.InsertClassifyType(nType, strName.c_str(), strExtensions.c_str(), Paint(1), Paint(2));
}

// The type of an extension; -77 for a miss.
int TypeOf(const VOTSAssetNodeClassifyManager& rkManager, const VOWString& strExtension)
{
    int nType = -77;
    return rkManager.GetClassifyTypeByExtension(strExtension.c_str(), nType) != 0 ? nType : -77;
}

int TypeOfName(const VOTSAssetNodeClassifyManager& rkManager, const VOWString& strName)
{
    int nType = -77;
    return rkManager.GetClassifyTypeByName(strName.c_str(), nType) != 0 ? nType : -77;
}

TEST(ClassifyManager, ANameHasAtMost49Characters)
{
    VOTSAssetNodeClassifyManager kManager;
    EXPECT_NE(0, Insert(kManager, 1, VOWString(49, VOTEXT('n')), VOTEXT("a")));
    EXPECT_EQ(0, Insert(kManager, 2, VOWString(50, VOTEXT('m')), VOTEXT("b")));

    WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
    ASSERT_NE(0, kManager.GetClassifyName(1, kName.szText));
    EXPECT_EQ(VOWString(49, VOTEXT('n')), kName.Text());
    EXPECT_TRUE(kName.InBounds());
}

TEST(ClassifyManager, AnExtensionListHasAtMost99Characters)
{
    VOTSAssetNodeClassifyManager kManager;
    EXPECT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOWString(99, VOTEXT('e'))));
    EXPECT_EQ(0, Insert(kManager, 2, VOTEXT("two"), VOWString(100, VOTEXT('f'))));

    WideBuffer<LENGTH_OF_EXTENSIONS> kExtensions;
    ASSERT_NE(0, kManager.GetClassifyExtensions(1, kExtensions.szText));
    EXPECT_EQ(VOWString(99, VOTEXT('e')), kExtensions.Text());
    EXPECT_TRUE(kExtensions.InBounds());
}

TEST(ClassifyManager, ATextThatDoesNotFitIsLoggedAndLeavesTheTableAsItWas)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOTEXT("a")));
    LogCapture kLog;
    EXPECT_EQ(0, Insert(kManager, 2, VOWString(50, VOTEXT('m')), VOTEXT("b")));
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR(S_OK == ::StringCchCopy(")) << kLog.Lines()[0];
    kLog.Clear();
    EXPECT_EQ(0, Insert(kManager, 2, VOTEXT("two"), VOWString(100, VOTEXT('b'))));
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR(S_OK == ::StringCchCopy(")) << kLog.Lines()[0];

    EXPECT_EQ(-77, TypeOfName(kManager, VOTEXT("two")));
    // The number wasn't taken either.
    EXPECT_NE(0, Insert(kManager, 2, VOTEXT("two"), VOTEXT("b")));
}

TEST(ClassifyManager, AnEmptyOrMissingNameOrListIsRefusedWithALogLine)
{
    VOTSAssetNodeClassifyManager kManager;
    for (const int nCase : {0, 1, 2, 3})
    {
        LogCapture kLog;
        const VOWCHAR* pszName = nCase == 0 ? nullptr : nCase == 1 ? VOTEXT("") : VOTEXT("name");
        const VOWCHAR* pszList = nCase == 2 ? nullptr : nCase == 3 ? VOTEXT("") : VOTEXT("list");
        EXPECT_EQ(0, kManager.InsertClassifyType(1, pszName, pszList, Color(), Color())) << nCase;
        ASSERT_EQ(1u, kLog.Count()) << nCase;
        EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR(")) << kLog.Lines()[0];
        EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "InsertClassifyType\n"));
    }
    EXPECT_NE(0, Insert(kManager, 1, VOTEXT("name"), VOTEXT("list")));
}

TEST(ClassifyManager, ANumberIsTakenOnceAndASecondTryIsSilent)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOTEXT("a")));
    LogCapture kLog;
    EXPECT_EQ(0, Insert(kManager, 1, VOTEXT("two"), VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(-77, TypeOfName(kManager, VOTEXT("two")));
}

TEST(ClassifyManager, ANameIsTakenOnceWhateverItsCaseAndASecondTryIsSilent)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("Texture"), VOTEXT("a")));
    LogCapture kLog;
    EXPECT_EQ(0, Insert(kManager, 2, VOTEXT("tEXTURE"), VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, ExistAnswersForNumbersAndForNamesWithoutRegardToCase)
{
    OpenClassify kManager;
    ASSERT_NE(0, Insert(kManager, -5, VOTEXT("Model"), VOTEXT("mdl")));
    EXPECT_NE(0, kManager.Exist(-5));
    EXPECT_EQ(0, kManager.Exist(5));
    EXPECT_NE(0, kManager.Exist(VOTEXT("mODEL")));
    EXPECT_EQ(0, kManager.Exist(VOTEXT("Mode")));
    EXPECT_EQ(0, kManager.Exist(VOTEXT("Models")));
}

TEST(ClassifyManager, NewExtensionsAreFoundAfterTheNextBuildOnlyButNamesAtOnce)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOTEXT("png")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("png")));
    EXPECT_EQ(1, TypeOfName(kManager, VOTEXT("one")));
    EXPECT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("png")));

    ASSERT_NE(0, Insert(kManager, 2, VOTEXT("two"), VOTEXT("tga")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("tga")));
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("png")));
}

TEST(ClassifyManager, BuildingTheExtensionsOfAnEmptyTableSucceeds)
{
    VOTSAssetNodeClassifyManager kManager;
    LogCapture kLog;
    EXPECT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, EmptyEntriesOfAListVanishAndBlanksStay)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 4, VOTEXT("four"), VOTEXT("|png||tga| dds|bmp |")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(4, TypeOf(kManager, VOTEXT("png")));
    EXPECT_EQ(4, TypeOf(kManager, VOTEXT("tga")));
    EXPECT_EQ(4, TypeOf(kManager, VOTEXT(" dds")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("dds")));
    EXPECT_EQ(4, TypeOf(kManager, VOTEXT("bmp ")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("bmp")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("png|")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("|")));
}

TEST(ClassifyManager, AListOfSeparatorsAloneHasNoExtension)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 4, VOTEXT("four"), VOTEXT("|||")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("|||")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("|")));
}

TEST(ClassifyManager, ExtensionsAreFoundInAnyCase)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOTEXT("PNG|tga")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("png")));
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("PNG")));
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("pNg")));
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("TGA")));

    // The list itself keeps its case.
    WideBuffer<LENGTH_OF_EXTENSIONS> kList;
    ASSERT_NE(0, kManager.GetClassifyExtensions(1, kList.szText));
    EXPECT_EQ(VOWString(VOTEXT("PNG|tga")), kList.Text());
}

TEST(ClassifyManager, OfTwoTypesWithOneExtensionTheOneInsertedFirstHasIt)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 9, VOTEXT("first"), VOTEXT("png|tga")));
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("second"), VOTEXT("TGA|dds")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(9, TypeOf(kManager, VOTEXT("tga")));
    EXPECT_EQ(1, TypeOf(kManager, VOTEXT("dds")));
    EXPECT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(9, TypeOf(kManager, VOTEXT("tga")));
}

TEST(ClassifyManager, OfTwoExtensionsWithOneHashTheOneInsertedFirstHasIt)
{
    const std::vector<VOWString> vecTexts = votest::CollidingGroup(0);
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 5, VOTEXT("five"), vecTexts[0] + VOTEXT("|a")));
    ASSERT_NE(0, Insert(kManager, 4, VOTEXT("four"), vecTexts[1] + VOTEXT("|b")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(5, TypeOf(kManager, vecTexts[0]));
    EXPECT_EQ(5, TypeOf(kManager, vecTexts[1])) << "no text is ever compared";
    EXPECT_EQ(5, TypeOf(kManager, vecTexts[2])) << "not even one that is in no list";
    EXPECT_EQ(4, TypeOf(kManager, VOTEXT("b")));
}

TEST(ClassifyManager, AnUnknownExtensionIsASilentMissThatLeavesTheResult)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 1, VOTEXT("one"), VOTEXT("png")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    LogCapture kLog;
    int nType = 123;
    EXPECT_EQ(0, kManager.GetClassifyTypeByExtension(VOTEXT("pn"), nType));
    EXPECT_EQ(123, nType);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, AnEmptyOrMissingExtensionIsLogged)
{
    VOTSAssetNodeClassifyManager kManager;
    for (const VOWCHAR* pszExtension : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture kLog;
        int nType = 123;
        EXPECT_EQ(0, kManager.GetClassifyTypeByExtension(pszExtension, nType));
        EXPECT_EQ(123, nType);
        ASSERT_EQ(1u, kLog.Count());
        EXPECT_TRUE(HasText(kLog.Lines(), "VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "GetClassifyTypeByExtension\n"));
    }
}

TEST(ClassifyManager, AnExtensionOfALookupIsCutTo99Characters)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 6, VOTEXT("six"), VOWString(99, VOTEXT('e'))));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    LogCapture kLog;
    EXPECT_EQ(6, TypeOf(kManager, VOWString(99, VOTEXT('e'))));
    EXPECT_EQ(6, TypeOf(kManager, VOWString(100, VOTEXT('E'))));
    EXPECT_EQ(6, TypeOf(kManager, VOWString(3000, VOTEXT('e'))));
    EXPECT_EQ(-77, TypeOf(kManager, VOWString(98, VOTEXT('e'))));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, ANameIsFoundInAnyCaseAndAMissIsSilent)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 3, VOTEXT("Texture"), VOTEXT("png")));
    LogCapture kLog;
    EXPECT_EQ(3, TypeOfName(kManager, VOTEXT("texture")));
    EXPECT_EQ(3, TypeOfName(kManager, VOTEXT("TEXTURE")));
    EXPECT_EQ(-77, TypeOfName(kManager, VOTEXT("Textur")));
    EXPECT_EQ(-77, TypeOfName(kManager, VOTEXT("")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, AMissingNameIsLogged)
{
    VOTSAssetNodeClassifyManager kManager;
    LogCapture kLog;
    int nType = 123;
    EXPECT_EQ(0, kManager.GetClassifyTypeByName(nullptr, nType));
    EXPECT_EQ(123, nType);
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_TRUE(HasText(kLog.Lines(), "VO_PROCESS_ERROR("));
    EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "GetClassifyTypeByName\n"));
}

TEST(ClassifyManager, TheFirstColourIsTheTypesAndTheSecondItsBackground)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.InsertClassifyType(3, VOTEXT("t"), VOTEXT("e"), Paint(0x11223344), Paint(0xAABBCCDD)));
    Color kColor;
    ASSERT_NE(0, kManager.GetClassifyTypeColor(3, kColor));
    EXPECT_EQ(0x11223344u, kColor.uValue);
    ASSERT_NE(0, kManager.GetClassifyBackgroundColor(3, kColor));
    EXPECT_EQ(0xAABBCCDDu, kColor.uValue);
}

TEST(ClassifyManager, AnUnknownTypeIsASilentMissInAllFourQueries)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 3, VOTEXT("t"), VOTEXT("e")));
    LogCapture kLog;
    WideBuffer<LENGTH_OF_EXTENSIONS> kText;
    Color kColor = Paint(42);
    EXPECT_EQ(0, kManager.GetClassifyName(4, kText.szText));
    EXPECT_EQ(0, kManager.GetClassifyExtensions(4, kText.szText));
    EXPECT_EQ(0, kManager.GetClassifyTypeColor(4, kColor));
    EXPECT_EQ(0, kManager.GetClassifyBackgroundColor(4, kColor));
    EXPECT_TRUE(kText.Untouched());
    EXPECT_EQ(42u, kColor.uValue);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyManager, AMissingResultBufferIsLogged)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 3, VOTEXT("t"), VOTEXT("e")));
    LogCapture kLog;
    EXPECT_EQ(0, kManager.GetClassifyName(3, nullptr));
    EXPECT_EQ(1u, kLog.Count());
    EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "GetClassifyName\n"));
    kLog.Clear();
    EXPECT_EQ(0, kManager.GetClassifyExtensions(3, nullptr));
    EXPECT_EQ(1u, kLog.Count());
    EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "GetClassifyExtensions\n"));
}

TEST(ClassifyManager, CleanUpEmptiesTheTableAndItsNumbersAndNamesAreFreeAgain)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, Insert(kManager, 3, VOTEXT("t"), VOTEXT("e")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_NE(0, kManager.CleanUp());
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("e")));
    EXPECT_EQ(-77, TypeOfName(kManager, VOTEXT("t")));
    ASSERT_NE(0, Insert(kManager, 3, VOTEXT("t"), VOTEXT("f")));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    EXPECT_EQ(3, TypeOf(kManager, VOTEXT("f")));
    EXPECT_EQ(-77, TypeOf(kManager, VOTEXT("e")));
}

TEST(ClassifyManager, ManyTypesKeepTheirNamesListsAndColours)
{
    VOTSAssetNodeClassifyManager kManager;
    for (int i = 0; i < 300; ++i)
    {
        const VOWString strNumber = Wide(std::to_string(i));
        ASSERT_NE(0,
                  kManager.InsertClassifyType(1000 - 3 * i, (VOTEXT("name") + strNumber).c_str(),
                                              (VOTEXT("e") + strNumber + VOTEXT("|x") + strNumber).c_str(),
                                              Paint(static_cast<unsigned>(i)), Paint(static_cast<unsigned>(i) + 1000)));
    }
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    for (int i = 0; i < 300; ++i)
    {
        const VOWString strNumber = Wide(std::to_string(i));
        const int nType = 1000 - 3 * i;
        EXPECT_EQ(nType, TypeOf(kManager, VOTEXT("E") + strNumber));
        EXPECT_EQ(nType, TypeOf(kManager, VOTEXT("x") + strNumber));
        EXPECT_EQ(nType, TypeOfName(kManager, VOTEXT("NAME") + strNumber));
        Color kColor;
        EXPECT_NE(0, kManager.GetClassifyBackgroundColor(nType, kColor));
        EXPECT_EQ(static_cast<unsigned>(i) + 1000, kColor.uValue);
    }
}

TEST(ClassifyManager, TextsAtOddAddressesAreRead)
{
    VOTSAssetNodeClassifyManager kManager;
    const votest::PlacedText kName(VOTEXT("Odd"));
    const votest::PlacedText kList(VOTEXT("one|TWO"));
    ASSERT_NE(0, kManager.InsertClassifyType(3, kName, kList, Color(), Color()));
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    int nType = 0;
    EXPECT_NE(0, kManager.GetClassifyTypeByExtension(votest::PlacedText(VOTEXT("two")), nType));
    EXPECT_EQ(3, nType);
    EXPECT_NE(0, kManager.GetClassifyTypeByName(votest::PlacedText(VOTEXT("oDD")), nType));
}

// ---------------------------------------------------------------------------------------------------------------------
// ExtensionStringEnable
// ---------------------------------------------------------------------------------------------------------------------

TEST(ExtensionStringEnable, OneWholeEntryOfTheListCountsWhereverItStands)
{
    OpenClassify kManager;
    const VOWCHAR* pszList = VOTEXT("png|TGA|dds");
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("png"), pszList));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("tga"), pszList));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("DDS"), pszList));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("png"), VOTEXT("PNG")));
}

TEST(ExtensionStringEnable, APartOfAnEntryDoesNotCount)
{
    OpenClassify kManager;
    const VOWCHAR* pszList = VOTEXT("png|tga|dds");
    LogCapture kLog;
    for (const VOWCHAR* pszPart : {VOTEXT("pn"), VOTEXT("ng"), VOTEXT("g"), VOTEXT("tg"), VOTEXT("ga"), VOTEXT("ds"),
                                   VOTEXT("dd"), VOTEXT("bmp"), VOTEXT("pngx")})
    {
        EXPECT_EQ(0, kManager.ExtensionStringEnable(pszPart, pszList)) << votest::Shown(pszPart);
    }
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ExtensionStringEnable, TheSearchGoesOnBehindAMatchThatDoesNotCount)
{
    OpenClassify kManager;
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("g"), VOTEXT("png|tga|g")));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("g"), VOTEXT("png|g|tga")));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("tga"), VOTEXT("tgax|xtga|tga")));
}

TEST(ExtensionStringEnable, AnEntryWithASeparatorIsSearchedLikeAnyOther)
{
    OpenClassify kManager;
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("png|tga"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("tga|dds"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("tga|dds"), VOTEXT("png|tga|dds|bmp")));
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT("ga|dds"), VOTEXT("png|tga|dds")));
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT("|tga"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, kManager.ExtensionStringEnable(VOTEXT("|tga"), VOTEXT("png||tga|dds")));
}

TEST(ExtensionStringEnable, AMatchBehindAnUncountedOneThatOverlapsItIsNotSeen)
{
    OpenClassify kManager;
    // "a|a" at 1 doesn't count ("xa|a|a"); the search goes on behind it and finds no further match.
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT("a|a"), VOTEXT("xa|a|a")));
}

TEST(ExtensionStringEnable, MissingArgumentsAreLogged)
{
    OpenClassify kManager;
    LogCapture kLog;
    EXPECT_EQ(0, kManager.ExtensionStringEnable(nullptr, VOTEXT("png")));
    EXPECT_EQ(1u, kLog.Count());
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT("png"), nullptr));
    EXPECT_EQ(2u, kLog.Count());
    EXPECT_TRUE(HasText(kLog.Lines(), kManagerClass + "ExtensionStringEnable\n"));
}

TEST(ExtensionStringEnable, AnEmptyExtensionOrListIsNotFound)
{
    OpenClassify kManager;
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT(""), VOTEXT("png|tga")));
    EXPECT_EQ(0, kManager.ExtensionStringEnable(VOTEXT("png"), VOTEXT("")));
}

}  // namespace
