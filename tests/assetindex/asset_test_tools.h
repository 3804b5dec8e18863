// What the tests of the asset index and of the mapping share: buffers for results, containers whose protected
// operations can be reached, and short ways to fill a container and to look into its image.
//
// A node's record is packed, so its 64-bit fields may lie at any multiple of 4: tests pass them on by value, which is
// what the unary plus in "EXPECT_EQ(5u, +tsNode.ullFileSize)" is for.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/text.h"
#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

namespace assettest
{

using LUMTrayService::Color;
using LUMTrayService::structAssetNode;
using testing::ElementsAre;
using testing::IsEmpty;
using votest::ByteBuilder;
using votest::Bytes;
using votest::CheckLine;
using votest::LogCapture;
using votest::MisalignedBlock;
using votest::Random;
using votest::ReadText;
using votest::ReadU32;
using votest::ReadU64;
using votest::SameBytes;
using votest::Wide;
using votest::WriteU32;
using votest::WriteU64;

typedef std::vector<std::string> Lines;
typedef std::vector<unsigned int> IDs;

constexpr unsigned int kNone = 0xFFFFFFFFu;

inline const VOWCHAR* const kpszRoot = VOTEXT("C:/Root");

// What the container's check lines name.
inline const std::string kClass = "VOTSAssetNodeContainer::";
inline const std::string kBadID = "uAssetID < m_vecAssetNode.Count()";
inline const std::string kRole = "LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole";
inline const std::string kState = "param.dwParamState != AssetParamState::APS_Deleted";

inline bool HasLine(const Lines& lines, const std::string& strLine)
{
    for (const std::string& strOne : lines)
    {
        if (strOne == strLine)
        {
            return true;
        }
    }
    return false;
}

inline bool HasText(const Lines& lines, const std::string& strPart)
{
    for (const std::string& strOne : lines)
    {
        if (strOne.find(strPart) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

inline std::string ProcessError(const std::string& strExpression, const std::string& strFunction)
{
    return CheckLine("VO_PROCESS_ERROR", strExpression, strFunction);
}

inline std::string CheckError(const std::string& strExpression, const std::string& strFunction)
{
    return CheckLine("VO_CHECK_ERROR", strExpression, strFunction);
}

// A buffer for N characters of result, with sentinels in it and behind it.
template <unsigned int N = MAX_PATH>
struct WideBuffer
{
    static constexpr VOWCHAR kSentinel = 0x2620;
    static constexpr size_t guard = 8;
    VOWCHAR szText[N + guard];

    WideBuffer()
    {
        for (VOWCHAR& rch : szText)
        {
            rch = kSentinel;
        }
    }

    // The text, or a mark that no path is when its end is missing.
    VOWString Text() const
    {
        for (size_t i = 0; i < N; ++i)
        {
            if (szText[i] == 0)
            {
                return VOWString(szText, i);
            }
        }
        return VOTEXT("<not terminated>");
    }

    bool UntouchedFrom(size_t uFrom) const
    {
        for (size_t i = uFrom; i < N + guard; ++i)
        {
            if (szText[i] != kSentinel)
            {
                return false;
            }
        }
        return true;
    }
    bool Untouched() const { return UntouchedFrom(0); }
    bool InBounds() const { return UntouchedFrom(N); }
};

inline void* HandleOf(unsigned long long ullValue)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(ullValue));
}

inline unsigned long long ValueOf(void* hHandle)
{
    return static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(hHandle));
}

// ---------------------------------------------------------------------------------------------------------------------
// Images
// ---------------------------------------------------------------------------------------------------------------------

// The image of a container, as bytes; empty if there is none.
inline Bytes ImageOf(VOTSAssetNodeContainer& container)
{
    VOTSAssetNodeContainer::ContainerAlloc* pAlloc = container.GetAlloc();
    if (pAlloc == nullptr)
    {
        return Bytes();
    }
    return votest::TakeBytes(pAlloc, ReadU32(votest::CopyBytes(pAlloc, 52), 48) + size_t{56});
}

// Where the five blocks of a container's image begin, and where the last one ends.
struct BlockOffsets
{
    size_t uStrings, uNodes, uNumbers, uTable, uClassify, uTail;

    explicit BlockOffsets(const Bytes& image)
        : uStrings(52),
          uNodes(uStrings + ReadU32(image, 8)),
          uNumbers(uNodes + ReadU32(image, 12)),
          uTable(uNumbers + ReadU32(image, 16)),
          uClassify(uTable + ReadU32(image, 20)),
          uTail(uClassify + ReadU32(image, 24))
    {
    }

