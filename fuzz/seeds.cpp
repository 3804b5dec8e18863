#include "fuzz/seeds.h"

#include <vector>

#include "fuzz/support.h"
#include "vo_string_hash_set.h"
#include "vo_utility.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_event.h"
#include "vots_file_mapping.h"

using LUMTrayService::AR_Provider;
using LUMTrayService::structAssetNode;

namespace
{
typedef std::map<std::string, std::string> Seeds;

constexpr unsigned int kNoParent = 0xFFFFFFFFu;

template <typename Alloc>
std::string BytesOf(Alloc* pAlloc)
{
    const FuzzImage<Alloc> image(pAlloc, &free);
    return std::string(reinterpret_cast<const char*>(image.get()), FuzzImageSize(image));
}

std::string WordBytes(uint64_t ullValue, size_t uSize)
{
    return std::string(reinterpret_cast<const char*>(&ullValue), uSize);
}

// Steps in front of what they are done to.
std::string WithSteps(const std::string& strSteps, const std::string& strImage)
{
    return std::string(1, static_cast<char>(strSteps.size())) + strSteps + strImage;
}

// A round over steps of a target, with small operands.
std::string AllSteps(unsigned int uFirst, unsigned int uCount)
{
    std::string strSteps;
    for (unsigned int i = 0; i < uCount; ++i)
    {
        strSteps += {static_cast<char>(uFirst + i), static_cast<char>(i % 3), static_cast<char>(i % 2)};
    }
    return strSteps;
}

unsigned int Add(VOTSAssetNodeContainer& container, const VOWCHAR* pszPath, bool bFolder, unsigned int uParent)
{
    structAssetNode tsNode;
    int bInserted = 0;
    FUZZ_REQUIRE(container.RequestAssetNode(pszPath, tsNode, bInserted) != 0 && bInserted == 0);
    FUZZ_REQUIRE(container.SetAssetNodeFolder(tsNode.nAssetID, bFolder ? 1 : 0) != 0);
    FUZZ_REQUIRE(VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &container, pszPath) != 0);
    if (uParent != kNoParent)
    {
        FUZZ_REQUIRE(container.SetAssetNodeParentIndex(tsNode.nAssetID, uParent) != 0);
        FUZZ_REQUIRE(container.InsertAssetNodeChildIndex(uParent, tsNode.nAssetID) != 0);
    }
    return tsNode.nAssetID;
}

std::map<std::string, std::string> AssetImages()
{
    std::map<std::string, std::string> mapImage;
    VOTSAssetNodeContainer empty(AR_Provider);
    mapImage["empty"] = BytesOf(empty.GetAlloc());
    VOTSAssetNodeContainer file(AR_Provider);
    Add(file, VOTEXT("a"), false, kNoParent);
    mapImage["file"] = BytesOf(file.GetAlloc());
    VOTSAssetNodeContainer folder(AR_Provider);
    Add(folder, VOTEXT("d/a.b"), false, Add(folder, VOTEXT("d"), true, kNoParent));
    mapImage["folder"] = BytesOf(folder.GetAlloc());
    VOTSAssetNodeContainer typed(AR_Provider, VOTEXT("C:/r"), VOTEXT("r"));
    FUZZ_REQUIRE(typed.InsertClassifyType(7, VOTEXT("T"), VOTEXT("b|c"), {}, {}) != 0);
    FUZZ_REQUIRE(typed.BuildUpExtensionsHash() != 0);
    FUZZ_REQUIRE(typed.SetAssetNodeClassifyType(Add(typed, VOTEXT("a.b"), false, kNoParent), 7, VOTEXT("T")) != 0);
    mapImage["typed"] = BytesOf(typed.GetAlloc());
    // A tree with a removed node, a hole in its list, and a folder in a folder.
    VOTSAssetNodeContainer tree(AR_Provider);
    Add(tree, VOTEXT("d"), true, kNoParent);
    Add(tree, VOTEXT("d/a"), false, 0);
    Add(tree, VOTEXT("d/e"), true, 0);
    Add(tree, VOTEXT("d/e/b"), false, 2);
    FUZZ_REQUIRE(tree.RemoveAssetNode(VOTEXT("d/a")) != 0);
    FUZZ_REQUIRE(tree.SetAssetNodePhysicsPath(3, VOTEXT("p")) != 0);
    FUZZ_REQUIRE(tree.SetAssetNodeAssetMergeSign(3, 5) != 0);
    mapImage["tree"] = BytesOf(tree.GetAlloc());
    return mapImage;
}

