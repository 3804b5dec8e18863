// How a container makes any given path fit for lookup: removal of the root, refusals, cuts.
#include "assetindex/asset_test_tools.h"

namespace
{
using namespace assettest;

const std::string kFunction = "VOTSAssetNodeContainer::NormailzeAssetPath";
const VOWString kRefused = VOTEXT("<refused>");

VOWString Relative(const VOTSAssetNodeContainer& rkContainer, const VOWString& strPath, int bLower = 0,
                   unsigned int uSize = MAX_PATH)
{
    WideBuffer<> kBuffer;
    const int nResult = rkContainer.NormailzeAssetPath(kBuffer.szText, strPath.c_str(), uSize, bLower);
    EXPECT_TRUE(kBuffer.UntouchedFrom(uSize)) << "written behind " << uSize;
    return nResult != 0 ? kBuffer.Text() : kRefused;
}

TEST(NormalisePath, ARelativePathKeepsEverythingEvenTheRootsText)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("Data"), VOTEXT("name"));
    LogCapture kLog;
    EXPECT_EQ(VOWString(VOTEXT("Data/a.txt")), Relative(kContainer, VOTEXT("Data/a.txt")));
    EXPECT_EQ(VOWString(VOTEXT("data/a.txt")), Relative(kContainer, VOTEXT("Data\\A.txt\\"), 1));
    EXPECT_EQ(VOWString(VOTEXT("/Data/x")), Relative(kContainer, VOTEXT("/Data/x")));
    EXPECT_EQ(VOWString(), Relative(kContainer, VOTEXT("")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(NormalisePath, AnAbsolutePathLosesItsRootInAnyCaseWithAnySeparator)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(kContainer, VOTEXT("c:\\DATA\\a.txt"), 0));
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(kContainer, VOTEXT("c:\\DATA\\a.txt"), 1));
    EXPECT_EQ(VOWString(VOTEXT("Sub/A.TXT")), Relative(kContainer, VOTEXT("C:/Data\\Sub/A.TXT/"), 0));
    EXPECT_EQ(VOWString(VOTEXT("sub/a.txt")), Relative(kContainer, VOTEXT("C:/Data\\Sub/A.TXT/"), 1));
}

TEST(NormalisePath, TheRootMayBeGivenWithBackslashesAndTrailingSeparators)
{
    for (const VOWCHAR* pszRoot :
         {VOTEXT("C:\\Data"), VOTEXT("C:\\Data\\"), VOTEXT("C:/Data//"), VOTEXT("C:/Data\\/\\")})
    {
        VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, pszRoot, nullptr);
        EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(kContainer.GetRootPath()));
        EXPECT_EQ(VOWString(VOTEXT("a/b")), Relative(kContainer, VOTEXT("C:\\Data\\a\\b")));
    }
}

TEST(NormalisePath, TheRootItselfIsRefusedAndLogged)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    for (const VOWCHAR* pszPath : {VOTEXT("C:/Data"), VOTEXT("C:/Data/"), VOTEXT("c:\\data\\\\"), VOTEXT("C:/Datax")})
    {
        LogCapture kLog;
        EXPECT_EQ(kRefused, Relative(kContainer, pszPath));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("nLenResult >= (nLen + 2)", kFunction)));
    }
    EXPECT_EQ(VOWString(VOTEXT("x")), Relative(kContainer, VOTEXT("C:/Data/x")));
}

TEST(NormalisePath, AnAbsolutePathElsewhereFailsInSilence)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    LogCapture kLog;
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("D:/Data/a.txt")));
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("C:/Dat/a.txt")));
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("a:b")));
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT(":")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(NormalisePath, WithoutARootAnAbsolutePathIsRefusedAndLogged)
{
    VOTSAssetNodeContainer kContainer;
    LogCapture kLog;
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("C:/Data/a.txt")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pszRootPath", kFunction)));
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(kContainer, VOTEXT("a.txt")));
}

TEST(NormalisePath, APathWithoutAColonIsTakenAsItStandsAlsoBelowARootThatHasNone)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("/srv/assets"));
    NewNode(kContainer, VOTEXT("dir/a.txt"));
    EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("dir/a.txt")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("/srv/assets/dir/a.txt")));
}

