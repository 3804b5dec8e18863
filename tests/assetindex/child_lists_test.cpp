// The child lists of nodes: made at once, filled and emptied child by child, read by info ID.
#include "assetindex/image_model.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;

const std::string kBadChild = "uChildIndex < m_vecAssetNode.Count()";

// Node 0 is a folder; 1 to 4 are files, 5 to 7 folders, none of them linked.
struct Nodes
{
    VOTSAssetNodeContainer kContainer;

    Nodes()
    {
        NewFolder(kContainer, VOTEXT("top"));
        for (int i = 1; i <= 4; ++i)
        {
            NewNode(kContainer, Wide("file" + std::to_string(i)).c_str());
        }
        for (int i = 5; i <= 7; ++i)
        {
            NewFolder(kContainer, Wide("folder" + std::to_string(i)).c_str());
        }
    }
    IDs Files() const { return FilesOf(kContainer, 0); }
    IDs Folders() const { return FoldersOf(kContainer, 0); }
    unsigned int FileInfo() const { return NodeOf(kContainer, 0).nChildFileInfo; }
    unsigned int FolderInfo() const { return NodeOf(kContainer, 0).nChildFolderInfo; }
};

TEST(ChildLists, ANewNodeHasNone)
{
    Nodes kNodes;
    EXPECT_EQ(kNone, kNodes.FileInfo());
    EXPECT_EQ(kNone, kNodes.FolderInfo());
}

TEST(ChildLists, ChildrenGoToTheListOfTheirKindInTheOrderOfInsertion)
{
    Nodes kNodes;
    for (const unsigned int uChild : {3u, 6u, 1u, 5u, 2u})
    {
        EXPECT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, uChild));
    }
    EXPECT_THAT(kNodes.Files(), ElementsAre(3, 1, 2));
    EXPECT_THAT(kNodes.Folders(), ElementsAre(6, 5));
}

TEST(ChildLists, InsertionTouchesNeitherTheChildNorItsParentId)
{
    Nodes kNodes;
    const Bytes vecBefore = BytesOf(NodeOf(kNodes.kContainer, 3));
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 3));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kNodes.kContainer, 3))));
}

TEST(ChildLists, WithoutAHoleTheListMovesAndWithOneItStays)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 1));
    const unsigned int uFirst = kNodes.FileInfo();
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 2));
    const unsigned int uSecond = kNodes.FileInfo();
    EXPECT_NE(uFirst, uSecond);

    ASSERT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(uSecond, kNodes.FileInfo());
    EXPECT_THAT(kNodes.Files(), ElementsAre(2));

    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 3));
    EXPECT_EQ(uSecond, kNodes.FileInfo());
    EXPECT_THAT(kNodes.Files(), ElementsAre(3, 2));
}

TEST(ChildLists, ANewChildFillsTheGapOfTheFirstRemovedOne)
{
    Nodes kNodes;
    for (const unsigned int uChild : {1u, 2u, 3u})
    {
        ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, uChild));
    }
    ASSERT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 3));
    ASSERT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 2));
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 4));
    EXPECT_THAT(kNodes.Files(), ElementsAre(1, 4));
}

TEST(ChildLists, AListWithoutMembersKeepsItsInfoId)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 1));
    const unsigned int uInfo = kNodes.FileInfo();
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeParentIndex(1, 0));
    ASSERT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(uInfo, kNodes.FileInfo());
    EXPECT_THAT(kNodes.Files(), IsEmpty());
    EXPECT_EQ(0u, kNodes.kContainer.GetInfoNumberCount(uInfo));
    EXPECT_EQ(0u, NodeOf(kNodes.kContainer, 1).nParentID) << "the child's parent isn't touched";
}

TEST(ChildLists, AChildInsertedTwiceCutsTheListBehindIt)
{
    Nodes kNodes;
    for (const unsigned int uChild : {1u, 2u, 3u})
    {
        ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, uChild));
    }
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 2));
    EXPECT_THAT(kNodes.Files(), ElementsAre(1, 2));
}

