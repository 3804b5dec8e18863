// The queries of an inspector: a guard in front of the container's own operations, and the choice of child lists.
#include <algorithm>

#include "diagnostics/check.h"
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

int VOTSFileMappingInspector::NormalizeAssetPath(const VOWCHAR* pszPath, unsigned int uSize, VOWCHAR* pszResult) const
{
    int nResult = 0;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->NormailzeAssetPath(pszResult, pszPath, uSize, 0);

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const
{
    int nResult = 0;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->ReConstructContainer(pkToContainer);

Exit0:
    return nResult;
}

unsigned int VOTSFileMappingInspector::GetAssetNodeCount() const
{
    unsigned int uResult = 0;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    uResult = m_pkAssetNodeContainer->GetAssetNodeCount();

Exit0:
    return uResult;
}

int VOTSFileMappingInspector::GetAssetNode(unsigned int uAssetIndex, structAssetNode& tsNode) const
{
    int nResult = 0;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->GetAssetNode(uAssetIndex, tsNode);

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::GetAssetNode(const VOWCHAR* pszPath, structAssetNode& tsNode) const
{
    int nResult = 0;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->FindAssetNode(pszPath, tsNode);

Exit0:
    return nResult;
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
    const VOWCHAR* pszResult = nullptr;
    if (LastErrorTypeASync() != ET_NONE)
    {
        return nullptr;
    }
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    pszResult = m_pkAssetNodeContainer->GetString(hString);

Exit0:
    return pszResult;
}

int VOTSFileMappingInspector::GetAssetPath(unsigned int uAssetIndex, unsigned int nBufferSize, VOWCHAR* pszResult) const
{
    int nResult = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->GetAssetPath(uAssetIndex, nBufferSize, pszResult);

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::GetAssetAbsolutePath(unsigned int uAssetIndex, unsigned int nBufferSize,
                                                   VOWCHAR* pszResult) const
{
    int nResult = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nResult = m_pkAssetNodeContainer->GetAssetAbsolutePath(uAssetIndex, nBufferSize, pszResult);

Exit0:
    return nResult;
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootPath() const
{
    const VOWCHAR* pszResult = nullptr;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    pszResult = m_pkAssetNodeContainer->GetRootPath();

Exit0:
    return pszResult;
}

const VOWCHAR* VOTSFileMappingInspector::GetAssetRootName() const
{
    const VOWCHAR* pszResult = nullptr;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    pszResult = m_pkAssetNodeContainer->GetRootName();

Exit0:
    return pszResult;
}

int VOTSFileMappingInspector::GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const
{
    int nFound = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nFound = m_pkAssetNodeContainer->GetClassifyTypeByName(pszClassifyName, nResult);

Exit0:
    return nFound;
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
    int nFound = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nFound = m_pkAssetNodeContainer->GetClassifyTypeColor(nClassifyType, rkResult);

Exit0:
    return nFound;
}

int VOTSFileMappingInspector::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    int nFound = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    nFound = m_pkAssetNodeContainer->GetClassifyBackgroundColor(nClassifyType, rkResult);

Exit0:
    return nFound;
}
