// Nodes by path and by id: how they are made, found, removed and given new keys.
#include "assetindex/image_model.h"
#include "support/colliding_texts.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

// ---------------------------------------------------------------------------------------------------------------------
// Construction
// ---------------------------------------------------------------------------------------------------------------------

TEST(NodeStore, ADefaultContainerIsAProviderWithoutARoot)
{
    VOTSAssetNodeContainer kContainer;
    EXPECT_EQ(nullptr, kContainer.GetRootPath());
    EXPECT_EQ(nullptr, kContainer.GetRootName());
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
    EXPECT_EQ(0u, NewNode(kContainer, VOTEXT("a")));
}

TEST(NodeStore, ADerivedClassSeesItsRoleRootPoolAndRecords)
{
    OpenContainer kContainer(AR_Provider, VOTEXT("C:\\Data"), VOTEXT("Name"));
    EXPECT_EQ(AR_Provider, kContainer.m_eAssetRole);
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), VOWString(kContainer.m_tszRootPath));
    EXPECT_EQ(VOWString(VOTEXT("Name")), VOWString(kContainer.m_tszRootName));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kContainer.m_hStrRootPath);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kContainer.m_hStrRootName);
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_EQ(1u, kContainer.m_vecAssetNode.Count());
    const structAssetNodeParam param = kContainer.m_vecAssetNode[uID];
    EXPECT_EQ(kContainer.m_pkStringSet->Find(VOTEXT("a")), +param.hStringParam);
}

TEST(NodeStore, RootPathAndNameKeepTheirCaseAndTheNameIsUnchanged)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:\\My Data\\"), VOTEXT("My\\Name/"));
    EXPECT_EQ(VOWString(VOTEXT("C:/My Data")), ReadText(kContainer.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("My\\Name/")), ReadText(kContainer.GetRootName()));
}

TEST(NodeStore, EmptyRootTextsAreNone)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT(""), VOTEXT(""));
    EXPECT_EQ(nullptr, kContainer.GetRootPath());
    EXPECT_EQ(nullptr, kContainer.GetRootName());
}

TEST(NodeStore, ARootOfSlashesOnlyIsNone)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("\\//\\"), nullptr);
    EXPECT_EQ(nullptr, kContainer.GetRootPath());
}

TEST(NodeStore, ARoleThatIsNeitherIsReportedAndDoesNothing)
{
    LogCapture kLog;
    VOTSAssetNodeContainer kContainer(static_cast<LUMTrayService::enumAssetRole>(7), VOTEXT("C:/Data"), VOTEXT("n"));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("m_pkStringSet", kClass + "VOTSAssetNodeContainer")));

    structAssetNode tsNode;
    int bInserted = 0;
    EXPECT_EQ(0, kContainer.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(0, kContainer.FindAssetNode(VOTEXT("a"), tsNode));
    EXPECT_EQ(0, kContainer.GetAssetNode(0, tsNode));
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
    EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(0)));
    kLog.Clear();
    EXPECT_EQ(nullptr, kContainer.GetAlloc());
    EXPECT_TRUE(HasLine(kLog.Lines(), CheckError("_MakeSurePathValueValid()", kClass + "GetAlloc")));
    EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("m_pkStringSet", kClass + "GetAlloc")));
    const MisalignedBlock kImage(ModelContainer().Image());
    EXPECT_EQ(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
    EXPECT_NE(0, kContainer.ShrinkToFit());
    (void)kContainer.CleanUp();
}

// ---------------------------------------------------------------------------------------------------------------------
// RequestAssetNode
// ---------------------------------------------------------------------------------------------------------------------

TEST(RequestNode, ASecondRequestGivesTheSameNodeAndSetsTheFlag)
{
    VOTSAssetNodeContainer kContainer;
    structAssetNode tsFirst;
    structAssetNode tsSecond;
    int bInserted = 7;
    ASSERT_EQ(1, kContainer.RequestAssetNode(VOTEXT("a/b"), tsFirst, bInserted));
    EXPECT_EQ(0, bInserted);
    ASSERT_EQ(1, kContainer.RequestAssetNode(VOTEXT("a/b"), tsSecond, bInserted));
    EXPECT_EQ(1, bInserted);
    EXPECT_EQ(tsFirst.nAssetID, tsSecond.nAssetID);
    EXPECT_EQ(1u, kContainer.GetAssetNodeCount());
}

