// The setters: what each writes, what none of them touches, and whom they refuse.
#include <functional>

#include "assetindex/image_model.h"

namespace
{
using namespace assettest;
using LUMTrayService::AF_TARGET;
using LUMTrayService::AR_Customer;

struct Setter
{
    const char* pszName;
    std::function<int(VOTSAssetNodeContainer&, unsigned int)> fnSet;
};

// Every setter that writes into one record, with harmless arguments.
std::vector<Setter> AllSetters()
{
    return {
        {"SetAssetNodeAssetFrom",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeAssetFrom(uID, AF_TARGET); }},
        {"SetAssetNodeAssetMergeSign",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeAssetMergeSign(uID, 9); }},
        {"SetAssetNodeStripPath", [](VOTSAssetNodeContainer& rk, unsigned int uID)
         { return rk.SetAssetNodeStripPath(uID, VOTEXT("d"), VOTEXT("b"), VOTEXT("e")); }},
        {"SetAssetNodePhysicsPath",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodePhysicsPath(uID, VOTEXT("p")); }},
        {"SetAssetNodeClassifyType",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeClassifyType(uID, 4, VOTEXT("c")); }},
        {"SetAssetNodeFolder",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeFolder(uID, 1); }},
        {"SetAssetNodeFileAttribute",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeFileAttribute(uID, 1, 2, 3, 4, 5); }},
        {"SetAssetNodeParentIndex",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeParentIndex(uID, 1); }},
        {"SetAssetNodeChildIndex",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeChildIndex(uID, IDs{1}); }},
        {"SetAssetNodeChildIndex",
         [](VOTSAssetNodeContainer& rk, unsigned int uID) { return rk.SetAssetNodeChildIndex(uID, 3u, 4u); }},
    };
}

TEST(Setters, ABadIdIsRefusedAndLogged)
{
    for (const Setter& setter : AllSetters())
    {
        for (const unsigned int uID : {2u, 1000u, kNone})
        {
            VOTSAssetNodeContainer container;
            NewNode(container, VOTEXT("a"));
            NewNode(container, VOTEXT("b"));
            const Bytes vecBefore = ImageOf(container);
            LogCapture log;
            EXPECT_EQ(0, setter.fnSet(container, uID)) << setter.pszName;
            EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, kClass + setter.pszName)));
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(container))) << setter.pszName;
        }
    }
}

TEST(Setters, ACustomerRefusesEachOfThemAndNothingChanges)
{
    VOTSAssetNodeContainer provider;
    NewNode(provider, VOTEXT("a"));
    NewNode(provider, VOTEXT("b"));
    const Bytes vecImage = ImageOf(provider);
    for (const int bCopy : {0, 1})
    {
        for (const Setter& setter : AllSetters())
        {
            const MisalignedBlock image(vecImage, 1);
            VOTSAssetNodeContainer customer(AR_Customer);
            ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), bCopy));
            const Bytes vecNode = BytesOf(NodeOf(customer, 0));
            LogCapture log;
            EXPECT_EQ(0, setter.fnSet(customer, 0)) << setter.pszName;
            EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kRole, kClass + setter.pszName)));
            EXPECT_TRUE(SameBytes(vecNode, BytesOf(NodeOf(customer, 0)))) << setter.pszName;
            EXPECT_TRUE(SameBytes(vecImage, image.Current())) << setter.pszName;
        }
    }
}

TEST(Setters, TheIdIsCheckedBeforeTheRole)
{
    for (const Setter& setter : AllSetters())
    {
        VOTSAssetNodeContainer customer(AR_Customer);
        LogCapture log;
        EXPECT_EQ(0, setter.fnSet(customer, 0)) << setter.pszName;
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, kClass + setter.pszName)));
    }
}

TEST(Setters, ARemovedNodeIsLoggedAndWritten)
{
    for (const Setter& setter : AllSetters())
    {
        VOTSAssetNodeContainer container;
        NewNode(container, VOTEXT("a"));
        NewNode(container, VOTEXT("b"));
        ASSERT_NE(0, container.RemoveAssetNode(0u));
        const Bytes vecBefore = BytesOf(NodeOf(container, 0));
        LogCapture log;
        EXPECT_NE(0, setter.fnSet(container, 0)) << setter.pszName;
        EXPECT_THAT(log.Lines(), ElementsAre(CheckError(kState, kClass + setter.pszName)));
        EXPECT_FALSE(SameBytes(vecBefore, BytesOf(NodeOf(container, 0)))) << setter.pszName;
        EXPECT_EQ(2u, StateOf(container, 0));
    }
}

