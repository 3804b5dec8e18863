// The node store: how nodes are made, found, removed and re-keyed. Setters, image and rendering have files of their
// own.
#include "vots_asset_node_container.h"

#include <memory>

#include "assetindex/asset_base.h"
#include "assetindex/asset_lookup.h"
#include "assetindex/name_index.h"
#include "assetindex/no_index.h"
#include "assetindex/path_functions.h"
#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_classify_manager.h"

namespace
{

// Bytes in front of a walk: eight records.
constexpr size_t kReadAhead = 8 * sizeof(structAssetNodeParam);

}  // namespace

VOTSAssetNodeContainer::VOTSAssetNodeContainer(LUMTrayService::enumAssetRole eAssetRole, const VOWCHAR* pszRootPath,
                                               const VOWCHAR* pszRootName)
    : m_eAssetRole(eAssetRole),
      m_pkStringSet(nullptr),
      m_tszRootPath(),
      m_hStrRootPath(INVALID_HANDLE_VALUE),
      m_tszRootName(),
      m_hStrRootName(INVALID_HANDLE_VALUE),
      m_pkAssetIndexContainer(nullptr),
      m_pkClassifyMgr(nullptr)
{
    // Handed over when all are made, so that a failed allocation loses none.
    auto pAssetIndexContainer = std::make_unique<VOTSNumberContainer>();
    auto pClassifyMgr = std::make_unique<VOTSAssetNodeClassifyManager>();
    auto pNames = eAssetRole == LUMTrayService::AR_Customer ? std::make_unique<VONameIndexSlot>() : nullptr;
    if (eAssetRole == LUMTrayService::AR_Provider || eAssetRole == LUMTrayService::AR_Customer)
    {
        m_pkStringSet = new VOStringHashSet(
            eAssetRole == LUMTrayService::AR_Provider ? VOStringHashSet::SHR_Provider : VOStringHashSet::SHR_Customer,
            VOStringHashSet::SHM_HashAndString);
    }
    m_pkAssetIndexContainer = pAssetIndexContainer.release();
    m_pkClassifyMgr = pClassifyMgr.release();
    m_pNames = pNames.release();
    if (VO_STEP(m_pkStringSet))
    {
        _SetRootPath(pszRootPath);
        _SetRootName(pszRootName);
    }
}

VOTSAssetNodeContainer::~VOTSAssetNodeContainer()
{
    _LeaveJournal();
    delete m_pNames;
    delete m_pkClassifyMgr;
    delete m_pkAssetIndexContainer;
    delete m_pkStringSet;
}

// A copy has parts of its own; the copy of a view is a view of the same image.
VOTSAssetNodeContainer::VOTSAssetNodeContainer(const VOTSAssetNodeContainer& rkOther)
    : m_eAssetRole(rkOther.m_eAssetRole),
      m_pkStringSet(nullptr),
      m_tszRootPath(),
      m_hStrRootPath(rkOther.m_hStrRootPath),
      m_tszRootName(),
      m_hStrRootName(rkOther.m_hStrRootName),
      m_vecAssetNode(rkOther.m_vecAssetNode),
      m_pkAssetIndexContainer(nullptr),
      m_pkClassifyMgr(nullptr),
      m_mapStringHandle2ParamIndex(rkOther.m_mapStringHandle2ParamIndex),
      m_mapTableStringHandle2ParamIndex(rkOther.m_mapTableStringHandle2ParamIndex),
      m_pathTable(rkOther.m_pathTable)
{
    memcpy(m_tszRootPath, rkOther.m_tszRootPath, sizeof(m_tszRootPath));
    memcpy(m_tszRootName, rkOther.m_tszRootName, sizeof(m_tszRootName));

    auto pAssetIndexContainer = std::make_unique<VOTSNumberContainer>(*rkOther.m_pkAssetIndexContainer);
    auto pClassifyMgr = std::make_unique<VOTSAssetNodeClassifyManager>(*rkOther.m_pkClassifyMgr);
    auto pNames = rkOther.m_pNames != nullptr ? std::make_unique<VONameIndexSlot>() : nullptr;
    m_pkStringSet = rkOther.m_pkStringSet != nullptr ? new VOStringHashSet(*rkOther.m_pkStringSet) : nullptr;
    m_pkAssetIndexContainer = pAssetIndexContainer.release();
    m_pkClassifyMgr = pClassifyMgr.release();
    m_pNames = pNames.release();
}

