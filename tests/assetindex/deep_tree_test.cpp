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

TEST(DeepTree, WhatStandsBehindALinkBackIsWalkedAtEveryDepth)
{
    const std::string strLinkBack =
        ProcessError("!IsOnPath(uAssetIndex)", "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal");
    for (const unsigned int uDepth : {2u, 63u, 64u, 65u, 66u, 200u})
    {
        // A chain whose last folder holds the first one, each in the middle, the one above itself, and then a leaf.
        VOTSAssetNodeContainer kContainer;
        for (unsigned int uID = 0; uID <= uDepth; ++uID)
        {
            AddLinked(kContainer, Wide("d" + std::to_string(uID)).c_str(), true, uID == 0 ? kNone : uID - 1);
        }
        const unsigned int uLeaf = AddLinked(kContainer, VOTEXT("leaf"), true, kNone);
        ASSERT_NE(0, kContainer.SetAssetNodeChildIndex(uDepth, {0, uDepth / 2, uDepth - 1, uLeaf, uLeaf}));
        struct Last
        {
            size_t uVisits = 0;
            unsigned int uID = 0;
            static int Visit(const structAssetNode& tsNode, void* pvParam, int&)
            {
                Last& rkLast = *static_cast<Last*>(pvParam);
                ++rkLast.uVisits;
                rkLast.uID = tsNode.nAssetID;
                return 0;
            }
        };
        LogCapture kLog;
        Last kLast;
        EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&kContainer, 0, 3, 1, &Last::Visit, &kLast));
        EXPECT_EQ(uDepth + 5u, kLast.uVisits);
        EXPECT_EQ(uLeaf, kLast.uID);
        EXPECT_THAT(kLog.Lines(), ElementsAre(strLinkBack, strLinkBack, strLinkBack));
    }
}

TEST(DeepTree, AChainThatBitesItsTailIsAnErrorInBothWalks)
{
    VOTSAssetNodeContainer kContainer;
    FillChain(kContainer);
    ASSERT_NE(0, kContainer.InsertAssetNodeChildIndex(kDepth - 1, 0));
    LogCapture kLog;
    InOrder kOrder;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&kContainer, 0, 3, 1, &InOrder::Visit, &kOrder));
    EXPECT_EQ(kDepth + 1, kOrder.uNext) << "each folder once, and the first one as a child of the last";
    EXPECT_EQ(1u, kLog.Count());

    votest::StdoutCapture kQuiet;
    EXPECT_EQ(0, kContainer.RemoveAssetNode(0u));
    EXPECT_EQ(kNone, FoundID(kContainer, Wide("d" + std::to_string(kDepth - 1)).c_str()));
}

}  // namespace