TEST(RequestNode, ANewNodeHasAllDefaultsAndItsId)
{
    VOTSAssetNodeContainer kContainer;
    NewNode(kContainer, VOTEXT("first"));
    structAssetNode tsNode;
    tsNode.bFolder = 1;
    tsNode.uAssetMerge = 99;
    tsNode.hStrBaseName = HandleOf(4);
    int bInserted = 7;
    ASSERT_EQ(1, kContainer.RequestAssetNode(VOTEXT("second"), tsNode, bInserted));
    structAssetNode tsExpected;
    tsExpected.nAssetID = 1;
    EXPECT_TRUE(SameBytes(BytesOf(tsExpected), BytesOf(tsNode)));
    EXPECT_TRUE(SameBytes(BytesOf(tsExpected), BytesOf(NodeOf(kContainer, 1))));
}

TEST(RequestNode, AnExistingNodeIsGivenAsItStands)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodeAssetMergeSign(uID, 5));
    structAssetNode tsNode;
    int bInserted = 0;
    ASSERT_EQ(1, kContainer.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(5u, tsNode.uAssetMerge);
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(kContainer, uID)), BytesOf(tsNode)));
}

TEST(RequestNode, IdsAreGivenInOrderFromZero)
{
    VOTSAssetNodeContainer kContainer;
    for (unsigned int uID = 0; uID < 500; ++uID)
    {
        EXPECT_EQ(uID, NewNode(kContainer, Wide("path" + std::to_string(uID)).c_str()));
    }
    EXPECT_EQ(500u, kContainer.GetAssetNodeCount());
}

TEST(RequestNode, SeparatorsAndAsciiCaseMakeNoOtherNode)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Root"), nullptr);
    const unsigned int uID = NewNode(kContainer, VOTEXT("Data\\Foo.TXT"));
    for (const VOWCHAR* pszPath : {VOTEXT("data/foo.txt"), VOTEXT("DATA/FOO.TXT/"), VOTEXT("c:\\ROOT\\data\\foo.txt")})
    {
        structAssetNode tsNode;
        int bInserted = 0;
        ASSERT_EQ(1, kContainer.RequestAssetNode(pszPath, tsNode, bInserted));
        EXPECT_EQ(1, bInserted);
        EXPECT_EQ(uID, tsNode.nAssetID);
    }
}

TEST(RequestNode, ThePathsCaseOfOtherLettersMakesAnotherNode)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uUpper = NewNode(kContainer, VOTEXT("\x00C4rger"));
    const unsigned int uLower = NewNode(kContainer, VOTEXT("\x00E4rger"));
    EXPECT_NE(uUpper, uLower);
    EXPECT_EQ(uUpper, FoundID(kContainer, VOTEXT("\x00C4RGER")));
}

TEST(RequestNode, PathsThatAgreeIn259CharactersAreOneNode)
{
    VOTSAssetNodeContainer kContainer;
    const VOWString strCommon(259, VOTEXT('p'));
    LogCapture kLog;
    const unsigned int uID = NewNode(kContainer, (strCommon + VOTEXT("/one")).c_str());
    EXPECT_EQ(uID, FoundID(kContainer, (strCommon + VOTEXT("two")).c_str()));
    EXPECT_EQ(uID, FoundID(kContainer, strCommon.c_str()));
    EXPECT_EQ(kNone, FoundID(kContainer, strCommon.substr(1).c_str()));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(RequestNode, APathOutsideTheRootIsRefusedAndNothingIsEntered)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    VOTSAssetNodeContainer kUntouched(AR_Provider, VOTEXT("C:/Data"), nullptr);
    LogCapture kLog;
    structAssetNode tsNode;
    int bInserted = 7;
    EXPECT_EQ(0, kContainer.RequestAssetNode(VOTEXT("D:/x"), tsNode, bInserted));
    EXPECT_EQ(0, bInserted);
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR(")) << kLog.Lines()[0];
    EXPECT_TRUE(HasText(kLog.Lines(), ") at line # in " + kClass + "RequestAssetNode\n"));
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
    EXPECT_TRUE(SameBytes(ImageOf(kUntouched), ImageOf(kContainer)));
}

TEST(RequestNode, AnEmptyPathIsANodeLikeAnyOther)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT(""));
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("//\\")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a")));
}

