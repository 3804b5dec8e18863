// The queries of an inspector: its error state, which stands in front of the container's own operations, and the choice
// of child lists.
#include <algorithm>

#include "diagnostics/check.h"
#include "mapping/asset_road.h"
#include "platform/vo_shared_word.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"

using LUMTrayService::structAssetNode;
using namespace LUMTrayService::Inspector;

namespace
{

constexpr unsigned int kNone = static_cast<unsigned int>(-1);

// The child list of one type; any other type has no list.
unsigned int ChildInfoOf(const structAssetNode& tsNode, NodeType eNodeType)
{
    switch (eNodeType)
    {
        case NT_FILE:
            return tsNode.nChildFileInfo;
        case NT_FOLDER:
            return tsNode.nChildFolderInfo;
        default:
            return kNone;
    }
}

// Takes the child lists that a node has, of the types of a mask.
template <typename Take>
void ForEachList(const structAssetNode& tsNode, VOULONG dwType, Take take)
{
    for (const NodeType eNodeType : {NT_FILE, NT_FOLDER})
    {
        const unsigned int uInfoID = (dwType & eNodeType) != 0 ? ChildInfoOf(tsNode, eNodeType) : kNone;
        if (uInfoID != kNone)
        {
            take(uInfoID);
        }
    }
}

}  // namespace

ErrorType VOTSFileMappingInspector::LastErrorType() const
{
    if (VOLoadWord(m_pMappingState) == nullptr)
    {
        return ET_STATE_UNAVAILABLE;
    }
    if (VOLoadWord(m_pAssetNodeAlloc) == nullptr && VOLoadWord(m_bOnRoad) == 0)
    {
        return ET_DATA_UNAVAILABLE;
    }
    return _IsCurrent(*_StateInfo()) ? ET_NONE : ET_DATA_OUTDATED;
}

// Whether nothing was published since the last load. A base that is withdrawn, as when its publisher ends, stays what
// it is as long as the image's count does.
bool VOTSFileMappingInspector::_IsCurrent(const AssetNodeStateInfo& stateInfo) const
{
    const unsigned int uCount = VOLoadWord(stateInfo.uUpdateCount);
    const VORoadStanding eStanding = VOLoadWord(m_bOnRoad) != 0 ? m_pRoad->Standing(uCount) : VORoadStanding::Withdrawn;
    return eStanding == VORoadStanding::Withdrawn ? uCount == VOLoadWord(m_uUpdateCount)
                                                  : eStanding == VORoadStanding::Current;
}

ErrorType VOTSFileMappingInspector::LastErrorTypeASync() const
{
    const ErrorType eResult = LastErrorType();
    return VOLoadWord(m_eSyncMode) != SM_ASYNC || eResult < ET_DATA_OUTDATED ? eResult : ET_NONE;
}

// The record of this source in the section; an empty pointer for what is no source at all.
AssetNodeStateInfo* VOTSFileMappingInspector::_StateInfo() const
{
    return static_cast<unsigned int>(m_eaf) < LUMTrayService::ASSETTYPE_COUNT
               ? &VOLoadWord(m_pMappingState)->arrStateInfo[m_eaf]
               : nullptr;
}

int VOTSFileMappingInspector::NormalizeAssetPath(const VOWCHAR* pszPath, unsigned int uSize, VOWCHAR* pszResult) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->NormailzeAssetPath(pszResult, pszPath, uSize, 0);
}

int VOTSFileMappingInspector::ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->ReConstructContainer(pkToContainer);
}

unsigned int VOTSFileMappingInspector::GetAssetNodeCount() const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer)
               ? m_pkAssetNodeContainer->GetAssetNodeCount()
               : 0;
}

int VOTSFileMappingInspector::GetAssetNode(unsigned int uAssetIndex, structAssetNode& tsNode) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode);
}

int VOTSFileMappingInspector::GetAssetNode(const VOWCHAR* pszPath, structAssetNode& tsNode) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->FindAssetNode(pszPath, tsNode);
}

unsigned int VOTSFileMappingInspector::GetAssetNodes(const VOWCHAR* const* ppszPath, unsigned int uCount,
                                                     structAssetNode* ptsNode, int* pbFound) const
{
    if (LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer))
    {
        return m_pkAssetNodeContainer->FindAssetNodes(ppszPath, uCount, ptsNode, pbFound);
    }
    if (pbFound != nullptr)
    {
        std::fill_n(pbFound, uCount, 0);
    }
    return 0;
}

unsigned int VOTSFileMappingInspector::GetAssetIndexOfParent(unsigned int uAssetIndex, NodeType eNodeType) const
{
    structAssetNode tsNode;
    structAssetNode tsParentNode;
    std::vector<unsigned int> vecIndex;
    if (LastErrorTypeASync() != ET_NONE || !VO_STEP(m_pkAssetNodeContainer) ||
        !VO_STEP(m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode)) || tsNode.nParentID == kNone ||
        !VO_STEP(m_pkAssetNodeContainer->GetAssetNode(tsNode.nParentID, tsParentNode)) ||
        !VO_STEP(m_pkAssetNodeContainer->GetInfoNumberList(ChildInfoOf(tsParentNode, eNodeType), vecIndex)))
    {
        return 0;
    }
    const auto cIter = std::find(vecIndex.cbegin(), vecIndex.cend(), static_cast<unsigned int>(tsNode.nAssetID));
    return VO_STEP(cIter != vecIndex.end()) ? static_cast<unsigned int>(cIter - vecIndex.cbegin()) : 0;
}

