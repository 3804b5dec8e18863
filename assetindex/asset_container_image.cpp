// The image of a container: five blocks behind a head, in an order that is part of the format, without alignment.
//
//   string pool | nodes | child lists | key table | classify table
//
// docs/wire-formats.md has every byte.
#include <memory>

#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

// Where the blocks of an image lie, and how far each may reach.
struct VOTSAssetNodeContainer::ImageBlocks
{
    ContainerAlloc head;
    VOStringHashSet::StringHashSetAlloc* pStringPoolAlloc;
    VORecordVectorAlloc* pAssetNodeAlloc;
    VOTSNumberContainer::NumberAlloc* pAssetIndexAlloc;
    VOMapTableAlloc* pAssetMapTableAlloc;
    VOTSAssetNodeClassifyManager::ContainerAlloc* pAssetClassifyAlloc;
};

VOTSAssetNodeContainer::ContainerAlloc* VOTSAssetNodeContainer::GetAlloc()
{
    ContainerAlloc* pResult = nullptr;
    std::unique_ptr<unsigned char, decltype(&free)> pbAlloc(nullptr, &free);
    unsigned char* pbBlock = nullptr;
    ContainerAlloc kHead = {};
    unsigned long long uMemoryBufSize = 0;
    const bool bProvider = m_eAssetRole == LUMTrayService::AR_Provider;
    VO_CHECK_ERROR(_MakeSurePathValueValid());
    VO_PROCESS_ERROR(m_pkStringSet);

    // Each block that a size word can't name fails here, before anything is made.
    VO_PROCESS_ERROR_AS("pStringAlloc", m_pkStringSet->AllocSize() <= kVOMaxImageSize);
    VO_PROCESS_ERROR_AS("pAssetNodeAlloc", m_vecAssetNode.AllocSize() <= kVOMaxImageSize);
    VO_PROCESS_ERROR_AS("pAssetIndexAlloc", m_pkAssetIndexContainer->AllocSize() <= kVOMaxImageSize);
    VO_PROCESS_ERROR_AS("pAssetClassifyAlloc", m_pkClassifyMgr->AllocSize() <= kVOMaxImageSize);
    VO_PROCESS_ERROR_AS("pAssetMapTableAlloc", _KeyTableAllocSize() <= kVOMaxImageSize);
    uMemoryBufSize = sizeof(ContainerAlloc) + m_pkStringSet->AllocSize() + m_vecAssetNode.AllocSize() +
                     m_pkAssetIndexContainer->AllocSize() + m_pkClassifyMgr->AllocSize() + _KeyTableAllocSize();
    VO_PROCESS_ERROR_AS("uMemoryBufSize", uMemoryBufSize <= kVOMaxImageSize);

    memcpy(kHead.szVersion, ASSETNODE_CAONTAINER_VERSION, sizeof(kHead.szVersion));
    kHead.uStringPoolBufSize = static_cast<unsigned int>(m_pkStringSet->AllocSize());
    kHead.uAssetNodeBufSize = static_cast<unsigned int>(m_vecAssetNode.AllocSize());
    kHead.uAssetNodeIndexBufSize = static_cast<unsigned int>(m_pkAssetIndexContainer->AllocSize());
    kHead.uAssetNodeMapTableBufSize = static_cast<unsigned int>(_KeyTableAllocSize());
    kHead.uAssetClassifyBufSize = static_cast<unsigned int>(m_pkClassifyMgr->AllocSize());
    kHead.hStrRootPath = m_hStrRootPath;
    kHead.hStrRootName = m_hStrRootName;
    kHead.uDataBufSize = static_cast<unsigned int>(uMemoryBufSize - sizeof(ContainerAlloc));

    pbAlloc.reset(static_cast<unsigned char*>(VOAllocateImage(uMemoryBufSize)));
    memcpy(pbAlloc.get(), &kHead, offsetof(ContainerAlloc, abData));
    pbBlock = pbAlloc.get() + offsetof(ContainerAlloc, abData);
    VO_PROCESS_ERROR_AS("pStringAlloc", m_pkStringSet->WriteAlloc(pbBlock));
    pbBlock += kHead.uStringPoolBufSize;
    m_vecAssetNode.WriteAlloc(pbBlock);
    pbBlock += kHead.uAssetNodeBufSize;
    m_pkAssetIndexContainer->WriteAlloc(pbBlock);
    pbBlock += kHead.uAssetNodeIndexBufSize;
    if (bProvider)
    {
        const std::vector<std::pair<void*, unsigned int>> vecEntry = m_mapStringHandle2ParamIndex.Sorted();
        const auto WalkEntries = [&vecEntry](auto&& visit)
        {
            for (const auto& [hStringParam, uAssetID] : vecEntry)
            {
                visit(hStringParam, uAssetID);
            }
        };
        VO_PROCESS_ERROR_AS("pAssetMapTableAlloc", KeyTable::WriteAllocOfMap(pbBlock, vecEntry.size(), WalkEntries));
    }
    else
    {
        m_mapTableStringHandle2ParamIndex.WriteAlloc(pbBlock);
    }
    pbBlock += kHead.uAssetNodeMapTableBufSize;
    m_pkClassifyMgr->WriteAlloc(pbBlock);
    pResult = reinterpret_cast<ContainerAlloc*>(pbAlloc.release());

Exit0:
    return pResult;
}