TEST(RequestNode, AMissingPathDoesNoHarm)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    int bInserted = 0;
    EXPECT_EQ(0, kContainer.RequestAssetNode(nullptr, tsNode, bInserted));
    EXPECT_EQ(0, kContainer.FindAssetNode(nullptr, tsNode));
    EXPECT_EQ(0, kContainer.RemoveAssetNode(static_cast<const VOWCHAR*>(nullptr)));
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
}

TEST(RequestNode, ACustomerRefusesAndTouchesNothing)
{
    VOTSAssetNodeContainer kContainer(AR_Customer);
    LogCapture kLog;
    structAssetNode tsNode;
    tsNode.uAssetMerge = 3;
    int bInserted = 7;
    EXPECT_EQ(0, kContainer.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(7, bInserted);
    EXPECT_EQ(3u, tsNode.uAssetMerge);
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kRole, kClass + "RequestAssetNode")));
}

TEST(RequestNode, APathThatIsAlreadyANameInThePoolIsANewNode)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("x"));
    ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uID, VOTEXT("dir"), VOTEXT("base"), nullptr));
    // The key of this path is in the pool already, as the text of a name.
    const unsigned int uBase = NewNode(kContainer, VOTEXT("BASE"));
    EXPECT_EQ(1u, uBase);
    EXPECT_EQ(uBase, FoundID(kContainer, VOTEXT("base")));
    EXPECT_EQ(VOWString(VOTEXT("base")), ReadText(kContainer.GetString(NodeOf(kContainer, uID).hStrBaseName)));
}

TEST(RequestNode, PathsThatThePoolCannotTellApartAreOneNode)
{
    // Four paths with one first hash: the pool has room for two of them, the others are taken for the second.
    const std::vector<VOWString> vecTexts = votest::CollidingGroup(1);
    VOTSAssetNodeContainer kContainer;
    EXPECT_EQ(0u, NewNode(kContainer, vecTexts[0].c_str()));
    EXPECT_EQ(1u, NewNode(kContainer, vecTexts[1].c_str()));
    for (const size_t uText : {size_t{2}, size_t{3}})
    {
        structAssetNode tsNode;
        int bInserted = 0;
        EXPECT_EQ(1, kContainer.RequestAssetNode(vecTexts[uText].c_str(), tsNode, bInserted));
        EXPECT_EQ(1, bInserted);
        EXPECT_EQ(1u, tsNode.nAssetID);
    }
    const MisalignedBlock kImage(ImageOf(kContainer), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(0u, FoundID(kCustomer, vecTexts[0].c_str()));
    EXPECT_EQ(1u, FoundID(kCustomer, vecTexts[1].c_str()));
    EXPECT_EQ(1u, FoundID(kCustomer, vecTexts[3].c_str()));
}

TEST(RequestNode, AKeyHasNoText)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("only/a/key"));
    EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(KeyOf(kContainer, uID))));
}

// ---------------------------------------------------------------------------------------------------------------------
// FindAssetNode, GetAssetNode, protected lookups
// ---------------------------------------------------------------------------------------------------------------------

