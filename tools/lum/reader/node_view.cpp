#include "reader/node_view.h"

#include <algorithm>
#include <utility>

#include "base/paths.h"

using namespace LUMTrayService;

namespace lum
{

NodeView ViewOf(const ReaderSource& source, const structAssetNode& node)
{
    NodeView view;
    view.eaf = source.From();
    view.node = node;
    view.strPath = source.PathOf(node);
    view.strName = view.strPath.empty() ? source.RootName() : LastPart(view.strPath);
    view.strAbsolute = source.TextOf(node.hStrPhysicsPath);
    if (view.strAbsolute.empty())
    {
        view.strAbsolute = view.strPath.empty() ? source.Root() : source.Root() + VOTEXT("/") + view.strPath;
    }
    view.strTypeName = source.TextOf(node.hStrClassifyName);
    return view;
}

VOWString NameOf(const ReaderSource& source, const structAssetNode& node)
{
    const VOWString strExtension = source.TextOf(node.hStrExtension);
    const VOWString strBase = source.TextOf(node.hStrBaseName);
    return strExtension.empty() ? strBase : strBase + VOTEXT(".") + strExtension;
}

std::vector<structAssetNode> ChildrenOf(const ReaderSource& source, const structAssetNode& folder, VOULONG dwType)
{
    std::vector<unsigned> vecIndex;
    source.Inspector().GetAssetChildIndexList(folder.nAssetID, dwType, vecIndex);

    std::vector<std::pair<VOWString, structAssetNode>> vecNamed;
    vecNamed.reserve(vecIndex.size());
    for (const unsigned uIndex : vecIndex)
    {
        structAssetNode node;
        if (source.Inspector().GetAssetNode(uIndex, node) != 0)
        {
            vecNamed.emplace_back(NameOf(source, node), node);
        }
    }
    std::stable_sort(vecNamed.begin(), vecNamed.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });

    std::vector<structAssetNode> vecResult;
    vecResult.reserve(vecNamed.size());
    for (const auto& [strName, node] : vecNamed)
    {
        vecResult.push_back(node);
    }
    return vecResult;
}

}  // namespace lum
