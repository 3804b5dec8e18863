// Generated trees of assets, as a project of a 3D content tool has them: mixed-case names, about 70 characters a path.
#pragma once

#include <cstdint>
#include <vector>

#include "vo_types.h"

struct AssetTree
{
    struct Node
    {
        VOWString path;  // relative, with "/", in its own case
        uint32_t uParent;
        bool bFolder;
    };

    // In the order of a scan: a folder, its files, then its folders. Node 0 is the root, with an empty path.
    std::vector<Node> vecNode;
    std::vector<std::vector<uint32_t>> vecChildren;  // by node

    // What a caller asks for, in random order: other case, backslashes here and there. One for each file.
    std::vector<VOWString> vecHit;
    std::vector<VOWString> vecMiss;
};

// The same tree for the same number of nodes, whenever it is called. Kept for the life of the program.
const AssetTree& AssetTreeOf(size_t uNodes);