TEST(FindNode, AMissIsSilentAndLeavesTheNodeHandedIn)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    NewNode(kContainer, VOTEXT("a"));
    LogCapture kLog;
    structAssetNode tsNode;
    tsNode.uAssetMerge = 3;
    EXPECT_EQ(0, kContainer.FindAssetNode(VOTEXT("b"), tsNode));
    EXPECT_EQ(0, kContainer.FindAssetNode(VOTEXT("D:/a"), tsNode));
    EXPECT_EQ(3u, tsNode.uAssetMerge);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(FindNode, AHitCopiesTheWholeNode)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodeFileAttribute(uID, 1, 2, 3, 4, 5));
    structAssetNode tsNode;
    ASSERT_NE(0, kContainer.FindAssetNode(VOTEXT("A"), tsNode));
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(kContainer, uID)), BytesOf(tsNode)));
}

TEST(FindNode, ANameThatIsNoPathIsAMiss)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("x"));
    ASSERT_NE(0, kContainer.SetAssetNodeStripPath(uID, nullptr, VOTEXT("base"), nullptr));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("base")));
}

TEST(FindNode, AnIndexEntryBehindTheLastNodeIsASilentMiss)
{
    for (const unsigned int uValue : {2u, 1000000u, 0xFFFFFFFEu, kNone})
    {
        ModelContainer kModel;
        kModel.Add(VOTEXT("a"), false, kNone);
        kModel.Add(VOTEXT("b"), false, kNone);
        kModel.mapIndex[kModel.vecNodes[0].ullKey] = uValue;
        const MisalignedBlock kImage(kModel.Image(), 1);
        for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            VOTSAssetNodeContainer kContainer(eRole);
            ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
            LogCapture kLog;
            EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a"))) << uValue;
            EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("b")));
            EXPECT_THAT(kLog.Lines(), IsEmpty());
        }
    }
}

TEST(FindNode, AnIndexEntryOfARemovedNodeIsFoundAndLogged)
{
    ModelContainer kModel;
    kModel.Add(VOTEXT("a"), false, kNone);
    kModel.vecNodes[0].uState = 2;
    const MisalignedBlock kImage(kModel.Image(), 1);
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer kContainer(eRole);
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
        LogCapture kLog;
        EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("a")));
        EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError(kState, kClass + "FindAssetNode")));
    }
}

TEST(FindNode, PathsAtOddAddressesAreRead)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    int bInserted = 7;
    ASSERT_EQ(1,
              kContainer.RequestAssetNode(votest::PlacedText(VOTEXT("C:\\Data\\Dir\\File.txt"), 1), tsNode, bInserted));
    EXPECT_NE(0, kContainer.FindAssetNode(votest::PlacedText(VOTEXT("dir/file.txt"), 3), tsNode));
}

TEST(GetNode, AnIdBehindTheLastIsLogged)
{
    VOTSAssetNodeContainer kContainer;
    NewNode(kContainer, VOTEXT("a"));
    for (const unsigned int uID : {1u, 2u, 0x7FFFFFFFu, kNone})
    {
        LogCapture kLog;
        structAssetNode tsNode;
        tsNode.uAssetMerge = 3;
        EXPECT_EQ(0, kContainer.GetAssetNode(uID, tsNode));
        EXPECT_EQ(3u, tsNode.uAssetMerge);
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, kClass + "GetAssetNode")));
    }
}

TEST(GetNode, TheIndexAnswersByKeyInBothRoles)
{
    OpenContainer kProvider;
    const unsigned int uA = NewNode(kProvider, VOTEXT("a"));
    const unsigned int uB = NewNode(kProvider, VOTEXT("b"));
    void* hA = HandleOf(KeyOf(kProvider, uA));
    void* hB = HandleOf(KeyOf(kProvider, uB));
    EXPECT_EQ(uA, kProvider._FindAssetParamIndex_P(hA));
    EXPECT_EQ(uB, kProvider._FindAssetParamIndex_P(hB));
    EXPECT_EQ(kNone, kProvider._FindAssetParamIndex_P(HandleOf(1000)));
    EXPECT_EQ(kNone, kProvider._FindAssetParamIndex_P(INVALID_HANDLE_VALUE));
    EXPECT_EQ(kNone, kProvider._FindAssetParamIndex_C(hA)) << "a Provider has no published table";

    const MisalignedBlock kImage(ImageOf(kProvider), 1);
    OpenContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(uA, kCustomer._FindAssetParamIndex_C(hA));
    EXPECT_EQ(uB, kCustomer._FindAssetParamIndex_C(hB));
    EXPECT_EQ(kNone, kCustomer._FindAssetParamIndex_C(HandleOf(1000)));
    EXPECT_EQ(kNone, kCustomer._FindAssetParamIndex_C(INVALID_HANDLE_VALUE));
    EXPECT_EQ(kNone, kCustomer._FindAssetParamIndex_P(hA)) << "a Customer has no map";
}

