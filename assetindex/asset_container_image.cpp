// The image of a container: five blocks behind a head, in an order that is part of the format, without alignment.
//
//   string pool | nodes | child lists | key table | classify table
//
// docs/wire-formats.md has every byte.
#include <memory>

#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "platform/vo_owners.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

VOTSAssetNodeContainer::ContainerAlloc* VOTSAssetNodeContainer::GetAlloc()
{
    VO_CHECK_ERROR(_MakeSurePathValueValid());
    if (!VO_STEP(m_pkStringSet))
    {
        return nullptr;
    }
    // A base has one table in the place of the three of an image: those are made of its records.
    const auto DropMaps = [](VOTSAssetNodeContainer* pkContainer)
    {
        pkContainer->m_pkStringSet->_DropMaps();
        pkContainer->m_mapStringHandle2ParamIndex.Clear();
    };
    const std::unique_ptr<VOTSAssetNodeContainer, decltype(DropMaps)> pMaps(m_pathTable.IsThere() ? this : nullptr,
                                                                            DropMaps);
    if (pMaps != nullptr)
    {
        m_pkStringSet->_EnterRecords();
        _EnterSlots();
    }
    const unsigned long long ullStrings = m_pkStringSet->AllocSize();
    const unsigned long long ullNodes = m_vecAssetNode.AllocSize();
    const unsigned long long ullLists = m_pkAssetIndexContainer->AllocSize();
    const unsigned long long ullClassify = m_pkClassifyMgr->AllocSize();
    const unsigned long long ullKeys = _KeyTableAllocSize();
    const unsigned long long ullData = ullStrings + ullNodes + ullLists + ullClassify + ullKeys;

    // Each block that a size word can't name fails here, before anything is made.
    if (!VO_STEP_AS("pStringAlloc", ullStrings <= kVOMaxImageSize) ||
        !VO_STEP_AS("pAssetNodeAlloc", ullNodes <= kVOMaxImageSize) ||
        !VO_STEP_AS("pAssetIndexAlloc", ullLists <= kVOMaxImageSize) ||
        !VO_STEP_AS("pAssetClassifyAlloc", ullClassify <= kVOMaxImageSize) ||
        !VO_STEP_AS("pAssetMapTableAlloc", ullKeys <= kVOMaxImageSize) ||
        !VO_STEP_AS("uMemoryBufSize", sizeof(ContainerAlloc) + ullData <= kVOMaxImageSize))
    {
        return nullptr;
    }
    const ContainerAlloc head = {.szVersion = ASSETNODE_CAONTAINER_VERSION,
                                 .uStringPoolBufSize = static_cast<unsigned int>(ullStrings),
                                 .uAssetNodeBufSize = static_cast<unsigned int>(ullNodes),
                                 .uAssetNodeIndexBufSize = static_cast<unsigned int>(ullLists),
                                 .uAssetNodeMapTableBufSize = static_cast<unsigned int>(ullKeys),
                                 .uAssetClassifyBufSize = static_cast<unsigned int>(ullClassify),
                                 .uReserved = 0,
                                 .hStrRootPath = m_hStrRootPath,
                                 .hStrRootName = m_hStrRootName,
                                 .uDataBufSize = static_cast<unsigned int>(ullData),
                                 .abData = {}};
    std::unique_ptr<unsigned char, VOFreeBlock> pbAlloc(
        static_cast<unsigned char*>(VOAllocateImage(sizeof(ContainerAlloc) + ullData)));
    memcpy(pbAlloc.get(), &head, offsetof(ContainerAlloc, abData));
    unsigned char* const pbStrings = pbAlloc.get() + offsetof(ContainerAlloc, abData);
    unsigned char* const pbLists = pbStrings + ullStrings + ullNodes;
    unsigned char* const pbKeys = pbLists + ullLists;
    if (!VO_STEP_AS("pStringAlloc", m_pkStringSet->WriteAlloc(pbStrings)))
    {
        return nullptr;
    }
    m_vecAssetNode.WriteAlloc(pbStrings + ullStrings);
    m_pkAssetIndexContainer->WriteAlloc(pbLists);
    if (!_HasKeyMap())
    {
        m_mapTableStringHandle2ParamIndex.WriteAlloc(pbKeys);
    }
    else if (!VO_STEP_AS("pAssetMapTableAlloc",
                         KeyTable::WriteAllocOfMap(pbKeys, m_mapStringHandle2ParamIndex.Sorted())))
    {
        return nullptr;
    }
    m_pkClassifyMgr->WriteAlloc(pbKeys + ullKeys);
    return reinterpret_cast<ContainerAlloc*>(pbAlloc.release());
}

