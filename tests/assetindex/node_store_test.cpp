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
    VOTSAssetNodeContainer container;
    EXPECT_EQ(nullptr, container.GetRootPath());
    EXPECT_EQ(nullptr, container.GetRootName());
    EXPECT_EQ(0u, container.GetAssetNodeCount());
    EXPECT_EQ(0u, NewNode(container, VOTEXT("a")));
}

TEST(NodeStore, ADerivedClassSeesItsRoleRootPoolAndRecords)
{
    OpenContainer container(AR_Provider, VOTEXT("C:\\Data"), VOTEXT("Name"));
    EXPECT_EQ(AR_Provider, container.m_eAssetRole);
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), VOWString(container.m_tszRootPath));
    EXPECT_EQ(VOWString(VOTEXT("Name")), VOWString(container.m_tszRootName));
    EXPECT_EQ(INVALID_HANDLE_VALUE, container.m_hStrRootPath);
    EXPECT_EQ(INVALID_HANDLE_VALUE, container.m_hStrRootName);
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_EQ(1u, container.m_vecAssetNode.Count());
    const structAssetNodeParam param = container.m_vecAssetNode[uID];
    EXPECT_EQ(container.m_pkStringSet->Find(VOTEXT("a")), +param.hStringParam);
}

TEST(NodeStore, RootPathAndNameKeepTheirCaseAndTheNameIsUnchanged)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:\\My Data\\"), VOTEXT("My\\Name/"));
    EXPECT_EQ(VOWString(VOTEXT("C:/My Data")), ReadText(container.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("My\\Name/")), ReadText(container.GetRootName()));
}

TEST(NodeStore, EmptyRootTextsAreNone)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT(""), VOTEXT(""));
    EXPECT_EQ(nullptr, container.GetRootPath());
    EXPECT_EQ(nullptr, container.GetRootName());
}

TEST(NodeStore, ARootOfSlashesOnlyIsNone)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("\\//\\"), nullptr);
    EXPECT_EQ(nullptr, container.GetRootPath());
}

TEST(NodeStore, ARoleThatIsNeitherIsReportedAndDoesNothing)
{
    LogCapture log;
    VOTSAssetNodeContainer container(static_cast<LUMTrayService::enumAssetRole>(7), VOTEXT("C:/Data"), VOTEXT("n"));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("m_pkStringSet", kClass + "VOTSAssetNodeContainer")));

    structAssetNode tsNode;
    int bInserted = 0;
    EXPECT_EQ(0, container.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(0, container.FindAssetNode(VOTEXT("a"), tsNode));
    EXPECT_EQ(0, container.GetAssetNode(0, tsNode));
    EXPECT_EQ(0u, container.GetAssetNodeCount());
    EXPECT_EQ(nullptr, container.GetString(HandleOf(0)));
    log.Clear();
    EXPECT_EQ(nullptr, container.GetAlloc());
    EXPECT_TRUE(HasLine(log.Lines(), CheckError("_MakeSurePathValueValid()", kClass + "GetAlloc")));
    EXPECT_TRUE(HasLine(log.Lines(), ProcessError("m_pkStringSet", kClass + "GetAlloc")));
    const MisalignedBlock image(ModelContainer().Image());
    EXPECT_EQ(0, container.SetAlloc(image.As<ContainerImage>(), 1));
    EXPECT_NE(0, container.ShrinkToFit());
    (void)container.CleanUp();
}

// ---------------------------------------------------------------------------------------------------------------------
// RequestAssetNode
// ---------------------------------------------------------------------------------------------------------------------

TEST(RequestNode, ASecondRequestGivesTheSameNodeAndSetsTheFlag)
{
    VOTSAssetNodeContainer container;
    structAssetNode tsFirst;
    structAssetNode tsSecond;
    int bInserted = 7;
    ASSERT_EQ(1, container.RequestAssetNode(VOTEXT("a/b"), tsFirst, bInserted));
    EXPECT_EQ(0, bInserted);
    ASSERT_EQ(1, container.RequestAssetNode(VOTEXT("a/b"), tsSecond, bInserted));
    EXPECT_EQ(1, bInserted);
    EXPECT_EQ(tsFirst.nAssetID, tsSecond.nAssetID);
    EXPECT_EQ(1u, container.GetAssetNodeCount());
}

