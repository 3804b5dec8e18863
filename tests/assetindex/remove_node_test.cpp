// Removal of nodes and subtrees: order, what stays, what stops it.
#include "assetindex/image_model.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;

const std::string kMiss = ProcessError("cIter != m_mapStringHandle2ParamIndex.end()", kClass + "RemoveAssetNode");

// top(0): f1(1) f2(2) f3(3), d1(4): d1/x(5); d2(6): d2/y(7)
struct SmallTree
{
    VOTSAssetNodeContainer kContainer;

    SmallTree()
    {
        AddLinked(kContainer, VOTEXT("top"), true, kNone);
        AddLinked(kContainer, VOTEXT("top/f1"), false, 0);
        AddLinked(kContainer, VOTEXT("top/f2"), false, 0);
        AddLinked(kContainer, VOTEXT("top/f3"), false, 0);
        AddLinked(kContainer, VOTEXT("top/d1"), true, 0);
        AddLinked(kContainer, VOTEXT("top/d1/x"), false, 4);
        AddLinked(kContainer, VOTEXT("top/d2"), true, 0);
        AddLinked(kContainer, VOTEXT("top/d2/y"), false, 6);
    }

    // Takes the node's entry out of the index, so that its removal fails.
    void Break(unsigned int uID)
    {
        ASSERT_NE(0, kContainer.SetAssetNodeParentIndex(uID, kNone));
        ASSERT_NE(0, kContainer.RemoveAssetNode(uID));
    }

    // The ids whose state is removed.
    IDs Removed()
    {
        IDs vecResult;
        for (unsigned int uID = 0; uID < kContainer.GetAssetNodeCount(); ++uID)
        {
            if (StateOf(kContainer, uID) == 2)
            {
                vecResult.push_back(uID);
            }
        }
        return vecResult;
    }
};

TEST(RemoveNode, AFolderTakesItsSubtreeWithIt)
{
    SmallTree kTree;
    LogCapture kLog;
    EXPECT_EQ(1, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_THAT(kTree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    for (const VOWCHAR* pszPath : {VOTEXT("top"), VOTEXT("top/f1"), VOTEXT("top/d1"), VOTEXT("top/d1/x")})
    {
        EXPECT_EQ(kNone, FoundID(kTree.kContainer, pszPath));
    }
    EXPECT_EQ(8u, kTree.kContainer.GetAssetNodeCount());
}

TEST(RemoveNode, OfAnInnerFolderTheRestStays)
{
    SmallTree kTree;
    EXPECT_EQ(1, kTree.kContainer.RemoveAssetNode(4u));
    EXPECT_THAT(kTree.Removed(), ElementsAre(4, 5));
    EXPECT_THAT(FoldersOf(kTree.kContainer, 0), ElementsAre(6));
    EXPECT_THAT(FilesOf(kTree.kContainer, 0), ElementsAre(1, 2, 3));
    EXPECT_EQ(7u, FoundID(kTree.kContainer, VOTEXT("top/d2/y")));
}

TEST(RemoveNode, TheRecordKeepsEverythingButItsState)
{
    SmallTree kTree;
    const Bytes vecBefore = BytesOf(NodeOf(kTree.kContainer, 4));
    const unsigned long long ullKey = KeyOf(kTree.kContainer, 4);
    ASSERT_EQ(1, kTree.kContainer.RemoveAssetNode(4u));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kTree.kContainer, 4))));
    EXPECT_EQ(ullKey, KeyOf(kTree.kContainer, 4));
    EXPECT_EQ(VOWString(VOTEXT("top/d1")), PathOf(kTree.kContainer, 4)) << "a removed node still renders";
}

TEST(RemoveNode, TheListsOfARemovedFolderHoldOnlyHoles)
{
    SmallTree kTree;
    ASSERT_EQ(1, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_THAT(FilesOf(kTree.kContainer, 0), IsEmpty());
    EXPECT_THAT(FoldersOf(kTree.kContainer, 0), IsEmpty());
    EXPECT_NE(kNone, NodeOf(kTree.kContainer, 0).nChildFileInfo);
}

TEST(RemoveNode, ThePathRequestedAgainIsANewNode)
{
    SmallTree kTree;
    ASSERT_EQ(1, kTree.kContainer.RemoveAssetNode(1u));
    EXPECT_EQ(8u, kTree.kContainer.GetAssetNodeCount());
    EXPECT_EQ(8u, NewNode(kTree.kContainer, VOTEXT("top/f1")));
    EXPECT_EQ(8u, FoundID(kTree.kContainer, VOTEXT("top/f1")));
    EXPECT_EQ(2u, StateOf(kTree.kContainer, 1));
    EXPECT_EQ(0u, StateOf(kTree.kContainer, 8));
    EXPECT_EQ(KeyOf(kTree.kContainer, 1), KeyOf(kTree.kContainer, 8));
}

TEST(RemoveNode, ASecondTimeFailsAndIsLogged)
{
    SmallTree kTree;
    ASSERT_EQ(1, kTree.kContainer.RemoveAssetNode(1u));
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(1u));
    EXPECT_THAT(kLog.Lines(), ElementsAre(kMiss));
}

