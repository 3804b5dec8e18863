// Trees far deeper than a thread's stack.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;

constexpr unsigned int kDepth = 200000;

// A chain of folders, each the only child of the one before.
void FillChain(VOTSAssetNodeContainer& rkContainer)
{
    for (unsigned int uID = 0; uID < kDepth; ++uID)
    {
        structAssetNode tsNode;
        int bInserted = 0;
        ASSERT_NE(0, rkContainer.RequestAssetNode(Wide("d" + std::to_string(uID)).c_str(), tsNode, bInserted));
        ASSERT_NE(0, rkContainer.SetAssetNodeFolder(uID, 1));
        if (uID != 0)
        {
            ASSERT_NE(0, rkContainer.SetAssetNodeParentIndex(uID, uID - 1));
            ASSERT_NE(0, rkContainer.InsertAssetNodeChildIndex(uID - 1, uID));
        }
    }
}

struct InOrder
{
    unsigned int uNext = 1;
    bool bInOrder = true;

    static int Visit(const structAssetNode& tsNode, void* pvParam, int&)
    {
        InOrder& rkOrder = *static_cast<InOrder*>(pvParam);
        rkOrder.bInOrder = rkOrder.bInOrder && tsNode.nAssetID == rkOrder.uNext;
        ++rkOrder.uNext;
        return 0;
    }
};

TEST(DeepTree, AChainIsWalkedToItsEndInBothRoles)
{
    VOTSAssetNodeContainer kProvider;
    FillChain(kProvider);
    InOrder kOrder;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&kProvider, 0, 3, 1, &InOrder::Visit, &kOrder));
    EXPECT_EQ(kDepth, kOrder.uNext);
    EXPECT_TRUE(kOrder.bInOrder);

    const MisalignedBlock kImage(ImageOf(kProvider), 1);
    VOTSAssetNodeContainer kCustomer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    InOrder kAgain;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&kCustomer, 0, 2, 1, &InOrder::Visit, &kAgain));
    EXPECT_EQ(kDepth, kAgain.uNext);
    EXPECT_TRUE(kAgain.bInOrder);
}

TEST(DeepTree, AChainIsRemovedToItsEnd)
{
    VOTSAssetNodeContainer kContainer;
    FillChain(kContainer);
    EXPECT_EQ(1, kContainer.RemoveAssetNode(1u));
    EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("d0")));
    for (unsigned int uID = 1; uID < kDepth; uID += 997)
    {
        EXPECT_EQ(kNone, FoundID(kContainer, Wide("d" + std::to_string(uID)).c_str()));
    }
    const Bytes vecImage = ImageOf(kContainer);
    const BlockOffsets kBlocks(vecImage);
    unsigned int uRemoved = 0;
    for (unsigned int uID = 0; uID < kDepth; ++uID)
    {
        uRemoved += ReadU32(vecImage, kBlocks.Record(uID) + 116) == 2 ? 1 : 0;
    }
    EXPECT_EQ(kDepth - 1, uRemoved);
    EXPECT_EQ(1u, ReadU32(vecImage, kBlocks.uTable + 8)) << "entries of the table";
}

TEST(DeepTree, AChainThatBitesItsTailIsAnErrorInBothWalks)
{
    VOTSAssetNodeContainer kContainer;
    FillChain(kContainer);
    ASSERT_NE(0, kContainer.InsertAssetNodeChildIndex(kDepth - 1, 0));
    LogCapture kLog;
    InOrder kOrder;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&kContainer, 0, 3, 1, &InOrder::Visit, &kOrder));
    EXPECT_LE(kOrder.uNext, kDepth + 1);
    EXPECT_NE(0u, kLog.Count());

    votest::StdoutCapture kQuiet;
    EXPECT_EQ(0, kContainer.RemoveAssetNode(0u));
    EXPECT_EQ(kNone, FoundID(kContainer, Wide("d" + std::to_string(kDepth - 1)).c_str()));
}

}  // namespace