TEST(RequestNode, ANewNodeHasAllDefaultsAndItsId)
{
    VOTSAssetNodeContainer container;
    NewNode(container, VOTEXT("first"));
    structAssetNode tsNode;
    tsNode.bFolder = 1;
    tsNode.uAssetMerge = 99;
    tsNode.hStrBaseName = HandleOf(4);
    int bInserted = 7;
    ASSERT_EQ(1, container.RequestAssetNode(VOTEXT("second"), tsNode, bInserted));
    structAssetNode tsExpected;
    tsExpected.nAssetID = 1;
    EXPECT_TRUE(SameBytes(BytesOf(tsExpected), BytesOf(tsNode)));
    EXPECT_TRUE(SameBytes(BytesOf(tsExpected), BytesOf(NodeOf(container, 1))));
}

TEST(RequestNode, AnExistingNodeIsGivenAsItStands)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(uID, 5));
    structAssetNode tsNode;
    int bInserted = 0;
    ASSERT_EQ(1, container.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(5u, tsNode.uAssetMerge);
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(container, uID)), BytesOf(tsNode)));
}

TEST(RequestNode, IdsAreGivenInOrderFromZero)
{
    VOTSAssetNodeContainer container;
    for (unsigned int uID = 0; uID < 500; ++uID)
    {
        EXPECT_EQ(uID, NewNode(container, Wide("path" + std::to_string(uID)).c_str()));
    }
    EXPECT_EQ(500u, container.GetAssetNodeCount());
}

TEST(RequestNode, SeparatorsAndAsciiCaseMakeNoOtherNode)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Root"), nullptr);
    const unsigned int uID = NewNode(container, VOTEXT("Data\\Foo.TXT"));
    for (const VOWCHAR* pszPath : {VOTEXT("data/foo.txt"), VOTEXT("DATA/FOO.TXT/"), VOTEXT("c:\\ROOT\\data\\foo.txt")})
    {
        structAssetNode tsNode;
        int bInserted = 0;
        ASSERT_EQ(1, container.RequestAssetNode(pszPath, tsNode, bInserted));
        EXPECT_EQ(1, bInserted);
        EXPECT_EQ(uID, tsNode.nAssetID);
    }
}

TEST(RequestNode, ThePathsCaseOfOtherLettersMakesAnotherNode)
{
    VOTSAssetNodeContainer container;
    const unsigned int uUpper = NewNode(container, VOTEXT("\x00C4rger"));
    const unsigned int uLower = NewNode(container, VOTEXT("\x00E4rger"));
    EXPECT_NE(uUpper, uLower);
    EXPECT_EQ(uUpper, FoundID(container, VOTEXT("\x00C4RGER")));
}

TEST(RequestNode, PathsThatAgreeIn259CharactersAreOneNode)
{
    VOTSAssetNodeContainer container;
    const VOWString strCommon(259, VOTEXT('p'));
    LogCapture log;
    const unsigned int uID = NewNode(container, (strCommon + VOTEXT("/one")).c_str());
    EXPECT_EQ(uID, FoundID(container, (strCommon + VOTEXT("two")).c_str()));
    EXPECT_EQ(uID, FoundID(container, strCommon.c_str()));
    EXPECT_EQ(kNone, FoundID(container, strCommon.substr(1).c_str()));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(RequestNode, APathOutsideTheRootIsRefusedAndNothingIsEntered)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    VOTSAssetNodeContainer untouched(AR_Provider, VOTEXT("C:/Data"), nullptr);
    LogCapture log;
    structAssetNode tsNode;
    int bInserted = 7;
    EXPECT_EQ(0, container.RequestAssetNode(VOTEXT("D:/x"), tsNode, bInserted));
    EXPECT_EQ(0, bInserted);
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR(")) << log.Lines()[0];
    EXPECT_TRUE(HasText(log.Lines(), ") at line # in " + kClass + "RequestAssetNode\n"));
    EXPECT_EQ(0u, container.GetAssetNodeCount());
    EXPECT_TRUE(SameBytes(ImageOf(untouched), ImageOf(container)));
}

TEST(RequestNode, AnEmptyPathIsANodeLikeAnyOther)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT(""));
    EXPECT_EQ(uID, FoundID(container, VOTEXT("//\\")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("a")));
}