unsigned long long VOTSAssetNodeContainer::_KeyTableAllocSize() const
{
    return m_eAssetRole == LUMTrayService::AR_Provider
               ? KeyTable::AllocSizeOf(KeyTable::SlotCountFor(m_mapStringHandle2ParamIndex.Count()))
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
    bool bResult = false;
    VO_PROCESS_ERROR_IN(pszFunction, pAlloc);
    VO_PROCESS_ERROR_IN(pszFunction, sizeof(ContainerAlloc) <= ullSize);
    rkHead = VOLoad<ContainerAlloc>(pAlloc);
    VO_PROCESS_ERROR_AS_IN(pszFunction, "::strcmp(pAlloc->szVersion, ASSETNODE_CAONTAINER_VERSION) == 0",
                           memcmp(rkHead.szVersion, ASSETNODE_CAONTAINER_VERSION, sizeof(rkHead.szVersion)) == 0);
    VO_PROCESS_ERROR_AS_IN(
        pszFunction,
        "pAlloc->uDataBufSize == pAlloc->uAssetNodeBufSize + pAlloc->uStringPoolBufSize + "
        "pAlloc->uAssetNodeIndexBufSize + pAlloc->uAssetNodeMapTableBufSize + pAlloc->uAssetClassifyBufSize",
        rkHead.uDataBufSize == 0ull + rkHead.uAssetNodeBufSize + rkHead.uStringPoolBufSize +
                                   rkHead.uAssetNodeIndexBufSize + rkHead.uAssetNodeMapTableBufSize +
                                   rkHead.uAssetClassifyBufSize);
    VO_PROCESS_ERROR_AS_IN(pszFunction, "kHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc)",
                           rkHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc));
    bResult = true;

Exit0:
    return bResult;
}

VOTSAssetNodeContainer::ImageBlocks VOTSAssetNodeContainer::_BlocksOf(ContainerAlloc* pAlloc,
                                                                      const ContainerAlloc& rkHead)
{
    ImageBlocks blocks = {};
    unsigned char* pbBlock = reinterpret_cast<unsigned char*>(pAlloc) + offsetof(ContainerAlloc, abData);
    blocks.head = rkHead;
    blocks.pStringPoolAlloc = reinterpret_cast<VOStringHashSet::StringHashSetAlloc*>(pbBlock);
    pbBlock += rkHead.uStringPoolBufSize;
    blocks.pAssetNodeAlloc = reinterpret_cast<VORecordVectorAlloc*>(pbBlock);
    pbBlock += rkHead.uAssetNodeBufSize;
    blocks.pAssetIndexAlloc = reinterpret_cast<VOTSNumberContainer::NumberAlloc*>(pbBlock);
    pbBlock += rkHead.uAssetNodeIndexBufSize;
    blocks.pAssetMapTableAlloc = reinterpret_cast<VOMapTableAlloc*>(pbBlock);
    pbBlock += rkHead.uAssetNodeMapTableBufSize;
    blocks.pAssetClassifyAlloc = reinterpret_cast<VOTSAssetNodeClassifyManager::ContainerAlloc*>(pbBlock);
    return blocks;
}

// The steps that both roles share in front of the key table. Every block is held to the size that the head gives it.
bool VOTSAssetNodeContainer::_SetBlocksBeforeKeys(const char* pszFunction, const ImageBlocks& rkBlocks, int bCopy)
{
    bool bResult = false;
    const ContainerAlloc& rkHead = rkBlocks.head;
    CleanUp();
    m_hStrRootPath = rkHead.hStrRootPath;
    m_hStrRootName = rkHead.hStrRootName;
    VO_PROCESS_ERROR_IN(pszFunction, m_pkStringSet);
    VO_PROCESS_ERROR_AS_IN(pszFunction, "m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)",
                           m_pkStringSet->SetAlloc(rkBlocks.pStringPoolAlloc, bCopy, rkHead.uStringPoolBufSize));
    VO_PROCESS_ERROR_AS_IN(pszFunction, "m_vecAssetNode.SetAlloc(pAssetNodeAlloc, bCopy)",
                           m_vecAssetNode.SetAlloc(rkBlocks.pAssetNodeAlloc, bCopy, rkHead.uAssetNodeBufSize));
    VO_PROCESS_ERROR_AS_IN(
        pszFunction, "m_pkAssetIndexContainer->SetAlloc(pAssetIndexAlloc, bCopy)",
        m_pkAssetIndexContainer->SetAlloc(rkBlocks.pAssetIndexAlloc, bCopy, rkHead.uAssetNodeIndexBufSize));
    bResult = true;

Exit0:
    return bResult;
}

