// The queries of an inspector: its error state, which stands in front of the container's own operations, and the choice
// of child lists.
#include <algorithm>

#include "diagnostics/check.h"
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

}  // namespace

ErrorType VOTSFileMappingInspector::LastErrorType() const
{
    if (VOLoadWord(m_hMappingState) == nullptr && VOLoadWord(m_pMappingState) == nullptr)
    {
        return ET_STATE_UNAVAILABLE;
    }
    if (VOLoadWord(m_pAssetNodeAlloc) == nullptr)
    {
        return ET_DATA_UNAVAILABLE;
    }
    return VOLoadWord(_StateInfo()->uUpdateCount) == VOLoadWord(m_uUpdateCount) ? ET_NONE : ET_DATA_OUTDATED;
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

template <typename Question>
auto VOTSFileMappingInspector::_Ask(const char* pszFunction, bool bMayAsk, Question kAsk) const -> decltype(kAsk())
{
    decltype(kAsk()) result{};
    if (bMayAsk)
    {
        VO_PROCESS_ERROR_IN(pszFunction, m_pkAssetNodeContainer);
        result = kAsk();
    }

Exit0:
    return result;
}

int VOTSFileMappingInspector::NormalizeAssetPath(const VOWCHAR* pszPath, unsigned int uSize, VOWCHAR* pszResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->NormailzeAssetPath(pszResult, pszPath, uSize, 0); });
}

int VOTSFileMappingInspector::ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->ReConstructContainer(pkToContainer); });
}

unsigned int VOTSFileMappingInspector::GetAssetNodeCount() const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->GetAssetNodeCount(); });
}

int VOTSFileMappingInspector::GetAssetNode(unsigned int uAssetIndex, structAssetNode& tsNode) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode); });
}

int VOTSFileMappingInspector::GetAssetNode(const VOWCHAR* pszPath, structAssetNode& tsNode) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->FindAssetNode(pszPath, tsNode); });
}

unsigned int VOTSFileMappingInspector::GetAssetIndexOfParent(unsigned int uAssetIndex, NodeType eNodeType) const
{
    unsigned int uResult = 0;
    structAssetNode tsNode;
    structAssetNode tsParentNode;
    std::vector<unsigned int> vecIndex;
    std::vector<unsigned int>::const_iterator cIter;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode));
    if (tsNode.nParentID == kNone)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetAssetNode(tsNode.nParentID, tsParentNode));
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetInfoNumberList(ChildInfoOf(tsParentNode, eNodeType), vecIndex));
    cIter = std::find(vecIndex.begin(), vecIndex.end(), static_cast<unsigned int>(tsNode.nAssetID));
    VO_PROCESS_ERROR(cIter != vecIndex.end());
    uResult = static_cast<unsigned int>(cIter - vecIndex.begin());

Exit0:
    return uResult;
}

unsigned int VOTSFileMappingInspector::GetAssetChildCount(unsigned int uAssetIndex, VOULONG dwType) const
{
    unsigned int uResult = 0;
    structAssetNode tsNode;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode));
    if ((dwType & NT_FILE) != 0 && tsNode.nChildFileInfo != kNone)
    {
        uResult += m_pkAssetNodeContainer->GetInfoNumberCount(tsNode.nChildFileInfo);
    }
    if ((dwType & NT_FOLDER) != 0 && tsNode.nChildFolderInfo != kNone)
    {
        uResult += m_pkAssetNodeContainer->GetInfoNumberCount(tsNode.nChildFolderInfo);
    }

Exit0:
    return uResult;
}

int VOTSFileMappingInspector::GetAssetChildByIndex(unsigned int uAssetIndex, unsigned int uIndex, NodeType eNodeType,
                                                   unsigned int& uResult) const
{
    int nResult = 0;
    structAssetNode tsNode;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode));
    uResult = m_pkAssetNodeContainer->GetInfoNumberFromIndex(ChildInfoOf(tsNode, eNodeType), uIndex);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::GetAssetChildIndexList(unsigned int uAssetIndex, VOULONG dwType,
                                                     std::vector<unsigned int>& vecIndex) const
{
    int nResult = 0;
    structAssetNode tsNode;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode));
    // A list that can't be read is reported there and adds nothing: the result speaks of the node alone.
    if ((dwType & NT_FILE) != 0 && tsNode.nChildFileInfo != kNone)
    {
        m_pkAssetNodeContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecIndex);
    }
    if ((dwType & NT_FOLDER) != 0 && tsNode.nChildFolderInfo != kNone)
    {
        m_pkAssetNodeContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecIndex);
    }
    nResult = 1;

Exit0:
    return nResult;
}

const VOWCHAR* VOTSFileMappingInspector::GetString(void* hString) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, LastErrorTypeASync() == ET_NONE,
                [&] { return m_pkAssetNodeContainer->GetString(hString); });
}

int VOTSFileMappingInspector::GetAssetPath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true,
                [&] { return m_pkAssetNodeContainer->GetAssetPath(uAssetIndex, nBufferSize, pszResult); });
}

int VOTSFileMappingInspector::GetAssetAbsolutePath(unsigned int uAssetIndex, unsigned int nBufferSize,
                                                   VOWCHAR* pszResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true,
                [&] { return m_pkAssetNodeContainer->GetAssetAbsolutePath(uAssetIndex, nBufferSize, pszResult); });
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootPath() const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true, [&] { return m_pkAssetNodeContainer->GetRootPath(); });
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootName() const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true, [&] { return m_pkAssetNodeContainer->GetRootName(); });
}

int VOTSFileMappingInspector::GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true,
                [&] { return m_pkAssetNodeContainer->GetClassifyTypeByName(pszClassifyName, nResult); });
}

int VOTSFileMappingInspector::GetClassifyExtension(int nClassifyType, std::vector<VOWString>& vecExtension) const
{
    int nResult = 0;
    VOWCHAR* pszContext = nullptr;
    VOWCHAR szTmp[MAX_PATH] = {};
    static_assert(MAX_PATH >= LENGTH_OF_EXTENSIONS);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer->GetClassifyExtensions(nClassifyType, szTmp));
    for (VOWCHAR* pszToken = wcstok_s(szTmp, VOTEXT("|"), &pszContext); pszToken != nullptr;
         pszToken = wcstok_s(nullptr, VOTEXT("|"), &pszContext))
    {
        vecExtension.emplace_back(pszToken);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true,
                [&] { return m_pkAssetNodeContainer->GetClassifyTypeColor(nClassifyType, rkResult); });
}

int VOTSFileMappingInspector::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _Ask(pszFunction, true,
                [&] { return m_pkAssetNodeContainer->GetClassifyBackgroundColor(nClassifyType, rkResult); });
}