    size_t Record(unsigned int uAssetID) const { return uNodes + 16 + size_t{120} * uAssetID; }
};

typedef VOTSAssetNodeContainer::ContainerAlloc ContainerImage;

// The bytes of a record as handed out.
inline Bytes BytesOf(const structAssetNode& tsNode)
{
    return votest::CopyBytes(&tsNode, sizeof(tsNode));
}

// ---------------------------------------------------------------------------------------------------------------------
// Containers
// ---------------------------------------------------------------------------------------------------------------------

class OpenContainer : public VOTSAssetNodeContainer
{
public:
    using VOTSAssetNodeContainer::_AddFileDataParam;
    using VOTSAssetNodeContainer::_FindAssetParamIndex_C;
    using VOTSAssetNodeContainer::_FindAssetParamIndex_P;
    using VOTSAssetNodeContainer::_MakeSurePathValueValid;
    using VOTSAssetNodeContainer::_SetAlloc_C;
    using VOTSAssetNodeContainer::_SetAlloc_P;
    using VOTSAssetNodeContainer::m_eAssetRole;
    using VOTSAssetNodeContainer::m_hStrRootName;
    using VOTSAssetNodeContainer::m_hStrRootPath;
    using VOTSAssetNodeContainer::m_pkStringSet;
    using VOTSAssetNodeContainer::m_tszRootName;
    using VOTSAssetNodeContainer::m_tszRootPath;
    using VOTSAssetNodeContainer::m_vecAssetNode;
    using VOTSAssetNodeContainer::VOTSAssetNodeContainer;
};

class OpenHelper : public VOTSAssetNodeContainerHelper
{
public:
    using VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal;
};

// The node of an id; a default record, and a test failure, if there is none.
inline structAssetNode NodeOf(const VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    structAssetNode tsNode;
    EXPECT_NE(0, container.GetAssetNode(uAssetID, tsNode)) << "there is no node " << uAssetID;
    return tsNode;
}

// Requests a node that must not be there yet, and gives its id.
inline unsigned int NewNode(VOTSAssetNodeContainer& container, const VOWCHAR* pszPath)
{
    structAssetNode tsNode;
    int bInserted = 7;
    EXPECT_NE(0, container.RequestAssetNode(pszPath, tsNode, bInserted));
    EXPECT_EQ(0, bInserted) << "the node was there already";
    return tsNode.nAssetID;
}

inline unsigned int NewFolder(VOTSAssetNodeContainer& container, const VOWCHAR* pszPath)
{
    const unsigned int uID = NewNode(container, pszPath);
    EXPECT_NE(0, container.SetAssetNodeFolder(uID, 1));
    return uID;
}

// The id under which a path is found, kNone for a miss.
inline unsigned int FoundID(const VOTSAssetNodeContainer& container, const VOWCHAR* pszPath)
{
    structAssetNode tsNode;
    return container.FindAssetNode(pszPath, tsNode) != 0 ? tsNode.nAssetID : kNone;
}

// A node's state and key, read from the container's image: they aren't handed out any other way.
inline unsigned int StateOf(VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    const Bytes vecImage = ImageOf(container);
    return ReadU32(vecImage, BlockOffsets(vecImage).Record(uAssetID) + 116);
}

inline unsigned long long KeyOf(VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    const Bytes vecImage = ImageOf(container);
    return ReadU64(vecImage, BlockOffsets(vecImage).Record(uAssetID) + 108);
}

inline IDs ListOf(const VOTSAssetNodeContainer& container, unsigned int uInfoID)
{
    IDs vecResult;
    if (uInfoID != kNone)
    {
        EXPECT_NE(0, container.GetInfoNumberList(uInfoID, vecResult));
    }
    return vecResult;
}

inline IDs FilesOf(const VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    return ListOf(container, NodeOf(container, uAssetID).nChildFileInfo);
}

inline IDs FoldersOf(const VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    return ListOf(container, NodeOf(container, uAssetID).nChildFolderInfo);
}

inline void Link(VOTSAssetNodeContainer& container, unsigned int uParent, unsigned int uChild)
{
    EXPECT_NE(0, container.SetAssetNodeParentIndex(uChild, uParent));
    EXPECT_NE(0, container.InsertAssetNodeChildIndex(uParent, uChild));
}

// Makes a node with its names and links it below a parent (kNone for none).
inline unsigned int AddLinked(VOTSAssetNodeContainer& container, const VOWCHAR* pszPath, bool bFolder,
                              unsigned int uParent)
{
    const unsigned int uID = NewNode(container, pszPath);
    EXPECT_NE(0, container.SetAssetNodeFolder(uID, bFolder ? 1 : 0));
    structAssetNode tsNode = NodeOf(container, uID);
    EXPECT_NE(0, VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &container, pszPath));
    if (uParent != kNone)
    {
        Link(container, uParent, uID);
    }
    return uID;
}

// The rendered path of a node; a mark that no path is when that fails.
inline VOWString PathOf(const VOTSAssetNodeContainer& container, unsigned int uAssetID)
{
    WideBuffer<> buffer;
    return container.GetAssetPath(uAssetID, MAX_PATH, buffer.szText) != 0 ? buffer.Text() : VOTEXT("<no path>");
}

}  // namespace assettest