// A stream that holds its bytes as they are, so that changes of it are changes of them.
std::string PlainBlock(const std::string& strBytes)
{
    FUZZ_REQUIRE(strBytes.size() > 238);
    size_t uRest = strBytes.size() - 18;
    std::string strStream(1, '\0');
    for (; uRest > 255; uRest -= 255)
    {
        strStream.push_back('\0');
    }
    strStream += static_cast<char>(uRest) + strBytes + std::string("\x11\0\0", 3);
    return WordBytes(strBytes.size(), 8) + WordBytes(strStream.size(), 8) + strStream;
}

std::string CompressedBlock(const std::string& strBytes)
{
    unsigned char* pbBlock = nullptr;
    unsigned int uBlock = 0;
    std::string strCopy = strBytes;
    FUZZ_REQUIRE(VOCompressBuffer_lzo1x(&pbBlock, &uBlock, reinterpret_cast<unsigned char*>(strCopy.data()),
                                        static_cast<unsigned int>(strCopy.size())) == 1);
    const std::string strBlock(reinterpret_cast<const char*>(pbBlock), uBlock);
    free(pbBlock);
    return strBlock;
}

std::string Section(uint8_t uFlags, const std::string& strData)
{
    return static_cast<char>(uFlags) + WordBytes(1, 4) + WordBytes(100, 4) + WordBytes(0, 4) + strData;
}

void AddAssetSeeds(Seeds& mapSeed)
{
    for (const auto& [strName, strImage] : AssetImages())
    {
        mapSeed["AssetImage/" + strName] = strImage;
        mapSeed["AssetProvider/" + strName] = WithSteps(AllSteps(strName.size() % 2 == 0 ? 0 : 4, 16), strImage);
        mapSeed["LumImage/" + strName] = strImage;
        mapSeed["LumDump/" + strName] = strImage;
        mapSeed["Section/" + strName] = Section(0, PlainBlock(strImage));
        mapSeed["Section/" + strName + "_packed"] = Section(0, CompressedBlock(strImage));
    }
    const std::string& tree = mapSeed["AssetImage/tree"];
    mapSeed["Section/tree_new_tool"] = Section(2, PlainBlock(tree));
    mapSeed["Section/tree_other_version"] = Section(6, PlainBlock(tree));
    mapSeed["Section/tree_short"] = Section(1, PlainBlock(tree));
}

void AddEventSeeds(Seeds& mapSeed)
{
    VOTSFileEventContainer events;
    mapSeed["EventImage/empty"] = WithSteps(AllSteps(0, 6), BytesOf(events.GetAlloc()));
    VOTSFileEventContainer::Info about;
    about.pszPath = VOTEXT("d/a");
    FUZZ_REQUIRE(events.AppendEvent(about, 5) != 0);
    mapSeed["EventImage/one"] = WithSteps(AllSteps(0, 5), BytesOf(events.GetAlloc()));
    about.dwEventParam0 = 3;
    about.pszNewName = VOTEXT("b");
    about.pszPhysicPath = VOTEXT("d/a");
    FUZZ_REQUIRE(events.AppendEvent(about, 2) != 0 && events.AppendEvent(about, 9) != 0);
    mapSeed["EventImage/three"] = WithSteps(AllSteps(1, 4), BytesOf(events.GetAlloc()));
    mapSeed["EventImage/unchanged"] = WithSteps("", BytesOf(events.GetAlloc()));
}

void AddStringSeeds(Seeds& mapSeed)
{
    VOStringHashSet set;
    mapSeed["StringSet/empty"] = WithSteps(AllSteps(0, 16), BytesOf(set.GetAlloc()));
    FUZZ_REQUIRE(set.Insert(VOTEXT("d")) != INVALID_HANDLE_VALUE);
    mapSeed["StringSet/one"] = WithSteps(AllSteps(8, 7), BytesOf(set.GetAlloc()));
    FUZZ_REQUIRE(set.InsertKey(VOTEXT("d/a")) != INVALID_HANDLE_VALUE);
    FUZZ_REQUIRE(set.Remove(set.Insert(VOTEXT("a"))) != 0);
    FUZZ_REQUIRE(set.Insert(VOTEXT("new")) != INVALID_HANDLE_VALUE);
    mapSeed["StringSet/kinds"] = WithSteps(AllSteps(0, 7), BytesOf(set.GetAlloc()));
    mapSeed["StringSet/unchanged"] = WithSteps("", BytesOf(set.GetAlloc()));
}
}  // namespace

std::map<std::string, std::string> FuzzSeeds()
{
    Seeds mapSeed;
    AddAssetSeeds(mapSeed);
    AddEventSeeds(mapSeed);
    AddStringSeeds(mapSeed);
    return mapSeed;
}