TEST(GetNode, ARecordIsAppendedWithTheCountAsItsId)
{
    OpenContainer kContainer;
    NewNode(kContainer, VOTEXT("a"));
    structAssetNode tsNode;
    tsNode.uAssetMerge = 12;
    unsigned int uIndex = 77;
    EXPECT_EQ(1, kContainer._AddFileDataParam(HandleOf(5), tsNode, uIndex));
    EXPECT_EQ(1u, uIndex);
    EXPECT_EQ(1u, tsNode.nAssetID);
    EXPECT_EQ(12u, NodeOf(kContainer, 1).uAssetMerge);
    EXPECT_EQ(5u, KeyOf(kContainer, 1));
    EXPECT_EQ(0u, StateOf(kContainer, 1));
    EXPECT_EQ(2u, kContainer.GetAssetNodeCount());
}

// ---------------------------------------------------------------------------------------------------------------------
// RedirectAssetNode
// ---------------------------------------------------------------------------------------------------------------------

TEST(RedirectNode, ANodeIsFoundUnderItsNewPathOnlyAndKeepsEverythingElse)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = AddLinked(kContainer, VOTEXT("old/name.txt"), false, kNone);
    const Bytes vecBefore = BytesOf(NodeOf(kContainer, uID));
    LogCapture kLog;
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uID, VOTEXT("New\\Place.txt")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("new/place.txt")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("old/name.txt")));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kContainer, uID))));
    EXPECT_EQ(VOWString(VOTEXT("old/name.txt")), PathOf(kContainer, uID));
}

TEST(RedirectNode, ThePathThatWasGivenUpCanBeRequestedAnew)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("old"));
    ASSERT_EQ(1, kContainer.RedirectAssetNode(uID, VOTEXT("new")));
    EXPECT_EQ(1u, NewNode(kContainer, VOTEXT("old")));
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("new")));
}

TEST(RedirectNode, OntoItsOwnPathNothingChanges)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("same"));
    const unsigned long long ullKey = KeyOf(kContainer, uID);
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uID, VOTEXT("SAME")));
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("same")));
    EXPECT_EQ(ullKey, KeyOf(kContainer, uID));
}

TEST(RedirectNode, OntoAnotherLiveNodesPathTheIndexKeepsTheOtherAndBothHaveOneKey)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uMoved = NewNode(kContainer, VOTEXT("a"));
    const unsigned int uOther = NewNode(kContainer, VOTEXT("b"));
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uMoved, VOTEXT("b")));
    EXPECT_EQ(uOther, FoundID(kContainer, VOTEXT("b")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a")));
    EXPECT_EQ(KeyOf(kContainer, uOther), KeyOf(kContainer, uMoved));
}

TEST(RedirectNode, MovingAwayFromASharedKeyTakesTheOthersEntryWithIt)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uMoved = NewNode(kContainer, VOTEXT("a"));
    const unsigned int uOther = NewNode(kContainer, VOTEXT("b"));
    ASSERT_EQ(1, kContainer.RedirectAssetNode(uMoved, VOTEXT("b")));
    ASSERT_EQ(1, kContainer.RedirectAssetNode(uMoved, VOTEXT("c")));
    EXPECT_EQ(uMoved, FoundID(kContainer, VOTEXT("c")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("b")));
    // A node without an entry can still be given one.
    LogCapture kLog;
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uOther, VOTEXT("d")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(uOther, FoundID(kContainer, VOTEXT("d")));
}

