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
    Color color;
    color.uValue = uValue;
    return color;
}

int Insert(VOTSAssetNodeClassifyManager& manager, int nType, const VOWString& strName, const VOWString& strExtensions)
{
    return manager.InsertClassifyType(nType, strName.c_str(), strExtensions.c_str(), Paint(1), Paint(2));
}

// The type of an extension; -77 for a miss.
int TypeOf(const VOTSAssetNodeClassifyManager& manager, const VOWString& strExtension)
{
    int nType = -77;
    return manager.GetClassifyTypeByExtension(strExtension.c_str(), nType) != 0 ? nType : -77;
}

int TypeOfName(const VOTSAssetNodeClassifyManager& manager, const VOWString& strName)
{
    int nType = -77;
    return manager.GetClassifyTypeByName(strName.c_str(), nType) != 0 ? nType : -77;
}

TEST(ClassifyManager, ANameHasAtMost49Characters)
{
    VOTSAssetNodeClassifyManager manager;
    EXPECT_NE(0, Insert(manager, 1, VOWString(49, VOTEXT('n')), VOTEXT("a")));
    EXPECT_EQ(0, Insert(manager, 2, VOWString(50, VOTEXT('m')), VOTEXT("b")));

    WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
    ASSERT_NE(0, manager.GetClassifyName(1, name.szText));
    EXPECT_EQ(VOWString(49, VOTEXT('n')), name.Text());
    EXPECT_TRUE(name.InBounds());
}

TEST(ClassifyManager, AnExtensionListHasAtMost99Characters)
{
    VOTSAssetNodeClassifyManager manager;
    EXPECT_NE(0, Insert(manager, 1, VOTEXT("one"), VOWString(99, VOTEXT('e'))));
    EXPECT_EQ(0, Insert(manager, 2, VOTEXT("two"), VOWString(100, VOTEXT('f'))));

    WideBuffer<LENGTH_OF_EXTENSIONS> extensions;
    ASSERT_NE(0, manager.GetClassifyExtensions(1, extensions.szText));
    EXPECT_EQ(VOWString(99, VOTEXT('e')), extensions.Text());
    EXPECT_TRUE(extensions.InBounds());
}

TEST(ClassifyManager, ATextThatDoesNotFitIsLoggedAndLeavesTheTableAsItWas)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("one"), VOTEXT("a")));
    LogCapture log;
    EXPECT_EQ(0, Insert(manager, 2, VOWString(50, VOTEXT('m')), VOTEXT("b")));
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR(S_OK == ::StringCchCopy(")) << log.Lines()[0];
    log.Clear();
    EXPECT_EQ(0, Insert(manager, 2, VOTEXT("two"), VOWString(100, VOTEXT('b'))));
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR(S_OK == ::StringCchCopy(")) << log.Lines()[0];

    EXPECT_EQ(-77, TypeOfName(manager, VOTEXT("two")));
    // The number wasn't taken either.
    EXPECT_NE(0, Insert(manager, 2, VOTEXT("two"), VOTEXT("b")));
}

TEST(ClassifyManager, AnEmptyOrMissingNameOrListIsRefusedWithALogLine)
{
    VOTSAssetNodeClassifyManager manager;
    for (const int nCase : {0, 1, 2, 3})
    {
        LogCapture log;
        const VOWCHAR* pszName = nCase == 0 ? nullptr : nCase == 1 ? VOTEXT("") : VOTEXT("name");
        const VOWCHAR* pszList = nCase == 2 ? nullptr : nCase == 3 ? VOTEXT("") : VOTEXT("list");
        EXPECT_EQ(0, manager.InsertClassifyType(1, pszName, pszList, Color(), Color())) << nCase;
        ASSERT_EQ(1u, log.Count()) << nCase;
        EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR(")) << log.Lines()[0];
        EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "InsertClassifyType\n"));
    }
    EXPECT_NE(0, Insert(manager, 1, VOTEXT("name"), VOTEXT("list")));
}

TEST(ClassifyManager, ANumberIsTakenOnceAndASecondTryIsSilent)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("one"), VOTEXT("a")));
    LogCapture log;
    EXPECT_EQ(0, Insert(manager, 1, VOTEXT("two"), VOTEXT("b")));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(-77, TypeOfName(manager, VOTEXT("two")));
}