// The key map that a Provider has, out of a base's table.
void VOTSAssetNodeContainer::_EnterSlots()
{
    for (unsigned int i = 0; i < m_pathTable.SlotCount(); ++i)
    {
        const VOPathSlot slot = m_pathTable.At(i);
        void* hString = INVALID_HANDLE_VALUE;
        if (slot.uNode != 0 && slot.uNode != VOPathTable::kGone &&
            m_pkStringSet->m_mapHashString.Find(slot.uHash0, hString))
        {
            m_mapStringHandle2ParamIndex.Insert(hString, slot.uNode - 1);
        }
        if (slot.uOther != 0 && m_pkStringSet->m_mapHashConflict.Find(slot.uHash0, hString))
        {
            m_mapStringHandle2ParamIndex.Insert(hString, slot.uOther - 1);
        }
    }
}

bool VOTSAssetNodeContainer::_HasKeyMap() const
{
    return m_eAssetRole == LUMTrayService::AR_Provider || m_pathTable.IsThere();
}

unsigned long long VOTSAssetNodeContainer::_KeyTableAllocSize() const
{
    return _HasKeyMap() ? KeyTable::AllocSizeOf(KeyTable::SlotCountFor(m_mapStringHandle2ParamIndex.Count()))
                        : m_mapTableStringHandle2ParamIndex.AllocSize();
}

int VOTSAssetNodeContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    switch (m_eAssetRole)
    {
        case LUMTrayService::AR_Provider:
            return _SetAlloc_P(pAlloc, bCopy, ullSize);
        case LUMTrayService::AR_Customer:
            return _SetAlloc_C(pAlloc, bCopy, ullSize);
        default:
            return 0;
    }
}

// The checks of an image that come before anything is touched; the head is read once.
bool VOTSAssetNodeContainer::_CheckImage(const char* pszFunction, const ContainerAlloc* pAlloc,
                                         unsigned long long ullSize, ContainerAlloc& rkHead)
{
    if (!VO_STEP_IN(pszFunction, pAlloc) || !VO_STEP_IN(pszFunction, sizeof(ContainerAlloc) <= ullSize))
    {
        return false;
    }
    rkHead = VOLoad<ContainerAlloc>(pAlloc);
    return VO_STEP_AS_IN(pszFunction, "::strcmp(pAlloc->szVersion, ASSETNODE_CAONTAINER_VERSION) == 0",
                         VOIsVersion(rkHead.szVersion, ASSETNODE_CAONTAINER_VERSION)) &&
           VO_STEP_AS_IN(
               pszFunction,
               "pAlloc->uDataBufSize == pAlloc->uAssetNodeBufSize + pAlloc->uStringPoolBufSize + "
               "pAlloc->uAssetNodeIndexBufSize + pAlloc->uAssetNodeMapTableBufSize + pAlloc->uAssetClassifyBufSize",
               rkHead.uDataBufSize == 0ull + rkHead.uAssetNodeBufSize + rkHead.uStringPoolBufSize +
                                          rkHead.uAssetNodeIndexBufSize + rkHead.uAssetNodeMapTableBufSize +
                                          rkHead.uAssetClassifyBufSize) &&
           VO_STEP_AS_IN(pszFunction, "kHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc)",
                         rkHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc));
}

