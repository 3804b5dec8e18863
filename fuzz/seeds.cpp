#include "fuzz/seeds.h"

#include <vector>

#include "fuzz/support.h"
#include "platform/vo_section_view.h"
#include "vo_publisher.h"
#include "vo_string_hash_set.h"
#include "vo_utility.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_event.h"
#include "vots_file_mapping.h"

using LUMTrayService::AF_SOURCE;
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
// What is published of a container, as FuzzRoad takes it: the base without what is zero in it, and the records of the
// log.
std::string PublishedRoad(uint8_t uFlags, const VOSectionView& base, const VOSectionView& log, uint64_t ullWritten)
{
    constexpr size_t kStretch = 256;
    const std::string strBase(static_cast<const char*>(base.Data()), base.Size());
    const char* const pLog = static_cast<const char*>(log.Data());
    // The generation is another one each time.
    std::string strSeed = static_cast<char>(uFlags) + strBase.substr(0, 8) + WordBytes(0, 8) + strBase.substr(16, 152);
    for (size_t uAt = 4096; uAt < strBase.size(); uAt += kStretch)
    {
        const std::string strStretch = strBase.substr(uAt, kStretch);
        if (strStretch.find_first_not_of('\0') != std::string::npos)
        {
            strSeed += '\1' + WordBytes(uAt, 4) + WordBytes(strStretch.size(), 4) + strStretch;
        }
    }
    strSeed += '\0';
    for (uint64_t ullAt = 64; ullAt < ullWritten;)
    {
        const uint32_t uSize = VOLoad<uint32_t>(pLog + ullAt);
        strSeed += static_cast<char>(VOLoad<uint32_t>(pLog + ullAt + 8));
        strSeed += WordBytes(uSize - 16, 4) + std::string(pLog + ullAt + 16, uSize - 16);
        ullAt += uSize;
    }
    return strSeed;
}

void AddRoadSeeds(Seeds& mapSeed)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/r"), VOTEXT("r"));
    const unsigned int uFolder = Add(container, VOTEXT("d"), true, kNoParent);
    VORoadPublisher publisher;
    FUZZ_REQUIRE(publisher.Open());
    for (const auto& [strName, uFlags] : {std::pair("base", 0), std::pair("changes", 0), std::pair("later", 1)})
    {
        if (strName != std::string("base"))
        {
            // Adding it enters it into the folder's list.
            const VOWString strPath = VOTEXT("d/a.b") + VOWString(1, static_cast<VOWCHAR>('0' + uFlags));
            (void)Add(container, strPath.c_str(), false, uFolder);
        }
        FUZZ_REQUIRE(publisher.Publish(AF_SOURCE, container));
        const VOSectionView state(VOTEXT("vo_fileMappingAssetNodeRoad"), FILE_MAP_READ);
        const char* const pSource = static_cast<const char*>(state.Data()) + 64 + 64 * AF_SOURCE;
        const VOWString strEnd = [&]
        {
            VOWString strDigits;
            for (int nShift = 60; nShift >= 0; nShift -= 4)
            {
                strDigits += static_cast<VOWCHAR>("0123456789ABCDEF"[(VOLoad<uint64_t>(pSource) >> nShift) & 15]);
            }
            return strDigits;
        }();
        const VOWString strData = ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE);
        const VOSectionView base((strData + VOTEXT("~base") + strEnd).c_str(), FILE_MAP_READ);
        const VOSectionView log((strData + VOTEXT("~log") + strEnd).c_str(), FILE_MAP_READ);
        FUZZ_REQUIRE(base.Data() != nullptr && log.Data() != nullptr);
        mapSeed[std::string("Road/") + strName] =
            PublishedRoad(static_cast<uint8_t>(uFlags), base, log, VOLoad<uint64_t>(pSource + 8));
    }
}
}  // namespace

std::map<std::string, std::string> FuzzSeeds()
{
    Seeds mapSeed;
    AddAssetSeeds(mapSeed);
    AddEventSeeds(mapSeed);
    AddStringSeeds(mapSeed);
    AddRoadSeeds(mapSeed);
    return mapSeed;
}