VOTSAssetNodeContainer& VOTSAssetNodeContainer::operator=(const VOTSAssetNodeContainer& rkOther)
{
    if (this != &rkOther)
    {
        VOTSAssetNodeContainer copy(rkOther);
        std::swap(m_eAssetRole, copy.m_eAssetRole);
        std::swap(m_pkStringSet, copy.m_pkStringSet);
        std::swap(m_tszRootPath, copy.m_tszRootPath);
        std::swap(m_hStrRootPath, copy.m_hStrRootPath);
        std::swap(m_tszRootName, copy.m_tszRootName);
        std::swap(m_hStrRootName, copy.m_hStrRootName);
        m_vecAssetNode = copy.m_vecAssetNode;
        std::swap(m_pkAssetIndexContainer, copy.m_pkAssetIndexContainer);
        std::swap(m_pkClassifyMgr, copy.m_pkClassifyMgr);
        m_mapStringHandle2ParamIndex = copy.m_mapStringHandle2ParamIndex;
        m_mapTableStringHandle2ParamIndex = copy.m_mapTableStringHandle2ParamIndex;
        m_pathTable = copy.m_pathTable;
        std::swap(m_pNames, copy.m_pNames);
        if (m_pJournal != nullptr)
        {
            _SetJournal(m_pJournal);
            _NoteWhole();
        }
    }
    return *this;
}

void VOTSAssetNodeContainer::_SetRootPath(const VOWCHAR* pszRootPath)
{
    memset(m_tszRootPath, 0, sizeof(m_tszRootPath));
    if (VOHasText(pszRootPath))
    {
        bool bHasColon = false;
        VONormalizePath(m_tszRootPath, pszRootPath, MAX_PATH, false, bHasColon);
    }
}

void VOTSAssetNodeContainer::_SetRootName(const VOWCHAR* pszRootName)
{
    memset(m_tszRootName, 0, sizeof(m_tszRootName));
    if (VOHasText(pszRootName))
    {
        lstrcpynW(m_tszRootName, pszRootName, MAX_PATH);
    }
}

