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
    VOTSAssetNodeContainer container;

    SmallTree()
    {
        AddLinked(container, VOTEXT("top"), true, kNone);
        AddLinked(container, VOTEXT("top/f1"), false, 0);
        AddLinked(container, VOTEXT("top/f2"), false, 0);
        AddLinked(container, VOTEXT("top/f3"), false, 0);
        AddLinked(container, VOTEXT("top/d1"), true, 0);
        AddLinked(container, VOTEXT("top/d1/x"), false, 4);
        AddLinked(container, VOTEXT("top/d2"), true, 0);
        AddLinked(container, VOTEXT("top/d2/y"), false, 6);
    }

    // Takes the node's entry out of the index, so that its removal fails.
    void Break(unsigned int uID)
    {
        ASSERT_NE(0, container.SetAssetNodeParentIndex(uID, kNone));
        ASSERT_NE(0, container.RemoveAssetNode(uID));
    }

    // The ids whose state is removed.
    IDs Removed()
    {
        IDs vecResult;
        for (unsigned int uID = 0; uID < container.GetAssetNodeCount(); ++uID)
        {
            if (StateOf(container, uID) == 2)
            {
                vecResult.push_back(uID);
            }
        }
        return vecResult;
    }
};

TEST(RemoveNode, AFolderTakesItsSubtreeWithIt)
{
    SmallTree tree;
    LogCapture log;
    EXPECT_EQ(1, tree.container.RemoveAssetNode(0u));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_THAT(tree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    for (const VOWCHAR* pszPath : {VOTEXT("top"), VOTEXT("top/f1"), VOTEXT("top/d1"), VOTEXT("top/d1/x")})
    {
        EXPECT_EQ(kNone, FoundID(tree.container, pszPath));
    }
    EXPECT_EQ(8u, tree.container.GetAssetNodeCount());
}

TEST(RemoveNode, OfAnInnerFolderTheRestStays)
{
    SmallTree tree;
    EXPECT_EQ(1, tree.container.RemoveAssetNode(4u));
    EXPECT_THAT(tree.Removed(), ElementsAre(4, 5));
    EXPECT_THAT(FoldersOf(tree.container, 0), ElementsAre(6));
    EXPECT_THAT(FilesOf(tree.container, 0), ElementsAre(1, 2, 3));
    EXPECT_EQ(7u, FoundID(tree.container, VOTEXT("top/d2/y")));
}

TEST(RemoveNode, TheRecordKeepsEverythingButItsState)
{
    SmallTree tree;
    const Bytes vecBefore = BytesOf(NodeOf(tree.container, 4));
    const unsigned long long ullKey = KeyOf(tree.container, 4);
    ASSERT_EQ(1, tree.container.RemoveAssetNode(4u));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(tree.container, 4))));
    EXPECT_EQ(ullKey, KeyOf(tree.container, 4));
    EXPECT_EQ(VOWString(VOTEXT("top/d1")), PathOf(tree.container, 4)) << "a removed node still renders";
}

TEST(RemoveNode, TheListsOfARemovedFolderHoldOnlyHoles)
{
    SmallTree tree;
    ASSERT_EQ(1, tree.container.RemoveAssetNode(0u));
    EXPECT_THAT(FilesOf(tree.container, 0), IsEmpty());
    EXPECT_THAT(FoldersOf(tree.container, 0), IsEmpty());
    EXPECT_NE(kNone, NodeOf(tree.container, 0).nChildFileInfo);
}

TEST(RemoveNode, ThePathRequestedAgainIsANewNode)
{
    SmallTree tree;
    ASSERT_EQ(1, tree.container.RemoveAssetNode(1u));
    EXPECT_EQ(8u, tree.container.GetAssetNodeCount());
    EXPECT_EQ(8u, NewNode(tree.container, VOTEXT("top/f1")));
    EXPECT_EQ(8u, FoundID(tree.container, VOTEXT("top/f1")));
    EXPECT_EQ(2u, StateOf(tree.container, 1));
    EXPECT_EQ(0u, StateOf(tree.container, 8));
    EXPECT_EQ(KeyOf(tree.container, 1), KeyOf(tree.container, 8));
}