TEST(ClassifyManager, ANameIsTakenOnceWhateverItsCaseAndASecondTryIsSilent)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("Texture"), VOTEXT("a")));
    LogCapture log;
    EXPECT_EQ(0, Insert(manager, 2, VOTEXT("tEXTURE"), VOTEXT("b")));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, ExistAnswersForNumbersAndForNamesWithoutRegardToCase)
{
    OpenClassify manager;
    ASSERT_NE(0, Insert(manager, -5, VOTEXT("Model"), VOTEXT("mdl")));
    EXPECT_NE(0, manager.Exist(-5));
    EXPECT_EQ(0, manager.Exist(5));
    EXPECT_NE(0, manager.Exist(VOTEXT("mODEL")));
    EXPECT_EQ(0, manager.Exist(VOTEXT("Mode")));
    EXPECT_EQ(0, manager.Exist(VOTEXT("Models")));
}

TEST(ClassifyManager, NewExtensionsAreFoundAfterTheNextBuildOnlyButNamesAtOnce)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("one"), VOTEXT("png")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("png")));
    EXPECT_EQ(1, TypeOfName(manager, VOTEXT("one")));
    EXPECT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("png")));

    ASSERT_NE(0, Insert(manager, 2, VOTEXT("two"), VOTEXT("tga")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("tga")));
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("png")));
}

TEST(ClassifyManager, BuildingTheExtensionsOfAnEmptyTableSucceeds)
{
    VOTSAssetNodeClassifyManager manager;
    LogCapture log;
    EXPECT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, EmptyEntriesOfAListVanishAndBlanksStay)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 4, VOTEXT("four"), VOTEXT("|png||tga| dds|bmp |")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(4, TypeOf(manager, VOTEXT("png")));
    EXPECT_EQ(4, TypeOf(manager, VOTEXT("tga")));
    EXPECT_EQ(4, TypeOf(manager, VOTEXT(" dds")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("dds")));
    EXPECT_EQ(4, TypeOf(manager, VOTEXT("bmp ")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("bmp")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("png|")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("|")));
}

TEST(ClassifyManager, AListOfSeparatorsAloneHasNoExtension)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 4, VOTEXT("four"), VOTEXT("|||")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("|||")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("|")));
}

TEST(ClassifyManager, ExtensionsAreFoundInAnyCase)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("one"), VOTEXT("PNG|tga")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("png")));
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("PNG")));
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("pNg")));
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("TGA")));

    // The list itself keeps its case.
    WideBuffer<LENGTH_OF_EXTENSIONS> list;
    ASSERT_NE(0, manager.GetClassifyExtensions(1, list.szText));
    EXPECT_EQ(VOWString(VOTEXT("PNG|tga")), list.Text());
}

TEST(ClassifyManager, OfTwoTypesWithOneExtensionTheOneInsertedFirstHasIt)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 9, VOTEXT("first"), VOTEXT("png|tga")));
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("second"), VOTEXT("TGA|dds")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(9, TypeOf(manager, VOTEXT("tga")));
    EXPECT_EQ(1, TypeOf(manager, VOTEXT("dds")));
    EXPECT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(9, TypeOf(manager, VOTEXT("tga")));
}

TEST(ClassifyManager, OfTwoExtensionsWithOneHashTheOneInsertedFirstHasIt)
{
    const std::vector<VOWString> vecTexts = votest::CollidingGroup(0);
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 5, VOTEXT("five"), vecTexts[0] + VOTEXT("|a")));
    ASSERT_NE(0, Insert(manager, 4, VOTEXT("four"), vecTexts[1] + VOTEXT("|b")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(5, TypeOf(manager, vecTexts[0]));
    EXPECT_EQ(5, TypeOf(manager, vecTexts[1])) << "no text is ever compared";
    EXPECT_EQ(5, TypeOf(manager, vecTexts[2])) << "not even one that is in no list";
    EXPECT_EQ(4, TypeOf(manager, VOTEXT("b")));
}

TEST(ClassifyManager, AnUnknownExtensionIsASilentMissThatLeavesTheResult)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 1, VOTEXT("one"), VOTEXT("png")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    LogCapture log;
    int nType = 123;
    EXPECT_EQ(0, manager.GetClassifyTypeByExtension(VOTEXT("pn"), nType));
    EXPECT_EQ(123, nType);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, AnEmptyOrMissingExtensionIsLogged)
{
    VOTSAssetNodeClassifyManager manager;
    for (const VOWCHAR* pszExtension : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture log;
        int nType = 123;
        EXPECT_EQ(0, manager.GetClassifyTypeByExtension(pszExtension, nType));
        EXPECT_EQ(123, nType);
        ASSERT_EQ(1u, log.Count());
        EXPECT_TRUE(HasText(log.Lines(), "VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "GetClassifyTypeByExtension\n"));
    }
}

TEST(ClassifyManager, AnExtensionOfALookupIsCutTo99Characters)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 6, VOTEXT("six"), VOWString(99, VOTEXT('e'))));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    LogCapture log;
    EXPECT_EQ(6, TypeOf(manager, VOWString(99, VOTEXT('e'))));
    EXPECT_EQ(6, TypeOf(manager, VOWString(100, VOTEXT('E'))));
    EXPECT_EQ(6, TypeOf(manager, VOWString(3000, VOTEXT('e'))));
    EXPECT_EQ(-77, TypeOf(manager, VOWString(98, VOTEXT('e'))));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, ANameIsFoundInAnyCaseAndAMissIsSilent)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 3, VOTEXT("Texture"), VOTEXT("png")));
    LogCapture log;
    EXPECT_EQ(3, TypeOfName(manager, VOTEXT("texture")));
    EXPECT_EQ(3, TypeOfName(manager, VOTEXT("TEXTURE")));
    EXPECT_EQ(-77, TypeOfName(manager, VOTEXT("Textur")));
    EXPECT_EQ(-77, TypeOfName(manager, VOTEXT("")));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, AMissingNameIsLogged)
{
    VOTSAssetNodeClassifyManager manager;
    LogCapture log;
    int nType = 123;
    EXPECT_EQ(0, manager.GetClassifyTypeByName(nullptr, nType));
    EXPECT_EQ(123, nType);
    ASSERT_EQ(1u, log.Count());
    EXPECT_TRUE(HasText(log.Lines(), "VO_PROCESS_ERROR("));
    EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "GetClassifyTypeByName\n"));
}