int VOTSAssetNodeContainer::RequestAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode,
                                             int& bInserted)
{
    int nResult = 0;
    int bExist = 0;
    unsigned int uParamIndex = kNone;
    void* hStringParam = INVALID_HANDLE_VALUE;
    VOWCHAR tszNormailzeLowerPath[MAX_PATH];
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
    bInserted = 0;
    VO_PROCESS_ERROR(m_pkStringSet);
    VO_PROCESS_ERROR(NormailzeAssetPath(tszNormailzeLowerPath, pszPath, MAX_PATH, TRUE));

    hStringParam = m_pkStringSet->InsertKey(tszNormailzeLowerPath, &bExist);
    uParamIndex = bExist != 0 ? _FindAssetParamIndex_P(hStringParam) : kNone;
    if (uParamIndex != kNone)
    {
        VO_PROCESS_ERROR(uParamIndex < m_vecAssetNode.Count());
        memcpy(static_cast<void*>(&tsNode), m_vecAssetNode.Bytes(uParamIndex), sizeof(tsNode));
        bInserted = 1;
    }
    else
    {
        // Also a key that the pool knows but the index doesn't: of a node that was removed, or a text that is some
        // node's name.
        LUMTrayService::structAssetNode tsNewNode;
        VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != hStringParam);
        VO_PROCESS_ERROR_AS("_AddFileDataParam(hStringParam, tsNode, uParamIndex)",
                            _AddFileDataParam(hStringParam, tsNewNode, uParamIndex));
        m_mapStringHandle2ParamIndex.Erase(hStringParam);
        m_mapStringHandle2ParamIndex.Insert(hStringParam, uParamIndex);
        _NoteKey(hStringParam);
        bInserted = 0;
        tsNode = tsNewNode;
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::_AddFileDataParam(void* hStringParam, LUMTrayService::structAssetNode& tsNode,
                                              unsigned int& uParamIndex)
{
    structAssetNodeParam param;
    uParamIndex = m_vecAssetNode.Count();
    tsNode.nAssetID = uParamIndex;
    param.tsNode = tsNode;
    param.hStringParam = hStringParam;
    param.dwParamState = APS_Normal;
    return m_vecAssetNode.PushBack(param) ? 1 : 0;
}

int VOTSAssetNodeContainer::FindAssetNode(const VOWCHAR* pszPath, LUMTrayService::structAssetNode& tsNode) const
{
    VOHashPair pair = {};
    if (VOAssetLookup::IsByHashes(*this) && VOHashPlainPath(pszPath, pair))
    {
        return VOAssetLookup::Give(*this, VOAssetLookup::Find(*this, pair), tsNode);
    }
    return VOAssetLookup::FindByText(*this, pszPath, tsNode);
}

int VOAssetLookup::FindByText(const VOTSAssetNodeContainer& container, const VOWCHAR* pszPath,
                              LUMTrayService::structAssetNode& tsNode)
{
    VOWCHAR tszNormailzeLowerPath[MAX_PATH];
    if (container.m_pkStringSet == nullptr ||
        !container.NormailzeAssetPath(tszNormailzeLowerPath, pszPath, MAX_PATH, TRUE))
    {
        return 0;
    }
    if (container.m_eAssetRole == LUMTrayService::AR_Provider)
    {
        void* const hString = container.m_pkStringSet->Find(tszNormailzeLowerPath);
        return Give(container, container._FindAssetParamIndex_P(hString), tsNode);
    }
    VOHashPair pair = {};
    VOStringHash::HashRows(tszNormailzeLowerPath, pair.uHash0, pair.uHash1);
    return Give(container, Find(container, pair), tsNode);
}

unsigned int VOTSAssetNodeContainer::_FindAssetParamIndex_P(void* hStringParam) const
{
    return hStringParam != INVALID_HANDLE_VALUE ? m_mapStringHandle2ParamIndex.Find(hStringParam) : kNone;
}

unsigned int VOTSAssetNodeContainer::_FindAssetParamIndex_C(void* hStringParam) const
{
    KeyTable::Iterator iterator;
    if (hStringParam == INVALID_HANDLE_VALUE || !m_mapTableStringHandle2ParamIndex.Find(hStringParam, iterator))
    {
        return kNone;
    }
    return iterator.value;
}

int VOTSAssetNodeContainer::GetAssetNode(unsigned int uAssetID, LUMTrayService::structAssetNode& tsNode) const
{
    int nResult = 0;
    VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
    // Walks go from record to record, and memory is slower than copying.
    VOPrefetch(m_vecAssetNode.Bytes(uAssetID) + kReadAhead);
    memcpy(static_cast<void*>(&tsNode), m_vecAssetNode.Bytes(uAssetID), sizeof(tsNode));
    nResult = 1;

Exit0:
    return nResult;
}

unsigned int VOTSAssetNodeContainer::GetAssetNodeCount() const
{
    return m_vecAssetNode.Count();
}

void* VOTSAssetNodeContainer::_KeyOf(unsigned int uAssetID) const
{
    return VOLoad<void*>(m_vecAssetNode.Bytes(uAssetID) + offsetof(structAssetNodeParam, hStringParam));
}

unsigned int VOTSAssetNodeContainer::_StateOf(unsigned int uAssetID) const
{
    return VOLoad<unsigned int>(m_vecAssetNode.Bytes(uAssetID) + offsetof(structAssetNodeParam, dwParamState));
}

int VOTSAssetNodeContainer::RemoveAssetNode(const VOWCHAR* pszPath)
{
    LUMTrayService::structAssetNode tsNode;
    return VO_STEP(FindAssetNode(pszPath, tsNode)) && VO_STEP(RemoveAssetNode(tsNode.nAssetID));
}

// A node that is being removed: its files go first, then its folders, then itself out of its parent's list.
struct VOTSAssetNodeContainer::Removal
{
    unsigned int uAssetID = kNone;
    int nListsTaken = 0;  // 1: files, 2: files and folders
    std::vector<unsigned int> vecChildIndex;
    size_t uNext = 0;
};

// Kept on a stack of its own, since trees may be deeper than a thread's stack. uAssetID is always the node at hand.
int VOTSAssetNodeContainer::RemoveAssetNode(unsigned int uAssetID)
{
    int nResult = 0;
    std::vector<Removal> vecRemoval;
    bool bEnter = true;
    while (bEnter || !vecRemoval.empty())
    {
        if (bEnter)
        {
            VO_PROCESS_ERROR(uAssetID < m_vecAssetNode.Count());
            VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole);
            VO_PROCESS_ERROR_AS("cIter != m_mapStringHandle2ParamIndex.end()",
                                m_mapStringHandle2ParamIndex.Erase(_KeyOf(uAssetID)));
            _NoteKey(_KeyOf(uAssetID));
            _StoreField(uAssetID, offsetof(structAssetNodeParam, dwParamState), AssetParamState::APS_Deleted);
            vecRemoval.emplace_back();
            vecRemoval.back().uAssetID = uAssetID;
            bEnter = false;
            continue;
        }

        Removal& top = vecRemoval.back();
        uAssetID = top.uAssetID;
        const LUMTrayService::structAssetNode tsNode =
            VOLoad<LUMTrayService::structAssetNode>(m_vecAssetNode.Bytes(uAssetID));
        if (top.uNext < top.vecChildIndex.size())
        {
            uAssetID = top.vecChildIndex[top.uNext++];
            bEnter = true;
        }
        else if (top.nListsTaken < 2)
        {
            // A copy of the list, because every child that goes makes a hole in the list itself.
            const unsigned int uInfoID = top.nListsTaken++ == 0 ? tsNode.nChildFileInfo : tsNode.nChildFolderInfo;
            top.vecChildIndex.clear();
            top.uNext = 0;
            if (uInfoID != kNone && !m_pkAssetIndexContainer->GetNumberList(uInfoID, top.vecChildIndex))
            {
                vecRemoval.pop_back();
                VO_PROCESS_ERROR_AS("m_pkAssetIndexContainer->GetNumberList(uInfoID, vecChildIndex)", false);
            }
        }
        else
        {
            vecRemoval.pop_back();
            if (tsNode.nParentID != kNone)
            {
                LUMTrayService::structAssetNode tsParentNode;
                VO_PROCESS_ERROR(GetAssetNode(tsNode.nParentID, tsParentNode));
                const unsigned int uInfoID =
                    tsNode.bFolder != 0 ? tsParentNode.nChildFolderInfo : tsParentNode.nChildFileInfo;
                VO_PROCESS_ERROR(m_pkAssetIndexContainer->RemoveNumber(uInfoID, uAssetID));
            }
        }
    }
    nResult = 1;

Exit0:
    // A failure stops at once, and with it the removal of every folder above.
    for (size_t i = 0; !nResult && i < vecRemoval.size(); ++i)
    {
        VO_NAMED_FUNCTION(pszFunction);
        VO_LOG_LINE_(pszFunction, "VO_PROCESS_ERROR", "RemoveAssetNode(vecChildIndex[i])");
    }
    return nResult;
}

