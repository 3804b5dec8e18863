// The filtered walks of an inspector: a record on the caller's stack carries the filter through the container's walk.
// Where the container has an index of the names, only those nodes are shown to the filter that it may have something to
// say about: what it calls, and what it writes to the log, is the same.
#include <algorithm>

#include "assetindex/name_index.h"
#include "containers/text_access.h"
#include "diagnostics/check.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"

using LUMTrayService::structAssetNode;
using LUMTrayService::TraverseAssetNodeFunction;
using LUMTrayService::Inspector::NT_FILE;
using LUMTrayService::Inspector::NT_FOLDER;

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
    unsigned int uShown;  // nodes
};
static_assert(sizeof(AssetNameInfo) == 240 && offsetof(AssetNameInfo, bMatchCase) == 200 &&
              offsetof(AssetNameInfo, pTraverseFun) == 208);
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
    about.uShown = 0;
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

// Whether a file's extension is one of those of the list.
bool IsInList(const VOWCHAR* pszAssetExt, const AssetNameInfo& about)
{
    // Splitting destroys the text, so each file has a copy of its own.
    VOWCHAR szTokens[kTokenBufferSize] = {};
    VOWCHAR* pszContext = nullptr;
    lstrcpynW(szTokens, SourceContext(about).szText, kTokenBufferSize);
    for (VOWCHAR* pszToken = wcstok_s(szTokens, VOTEXT("|"), &pszContext); pszToken != nullptr;
         pszToken = wcstok_s(nullptr, VOTEXT("|"), &pszContext))
    {
        if ((about.bMatchCase != 0 ? StrCmpW(pszAssetExt, pszToken) : StrCmpIW(pszAssetExt, pszToken)) == 0)
        {
            return true;
        }
    }
    return false;
}

// A search below a node, over what the index has for it instead of over all nodes. Under a trace the walk itself runs,
// for its lines; so it does without a callback, when each node costs a line.
class IndexedSearch
{
public:
    IndexedSearch(AssetNameInfo& about, unsigned int uAssetIndex, int bSubAssetNode,
                  TraverseAssetNodeFunction pfnFilter, int& bStop)
        : m_about(about), m_pfnFilter(pfnFilter), m_bStop(bStop)
    {
        if (bSubAssetNode != 0 && about.pTraverseFun != nullptr && !VO_TRACE_IS_OPEN())
        {
            m_pIndex = VONameIndex::Of(*about.pAssetNodeContainer, uAssetIndex, m_below);
        }
    }

    // False when the walk has to do it, and nothing was called yet.
    bool ByName(VOULONG dwType)
    {
        if (m_pIndex == nullptr)
        {
            return false;
        }
        VONameSearch search(*m_pIndex, m_below, SourceContext(m_about).szText, m_about.bMatchCase != 0);
        return search.CanTell() && _Show(search, dwType);
    }

    bool ByExtension()
    {
        if (m_pIndex == nullptr || m_about.pszSourceContext[0] == 0)
        {
            return false;
        }
        VONameIndex::Kinds wanted;
        wanted.set(VONameIndex::kAsk);
        size_t uKind = 0;
        for (void* const hExtension : m_pIndex->Extensions())
        {
            const VOWCHAR* const pszAssetExt = m_about.pAssetNodeContainer->GetString(hExtension);
            wanted.set(++uKind, pszAssetExt == nullptr || IsInList(pszAssetExt, m_about));
        }
        VOKindSearch search(*m_pIndex, m_below, wanted);
        return _Show(search, NT_FILE);
    }

private:
    static constexpr size_t kMostHits = 32;

    // Some hits at a time, so that their records come while those in front of them are shown; few at first, as many a
    // search is ended by its first hit.
    template <typename Search>
    bool _Show(Search& search, VOULONG dwType)
    {
        VONameIndex::Hit aHit[kMostHits];
        bool bMore = true;
        for (size_t uWanted = 1; bMore && m_bStop == 0; uWanted = std::min(uWanted * 2, kMostHits))
        {
            size_t uHits = 0;
            while (uHits < uWanted && (bMore = search.Next(aHit[uHits])))
            {
                if (_IsOfType(aHit[uHits].uPlace, dwType))
                {
                    m_pIndex->FetchNodeAt(*m_about.pAssetNodeContainer, aHit[uHits++].uPlace);
                }
            }
            for (size_t uHit = 0; uHit < uHits && m_bStop == 0; ++uHit)
            {
                _Show(aHit[uHit]);
            }
        }
        return true;
    }

