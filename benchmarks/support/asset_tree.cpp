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

VOWString Wide(const std::string& text)
{
    return VOWString(text.begin(), text.end());
}

uint32_t AddNode(AssetTree& tree, const std::string& path, uint32_t uParent, bool bFolder)
{
    const uint32_t uNode = static_cast<uint32_t>(tree.vecNode.size());
    tree.vecNode.push_back({Wide(path), uParent, bFolder});
    tree.vecChildren.emplace_back();
    if (uNode != 0)
    {
        tree.vecChildren[uParent].push_back(uNode);
    }
    return uNode;
}

// The path as somebody types it: letters in any case, either slash.
VOWString Asked(const VOWString& path, std::mt19937& random)
{
    VOWString asked = path;
    for (VOWCHAR& ch : asked)
    {
        const uint32_t uBits = random();
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
    return asked;
}

AssetTree MakeTree(size_t uNodes)
{
    AssetTree tree;
    std::mt19937 random(12345);
    AddNode(tree, "", 0, true);
    for (size_t uArea = 0; tree.vecNode.size() < uNodes; ++uArea)
    {
        const std::string area = std::string(Pick(kAreas, uArea)) + "_" + std::to_string(uArea);
        const uint32_t uAreaNode = AddNode(tree, area, 0, true);
        for (size_t uThing = 0; uThing < 30 && tree.vecNode.size() < uNodes; ++uThing)
        {
            const std::string thingName = std::string(Pick(kThings, uArea + uThing)) + "_" + std::to_string(uThing);
            const std::string thing = area + "/" + thingName;
            const uint32_t uThingNode = AddNode(tree, thing, uAreaNode, true);
            for (const char* pszKind : kKinds)
            {
                const std::string folder = thing + "/" + pszKind;
                const uint32_t uFolder = AddNode(tree, folder, uThingNode, true);
                for (size_t uFile = 0; uFile < kFilesPerFolder && tree.vecNode.size() < uNodes; ++uFile)
                {
                    const uint32_t uFileNode =
                        AddNode(tree,
                                folder + "/" + thingName + "_" + Pick(kParts, uFile) + "_" +
                                    std::to_string(random() % 10000 + uFile * 10000) + "." + Pick(kExtensions, uFile),
                                uFolder, false);
                    tree.vecHit.push_back(Asked(tree.vecNode[uFileNode].path, random));
                }
            }
        }
    }
    std::shuffle(tree.vecHit.begin(), tree.vecHit.end(), random);
    for (const VOWString& hit : tree.vecHit)
    {
        VOWString miss = hit;
        miss[miss.size() / 2] = '~';
        tree.vecMiss.push_back(std::move(miss));
    }
    return tree;
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
