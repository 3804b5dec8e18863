#include "publish/event_publisher.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>

#include "base/sources.h"
#include "platform/fault_points.h"
#include "platform/vo_owners.h"
#include "platform/vo_platform.h"
#include "publish/shared_words.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// Events are kept this long, in microseconds: a tool that doesn't look for longer has to load the index anew.
constexpr unsigned long long kKeepTime = 30'000'000;

// As long as there are fewer, nothing is dropped.
constexpr size_t kKeepCount = 4096;

VOWString SectionName(enumAssetFrom eaf, unsigned uSlot)
{
    VOWString strName(FILEEVENT_MAPPING_VIEW_STRING(eaf));
    strName += static_cast<VOWCHAR>('0' + uSlot);
    return strName;
}

}  // namespace

EventPublisher::~EventPublisher()
{
    Withdraw();
}

FileEventStateInfo& EventPublisher::_Record(enumAssetFrom eaf)
{
    return static_cast<FileEventUpdateState*>(m_kState.Data())->arrStateInfo[eaf];
}

// Microseconds since 1970, and always more than before, whatever the clock does.
unsigned long long EventPublisher::_NextTime()
{
    const auto kNow = std::chrono::system_clock::now().time_since_epoch();
    const unsigned long long ullNow =
        static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::microseconds>(kNow).count());
    m_ullLastTime = std::max(ullNow, m_ullLastTime + 1);
    return m_ullLastTime;
}

// Times go on from those of a former publisher, which readers that still live compare with.
bool EventPublisher::_TakeState(std::string* pstrError)
{
    if (!m_kState.OpenOrCreate(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, sizeof(FileEventUpdateState)))
    {
        *pstrError = fmt::format("the update state section of events can't be made (system error {})", GetLastError());
        return false;
    }
    FileEventUpdateState* const pkState = static_cast<FileEventUpdateState*>(m_kState.Data());
    const bool bTaken =
        memcmp(pkState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION, sizeof(pkState->szVersion)) == 0;
    for (FileEventStateInfo& rkRecord : pkState->arrStateInfo)
    {
        VOStoreWord(rkRecord.bEnable, 0u);
        if (!bTaken || VOLoadWord(rkRecord.uActiveSlot) > 1)
        {
            VOStoreWord(rkRecord.uActiveSlot, 0u);
            VOStoreWord(rkRecord.ullUpdateTime[0], 0ull);
            VOStoreWord(rkRecord.ullUpdateTime[1], 0ull);
        }
        for (unsigned long long& rullTime : rkRecord.ullUpdateTime)
        {
            // All ones is no time.
            const unsigned long long ullTime = VOLoadWord(rullTime);
            m_ullLastTime = ullTime + 1 != 0 ? std::max(m_ullLastTime, ullTime) : m_ullLastTime;
        }
    }
    StoreVersion(pkState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION);
    return true;
}

bool EventPublisher::Open(const std::vector<enumAssetFrom>& vecSources, std::string* pstrError)
{
    if (!_TakeState(pstrError))
    {
        return false;
    }
    for (const enumAssetFrom eaf : AllSources())
    {
        if (std::find(vecSources.begin(), vecSources.end(), eaf) == vecSources.end())
        {
            _WithdrawSource(eaf);
        }
    }
    for (const enumAssetFrom eaf : vecSources)
    {
        m_akSources[eaf].pkContainer = std::make_unique<VOTSFileEventContainer>(AR_Provider);
        if (!_PublishImage(eaf, pstrError))
        {
            Withdraw();
            return false;
        }
        VOStoreWord(_Record(eaf).bEnable, 1u);
    }
    return true;
}

bool EventPublisher::Publish(enumAssetFrom eaf, Changes* pkChanges, std::string* pstrError)
{
    Source& rkSource = m_akSources[eaf];
    _DropOldEvents(&rkSource);
    while (!pkChanges->empty())
    {
        if (VO_FAULT_POINT("events.append") ||
            rkSource.pkContainer->AppendEvent(EventOf(pkChanges->front()), _NextTime()) == 0)
        {
            *pstrError = fmt::format("the events of {} don't fit an image", SourceName(eaf));
            return false;
        }
        ++rkSource.uEvents;
        pkChanges->pop_front();
    }
    return _PublishImage(eaf, pstrError);
}

