#include "reader/node_view.h"

#include <algorithm>
#include <utility>

#include "base/paths.h"

using namespace LUMTrayService;

namespace lum
{

NodeView ViewOf(const ReaderSource& kSource, const structAssetNode& kNode)
{
    NodeView kView;
    kView.eaf = kSource.From();
    kView.kNode = kNode;
    kView.strPath = kSource.PathOf(kNode);
    kView.strName = kView.strPath.empty() ? kSource.RootName() : LastPart(kView.strPath);
    kView.strAbsolute = kSource.TextOf(kNode.hStrPhysicsPath);
    if (kView.strAbsolute.empty())
    {
        kView.strAbsolute = kView.strPath.empty() ? kSource.Root() : kSource.Root() + VOTEXT("/") + kView.strPath;
    }
    kView.strTypeName = kSource.TextOf(kNode.hStrClassifyName);
    return kView;
}

VOWString NameOf(const ReaderSource& kSource, const structAssetNode& kNode)
{
    const VOWString strExtension = kSource.TextOf(kNode.hStrExtension);
    const VOWString strBase = kSource.TextOf(kNode.hStrBaseName);
    return strExtension.empty() ? strBase : strBase + VOTEXT(".") + strExtension;
}

std::vector<structAssetNode> ChildrenOf(const ReaderSource& kSource, const structAssetNode& kFolder, VOULONG dwType)
{
    std::vector<unsigned> vecIndex;
    kSource.Inspector().GetAssetChildIndexList(kFolder.nAssetID, dwType, vecIndex);

    std::vector<std::pair<VOWString, structAssetNode>> vecNamed;
    vecNamed.reserve(vecIndex.size());
    for (const unsigned uIndex : vecIndex)
    {
        structAssetNode kNode;
        if (kSource.Inspector().GetAssetNode(uIndex, kNode) != 0)
        {
            vecNamed.emplace_back(NameOf(kSource, kNode), kNode);
        }
    }
    std::stable_sort(vecNamed.begin(), vecNamed.end(),
                     [](const auto& kLeft, const auto& kRight) { return kLeft.first < kRight.first; });

    std::vector<structAssetNode> vecResult;
    vecResult.reserve(vecNamed.size());
    for (const auto& [strName, kNode] : vecNamed)
    {
        vecResult.push_back(kNode);
    }
    return vecResult;
}

}  // namespace lum
