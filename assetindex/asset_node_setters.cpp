// The setters of the node store. They write into a record of a Provider and touch nothing else: not the parent's
// lists, not the index, not the key.
#include "assetindex/no_index.h"
#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_container.h"

namespace
{

using LUMTrayService::structAssetNode;

}  // namespace

// A removed node is reported and written all the same.
void VOTSAssetNodeContainer::_CheckState(const char* pszFunction, unsigned int uAssetID) const
{
    VO_CHECK_ERROR_AS_IN(pszFunction, "param.dwParamState != AssetParamState::APS_Deleted",
                         _StateOf(uAssetID) != AssetParamState::APS_Deleted);
}

// What most setters begin with.
bool VOTSAssetNodeContainer::_MaySet(const char* pszFunction, unsigned int uAssetID) const
{
    bool bResult = false;
    VO_PROCESS_ERROR_IN(pszFunction, m_pkAssetIndexContainer);
    VO_PROCESS_ERROR_IN(pszFunction, uAssetID < m_vecAssetNode.Count());
    VO_PROCESS_ERROR_IN(pszFunction, LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    _CheckState(pszFunction, uAssetID);
    bResult = true;

Exit0:
    return bResult;
}

int VOTSAssetNodeContainer::SetAssetNodeAssetFrom(unsigned int uAssetID, LUMTrayService::enumAssetFrom eAssetFrom)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, eAssetFrom), eAssetFrom);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeAssetMergeSign(unsigned int uAssetID, unsigned int uAssetMerge)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, uAssetMerge), uAssetMerge);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeStripPath(unsigned int uAssetID, const VOWCHAR* szComponent,
                                                  const VOWCHAR* szBaseName, const VOWCHAR* szExt)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    VOTextCopy baseName;
    VOTextCopy ext;
    struct
    {
        const VOWCHAR* pszText;
        size_t uOffset;
    } arrPart[] = {
        {szComponent, offsetof(structAssetNode, hStrComponent)},
        {szBaseName, offsetof(structAssetNode, hStrBaseName)},
        {szExt, offsetof(structAssetNode, hStrExtension)},
    };
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    VO_PROCESS_ERROR(m_pkStringSet);

    // The first text may go into the pool as it lies; those behind it must outlast that.
    arrPart[1].pszText = baseName.Take(szBaseName);
    arrPart[2].pszText = ext.Take(szExt);
    for (const auto& part : arrPart)
    {
        _StoreField(uAssetID, part.uOffset, INVALID_HANDLE_VALUE);
    }
    for (const auto& part : arrPart)
    {
        if (VOHasText(part.pszText))
        {
            void* hndTmp = m_pkStringSet->Insert(part.pszText);
            VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != hndTmp);
            _StoreField(uAssetID, part.uOffset, hndTmp);
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::SetAssetNodePhysicsPath(unsigned int uAssetID, const VOWCHAR* pszPhysicsPath)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    void* hPhysicsPath = INVALID_HANDLE_VALUE;
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
    VO_PROCESS_ERROR_AS("pszPhysicsPath && *pszPhysicsPath", VOHasText(pszPhysicsPath));
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    _CheckState(pszFunction, uAssetID);
    VO_PROCESS_ERROR(m_pkStringSet);

    _StoreField(uAssetID, offsetof(structAssetNode, hStrPhysicsPath), INVALID_HANDLE_VALUE);
    hPhysicsPath = m_pkStringSet->Insert(pszPhysicsPath);
    VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != hPhysicsPath);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrPhysicsPath), hPhysicsPath);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::SetAssetNodeClassifyType(unsigned int uAssetID, int nClassifyType,
                                                     const VOWCHAR* pszClassifyName)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    void* hClassify = INVALID_HANDLE_VALUE;
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
    VO_PROCESS_ERROR_AS("pszClassifyName && *pszClassifyName", VOHasText(pszClassifyName));
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    _CheckState(pszFunction, uAssetID);
    VO_PROCESS_ERROR(m_pkStringSet);

    _StoreField(uAssetID, offsetof(structAssetNode, nClassifyType), -1);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrClassifyName), INVALID_HANDLE_VALUE);
    hClassify = m_pkStringSet->Insert(pszClassifyName);
    VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != hClassify);
    _StoreField(uAssetID, offsetof(structAssetNode, nClassifyType), nClassifyType);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrClassifyName), hClassify);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::SetAssetNodeFolder(unsigned int uAssetID, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, bFolder), bFolder);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeFileAttribute(unsigned int uAssetID, unsigned long long ullFileSize,
                                                      long long ftCreateTime, long long ftLastAccessTime,
                                                      long long ftLastWriteTime, unsigned int nFileAttribute)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, ullFileSize), ullFileSize);
    _StoreField(uAssetID, offsetof(structAssetNode, ftCreateTime), ftCreateTime);
    _StoreField(uAssetID, offsetof(structAssetNode, ftLastAccessTime), ftLastAccessTime);
    _StoreField(uAssetID, offsetof(structAssetNode, ftLastWriteTime), ftLastWriteTime);
    _StoreField(uAssetID, offsetof(structAssetNode, nFileAttribute), nFileAttribute);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeParentIndex(unsigned int uAssetID, unsigned int uParentIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nParentID), uParentIndex);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeChildIndex(unsigned int uAssetID,
                                                   const std::vector<unsigned int>& vecChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    std::vector<unsigned int> vecFileIndex;
    std::vector<unsigned int> vecFolderIndex;
    structAssetNode tsNode;
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }

    for (const unsigned int uChildIndex : vecChildIndex)
    {
        VO_PROCESS_ERROR(uChildIndex < m_vecAssetNode.Count());
        const int bFolder = VOLoad<int>(m_vecAssetNode.Bytes(uChildIndex) + offsetof(structAssetNode, bFolder));
        (bFolder != 0 ? vecFolderIndex : vecFileIndex).push_back(uChildIndex);
    }

    _StoreField(uAssetID, offsetof(structAssetNode, nChildFileInfo), kNone);
    if (!vecFileIndex.empty())
    {
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->InsertNumber(vecFileIndex, tsNode.nChildFileInfo));
        _StoreField(uAssetID, offsetof(structAssetNode, nChildFileInfo), tsNode.nChildFileInfo);
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFolderInfo), kNone);
    if (!vecFolderIndex.empty())
    {
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->InsertNumber(vecFolderIndex, tsNode.nChildFolderInfo));
        _StoreField(uAssetID, offsetof(structAssetNode, nChildFolderInfo), tsNode.nChildFolderInfo);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::SetAssetNodeChildIndex(unsigned int uAssetID, unsigned int uFolderInfo,
                                                   unsigned int uFileInfo)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFolderInfo), uFolderInfo);
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFileInfo), uFileInfo);
    return 1;
}