// The steps of both roles; takeKeys takes the key table. Every block is held to the size that the head gives it.
template <typename TakeKeys>
int VOTSAssetNodeContainer::_SetBlocks(const char* pszFunction, ContainerAlloc* pAlloc, int bCopy,
                                       unsigned long long ullSize, TakeKeys takeKeys)
{
    ContainerAlloc head = {};
    if (!_CheckImage(pszFunction, pAlloc, ullSize, head))
    {
        return 0;
    }
    unsigned char* const pbStrings = reinterpret_cast<unsigned char*>(pAlloc) + offsetof(ContainerAlloc, abData);
    unsigned char* const pbNodes = pbStrings + head.uStringPoolBufSize;
    unsigned char* const pbLists = pbNodes + head.uAssetNodeBufSize;
    unsigned char* const pbKeys = pbLists + head.uAssetNodeIndexBufSize;
    auto* const pStrings = reinterpret_cast<VOStringHashSet::StringHashSetAlloc*>(pbStrings);
    auto* const pLists = reinterpret_cast<VOTSNumberContainer::NumberAlloc*>(pbLists);
    auto* const pClassify =
        reinterpret_cast<VOTSAssetNodeClassifyManager::ContainerAlloc*>(pbKeys + head.uAssetNodeMapTableBufSize);
    CleanUp();
    m_hStrRootPath = head.hStrRootPath;
    m_hStrRootName = head.hStrRootName;
    return VO_STEP_IN(pszFunction, m_pkStringSet) &&
           VO_STEP_AS_IN(pszFunction, "m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)",
                         m_pkStringSet->SetAlloc(pStrings, bCopy, head.uStringPoolBufSize)) &&
           VO_STEP_AS_IN(pszFunction, "m_vecAssetNode.SetAlloc(pAssetNodeAlloc, bCopy)",
                         m_vecAssetNode.SetAlloc(reinterpret_cast<VORecordVectorAlloc*>(pbNodes), bCopy,
                                                 head.uAssetNodeBufSize)) &&
           VO_STEP_AS_IN(pszFunction, "m_pkAssetIndexContainer->SetAlloc(pAssetIndexAlloc, bCopy)",
                         m_pkAssetIndexContainer->SetAlloc(pLists, bCopy, head.uAssetNodeIndexBufSize)) &&
           takeKeys(reinterpret_cast<const VOMapTableAlloc*>(pbKeys), head.uAssetNodeMapTableBufSize) &&
           VO_STEP_AS_IN(pszFunction, "m_pkClassifyMgr->SetAlloc(pAssetClassifyAlloc, bCopy)",
                         m_pkClassifyMgr->SetAlloc(pClassify, bCopy, head.uAssetClassifyBufSize));
}

int VOTSAssetNodeContainer::_SetAlloc_P(ContainerAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_P(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeContainer::_SetAlloc_P(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto TakeKeys = [&](const VOMapTableAlloc* pKeys, unsigned int uSize)
    {
        return VO_STEP_AS_IN(pszFunction, "mapTableReader.SetAlloc(pAssetMapTableAlloc, bCopy)",
                             KeyTable::ReadInto(m_mapStringHandle2ParamIndex, pKeys, uSize));
    };
    return VO_STEP(LUMTrayService::enumAssetRole::AR_Provider == m_eAssetRole) &&
           _SetBlocks(pszFunction, pAlloc, bCopy, ullSize, TakeKeys);
}

int VOTSAssetNodeContainer::_SetAlloc_C(ContainerAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_C(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeContainer::_SetAlloc_C(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    VO_NAMED_FUNCTION(pszFunction);
    const auto TakeKeys = [&](const VOMapTableAlloc* pKeys, unsigned int uSize)
    {
        return VO_STEP_AS_IN(pszFunction, "m_mapTableStringHandle2ParamIndex.SetAlloc(pAssetMapTableAlloc, bCopy)",
                             m_mapTableStringHandle2ParamIndex.SetAlloc(pKeys, bCopy, uSize));
    };
    return VO_STEP(LUMTrayService::enumAssetRole::AR_Customer == m_eAssetRole) &&
           _SetBlocks(pszFunction, pAlloc, bCopy, ullSize, TakeKeys);
}

int VOTSAssetNodeContainer::ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const
{
    if (!VO_STEP(pkToContainer))
    {
        return 0;
    }
    // Taken first: the target may be this container.
    VOWCHAR szRootPath[MAX_PATH] = {};
    VOWCHAR szRootName[MAX_PATH] = {};
    if (GetRootPath() != nullptr)
    {
        lstrcpynW(szRootPath, GetRootPath(), MAX_PATH);
    }
    if (GetRootName() != nullptr)
    {
        lstrcpynW(szRootName, GetRootName(), MAX_PATH);
    }
    const std::unique_ptr<VOTSAssetNodeClassifyManager::ContainerAlloc, VOFreeBlock> pAlloc(
        m_pkClassifyMgr->GetAlloc());
    if (!VO_STEP(pkToContainer->CleanUp()))
    {
        return 0;
    }
    pkToContainer->_SetRootPath(szRootPath);
    pkToContainer->_SetRootName(szRootName);
    return pkToContainer->m_pkClassifyMgr->SetAlloc(pAlloc.get(), 1);
}
