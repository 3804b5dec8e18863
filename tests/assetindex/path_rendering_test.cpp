// Turning a node back into a path, deriving an empty container, and the forwards to the classify table.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

// A provider with one node whose three name parts are as given.
struct OneNode
{
    VOTSAssetNodeContainer kContainer;

    OneNode(const VOWCHAR* pszDir, const VOWCHAR* pszBase, const VOWCHAR* pszExt, const VOWCHAR* pszRoot = nullptr)
        : kContainer(AR_Provider, pszRoot, nullptr)
    {
        NewNode(kContainer, VOTEXT("key"));
        EXPECT_NE(0, kContainer.SetAssetNodeStripPath(0, pszDir, pszBase, pszExt));
    }
};

TEST(AssetPath, TheFourFormsDependOnTheHandlesThatAreSet)
{
    EXPECT_EQ(VOWString(VOTEXT("a/b/base.ext")),
              PathOf(OneNode(VOTEXT("a/b"), VOTEXT("base"), VOTEXT("ext")).kContainer, 0));
    EXPECT_EQ(VOWString(VOTEXT("a/b/base")), PathOf(OneNode(VOTEXT("a/b"), VOTEXT("base"), nullptr).kContainer, 0));
    EXPECT_EQ(VOWString(VOTEXT("base.ext")), PathOf(OneNode(nullptr, VOTEXT("base"), VOTEXT("ext")).kContainer, 0));
    EXPECT_EQ(VOWString(VOTEXT("base")), PathOf(OneNode(nullptr, VOTEXT("base"), nullptr).kContainer, 0));
}

TEST(AssetPath, PercentSignsInNamesAreText)
{
    EXPECT_EQ(VOWString(VOTEXT("%s/100%n.%d")),
              PathOf(OneNode(VOTEXT("%s"), VOTEXT("100%n"), VOTEXT("%d")).kContainer, 0));
}

TEST(AssetPath, WithoutABaseNameThereIsNone)
{
    OneNode kNode(VOTEXT("a"), nullptr, VOTEXT("ext"));
    LogCapture kLog;
    WideBuffer<> kBuffer;
    EXPECT_EQ(0, kNode.kContainer.GetAssetPath(0, MAX_PATH, kBuffer.szText));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pszBaseName", kClass + "GetAssetPath")));
}

TEST(AssetPath, AHandleWithoutATextIsLogged)
{
    for (const bool bDirectory : {true, false})
    {
        // The handle of a key, which has no text.
        ModelContainer kModel;
        kModel.Add(VOTEXT("dir/base.ext"), false, kNone);
        (bDirectory ? kModel.vecNodes[0].ullComponent : kModel.vecNodes[0].ullExtension) = kModel.vecNodes[0].ullKey;
        const MisalignedBlock kImage(kModel.Image());
        VOTSAssetNodeContainer kCustomer(AR_Customer);
        ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
        LogCapture kLog;
        WideBuffer<> kBuffer;
        EXPECT_EQ(0, kCustomer.GetAssetPath(0, MAX_PATH, kBuffer.szText));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(bDirectory ? "pszDir" : "pszExt", kClass + "GetAssetPath")));
    }
}

TEST(AssetPath, ABufferThatJustFitsIsFilledAndOneLessIsCutAndTerminated)
{
    OneNode kNode(VOTEXT("dir"), VOTEXT("base"), VOTEXT("ext"));
    for (unsigned int uSize = 1; uSize <= 14; ++uSize)
    {
        LogCapture kLog;
        WideBuffer<> kBuffer;
        const int nResult = kNode.kContainer.GetAssetPath(0, uSize, kBuffer.szText);
        EXPECT_EQ(uSize >= 13, nResult != 0) << uSize;
        EXPECT_EQ(VOWString(VOTEXT("dir/base.ext")).substr(0, uSize - 1), kBuffer.Text());
        EXPECT_TRUE(kBuffer.UntouchedFrom(uSize));
        ASSERT_EQ(uSize >= 13 ? 0u : 1u, kLog.Count());
        if (uSize < 13)
        {
            EXPECT_EQ(0u, kLog.Lines()[0].find("VO_COM_PROCESS_ERROR(")) << kLog.Lines()[0];
            EXPECT_TRUE(HasText(kLog.Lines(), kClass + "GetAssetPath\n"));
        }
    }
}