// Removing by time is exact only for all events or none, and leaves their texts: so the recent ones are entered into a
// container of their own.
void EventPublisher::_DropOldEvents(Source* pkSource)
{
    if (pkSource->uEvents <= kKeepCount)
    {
        return;
    }
    const unsigned long long ullNow = _NextTime();
    std::vector<structFileEventNode> vecRecent;
    pkSource->pkContainer->GetEvent(vecRecent, ullNow - std::min(ullNow, kKeepTime), ullNow);
    if (vecRecent.size() > pkSource->uEvents / 2)
    {
        return;
    }
    std::unique_ptr<VOTSFileEventContainer> pkFresh = std::make_unique<VOTSFileEventContainer>(AR_Provider);
    const auto TextOf = [pkSource](void* hString)
    { return hString == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(pkSource->pkContainer->GetString(hString)); };
    for (const structFileEventNode& kNode : vecRecent)
    {
        const VOWString strPath = TextOf(kNode.hstrPath);
        const VOWString strNewName = TextOf(kNode.hstrNewName);
        const VOWString strPhysicalPath = TextOf(kNode.hstrPhysicPath);
        VOTSFileEventContainer::Info kInfo;
        kInfo.dwEventParam0 = kNode.dwEventParam0;
        kInfo.dwEventParam1 = kNode.dwEventParam1;
        kInfo.dwEventParam2 = kNode.dwEventParam2;
        kInfo.pszPath = strPath.c_str();
        kInfo.pszNewName = strNewName.c_str();
        kInfo.pszPhysicPath = strPhysicalPath.c_str();
        if (pkFresh->AppendEvent(kInfo, kNode.ullTime) == 0)
        {
            return;
        }
    }
    pkSource->pkContainer = std::move(pkFresh);
    pkSource->uEvents = vecRecent.size();
}

// The time is above that of every event in the image, so that none is asked for twice.
bool EventPublisher::_PublishImage(enumAssetFrom eaf, std::string* pstrError)
{
    Source& rkSource = m_akSources[eaf];
    FileEventStateInfo& rkRecord = _Record(eaf);
    const unsigned uSlot = 1 - (VOLoadWord(rkRecord.uActiveSlot) & 1);
    const std::unique_ptr<VOTSFileEventContainer::ContainerAlloc, VOFreeBlock> pkImage(
        rkSource.pkContainer->GetAlloc());
    WaitForReaders(rkRecord.uReaderCount[uSlot], &rkSource.auLeftReaders[uSlot]);
    if (pkImage == nullptr || !rkSource.akData[uSlot].Replace(SectionName(eaf, uSlot).c_str(), pkImage.get(),
                                                              size_t{pkImage->uDataBufSize} + sizeof(*pkImage)))
    {
        *pstrError =
            fmt::format("the event section of {} can't be made (system error {})", SourceName(eaf), GetLastError());
        return false;
    }
    VOStoreWord(rkRecord.ullUpdateTime[uSlot], _NextTime());
    VOStoreWord(rkRecord.uActiveSlot, uSlot);
    return true;
}

void EventPublisher::_WithdrawSource(enumAssetFrom eaf)
{
    FileEventStateInfo& rkRecord = _Record(eaf);
    VOStoreWord(rkRecord.bEnable, 0u);
    for (unsigned uSlot = 0; uSlot < 2; ++uSlot)
    {
        Source& rkSource = m_akSources[eaf];
        WaitForReaders(rkRecord.uReaderCount[uSlot], &rkSource.auLeftReaders[uSlot]);
        WithdrawSection(SectionName(eaf, uSlot).c_str(), &rkSource.akData[uSlot]);
    }
}

void EventPublisher::Withdraw()
{
    if (m_kState.Data() != nullptr)
    {
        for (const enumAssetFrom eaf : AllSources())
        {
            _WithdrawSource(eaf);
        }
        m_kState.Withdraw();
    }
}

}  // namespace lum