TEST(RedirectNode, TheChildrenOfARedirectedFolderKeepTheirOldPaths)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uFolder = AddLinked(kContainer, VOTEXT("dir"), true, kNone);
    const unsigned int uChild = AddLinked(kContainer, VOTEXT("dir/a.txt"), false, uFolder);
    ASSERT_EQ(1, kContainer.RedirectAssetNode(uFolder, VOTEXT("moved")));
    EXPECT_EQ(uFolder, FoundID(kContainer, VOTEXT("moved")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("dir")));
    EXPECT_EQ(uChild, FoundID(kContainer, VOTEXT("dir/a.txt")));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("moved/a.txt")));
    EXPECT_THAT(FilesOf(kContainer, uFolder), ElementsAre(uChild));
}

TEST(RedirectNode, APathOutsideTheRootIsRefusedAndTheNodeLosesItsEntry)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    const unsigned long long ullKey = KeyOf(kContainer, uID);
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.RedirectAssetNode(uID, VOTEXT("D:/b")));
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_PROCESS_ERROR(")) << kLog.Lines()[0];
    EXPECT_TRUE(HasText(kLog.Lines(), ") at line # in " + kClass + "RedirectAssetNode\n"));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a")));
    EXPECT_EQ(ullKey, KeyOf(kContainer, uID));
    EXPECT_EQ(0u, StateOf(kContainer, uID));
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uID, VOTEXT("a")));
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("a")));
}

TEST(RedirectNode, ARemovedNodeIsLoggedAndEnteredAllTheSame)
{
    VOTSAssetNodeContainer kContainer;
    const unsigned int uID = NewNode(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.RemoveAssetNode(uID));
    LogCapture kLog;
    EXPECT_EQ(1, kContainer.RedirectAssetNode(uID, VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError(kState, kClass + "RedirectAssetNode")));
    EXPECT_EQ(2u, StateOf(kContainer, uID));
    kLog.Clear();
    EXPECT_EQ(uID, FoundID(kContainer, VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(CheckError(kState, kClass + "FindAssetNode")));
}

TEST(RedirectNode, ABadIdAndACustomerAreRefused)
{
    VOTSAssetNodeContainer kProvider;
    NewNode(kProvider, VOTEXT("a"));
    LogCapture kLog;
    EXPECT_EQ(0, kProvider.RedirectAssetNode(1, VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, kClass + "RedirectAssetNode")));

    const MisalignedBlock kImage(ImageOf(kProvider));
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    kLog.Clear();
    EXPECT_EQ(0, kCustomer.RedirectAssetNode(0, VOTEXT("b")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kRole, kClass + "RedirectAssetNode")));
    EXPECT_EQ(0u, FoundID(kCustomer, VOTEXT("a")));
}

// ---------------------------------------------------------------------------------------------------------------------
// CleanUp, ShrinkToFit, strings
// ---------------------------------------------------------------------------------------------------------------------

TEST(CleanUp, TheNumberingStartsAgainAndRootAndTypesAndListsStay)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    ASSERT_NE(0, kContainer.InsertClassifyType(5, VOTEXT("Text"), VOTEXT("txt"), Color(), Color()));
    ASSERT_NE(0, kContainer.BuildUpExtensionsHash());
    const unsigned int uFolder = AddLinked(kContainer, VOTEXT("dir"), true, kNone);
    const unsigned int uChild = AddLinked(kContainer, VOTEXT("dir/a.txt"), false, uFolder);
    const unsigned int uList = NodeOf(kContainer, uFolder).nChildFileInfo;

    EXPECT_EQ(1, kContainer.CleanUp());
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("dir")));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(kContainer.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(kContainer.GetRootName()));
    int nType = 0;
    EXPECT_NE(0, kContainer.GetClassifyTypeByExtension(VOTEXT("txt"), nType));
    EXPECT_EQ(5, nType);
    EXPECT_THAT(ListOf(kContainer, uList), ElementsAre(uChild));
    EXPECT_EQ(0u, NewNode(kContainer, VOTEXT("dir/a.txt")));
}

