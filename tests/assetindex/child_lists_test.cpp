// The child lists of nodes: made at once, filled and emptied child by child, read by info ID.
#include <set>

#include "assetindex/image_model.h"
#include "support/random.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using votest::Random;

const std::string kBadChild = "uChildIndex < m_vecAssetNode.Count()";

// Node 0 is a folder; 1 to 4 are files, 5 to 7 folders, none of them linked.
struct Nodes
{
    VOTSAssetNodeContainer container;

    Nodes()
    {
        NewFolder(container, VOTEXT("top"));
        for (int i = 1; i <= 4; ++i)
        {
            NewNode(container, Wide("file" + std::to_string(i)).c_str());
        }
        for (int i = 5; i <= 7; ++i)
        {
            NewFolder(container, Wide("folder" + std::to_string(i)).c_str());
        }
    }
    IDs Files() const { return FilesOf(container, 0); }
    IDs Folders() const { return FoldersOf(container, 0); }
    unsigned int FileInfo() const { return NodeOf(container, 0).nChildFileInfo; }
    unsigned int FolderInfo() const { return NodeOf(container, 0).nChildFolderInfo; }
};

TEST(ChildLists, ANewNodeHasNone)
{
    Nodes nodes;
    EXPECT_EQ(kNone, nodes.FileInfo());
    EXPECT_EQ(kNone, nodes.FolderInfo());
}

TEST(ChildLists, ChildrenGoToTheListOfTheirKindInTheOrderOfInsertion)
{
    Nodes nodes;
    for (const unsigned int uChild : {3u, 6u, 1u, 5u, 2u})
    {
        EXPECT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, uChild));
    }
    EXPECT_THAT(nodes.Files(), ElementsAre(3, 1, 2));
    EXPECT_THAT(nodes.Folders(), ElementsAre(6, 5));
}

TEST(ChildLists, AChildIsEnteredBeforeAnotherOneAndAllOthersKeepTheirOrder)
{
    VOTSAssetNodeContainer container;
    NewFolder(container, VOTEXT("top"));
    for (int i = 1; i <= 2000; ++i)
    {
        NewNode(container, Wide("file" + std::to_string(i)).c_str());
    }
    Random random(5);
    IDs order;
    std::set<unsigned int> setLists;
    const auto Enter = [&](unsigned int uChild, size_t uPlace)
    {
        const unsigned int uBefore = uPlace < order.size() ? order[uPlace] : kNone;
        ASSERT_EQ(1, container.InsertAssetNodeChildBefore(0, uChild, uBefore));
        order.insert(order.begin() + static_cast<std::ptrdiff_t>(uPlace), uChild);
        setLists.insert(NodeOf(container, 0).nChildFileInfo);
    };
    // At random places, at the end, at the beginning, and some go in between.
    for (unsigned int uChild = 1; uChild <= 2000; ++uChild)
    {
        Enter(uChild, uChild < 1000 ? random.Below(order.size() + 1) : uChild < 1500 ? order.size() : 0);
        if (random.Percent(20))
        {
            const size_t uGone = random.Below(order.size());
            ASSERT_EQ(1, container.RemoveAssetNodeChildIndex(0, order[uGone]));
            order.erase(order.begin() + static_cast<std::ptrdiff_t>(uGone));
        }
        if (uChild % 50 == 0)
        {
            ASSERT_EQ(order, FilesOf(container, 0)) << uChild;
        }
    }
    // The list is written anew once for many children.
    EXPECT_LT(setLists.size(), 60u);
}

TEST(ChildLists, BeforeAChildThatIsntThereNothingIsEntered)
{
    Nodes nodes;
    EXPECT_EQ(0, nodes.container.InsertAssetNodeChildBefore(0, 1, 2));
    EXPECT_EQ(1, nodes.container.InsertAssetNodeChildBefore(0, 1, kNone));
    EXPECT_EQ(0, nodes.container.InsertAssetNodeChildBefore(0, 3, 2));
    EXPECT_EQ(0, nodes.container.InsertAssetNodeChildBefore(0, 5, 1));
    EXPECT_EQ(0, nodes.container.InsertAssetNodeChildBefore(0, 99, kNone));
    EXPECT_THAT(nodes.Files(), ElementsAre(1));
    EXPECT_EQ(kNone, nodes.FolderInfo());
    EXPECT_EQ(1, nodes.container.InsertAssetNodeChildBefore(0, 3, 1));
    EXPECT_EQ(1, nodes.container.InsertAssetNodeChildBefore(0, 5, kNone));
    EXPECT_THAT(nodes.Files(), ElementsAre(3, 1));
    EXPECT_THAT(nodes.Folders(), ElementsAre(5));
}

TEST(ChildLists, InsertionTouchesNeitherTheChildNorItsParentId)
{
    Nodes nodes;
    const Bytes vecBefore = BytesOf(NodeOf(nodes.container, 3));
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 3));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(nodes.container, 3))));
}

