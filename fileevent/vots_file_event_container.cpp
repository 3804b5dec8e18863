// A log of file events: records of a fixed size and a pool with their texts, and the image that both make.
//
//   head | string set | record vector | tail
//
// docs/wire-formats.md has every byte.
#include <memory>

#include "containers/text_access.h"
#include "diagnostics/check.h"
#include "platform/vo_owners.h"
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

// A container and its copies refer to one set, and the last of them to go takes it along. Never destroyed: a container
// of static duration may end later than this would.
VOFurtherOwners<VOStringHashSet>& PoolOwners()
{
    static VONeverDestroyed<VOFurtherOwners<VOStringHashSet>> s_owners;
    return s_owners.Get();
}

}  // namespace

VOTSFileEventContainer::VOTSFileEventContainer(enumAssetRole eRole) : m_eAssetRole(eRole), m_pkStringSet(NewPool(eRole))
{
    (void)VO_STEP(m_pkStringSet);
}

VOTSFileEventContainer::~VOTSFileEventContainer()
{
    if (m_pkStringSet != nullptr && !PoolOwners().Take(m_pkStringSet))
    {
        delete m_pkStringSet;
    }
}

VOTSFileEventContainer::VOTSFileEventContainer(const VOTSFileEventContainer& rkOther)
    : m_eAssetRole(rkOther.m_eAssetRole), m_pkStringSet(rkOther.m_pkStringSet), m_vecFileEvent(rkOther.m_vecFileEvent)
{
    if (m_pkStringSet != nullptr)
    {
        PoolOwners().Add(m_pkStringSet);
    }
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
    structFileEventNode node;
    node.dwEventParam0 = info.dwEventParam0;
    node.dwEventParam1 = info.dwEventParam1;
    node.dwEventParam2 = info.dwEventParam2;
    node.ullTime = ullTime;

    // Both may be texts of the pool, which the path moves.
    VOTextCopy newName;
    VOTextCopy physicPath;
    const VOWCHAR* const pszNewName = newName.Take(info.pszNewName);
    const VOWCHAR* const pszPhysicPath = physicPath.Take(info.pszPhysicPath);
    const auto HandleOfText = [this](const VOWCHAR* pszText)
    { return pszText != nullptr ? m_pkStringSet->Insert(pszText) : INVALID_HANDLE_VALUE; };
    node.hstrPath = m_pkStringSet != nullptr ? m_pkStringSet->Insert(info.pszPath) : INVALID_HANDLE_VALUE;
    if (!VO_STEP(INVALID_HANDLE_VALUE != node.hstrPath))
    {
        return 0;
    }
    node.hstrNewName = HandleOfText(pszNewName);
    if (pszNewName != nullptr && !VO_STEP(INVALID_HANDLE_VALUE != node.hstrNewName))
    {
        return 0;
    }
    node.hstrPhysicPath = HandleOfText(pszPhysicPath);
    return (pszPhysicPath == nullptr || VO_STEP(INVALID_HANDLE_VALUE != node.hstrPhysicPath)) &&
           VO_STEP_OR_FALSE(m_vecFileEvent.PushBack(node));
}

int VOTSFileEventContainer::GetEvent(std::vector<structFileEventNode>& vecEvent, unsigned long long beginTime,
                                     unsigned long long endTime)
{
    if (!VO_STEP(endTime >= beginTime) || m_vecFileEvent.Count() == 0)
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
    return vecEvent.empty() ? 0 : 1;
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
    return VO_STEP(m_pkStringSet) ? m_pkStringSet->GetString(hString) : nullptr;
}

int VOTSFileEventContainer::CleanUp()
{
    if (!VO_STEP(m_pkStringSet) || !VO_STEP(m_pkStringSet->CleanUp()))
    {
        return 0;
    }
    // Nothing may be answered from an image that can go away now; memory of its own stays for the next use.
    m_pkStringSet->DropViews();
    m_vecFileEvent.Clean();
    m_vecFileEvent.DropView();
    return 1;
}

VOTSFileEventContainer::ContainerAlloc* VOTSFileEventContainer::GetAlloc()
{
    if (!VO_STEP(m_pkStringSet))
    {
        return nullptr;
    }
    // A part that a size word can't name fails here, before anything is made.
    const unsigned long long ullStrings = m_pkStringSet->AllocSize();
    const unsigned long long ullEvents = m_vecFileEvent.AllocSize();
    const unsigned long long uMemoryBufSize = sizeof(ContainerAlloc) + ullStrings + ullEvents;
    if (!VO_STEP_AS("pStringAlloc", ullStrings <= kVOMaxImageSize) ||
        !VO_STEP_AS("pFileEventAlloc", ullEvents <= kVOMaxImageSize) ||
        !VO_STEP_AS("uMemoryBufSize", uMemoryBufSize <= kVOMaxImageSize))
    {
        return nullptr;
    }
    const ContainerAlloc head = {.szVersion = FILEEVENT_CAONTAINER_VERSION,
                                 .uStringPoolSize = static_cast<unsigned int>(ullStrings),
                                 .uFileEventBufSize = static_cast<unsigned int>(ullEvents),
                                 .uDataBufSize = static_cast<unsigned int>(ullStrings + ullEvents),
                                 .abData = {}};
    std::unique_ptr<unsigned char, VOFreeBlock> pbAlloc(static_cast<unsigned char*>(VOAllocateImage(uMemoryBufSize)));
    memcpy(pbAlloc.get(), &head, offsetof(ContainerAlloc, abData));
    unsigned char* const pbBlock = pbAlloc.get() + offsetof(ContainerAlloc, abData);
    if (!VO_STEP_AS("pStringAlloc", m_pkStringSet->WriteAlloc(pbBlock)))
    {
        return nullptr;
    }
    m_vecFileEvent.WriteAlloc(pbBlock + ullStrings);
    return reinterpret_cast<ContainerAlloc*>(pbAlloc.release());
}

int VOTSFileEventContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOTSFileEventContainer::SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize)
{
    if (!VO_STEP(pAlloc) || !VO_STEP(sizeof(ContainerAlloc) <= ullSize))
    {
        return 0;
    }
    const ContainerAlloc kHead = VOLoad<ContainerAlloc>(pAlloc);
    if (!VO_STEP_AS("::strcmp(pAlloc->szVersion, FILEEVENT_CAONTAINER_VERSION) == 0",
                    VOIsVersion(kHead.szVersion, FILEEVENT_CAONTAINER_VERSION)) ||
        !VO_STEP_AS("pAlloc->uDataBufSize == pAlloc->uStringPoolSize+ pAlloc->uFileEventBufSize",
                    kHead.uDataBufSize == 0ull + kHead.uStringPoolSize + kHead.uFileEventBufSize) ||
        !VO_STEP(kHead.uDataBufSize <= ullSize - sizeof(ContainerAlloc)))
    {
        return 0;
    }
    CleanUp();
    unsigned char* const pbBlock = reinterpret_cast<unsigned char*>(pAlloc) + offsetof(ContainerAlloc, abData);
    auto* const pStringPoolAlloc = reinterpret_cast<VOStringHashSet::StringHashSetAlloc*>(pbBlock);
    const auto* const pFileEventAlloc = reinterpret_cast<VORecordVectorAlloc*>(pbBlock + kHead.uStringPoolSize);
    return VO_STEP_AS("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)",
                      m_pkStringSet && m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy, kHead.uStringPoolSize)) &&
           VO_STEP_AS("m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy)",
                      m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy, kHead.uFileEventBufSize));
}
