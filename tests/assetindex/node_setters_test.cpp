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
    for (const Setter& rkSetter : AllSetters())
    {
        for (const unsigned int uID : {2u, 1000u, kNone})
        {
            VOTSAssetNodeContainer kContainer;
            NewNode(kContainer, VOTEXT("a"));
            NewNode(kContainer, VOTEXT("b"));
            const Bytes vecBefore = ImageOf(kContainer);
            LogCapture kLog;
            EXPECT_EQ(0, rkSetter.fnSet(kContainer, uID)) << rkSetter.pszName;
            EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, kClass + rkSetter.pszName)));
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(kContainer))) << rkSetter.pszName;
        }
    }
}

TEST(Setters, ACustomerRefusesEachOfThemAndNothingChanges)
{
    VOTSAssetNodeContainer kProvider;
    NewNode(kProvider, VOTEXT("a"));
    NewNode(kProvider, VOTEXT("b"));
    const Bytes vecImage = ImageOf(kProvider);
    for (const int bCopy : {0, 1})
    {
        for (const Setter& rkSetter : AllSetters())
        {
            const MisalignedBlock kImage(vecImage, 1);
            VOTSAssetNodeContainer kCustomer(AR_Customer);
            ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), bCopy));
            const Bytes vecNode = BytesOf(NodeOf(kCustomer, 0));
            LogCapture kLog;
            EXPECT_EQ(0, rkSetter.fnSet(kCustomer, 0)) << rkSetter.pszName;
            EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kRole, kClass + rkSetter.pszName)));
            EXPECT_TRUE(SameBytes(vecNode, BytesOf(NodeOf(kCustomer, 0)))) << rkSetter.pszName;
            EXPECT_TRUE(SameBytes(vecImage, kImage.Current())) << rkSetter.pszName;
        }
    }
}

TEST(Setters, TheIdIsCheckedBeforeTheRole)
{
    for (const Setter& rkSetter : AllSetters())
    {
        VOTSAssetNodeContainer kCustomer(AR_Customer);
        LogCapture kLog;
        EXPECT_EQ(0, rkSetter.fnSet(kCustomer, 0)) << rkSetter.pszName;
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, kClass + rkSetter.pszName)));
    }
}

TEST(Setters, ARemovedNodeIsLoggedAndWritten)
{
    for (const Setter& rkSetter : AllSetters())
    {
        VOTSAssetNodeContainer kContainer;
        NewNode(kContainer, VOTEXT("a"));
        NewNode(kContainer, VOTEXT("b"));
        ASSERT_NE(0, kContainer.RemoveAssetNode(0u));
        const Bytes vecBefore = BytesOf(NodeOf(kContainer, 0));
        LogCapture kLog;
        EXPECT_NE(0, rkSetter.fnSet(kContainer, 0)) << rkSetter.pszName;
        EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError(kState, kClass + rkSetter.pszName)));
        EXPECT_FALSE(SameBytes(vecBefore, BytesOf(NodeOf(kContainer, 0)))) << rkSetter.pszName;
        EXPECT_EQ(2u, StateOf(kContainer, 0));
    }
}