TEST(RequestNode, AMissingPathDoesNoHarm)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    int bInserted = 0;
    EXPECT_EQ(0, container.RequestAssetNode(nullptr, tsNode, bInserted));
    EXPECT_EQ(0, container.FindAssetNode(nullptr, tsNode));
    EXPECT_EQ(0, container.RemoveAssetNode(static_cast<const VOWCHAR*>(nullptr)));
    EXPECT_EQ(0u, container.GetAssetNodeCount());
}

TEST(RequestNode, ACustomerRefusesAndTouchesNothing)
{
    VOTSAssetNodeContainer container(AR_Customer);
    LogCapture log;
    structAssetNode tsNode;
    tsNode.uAssetMerge = 3;
    int bInserted = 7;
    EXPECT_EQ(0, container.RequestAssetNode(VOTEXT("a"), tsNode, bInserted));
    EXPECT_EQ(7, bInserted);
    EXPECT_EQ(3u, tsNode.uAssetMerge);
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kRole, kClass + "RequestAssetNode")));
}

TEST(RequestNode, APathThatIsAlreadyANameInThePoolIsANewNode)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("x"));
    ASSERT_NE(0, container.SetAssetNodeStripPath(uID, VOTEXT("dir"), VOTEXT("base"), nullptr));
    // The key of this path is in the pool already, as the text of a name.
    const unsigned int uBase = NewNode(container, VOTEXT("BASE"));
    EXPECT_EQ(1u, uBase);
    EXPECT_EQ(uBase, FoundID(container, VOTEXT("base")));
    EXPECT_EQ(VOWString(VOTEXT("base")), ReadText(container.GetString(NodeOf(container, uID).hStrBaseName)));
}

TEST(RequestNode, PathsThatThePoolCannotTellApartAreOneNode)
{
    // Four paths with one first hash: the pool has room for two of them, the others are taken for the second.
    const std::vector<VOWString> vecTexts = votest::CollidingGroup(1);
    VOTSAssetNodeContainer container;
    EXPECT_EQ(0u, NewNode(container, vecTexts[0].c_str()));
    EXPECT_EQ(1u, NewNode(container, vecTexts[1].c_str()));
    for (const size_t uText : {size_t{2}, size_t{3}})
    {
        structAssetNode tsNode;
        int bInserted = 0;
        EXPECT_EQ(1, container.RequestAssetNode(vecTexts[uText].c_str(), tsNode, bInserted));
        EXPECT_EQ(1, bInserted);
        EXPECT_EQ(1u, tsNode.nAssetID);
    }
    const MisalignedBlock image(ImageOf(container), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(0u, FoundID(customer, vecTexts[0].c_str()));
    EXPECT_EQ(1u, FoundID(customer, vecTexts[1].c_str()));
    EXPECT_EQ(1u, FoundID(customer, vecTexts[3].c_str()));
}

TEST(RequestNode, AKeyHasNoText)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("only/a/key"));
    EXPECT_EQ(nullptr, container.GetString(HandleOf(KeyOf(container, uID))));
}

// ---------------------------------------------------------------------------------------------------------------------
// FindAssetNode, GetAssetNode, protected lookups
// ---------------------------------------------------------------------------------------------------------------------

TEST(FindNode, AMissIsSilentAndLeavesTheNodeHandedIn)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    NewNode(container, VOTEXT("a"));
    LogCapture log;
    structAssetNode tsNode;
    tsNode.uAssetMerge = 3;
    EXPECT_EQ(0, container.FindAssetNode(VOTEXT("b"), tsNode));
    EXPECT_EQ(0, container.FindAssetNode(VOTEXT("D:/a"), tsNode));
    EXPECT_EQ(3u, tsNode.uAssetMerge);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(FindNode, AHitCopiesTheWholeNode)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodeFileAttribute(uID, 1, 2, 3, 4, 5));
    structAssetNode tsNode;
    ASSERT_NE(0, container.FindAssetNode(VOTEXT("A"), tsNode));
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(container, uID)), BytesOf(tsNode)));
}

