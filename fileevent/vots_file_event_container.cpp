// A log of file events: records of a fixed size and a pool with their texts, and the image that both make.
//
//   head | string set | record vector | tail
//
// docs/wire-formats.md has every byte.
#include "fileevent/shared_pools.h"

#include <memory>

#include "containers/text_access.h"
#include "diagnostics/check.h"
#include "vots_file_event.h"

using LUMTrayService::enumAssetRole;
using LUMTrayService::structFileEventNode;

namespace
{

VOStringHashSet* NewPool(enumAssetRole eRole)
{
    switch (eRole)
    {
        case LUMTrayService::AR_Provider:
            return new VOStringHashSet(VOStringHashSet::SHR_Provider, VOStringHashSet::SHM_HashAndString);
        case LUMTrayService::AR_Customer:
            return new VOStringHashSet(VOStringHashSet::SHR_Customer, VOStringHashSet::SHM_HashAndString);
        default:
            return nullptr;
    }
}

}  // namespace

VOTSFileEventContainer::VOTSFileEventContainer(enumAssetRole eRole) : m_eAssetRole(eRole), m_pkStringSet(NewPool(eRole))
{
    VO_PROCESS_ERROR(m_pkStringSet);

Exit0:
    return;
}

VOTSFileEventContainer::~VOTSFileEventContainer()
{
    VOReleasePool(m_pkStringSet);
}

VOTSFileEventContainer::VOTSFileEventContainer(const VOTSFileEventContainer& rkOther)
    : m_eAssetRole(rkOther.m_eAssetRole), m_pkStringSet(nullptr), m_vecFileEvent(rkOther.m_vecFileEvent)
{
    m_pkStringSet = VOSharePool(rkOther.m_pkStringSet);
}

VOTSFileEventContainer& VOTSFileEventContainer::operator=(const VOTSFileEventContainer& rkOther)
{
    if (this != &rkOther)
    {
        // The steps that can fail come first. Two owners of one record array can't be: the records are copied.
        VOTSFileEventContainer copy(rkOther);
        m_vecFileEvent = copy.m_vecFileEvent;
        std::swap(m_pkStringSet, copy.m_pkStringSet);
        m_eAssetRole = rkOther.m_eAssetRole;
    }
    return *this;
}