TEST(Setters, EachWritesItsFieldsAndNothingElse)
{
    VOTSAssetNodeContainer kContainer;
    ModelContainer kModel;
    unsigned int uID = 0;
    bool bWasThere = false;
    NewNode(kContainer, VOTEXT("Dir/Name.Ext"));
    kModel.Request(VOTEXT("Dir/Name.Ext"), uID, bWasThere);
    ModelNode& rkNode = kModel.vecNodes[0];
    LogCapture kLog;

    EXPECT_EQ(1, kContainer.SetAssetNodeAssetFrom(0, LUMTrayService::AF_MERGETARGET));
    rkNode.uFrom = 9;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeAssetMergeSign(0, 0x80000001));
    rkNode.uMerge = 0x80000001;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeStripPath(0, VOTEXT("Dir"), VOTEXT("Name"), VOTEXT("Ext")));
    kModel.SetNames(0, VOTEXT("Dir"), VOTEXT("Name"), VOTEXT("Ext"));
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodePhysicsPath(0, VOTEXT("E:\\Pak\\X.PAK")));
    rkNode.ullPhysics = kModel.kStrings.Insert(VOTEXT("E:\\Pak\\X.PAK"));
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeClassifyType(0, -12, VOTEXT("Some Type")));
    rkNode.nType = -12;
    rkNode.ullTypeName = kModel.kStrings.Insert(VOTEXT("Some Type"));
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeFolder(0, 5));
    rkNode.bFolder = 5;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeFileAttribute(0, 0xFFFFFFFFFFFFFFFEull, -1, 0x7FFFFFFFFFFFFFFFll, 3, 0xABCDu));
    rkNode.ullSize = 0xFFFFFFFFFFFFFFFEull;
    rkNode.ullCreate = ~0ull;
    rkNode.ullAccess = 0x7FFFFFFFFFFFFFFFull;
    rkNode.ullWrite = 3;
    rkNode.uAttribute = 0xABCD;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeParentIndex(0, 77));
    rkNode.uParent = 77;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_EQ(1, kContainer.SetAssetNodeChildIndex(0, 100u, 200u));
    rkNode.uFolders = 100;
    rkNode.uFiles = 200;
    EXPECT_TRUE(SameBytes(rkNode.Node(), BytesOf(NodeOf(kContainer, 0))));

    EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer)));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(SetStripPath, StringsKeepTheirCaseAndOneTextIsStoredOnce)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uA = NewNode(kContainer, VOTEXT("a"));
    const unsigned int uB = NewNode(kContainer, VOTEXT("b"));
    ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uA, VOTEXT("Dir"), VOTEXT("A"), VOTEXT("Txt")));
    ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uB, VOTEXT("Dir"), VOTEXT("B"), VOTEXT("txt")));
    const structAssetNode tsA = NodeOf(kContainer, uA);
    const structAssetNode tsB = NodeOf(kContainer, uB);
    EXPECT_EQ(+tsA.hStrComponent, +tsB.hStrComponent);
    EXPECT_NE(+tsA.hStrExtension, +tsB.hStrExtension);
    EXPECT_EQ(VOWString(VOTEXT("Txt")), ReadText(kContainer.GetString(tsA.hStrExtension)));
    EXPECT_EQ(VOWString(VOTEXT("txt")), ReadText(kContainer.GetString(tsB.hStrExtension)));
}

TEST(SetStripPath, TextsOfThePoolItselfAreTakenWhileThePoolGrows)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    const VOWString strName(MAX_PATH, VOWCHAR('n'));
    for (int i = 0; i < 12; ++i)
    {
        ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uID, nullptr, VOTEXT("base.ext"), strName.c_str()));
        structAssetNode tsNode = NodeOf(kContainer, uID);
        const VOWCHAR* pszBaseName = kContainer.GetString(tsNode.hStrBaseName);
        const VOWCHAR* pszLong = kContainer.GetString(tsNode.hStrExtension);
        const VOWString strComponent(size_t{100} << i, static_cast<VOWCHAR>('a' + i));
        // What lies behind the dot of a text of the pool, and a text longer than a path.
        ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uID, strComponent.c_str(), pszLong, pszBaseName + 5));
        tsNode = NodeOf(kContainer, uID);
        EXPECT_EQ(strComponent, ReadText(kContainer.GetString(tsNode.hStrComponent)));
        EXPECT_EQ(strName, ReadText(kContainer.GetString(tsNode.hStrBaseName)));
        EXPECT_EQ(VOWString(VOTEXT("ext")), ReadText(kContainer.GetString(tsNode.hStrExtension)));
        ASSERT_NE(0,
                  kContainer.SetAssetNodeStripPath(uID, kContainer.GetString(tsNode.hStrComponent), nullptr, nullptr));
        EXPECT_EQ(strComponent, ReadText(kContainer.GetString(NodeOf(kContainer, uID).hStrComponent)));
    }
}

TEST(SetStripPath, EmptyAndMissingStringsLeaveInvalidHandles)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uID, VOTEXT("d"), VOTEXT("b"), VOTEXT("e")));
    EXPECT_EQ(1, kContainer.SetAssetNodeStripPath(uID, VOTEXT(""), VOTEXT("base"), nullptr));
    structAssetNode tsNode = NodeOf(kContainer, uID);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrComponent);
    EXPECT_EQ(VOWString(VOTEXT("base")), ReadText(kContainer.GetString(tsNode.hStrBaseName)));
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrExtension);

    EXPECT_EQ(1, kContainer.SetAssetNodeStripPath(uID, nullptr, nullptr, nullptr));
    tsNode = NodeOf(kContainer, uID);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrComponent);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrBaseName);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrExtension);
}

