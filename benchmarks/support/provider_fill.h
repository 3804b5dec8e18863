// Fills a Provider from a generated tree, as a publisher does: request, names, parent, attributes, and the child lists
// of each folder at once.
#pragma once

#include "benchmarks/support/asset_tree.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

inline bool FillProvider(VOTSAssetNodeContainer& rkContainer, const AssetTree& rkTree)
{
    for (uint32_t uNode = 0; uNode < rkTree.vecNode.size(); ++uNode)
    {
        const AssetTree::Node& rkNode = rkTree.vecNode[uNode];
        LUMTrayService::structAssetNode tsNode;
        int bInserted = 0;
        if (!rkContainer.RequestAssetNode(rkNode.kPath.c_str(), tsNode, bInserted) || bInserted != 0 ||
            tsNode.nAssetID != uNode)
        {
            return false;
        }
        tsNode.bFolder = rkNode.bFolder;
        rkContainer.SetAssetNodeFolder(uNode, rkNode.bFolder);
        rkContainer.SetAssetNodeAssetFrom(uNode, LUMTrayService::AF_SOURCE);
        if (uNode == 0)
        {
            continue;
        }
        rkContainer.SetAssetNodeParentIndex(uNode, rkNode.uParent);
        if (!VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &rkContainer, rkNode.kPath.c_str()))
        {
            return false;
        }
        rkContainer.SetAssetNodeFileAttribute(uNode, uNode * 3ull, uNode, uNode, uNode, 0x14);
    }
    for (uint32_t uNode = 0; uNode < rkTree.vecNode.size(); ++uNode)
    {
        if (!rkTree.vecChildren[uNode].empty() && !rkContainer.SetAssetNodeChildIndex(uNode, rkTree.vecChildren[uNode]))
        {
            return false;
        }
    }
    return true;
}