    bool _IsOfType(unsigned int uPlace, VOULONG dwType) const
    {
        const int nType = m_pIndex->KindAt(uPlace) == VONameIndex::kFolder ? NT_FOLDER : NT_FILE;
        return (dwType & static_cast<VOULONG>(nType)) != 0;
    }

    void _Show(const VONameIndex::Hit& hit)
    {
        structAssetNode tsNode;
        if (!m_about.pAssetNodeContainer->GetAssetNode(m_pIndex->NodeAt(hit.uPlace), tsNode))
        {
            return;
        }
        if (hit.bSure)
        {
            m_about.pTraverseFun(tsNode, m_about.pvParam, m_bStop);
        }
        else
        {
            m_pfnFilter(tsNode, &m_about, m_bStop);
        }
    }

    AssetNameInfo& m_about;
    TraverseAssetNodeFunction m_pfnFilter;
    int& m_bStop;
    const VONameIndex* m_pIndex = nullptr;
    VONameIndex::Stretch m_below;
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
    if (!VO_STEP(m_pkAssetNodeContainer))
    {
        return 0;
    }
    IndexedSearch indexed(about, uAssetIndex, bSubAssetNode, TraverseAssetNodeInernal_FileName, bStop);
    if (indexed.ByName(dwType))
    {
        return 1;
    }
    const int nResult = VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, dwType, bSubAssetNode, TraverseAssetNodeInernal_FileName, &about, bStop));
    VONameIndex::NoteWalk(*m_pkAssetNodeContainer, about.uShown);
    return nResult;
}

int VOTSFileMappingInspector::TraverseAssetNode_Extension(unsigned int uAssetIndex, const VOWCHAR* pszSourceContext,
                                                          int bMatchCase, int bSubAssetNode,
                                                          TraverseAssetNodeFunction pFun, void* pvParam) const
{
    int bStop = 0;
    AssetNameInfo about = NameInfoOf(pszSourceContext, bMatchCase, pFun, pvParam, m_pkAssetNodeContainer);
    if (!VO_STEP(m_pkAssetNodeContainer))
    {
        return 0;
    }
    IndexedSearch indexed(about, uAssetIndex, bSubAssetNode, TraverseAssetNodeInernal_Extension, bStop);
    if (indexed.ByExtension())
    {
        return 1;
    }
    const int nResult = VO_STEP(VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(
        m_pkAssetNodeContainer, uAssetIndex, NT_FILE, bSubAssetNode, TraverseAssetNodeInernal_Extension, &about,
        bStop));
    VONameIndex::NoteWalk(*m_pkAssetNodeContainer, about.uShown);
    return nResult;
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
    AssetNameInfo* pvFileNameInfo = static_cast<AssetNameInfo*>(pvParam);
    if (!VO_STEP(pvFileNameInfo) || !VO_STEP(pvFileNameInfo->pTraverseFun) ||
        !VO_STEP(pvFileNameInfo->pAssetNodeContainer) || !VO_STEP(tsNode.hStrBaseName != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    ++pvFileNameInfo->uShown;
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
    AssetNameInfo* pvExtensionInfo = static_cast<AssetNameInfo*>(pvParam);
    if (!VO_STEP(pvExtensionInfo) || !VO_STEP(pvExtensionInfo->pTraverseFun) ||
        !VO_STEP(pvExtensionInfo->pAssetNodeContainer) || !VO_STEP(tsNode.hStrExtension != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    ++pvExtensionInfo->uShown;
    const VOWCHAR* const pszAssetExt = pvExtensionInfo->pAssetNodeContainer->GetString(tsNode.hStrExtension);
    if (!VO_STEP_AS("pszAssetExt && *pszAssetExt", VOHasText(pszAssetExt)) ||
        !VO_STEP_AS("pszSourceContext && *pszSourceContext", VOHasText(pvExtensionInfo->pszSourceContext)))
    {
        return 0;
    }
    if (IsInList(pszAssetExt, *pvExtensionInfo))
    {
        pvExtensionInfo->pTraverseFun(tsNode, pvExtensionInfo->pvParam, bStop);
    }
    return 1;
}