TEST(FindNode, ANameThatIsNoPathIsAMiss)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("x"));
    ASSERT_NE(0, container.SetAssetNodeStripPath(uID, nullptr, VOTEXT("base"), nullptr));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("base")));
}

TEST(FindNode, AnIndexEntryBehindTheLastNodeIsASilentMiss)
{
    for (const unsigned int uValue : {2u, 1000000u, 0xFFFFFFFEu, kNone})
    {
        ModelContainer model;
        model.Add(VOTEXT("a"), false, kNone);
        model.Add(VOTEXT("b"), false, kNone);
        model.mapIndex[model.vecNodes[0].ullKey] = uValue;
        const MisalignedBlock image(model.Image(), 1);
        for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            VOTSAssetNodeContainer container(eRole);
            ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
            LogCapture log;
            EXPECT_EQ(kNone, FoundID(container, VOTEXT("a"))) << uValue;
            EXPECT_EQ(1u, FoundID(container, VOTEXT("b")));
            EXPECT_THAT(log.Lines(), IsEmpty());
        }
    }
}

TEST(FindNode, AnIndexEntryOfARemovedNodeIsFoundAndLogged)
{
    ModelContainer model;
    model.Add(VOTEXT("a"), false, kNone);
    model.vecNodes[0].uState = 2;
    const MisalignedBlock image(model.Image(), 1);
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer container(eRole);
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
        LogCapture log;
        EXPECT_EQ(0u, FoundID(container, VOTEXT("a")));
        EXPECT_THAT(log.Lines(), ElementsAre(CheckError(kState, kClass + "FindAssetNode")));
    }
}

TEST(FindNode, PathsAtOddAddressesAreRead)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    int bInserted = 7;
    ASSERT_EQ(1,
              container.RequestAssetNode(votest::PlacedText(VOTEXT("C:\\Data\\Dir\\File.txt"), 1), tsNode, bInserted));
    EXPECT_NE(0, container.FindAssetNode(votest::PlacedText(VOTEXT("dir/file.txt"), 3), tsNode));
}

TEST(GetNode, AnIdBehindTheLastIsLogged)
{
    VOTSAssetNodeContainer container;
    NewNode(container, VOTEXT("a"));
    for (const unsigned int uID : {1u, 2u, 0x7FFFFFFFu, kNone})
    {
        LogCapture log;
        structAssetNode tsNode;
        tsNode.uAssetMerge = 3;
        EXPECT_EQ(0, container.GetAssetNode(uID, tsNode));
        EXPECT_EQ(3u, tsNode.uAssetMerge);
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, kClass + "GetAssetNode")));
    }
}

TEST(GetNode, TheIndexAnswersByKeyInBothRoles)
{
    OpenContainer provider;
    const unsigned int uA = NewNode(provider, VOTEXT("a"));
    const unsigned int uB = NewNode(provider, VOTEXT("b"));
    void* hA = HandleOf(KeyOf(provider, uA));
    void* hB = HandleOf(KeyOf(provider, uB));
    EXPECT_EQ(uA, provider._FindAssetParamIndex_P(hA));
    EXPECT_EQ(uB, provider._FindAssetParamIndex_P(hB));
    EXPECT_EQ(kNone, provider._FindAssetParamIndex_P(HandleOf(1000)));
    EXPECT_EQ(kNone, provider._FindAssetParamIndex_P(INVALID_HANDLE_VALUE));
    EXPECT_EQ(kNone, provider._FindAssetParamIndex_C(hA)) << "a Provider has no published table";

    const MisalignedBlock image(ImageOf(provider), 1);
    OpenContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(uA, customer._FindAssetParamIndex_C(hA));
    EXPECT_EQ(uB, customer._FindAssetParamIndex_C(hB));
    EXPECT_EQ(kNone, customer._FindAssetParamIndex_C(HandleOf(1000)));
    EXPECT_EQ(kNone, customer._FindAssetParamIndex_C(INVALID_HANDLE_VALUE));
    EXPECT_EQ(kNone, customer._FindAssetParamIndex_P(hA)) << "a Customer has no map";
}