TEST(RemoveNode, ASecondTimeFailsAndIsLogged)
{
    SmallTree tree;
    ASSERT_EQ(1, tree.container.RemoveAssetNode(1u));
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(1u));
    EXPECT_THAT(log.Lines(), ElementsAre(kMiss));
}

TEST(RemoveNode, ByPathItDoesTheSame)
{
    SmallTree tree;
    LogCapture log;
    EXPECT_EQ(1, tree.container.RemoveAssetNode(VOTEXT("TOP\\D1")));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_THAT(tree.Removed(), ElementsAre(4, 5));
}

TEST(RemoveNode, ByAPathThatIsNotThereFailsAndIsLogged)
{
    SmallTree tree;
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(VOTEXT("top/none")));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("FindAssetNode(pszPath, tsNode)", kClass + "RemoveAssetNode")));
    EXPECT_THAT(tree.Removed(), IsEmpty());
}

TEST(RemoveNode, ANodeWithoutAParentTouchesNoList)
{
    SmallTree tree;
    ASSERT_NE(0, tree.container.SetAssetNodeParentIndex(1, kNone));
    EXPECT_EQ(1, tree.container.RemoveAssetNode(1u));
    EXPECT_THAT(FilesOf(tree.container, 0), ElementsAre(1, 2, 3));
}

TEST(RemoveNode, AChildWhoseParentHasNoListFailsAfterItIsMarked)
{
    VOTSAssetNodeContainer container;
    NewFolder(container, VOTEXT("parent"));
    NewNode(container, VOTEXT("parent/child"));
    ASSERT_NE(0, container.SetAssetNodeParentIndex(1, 0));
    LogCapture log;
    EXPECT_EQ(0, container.RemoveAssetNode(1u));
    EXPECT_TRUE(HasLine(log.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::RemoveNumber")));
    EXPECT_TRUE(HasText(log.Lines(), kClass + "RemoveAssetNode\n"));
    EXPECT_EQ(2u, StateOf(container, 1));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("parent/child")));
}

TEST(RemoveNode, AParentIdOfNoNodeFailsAfterTheNodeIsMarked)
{
    for (const unsigned int uParent : {2u, 1000000u, 0xFFFFFFFEu})
    {
        VOTSAssetNodeContainer container;
        NewFolder(container, VOTEXT("a"));
        NewNode(container, VOTEXT("b"));
        ASSERT_NE(0, container.SetAssetNodeParentIndex(1, uParent));
        LogCapture log;
        EXPECT_EQ(0, container.RemoveAssetNode(1u)) << uParent;
        EXPECT_NE(0u, log.Count());
        EXPECT_EQ(2u, StateOf(container, 1));
    }
}

TEST(RemoveNode, AnInfoIdOfNoListFailsAndIsLogged)
{
    VOTSAssetNodeContainer container;
    NewFolder(container, VOTEXT("a"));
    ASSERT_NE(0, container.SetAssetNodeChildIndex(0, 12345u, 54321u));
    LogCapture log;
    (void)container.RemoveAssetNode(0u);
    EXPECT_NE(0u, log.Count());
    EXPECT_EQ(2u, StateOf(container, 0));
}

TEST(RemoveNode, AFailureInTheFilesStopsAtOnceAndLeavesWhatWasRemoved)
{
    SmallTree tree;
    tree.Break(2);
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(log.Lines(), kMiss));
    EXPECT_THAT(tree.Removed(), ElementsAre(0, 1, 2));
    EXPECT_EQ(3u, FoundID(tree.container, VOTEXT("top/f3")));
}

TEST(RemoveNode, AFailureIsLoggedByTheNodeItBefellAndByEveryFolderAbove)
{
    const std::string strAbove = ProcessError("RemoveAssetNode(vecChildIndex[i])", kClass + "RemoveAssetNode");
    SmallTree tree;
    tree.Break(5);
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(0u));
    EXPECT_THAT(log.Lines(), ElementsAre(kMiss, strAbove, strAbove));

    SmallTree other;
    ASSERT_NE(0, other.container.SetAssetNodeChildIndex(4, kNone, 12345u));
    log.Clear();
    EXPECT_EQ(0, other.container.RemoveAssetNode(0u));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumberList"),
                                         ProcessError("m_pkAssetIndexContainer->GetNumberList(uInfoID, vecChildIndex)",
                                                      kClass + "RemoveAssetNode"),
                                         strAbove));
}

