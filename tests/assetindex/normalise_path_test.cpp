// How a container makes any given path fit for lookup: removal of the root, refusals, cuts.
#include "assetindex/asset_test_tools.h"

namespace
{
using namespace assettest;

const std::string kFunction = "VOTSAssetNodeContainer::NormailzeAssetPath";
const VOWString kRefused = VOTEXT("<refused>");

VOWString Relative(const VOTSAssetNodeContainer& container, const VOWString& strPath, int bLower = 0,
                   unsigned int uSize = MAX_PATH)
{
    WideBuffer<> buffer;
    const int nResult = container.NormailzeAssetPath(buffer.szText, strPath.c_str(), uSize, bLower);
    EXPECT_TRUE(buffer.UntouchedFrom(uSize)) << "written behind " << uSize;
    return nResult != 0 ? buffer.Text() : kRefused;
}

TEST(NormalisePath, ARelativePathKeepsEverythingEvenTheRootsText)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("Data"), VOTEXT("name"));
    LogCapture log;
    EXPECT_EQ(VOWString(VOTEXT("Data/a.txt")), Relative(container, VOTEXT("Data/a.txt")));
    EXPECT_EQ(VOWString(VOTEXT("data/a.txt")), Relative(container, VOTEXT("Data\\A.txt\\"), 1));
    EXPECT_EQ(VOWString(VOTEXT("/Data/x")), Relative(container, VOTEXT("/Data/x")));
    EXPECT_EQ(VOWString(), Relative(container, VOTEXT("")));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(NormalisePath, AnAbsolutePathLosesItsRootInAnyCaseWithAnySeparator)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(container, VOTEXT("c:\\DATA\\a.txt"), 0));
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(container, VOTEXT("c:\\DATA\\a.txt"), 1));
    EXPECT_EQ(VOWString(VOTEXT("Sub/A.TXT")), Relative(container, VOTEXT("C:/Data\\Sub/A.TXT/"), 0));
    EXPECT_EQ(VOWString(VOTEXT("sub/a.txt")), Relative(container, VOTEXT("C:/Data\\Sub/A.TXT/"), 1));
}

TEST(NormalisePath, TheRootMayBeGivenWithBackslashesAndTrailingSeparators)
{
    for (const VOWCHAR* pszRoot :
         {VOTEXT("C:\\Data"), VOTEXT("C:\\Data\\"), VOTEXT("C:/Data//"), VOTEXT("C:/Data\\/\\")})
    {
        VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, pszRoot, nullptr);
        EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(container.GetRootPath()));
        EXPECT_EQ(VOWString(VOTEXT("a/b")), Relative(container, VOTEXT("C:\\Data\\a\\b")));
    }
}

TEST(NormalisePath, TheRootItselfIsRefusedAndLogged)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    for (const VOWCHAR* pszPath : {VOTEXT("C:/Data"), VOTEXT("C:/Data/"), VOTEXT("c:\\data\\\\"), VOTEXT("C:/Datax")})
    {
        LogCapture log;
        EXPECT_EQ(kRefused, Relative(container, pszPath));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("nLenResult >= (nLen + 2)", kFunction)));
    }
    EXPECT_EQ(VOWString(VOTEXT("x")), Relative(container, VOTEXT("C:/Data/x")));
}

TEST(NormalisePath, AnAbsolutePathElsewhereFailsInSilence)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    LogCapture log;
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("D:/Data/a.txt")));
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("C:/Dat/a.txt")));
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("a:b")));
    EXPECT_EQ(kRefused, Relative(container, VOTEXT(":")));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(NormalisePath, WithoutARootAnAbsolutePathIsRefusedAndLogged)
{
    VOTSAssetNodeContainer container;
    LogCapture log;
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("C:/Data/a.txt")));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszRootPath", kFunction)));
    EXPECT_EQ(VOWString(VOTEXT("a.txt")), Relative(container, VOTEXT("a.txt")));
}