TEST(AssetPath, ArgumentsAreCheckedInOrder)
{
    OneNode kNode(VOTEXT("dir"), VOTEXT("base"), VOTEXT("ext"), VOTEXT("C:/Data"));
    WideBuffer<> kBuffer;
    for (const bool bAbsolute : {false, true})
    {
        const std::string strFunction = kClass + (bAbsolute ? "GetAssetAbsolutePath" : "GetAssetPath");
        const auto kCall = [&](unsigned int uID, unsigned int uSize, VOWCHAR* pszResult)
        {
            return bAbsolute ? kNode.kContainer.GetAssetAbsolutePath(uID, uSize, pszResult)
                             : kNode.kContainer.GetAssetPath(uID, uSize, pszResult);
        };
        LogCapture kLog;
        EXPECT_EQ(0, kCall(5, 0, nullptr));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pszResult", strFunction)));
        kLog.Clear();
        EXPECT_EQ(0, kCall(5, 0, kBuffer.szText));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("nBufferSize", strFunction)));
        kLog.Clear();
        EXPECT_EQ(0, kCall(5, 10, kBuffer.szText));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uAssetID < m_vecAssetNode.Count()", strFunction)));
        EXPECT_TRUE(kBuffer.Untouched());
    }
}

TEST(AbsolutePath, IsTheRootASlashAndTheRelativePath)
{
    OneNode kNode(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:\\Data\\"));
    WideBuffer<> kBuffer;
    EXPECT_NE(0, kNode.kContainer.GetAssetAbsolutePath(0, MAX_PATH, kBuffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data/Dir/Base.Ext")), kBuffer.Text());
}

TEST(AbsolutePath, OfACustomerBeginsWithTheRootOfTheImage)
{
    OneNode kNode(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:\\Data\\"));
    const MisalignedBlock kImage(ImageOf(kNode.kContainer), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    WideBuffer<> kBuffer;
    EXPECT_NE(0, kCustomer.GetAssetAbsolutePath(0, MAX_PATH, kBuffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data/Dir/Base.Ext")), kBuffer.Text());
}

TEST(AbsolutePath, WithoutARootThereIsNone)
{
    OneNode kNode(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"));
    LogCapture kLog;
    WideBuffer<> kBuffer;
    EXPECT_EQ(0, kNode.kContainer.GetAssetAbsolutePath(0, MAX_PATH, kBuffer.szText));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pszFromDir", kClass + "GetAssetAbsolutePath")));
}

TEST(AbsolutePath, ABufferThatIsTooSmallHoldsTheCutTextTerminated)
{
    OneNode kNode(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:/Data"));
    const VOWString strWhole = VOTEXT("C:/Data/Dir/Base.Ext");
    for (const unsigned int uSize : {1u, 5u, 20u, 21u})
    {
        LogCapture kLog;
        WideBuffer<> kBuffer;
        EXPECT_EQ(uSize == 21, kNode.kContainer.GetAssetAbsolutePath(0, uSize, kBuffer.szText) != 0) << uSize;
        EXPECT_EQ(strWhole.substr(0, uSize - 1), kBuffer.Text());
        EXPECT_TRUE(kBuffer.UntouchedFrom(uSize));
        EXPECT_EQ(uSize == 21 ? 0u : 1u, kLog.Count());
        EXPECT_EQ(uSize != 21, HasText(kLog.Lines(), "VO_COM_PROCESS_ERROR("));
    }
}

TEST(AbsolutePath, ARelativePathOf260CharactersFailsWhateverTheBufferHolds)
{
    for (const size_t uLength : {size_t{259}, size_t{260}})
    {
        OneNode kNode(VOWString(100, VOTEXT('d')).c_str(), VOWString(uLength - 101, VOTEXT('b')).c_str(), nullptr,
                      VOTEXT("C:/Data"));
        WideBuffer<1000> kBuffer;
        EXPECT_NE(0, kNode.kContainer.GetAssetPath(0, 1000, kBuffer.szText));
        EXPECT_EQ(uLength, kBuffer.Text().size());
        WideBuffer<1000> kAbsolute;
        LogCapture kLog;
        EXPECT_EQ(uLength < 260, kNode.kContainer.GetAssetAbsolutePath(0, 1000, kAbsolute.szText) != 0);
        EXPECT_EQ(uLength < 260, kLog.Count() == 0);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// ReConstructContainer
// ---------------------------------------------------------------------------------------------------------------------

TEST(ReConstruct, FromACustomerGivesAnEmptyContainerWithItsRootAndTypes)
{
    ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root\\Name"));
    const MisalignedBlock kImage(kModel.Image(), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));

    VOTSAssetNodeContainer kTarget(AR_Provider, VOTEXT("D:/Old"), VOTEXT("Old"));
    NewNode(kTarget, VOTEXT("old"));
    LogCapture kLog;
    EXPECT_NE(0, kCustomer.ReConstructContainer(&kTarget));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(0u, kTarget.GetAssetNodeCount());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kTarget.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Root\\Name")), ReadText(kTarget.GetRootName()));
    for (const VOWCHAR* pszExtension : {VOTEXT("PNG"), VOTEXT("tga"), VOTEXT("txt"), VOTEXT("none")})
    {
        int nExpected = -77;
        int nActual = -77;
        EXPECT_EQ(kCustomer.GetClassifyTypeByExtension(pszExtension, nExpected),
                  kTarget.GetClassifyTypeByExtension(pszExtension, nActual));
        EXPECT_EQ(nExpected, nActual);
    }
    EXPECT_EQ(0u, NewNode(kTarget, VOTEXT("C:/Root/new")));
    EXPECT_EQ(0u, FoundID(kTarget, VOTEXT("new")));
}

TEST(ReConstruct, TheTargetOutlivesTheImageItCameFrom)
{
    VOTSAssetNodeContainer kTarget;
    {
        ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Name"));
        const MisalignedBlock kImage(kModel.Image(), 1);
        VOTSAssetNodeContainer kCustomer(AR_Customer);
        ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
        ASSERT_NE(0, kCustomer.ReConstructContainer(&kTarget));
    }
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kTarget.GetRootPath()));
    int nType = 0;
    EXPECT_NE(0, kTarget.GetClassifyTypeByName(VOTEXT("text"), nType));
    EXPECT_EQ(-1, nType);
    EXPECT_FALSE(ImageOf(kTarget).empty());
}

TEST(ReConstruct, FromAContainerWithoutARootTheTargetLosesItsOwn)
{
    VOTSAssetNodeContainer kSource;
    VOTSAssetNodeContainer kTarget(AR_Provider, VOTEXT("D:/Old"), VOTEXT("Old"));
    EXPECT_NE(0, kSource.ReConstructContainer(&kTarget));
    EXPECT_EQ(nullptr, kTarget.GetRootPath());
    EXPECT_EQ(nullptr, kTarget.GetRootName());
}

TEST(ReConstruct, TheTargetsListsStay)
{
    VOTSAssetNodeContainer kSource(AR_Provider, VOTEXT("C:/Root"), nullptr);
    VOTSAssetNodeContainer kTarget;
    AddLinked(kTarget, VOTEXT("dir"), true, kNone);
    AddLinked(kTarget, VOTEXT("dir/a"), false, 0);
    EXPECT_NE(0, kSource.ReConstructContainer(&kTarget));
    EXPECT_EQ(1u, kTarget.GetInfoNumberCount(0));
}

TEST(ReConstruct, ANullTargetIsLogged)
{
    VOTSAssetNodeContainer kSource;
    LogCapture kLog;
    EXPECT_EQ(0, kSource.ReConstructContainer(nullptr));
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR("));
    EXPECT_TRUE(HasText(kLog.Lines(), kClass + "ReConstructContainer\n"));
}

struct OpenMembers : VOTSAssetNodeContainer
{
    using VOTSAssetNodeContainer::m_eAssetRole;
    using VOTSAssetNodeContainer::m_hStrRootName;
    using VOTSAssetNodeContainer::m_hStrRootPath;
    using VOTSAssetNodeContainer::m_mapStringHandle2ParamIndex;
    using VOTSAssetNodeContainer::m_mapTableStringHandle2ParamIndex;
    using VOTSAssetNodeContainer::m_pkAssetIndexContainer;
    using VOTSAssetNodeContainer::m_pkClassifyMgr;
    using VOTSAssetNodeContainer::m_pkStringSet;
    using VOTSAssetNodeContainer::m_tszRootName;
    using VOTSAssetNodeContainer::m_tszRootPath;
    using VOTSAssetNodeContainer::m_vecAssetNode;
    using VOTSAssetNodeContainer::VOTSAssetNodeContainer;
};

TEST(ReConstruct, ADerivedClassSeesAnEmptyContainerWithTheRootInItsBuffers)
{
    VOTSAssetNodeContainer kSource(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    OpenMembers kTarget(AR_Provider, VOTEXT("D:/A longer old root"), VOTEXT("A longer old name"));
    AddLinked(kTarget, VOTEXT("a"), false, kNone);
    EXPECT_EQ(1u, kTarget.m_vecAssetNode.Count());
    EXPECT_EQ(1u, kTarget.m_mapStringHandle2ParamIndex.Count());
    EXPECT_FALSE(ImageOf(kTarget).empty());
    EXPECT_NE(INVALID_HANDLE_VALUE, kTarget.m_hStrRootPath);
    EXPECT_NE(INVALID_HANDLE_VALUE, kTarget.m_hStrRootName);
    ASSERT_NE(0, kSource.ReConstructContainer(&kTarget));
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kTarget.m_tszRootPath));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(kTarget.m_tszRootName));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kTarget.m_hStrRootPath);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kTarget.m_hStrRootName);
    EXPECT_EQ(AR_Provider, kTarget.m_eAssetRole);
    EXPECT_EQ(0u, kTarget.m_vecAssetNode.Count());
    EXPECT_EQ(0u, kTarget.m_mapStringHandle2ParamIndex.Count());
    EXPECT_EQ(0u, kTarget.m_mapTableStringHandle2ParamIndex.Count());
    EXPECT_NE(nullptr, kTarget.m_pkStringSet);
    EXPECT_NE(nullptr, kTarget.m_pkAssetIndexContainer);
    EXPECT_NE(nullptr, kTarget.m_pkClassifyMgr);
}

TEST(ReConstruct, OntoItselfDoesNoHarm)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    FillSample(kContainer);
    (void)kContainer.ReConstructContainer(&kContainer);
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
    EXPECT_FALSE(ImageOf(kContainer).empty());
}

// ---------------------------------------------------------------------------------------------------------------------
// Forwards to the classify table
// ---------------------------------------------------------------------------------------------------------------------

TEST(ClassifyForwards, AProviderFillsItsTableAndAsksIt)
{
    VOTSAssetNodeContainer kContainer;
    EXPECT_NE(0, kContainer.InsertClassifyType(3, VOTEXT("T"), VOTEXT("a|b"), ColorOf(1), ColorOf(2)));
    int nType = 0;
    EXPECT_EQ(0, kContainer.GetClassifyTypeByExtension(VOTEXT("b"), nType));
    EXPECT_NE(0, kContainer.BuildUpExtensionsHash());
    EXPECT_NE(0, kContainer.GetClassifyTypeByExtension(VOTEXT("B"), nType));
    EXPECT_EQ(3, nType);
    EXPECT_NE(0, kContainer.GetClassifyTypeByName(VOTEXT("t"), nType));
    WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
    EXPECT_NE(0, kContainer.GetClassifyName(3, kName.szText));
    EXPECT_EQ(VOWString(VOTEXT("T")), kName.Text());
    WideBuffer<LENGTH_OF_EXTENSIONS> kList;
    EXPECT_NE(0, kContainer.GetClassifyExtensions(3, kList.szText));
    EXPECT_EQ(VOWString(VOTEXT("a|b")), kList.Text());
    Color kColor;
    EXPECT_NE(0, kContainer.GetClassifyTypeColor(3, kColor));
    EXPECT_EQ(1u, kColor.uValue);
    EXPECT_NE(0, kContainer.GetClassifyBackgroundColor(3, kColor));
    EXPECT_EQ(2u, kColor.uValue);
}

TEST(ClassifyForwards, ACustomerRefusesWhatChangesTheTable)
{
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    LogCapture kLog;
    EXPECT_EQ(0, kCustomer.InsertClassifyType(3, VOTEXT("T"), VOTEXT("a"), Color(), Color()));
    EXPECT_EQ(0, kCustomer.BuildUpExtensionsHash());
    const std::string strCheck = "LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole";
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(strCheck, kClass + "InsertClassifyType"),
                                          ProcessError(strCheck, kClass + "BuildUpExtensionsHash")));
}

}  // namespace