TEST(GetNode, ARecordIsAppendedWithTheCountAsItsId)
{
    OpenContainer container;
    NewNode(container, VOTEXT("a"));
    structAssetNode tsNode;
    tsNode.uAssetMerge = 12;
    unsigned int uIndex = 77;
    EXPECT_EQ(1, container._AddFileDataParam(HandleOf(5), tsNode, uIndex));
    EXPECT_EQ(1u, uIndex);
    EXPECT_EQ(1u, tsNode.nAssetID);
    EXPECT_EQ(12u, NodeOf(container, 1).uAssetMerge);
    EXPECT_EQ(5u, KeyOf(container, 1));
    EXPECT_EQ(0u, StateOf(container, 1));
    EXPECT_EQ(2u, container.GetAssetNodeCount());
}

// ---------------------------------------------------------------------------------------------------------------------
// RedirectAssetNode
// ---------------------------------------------------------------------------------------------------------------------

TEST(RedirectNode, ANodeIsFoundUnderItsNewPathOnlyAndKeepsEverythingElse)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = AddLinked(container, VOTEXT("old/name.txt"), false, kNone);
    const Bytes vecBefore = BytesOf(NodeOf(container, uID));
    LogCapture log;
    EXPECT_EQ(1, container.RedirectAssetNode(uID, VOTEXT("New\\Place.txt")));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(uID, FoundID(container, VOTEXT("new/place.txt")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("old/name.txt")));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(container, uID))));
    EXPECT_EQ(VOWString(VOTEXT("old/name.txt")), PathOf(container, uID));
}

TEST(RedirectNode, ThePathThatWasGivenUpCanBeRequestedAnew)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("old"));
    ASSERT_EQ(1, container.RedirectAssetNode(uID, VOTEXT("new")));
    EXPECT_EQ(1u, NewNode(container, VOTEXT("old")));
    EXPECT_EQ(uID, FoundID(container, VOTEXT("new")));
}

TEST(RedirectNode, OntoItsOwnPathNothingChanges)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("same"));
    const unsigned long long ullKey = KeyOf(container, uID);
    EXPECT_EQ(1, container.RedirectAssetNode(uID, VOTEXT("SAME")));
    EXPECT_EQ(uID, FoundID(container, VOTEXT("same")));
    EXPECT_EQ(ullKey, KeyOf(container, uID));
}

TEST(RedirectNode, OntoAnotherLiveNodesPathTheIndexKeepsTheOtherAndBothHaveOneKey)
{
    VOTSAssetNodeContainer container;
    const unsigned int uMoved = NewNode(container, VOTEXT("a"));
    const unsigned int uOther = NewNode(container, VOTEXT("b"));
    EXPECT_EQ(1, container.RedirectAssetNode(uMoved, VOTEXT("b")));
    EXPECT_EQ(uOther, FoundID(container, VOTEXT("b")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("a")));
    EXPECT_EQ(KeyOf(container, uOther), KeyOf(container, uMoved));
}

TEST(RedirectNode, MovingAwayFromASharedKeyTakesTheOthersEntryWithIt)
{
    VOTSAssetNodeContainer container;
    const unsigned int uMoved = NewNode(container, VOTEXT("a"));
    const unsigned int uOther = NewNode(container, VOTEXT("b"));
    ASSERT_EQ(1, container.RedirectAssetNode(uMoved, VOTEXT("b")));
    ASSERT_EQ(1, container.RedirectAssetNode(uMoved, VOTEXT("c")));
    EXPECT_EQ(uMoved, FoundID(container, VOTEXT("c")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("b")));
    // A node without an entry can still be given one.
    LogCapture log;
    EXPECT_EQ(1, container.RedirectAssetNode(uOther, VOTEXT("d")));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(uOther, FoundID(container, VOTEXT("d")));
}