TEST(NormalisePath, TheCutIsCountedFromTheStartWhereverTheRootWasFound)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    // The first 8 characters go, though the root begins at the seventh.
    EXPECT_EQ(VOWString(VOTEXT("/Data/abc")), Relative(kContainer, VOTEXT("D:/xy/C:/Data/abc")));
    // The character behind the root is cut whatever it is.
    EXPECT_EQ(VOWString(VOTEXT("/a")), Relative(kContainer, VOTEXT("C:/DataX/a")));
    EXPECT_EQ(VOWString(VOTEXT("Base/a")), Relative(kContainer, VOTEXT("C:/Data-Base/a")));
}

TEST(NormalisePath, AColonAnywhereMakesAPathAbsolute)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("dir/file:stream")));
    EXPECT_EQ(VOWString(VOTEXT("file:stream")), Relative(kContainer, VOTEXT("C:/Data/file:stream")));
}

TEST(NormalisePath, ACutPathIsJudgedByWhatIsLeftOfIt)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("ab")), Relative(kContainer, VOTEXT("C:/Data/abcdef"), 0, 11));
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("C:/Data/abcdef"), 0, 9));
    EXPECT_EQ(kRefused, Relative(kContainer, VOTEXT("C:/Data/abcdef"), 0, 5));
    EXPECT_EQ(VOWString(VOTEXT("C")), Relative(kContainer, VOTEXT("C:/Data/abcdef"), 0, 2));
    EXPECT_EQ(VOWString(VOTEXT("abcd")), Relative(kContainer, VOTEXT("abcdef"), 0, 5));
}

TEST(NormalisePath, ASizeOfZeroWritesNothing)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    WideBuffer<> kBuffer;
    (void)kContainer.NormailzeAssetPath(kBuffer.szText, VOTEXT("C:/Data/abc"), 0, 1);
    EXPECT_TRUE(kBuffer.Untouched());
}

TEST(NormalisePath, ARootWithOtherLettersIsRemovedWithoutRegardToTheirCase)
{
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, VOTEXT("C:/\x00C4rger"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("a")), Relative(kContainer, VOTEXT("c:/\x00E4RGER/a")));
}

TEST(NormalisePath, ACustomerTakesTheRootOfItsImage)
{
    VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), VOTEXT("n"));
    const MisalignedBlock kImage(ImageOf(kProvider), 1);
    VOTSAssetNodeContainer kCustomer(LUMTrayService::AR_Customer);
    EXPECT_EQ(kRefused, Relative(kCustomer, VOTEXT("C:/Data/a")));
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(VOWString(VOTEXT("Sub/a")), Relative(kCustomer, VOTEXT("C:\\DATA\\Sub\\a")));
    EXPECT_EQ(kRefused, Relative(kCustomer, VOTEXT("D:/Data/a")));
}

TEST(NormalisePath, AProvidersOwnRootGoesBeforeTheRootOfAnImage)
{
    VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), VOTEXT("n"));
    const MisalignedBlock kImage(ImageOf(kProvider), 1);
    VOTSAssetNodeContainer kOther(LUMTrayService::AR_Provider, VOTEXT("D:/Else"), nullptr);
    ASSERT_NE(0, kOther.SetAlloc(kImage.As<ContainerImage>(), 1));
    EXPECT_EQ(VOWString(VOTEXT("a")), Relative(kOther, VOTEXT("D:/Else/a")));
    EXPECT_EQ(kRefused, Relative(kOther, VOTEXT("C:/Data/a")));
}

TEST(NormalisePath, ARootIsCutTo259Characters)
{
    const VOWString strRoot = VOTEXT("C:/") + VOWString(400, VOTEXT('r'));
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, strRoot.c_str(), strRoot.c_str());
    EXPECT_EQ(strRoot.substr(0, 259), ReadText(kContainer.GetRootPath()));
    EXPECT_EQ(strRoot.substr(0, 259), ReadText(kContainer.GetRootName()));
}

}  // namespace
