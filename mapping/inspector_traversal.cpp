// The filtered walks of an inspector: a record on the caller's stack carries the filter through the container's walk.
#include "containers/text_access.h"
#include "diagnostics/check.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"

using LUMTrayService::structAssetNode;
using LUMTrayService::TraverseAssetNodeFunction;
using LUMTrayService::Inspector::NT_FILE;

namespace
{

constexpr unsigned int kContextSize = 100;   // characters of a filter's text, with its terminator
constexpr unsigned int kContextBound = 200;  // the bound at which the text is copied, wider than the field
constexpr unsigned int kTokenBufferSize = 260;

struct AssetMergeInfo
{
    unsigned int uAssetMerge;
    TraverseAssetNodeFunction pTraverseFun;
    void* pvParam;
    const VOTSAssetNodeContainer* pAssetNodeContainer;
};

struct AssetNameInfo
{
    VOWCHAR pszSourceContext[kContextSize];
    int bMatchCase;
    TraverseAssetNodeFunction pTraverseFun;
    void* pvParam;
    const VOTSAssetNodeContainer* pAssetNodeContainer;
};
static_assert(sizeof(AssetNameInfo) == 232 && offsetof(AssetNameInfo, bMatchCase) == 200);
constexpr unsigned int kReadableUnits = offsetof(AssetNameInfo, pTraverseFun) / sizeof(VOWCHAR);

// The text goes in at its wide bound, then the fields behind it replace what ran over them. So a text from 100
// characters on is cut by the fields, and what exceeds the record is dropped: tools keep their texts below that, and a
// longer one is searched for with what the fields leave of it.
AssetNameInfo NameInfoOf(const VOWCHAR* pszSourceContext, int bMatchCase, TraverseAssetNodeFunction pFun, void* pvParam,
                         const VOTSAssetNodeContainer* pkContainer)
{
    VOWCHAR szText[kContextBound] = {};
    StrCpyNW(szText, pszSourceContext, kContextBound);

    AssetNameInfo about;
    memcpy(static_cast<void*>(&about), szText, sizeof(about));
    about.bMatchCase = bMatchCase;
    about.pTraverseFun = pFun;
    about.pvParam = pvParam;
    about.pAssetNodeContainer = pkContainer;
    return about;
}

// The text as it reads from its field on: to its terminator, or to where the addresses begin. Those say nothing about
// the text and differ from run to run.
struct SourceContext
{
    VOWCHAR szText[kReadableUnits + 1];

    explicit SourceContext(const AssetNameInfo& about)
    {
        memcpy(szText, static_cast<const void*>(&about), kReadableUnits * sizeof(VOWCHAR));
        szText[kReadableUnits] = 0;
    }
};

}  // namespace

int VOTSFileMappingInspector::TraverseAssetNode(unsigned int uAssetIndex, VOULONG dwType, int bSubAssetNode,
                                                TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int nResult = 0;
    int bStop = 0;
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, dwType, bSubAssetNode, pFun, pvParam, bStop));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNode_AssetMerge(unsigned int uAssetIndex, unsigned int uAssetMerge,
                                                           int bSubAssetNode, TraverseAssetNodeFunction pFun,
                                                           void* pvParam) const
{
    int bStop = 0;
    AssetMergeInfo about = {uAssetMerge, pFun, pvParam, m_pkAssetNodeContainer};
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, NT_FILE, bSubAssetNode, TraverseAssetNodeInernal_AssetMerge, &about,
        bStop));

Exit0:
    // Alone among its siblings this walk has no success value: callers look at what their callback got.
    return 0;
}

