// Fills a Provider from a generated tree, as a publisher does: request, names, parent, attributes, and the child lists
// of each folder at once.
#pragma once

#include "benchmarks/support/asset_tree.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

inline bool FillProvider(VOTSAssetNodeContainer& container, const AssetTree& tree)
{
    for (uint32_t uNode = 0; uNode < tree.vecNode.size(); ++uNode)
    {
        const AssetTree::Node& node = tree.vecNode[uNode];
        LUMTrayService::structAssetNode tsNode;
        int bInserted = 0;
        if (!container.RequestAssetNode(node.path.c_str(), tsNode, bInserted) || bInserted != 0 ||
            tsNode.nAssetID != uNode)
        {
            return false;
        }
        tsNode.bFolder = node.bFolder;
        container.SetAssetNodeFolder(uNode, node.bFolder);
        container.SetAssetNodeAssetFrom(uNode, LUMTrayService::AF_SOURCE);
        if (uNode == 0)
        {
            continue;
        }
        container.SetAssetNodeParentIndex(uNode, node.uParent);
        if (!VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &container, node.path.c_str()))
        {
            return false;
        }
        container.SetAssetNodeFileAttribute(uNode, uNode * 3ull, uNode, uNode, uNode, 0x14);
    }
    for (uint32_t uNode = 0; uNode < tree.vecNode.size(); ++uNode)
    {
        if (!tree.vecChildren[uNode].empty() && !container.SetAssetNodeChildIndex(uNode, tree.vecChildren[uNode]))
        {
            return false;
        }
    }
    return true;
}
