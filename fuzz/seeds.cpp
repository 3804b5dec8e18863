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
    const FuzzImage<Alloc> kImage(pAlloc, &free);
    return std::string(reinterpret_cast<const char*>(kImage.get()), FuzzImageSize(kImage));
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

unsigned int Add(VOTSAssetNodeContainer& rkContainer, const VOWCHAR* pszPath, bool bFolder, unsigned int uParent)
{
    structAssetNode tsNode;
    int bInserted = 0;
    FUZZ_REQUIRE(rkContainer.RequestAssetNode(pszPath, tsNode, bInserted) != 0 && bInserted == 0);
    FUZZ_REQUIRE(rkContainer.SetAssetNodeFolder(tsNode.nAssetID, bFolder ? 1 : 0) != 0);
    FUZZ_REQUIRE(VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &rkContainer, pszPath) != 0);
    if (uParent != kNoParent)
    {
        FUZZ_REQUIRE(rkContainer.SetAssetNodeParentIndex(tsNode.nAssetID, uParent) != 0);
        FUZZ_REQUIRE(rkContainer.InsertAssetNodeChildIndex(uParent, tsNode.nAssetID) != 0);
    }
    return tsNode.nAssetID;
}

std::map<std::string, std::string> AssetImages()
{
    std::map<std::string, std::string> mapImage;
    VOTSAssetNodeContainer kEmpty(AR_Provider);
    mapImage["empty"] = BytesOf(kEmpty.GetAlloc());
    VOTSAssetNodeContainer kFile(AR_Provider);
    Add(kFile, VOTEXT("a"), false, kNoParent);
    mapImage["file"] = BytesOf(kFile.GetAlloc());
    VOTSAssetNodeContainer kFolder(AR_Provider);
    Add(kFolder, VOTEXT("d/a.b"), false, Add(kFolder, VOTEXT("d"), true, kNoParent));
    mapImage["folder"] = BytesOf(kFolder.GetAlloc());
    VOTSAssetNodeContainer kTyped(AR_Provider, VOTEXT("C:/r"), VOTEXT("r"));
    FUZZ_REQUIRE(kTyped.InsertClassifyType(7, VOTEXT("T"), VOTEXT("b|c"), {}, {}) != 0);
    FUZZ_REQUIRE(kTyped.BuildUpExtensionsHash() != 0);
    FUZZ_REQUIRE(kTyped.SetAssetNodeClassifyType(Add(kTyped, VOTEXT("a.b"), false, kNoParent), 7, VOTEXT("T")) != 0);
    mapImage["typed"] = BytesOf(kTyped.GetAlloc());
    // A tree with a removed node, a hole in its list, and a folder in a folder.
    VOTSAssetNodeContainer kTree(AR_Provider);
    Add(kTree, VOTEXT("d"), true, kNoParent);
    Add(kTree, VOTEXT("d/a"), false, 0);
    Add(kTree, VOTEXT("d/e"), true, 0);
    Add(kTree, VOTEXT("d/e/b"), false, 2);
    FUZZ_REQUIRE(kTree.RemoveAssetNode(VOTEXT("d/a")) != 0);
    FUZZ_REQUIRE(kTree.SetAssetNodePhysicsPath(3, VOTEXT("p")) != 0);
    FUZZ_REQUIRE(kTree.SetAssetNodeAssetMergeSign(3, 5) != 0);
    mapImage["tree"] = BytesOf(kTree.GetAlloc());
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

void AddAssetSeeds(Seeds& rmapSeed)
{
    for (const auto& [strName, strImage] : AssetImages())
    {
        rmapSeed["AssetImage/" + strName] = strImage;
        rmapSeed["AssetProvider/" + strName] = WithSteps(AllSteps(strName.size() % 2 == 0 ? 0 : 4, 16), strImage);
        rmapSeed["LumImage/" + strName] = strImage;
        rmapSeed["LumDump/" + strName] = strImage;
        rmapSeed["Section/" + strName] = Section(0, PlainBlock(strImage));
        rmapSeed["Section/" + strName + "_packed"] = Section(0, CompressedBlock(strImage));
    }
    const std::string& rkTree = rmapSeed["AssetImage/tree"];
    rmapSeed["Section/tree_new_tool"] = Section(2, PlainBlock(rkTree));
    rmapSeed["Section/tree_other_version"] = Section(6, PlainBlock(rkTree));
    rmapSeed["Section/tree_short"] = Section(1, PlainBlock(rkTree));
}

void AddEventSeeds(Seeds& rmapSeed)
{
    VOTSFileEventContainer kEvents;
    rmapSeed["EventImage/empty"] = WithSteps(AllSteps(0, 6), BytesOf(kEvents.GetAlloc()));
    VOTSFileEventContainer::Info kInfo;
    kInfo.pszPath = VOTEXT("d/a");
    FUZZ_REQUIRE(kEvents.AppendEvent(kInfo, 5) != 0);
    rmapSeed["EventImage/one"] = WithSteps(AllSteps(0, 5), BytesOf(kEvents.GetAlloc()));
    kInfo.dwEventParam0 = 3;
    kInfo.pszNewName = VOTEXT("b");
    kInfo.pszPhysicPath = VOTEXT("d/a");
    FUZZ_REQUIRE(kEvents.AppendEvent(kInfo, 2) != 0 && kEvents.AppendEvent(kInfo, 9) != 0);
    rmapSeed["EventImage/three"] = WithSteps(AllSteps(1, 4), BytesOf(kEvents.GetAlloc()));
    rmapSeed["EventImage/unchanged"] = WithSteps("", BytesOf(kEvents.GetAlloc()));
}

void AddStringSeeds(Seeds& rmapSeed)
{
    VOStringHashSet kSet;
    rmapSeed["StringSet/empty"] = WithSteps(AllSteps(0, 16), BytesOf(kSet.GetAlloc()));
    FUZZ_REQUIRE(kSet.Insert(VOTEXT("d")) != INVALID_HANDLE_VALUE);
    rmapSeed["StringSet/one"] = WithSteps(AllSteps(8, 7), BytesOf(kSet.GetAlloc()));
    FUZZ_REQUIRE(kSet.InsertKey(VOTEXT("d/a")) != INVALID_HANDLE_VALUE);
    FUZZ_REQUIRE(kSet.Remove(kSet.Insert(VOTEXT("a"))) != 0);
    FUZZ_REQUIRE(kSet.Insert(VOTEXT("new")) != INVALID_HANDLE_VALUE);
    rmapSeed["StringSet/kinds"] = WithSteps(AllSteps(0, 7), BytesOf(kSet.GetAlloc()));
    rmapSeed["StringSet/unchanged"] = WithSteps("", BytesOf(kSet.GetAlloc()));
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
