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
    VOTSAssetNodeContainer container;

    OneNode(const VOWCHAR* pszDir, const VOWCHAR* pszBase, const VOWCHAR* pszExt, const VOWCHAR* pszRoot = nullptr)
        : container(AR_Provider, pszRoot, nullptr)
    {
        NewNode(container, VOTEXT("key"));
        EXPECT_NE(0, container.SetAssetNodeStripPath(0, pszDir, pszBase, pszExt));
    }
};

TEST(AssetPath, TheFourFormsDependOnTheHandlesThatAreSet)
{
    EXPECT_EQ(VOWString(VOTEXT("a/b/base.ext")),
              PathOf(OneNode(VOTEXT("a/b"), VOTEXT("base"), VOTEXT("ext")).container, 0));
    EXPECT_EQ(VOWString(VOTEXT("a/b/base")), PathOf(OneNode(VOTEXT("a/b"), VOTEXT("base"), nullptr).container, 0));
    EXPECT_EQ(VOWString(VOTEXT("base.ext")), PathOf(OneNode(nullptr, VOTEXT("base"), VOTEXT("ext")).container, 0));
    EXPECT_EQ(VOWString(VOTEXT("base")), PathOf(OneNode(nullptr, VOTEXT("base"), nullptr).container, 0));
}

TEST(AssetPath, PercentSignsInNamesAreText)
{
    EXPECT_EQ(VOWString(VOTEXT("%s/100%n.%d")),
              PathOf(OneNode(VOTEXT("%s"), VOTEXT("100%n"), VOTEXT("%d")).container, 0));
}

TEST(AssetPath, WithoutABaseNameThereIsNone)
{
    OneNode node(VOTEXT("a"), nullptr, VOTEXT("ext"));
    LogCapture log;
    WideBuffer<> buffer;
    EXPECT_EQ(0, node.container.GetAssetPath(0, MAX_PATH, buffer.szText));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszBaseName", kClass + "GetAssetPath")));
}

TEST(AssetPath, AHandleWithoutATextIsLogged)
{
    for (const bool bDirectory : {true, false})
    {
        // The handle of a key, which has no text.
        ModelContainer model;
        model.Add(VOTEXT("dir/base.ext"), false, kNone);
        (bDirectory ? model.vecNodes[0].ullComponent : model.vecNodes[0].ullExtension) = model.vecNodes[0].ullKey;
        const MisalignedBlock image(model.Image());
        VOTSAssetNodeContainer customer(AR_Customer);
        ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
        LogCapture log;
        WideBuffer<> buffer;
        EXPECT_EQ(0, customer.GetAssetPath(0, MAX_PATH, buffer.szText));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(bDirectory ? "pszDir" : "pszExt", kClass + "GetAssetPath")));
    }
}

TEST(AssetPath, ABufferThatJustFitsIsFilledAndOneLessIsCutAndTerminated)
{
    OneNode node(VOTEXT("dir"), VOTEXT("base"), VOTEXT("ext"));
    for (unsigned int uSize = 1; uSize <= 14; ++uSize)
    {
        LogCapture log;
        WideBuffer<> buffer;
        const int nResult = node.container.GetAssetPath(0, uSize, buffer.szText);
        EXPECT_EQ(uSize >= 13, nResult != 0) << uSize;
        EXPECT_EQ(VOWString(VOTEXT("dir/base.ext")).substr(0, uSize - 1), buffer.Text());
        EXPECT_TRUE(buffer.UntouchedFrom(uSize));
        ASSERT_EQ(uSize >= 13 ? 0u : 1u, log.Count());
        if (uSize < 13)
        {
            EXPECT_EQ(0u, log.Lines()[0].find("VO_COM_PROCESS_ERROR(")) << log.Lines()[0];
            EXPECT_TRUE(HasText(log.Lines(), kClass + "GetAssetPath\n"));
        }
    }
}

TEST(AssetPath, ArgumentsAreCheckedInOrder)
{
    OneNode node(VOTEXT("dir"), VOTEXT("base"), VOTEXT("ext"), VOTEXT("C:/Data"));
    WideBuffer<> buffer;
    for (const bool bAbsolute : {false, true})
    {
        const std::string strFunction = kClass + (bAbsolute ? "GetAssetAbsolutePath" : "GetAssetPath");
        const auto call = [&](unsigned int uID, unsigned int uSize, VOWCHAR* pszResult)
        {
            return bAbsolute ? node.container.GetAssetAbsolutePath(uID, uSize, pszResult)
                             : node.container.GetAssetPath(uID, uSize, pszResult);
        };
        LogCapture log;
        EXPECT_EQ(0, call(5, 0, nullptr));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszResult", strFunction)));
        log.Clear();
        EXPECT_EQ(0, call(5, 0, buffer.szText));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("nBufferSize", strFunction)));
        log.Clear();
        EXPECT_EQ(0, call(5, 10, buffer.szText));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uAssetID < m_vecAssetNode.Count()", strFunction)));
        EXPECT_TRUE(buffer.Untouched());
    }
}