int VOTSAssetNodeContainer::_SetAlloc_P(ContainerAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_P(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeContainer::_SetAlloc_P(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    ContainerAlloc kHead = {};
    ImageBlocks blocks = {};
    KeyTable mapTableReader;
    KeyTable::Iterator iterator;
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Provider == m_eAssetRole);
    if (!_CheckImage(pszFunction, pAlloc, ullSize, kHead))
    {
        goto Exit0;
    }
    blocks = _BlocksOf(pAlloc, kHead);
    if (!_SetBlocksBeforeKeys(pszFunction, blocks, bCopy))
    {
        goto Exit0;
    }
    VO_PROCESS_ERROR_AS("mapTableReader.SetAlloc(pAssetMapTableAlloc, bCopy)",
                        mapTableReader.SetAlloc(blocks.pAssetMapTableAlloc, 0, kHead.uAssetNodeMapTableBufSize));
    for (bool bMore = mapTableReader.GetFirst(iterator); bMore; bMore = mapTableReader.GetNext(iterator))
    {
        m_mapStringHandle2ParamIndex.Insert(iterator.key, iterator.value);
    }
    VO_PROCESS_ERROR_AS("m_pkClassifyMgr->SetAlloc(pAssetClassifyAlloc, bCopy)",
                        m_pkClassifyMgr->SetAlloc(blocks.pAssetClassifyAlloc, bCopy, kHead.uAssetClassifyBufSize));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::_SetAlloc_C(ContainerAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_C(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeContainer::_SetAlloc_C(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    VO_NAMED_FUNCTION(pszFunction);
    int nResult = 0;
    ContainerAlloc kHead = {};
    ImageBlocks blocks = {};
    VO_PROCESS_ERROR(LUMTrayService::enumAssetRole::AR_Customer == m_eAssetRole);
    if (!_CheckImage(pszFunction, pAlloc, ullSize, kHead))
    {
        goto Exit0;
    }
    blocks = _BlocksOf(pAlloc, kHead);
    if (!_SetBlocksBeforeKeys(pszFunction, blocks, bCopy))
    {
        goto Exit0;
    }
    VO_PROCESS_ERROR_AS(
        "m_mapTableStringHandle2ParamIndex.SetAlloc(pAssetMapTableAlloc, bCopy)",
        m_mapTableStringHandle2ParamIndex.SetAlloc(blocks.pAssetMapTableAlloc, bCopy, kHead.uAssetNodeMapTableBufSize));
    VO_PROCESS_ERROR_AS("m_pkClassifyMgr->SetAlloc(pAssetClassifyAlloc, bCopy)",
                        m_pkClassifyMgr->SetAlloc(blocks.pAssetClassifyAlloc, bCopy, kHead.uAssetClassifyBufSize));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeContainer::ReConstructContainer(VOTSAssetNodeContainer* pkToContainer) const
{
    int nResult = 0;
    VOTSAssetNodeClassifyManager::ContainerAlloc* pAlloc = nullptr;
    VOWCHAR szRootPath[MAX_PATH] = {};
    VOWCHAR szRootName[MAX_PATH] = {};
    VO_PROCESS_ERROR(pkToContainer);

    // Taken first: the target may be this container.
    if (GetRootPath() != nullptr)
    {
        lstrcpynW(szRootPath, GetRootPath(), MAX_PATH);
    }
    if (GetRootName() != nullptr)
    {
        lstrcpynW(szRootName, GetRootName(), MAX_PATH);
    }
    pAlloc = m_pkClassifyMgr->GetAlloc();
    VO_PROCESS_ERROR(pkToContainer->CleanUp());
    pkToContainer->_SetRootPath(szRootPath);
    pkToContainer->_SetRootName(szRootName);
    nResult = pkToContainer->m_pkClassifyMgr->SetAlloc(pAlloc, 1);

Exit0:
    free(pAlloc);
    return nResult;
}