TEST(RemoveNode, ByPathItDoesTheSame)
{
    SmallTree kTree;
    LogCapture kLog;
    EXPECT_EQ(1, kTree.kContainer.RemoveAssetNode(VOTEXT("TOP\\D1")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_THAT(kTree.Removed(), ElementsAre(4, 5));
}

TEST(RemoveNode, ByAPathThatIsNotThereFailsAndIsLogged)
{
    SmallTree kTree;
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(VOTEXT("top/none")));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("FindAssetNode(pszPath, tsNode)", kClass + "RemoveAssetNode")));
    EXPECT_THAT(kTree.Removed(), IsEmpty());
}

TEST(RemoveNode, ANodeWithoutAParentTouchesNoList)
{
    SmallTree kTree;
    ASSERT_NE(0, kTree.kContainer.SetAssetNodeParentIndex(1, kNone));
    EXPECT_EQ(1, kTree.kContainer.RemoveAssetNode(1u));
    EXPECT_THAT(FilesOf(kTree.kContainer, 0), ElementsAre(1, 2, 3));
}

TEST(RemoveNode, AChildWhoseParentHasNoListFailsAfterItIsMarked)
{
    VOTSAssetNodeContainer kContainer;
    NewFolder(kContainer, VOTEXT("parent"));
    NewNode(kContainer, VOTEXT("parent/child"));
    ASSERT_NE(0, kContainer.SetAssetNodeParentIndex(1, 0));
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.RemoveAssetNode(1u));
    EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::RemoveNumber")));
    EXPECT_TRUE(HasText(kLog.Lines(), kClass + "RemoveAssetNode\n"));
    EXPECT_EQ(2u, StateOf(kContainer, 1));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("parent/child")));
}

TEST(RemoveNode, AParentIdOfNoNodeFailsAfterTheNodeIsMarked)
{
    for (const unsigned int uParent : {2u, 1000000u, 0xFFFFFFFEu})
    {
        VOTSAssetNodeContainer kContainer;
        NewFolder(kContainer, VOTEXT("a"));
        NewNode(kContainer, VOTEXT("b"));
        ASSERT_NE(0, kContainer.SetAssetNodeParentIndex(1, uParent));
        LogCapture kLog;
        EXPECT_EQ(0, kContainer.RemoveAssetNode(1u)) << uParent;
        EXPECT_NE(0u, kLog.Count());
        EXPECT_EQ(2u, StateOf(kContainer, 1));
    }
}

TEST(RemoveNode, AnInfoIdOfNoListFailsAndIsLogged)
{
    VOTSAssetNodeContainer kContainer;
    NewFolder(kContainer, VOTEXT("a"));
    ASSERT_NE(0, kContainer.SetAssetNodeChildIndex(0, 12345u, 54321u));
    LogCapture kLog;
    (void)kContainer.RemoveAssetNode(0u);
    EXPECT_NE(0u, kLog.Count());
    EXPECT_EQ(2u, StateOf(kContainer, 0));
}

TEST(RemoveNode, AFailureInTheFilesStopsAtOnceAndLeavesWhatWasRemoved)
{
    SmallTree kTree;
    kTree.Break(2);
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(kLog.Lines(), kMiss));
    EXPECT_THAT(kTree.Removed(), ElementsAre(0, 1, 2));
    EXPECT_EQ(3u, FoundID(kTree.kContainer, VOTEXT("top/f3")));
}

