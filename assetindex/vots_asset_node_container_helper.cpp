// The operations that fill a node. They keep tsNode in step with the container by reading the node back after each
// change; the one exception says so.
#include "vots_asset_node_container_helper.h"

#include "containers/text_access.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

using LUMTrayService::enumAssetFrom;
using LUMTrayService::structAssetNode;

namespace
{

// Bits of the system's attribute word.
constexpr unsigned int kSystemReadOnly = 1;
constexpr unsigned int kSystemHidden = 2;

// "%s/%s" into MAX_PATH characters, negative if it doesn't fit: the platform's formatter may end the process for that.
int JoinPath(VOWCHAR* tszFullPath, const VOWCHAR* pszFromDir, const VOWCHAR* pszPath)
{
    return lstrlenW(pszFromDir) + 1 + lstrlenW(pszPath) < MAX_PATH
               ? ::_stprintf_s(tszFullPath, MAX_PATH, VOTEXT("%s/%s"), pszFromDir, pszPath)
               : -1;
}

// What the four Request operations do: a new node is filled, with its path as it is told; a node that was there already
// is left as it is, with success.
template <typename Fill>
int RequestNode(const char* pszFunction, structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                const VOWCHAR* pszPath, int bFolder, Fill fill)
{
    int bInserted = 0;
    VOWCHAR szPathTmp[MAX_PATH];
    if (!VO_STEP_IN(pszFunction, pkContainer) ||
        !VO_STEP_IN(pszFunction, pkContainer->RequestAssetNode(pszPath, tsNode, bInserted)))
    {
        return 0;
    }
    if (bInserted != 0)
    {
        return 1;
    }
    if (!VO_STEP_IN(pszFunction, pkContainer->NormailzeAssetPath(szPathTmp, pszPath, MAX_PATH, FALSE)))
    {
        return 0;
    }
    tsNode.bFolder = bFolder;
    pkContainer->SetAssetNodeFolder(tsNode.nAssetID, tsNode.bFolder);
    return fill(szPathTmp);
}

}  // namespace

int VOTSAssetNodeContainerHelper::RequestLocalAssetNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto Fill = [&](const VOWCHAR* szPathTmp)
    {
        return VO_STEP_IN(pszFunction, SetAssetNodeAssetFrom(tsNode, pkContainer, eaf)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeClassifyType(tsNode, pkContainer)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeLocalFileAttribute(tsNode, pkContainer, eaf, szPathTmp));
    };
    return RequestNode(pszFunction, tsNode, pkContainer, pszPath, bFolder, Fill);
}

int VOTSAssetNodeContainerHelper::RequestPakAssetNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                      const VOWCHAR* pszPath, const structAssetNode& tsCacheNode)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto Fill = [&](const VOWCHAR* szPathTmp)
    {
        return VO_STEP_IN(pszFunction, SetAssetNodeAssetFrom(tsNode, pkContainer, LUMTrayService::AF_PAKV4)) &&
               VO_STEP_IN(pszFunction, SetAssetNodePakFileAttribute(tsNode, pkContainer, tsCacheNode)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeClassifyType(tsNode, pkContainer));
    };
    return RequestNode(pszFunction, tsNode, pkContainer, pszPath, tsCacheNode.bFolder, Fill);
}

int VOTSAssetNodeContainerHelper::RequestHttpFileNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                      enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto Fill = [&](const VOWCHAR* szPathTmp)
    {
        return VO_STEP_IN(pszFunction, SetAssetNodeAssetFrom(tsNode, pkContainer, eaf)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeClassifyType(tsNode, pkContainer));
    };
    return RequestNode(pszFunction, tsNode, pkContainer, pszPath, bFolder, Fill);
}