TEST(ClassifyManager, TheFirstColourIsTheTypesAndTheSecondItsBackground)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.InsertClassifyType(3, VOTEXT("t"), VOTEXT("e"), Paint(0x11223344), Paint(0xAABBCCDD)));
    Color color;
    ASSERT_NE(0, manager.GetClassifyTypeColor(3, color));
    EXPECT_EQ(0x11223344u, color.uValue);
    ASSERT_NE(0, manager.GetClassifyBackgroundColor(3, color));
    EXPECT_EQ(0xAABBCCDDu, color.uValue);
}

TEST(ClassifyManager, AnUnknownTypeIsASilentMissInAllFourQueries)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 3, VOTEXT("t"), VOTEXT("e")));
    LogCapture log;
    WideBuffer<LENGTH_OF_EXTENSIONS> text;
    Color color = Paint(42);
    EXPECT_EQ(0, manager.GetClassifyName(4, text.szText));
    EXPECT_EQ(0, manager.GetClassifyExtensions(4, text.szText));
    EXPECT_EQ(0, manager.GetClassifyTypeColor(4, color));
    EXPECT_EQ(0, manager.GetClassifyBackgroundColor(4, color));
    EXPECT_TRUE(text.Untouched());
    EXPECT_EQ(42u, color.uValue);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyManager, AMissingResultBufferIsLogged)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 3, VOTEXT("t"), VOTEXT("e")));
    LogCapture log;
    EXPECT_EQ(0, manager.GetClassifyName(3, nullptr));
    EXPECT_EQ(1u, log.Count());
    EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "GetClassifyName\n"));
    log.Clear();
    EXPECT_EQ(0, manager.GetClassifyExtensions(3, nullptr));
    EXPECT_EQ(1u, log.Count());
    EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "GetClassifyExtensions\n"));
}

TEST(ClassifyManager, CleanUpEmptiesTheTableAndItsNumbersAndNamesAreFreeAgain)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, Insert(manager, 3, VOTEXT("t"), VOTEXT("e")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_NE(0, manager.CleanUp());
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("e")));
    EXPECT_EQ(-77, TypeOfName(manager, VOTEXT("t")));
    ASSERT_NE(0, Insert(manager, 3, VOTEXT("t"), VOTEXT("f")));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    EXPECT_EQ(3, TypeOf(manager, VOTEXT("f")));
    EXPECT_EQ(-77, TypeOf(manager, VOTEXT("e")));
}