TEST(RemoveNode, FilesGoBeforeFoldersAndEachFolderWithAllThatIsInIt)
{
    SmallTree tree;
    tree.Break(5);
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(log.Lines(), kMiss));
    EXPECT_THAT(tree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_THAT(FoldersOf(tree.container, 0), ElementsAre(4, 6)) << "a folder leaves its parent's list last";
    EXPECT_THAT(FilesOf(tree.container, 0), IsEmpty());
}

TEST(RemoveNode, ALinkThatPointsBackIsAnErrorAndNoLoop)
{
    SmallTree tree;
    // top is a child of d1 as well.
    ASSERT_NE(0, tree.container.InsertAssetNodeChildIndex(4, 0));
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(log.Lines(), kMiss));
    EXPECT_THAT(tree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(RemoveNode, ANodeThatIsItsOwnChildIsAnError)
{
    VOTSAssetNodeContainer container;
    NewFolder(container, VOTEXT("a"));
    Link(container, 0, 0);
    LogCapture log;
    EXPECT_EQ(0, container.RemoveAssetNode(0u));
    EXPECT_TRUE(HasLine(log.Lines(), kMiss));
    EXPECT_EQ(2u, StateOf(container, 0));
}

TEST(RemoveNode, AChildThatStandsInTwoListsIsAnErrorTheSecondTime)
{
    SmallTree tree;
    ASSERT_NE(0, tree.container.InsertAssetNodeChildIndex(6, 5));
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(0u));
    EXPECT_THAT(tree.Removed(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7)) << "y stands before x in d2";
    EXPECT_TRUE(HasLine(log.Lines(), kMiss));
}

TEST(RemoveNode, AChildIdOfNoNodeIsAnError)
{
    // A list that names a node which isn't there comes from a hostile image only.
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    model.Add(VOTEXT("top/a"), false, 0);
    model.vecNodes[0].uFiles = model.numbers.InsertList({77, 1});
    const MisalignedBlock image(model.Image());
    VOTSAssetNodeContainer container;
    ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 1));
    LogCapture log;
    EXPECT_EQ(0, container.RemoveAssetNode(0u));
    EXPECT_TRUE(HasText(log.Lines(), "VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count())"));
    EXPECT_EQ(1u, FoundID(container, VOTEXT("top/a")));
}

TEST(RemoveNode, ABadIdAndACustomerAreRefused)
{
    SmallTree tree;
    LogCapture log;
    EXPECT_EQ(0, tree.container.RemoveAssetNode(8u));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("uAssetID < m_vecAssetNode.Count()", kClass + "RemoveAssetNode")));

    const Bytes vecImage = ImageOf(tree.container);
    const MisalignedBlock image(vecImage, 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    log.Clear();
    EXPECT_EQ(0, customer.RemoveAssetNode(1u));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole",
                                                      kClass + "RemoveAssetNode")));
    EXPECT_EQ(0, customer.RemoveAssetNode(VOTEXT("top/f1")));
    EXPECT_EQ(1u, FoundID(customer, VOTEXT("top/f1")));
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(RemoveNode, AKeyThatComesBackToLifeReplacesAStaleEntry)
{
    // In this image the key of "a" is marked as removed in the pool, though the index still has it.
    ModelContainer model;
    model.Add(VOTEXT("a"), false, kNone);
    model.Add(VOTEXT("b"), false, kNone);
    model.strings.vecRecords[model.vecNodes[0].ullKey].dwState = 2;
    const MisalignedBlock image(model.Image());
    VOTSAssetNodeContainer container;
    ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 1));
    EXPECT_EQ(kNone, FoundID(container, VOTEXT("a")));
    EXPECT_EQ(2u, NewNode(container, VOTEXT("a")));
    EXPECT_EQ(2u, FoundID(container, VOTEXT("a")));
    EXPECT_EQ(KeyOf(container, 0), KeyOf(container, 2));
}

}  // namespace