TEST(RemoveNode, AFailureIsLoggedByTheNodeItBefellAndByEveryFolderAbove)
{
    const std::string strAbove = ProcessError("RemoveAssetNode(vecChildIndex[i])", kClass + "RemoveAssetNode");
    SmallTree kTree;
    kTree.Break(5);
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_THAT(kLog.Lines(), ElementsAre(kMiss, strAbove, strAbove));

    SmallTree kOther;
    ASSERT_NE(0, kOther.kContainer.SetAssetNodeChildIndex(4, kNone, 12345u));
    kLog.Clear();
    EXPECT_EQ(0, kOther.kContainer.RemoveAssetNode(0u));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumberList"),
                                          ProcessError("m_pkAssetIndexContainer->GetNumberList(uInfoID, vecChildIndex)",
                                                       kClass + "RemoveAssetNode"),
                                          strAbove));
}

TEST(RemoveNode, FilesGoBeforeFoldersAndEachFolderWithAllThatIsInIt)
{
    SmallTree kTree;
    kTree.Break(5);
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(kLog.Lines(), kMiss));
    EXPECT_THAT(kTree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_THAT(FoldersOf(kTree.kContainer, 0), ElementsAre(4, 6)) << "a folder leaves its parent's list last";
    EXPECT_THAT(FilesOf(kTree.kContainer, 0), IsEmpty());
}

TEST(RemoveNode, ALinkThatPointsBackIsAnErrorAndNoLoop)
{
    SmallTree kTree;
    // top is a child of d1 as well.
    ASSERT_NE(0, kTree.kContainer.InsertAssetNodeChildIndex(4, 0));
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(kLog.Lines(), kMiss));
    EXPECT_THAT(kTree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(RemoveNode, ANodeThatIsItsOwnChildIsAnError)
{
    VOTSAssetNodeContainer kContainer;
    NewFolder(kContainer, VOTEXT("a"));
    Link(kContainer, 0, 0);
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(kLog.Lines(), kMiss));
    EXPECT_EQ(2u, StateOf(kContainer, 0));
}

TEST(RemoveNode, AChildThatStandsInTwoListsIsAnErrorTheSecondTime)
{
    SmallTree kTree;
    ASSERT_NE(0, kTree.kContainer.InsertAssetNodeChildIndex(6, 5));
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(0u));
    EXPECT_THAT(kTree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7)) << "y stands before x in d2";
    EXPECT_TRUE(HasLine(kLog.Lines(), kMiss));
}

TEST(RemoveNode, AChildIdOfNoNodeIsAnError)
{
    // A list that names a node which isn't there comes from a hostile image only.
    ModelContainer kModel;
    kModel.Add(VOTEXT("top"), true, kNone);
    kModel.Add(VOTEXT("top/a"), false, 0);
    kModel.vecNodes[0].uFiles = kModel.kNumbers.InsertList({77, 1});
    const MisalignedBlock kImage(kModel.Image());
    VOTSAssetNodeContainer kContainer;
    ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
    LogCapture kLog;
    EXPECT_EQ(0, kContainer.RemoveAssetNode(0u));
    EXPECT_TRUE(HasText(kLog.Lines(), "VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count())"));
    EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("top/a")));
}

TEST(RemoveNode, ABadIdAndACustomerAreRefused)
{
    SmallTree kTree;
    LogCapture kLog;
    EXPECT_EQ(0, kTree.kContainer.RemoveAssetNode(8u));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("uAssetID < m_vecAssetNode.Count()", kClass + "RemoveAssetNode")));

    const Bytes vecImage = ImageOf(kTree.kContainer);
    const MisalignedBlock kImage(vecImage, 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    kLog.Clear();
    EXPECT_EQ(0, kCustomer.RemoveAssetNode(1u));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole",
                                                       kClass + "RemoveAssetNode")));
    EXPECT_EQ(0, kCustomer.RemoveAssetNode(VOTEXT("top/f1")));
    EXPECT_EQ(1u, FoundID(kCustomer, VOTEXT("top/f1")));
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(RemoveNode, AKeyThatComesBackToLifeReplacesAStaleEntry)
{
    // In this image the key of "a" is marked as removed in the pool, though the index still has it.
    ModelContainer kModel;
    kModel.Add(VOTEXT("a"), false, kNone);
    kModel.Add(VOTEXT("b"), false, kNone);
    kModel.kStrings.vecRecords[kModel.vecNodes[0].ullKey].dwState = 2;
    const MisalignedBlock kImage(kModel.Image());
    VOTSAssetNodeContainer kContainer;
    ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
    EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a")));
    EXPECT_EQ(2u, NewNode(kContainer, VOTEXT("a")));
    EXPECT_EQ(2u, FoundID(kContainer, VOTEXT("a")));
    EXPECT_EQ(KeyOf(kContainer, 0), KeyOf(kContainer, 2));
}

}  // namespace
