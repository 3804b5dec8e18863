// Rendering of paths, and the forwards to the child lists and the classify table.
#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

int VOTSAssetNodeContainer::GetAssetPath(unsigned int uAssetID, unsigned int nBufferSize, VOWCHAR* pszResult) const
{
    int nResult = 0;
    LUMTrayService::structAssetNode tsNode;
    const VOWCHAR* pszDir = nullptr;
    const VOWCHAR* pszBaseName = nullptr;
    const VOWCHAR* pszExt = nullptr;
    VO_PROCESS_ERROR(pszResult);
    VO_PROCESS_ERROR(nBufferSize);
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());

    tsNode = VOLoad<LUMTrayService::structAssetNode>(m_vecAssetNode.Bytes(uAssetID));
    pszBaseName = GetString(tsNode.hStrBaseName);
    VO_PROCESS_ERROR(pszBaseName);
    if (tsNode.hStrComponent != INVALID_HANDLE_VALUE)
    {
        pszDir = GetString(tsNode.hStrComponent);
        VO_PROCESS_ERROR(pszDir);
    }
    if (tsNode.hStrExtension != INVALID_HANDLE_VALUE)
    {
        pszExt = GetString(tsNode.hStrExtension);
        VO_PROCESS_ERROR(pszExt);
    }

    if (pszDir != nullptr && pszExt != nullptr)
    {
        VO_COM_PROCESS_ERROR(
            ::StringCchPrintf(pszResult, nBufferSize, VOTEXT("%s/%s.%s"), pszDir, pszBaseName, pszExt));
    }
    else if (pszDir != nullptr)
    {
        VO_COM_PROCESS_ERROR(::StringCchPrintf(pszResult, nBufferSize, VOTEXT("%s/%s"), pszDir, pszBaseName));
    }
    else if (pszExt != nullptr)
    {
        VO_COM_PROCESS_ERROR(::StringCchPrintf(pszResult, nBufferSize, VOTEXT("%s.%s"), pszBaseName, pszExt));
    }
    else
    {
        VO_COM_PROCESS_ERROR(::StringCchPrintf(pszResult, nBufferSize, VOTEXT("%s"), pszBaseName));
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::GetAssetAbsolutePath(unsigned int uAssetID, unsigned int nBufferSize,
                                                 VOWCHAR* pszResult) const
{
    int nResult = 0;
    const VOWCHAR* pszFromDir = nullptr;
    VOWCHAR szPathTmp[MAX_PATH];
    VO_PROCESS_ERROR(pszResult);
    VO_PROCESS_ERROR(nBufferSize);
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());

    pszFromDir = GetRootPath();
    VO_PROCESS_ERROR(pszFromDir);
    VO_PROCESS_ERROR(GetAssetPath(uAssetID, MAX_PATH, szPathTmp));
    VO_COM_PROCESS_ERROR(::StringCchPrintf(pszResult, nBufferSize, VOTEXT("%s/%s"), pszFromDir, szPathTmp));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::GetInfoNumberList(unsigned int uInfoID, std::vector<unsigned int>& vecNumber) const
{
    return VO_STEP(m_pkAssetIndexContainer) && VO_STEP(uInfoID < m_pkAssetIndexContainer->GetValueCount()) &&
           VO_STEP(m_pkAssetIndexContainer->GetNumberList(uInfoID, vecNumber));
}

unsigned int VOTSAssetNodeContainer::GetInfoNumberFromIndex(unsigned int uInfoID, unsigned int uIndex) const
{
    unsigned int uResult = UINT(-1);
    (void)(VO_STEP(m_pkAssetIndexContainer) &&
           VO_STEP_AS("m_pkAssetIndexContainer->GetNumber(uInfoID, uIndex, uResult)",
                      m_pkAssetIndexContainer->GetNumber(uInfoID, static_cast<int>(uIndex), uResult)));
    return uResult;
}

unsigned int VOTSAssetNodeContainer::GetInfoNumberCount(unsigned int uInfoID) const
{
    unsigned int uResult = 0;
    (void)(VO_STEP(m_pkAssetIndexContainer) && VO_STEP(m_pkAssetIndexContainer->GetNumberCount(uInfoID, uResult)));
    return uResult;
}

int VOTSAssetNodeContainer::InsertClassifyType(int nClassifyType, const VOWCHAR* pszClassifyName,
                                               const VOWCHAR* pszExtensions, const LUMTrayService::Color& rkTypeColor,
                                               const LUMTrayService::Color& rkBackgroundColor)
{
    _NoteWhole();
    return VO_STEP(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) && VO_STEP(m_pkClassifyMgr) &&
           m_pkClassifyMgr->InsertClassifyType(nClassifyType, pszClassifyName, pszExtensions, rkTypeColor,
                                               rkBackgroundColor);
}

int VOTSAssetNodeContainer::BuildUpExtensionsHash()
{
    _NoteWhole();
    return VO_STEP(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) && VO_STEP(m_pkClassifyMgr) &&
           m_pkClassifyMgr->BuildUpExtensionsHash();
}

int VOTSAssetNodeContainer::GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyTypeByExtension(pszExt, nResult);
}

int VOTSAssetNodeContainer::GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyTypeByName(pszClassifyName, nResult);
}

int VOTSAssetNodeContainer::GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyName(nClassifyType, pszResult);
}

int VOTSAssetNodeContainer::GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyTypeColor(nClassifyType, rkResult);
}

int VOTSAssetNodeContainer::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyBackgroundColor(nClassifyType, rkResult);
}

int VOTSAssetNodeContainer::GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const
{
    return VO_STEP(m_pkClassifyMgr) && m_pkClassifyMgr->GetClassifyExtensions(nClassifyType, pszResult);
}