TEST(ChildLists, RemovingAChildThatIsNotInTheListIsNoError)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 1));
    LogCapture kLog;
    EXPECT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 2));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_THAT(kNodes.Files(), ElementsAre(1));
}

TEST(ChildLists, RemovingFromAListThatDoesNotExistIsLogged)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 1));
    LogCapture kLog;
    EXPECT_EQ(0, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 5));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("tsNode.nChildFolderInfo != UINT(-1)", kClass + "RemoveAssetNodeChildIndex")));
    kLog.Clear();
    EXPECT_EQ(0, kNodes.kContainer.RemoveAssetNodeChildIndex(5, 1));
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("tsNode.nChildFileInfo != UINT(-1)", kClass + "RemoveAssetNodeChildIndex")));
}

TEST(ChildLists, BothIdsAreCheckedInOrderAndThenTheRole)
{
    Nodes kNodes;
    const MisalignedBlock kImage(ImageOf(kNodes.kContainer));
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    for (const bool bInsert : {true, false})
    {
        const std::string strFunction = kClass + (bInsert ? "InsertAssetNodeChildIndex" : "RemoveAssetNodeChildIndex");
        const auto kCall = [&](unsigned int uID, unsigned int uChild)
        {
            return bInsert ? kCustomer.InsertAssetNodeChildIndex(uID, uChild)
                           : kCustomer.RemoveAssetNodeChildIndex(uID, uChild);
        };
        LogCapture kLog;
        EXPECT_EQ(0, kCall(8, 8));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadID, strFunction)));
        kLog.Clear();
        EXPECT_EQ(0, kCall(0, 8));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kBadChild, strFunction)));
        kLog.Clear();
        EXPECT_EQ(0, kCall(0, 1));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kRole, strFunction)));
    }
}

TEST(ChildLists, RemovedNodesAreLoggedAndLinkedAllTheSame)
{
    Nodes kNodes;
    ASSERT_NE(0, kNodes.kContainer.RemoveAssetNode(1u));
    LogCapture kLog;
    EXPECT_EQ(1, kNodes.kContainer.InsertAssetNodeChildIndex(0, 1));
    ASSERT_EQ(1u, kLog.Count());
    EXPECT_EQ(0u, kLog.Lines()[0].find("VO_CHECK_ERROR(")) << kLog.Lines()[0];
    EXPECT_TRUE(HasText(kLog.Lines(), kClass + "InsertAssetNodeChildIndex\n"));
    EXPECT_THAT(kNodes.Files(), ElementsAre(1));

    kLog.Clear();
    EXPECT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 1));
    EXPECT_EQ(1u, kLog.Count());
    EXPECT_THAT(kNodes.Files(), IsEmpty());
}

TEST(ChildLists, AListSetAtOnceIsSplitByKindInTheGivenOrder)
{
    Nodes kNodes;
    EXPECT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{7, 4, 5, 1, 6, 2}));
    EXPECT_THAT(kNodes.Files(), ElementsAre(4, 1, 2));
    EXPECT_THAT(kNodes.Folders(), ElementsAre(7, 5, 6));
}

TEST(ChildLists, AListSetAtOnceAbandonsTheFormerOnes)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2, 5}));
    const unsigned int uOld = kNodes.FileInfo();
    EXPECT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{3}));
    EXPECT_THAT(kNodes.Files(), ElementsAre(3));
    EXPECT_EQ(kNone, kNodes.FolderInfo());
    EXPECT_THAT(ListOf(kNodes.kContainer, uOld), ElementsAre(1, 2)) << "the old list stays readable";
    EXPECT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{}));
    EXPECT_EQ(kNone, kNodes.FileInfo());
    EXPECT_EQ(kNone, kNodes.FolderInfo());
}

TEST(ChildLists, InfoIdsCanBeSetFolderBeforeFile)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 5}));
    const unsigned int uFiles = kNodes.FileInfo();
    const unsigned int uFolders = kNodes.FolderInfo();
    EXPECT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(5, uFolders, uFiles));
    EXPECT_THAT(FilesOf(kNodes.kContainer, 5), ElementsAre(1));
    EXPECT_THAT(FoldersOf(kNodes.kContainer, 5), ElementsAre(5));
}