TEST(Setters, EachWritesItsFieldsAndNothingElse)
{
    VOTSAssetNodeContainer container;
    ModelContainer model;
    unsigned int uID = 0;
    bool bWasThere = false;
    NewNode(container, VOTEXT("Dir/Name.Ext"));
    model.Request(VOTEXT("Dir/Name.Ext"), uID, bWasThere);
    ModelNode& node = model.vecNodes[0];
    LogCapture log;

    EXPECT_EQ(1, container.SetAssetNodeAssetFrom(0, LUMTrayService::AF_MERGETARGET));
    node.uFrom = 9;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeAssetMergeSign(0, 0x80000001));
    node.uMerge = 0x80000001;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeStripPath(0, VOTEXT("Dir"), VOTEXT("Name"), VOTEXT("Ext")));
    model.SetNames(0, VOTEXT("Dir"), VOTEXT("Name"), VOTEXT("Ext"));
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodePhysicsPath(0, VOTEXT("E:\\Pak\\X.PAK")));
    node.ullPhysics = model.strings.Insert(VOTEXT("E:\\Pak\\X.PAK"));
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeClassifyType(0, -12, VOTEXT("Some Type")));
    node.nType = -12;
    node.ullTypeName = model.strings.Insert(VOTEXT("Some Type"));
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeFolder(0, 5));
    node.bFolder = 5;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeFileAttribute(0, 0xFFFFFFFFFFFFFFFEull, -1, 0x7FFFFFFFFFFFFFFFll, 3, 0xABCDu));
    node.ullSize = 0xFFFFFFFFFFFFFFFEull;
    node.ullCreate = ~0ull;
    node.ullAccess = 0x7FFFFFFFFFFFFFFFull;
    node.ullWrite = 3;
    node.uAttribute = 0xABCD;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeParentIndex(0, 77));
    node.uParent = 77;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_EQ(1, container.SetAssetNodeChildIndex(0, 100u, 200u));
    node.uFolders = 100;
    node.uFiles = 200;
    EXPECT_TRUE(SameBytes(node.Node(), BytesOf(NodeOf(container, 0))));

    EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container)));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SetStripPath, StringsKeepTheirCaseAndOneTextIsStoredOnce)
{
    VOTSAssetNodeContainer container;
    const unsigned int uA = NewNode(container, VOTEXT("a"));
    const unsigned int uB = NewNode(container, VOTEXT("b"));
    ASSERT_NE(0, container.SetAssetNodeStripPath(uA, VOTEXT("Dir"), VOTEXT("A"), VOTEXT("Txt")));
    ASSERT_NE(0, container.SetAssetNodeStripPath(uB, VOTEXT("Dir"), VOTEXT("B"), VOTEXT("txt")));
    const structAssetNode tsA = NodeOf(container, uA);
    const structAssetNode tsB = NodeOf(container, uB);
    EXPECT_EQ(+tsA.hStrComponent, +tsB.hStrComponent);
    EXPECT_NE(+tsA.hStrExtension, +tsB.hStrExtension);
    EXPECT_EQ(VOWString(VOTEXT("Txt")), ReadText(container.GetString(tsA.hStrExtension)));
    EXPECT_EQ(VOWString(VOTEXT("txt")), ReadText(container.GetString(tsB.hStrExtension)));
}

TEST(SetStripPath, TextsOfThePoolItselfAreTakenWhileThePoolGrows)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    const VOWString strName(MAX_PATH, VOWCHAR('n'));
    for (int i = 0; i < 12; ++i)
    {
        ASSERT_NE(0, container.SetAssetNodeStripPath(uID, nullptr, VOTEXT("base.ext"), strName.c_str()));
        structAssetNode tsNode = NodeOf(container, uID);
        const VOWCHAR* pszBaseName = container.GetString(tsNode.hStrBaseName);
        const VOWCHAR* pszLong = container.GetString(tsNode.hStrExtension);
        const VOWString strComponent(size_t{100} << i, static_cast<VOWCHAR>('a' + i));
        // What lies behind the dot of a text of the pool, and a text longer than a path.
        ASSERT_NE(0, container.SetAssetNodeStripPath(uID, strComponent.c_str(), pszLong, pszBaseName + 5));
        tsNode = NodeOf(container, uID);
        EXPECT_EQ(strComponent, ReadText(container.GetString(tsNode.hStrComponent)));
        EXPECT_EQ(strName, ReadText(container.GetString(tsNode.hStrBaseName)));
        EXPECT_EQ(VOWString(VOTEXT("ext")), ReadText(container.GetString(tsNode.hStrExtension)));
        ASSERT_NE(0, container.SetAssetNodeStripPath(uID, container.GetString(tsNode.hStrComponent), nullptr, nullptr));
        EXPECT_EQ(strComponent, ReadText(container.GetString(NodeOf(container, uID).hStrComponent)));
    }
}