TEST(CleanUp, TheRootStringsAreEnteredAgainForTheNextImage)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    NewNode(kContainer, VOTEXT("a"));
    ASSERT_FALSE(ImageOf(kContainer).empty());
    ASSERT_EQ(1, kContainer.CleanUp());
    const MisalignedBlock kImage(ImageOf(kContainer));
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(kCustomer.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(kCustomer.GetRootName()));
}

TEST(CleanUp, ARootStringOfThePoolIsMadeOnceAndKeepsItsHandle)
{
    OpenContainer kContainer(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    EXPECT_NE(0, kContainer._MakeSurePathValueValid());
    const Bytes vecFirst = ImageOf(kContainer);
    EXPECT_EQ(0u, ReadU64(vecFirst, 32));
    EXPECT_EQ(1u, ReadU64(vecFirst, 40));
    EXPECT_NE(0, kContainer._MakeSurePathValueValid());
    EXPECT_TRUE(SameBytes(vecFirst, ImageOf(kContainer)));
}

TEST(ShrinkToFit, ChangesNothingThatCanBeAskedFor)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    const unsigned int uFolder = AddLinked(kContainer, VOTEXT("dir"), true, kNone);
    for (int i = 0; i < 50; ++i)
    {
        AddLinked(kContainer, Wide("dir/f" + std::to_string(i) + ".txt").c_str(), false, uFolder);
    }
    const Bytes vecBefore = ImageOf(kContainer);
    EXPECT_EQ(1, kContainer.ShrinkToFit());
    EXPECT_TRUE(SameBytes(vecBefore, ImageOf(kContainer)));
    EXPECT_EQ(51u, AddLinked(kContainer, VOTEXT("dir/more.txt"), false, uFolder));
    EXPECT_EQ(51u, FilesOf(kContainer, uFolder).size());
}

TEST(ShrinkToFit, SucceedsOnAnEmptyContainerAndOnACustomer)
{
    VOTSAssetNodeContainer kEmpty;
    EXPECT_EQ(1, kEmpty.ShrinkToFit());
    NewNode(kEmpty, VOTEXT("a"));
    const MisalignedBlock kImage(ImageOf(kEmpty), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(1, kCustomer.ShrinkToFit());
    EXPECT_EQ(0u, FoundID(kCustomer, VOTEXT("a")));
}

TEST(GetString, HandlesThatHaveNoTextGiveAnEmptyPointer)
{
    VOTSAssetNodeContainer kContainer;
    EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(0)));
    const unsigned int uID = NewNode(kContainer, VOTEXT("key"));
    ASSERT_NE(0, kContainer.SetAssetNodePhysicsPath(uID, VOTEXT("Physics Path")));
    EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(0))) << "the key";
    EXPECT_EQ(VOWString(VOTEXT("Physics Path")), ReadText(kContainer.GetString(HandleOf(1))));
    EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(2)));
    EXPECT_EQ(nullptr, kContainer.GetString(INVALID_HANDLE_VALUE));
}

TEST(Copies, ACopyAnswersLikeItsSourceAndDoesNotShareMemory)
{
    VOTSAssetNodeContainer kAssigned(AR_Provider, VOTEXT("D:/Other"), nullptr);
    NewNode(kAssigned, VOTEXT("gone"));
    Bytes vecImage;
    {
        VOTSAssetNodeContainer kSource(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
        const unsigned int uFolder = AddLinked(kSource, VOTEXT("dir"), true, kNone);
        AddLinked(kSource, VOTEXT("dir/a.txt"), false, uFolder);
        vecImage = ImageOf(kSource);
        VOTSAssetNodeContainer kCopy(kSource);
        kAssigned = kSource;
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(kCopy)));
        NewNode(kCopy, VOTEXT("only in the copy"));
        EXPECT_EQ(kNone, FoundID(kSource, VOTEXT("only in the copy")));
    }
    EXPECT_TRUE(SameBytes(vecImage, ImageOf(kAssigned)));
}

}  // namespace
