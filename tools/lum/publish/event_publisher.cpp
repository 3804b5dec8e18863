#include "publish/event_publisher.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>

#include "base/sources.h"
#include "platform/fault_points.h"
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
    return static_cast<FileEventUpdateState*>(m_state.Data())->arrStateInfo[eaf];
}

// Microseconds since 1970, and always more than before, whatever the clock does.
unsigned long long EventPublisher::_NextTime()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const unsigned long long ullNow =
        static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    m_ullLastTime = std::max(ullNow, m_ullLastTime + 1);
    return m_ullLastTime;
}

// Times go on from those of a former publisher, which readers that still live compare with.
bool EventPublisher::_TakeState(std::string* pstrError)
{
    if (!m_state.OpenOrCreate(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, sizeof(FileEventUpdateState)))
    {
        *pstrError = fmt::format("the update state section of events can't be made (system error {})", GetLastError());
        return false;
    }
    FileEventUpdateState* const pState = static_cast<FileEventUpdateState*>(m_state.Data());
    const bool bTaken =
        memcmp(pState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION, sizeof(pState->szVersion)) == 0;
    for (FileEventStateInfo& record : pState->arrStateInfo)
    {
        VOStoreWord(record.bEnable, 0u);
        if (!bTaken || VOLoadWord(record.uActiveSlot) > 1)
        {
            VOStoreWord(record.uActiveSlot, 0u);
            VOStoreWord(record.ullUpdateTime[0], 0ull);
            VOStoreWord(record.ullUpdateTime[1], 0ull);
        }
        for (unsigned long long& ullWord : record.ullUpdateTime)
        {
            // All ones is no time.
            const unsigned long long ullTime = VOLoadWord(ullWord);
            m_ullLastTime = ullTime + 1 != 0 ? std::max(m_ullLastTime, ullTime) : m_ullLastTime;
        }
    }
    StoreVersion(pState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION);
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
        m_akSources[eaf].pContainer = std::make_unique<VOTSFileEventContainer>(AR_Provider);
        const std::unique_ptr<EventImage> pImage = MakeImage(eaf, pstrError);
        if (pImage == nullptr || !Publish(eaf, *pImage, pstrError))
        {
            Withdraw();
            return false;
        }
        VOStoreWord(_Record(eaf).bEnable, 1u);
    }
    return true;
}

bool EventPublisher::Append(enumAssetFrom eaf, Changes* pChanges, std::string* pstrError)
{
    Source& source = m_akSources[eaf];
    while (!pChanges->empty())
    {
        if (VO_FAULT_POINT("events.append") ||
            source.pContainer->AppendEvent(EventOf(pChanges->front()), _NextTime()) == 0)
        {
            *pstrError = fmt::format("the events of {} don't fit an image", SourceName(eaf));
            return false;
        }
        ++source.uEvents;
        pChanges->pop_front();
    }
    m_road.PublishEvents(eaf, *source.pContainer, m_ullLastTime);
    return true;
}

// Removing by time is exact only for all events or none, and leaves their texts: so the recent ones are entered into a
// container of their own.
void EventPublisher::_DropOldEvents(Source* pSource)
{
    if (pSource->uEvents <= kKeepCount)
    {
        return;
    }
    const unsigned long long ullNow = _NextTime();
    std::vector<structFileEventNode> vecRecent;
    pSource->pContainer->GetEvent(vecRecent, ullNow - std::min(ullNow, kKeepTime), ullNow);
    if (vecRecent.size() > pSource->uEvents / 2)
    {
        return;
    }
    std::unique_ptr<VOTSFileEventContainer> pFresh = std::make_unique<VOTSFileEventContainer>(AR_Provider);
    const auto TextOf = [pSource](void* hString)
    { return hString == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(pSource->pContainer->GetString(hString)); };
    for (const structFileEventNode& node : vecRecent)
    {
        const VOWString strPath = TextOf(node.hstrPath);
        const VOWString strNewName = TextOf(node.hstrNewName);
        const VOWString strPhysicalPath = TextOf(node.hstrPhysicPath);
        VOTSFileEventContainer::Info about;
        about.dwEventParam0 = node.dwEventParam0;
        about.dwEventParam1 = node.dwEventParam1;
        about.dwEventParam2 = node.dwEventParam2;
        about.pszPath = strPath.c_str();
        about.pszNewName = strNewName.c_str();
        about.pszPhysicPath = strPhysicalPath.c_str();
        if (pFresh->AppendEvent(about, node.ullTime) == 0)
        {
            return;
        }
    }
    pSource->pContainer = std::move(pFresh);
    pSource->uEvents = vecRecent.size();
}

// The time is above that of every event in the image, so that none is asked for twice.
std::unique_ptr<EventImage> EventPublisher::MakeImage(enumAssetFrom eaf, std::string* pstrError)
{
    Source& source = m_akSources[eaf];
    _DropOldEvents(&source);
    auto pImage = std::make_unique<EventImage>();
    pImage->pImage.reset(source.pContainer->GetAlloc());
    if (pImage->pImage == nullptr)
    {
        *pstrError = fmt::format("the events of {} don't fit an image", SourceName(eaf));
        return nullptr;
    }
    pImage->ullTime = _NextTime();
    m_road.PublishEvents(eaf, *source.pContainer, pImage->ullTime);
    return pImage;
}

bool EventPublisher::Publish(enumAssetFrom eaf, const EventImage& image, std::string* pstrError)
{
    Source& source = m_akSources[eaf];
    FileEventStateInfo& record = _Record(eaf);
    const unsigned uSlot = 1 - (VOLoadWord(record.uActiveSlot) & 1);
    WaitForReaders(record.uReaderCount[uSlot], &source.auLeftReaders[uSlot]);
    if (!source.akData[uSlot].Replace(SectionName(eaf, uSlot).c_str(), image.pImage.get(),
                                      size_t{image.pImage->uDataBufSize} + sizeof(*image.pImage)))
    {
        *pstrError =
            fmt::format("the event section of {} can't be made (system error {})", SourceName(eaf), GetLastError());
        return false;
    }
    VOStoreWord(record.ullUpdateTime[uSlot], image.ullTime);
    VOStoreWord(record.uActiveSlot, uSlot);
    return true;
}

void EventPublisher::_WithdrawSource(enumAssetFrom eaf)
{
    FileEventStateInfo& record = _Record(eaf);
    VOStoreWord(record.bEnable, 0u);
    for (unsigned uSlot = 0; uSlot < 2; ++uSlot)
    {
        Source& source = m_akSources[eaf];
        WaitForReaders(record.uReaderCount[uSlot], &source.auLeftReaders[uSlot]);
        WithdrawSection(SectionName(eaf, uSlot).c_str(), &source.akData[uSlot]);
    }
}

void EventPublisher::Withdraw()
{
    if (m_state.Data() != nullptr)
    {
        for (const enumAssetFrom eaf : AllSources())
        {
            _WithdrawSource(eaf);
        }
        m_state.Withdraw();
    }
}

}  // namespace lum