TEST(SetStripPath, EmptyAndMissingStringsLeaveInvalidHandles)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodeStripPath(uID, VOTEXT("d"), VOTEXT("b"), VOTEXT("e")));
    EXPECT_EQ(1, container.SetAssetNodeStripPath(uID, VOTEXT(""), VOTEXT("base"), nullptr));
    structAssetNode tsNode = NodeOf(container, uID);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrComponent);
    EXPECT_EQ(VOWString(VOTEXT("base")), ReadText(container.GetString(tsNode.hStrBaseName)));
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrExtension);

    EXPECT_EQ(1, container.SetAssetNodeStripPath(uID, nullptr, nullptr, nullptr));
    tsNode = NodeOf(container, uID);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrComponent);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrBaseName);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrExtension);
}

TEST(Setters, WithoutAPoolTextsAreRefusedAndLogged)
{
    OpenContainer container(static_cast<LUMTrayService::enumAssetRole>(7));
    structAssetNode tsNode;
    unsigned int uIndex = kNone;
    ASSERT_EQ(1, container._AddFileDataParam(INVALID_HANDLE_VALUE, tsNode, uIndex));
    LogCapture log;
    EXPECT_EQ(0, container.SetAssetNodeStripPath(uIndex, VOTEXT("d"), VOTEXT("b"), VOTEXT("e")));
    EXPECT_EQ(0, container.SetAssetNodePhysicsPath(uIndex, VOTEXT("p")));
    EXPECT_EQ(0, container.SetAssetNodeClassifyType(uIndex, 4, VOTEXT("c")));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("m_pkStringSet", kClass + "SetAssetNodeStripPath"),
                                         ProcessError("m_pkStringSet", kClass + "SetAssetNodePhysicsPath"),
                                         ProcessError("m_pkStringSet", kClass + "SetAssetNodeClassifyType")));
    EXPECT_TRUE(SameBytes(BytesOf(tsNode), BytesOf(NodeOf(container, uIndex))));
}

TEST(SetPhysicsPath, AnEmptyOrMissingTextIsRefusedAndTheOldOneStays)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodePhysicsPath(uID, VOTEXT("old")));
    const Bytes vecBefore = BytesOf(NodeOf(container, uID));
    for (const VOWCHAR* pszPath : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture log;
        EXPECT_EQ(0, container.SetAssetNodePhysicsPath(uID, pszPath));
        ASSERT_EQ(1u, log.Count());
        EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(log.Lines(), kClass + "SetAssetNodePhysicsPath\n"));
        EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(container, uID))));
    }
}

TEST(SetClassifyType, AnEmptyOrMissingNameIsRefusedAndTheOldTypeStays)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodeClassifyType(uID, 4, VOTEXT("old")));
    const Bytes vecBefore = BytesOf(NodeOf(container, uID));
    for (const VOWCHAR* pszName : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture log;
        EXPECT_EQ(0, container.SetAssetNodeClassifyType(uID, 5, pszName));
        ASSERT_EQ(1u, log.Count());
        EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(log.Lines(), kClass + "SetAssetNodeClassifyType\n"));
        EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(container, uID))));
    }
}

TEST(SetClassifyType, TheirStringIsCheckedAfterTheIdAndBeforeTheRole)
{
    VOTSAssetNodeContainer provider;
    NewNode(provider, VOTEXT("a"));
    const MisalignedBlock image(ImageOf(provider));
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    for (const bool bPhysics : {true, false})
    {
        const auto set = [&](unsigned int uID)
        {
            return bPhysics ? customer.SetAssetNodePhysicsPath(uID, VOTEXT(""))
                            : customer.SetAssetNodeClassifyType(uID, 1, VOTEXT(""));
        };
        const std::string strFunction = kClass + (bPhysics ? "SetAssetNodePhysicsPath" : "SetAssetNodeClassifyType");
        LogCapture log;
        EXPECT_EQ(0, set(1));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, strFunction)));
        log.Clear();
        EXPECT_EQ(0, set(0));
        ASSERT_EQ(1u, log.Count());
        EXPECT_NE(ProcessError(kRole, strFunction), log.Lines()[0]);
    }
}

TEST(Setters, TextsAtOddAddressesAreStored)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(
        0, container.SetAssetNodeStripPath(uID, votest::PlacedText(VOTEXT("dir")), votest::PlacedText(VOTEXT("base")),
                                           votest::PlacedText(VOTEXT("ext"))));
    ASSERT_NE(0, container.SetAssetNodePhysicsPath(uID, votest::PlacedText(VOTEXT("phys"))));
    ASSERT_NE(0, container.SetAssetNodeClassifyType(uID, 1, votest::PlacedText(VOTEXT("type"))));
    const structAssetNode tsNode = NodeOf(container, uID);
    EXPECT_EQ(VOWString(VOTEXT("dir/base.ext")), PathOf(container, uID));
    EXPECT_EQ(VOWString(VOTEXT("phys")), ReadText(container.GetString(tsNode.hStrPhysicsPath)));
    EXPECT_EQ(VOWString(VOTEXT("type")), ReadText(container.GetString(tsNode.hStrClassifyName)));
}

}  // namespace