TEST(RedirectNode, TheChildrenOfARedirectedFolderKeepTheirOldPaths)
{
    VOTSAssetNodeContainer container;
    const unsigned int uFolder = AddLinked(container, VOTEXT("dir"), true, kNone);
    const unsigned int uChild = AddLinked(container, VOTEXT("dir/a.txt"), false, uFolder);
    ASSERT_EQ(1, container.RedirectAssetNode(uFolder, VOTEXT("moved")));
    EXPECT_EQ(uFolder, FoundID(container, VOTEXT("moved")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("dir")));
    EXPECT_EQ(uChild, FoundID(container, VOTEXT("dir/a.txt")));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("moved/a.txt")));
    EXPECT_THAT(FilesOf(container, uFolder), ElementsAre(uChild));
}

TEST(RedirectNode, APathOutsideTheRootIsRefusedAndTheNodeLosesItsEntry)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    const unsigned long long ullKey = KeyOf(container, uID);
    LogCapture log;
    EXPECT_EQ(0, container.RedirectAssetNode(uID, VOTEXT("D:/b")));
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_PROCESS_ERROR(")) << log.Lines()[0];
    EXPECT_TRUE(HasText(log.Lines(), ") at line # in " + kClass + "RedirectAssetNode\n"));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("a")));
    EXPECT_EQ(ullKey, KeyOf(container, uID));
    EXPECT_EQ(0u, StateOf(container, uID));
    EXPECT_EQ(1, container.RedirectAssetNode(uID, VOTEXT("a")));
    EXPECT_EQ(uID, FoundID(container, VOTEXT("a")));
}

TEST(RedirectNode, ARemovedNodeIsLoggedAndEnteredAllTheSame)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    ASSERT_NE(0, container.RemoveAssetNode(uID));
    LogCapture log;
    EXPECT_EQ(1, container.RedirectAssetNode(uID, VOTEXT("b")));
    EXPECT_THAT(log.Lines(), ElementsAre(CheckError(kState, kClass + "RedirectAssetNode")));
    EXPECT_EQ(2u, StateOf(container, uID));
    log.Clear();
    EXPECT_EQ(uID, FoundID(container, VOTEXT("b")));
    EXPECT_THAT(log.Lines(), ElementsAre(CheckError(kState, kClass + "FindAssetNode")));
}

TEST(RedirectNode, ABadIdAndACustomerAreRefused)
{
    VOTSAssetNodeContainer provider;
    NewNode(provider, VOTEXT("a"));
    LogCapture log;
    EXPECT_EQ(0, provider.RedirectAssetNode(1, VOTEXT("b")));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, kClass + "RedirectAssetNode")));

    const MisalignedBlock image(ImageOf(provider));
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    log.Clear();
    EXPECT_EQ(0, customer.RedirectAssetNode(0, VOTEXT("b")));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kRole, kClass + "RedirectAssetNode")));
    EXPECT_EQ(0u, FoundID(customer, VOTEXT("a")));
}

// ---------------------------------------------------------------------------------------------------------------------
// CleanUp, ShrinkToFit, strings
// ---------------------------------------------------------------------------------------------------------------------

TEST(CleanUp, TheNumberingStartsAgainAndRootAndTypesAndListsStay)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    ASSERT_NE(0, container.InsertClassifyType(5, VOTEXT("Text"), VOTEXT("txt"), Color(), Color()));
    ASSERT_NE(0, container.BuildUpExtensionsHash());
    const unsigned int uFolder = AddLinked(container, VOTEXT("dir"), true, kNone);
    const unsigned int uChild = AddLinked(container, VOTEXT("dir/a.txt"), false, uFolder);
    const unsigned int uList = NodeOf(container, uFolder).nChildFileInfo;

    EXPECT_EQ(1, container.CleanUp());
    EXPECT_EQ(0u, container.GetAssetNodeCount());
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("dir")));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(container.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(container.GetRootName()));
    int nType = 0;
    EXPECT_NE(0, container.GetClassifyTypeByExtension(VOTEXT("txt"), nType));
    EXPECT_EQ(5, nType);
    EXPECT_THAT(ListOf(container, uList), ElementsAre(uChild));
    EXPECT_EQ(0u, NewNode(container, VOTEXT("dir/a.txt")));
}