TEST(Setters, WithoutAPoolTextsAreRefusedAndLogged)
{
    OpenContainer kContainer(static_cast<LUMTrayService::enumAssetRole>(7));
    structAssetNode tsNode;
    unsigned int uIndex = kNone;
    ASSERT_EQ(1, kContainer._AddFileDataParam(INVALID_HANDLE_VALUE, tsNode, uIndex));
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.SetAssetNodeStripPath(uIndex, VOTEXT("d"), VOTEXT("b"), VOTEXT("e")));
    EXPECT_EQ(0, kContainer.SetAssetNodePhysicsPath(uIndex, VOTEXT("p")));
    EXPECT_EQ(0, kContainer.SetAssetNodeClassifyType(uIndex, 4, VOTEXT("c")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("m_pkStringSet", kClass + "SetAssetNodeStripPath"),
                                          ProcessError("m_pkStringSet", kClass + "SetAssetNodePhysicsPath"),
                                          ProcessError("m_pkStringSet", kClass + "SetAssetNodeClassifyType")));
    EXPECT_TRUE(SameBytes(BytesOf(tsNode), BytesOf(NodeOf(kContainer, uIndex))));
}

TEST(SetPhysicsPath, AnEmptyOrMissingTextIsRefusedAndTheOldOneStays)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodePhysicsPath(uID, VOTEXT("old")));
    const Bytes vecBefore = BytesOf(NodeOf(kContainer, uID));
    for (const VOWCHAR* pszPath : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture kLog;
        EXPECT_EQ(0, kContainer.SetAssetNodePhysicsPath(uID, pszPath));
        ASSERT_EQ(1u, kLog.Count());
        EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(kLog.Lines(), kClass + "SetAssetNodePhysicsPath\n"));
        EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kContainer, uID))));
    }
}

TEST(SetClassifyType, AnEmptyOrMissingNameIsRefusedAndTheOldTypeStays)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodeClassifyType(uID, 4, VOTEXT("old")));
    const Bytes vecBefore = BytesOf(NodeOf(kContainer, uID));
    for (const VOWCHAR* pszName : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture kLog;
        EXPECT_EQ(0, kContainer.SetAssetNodeClassifyType(uID, 5, pszName));
        ASSERT_EQ(1u, kLog.Count());
        EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR("));
        EXPECT_TRUE(HasText(kLog.Lines(), kClass + "SetAssetNodeClassifyType\n"));
        EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kContainer, uID))));
    }
}

TEST(SetClassifyType, TheirStringIsCheckedAfterTheIdAndBeforeTheRole)
{
    VOTSAssetNodeContainer kProvider;
    NewNode(kProvider, VOTEXT("a"));
    const MisalignedBlock kImage(ImageOf(kProvider));
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    for (const bool bPhysics : {true, false})
    {
        const auto kSet = [&](unsigned int uID)
        {
            return bPhysics ? kCustomer.SetAssetNodePhysicsPath(uID, VOTEXT(""))
                            : kCustomer.SetAssetNodeClassifyType(uID, 1, VOTEXT(""));
        };
        const std::string strFunction = kClass + (bPhysics ? "SetAssetNodePhysicsPath" : "SetAssetNodeClassifyType");
        LogCapture kLog;
        EXPECT_EQ(0, kSet(1));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, strFunction)));
        kLog.Clear();
        EXPECT_EQ(0, kSet(0));
        ASSERT_EQ(1u, kLog.Count());
        EXPECT_NE(ProcessError(kRole, strFunction), kLog.Lines()[0]);
    }
}

TEST(Setters, TextsAtOddAddressesAreStored)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(
        0, kContainer.SetAssetNodeStripPath(uID, votest::PlacedText(VOTEXT("dir")), votest::PlacedText(VOTEXT("base")),
                                            votest::PlacedText(VOTEXT("ext"))));
    ASSERT_NE(0, kContainer.SetAssetNodePhysicsPath(uID, votest::PlacedText(VOTEXT("phys"))));
    ASSERT_NE(0, kContainer.SetAssetNodeClassifyType(uID, 1, votest::PlacedText(VOTEXT("type"))));
    const structAssetNode tsNode = NodeOf(kContainer, uID);
    EXPECT_EQ(VOWString(VOTEXT("dir/base.ext")), PathOf(kContainer, uID));
    EXPECT_EQ(VOWString(VOTEXT("phys")), ReadText(kContainer.GetString(tsNode.hStrPhysicsPath)));
    EXPECT_EQ(VOWString(VOTEXT("type")), ReadText(kContainer.GetString(tsNode.hStrClassifyName)));
}

}  // namespace
