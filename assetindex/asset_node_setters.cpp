// The setters of the node store. They write into a record of a Provider and touch nothing else: not the parent's
// lists, not the index, not the key.
#include "assetindex/no_index.h"
#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_container.h"

namespace
{

using LUMTrayService::structAssetNode;

// What goes where in a record.
template <typename T>
struct Field
{
    size_t uOffset;
    T value;

    Field(size_t uGivenOffset, T givenValue) : uOffset(uGivenOffset), value(givenValue) {}
};

}  // namespace

// A removed node is reported and written all the same.
bool VOTSAssetNodeContainer::_CheckState(const char* pszFunction, unsigned int uAssetID) const
{
    VO_CHECK_ERROR_AS_IN(pszFunction, "param.dwParamState != AssetParamState::APS_Deleted",
                         _StateOf(uAssetID) != AssetParamState::APS_Deleted);
    return true;
}

// What most setters begin with.
bool VOTSAssetNodeContainer::_MaySet(const char* pszFunction, unsigned int uAssetID) const
{
    return VO_STEP_IN(pszFunction, m_pkAssetIndexContainer) &&
           VO_STEP_IN(pszFunction, uAssetID < m_vecAssetNode.Count()) &&
           VO_STEP_IN(pszFunction, LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) &&
           _CheckState(pszFunction, uAssetID);
}

// What the setters of one text begin with.
bool VOTSAssetNodeContainer::_MaySetText(const char* pszFunction, unsigned int uAssetID, const char* pszCheck,
                                         const VOWCHAR* pszText) const
{
    return VO_STEP_IN(pszFunction, uAssetID < m_vecAssetNode.Count()) &&
           VO_STEP_AS_IN(pszFunction, pszCheck, VOHasText(pszText)) &&
           VO_STEP_IN(pszFunction, LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) &&
           _CheckState(pszFunction, uAssetID) && VO_STEP_IN(pszFunction, m_pkStringSet);
}

// What changes of a child list begin with.
bool VOTSAssetNodeContainer::_MaySetChild(const char* pszFunction, unsigned int uAssetID,
                                          unsigned int uChildIndex) const
{
    return VO_STEP_IN(pszFunction, m_pkAssetIndexContainer) &&
           VO_STEP_IN(pszFunction, uAssetID < m_vecAssetNode.Count()) &&
           VO_STEP_IN(pszFunction, uChildIndex < m_vecAssetNode.Count()) &&
           VO_STEP_IN(pszFunction, LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) &&
           _CheckState(pszFunction, uAssetID) && _CheckState(pszFunction, uChildIndex);
}

template <typename... Fields>
int VOTSAssetNodeContainer::_SetFields(const char* pszFunction, unsigned int uAssetID, Fields... fields)
{
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    (_StoreField(uAssetID, fields.uOffset, fields.value), ...);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeAssetFrom(unsigned int uAssetID, LUMTrayService::enumAssetFrom eAssetFrom)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, eAssetFrom), eAssetFrom));
}

int VOTSAssetNodeContainer::SetAssetNodeAssetMergeSign(unsigned int uAssetID, unsigned int uAssetMerge)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, uAssetMerge), uAssetMerge));
}