TEST(CleanUp, TheRootStringsAreEnteredAgainForTheNextImage)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    NewNode(container, VOTEXT("a"));
    ASSERT_FALSE(ImageOf(container).empty());
    ASSERT_EQ(1, container.CleanUp());
    const MisalignedBlock image(ImageOf(container));
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(VOWString(VOTEXT("C:/Data")), ReadText(customer.GetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Name")), ReadText(customer.GetRootName()));
}

TEST(CleanUp, ARootStringOfThePoolIsMadeOnceAndKeepsItsHandle)
{
    OpenContainer container(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    EXPECT_NE(0, container._MakeSurePathValueValid());
    const Bytes vecFirst = ImageOf(container);
    EXPECT_EQ(0u, ReadU64(vecFirst, 32));
    EXPECT_EQ(1u, ReadU64(vecFirst, 40));
    EXPECT_NE(0, container._MakeSurePathValueValid());
    EXPECT_TRUE(SameBytes(vecFirst, ImageOf(container)));
}

TEST(ShrinkToFit, ChangesNothingThatCanBeAskedFor)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
    const unsigned int uFolder = AddLinked(container, VOTEXT("dir"), true, kNone);
    for (int i = 0; i < 50; ++i)
    {
        AddLinked(container, Wide("dir/f" + std::to_string(i) + ".txt").c_str(), false, uFolder);
    }
    const Bytes vecBefore = ImageOf(container);
    EXPECT_EQ(1, container.ShrinkToFit());
    EXPECT_TRUE(SameBytes(vecBefore, ImageOf(container)));
    EXPECT_EQ(51u, AddLinked(container, VOTEXT("dir/more.txt"), false, uFolder));
    EXPECT_EQ(51u, FilesOf(container, uFolder).size());
}

TEST(ShrinkToFit, SucceedsOnAnEmptyContainerAndOnACustomer)
{
    VOTSAssetNodeContainer empty;
    EXPECT_EQ(1, empty.ShrinkToFit());
    NewNode(empty, VOTEXT("a"));
    const MisalignedBlock image(ImageOf(empty), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(1, customer.ShrinkToFit());
    EXPECT_EQ(0u, FoundID(customer, VOTEXT("a")));
}

TEST(GetString, HandlesThatHaveNoTextGiveAnEmptyPointer)
{
    VOTSAssetNodeContainer container;
    EXPECT_EQ(nullptr, container.GetString(HandleOf(0)));
    const unsigned int uID = NewNode(container, VOTEXT("key"));
    ASSERT_NE(0, container.SetAssetNodePhysicsPath(uID, VOTEXT("Physics Path")));
    EXPECT_EQ(nullptr, container.GetString(HandleOf(0))) << "the key";
    EXPECT_EQ(VOWString(VOTEXT("Physics Path")), ReadText(container.GetString(HandleOf(1))));
    EXPECT_EQ(nullptr, container.GetString(HandleOf(2)));
    EXPECT_EQ(nullptr, container.GetString(INVALID_HANDLE_VALUE));
}

TEST(Copies, ACopyAnswersLikeItsSourceAndDoesNotShareMemory)
{
    VOTSAssetNodeContainer assigned(AR_Provider, VOTEXT("D:/Other"), nullptr);
    NewNode(assigned, VOTEXT("gone"));
    Bytes vecImage;
    {
        VOTSAssetNodeContainer source(AR_Provider, VOTEXT("C:/Data"), VOTEXT("Name"));
        const unsigned int uFolder = AddLinked(source, VOTEXT("dir"), true, kNone);
        AddLinked(source, VOTEXT("dir/a.txt"), false, uFolder);
        vecImage = ImageOf(source);
        VOTSAssetNodeContainer copy(source);
        assigned = source;
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(copy)));
        NewNode(copy, VOTEXT("only in the copy"));
        EXPECT_EQ(kNone, FoundID(source, VOTEXT("only in the copy")));
    }
    EXPECT_TRUE(SameBytes(vecImage, ImageOf(assigned)));
}

}  // namespace