int VOTSFileEventContainer::AppendEvent(const Info& info, unsigned long long ullTime)
{
    int nResult = 0;
    structFileEventNode node;
    VOTextCopy newName;
    VOTextCopy physicPath;
    const VOWCHAR* pszNewName = nullptr;
    const VOWCHAR* pszPhysicPath = nullptr;
    node.dwEventParam0 = info.dwEventParam0;
    node.dwEventParam1 = info.dwEventParam1;
    node.dwEventParam2 = info.dwEventParam2;
    node.ullTime = ullTime;

    // Both may be texts of the pool, which the path moves.
    pszNewName = newName.Take(info.pszNewName);
    pszPhysicPath = physicPath.Take(info.pszPhysicPath);
    node.hstrPath = m_pkStringSet != nullptr ? m_pkStringSet->Insert(info.pszPath) : INVALID_HANDLE_VALUE;
    VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != node.hstrPath);
    if (pszNewName != nullptr)
    {
        node.hstrNewName = m_pkStringSet->Insert(pszNewName);
        VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != node.hstrNewName);
    }
    if (pszPhysicPath != nullptr)
    {
        node.hstrPhysicPath = m_pkStringSet->Insert(pszPhysicPath);
        VO_PROCESS_ERROR(INVALID_HANDLE_VALUE != node.hstrPhysicPath);
    }
    if (!m_vecFileEvent.PushBack(node))
    {
        VO_PROCESS_ERROR_FALSE;
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileEventContainer::GetEvent(std::vector<structFileEventNode>& vecEvent, unsigned long long beginTime,
                                     unsigned long long endTime)
{
    int nResult = 0;
    VO_PROCESS_ERROR(endTime >= beginTime);
    if (m_vecFileEvent.Count() == 0)
    {
        return 0;
    }
    for (unsigned int i = 0; i < m_vecFileEvent.Count(); ++i)
    {
        const structFileEventNode node = m_vecFileEvent[i];
        if (node.ullTime >= beginTime && node.ullTime <= endTime)
        {
            vecEvent.push_back(node);
        }
    }
    nResult = vecEvent.empty() ? 0 : 1;

Exit0:
    return nResult;
}

int VOTSFileEventContainer::RemoveEvent(unsigned long long ullTime)
{
    // From the last position to the first, and at each place only one record moves: publishers and their readers count
    // on what is left then.
    for (unsigned int i = m_vecFileEvent.Count(); i-- > 0;)
    {
        if (m_vecFileEvent[i].ullTime > ullTime)
        {
            continue;
        }
        if (m_vecFileEvent.Capacity() == 0)
        {
            // An attached image isn't written to.
            m_vecFileEvent.Reserve(m_vecFileEvent.Count());
        }
        m_vecFileEvent.Remove(i);
    }
    return 1;
}

const VOWCHAR* VOTSFileEventContainer::GetString(void* hString) const
{
    const VOWCHAR* pszResult = nullptr;
    VO_PROCESS_ERROR(m_pkStringSet);
    pszResult = m_pkStringSet->GetString(hString);

Exit0:
    return pszResult;
}

int VOTSFileEventContainer::CleanUp()
{
    int nResult = 0;
    VO_PROCESS_ERROR(m_pkStringSet);
    VO_PROCESS_ERROR(m_pkStringSet->CleanUp());

    // Nothing may be answered from an image that can go away now; memory of its own stays for the next use.
    m_pkStringSet->DropViews();
    m_vecFileEvent.Clean();
    m_vecFileEvent.DropView();
    nResult = 1;

Exit0:
    return nResult;
}

VOTSFileEventContainer::ContainerAlloc* VOTSFileEventContainer::GetAlloc()
{
    ContainerAlloc* pResult = nullptr;
    std::unique_ptr<unsigned char, decltype(&free)> pbAlloc(nullptr, &free);
    ContainerAlloc kHead = {};
    unsigned long long uMemoryBufSize = 0;
    unsigned char* pbBlock = nullptr;
    VO_PROCESS_ERROR(m_pkStringSet);

    // A part that a size word can't name fails here, before anything is made.
    VO_PROCESS_ERROR_AS("pStringAlloc", m_pkStringSet->AllocSize() <= kVOMaxImageSize);
    VO_PROCESS_ERROR_AS("pFileEventAlloc", m_vecFileEvent.AllocSize() <= kVOMaxImageSize);
    uMemoryBufSize = sizeof(ContainerAlloc) + m_pkStringSet->AllocSize() + m_vecFileEvent.AllocSize();
    VO_PROCESS_ERROR_AS("uMemoryBufSize", uMemoryBufSize <= kVOMaxImageSize);

    memcpy(kHead.szVersion, FILEEVENT_CAONTAINER_VERSION, sizeof(kHead.szVersion));
    kHead.uStringPoolSize = static_cast<unsigned int>(m_pkStringSet->AllocSize());
    kHead.uFileEventBufSize = static_cast<unsigned int>(m_vecFileEvent.AllocSize());
    kHead.uDataBufSize = static_cast<unsigned int>(uMemoryBufSize - sizeof(ContainerAlloc));

    pbAlloc.reset(static_cast<unsigned char*>(VOAllocateImage(uMemoryBufSize)));
    memcpy(pbAlloc.get(), &kHead, offsetof(ContainerAlloc, abData));
    pbBlock = pbAlloc.get() + offsetof(ContainerAlloc, abData);
    VO_PROCESS_ERROR_AS("pStringAlloc", m_pkStringSet->WriteAlloc(pbBlock));
    m_vecFileEvent.WriteAlloc(pbBlock + kHead.uStringPoolSize);
    pResult = reinterpret_cast<ContainerAlloc*>(pbAlloc.release());

Exit0:
    return pResult;
}

int VOTSFileEventContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOTSFileEventContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    int nResult = 0;
    ContainerAlloc kHead = {};
    unsigned char* pbBlock = nullptr;
    VOStringHashSet::StringHashSetAlloc* pStringPoolAlloc = nullptr;
    const VORecordVectorAlloc* pFileEventAlloc = nullptr;
    VO_PROCESS_ERROR(pAlloc);
    VO_PROCESS_ERROR(sizeof(ContainerAlloc) <= ullSize);
    kHead = VOLoad<ContainerAlloc>(pAlloc);
    VO_PROCESS_ERROR_AS("::strcmp(pAlloc->szVersion, FILEEVENT_CAONTAINER_VERSION) == 0",
                        memcmp(kHead.szVersion, FILEEVENT_CAONTAINER_VERSION, sizeof(kHead.szVersion)) == 0);
    VO_PROCESS_ERROR_AS("pAlloc->uDataBufSize == pAlloc->uStringPoolSize+ pAlloc->uFileEventBufSize",
                        kHead.uDataBufSize == 0ull + kHead.uStringPoolSize + kHead.uFileEventBufSize);
    VO_PROCESS_ERROR(kHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc));

    CleanUp();
    pbBlock = reinterpret_cast<unsigned char*>(pAlloc) + offsetof(ContainerAlloc, abData);
    pStringPoolAlloc = reinterpret_cast<VOStringHashSet::StringHashSetAlloc*>(pbBlock);
    pFileEventAlloc = reinterpret_cast<VORecordVectorAlloc*>(pbBlock + kHead.uStringPoolSize);
    VO_PROCESS_ERROR_AS("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)",
                        m_pkStringSet && m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy, kHead.uStringPoolSize));
    VO_PROCESS_ERROR_AS("m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy)",
                        m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy, kHead.uFileEventBufSize));
    nResult = 1;

Exit0:
    return nResult;
}
