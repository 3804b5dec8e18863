// Trees far deeper than a thread's stack.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;

constexpr unsigned int kDepth = 200000;

// A chain of folders, each the only child of the one before.
void FillChain(VOTSAssetNodeContainer& container)
{
    for (unsigned int uID = 0; uID < kDepth; ++uID)
    {
        structAssetNode tsNode;
        int bInserted = 0;
        ASSERT_NE(0, container.RequestAssetNode(Wide("d" + std::to_string(uID)).c_str(), tsNode, bInserted));
        ASSERT_NE(0, container.SetAssetNodeFolder(uID, 1));
        if (uID != 0)
        {
            ASSERT_NE(0, container.SetAssetNodeParentIndex(uID, uID - 1));
            ASSERT_NE(0, container.InsertAssetNodeChildIndex(uID - 1, uID));
        }
    }
}

struct InOrder
{
    unsigned int uNext = 1;
    bool bInOrder = true;

    static int Visit(const structAssetNode& tsNode, void* pvParam, int&)
    {
        InOrder& order = *static_cast<InOrder*>(pvParam);
        order.bInOrder = order.bInOrder && tsNode.nAssetID == order.uNext;
        ++order.uNext;
        return 0;
    }
};

TEST(DeepTree, AChainIsWalkedToItsEndInBothRoles)
{
    VOTSAssetNodeContainer provider;
    FillChain(provider);
    InOrder order;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&provider, 0, 3, 1, &InOrder::Visit, &order));
    EXPECT_EQ(kDepth, order.uNext);
    EXPECT_TRUE(order.bInOrder);

    const MisalignedBlock image(ImageOf(provider), 1);
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    InOrder again;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&customer, 0, 2, 1, &InOrder::Visit, &again));
    EXPECT_EQ(kDepth, again.uNext);
    EXPECT_TRUE(again.bInOrder);
}

TEST(DeepTree, AChainIsRemovedToItsEnd)
{
    VOTSAssetNodeContainer container;
    FillChain(container);
    EXPECT_EQ(1, container.RemoveAssetNode(1u));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("d0")));
    for (unsigned int uID = 1; uID < kDepth; uID += 997)
    {
        EXPECT_EQ(kNone, FoundID(container, Wide("d" + std::to_string(uID)).c_str()));
    }
    const Bytes vecImage = ImageOf(container);
    const BlockOffsets blocks(vecImage);
    unsigned int uRemoved = 0;
    for (unsigned int uID = 0; uID < kDepth; ++uID)
    {
        uRemoved += ReadU32(vecImage, blocks.Record(uID) + 116) == 2 ? 1 : 0;
    }
    EXPECT_EQ(kDepth - 1, uRemoved);
    EXPECT_EQ(1u, ReadU32(vecImage, blocks.uTable + 8)) << "entries of the table";
}

TEST(DeepTree, WhatStandsBehindALinkBackIsWalkedAtEveryDepth)
{
    const std::string strLinkBack =
        ProcessError("!IsOnPath(uAssetIndex)", "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal");
    for (const unsigned int uDepth : {2u, 63u, 64u, 65u, 66u, 200u})
    {
        // A chain whose last folder holds the first one, each in the middle, the one above itself, and then a leaf.
        VOTSAssetNodeContainer container;
        for (unsigned int uID = 0; uID <= uDepth; ++uID)
        {
            AddLinked(container, Wide("d" + std::to_string(uID)).c_str(), true, uID == 0 ? kNone : uID - 1);
        }
        const unsigned int uLeaf = AddLinked(container, VOTEXT("leaf"), true, kNone);
        ASSERT_NE(0, container.SetAssetNodeChildIndex(uDepth, {0, uDepth / 2, uDepth - 1, uLeaf, uLeaf}));
        struct Last
        {
            size_t uVisits = 0;
            unsigned int uID = 0;
            static int Visit(const structAssetNode& tsNode, void* pvParam, int&)
            {
                Last& givenLast = *static_cast<Last*>(pvParam);
                ++givenLast.uVisits;
                givenLast.uID = tsNode.nAssetID;
                return 0;
            }
        };
        LogCapture log;
        Last last;
        EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&container, 0, 3, 1, &Last::Visit, &last));
        EXPECT_EQ(uDepth + 5u, last.uVisits);
        EXPECT_EQ(uLeaf, last.uID);
        EXPECT_THAT(log.Lines(), ElementsAre(strLinkBack, strLinkBack, strLinkBack));
    }
}

TEST(DeepTree, AChainThatBitesItsTailIsAnErrorInBothWalks)
{
    VOTSAssetNodeContainer container;
    FillChain(container);
    ASSERT_NE(0, container.InsertAssetNodeChildIndex(kDepth - 1, 0));
    LogCapture log;
    InOrder order;
    EXPECT_EQ(1, VOTSAssetNodeContainerHelper::TraverseAssetNode(&container, 0, 3, 1, &InOrder::Visit, &order));
    EXPECT_EQ(kDepth + 1, order.uNext) << "each folder once, and the first one as a child of the last";
    EXPECT_EQ(1u, log.Count());

    votest::StdoutCapture quiet;
    EXPECT_EQ(0, container.RemoveAssetNode(0u));
    EXPECT_EQ(kNone, FoundID(container, Wide("d" + std::to_string(kDepth - 1)).c_str()));
}

}  // namespace