// What the questions about a node's children begin with.
bool VOTSFileMappingInspector::_MayAskOf(const char* pszFunction, unsigned int uAssetIndex,
                                         structAssetNode& tsNode) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP_IN(pszFunction, m_pkAssetNodeContainer) &&
           VO_STEP_IN(pszFunction, m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode));
}

unsigned int VOTSFileMappingInspector::GetAssetChildCount(unsigned int uAssetIndex, VOULONG dwType) const
{
    VO_NAMED_FUNCTION(pszFunction);
    unsigned int uResult = 0;
    structAssetNode tsNode;
    if (_MayAskOf(pszFunction, uAssetIndex, tsNode))
    {
        ForEachList(tsNode, dwType,
                    [&](unsigned int uInfoID) { uResult += m_pkAssetNodeContainer->GetInfoNumberCount(uInfoID); });
    }
    return uResult;
}

int VOTSFileMappingInspector::GetAssetChildByIndex(unsigned int uAssetIndex, unsigned int uIndex, NodeType eNodeType,
                                                   unsigned int& uResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    structAssetNode tsNode;
    if (!_MayAskOf(pszFunction, uAssetIndex, tsNode))
    {
        return 0;
    }
    uResult = m_pkAssetNodeContainer->GetInfoNumberFromIndex(ChildInfoOf(tsNode, eNodeType), uIndex);
    return 1;
}

int VOTSFileMappingInspector::GetAssetChildIndexList(unsigned int uAssetIndex, VOULONG dwType,
                                                     std::vector<unsigned int>& vecIndex) const
{
    VO_NAMED_FUNCTION(pszFunction);
    structAssetNode tsNode;
    if (!_MayAskOf(pszFunction, uAssetIndex, tsNode))
    {
        return 0;
    }
    // A list that can't be read is reported there and adds nothing: the result speaks of the node alone.
    ForEachList(tsNode, dwType,
                [&](unsigned int uInfoID) { m_pkAssetNodeContainer->GetInfoNumberList(uInfoID, vecIndex); });
    return 1;
}

const VOWCHAR* VOTSFileMappingInspector::GetString(void* hString) const
{
    return LastErrorTypeASync() == ET_NONE && VO_STEP(m_pkAssetNodeContainer)
               ? m_pkAssetNodeContainer->GetString(hString)
               : nullptr;
}

int VOTSFileMappingInspector::GetAssetPath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const
{
    return VO_STEP(m_pkAssetNodeContainer) && m_pkAssetNodeContainer->GetAssetPath(uAssetIndex, nBufferSize, pszResult);
}

int VOTSFileMappingInspector::GetAssetAbsolutePath(unsigned int uAssetIndex, unsigned int nBufferSize,
                                                   VOWCHAR* pszResult) const
{
    return VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->GetAssetAbsolutePath(uAssetIndex, nBufferSize, pszResult);
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootPath() const
{
    return VO_STEP(m_pkAssetNodeContainer) ? m_pkAssetNodeContainer->GetRootPath() : nullptr;
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootName() const
{
    return VO_STEP(m_pkAssetNodeContainer) ? m_pkAssetNodeContainer->GetRootName() : nullptr;
}

int VOTSFileMappingInspector::GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const
{
    return VO_STEP(m_pkAssetNodeContainer) && m_pkAssetNodeContainer->GetClassifyTypeByName(pszClassifyName, nResult);
}

int VOTSFileMappingInspector::GetClassifyExtension(int nClassifyType, std::vector<VOWString>& vecExtension) const
{
    VOWCHAR szTmp[MAX_PATH] = {};
    static_assert(MAX_PATH >= LENGTH_OF_EXTENSIONS);
    if (!VO_STEP(m_pkAssetNodeContainer) ||
        !VO_STEP(m_pkAssetNodeContainer->GetClassifyExtensions(nClassifyType, szTmp)))
    {
        return 0;
    }
    VOWCHAR* pszContext = nullptr;
    for (VOWCHAR* pszToken = wcstok_s(szTmp, VOTEXT("|"), &pszContext); pszToken != nullptr;
         pszToken = wcstok_s(nullptr, VOTEXT("|"), &pszContext))
    {
        vecExtension.emplace_back(pszToken);
    }
    return 1;
}

int VOTSFileMappingInspector::GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    return VO_STEP(m_pkAssetNodeContainer) && m_pkAssetNodeContainer->GetClassifyTypeColor(nClassifyType, rkResult);
}

int VOTSFileMappingInspector::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    return VO_STEP(m_pkAssetNodeContainer) &&
           m_pkAssetNodeContainer->GetClassifyBackgroundColor(nClassifyType, rkResult);
}