TEST(ChildLists, WithoutAHoleTheListMovesAndWithOneItStays)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 1));
    const unsigned int uFirst = nodes.FileInfo();
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 2));
    const unsigned int uSecond = nodes.FileInfo();
    EXPECT_NE(uFirst, uSecond);

    ASSERT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(uSecond, nodes.FileInfo());
    EXPECT_THAT(nodes.Files(), ElementsAre(2));

    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 3));
    EXPECT_EQ(uSecond, nodes.FileInfo());
    EXPECT_THAT(nodes.Files(), ElementsAre(3, 2));
}

TEST(ChildLists, ANewChildFillsTheGapOfTheFirstRemovedOne)
{
    Nodes nodes;
    for (const unsigned int uChild : {1u, 2u, 3u})
    {
        ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, uChild));
    }
    ASSERT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 3));
    ASSERT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 2));
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 4));
    EXPECT_THAT(nodes.Files(), ElementsAre(1, 4));
}

TEST(ChildLists, AListWithoutMembersKeepsItsInfoId)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 1));
    const unsigned int uInfo = nodes.FileInfo();
    ASSERT_EQ(1, nodes.container.SetAssetNodeParentIndex(1, 0));
    ASSERT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(uInfo, nodes.FileInfo());
    EXPECT_THAT(nodes.Files(), IsEmpty());
    EXPECT_EQ(0u, nodes.container.GetInfoNumberCount(uInfo));
    EXPECT_EQ(0u, NodeOf(nodes.container, 1).nParentID) << "the child's parent isn't touched";
}

TEST(ChildLists, AChildInsertedTwiceCutsTheListBehindIt)
{
    Nodes nodes;
    for (const unsigned int uChild : {1u, 2u, 3u})
    {
        ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, uChild));
    }
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 2));
    EXPECT_THAT(nodes.Files(), ElementsAre(1, 2));
}

TEST(ChildLists, RemovingAChildThatIsNotInTheListIsNoError)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 1));
    LogCapture log;
    EXPECT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 2));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_THAT(nodes.Files(), ElementsAre(1));
}

TEST(ChildLists, RemovingFromAListThatDoesNotExistIsLogged)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 1));
    LogCapture log;
    EXPECT_EQ(0, nodes.container.RemoveAssetNodeChildIndex(0, 5));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("tsNode.nChildFolderInfo != UINT(-1)", kClass + "RemoveAssetNodeChildIndex")));
    log.Clear();
    EXPECT_EQ(0, nodes.container.RemoveAssetNodeChildIndex(5, 1));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("tsNode.nChildFileInfo != UINT(-1)", kClass + "RemoveAssetNodeChildIndex")));
}

TEST(ChildLists, BothIdsAreCheckedInOrderAndThenTheRole)
{
    Nodes nodes;
    const MisalignedBlock image(ImageOf(nodes.container));
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    for (const bool bInsert : {true, false})
    {
        const std::string strFunction = kClass + (bInsert ? "InsertAssetNodeChildIndex" : "RemoveAssetNodeChildIndex");
        const auto call = [&](unsigned int uID, unsigned int uChild) {
            return bInsert ? customer.InsertAssetNodeChildIndex(uID, uChild)
                           : customer.RemoveAssetNodeChildIndex(uID, uChild);
        };
        LogCapture log;
        EXPECT_EQ(0, call(8, 8));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadID, strFunction)));
        log.Clear();
        EXPECT_EQ(0, call(0, 8));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kBadChild, strFunction)));
        log.Clear();
        EXPECT_EQ(0, call(0, 1));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kRole, strFunction)));
    }
}

TEST(ChildLists, RemovedNodesAreLoggedAndLinkedAllTheSame)
{
    Nodes nodes;
    ASSERT_NE(0, nodes.container.RemoveAssetNode(1u));
    LogCapture log;
    EXPECT_EQ(1, nodes.container.InsertAssetNodeChildIndex(0, 1));
    ASSERT_EQ(1u, log.Count());
    EXPECT_EQ(0u, log.Lines()[0].find("VO_CHECK_ERROR(")) << log.Lines()[0];
    EXPECT_TRUE(HasText(log.Lines(), kClass + "InsertAssetNodeChildIndex\n"));
    EXPECT_THAT(nodes.Files(), ElementsAre(1));

    log.Clear();
    EXPECT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(1u, log.Count());
    EXPECT_THAT(nodes.Files(), IsEmpty());
}

TEST(ChildLists, AListSetAtOnceIsSplitByKindInTheGivenOrder)
{
    Nodes nodes;
    EXPECT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{7, 4, 5, 1, 6, 2}));
    EXPECT_THAT(nodes.Files(), ElementsAre(4, 1, 2));
    EXPECT_THAT(nodes.Folders(), ElementsAre(7, 5, 6));
}