int VOTSAssetNodeContainer::SetAssetNodeStripPath(unsigned int uAssetID, const VOWCHAR* szComponent,
                                                  const VOWCHAR* szBaseName, const VOWCHAR* szExt)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySet(pszFunction, uAssetID) || !VO_STEP(m_pkStringSet))
    {
        return 0;
    }

    // The first text may go into the pool as it lies; those behind it must outlast that.
    VOTextCopy baseName;
    VOTextCopy ext;
    const Field<const VOWCHAR*> arrPart[] = {
        {offsetof(structAssetNode, hStrComponent), szComponent},
        {offsetof(structAssetNode, hStrBaseName), baseName.Take(szBaseName)},
        {offsetof(structAssetNode, hStrExtension), ext.Take(szExt)},
    };
    for (const auto& part : arrPart)
    {
        _StoreField(uAssetID, part.uOffset, INVALID_HANDLE_VALUE);
    }
    for (const auto& part : arrPart)
    {
        if (VOHasText(part.value))
        {
            void* const hndTmp = m_pkStringSet->Insert(part.value);
            if (!VO_STEP(INVALID_HANDLE_VALUE != hndTmp))
            {
                return 0;
            }
            _StoreField(uAssetID, part.uOffset, hndTmp);
        }
    }
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodePhysicsPath(unsigned int uAssetID, const VOWCHAR* pszPhysicsPath)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySetText(pszFunction, uAssetID, "pszPhysicsPath && *pszPhysicsPath", pszPhysicsPath))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, hStrPhysicsPath), INVALID_HANDLE_VALUE);
    void* const hPhysicsPath = m_pkStringSet->Insert(pszPhysicsPath);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrPhysicsPath), hPhysicsPath);
    return VO_STEP(INVALID_HANDLE_VALUE != hPhysicsPath);
}

int VOTSAssetNodeContainer::SetAssetNodeClassifyType(unsigned int uAssetID, int nClassifyType,
                                                     const VOWCHAR* pszClassifyName)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySetText(pszFunction, uAssetID, "pszClassifyName && *pszClassifyName", pszClassifyName))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nClassifyType), -1);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrClassifyName), INVALID_HANDLE_VALUE);
    void* const hClassify = m_pkStringSet->Insert(pszClassifyName);
    if (!VO_STEP(INVALID_HANDLE_VALUE != hClassify))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nClassifyType), nClassifyType);
    _StoreField(uAssetID, offsetof(structAssetNode, hStrClassifyName), hClassify);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeFolder(unsigned int uAssetID, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, bFolder), bFolder));
}

int VOTSAssetNodeContainer::SetAssetNodeFileAttribute(unsigned int uAssetID, unsigned long long ullFileSize,
                                                      long long ftCreateTime, long long ftLastAccessTime,
                                                      long long ftLastWriteTime, unsigned int nFileAttribute)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, ullFileSize), ullFileSize),
                      Field(offsetof(structAssetNode, ftCreateTime), ftCreateTime),
                      Field(offsetof(structAssetNode, ftLastAccessTime), ftLastAccessTime),
                      Field(offsetof(structAssetNode, ftLastWriteTime), ftLastWriteTime),
                      Field(offsetof(structAssetNode, nFileAttribute), nFileAttribute));
}

int VOTSAssetNodeContainer::SetAssetNodeParentIndex(unsigned int uAssetID, unsigned int uParentIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, nParentID), uParentIndex));
}

int VOTSAssetNodeContainer::SetAssetNodeChildIndex(unsigned int uAssetID,
                                                   const std::vector<unsigned int>& vecChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    std::vector<unsigned int> vecFileIndex;
    std::vector<unsigned int> vecFolderIndex;
    structAssetNode tsNode;
    if (!_MaySet(pszFunction, uAssetID))
    {
        return 0;
    }
    for (const unsigned int uChildIndex : vecChildIndex)
    {
        if (!VO_STEP(uChildIndex < m_vecAssetNode.Count()))
        {
            return 0;
        }
        const bool bFolder = _ChildInfoOffset(uChildIndex) == offsetof(structAssetNode, nChildFolderInfo);
        (bFolder ? vecFolderIndex : vecFileIndex).push_back(uChildIndex);
    }

    // Each list stands in the node, or its absence, before the next one is made.
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFileInfo), kNone);
    if (!vecFileIndex.empty() && !VO_STEP(m_pkAssetIndexContainer->InsertNumber(vecFileIndex, tsNode.nChildFileInfo)))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFileInfo), tsNode.nChildFileInfo);
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFolderInfo), kNone);
    if (!vecFolderIndex.empty() &&
        !VO_STEP(m_pkAssetIndexContainer->InsertNumber(vecFolderIndex, tsNode.nChildFolderInfo)))
    {
        return 0;
    }
    _StoreField(uAssetID, offsetof(structAssetNode, nChildFolderInfo), tsNode.nChildFolderInfo);
    return 1;
}

