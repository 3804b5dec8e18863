#include "benchmarks/support/asset_tree.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>

namespace
{

const char* const kAreas[] = {"Content", "Environment", "Characters", "Vehicles", "Effects", "Interface", "Cinematics"};
const char* const kKinds[] = {"Textures", "Meshes", "Materials", "Animations", "Shaders", "Prefabs", "Sounds"};
const char* const kThings[] = {"CathedralWindow", "StoneBridge", "HarbourCrane",  "ForestBirch", "KnightArmour",
                               "MarketStall",     "DesertRock",  "CastleGateway", "RiverBoat",   "ClockTower"};
const char* const kParts[] = {"Diffuse", "Normal", "Specular", "Lod0", "Lod1", "Collision", "Idle", "WalkCycle"};
const char* const kExtensions[] = {"tga", "dds", "png", "fbx", "mat", "anim", "wav", "json"};

constexpr size_t kFilesPerFolder = 40;

template <size_t N>
const char* Pick(const char* const (&arrText)[N], size_t uIndex)
{
    return arrText[uIndex % N];
}

VOWString Wide(const std::string& kText)
{
    return VOWString(kText.begin(), kText.end());
}

uint32_t AddNode(AssetTree& rkTree, const std::string& kPath, uint32_t uParent, bool bFolder)
{
    const uint32_t uNode = static_cast<uint32_t>(rkTree.vecNode.size());
    rkTree.vecNode.push_back({Wide(kPath), uParent, bFolder});
    rkTree.vecChildren.emplace_back();
    if (uNode != 0)
    {
        rkTree.vecChildren[uParent].push_back(uNode);
    }
    return uNode;
}

// The path as somebody types it: letters in any case, either slash.
VOWString Asked(const VOWString& kPath, std::mt19937& rkRandom)
{
    VOWString kAsked = kPath;
    for (VOWCHAR& ch : kAsked)
    {
        const uint32_t uBits = rkRandom();
        const bool bLetter = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
        if (bLetter && (uBits & 3) == 0)
        {
            ch = static_cast<VOWCHAR>(ch ^ 0x20);
        }
        else if (ch == '/' && (uBits & 1) == 0)
        {
            ch = '\\';
        }
    }
    return kAsked;
}

AssetTree MakeTree(size_t uNodes)
{
    AssetTree kTree;
    std::mt19937 kRandom(12345);
    AddNode(kTree, "", 0, true);
    for (size_t uArea = 0; kTree.vecNode.size() < uNodes; ++uArea)
    {
        const std::string kArea = std::string(Pick(kAreas, uArea)) + "_" + std::to_string(uArea);
        const uint32_t uAreaNode = AddNode(kTree, kArea, 0, true);
        for (size_t uThing = 0; uThing < 30 && kTree.vecNode.size() < uNodes; ++uThing)
        {
            const std::string kThingName = std::string(Pick(kThings, uArea + uThing)) + "_" + std::to_string(uThing);
            const std::string kThing = kArea + "/" + kThingName;
            const uint32_t uThingNode = AddNode(kTree, kThing, uAreaNode, true);
            for (const char* pszKind : kKinds)
            {
                const std::string kFolder = kThing + "/" + pszKind;
                const uint32_t uFolder = AddNode(kTree, kFolder, uThingNode, true);
                for (size_t uFile = 0; uFile < kFilesPerFolder && kTree.vecNode.size() < uNodes; ++uFile)
                {
                    const uint32_t uFileNode =
                        AddNode(kTree,
                                kFolder + "/" + kThingName + "_" + Pick(kParts, uFile) + "_" +
                                    std::to_string(kRandom() % 10000 + uFile * 10000) + "." + Pick(kExtensions, uFile),
                                uFolder, false);
                    kTree.vecHit.push_back(Asked(kTree.vecNode[uFileNode].kPath, kRandom));
                }
            }
        }
    }
    std::shuffle(kTree.vecHit.begin(), kTree.vecHit.end(), kRandom);
    for (const VOWString& kHit : kTree.vecHit)
    {
        VOWString kMiss = kHit;
        kMiss[kMiss.size() / 2] = '~';
        kTree.vecMiss.push_back(std::move(kMiss));
    }
    return kTree;
}

}  // namespace

const AssetTree& AssetTreeOf(size_t uNodes)
{
    static std::map<size_t, AssetTree> s_mapTree;
    auto cIter = s_mapTree.find(uNodes);
    if (cIter == s_mapTree.end())
    {
        cIter = s_mapTree.emplace(uNodes, MakeTree(uNodes)).first;
    }
    return cIter->second;
}
