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
    int bStop = 0;
    return VO_STEP(m_pkAssetNodeContainer) &&
           VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(m_pkAssetNodeContainer, uAssetIndex, dwType,
                                                                           bSubAssetNode, pFun, pvParam, bStop));
}

int VOTSFileMappingInspector::TraverseAssetNode_AssetMerge(unsigned int uAssetIndex, unsigned int uAssetMerge,
                                                           int bSubAssetNode, TraverseAssetNodeFunction pFun,
                                                           void* pvParam) const
{
    int bStop = 0;
    AssetMergeInfo about = {uAssetMerge, pFun, pvParam, m_pkAssetNodeContainer};
    (void)(VO_STEP(m_pkAssetNodeContainer) && VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
                                                  m_pkAssetNodeContainer, uAssetIndex, NT_FILE, bSubAssetNode,
                                                  TraverseAssetNodeInernal_AssetMerge, &about, bStop)));
    // Alone among its siblings this walk has no success value: callers look at what their callback got.
    return 0;
}

int VOTSFileMappingInspector::TraverseAssetNode_FileName(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext,
                                                         int bMatchCase, VOULONG dwType, int bSubAssetNode,
                                                         TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int bStop = 0;
    AssetNameInfo about = NameInfoOf(pszSourceContext, bMatchCase, pFun, pvParam, m_pkAssetNodeContainer);
    return VO_STEP(m_pkAssetNodeContainer) && VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
                                                  m_pkAssetNodeContainer, uAssetIndex, dwType, bSubAssetNode,
                                                  TraverseAssetNodeInernal_FileName, &about, bStop));
}

int VOTSFileMappingInspector::TraverseAssetNode_Extension(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext,
                                                          int bMatchCase, int bSubAssetNode,
                                                          TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int bStop = 0;
    AssetNameInfo about = NameInfoOf(pszSourceContext, bMatchCase, pFun, pvParam, m_pkAssetNodeContainer);
    return VO_STEP(m_pkAssetNodeContainer) && VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
                                                  m_pkAssetNodeContainer, uAssetIndex, NT_FILE, bSubAssetNode,
                                                  TraverseAssetNodeInernal_Extension, &about, bStop));
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_AssetMerge(const structAssetNode& tsNode, void* pvParam,
                                                                  int& bStop)
{
    const AssetMergeInfo* pvAssetMergeInfo = static_cast<const AssetMergeInfo*>(pvParam);
    if (!VO_STEP(pvAssetMergeInfo) || !VO_STEP(pvAssetMergeInfo->pTraverseFun))
    {
        return 0;
    }
    if ((tsNode.uAssetMerge & pvAssetMergeInfo->uAssetMerge) != 0)
    {
        pvAssetMergeInfo->pTraverseFun(tsNode, pvAssetMergeInfo->pvParam, bStop);
    }
    return 1;
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_FileName(const structAssetNode& tsNode, void* pvParam,
                                                                int& bStop)
{
    const AssetNameInfo* pvFileNameInfo = static_cast<const AssetNameInfo*>(pvParam);
    if (!VO_STEP(pvFileNameInfo) || !VO_STEP(pvFileNameInfo->pTraverseFun) ||
        !VO_STEP(pvFileNameInfo->pAssetNodeContainer) || !VO_STEP(tsNode.hStrBaseName != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    const VOWCHAR* const pszAssetNodeName = pvFileNameInfo->pAssetNodeContainer->GetString(tsNode.hStrBaseName);
    if (!VO_STEP(pszAssetNodeName))
    {
        return 0;
    }
    const SourceContext context(*pvFileNameInfo);
    const bool bHit = (pvFileNameInfo->bMatchCase != 0 ? StrStrW(pszAssetNodeName, context.szText)
                                                       : StrStrIW(pszAssetNodeName, context.szText)) != nullptr;
    if (bHit)
    {
        pvFileNameInfo->pTraverseFun(tsNode, pvFileNameInfo->pvParam, bStop);
    }
    return 1;
}

int VOTSFileMappingInspector::TraverseAssetNodeInernal_Extension(const structAssetNode& tsNode, void* pvParam,
                                                                 int& bStop)
{
    const AssetNameInfo* pvExtensionInfo = static_cast<const AssetNameInfo*>(pvParam);
    if (!VO_STEP(pvExtensionInfo) || !VO_STEP(pvExtensionInfo->pTraverseFun) ||
        !VO_STEP(pvExtensionInfo->pAssetNodeContainer) || !VO_STEP(tsNode.hStrExtension != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    const VOWCHAR* const pszAssetExt = pvExtensionInfo->pAssetNodeContainer->GetString(tsNode.hStrExtension);
    if (!VO_STEP_AS("pszAssetExt && *pszAssetExt", VOHasText(pszAssetExt)) ||
        !VO_STEP_AS("pszSourceContext && *pszSourceContext", VOHasText(pvExtensionInfo->pszSourceContext)))
    {
        return 0;
    }
    // Splitting destroys the text, so each node has a copy of its own.
    VOWCHAR szTokens[kTokenBufferSize] = {};
    VOWCHAR* pszContext = nullptr;
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
    return 1;
}