int VOTSAssetNodeContainer::SetAssetNodeChildIndex(unsigned int uAssetID, unsigned int uFolderInfo,
                                                   unsigned int uFileInfo)
{
    VO_NAMED_FUNCTION(pszFunction);
    return _SetFields(pszFunction, uAssetID, Field(offsetof(structAssetNode, nChildFolderInfo), uFolderInfo),
                      Field(offsetof(structAssetNode, nChildFileInfo), uFileInfo));
}

int VOTSAssetNodeContainer::InsertAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySetChild(pszFunction, uAssetID, uChildIndex))
    {
        return 0;
    }
    const size_t uInfoOffset = _ChildInfoOffset(uChildIndex);
    const unsigned int uInfoID = VOLoad<unsigned int>(m_vecAssetNode.Bytes(uAssetID) + uInfoOffset);
    unsigned int uTmpInfo = uInfoID;
    if (uInfoID == kNone)
    {
        const std::vector<unsigned int> vecInsert(1, uChildIndex);
        if (!VO_STEP(m_pkAssetIndexContainer->InsertNumber(vecInsert, uTmpInfo)))
        {
            return 0;
        }
    }
    else if (!VO_STEP(m_pkAssetIndexContainer->InsertNumber(uInfoID, uChildIndex, uTmpInfo)))
    {
        return 0;
    }
    // The list may have moved.
    _StoreField(uAssetID, uInfoOffset, uTmpInfo);
    return 1;
}

int VOTSAssetNodeContainer::InsertAssetNodeChildBefore(unsigned int uAssetID, unsigned int uChildIndex,
                                                       unsigned int uBefore)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySetChild(pszFunction, uAssetID, uChildIndex))
    {
        return 0;
    }
    const size_t uInfoOffset = _ChildInfoOffset(uChildIndex);
    const unsigned int uInfoID = VOLoad<unsigned int>(m_vecAssetNode.Bytes(uAssetID) + uInfoOffset);
    unsigned int uTmpInfo = uInfoID;
    const bool bEntered =
        uInfoID == kNone
            ? VO_STEP(uBefore == kNone) && VO_STEP(m_pkAssetIndexContainer->InsertNumber({uChildIndex}, uTmpInfo))
            : VO_STEP(m_pkAssetIndexContainer->InsertNumberBefore(uInfoID, uChildIndex, uBefore, uTmpInfo));
    if (bEntered)
    {
        // The list may have moved.
        _StoreField(uAssetID, uInfoOffset, uTmpInfo);
    }
    return bEntered;
}

int VOTSAssetNodeContainer::RemoveAssetNodeChildIndex(unsigned int uAssetID, unsigned int uChildIndex)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_MaySetChild(pszFunction, uAssetID, uChildIndex))
    {
        return 0;
    }
    const structAssetNode tsNode = VOLoad<structAssetNode>(m_vecAssetNode.Bytes(uAssetID));
    return _ChildInfoOffset(uChildIndex) == offsetof(structAssetNode, nChildFolderInfo)
               ? VO_STEP(tsNode.nChildFolderInfo != UINT(-1)) &&
                     VO_STEP(m_pkAssetIndexContainer->RemoveNumber(tsNode.nChildFolderInfo, uChildIndex))
               : VO_STEP(tsNode.nChildFileInfo != UINT(-1)) &&
                     VO_STEP(m_pkAssetIndexContainer->RemoveNumber(tsNode.nChildFileInfo, uChildIndex));
}

// Which of a parent's two lists a child belongs to.
size_t VOTSAssetNodeContainer::_ChildInfoOffset(unsigned int uChildIndex) const
{
    const int bFolder = VOLoad<int>(m_vecAssetNode.Bytes(uChildIndex) + offsetof(structAssetNode, bFolder));
    return bFolder != 0 ? offsetof(structAssetNode, nChildFolderInfo) : offsetof(structAssetNode, nChildFileInfo);
}