TEST(ChildLists, AListSetAtOnceAbandonsTheFormerOnes)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2, 5}));
    const unsigned int uOld = nodes.FileInfo();
    EXPECT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{3}));
    EXPECT_THAT(nodes.Files(), ElementsAre(3));
    EXPECT_EQ(kNone, nodes.FolderInfo());
    EXPECT_THAT(ListOf(nodes.container, uOld), ElementsAre(1, 2)) << "the old list stays readable";
    EXPECT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{}));
    EXPECT_EQ(kNone, nodes.FileInfo());
    EXPECT_EQ(kNone, nodes.FolderInfo());
}

TEST(ChildLists, InfoIdsCanBeSetFolderBeforeFile)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 5}));
    const unsigned int uFiles = nodes.FileInfo();
    const unsigned int uFolders = nodes.FolderInfo();
    EXPECT_EQ(1, nodes.container.SetAssetNodeChildIndex(5, uFolders, uFiles));
    EXPECT_THAT(FilesOf(nodes.container, 5), ElementsAre(1));
    EXPECT_THAT(FoldersOf(nodes.container, 5), ElementsAre(5));
}

TEST(ChildLists, IdsOfNoNodeInAListSetAtOnceDoNoHarm)
{
    for (const unsigned int uBad : {8u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu})
    {
        Nodes nodes;
        (void)nodes.container.SetAssetNodeChildIndex(0, IDs{1, uBad, 5, 2});
        for (const IDs& list : {nodes.Files(), nodes.Folders()})
        {
            for (const unsigned int uID : list)
            {
                EXPECT_TRUE(uID == 1 || uID == 2 || uID == 5 || uID == uBad) << uID;
            }
        }
    }
}

TEST(InfoLists, ReadingAppends)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2}));
    IDs vecResult = {77};
    EXPECT_EQ(1, nodes.container.GetInfoNumberList(nodes.FileInfo(), vecResult));
    EXPECT_THAT(vecResult, ElementsAre(77, 1, 2));
}

TEST(InfoLists, HolesAreNoPositions)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    ASSERT_EQ(1, nodes.container.RemoveAssetNodeChildIndex(0, 2));
    const unsigned int uInfo = nodes.FileInfo();
    EXPECT_EQ(2u, nodes.container.GetInfoNumberCount(uInfo));
    EXPECT_EQ(1u, nodes.container.GetInfoNumberFromIndex(uInfo, 0));
    EXPECT_EQ(3u, nodes.container.GetInfoNumberFromIndex(uInfo, 1));
}

TEST(InfoLists, AnIndexBehindTheEndIsLogged)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    for (const unsigned int uIndex : {3u, 4u, 0x7FFFFFFFu, 0x80000000u, kNone})
    {
        LogCapture log;
        EXPECT_EQ(kNone, nodes.container.GetInfoNumberFromIndex(nodes.FileInfo(), uIndex)) << uIndex;
        EXPECT_THAT(log.Lines(),
                    ElementsAre(ProcessError("m_pkAssetIndexContainer->GetNumber(uInfoID, uIndex, uResult)",
                                             kClass + "GetInfoNumberFromIndex")));
    }
}

TEST(InfoLists, AListThatDoesNotExistIsLoggedByEachReader)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    // Three numbers and their end.
    for (const unsigned int uInfo : {4u, 5u, 0x80000000u, kNone})
    {
        LogCapture log;
        IDs vecResult = {77};
        EXPECT_EQ(0, nodes.container.GetInfoNumberList(uInfo, vecResult));
        EXPECT_THAT(vecResult, ElementsAre(77));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()",
                                                          kClass + "GetInfoNumberList")));
        log.Clear();
        EXPECT_EQ(kNone, nodes.container.GetInfoNumberFromIndex(uInfo, 0));
        EXPECT_TRUE(HasLine(log.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumber")));
        EXPECT_TRUE(HasLine(log.Lines(), ProcessError("m_pkAssetIndexContainer->GetNumber(uInfoID, uIndex, uResult)",
                                                      kClass + "GetInfoNumberFromIndex")));
        log.Clear();
        EXPECT_EQ(0u, nodes.container.GetInfoNumberCount(uInfo));
        EXPECT_TRUE(HasLine(log.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumberCount")));
        EXPECT_TRUE(HasLine(log.Lines(), ProcessError("m_pkAssetIndexContainer->GetNumberCount(uInfoID, uResult)",
                                                      kClass + "GetInfoNumberCount")));
    }
}

TEST(InfoLists, AnInfoIdInsideAListReadsItsRest)
{
    Nodes nodes;
    ASSERT_EQ(1, nodes.container.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    EXPECT_THAT(ListOf(nodes.container, nodes.FileInfo() + 1), ElementsAre(2, 3));
    EXPECT_THAT(ListOf(nodes.container, nodes.FileInfo() + 3), IsEmpty());
}

}  // namespace
