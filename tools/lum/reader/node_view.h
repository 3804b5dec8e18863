// A node as a command shows it: everything fetched, nothing rendered.
#pragma once

#include "reader/session.h"

namespace lum
{

struct NodeView
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    LUMTrayService::structAssetNode node;
    VOWString strPath;      // relative to the root; empty for the root folder
    VOWString strName;      // its last part; the root's name for the root folder
    VOWString strAbsolute;  // where the file lies: below its source's root, or where the publisher says
    VOWString strTypeName;
};

NodeView ViewOf(const ReaderSource& source, const LUMTrayService::structAssetNode& node);

// The children of a folder by name, files and folders together. Nodes whose record the image doesn't have are left out.
std::vector<LUMTrayService::structAssetNode> ChildrenOf(const ReaderSource& source,
                                                        const LUMTrayService::structAssetNode& folder, VOULONG dwType);

// The name of a node without the rest of its path.
VOWString NameOf(const ReaderSource& source, const LUMTrayService::structAssetNode& node);

}  // namespace lum
