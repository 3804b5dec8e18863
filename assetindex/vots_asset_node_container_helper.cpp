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

// What the four Request operations begin with. False where they end, with nResult: a node that was there already is
// left as it is, with success.
bool BeginRequest(const char* pszFunction, structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                  const VOWCHAR* pszPath, int bFolder, VOWCHAR* szPathTmp, int& nResult)
{
    bool bNew = false;
    int bInserted = 0;
    nResult = 0;
    VO_PROCESS_ERROR_IN(pszFunction, pkContainer);
    VO_PROCESS_ERROR_IN(pszFunction, pkContainer->RequestAssetNode(pszPath, tsNode, bInserted));
    nResult = bInserted != 0 ? 1 : 0;
    if (bInserted == 0)
    {
        VO_PROCESS_ERROR_IN(pszFunction, pkContainer->NormailzeAssetPath(szPathTmp, pszPath, MAX_PATH, FALSE));
        tsNode.bFolder = bFolder;
        pkContainer->SetAssetNodeFolder(tsNode.nAssetID, tsNode.bFolder);
        bNew = true;
    }

Exit0:
    return bNew;
}

}  // namespace

int VOTSAssetNodeContainerHelper::RequestLocalAssetNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    VOWCHAR szPathTmp[MAX_PATH];
    if (!BeginRequest(pszFunction, tsNode, pkContainer, pszPath, bFolder, szPathTmp, nResult))
    {
        return nResult;
    }
    VO_PROCESS_ERROR(SetAssetNodeAssetFrom(tsNode, pkContainer, eaf));
    VO_PROCESS_ERROR(SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp));
    VO_PROCESS_ERROR(SetAssetNodeClassifyType(tsNode, pkContainer));
    VO_PROCESS_ERROR(SetAssetNodeLocalFileAttribute(tsNode, pkContainer, eaf, szPathTmp));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::RequestPakAssetNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                      const VOWCHAR* pszPath, const structAssetNode& tsCacheNode)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    VOWCHAR szPathTmp[MAX_PATH];
    if (!BeginRequest(pszFunction, tsNode, pkContainer, pszPath, tsCacheNode.bFolder, szPathTmp, nResult))
    {
        return nResult;
    }
    VO_PROCESS_ERROR(SetAssetNodeAssetFrom(tsNode, pkContainer, LUMTrayService::AF_PAKV4));
    VO_PROCESS_ERROR(SetAssetNodePakFileAttribute(tsNode, pkContainer, tsCacheNode));
    VO_PROCESS_ERROR(SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp));
    VO_PROCESS_ERROR(SetAssetNodeClassifyType(tsNode, pkContainer));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::RequestHttpFileNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                      enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    VOWCHAR szPathTmp[MAX_PATH];
    if (!BeginRequest(pszFunction, tsNode, pkContainer, pszPath, bFolder, szPathTmp, nResult))
    {
        return nResult;
    }
    VO_PROCESS_ERROR(SetAssetNodeAssetFrom(tsNode, pkContainer, eaf));
    VO_PROCESS_ERROR(SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp));
    VO_PROCESS_ERROR(SetAssetNodeClassifyType(tsNode, pkContainer));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::RequestAssetMergeNode(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf, unsigned int uAssetMerge,
                                                        const VOWCHAR* pszPath, int bFolder)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    VOWCHAR szPathTmp[MAX_PATH];
    if (!BeginRequest(pszFunction, tsNode, pkContainer, pszPath, bFolder, szPathTmp, nResult))
    {
        return nResult;
    }
    VO_PROCESS_ERROR(SetAssetNodeAssetFrom(tsNode, pkContainer, eaf));
    VO_PROCESS_ERROR(SetAssetNodeAssetMergeSign(tsNode, pkContainer, uAssetMerge));
    VO_PROCESS_ERROR(SetAssetNodeStripPath(tsNode, pkContainer, szPathTmp));
    VO_PROCESS_ERROR(SetAssetNodeClassifyType(tsNode, pkContainer));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::SetAssetNodeAssetFrom(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                        enumAssetFrom eaf)
{
    int nResult = 0;
    VO_PROCESS_ERROR(pkContainer);
    VO_PROCESS_ERROR(pkContainer->SetAssetNodeAssetFrom(tsNode.nAssetID, eaf));
    VO_PROCESS_ERROR(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::SetAssetNodeAssetMergeSign(structAssetNode& tsNode,
                                                             VOTSAssetNodeContainer* pkContainer,
                                                             unsigned int uAssetMerge)
{
    int nResult = 0;
    VO_PROCESS_ERROR(pkContainer);
    VO_PROCESS_ERROR(pkContainer->SetAssetNodeAssetMergeSign(tsNode.nAssetID, uAssetMerge));
    VO_PROCESS_ERROR(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainerHelper::SetAssetNodePhysicsPath(structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                                          const VOWCHAR* pszPhysicsPath)
{
    int nResult = 0;
    VO_PROCESS_ERROR_AS("pszPhysicsPath && *pszPhysicsPath", VOHasText(pszPhysicsPath));
    VO_PROCESS_ERROR(pkContainer);
    VO_PROCESS_ERROR(pkContainer->SetAssetNodePhysicsPath(tsNode.nAssetID, pszPhysicsPath));
    VO_PROCESS_ERROR(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    nResult = 1;

Exit0:
    return nResult;
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
    int nResult = 0;
    int nClassifyType = -1;
    const VOWCHAR* pszExt = nullptr;
    VOWCHAR szClassifyName[LENGTH_OF_CLASSIFYNAME] = {};
    VO_PROCESS_ERROR(pkContainer);
    if (tsNode.bFolder == 0 && tsNode.hStrExtension != INVALID_HANDLE_VALUE)
    {
        pszExt = pkContainer->GetString(tsNode.hStrExtension);
        VO_PROCESS_ERROR(pszExt);
        VO_PROCESS_ERROR(pkContainer->GetClassifyTypeByExtension(pszExt, nClassifyType));
        VO_PROCESS_ERROR(pkContainer->GetClassifyName(nClassifyType, szClassifyName));
        VO_PROCESS_ERROR(pkContainer->SetAssetNodeClassifyType(tsNode.nAssetID, nClassifyType, szClassifyName));
        VO_PROCESS_ERROR(pkContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    }
    nResult = 1;

Exit0:
    return nResult;
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
    int nResult = 0;
    VO_PROCESS_ERROR(pikContainer);
    // Without a lasting effect: what is stored, and read back, is the value of tsNodeParam.
    tsNode.nFileAttribute &= ~LUMTrayService::kFileAttributeLocal;
    VO_PROCESS_ERROR(pikContainer->SetAssetNodeFolder(tsNode.nAssetID, tsNodeParam.bFolder));
    VO_PROCESS_ERROR(pikContainer->SetAssetNodeFileAttribute(tsNode.nAssetID, tsNodeParam.ullFileSize,
                                                             tsNodeParam.ftCreateTime, tsNodeParam.ftLastAccessTime,
                                                             tsNodeParam.ftLastWriteTime, tsNodeParam.nFileAttribute));
    VO_PROCESS_ERROR(pikContainer->GetAssetNode(tsNode.nAssetID, tsNode));
    nResult = 1;

Exit0:
    return nResult;
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