TEST(AbsolutePath, IsTheRootASlashAndTheRelativePath)
{
    OneNode node(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:\\Data\\"));
    WideBuffer<> buffer;
    EXPECT_NE(0, node.container.GetAssetAbsolutePath(0, MAX_PATH, buffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data/Dir/Base.Ext")), buffer.Text());
}

TEST(AbsolutePath, OfACustomerBeginsWithTheRootOfTheImage)
{
    OneNode node(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:\\Data\\"));
    const MisalignedBlock image(ImageOf(node.container), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    WideBuffer<> buffer;
    EXPECT_NE(0, customer.GetAssetAbsolutePath(0, MAX_PATH, buffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data/Dir/Base.Ext")), buffer.Text());
}

TEST(AbsolutePath, WithoutARootThereIsNone)
{
    OneNode node(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"));
    LogCapture log;
    WideBuffer<> buffer;
    EXPECT_EQ(0, node.container.GetAssetAbsolutePath(0, MAX_PATH, buffer.szText));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszFromDir", kClass + "GetAssetAbsolutePath")));
}

TEST(AbsolutePath, ABufferThatIsTooSmallHoldsTheCutTextTerminated)
{
    OneNode node(VOTEXT("Dir"), VOTEXT("Base"), VOTEXT("Ext"), VOTEXT("C:/Data"));
    const VOWString strWhole = VOTEXT("C:/Data/Dir/Base.Ext");
    for (const unsigned int uSize : {1u, 5u, 20u, 21u})
    {
        LogCapture log;
        WideBuffer<> buffer;
        EXPECT_EQ(uSize == 21, node.container.GetAssetAbsolutePath(0, uSize, buffer.szText) != 0) << uSize;
        EXPECT_EQ(strWhole.substr(0, uSize - 1), buffer.Text());
        EXPECT_TRUE(buffer.UntouchedFrom(uSize));
        EXPECT_EQ(uSize == 21 ? 0u : 1u, log.Count());
        EXPECT_EQ(uSize != 21, HasText(log.Lines(), "VO_COM_PROCESS_ERROR("));
    }
}

TEST(AbsolutePath, ARelativePathOf260CharactersFailsWhateverTheBufferHolds)
{
    for (const size_t uLength : {size_t{259}, size_t{260}})
    {
        OneNode node(VOWString(100, VOTEXT('d')).c_str(), VOWString(uLength - 101, VOTEXT('b')).c_str(), nullptr,
                     VOTEXT("C:/Data"));
        WideBuffer<1000> buffer;
        EXPECT_NE(0, node.container.GetAssetPath(0, 1000, buffer.szText));
        EXPECT_EQ(uLength, buffer.Text().size());
        WideBuffer<1000> absolute;
        LogCapture log;
        EXPECT_EQ(uLength < 260, node.container.GetAssetAbsolutePath(0, 1000, absolute.szText) != 0);
        EXPECT_EQ(uLength < 260, log.Count() == 0);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// ReConstructContainer
// ---------------------------------------------------------------------------------------------------------------------

TEST(ReConstruct, FromACustomerGivesAnEmptyContainerWithItsRootAndTypes)
{
    ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root\\Name"));
    const MisalignedBlock image(model.Image(), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));

    VOTSAssetNodeContainer target(AR_Provider, VOTEXT("D:/Old"), VOTEXT("Old"));
    NewNode(target, VOTEXT("old"));
    LogCapture log;
    EXPECT_NE(0, customer.ReConstructContainer(&target));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(0u, target.GetAssetNodeCount());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(target.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Root\\Name")), ReadText(target.GetRootName()));
    for (const VOWCHAR* pszExtension : {VOTEXT("PNG"), VOTEXT("tga"), VOTEXT("txt"), VOTEXT("none")})
    {
        int nExpected = -77;
        int nActual = -77;
        EXPECT_EQ(customer.GetClassifyTypeByExtension(pszExtension, nExpected),
                  target.GetClassifyTypeByExtension(pszExtension, nActual));
        EXPECT_EQ(nExpected, nActual);
    }
    EXPECT_EQ(0u, NewNode(target, VOTEXT("C:/Root/new")));
    EXPECT_EQ(0u, FoundID(target, VOTEXT("new")));
}

TEST(ReConstruct, TheTargetOutlivesTheImageItCameFrom)
{
    VOTSAssetNodeContainer target;
    {
        ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Name"));
        const MisalignedBlock image(model.Image(), 1);
        VOTSAssetNodeContainer customer(AR_Customer);
        ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
        ASSERT_NE(0, customer.ReConstructContainer(&target));
    }
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(target.GetRootPath()));
    int nType = 0;
    EXPECT_NE(0, target.GetClassifyTypeByName(VOTEXT("text"), nType));
    EXPECT_EQ(-1, nType);
    EXPECT_FALSE(ImageOf(target).empty());
}

TEST(ReConstruct, FromAContainerWithoutARootTheTargetLosesItsOwn)
{
    VOTSAssetNodeContainer source;
    VOTSAssetNodeContainer target(AR_Provider, VOTEXT("D:/Old"), VOTEXT("Old"));
    EXPECT_NE(0, source.ReConstructContainer(&target));
    EXPECT_EQ(nullptr, target.GetRootPath());
    EXPECT_EQ(nullptr, target.GetRootName());
}

TEST(ReConstruct, TheTargetsListsStay)
{
    VOTSAssetNodeContainer source(AR_Provider, VOTEXT("C:/Root"), nullptr);
    VOTSAssetNodeContainer target;
    AddLinked(target, VOTEXT("dir"), true, kNone);
    AddLinked(target, VOTEXT("dir/a"), false, 0);
    EXPECT_NE(0, source.ReConstructContainer(&target));
    EXPECT_EQ(1u, target.GetInfoNumberCount(0));
}

TEST(ReConstruct, ANullTargetIsLogged)
{
    VOTSAssetNodeContainer source;
    LogCapture log;
    EXPECT_EQ(0, source.ReConstructContainer(nullptr));
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR("));
    EXPECT_TRUE(HasText(log.Lines(), kClass + "ReConstructContainer\n"));
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
    VOTSAssetNodeContainer source(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    OpenMembers target(AR_Provider, VOTEXT("D:/A longer old root"), VOTEXT("A longer old name"));
    AddLinked(target, VOTEXT("a"), false, kNone);
    EXPECT_EQ(1u, target.m_vecAssetNode.Count());
    EXPECT_EQ(1u, target.m_mapStringHandle2ParamIndex.Count());
    EXPECT_FALSE(ImageOf(target).empty());
    EXPECT_NE(INVALID_HANDLE_VALUE, target.m_hStrRootPath);
    EXPECT_NE(INVALID_HANDLE_VALUE, target.m_hStrRootName);
    ASSERT_NE(0, source.ReConstructContainer(&target));
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(target.m_tszRootPath));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(target.m_tszRootName));
    EXPECT_EQ(INVALID_HANDLE_VALUE, target.m_hStrRootPath);
    EXPECT_EQ(INVALID_HANDLE_VALUE, target.m_hStrRootName);
    EXPECT_EQ(AR_Provider, target.m_eAssetRole);
    EXPECT_EQ(0u, target.m_vecAssetNode.Count());
    EXPECT_EQ(0u, target.m_mapStringHandle2ParamIndex.Count());
    EXPECT_EQ(0u, target.m_mapTableStringHandle2ParamIndex.Count());
    EXPECT_NE(nullptr, target.m_pkStringSet);
    EXPECT_NE(nullptr, target.m_pkAssetIndexContainer);
    EXPECT_NE(nullptr, target.m_pkClassifyMgr);
}

TEST(ReConstruct, OntoItselfDoesNoHarm)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Root"), VOTEXT("Name"));
    FillSample(container);
    (void)container.ReConstructContainer(&container);
    EXPECT_EQ(0u, container.GetAssetNodeCount());
    EXPECT_FALSE(ImageOf(container).empty());
}

// ---------------------------------------------------------------------------------------------------------------------
// Forwards to the classify table
// ---------------------------------------------------------------------------------------------------------------------

TEST(ClassifyForwards, AProviderFillsItsTableAndAsksIt)
{
    VOTSAssetNodeContainer container;
    EXPECT_NE(0, container.InsertClassifyType(3, VOTEXT("T"), VOTEXT("a|b"), ColorOf(1), ColorOf(2)));
    int nType = 0;
    EXPECT_EQ(0, container.GetClassifyTypeByExtension(VOTEXT("b"), nType));
    EXPECT_NE(0, container.BuildUpExtensionsHash());
    EXPECT_NE(0, container.GetClassifyTypeByExtension(VOTEXT("B"), nType));
    EXPECT_EQ(3, nType);
    EXPECT_NE(0, container.GetClassifyTypeByName(VOTEXT("t"), nType));
    WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
    EXPECT_NE(0, container.GetClassifyName(3, name.szText));
    EXPECT_EQ(VOWString(VOTEXT("T")), name.Text());
    WideBuffer<LENGTH_OF_EXTENSIONS> list;
    EXPECT_NE(0, container.GetClassifyExtensions(3, list.szText));
    EXPECT_EQ(VOWString(VOTEXT("a|b")), list.Text());
    Color color;
    EXPECT_NE(0, container.GetClassifyTypeColor(3, color));
    EXPECT_EQ(1u, color.uValue);
    EXPECT_NE(0, container.GetClassifyBackgroundColor(3, color));
    EXPECT_EQ(2u, color.uValue);
}

TEST(ClassifyForwards, ACustomerRefusesWhatChangesTheTable)
{
    VOTSAssetNodeContainer customer(AR_Customer);
    LogCapture log;
    EXPECT_EQ(0, customer.InsertClassifyType(3, VOTEXT("T"), VOTEXT("a"), Color(), Color()));
    EXPECT_EQ(0, customer.BuildUpExtensionsHash());
    const std::string strCheck = "LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole";
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(strCheck, kClass + "InsertClassifyType"),
                                         ProcessError(strCheck, kClass + "BuildUpExtensionsHash")));
}

}  // namespace