int VOTSAssetNodeContainerHelper::RequestAssetMergeNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf, unsigned int uAssetMerge,
                                                        const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto Fill = [&](const VOWCHAR* szPathTmp)
    {
        return VO_STEP_IN(pszFunction, SetAssetNodeAssetFrom(tsNode, pkContainer, eaf)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeAssetMergeSign(tsNode, pkContainer, uAssetMerge)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp)) &&
               VO_STEP_IN(pszFunction, SetAssetNodeClassifyType(tsNode, pkContainer));
    };
    return RequestNode(pszFunction, tsNode, pkContainer, pszPath, bFolder, Fill);
}

int VOTSAssetNodeContainerHelper::SetAssetNodeAssetFrom(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf)
{
    return VO_STEP(pkContainer) && VO_STEP(pkContainer->SetAssetNodeAssetFrom(tsNode.nAssetID, eaf)) &&
           VO_STEP(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
}

int VOTSAssetNodeContainerHelper::SetAssetNodeAssetMergeSign(structAssetNode& tsNode,
                                                             VOTSAssetNodeContainer* pkContainer,
                                                             unsigned int uAssetMerge)
{
    return VO_STEP(pkContainer) && VO_STEP(pkContainer->SetAssetNodeAssetMergeSign(tsNode.nAssetID, uAssetMerge)) &&
           VO_STEP(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
}

int VOTSAssetNodeContainerHelper::SetAssetNodePhysicsPath(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                          const VOWCHAR* pszPhysicsPath)
{
    return VO_STEP_AS("pszPhysicsPath && *pszPhysicsPath", VOHasText(pszPhysicsPath)) && VO_STEP(pkContainer) &&
           VO_STEP(pkContainer->SetAssetNodePhysicsPath(tsNode.nAssetID, pszPhysicsPath)) &&
           VO_STEP(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
}

int VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        const VOWCHAR* pszPath)
{
    int nResult = 0;
    int nLen = 0;
    VOWCHAR szComponent[MAX_PATH] = {};
    VOWCHAR szBaseName[MAX_PATH] = {};
    VOWCHAR szExt[MAX_PATH] = {};
    VO_PROCESS_ERROR_AS("pszPath && *pszPath", VOHasText(pszPath));
    VO_PROCESS_ERROR(pkContainer);
    nLen = lstrlenW(pszPath);
    VO_PROCESS_ERROR(nLen < MAX_PATH);

    ParseDir(szComponent, pszPath, nLen);
    if (tsNode.bFolder == 0)
    {
        ParseExtension(szExt, pszPath, nLen);
    }
    ParseBaseName(szBaseName, pszPath, nLen, szExt);
    VO_PROCESS_ERROR(pkContainer->SetAssetNodeStripPath(tsNode.nAssetID, szComponent, szBaseName, szExt));
    VO_PROCESS_ERROR(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::SetAssetNodeClassifyType(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer)
{
    if (!VO_STEP(pkContainer))
    {
        return 0;
    }
    if (tsNode.bFolder != 0 || tsNode.hStrExtension == INVALID_HANDLE_VALUE)
    {
        return 1;
    }
    int nClassifyType = -1;
    VOWCHAR szClassifyName[LENGTH_OF_CLASSIFYNAME] = {};
    const VOWCHAR* const pszExt = pkContainer->GetString(tsNode.hStrExtension);
    return VO_STEP(pszExt) && VO_STEP(pkContainer->GetClassifyTypeByExtension(pszExt, nClassifyType)) &&
           VO_STEP(pkContainer->GetClassifyName(nClassifyType, szClassifyName)) &&
           VO_STEP(pkContainer->SetAssetNodeClassifyType(tsNode.nAssetID, nClassifyType, szClassifyName)) &&
           VO_STEP(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
}

int VOTSAssetNodeContainerHelper::SetAssetNodeLocalFileAttribute(structAssetNode& tsNode,
                                                                 VOTSAssetNodeContainer* pkContainer, enumAssetFrom,
                                                                 const VOWCHAR* pszPath)
{
    int nResult = 0;
    const VOWCHAR* pszFromDir = nullptr;
    VOWCHAR tszFullPath[MAX_PATH];
    structAssetNode tsAttributeNode;
    VO_PROCESS_ERROR_AS("pszPath && *pszPath", VOHasText(pszPath));
    VO_PROCESS_ERROR(pkContainer);
    pszFromDir = pkContainer->GetRootPath();
    VO_PROCESS_ERROR_AS("pszFromDir && *pszFromDir", VOHasText(pszFromDir));
    VO_COM_PROCESS_ERROR_AS("::_stprintf_s(tszFullPath, MAX_PATH, _T(\"%s/%s\"), pszFromDir, pszPath)",
                            JoinPath(tszFullPath, pszFromDir, pszPath));

    // The node isn't read back here: callers that want size and times ask the container.
    GetAssetNodeFileAttribute(tsAttributeNode, tszFullPath);
    VO_PROCESS_ERROR_AS(
        "pkContainer->SetAssetNodeFileAttribute( tsNode.nAssetID, tsAttributeNode.ullFileSize, "
        "tsAttributeNode.ftCreateTime, tsAttributeNode.ftLastAccessTime, tsAttributeNode.ftLastWriteTime, "
        "tsAttributeNode.nFileAttribute)",
        pkContainer->SetAssetNodeFileAttribute(tsNode.nAssetID, tsAttributeNode.ullFileSize,
                                               tsAttributeNode.ftCreateTime, tsAttributeNode.ftLastAccessTime,
                                               tsAttributeNode.ftLastWriteTime, tsAttributeNode.nFileAttribute));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::SetAssetNodePakFileAttribute(structAssetNode& tsNode,
                                                               VOTSAssetNodeContainer* pikContainer,
                                                               const structAssetNode& tsNodeParam)
{
    if (!VO_STEP(pikContainer))
    {
        return 0;
    }
    // Without a lasting effect: what is stored, and read back, is the value of tsNodeParam.
    tsNode.nFileAttribute &= ~LUMTrayService::kFileAttributeLocal;
    return VO_STEP(pikContainer->SetAssetNodeFolder(tsNode.nAssetID, tsNodeParam.bFolder)) &&
           VO_STEP(pikContainer->SetAssetNodeFileAttribute(tsNode.nAssetID, tsNodeParam.ullFileSize,
                                                           tsNodeParam.ftCreateTime, tsNodeParam.ftLastAccessTime,
                                                           tsNodeParam.ftLastWriteTime, tsNodeParam.nFileAttribute)) &&
           VO_STEP(pikContainer->GetAssetNode(tsNode.nAssetID, tsNode));
}

int VOTSAssetNodeContainerHelper::GetAssetNodeFileAttribute(structAssetNode& tsNode, const VOWCHAR* pszPath)
{
    // All bytes become zero here, not the defaults of a node.
    memset(static_cast<void*>(&tsNode), 0, sizeof(tsNode));

    struct _wfinddata64i32_t findData = {};
    const intptr_t hFind = VOHasText(pszPath) ? _wfindfirst64i32(pszPath, &findData) : -1;
    if (hFind != 0)
    {
        // A failed find comes as -1: then the fields are those of empty find data.
        tsNode.ftCreateTime = findData.time_create;
        tsNode.ftLastAccessTime = findData.time_access;
        tsNode.ftLastWriteTime = findData.time_write;
        tsNode.ullFileSize = findData.size;
        tsNode.nFileAttribute = LUMTrayService::kFileAttributeLocal;
        tsNode.nFileAttribute |= (findData.attrib & kSystemReadOnly) != 0 ? LUMTrayService::kFileAttributeReadOnly
                                                                          : LUMTrayService::kFileAttributeWritable;
        tsNode.nFileAttribute |= (findData.attrib & kSystemHidden) != 0 ? LUMTrayService::kFileAttributeHidden : 0;
        if (hFind != -1)
        {
            _findclose(hFind);
        }
    }
    return 1;
}