TEST(NormalisePath, APathWithoutAColonIsTakenAsItStandsAlsoBelowARootThatHasNone)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("/srv/assets"));
    NewNode(container, VOTEXT("dir/a.txt"));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("dir/a.txt")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("/srv/assets/dir/a.txt")));
}

TEST(NormalisePath, TheCutIsCountedFromTheStartWhereverTheRootWasFound)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    // The first 8 characters go, though the root begins at the seventh.
    EXPECT_EQ(VOWString(VOTEXT("/Data/abc")), Relative(container, VOTEXT("D:/xy/C:/Data/abc")));
    // The character behind the root is cut whatever it is.
    EXPECT_EQ(VOWString(VOTEXT("/a")), Relative(container, VOTEXT("C:/DataX/a")));
    EXPECT_EQ(VOWString(VOTEXT("Base/a")), Relative(container, VOTEXT("C:/Data-Base/a")));
}

TEST(NormalisePath, AColonAnywhereMakesAPathAbsolute)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("dir/file:stream")));
    EXPECT_EQ(VOWString(VOTEXT("file:stream")), Relative(container, VOTEXT("C:/Data/file:stream")));
}

TEST(NormalisePath, ACutPathIsJudgedByWhatIsLeftOfIt)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("ab")), Relative(container, VOTEXT("C:/Data/abcdef"), 0, 11));
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("C:/Data/abcdef"), 0, 9));
    EXPECT_EQ(kRefused, Relative(container, VOTEXT("C:/Data/abcdef"), 0, 5));
    EXPECT_EQ(VOWString(VOTEXT("C")), Relative(container, VOTEXT("C:/Data/abcdef"), 0, 2));
    EXPECT_EQ(VOWString(VOTEXT("abcd")), Relative(container, VOTEXT("abcdef"), 0, 5));
}

TEST(NormalisePath, ASizeOfZeroWritesNothing)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), nullptr);
    WideBuffer<> buffer;
    (void)container.NormailzeAssetPath(buffer.szText, VOTEXT("C:/Data/abc"), 0, 1);
    EXPECT_TRUE(buffer.Untouched());
}

TEST(NormalisePath, ARootWithOtherLettersIsRemovedWithoutRegardToTheirCase)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, VOTEXT("C:/\x00C4rger"), nullptr);
    EXPECT_EQ(VOWString(VOTEXT("a")), Relative(container, VOTEXT("c:/\x00E4RGER/a")));
}

TEST(NormalisePath, ACustomerTakesTheRootOfItsImage)
{
    VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), VOTEXT("n"));
    const MisalignedBlock image(ImageOf(provider), 1);
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    EXPECT_EQ(kRefused, Relative(customer, VOTEXT("C:/Data/a")));
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(VOWString(VOTEXT("Sub/a")), Relative(customer, VOTEXT("C:\\DATA\\Sub\\a")));
    EXPECT_EQ(kRefused, Relative(customer, VOTEXT("D:/Data/a")));
}

TEST(NormalisePath, AProvidersOwnRootGoesBeforeTheRootOfAnImage)
{
    VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Data"), VOTEXT("n"));
    const MisalignedBlock image(ImageOf(provider), 1);
    VOTSAssetNodeContainer other(LUMTrayService::AR_Provider, VOTEXT("D:/Else"), nullptr);
    ASSERT_NE(0, other.SetAlloc(image.As<ContainerImage>(), 1));
    EXPECT_EQ(VOWString(VOTEXT("a")), Relative(other, VOTEXT("D:/Else/a")));
    EXPECT_EQ(kRefused, Relative(other, VOTEXT("C:/Data/a")));
}

TEST(NormalisePath, ARootIsCutTo259Characters)
{
    const VOWString strRoot = VOTEXT("C:/") + VOWString(400, VOTEXT('r'));
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, strRoot.c_str(), strRoot.c_str());
    EXPECT_EQ(strRoot.substr(0, 259), ReadText(container.GetRootPath()));
    EXPECT_EQ(strRoot.substr(0, 259), ReadText(container.GetRootName()));
}

}  // namespace