int VOTSAssetNodeContainer::InsertAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    unsigned int uTmpInfo = kNone;
    size_t uInfoOffset = 0;
    VO_PROCESS_ERROR(m_pkAssetIndexContainer);
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
    VO_PROCESS_ERROR(uChildIndex < m_vecAssetNode.Count());
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    _CheckState(pszFunction, uAssetID);
    _CheckState(pszFunction, uChildIndex);

    uInfoOffset = _ChildInfoOffset(uChildIndex);
    uTmpInfo = VOLoad<unsigned int>(m_vecAssetNode.Bytes(uAssetID) + uInfoOffset);
    if (uTmpInfo == kNone)
    {
        const std::vector<unsigned int> vecInsert(1, uChildIndex);
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->InsertNumber(vecInsert, uTmpInfo));
    }
    else
    {
        // The list may have moved.
        const unsigned int uInfoID = uTmpInfo;
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->InsertNumber(uInfoID, uChildIndex, uTmpInfo));
    }
    _StoreField(uAssetID, uInfoOffset, uTmpInfo);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::RemoveAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    structAssetNode tsNode;
    VO_PROCESS_ERROR(m_pkAssetIndexContainer);
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
    VO_PROCESS_ERROR(uChildIndex < m_vecAssetNode.Count());
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    _CheckState(pszFunction, uAssetID);
    _CheckState(pszFunction, uChildIndex);

    tsNode = VOLoad<structAssetNode>(m_vecAssetNode.Bytes(uAssetID));
    if (_ChildInfoOffset(uChildIndex) == offsetof(structAssetNode, nChildFolderInfo))
    {
        VO_PROCESS_ERROR(tsNode.nChildFolderInfo != UINT(-1));
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->RemoveNumber(tsNode.nChildFolderInfo, uChildIndex));
    }
    else
    {
        VO_PROCESS_ERROR(tsNode.nChildFileInfo != UINT(-1));
        VO_PROCESS_ERROR(m_pkAssetIndexContainer->RemoveNumber(tsNode.nChildFileInfo, uChildIndex));
    }
    nResult = 1;

Exit0:
    return nResult;
}

// Which of a parent's two lists a child belongs to.
size_t VOTSAssetNodeContainer::_ChildInfoOffset(unsigned int uChildIndex) const
{
    const int bFolder = VOLoad<int>(m_vecAssetNode.Bytes(uChildIndex) + offsetof(structAssetNode, bFolder));
    return bFolder != 0 ? offsetof(structAssetNode, nChildFolderInfo) : offsetof(structAssetNode, nChildFileInfo);
}