TEST(ClassifyManager, ManyTypesKeepTheirNamesListsAndColours)
{
    VOTSAssetNodeClassifyManager manager;
    for (int i = 0; i < 300; ++i)
    {
        const VOWString strNumber = Wide(std::to_string(i));
        ASSERT_NE(0,
                  manager.InsertClassifyType(1000 - 3 * i, (VOTEXT("name") + strNumber).c_str(),
                                             (VOTEXT("e") + strNumber + VOTEXT("|x") + strNumber).c_str(),
                                             Paint(static_cast<unsigned>(i)), Paint(static_cast<unsigned>(i) + 1000)));
    }
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    for (int i = 0; i < 300; ++i)
    {
        const VOWString strNumber = Wide(std::to_string(i));
        const int nType = 1000 - 3 * i;
        EXPECT_EQ(nType, TypeOf(manager, VOTEXT("E") + strNumber));
        EXPECT_EQ(nType, TypeOf(manager, VOTEXT("x") + strNumber));
        EXPECT_EQ(nType, TypeOfName(manager, VOTEXT("NAME") + strNumber));
        Color color;
        EXPECT_NE(0, manager.GetClassifyBackgroundColor(nType, color));
        EXPECT_EQ(static_cast<unsigned>(i) + 1000, color.uValue);
    }
}

TEST(ClassifyManager, TextsAtOddAddressesAreRead)
{
    VOTSAssetNodeClassifyManager manager;
    const votest::PlacedText name(VOTEXT("Odd"));
    const votest::PlacedText list(VOTEXT("one|TWO"));
    ASSERT_NE(0, manager.InsertClassifyType(3, name, list, Color(), Color()));
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    int nType = 0;
    EXPECT_NE(0, manager.GetClassifyTypeByExtension(votest::PlacedText(VOTEXT("two")), nType));
    EXPECT_EQ(3, nType);
    EXPECT_NE(0, manager.GetClassifyTypeByName(votest::PlacedText(VOTEXT("oDD")), nType));
}

// ---------------------------------------------------------------------------------------------------------------------
// ExtensionStringEnable
// ---------------------------------------------------------------------------------------------------------------------

TEST(ExtensionStringEnable, OneWholeEntryOfTheListCountsWhereverItStands)
{
    OpenClassify manager;
    const VOWCHAR* pszList = VOTEXT("png|TGA|dds");
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("png"), pszList));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("tga"), pszList));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("DDS"), pszList));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("png"), VOTEXT("PNG")));
}

TEST(ExtensionStringEnable, APartOfAnEntryDoesNotCount)
{
    OpenClassify manager;
    const VOWCHAR* pszList = VOTEXT("png|tga|dds");
    LogCapture log;
    for (const VOWCHAR* pszPart : {VOTEXT("pn"), VOTEXT("ng"), VOTEXT("g"), VOTEXT("tg"), VOTEXT("ga"), VOTEXT("ds"),
                                   VOTEXT("dd"), VOTEXT("bmp"), VOTEXT("pngx")})
    {
        EXPECT_EQ(0, manager.ExtensionStringEnable(pszPart, pszList)) << votest::Shown(pszPart);
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ExtensionStringEnable, TheSearchGoesOnBehindAMatchThatDoesNotCount)
{
    OpenClassify manager;
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("g"), VOTEXT("png|tga|g")));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("g"), VOTEXT("png|g|tga")));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("tga"), VOTEXT("tgax|xtga|tga")));
}

TEST(ExtensionStringEnable, AnEntryWithASeparatorIsSearchedLikeAnyOther)
{
    OpenClassify manager;
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("png|tga"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("tga|dds"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("tga|dds"), VOTEXT("png|tga|dds|bmp")));
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT("ga|dds"), VOTEXT("png|tga|dds")));
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT("|tga"), VOTEXT("png|tga|dds")));
    EXPECT_NE(0, manager.ExtensionStringEnable(VOTEXT("|tga"), VOTEXT("png||tga|dds")));
}

TEST(ExtensionStringEnable, AMatchBehindAnUncountedOneThatOverlapsItIsNotSeen)
{
    OpenClassify manager;
    // "a|a" at 1 doesn't count ("xa|a|a"); the search goes on behind it and finds no further match.
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT("a|a"), VOTEXT("xa|a|a")));
}

TEST(ExtensionStringEnable, MissingArgumentsAreLogged)
{
    OpenClassify manager;
    LogCapture log;
    EXPECT_EQ(0, manager.ExtensionStringEnable(nullptr, VOTEXT("png")));
    EXPECT_EQ(1u, log.Count());
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT("png"), nullptr));
    EXPECT_EQ(2u, log.Count());
    EXPECT_TRUE(HasText(log.Lines(), kManagerClass + "ExtensionStringEnable\n"));
}

TEST(ExtensionStringEnable, AnEmptyExtensionOrListIsNotFound)
{
    OpenClassify manager;
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT(""), VOTEXT("png|tga")));
    EXPECT_EQ(0, manager.ExtensionStringEnable(VOTEXT("png"), VOTEXT("")));
}

}  // namespace