TEST(ChildLists, IdsOfNoNodeInAListSetAtOnceDoNoHarm)
{
    for (const unsigned int uBad : {8u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu})
    {
        Nodes kNodes;
        (void)kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, uBad, 5, 2});
        for (const IDs& rkList : {kNodes.Files(), kNodes.Folders()})
        {
            for (const unsigned int uID : rkList)
            {
                EXPECT_TRUE(uID == 1 || uID == 2 || uID == 5 || uID == uBad) << uID;
            }
        }
    }
}

TEST(InfoLists, ReadingAppends)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2}));
    IDs vecResult = {77};
    EXPECT_EQ(1, kNodes.kContainer.GetInfoNumberList(kNodes.FileInfo(), vecResult));
    EXPECT_THAT(vecResult, ElementsAre(77, 1, 2));
}

TEST(InfoLists, HolesAreNoPositions)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    ASSERT_EQ(1, kNodes.kContainer.RemoveAssetNodeChildIndex(0, 2));
    const unsigned int uInfo = kNodes.FileInfo();
    EXPECT_EQ(2u, kNodes.kContainer.GetInfoNumberCount(uInfo));
    EXPECT_EQ(1u, kNodes.kContainer.GetInfoNumberFromIndex(uInfo, 0));
    EXPECT_EQ(3u, kNodes.kContainer.GetInfoNumberFromIndex(uInfo, 1));
}

TEST(InfoLists, AnIndexBehindTheEndIsLogged)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    for (const unsigned int uIndex : {3u, 4u, 0x7FFFFFFFu, 0x80000000u, kNone})
    {
        LogCapture kLog;
        EXPECT_EQ(kNone, kNodes.kContainer.GetInfoNumberFromIndex(kNodes.FileInfo(), uIndex)) << uIndex;
        EXPECT_THAT(kLog.Lines(),
                    ElementsAre(ProcessError("m_pkAssetIndexContainer->GetNumber(uInfoID, uIndex, uResult)",
                                             kClass + "GetInfoNumberFromIndex")));
    }
}

TEST(InfoLists, AListThatDoesNotExistIsLoggedByEachReader)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    // Three numbers and their end.
    for (const unsigned int uInfo : {4u, 5u, 0x80000000u, kNone})
    {
        LogCapture kLog;
        IDs vecResult = {77};
        EXPECT_EQ(0, kNodes.kContainer.GetInfoNumberList(uInfo, vecResult));
        EXPECT_THAT(vecResult, ElementsAre(77));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()",
                                                           kClass + "GetInfoNumberList")));
        kLog.Clear();
        EXPECT_EQ(kNone, kNodes.kContainer.GetInfoNumberFromIndex(uInfo, 0));
        EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumber")));
        EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("m_pkAssetIndexContainer->GetNumber(uInfoID, uIndex, uResult)",
                                                       kClass + "GetInfoNumberFromIndex")));
        kLog.Clear();
        EXPECT_EQ(0u, kNodes.kContainer.GetInfoNumberCount(uInfo));
        EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("uIndex < m_uCount", "VOTSNumberContainer::GetNumberCount")));
        EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("m_pkAssetIndexContainer->GetNumberCount(uInfoID, uResult)",
                                                       kClass + "GetInfoNumberCount")));
    }
}

TEST(InfoLists, AnInfoIdInsideAListReadsItsRest)
{
    Nodes kNodes;
    ASSERT_EQ(1, kNodes.kContainer.SetAssetNodeChildIndex(0, IDs{1, 2, 3}));
    EXPECT_THAT(ListOf(kNodes.kContainer, kNodes.FileInfo() + 1), ElementsAre(2, 3));
    EXPECT_THAT(ListOf(kNodes.kContainer, kNodes.FileInfo() + 3), IsEmpty());
}

}  // namespace