int VOTSAssetNodeContainer::RedirectAssetNode(unsigned int uAssetID, const VOWCHAR* pszPath)
{
    VO_NAMED_FUNCTION(pszFunction);
    VOWCHAR tszNormailzeLowerPath[MAX_PATH];
    if (!VO_STEP(uAssetID < m_vecAssetNode.Count()) ||
        !VO_STEP(LUMTrayService::enumAssetRole::AR_Customer != m_eAssetRole) || !VO_STEP(m_pkStringSet) ||
        !_CheckState(pszFunction, uAssetID))
    {
        return 0;
    }
    m_mapStringHandle2ParamIndex.Erase(_KeyOf(uAssetID));
    _NoteKey(_KeyOf(uAssetID));
    if (!VO_STEP(NormailzeAssetPath(tszNormailzeLowerPath, pszPath, MAX_PATH, TRUE)))
    {
        return 0;
    }
    void* const hStringParam = m_pkStringSet->InsertKey(tszNormailzeLowerPath);
    if (!VO_STEP(hStringParam != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    // An entry that is there already keeps pointing at its own node.
    m_mapStringHandle2ParamIndex.Insert(hStringParam, uAssetID);
    _NoteKey(hStringParam);
    _StoreField(uAssetID, offsetof(structAssetNodeParam, hStringParam), hStringParam);
    return 1;
}

int VOTSAssetNodeContainer::CleanUp()
{
    if (m_pNames != nullptr)
    {
        m_pNames->Reset();
    }
    if (m_pkStringSet != nullptr)
    {
        m_pkStringSet->CleanUp();
        m_pkStringSet->DropViews();
    }
    m_mapStringHandle2ParamIndex.Clear();
    m_mapTableStringHandle2ParamIndex.CleanUp();
    if (m_pathTable.IsThere())
    {
        m_pkClassifyMgr->CleanUp();  // a copy of what the base has
        m_pathTable = {};
    }
    _NoteWhole();
    m_vecAssetNode.Release();
    m_hStrRootPath = INVALID_HANDLE_VALUE;
    m_hStrRootName = INVALID_HANDLE_VALUE;

    // What these two own stays, but nothing may be answered from an image that can go away now.
    m_pkAssetIndexContainer->DropView();
    m_pkClassifyMgr->DropView();
    return 1;
}

int VOTSAssetNodeContainer::ShrinkToFit()
{
    m_vecAssetNode.ShrinkToFit();
    if (m_pkStringSet != nullptr)
    {
        m_pkStringSet->ShrinkToFit();
    }
    m_pkAssetIndexContainer->ShrinkToFit();
    return 1;
}

const VOWCHAR* VOTSAssetNodeContainer::GetString(void* hString) const
{
    return m_pkStringSet != nullptr ? m_pkStringSet->GetString(hString) : nullptr;
}

const VOWCHAR* VOTSAssetNodeContainer::_RootText(const VOWCHAR* pszBuffer, void* hString) const
{
    if (pszBuffer[0] != 0)
    {
        return pszBuffer;
    }
    return hString != INVALID_HANDLE_VALUE ? GetString(hString) : nullptr;
}

const VOWCHAR* VOTSAssetNodeContainer::GetRootPath() const
{
    return _RootText(m_tszRootPath, m_hStrRootPath);
}

const VOWCHAR* VOTSAssetNodeContainer::GetRootName() const
{
    return _RootText(m_tszRootName, m_hStrRootName);
}

int VOTSAssetNodeContainer::_MakeSurePathValueValid()
{
    const bool bHasPath = m_hStrRootPath != INVALID_HANDLE_VALUE || m_tszRootPath[0] == 0;
    const bool bHasName = m_hStrRootName != INVALID_HANDLE_VALUE || m_tszRootName[0] == 0;
    return VO_STEP(m_pkStringSet) &&
           (bHasPath || VO_STEP(INVALID_HANDLE_VALUE != (m_hStrRootPath = m_pkStringSet->Insert(m_tszRootPath)))) &&
           (bHasName || VO_STEP(INVALID_HANDLE_VALUE != (m_hStrRootName = m_pkStringSet->Insert(m_tszRootName))));
}

int VOTSAssetNodeContainer::NormailzeAssetPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize,
                                               int bLower) const
{
    int nResult = 0;
    bool bHasColon = false;
    int nLenResult = 0;
    int nLen = 0;
    const VOWCHAR* pszRootPath = nullptr;
    VO_PROCESS_ERROR(pszResult);
    VO_PROCESS_ERROR(pszPath);
    VO_PROCESS_ERROR(uSize);

    nLenResult = static_cast<int>(VONormalizePath(pszResult, pszPath, uSize, bLower != 0, bHasColon));
    if (!bHasColon)
    {
        return 1;
    }
    pszRootPath = GetRootPath();
    VO_PROCESS_ERROR(pszRootPath);
    if (StrStrIW(pszResult, pszRootPath) == nullptr)
    {
        return 0;
    }
    nLen = lstrlenW(pszRootPath);
    VO_PROCESS_ERROR(nLenResult >= (nLen + 2));

    // Counted from the start of the path, wherever the match lay: a path is taken to begin with its root.
    memmove(static_cast<void*>(pszResult), static_cast<const void*>(pszResult + nLen + 1),
            static_cast<size_t>(nLenResult - nLen) * sizeof(VOWCHAR));
    nResult = 1;

Exit0:
    return nResult;
}