int VOTSFileMappingInspector::TraverseAssetNode_FileName(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext,
                                                         int bMatchCase, VOULONG dwType, int bSubAssetNode,
                                                         TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int nResult = 0;
    int bStop = 0;
    AssetNameInfo about = NameInfoOf(pszSourceContext, bMatchCase, pFun, pvParam, m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, dwType, bSubAssetNode, TraverseAssetNodeInernal_FileName, &about, bStop));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNode_Extension(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext,
                                                          int bMatchCase, int bSubAssetNode,
                                                          TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int nResult = 0;
    int bStop = 0;
    AssetNameInfo about = NameInfoOf(pszSourceContext, bMatchCase, pFun, pvParam, m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(m_pkAssetNodeContainer);
    VO_PROCESS_ERROR(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, NT_FILE, bSubAssetNode, TraverseAssetNodeInernal_Extension, &about,
        bStop));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_AssetMerge(const structAssetNode& tsNode, void* pvParam,
                                                                  int& bStop)
{
    int nResult = 0;
    const AssetMergeInfo* pvAssetMergeInfo = static_cast<const AssetMergeInfo*>(pvParam);
    VO_PROCESS_ERROR(pvAssetMergeInfo);
    VO_PROCESS_ERROR(pvAssetMergeInfo->pTraverseFun);
    if ((tsNode.uAssetMerge & pvAssetMergeInfo->uAssetMerge) != 0)
    {
        pvAssetMergeInfo->pTraverseFun(tsNode, pvAssetMergeInfo->pvParam, bStop);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_FileName(const structAssetNode& tsNode, void* pvParam,
                                                                int& bStop)
{
    int nResult = 0;
    const AssetNameInfo* pvFileNameInfo = static_cast<const AssetNameInfo*>(pvParam);
    const VOWCHAR* pszAssetNodeName = nullptr;
    bool bHit = false;
    VO_PROCESS_ERROR(pvFileNameInfo);
    VO_PROCESS_ERROR(pvFileNameInfo->pTraverseFun);
    VO_PROCESS_ERROR(pvFileNameInfo->pAssetNodeContainer);
    VO_PROCESS_ERROR(tsNode.hStrBaseName != INVALID_HANDLE_VALUE);
    pszAssetNodeName = pvFileNameInfo->pAssetNodeContainer->GetString(tsNode.hStrBaseName);
    VO_PROCESS_ERROR(pszAssetNodeName);

    {
        const SourceContext context(*pvFileNameInfo);
        bHit = (pvFileNameInfo->bMatchCase != 0 ? StrStrW(pszAssetNodeName, context.szText)
                                                : StrStrIW(pszAssetNodeName, context.szText)) != nullptr;
    }
    if (bHit)
    {
        pvFileNameInfo->pTraverseFun(tsNode, pvFileNameInfo->pvParam, bStop);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_Extension(const structAssetNode& tsNode, void* pvParam,
                                                                 int& bStop)
{
    int nResult = 0;
    const AssetNameInfo* pvExtensionInfo = static_cast<const AssetNameInfo*>(pvParam);
    const VOWCHAR* pszAssetExt = nullptr;
    VOWCHAR* pszContext = nullptr;
    VOWCHAR szTokens[kTokenBufferSize] = {};
    VO_PROCESS_ERROR(pvExtensionInfo);
    VO_PROCESS_ERROR(pvExtensionInfo->pTraverseFun);
    VO_PROCESS_ERROR(pvExtensionInfo->pAssetNodeContainer);
    VO_PROCESS_ERROR(tsNode.hStrExtension != INVALID_HANDLE_VALUE);
    pszAssetExt = pvExtensionInfo->pAssetNodeContainer->GetString(tsNode.hStrExtension);
    VO_PROCESS_ERROR_AS("pszAssetExt && *pszAssetExt", VOHasText(pszAssetExt));
    VO_PROCESS_ERROR_AS("pszSourceContext && *pszSourceContext", VOHasText(pvExtensionInfo->pszSourceContext));

    // Splitting destroys the text, so each node has a copy of its own.
    lstrcpynW(szTokens, SourceContext(*pvExtensionInfo).szText, kTokenBufferSize);
    for (VOWCHAR* pszToken = wcstok_s(szTokens, VOTEXT("|"), &pszContext); pszToken != nullptr;
         pszToken = wcstok_s(nullptr, VOTEXT("|"), &pszContext))
    {
        const int nCompared =
            pvExtensionInfo->bMatchCase != 0 ? StrCmpW(pszAssetExt, pszToken) : StrCmpIW(pszAssetExt, pszToken);
        if (nCompared == 0)
        {
            pvExtensionInfo->pTraverseFun(tsNode, pvExtensionInfo->pvParam, bStop);
            break;
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}
