#include "reader/event_stream.h"

#include <fmt/format.h>

#include "base/console.h"
#include "base/sources.h"
#include "platform/vo_section_view.h"
#include "publish/event_publisher.h"
#include "scan/source_index.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

std::string_view EventKindName(unsigned uKind)
{
    switch (static_cast<ChangeKind>(uKind))
    {
        case ChangeKind::Added:
            return "added";
        case ChangeKind::Removed:
            return "removed";
        case ChangeKind::Renamed:
            return "renamed";
        case ChangeKind::Modified:
            return "modified";
        default:
            return "event";
    }
}

class EventStream::Listener : public IVOTSFileEventListener
{
public:
    explicit Listener(EventStream* pkStream) : m_pkStream(pkStream) {}

    int OnFileEvent(const FileEventParam* pParam) override
    {
        m_pkStream->_Take(*pParam);
        return 1;
    }

private:
    EventStream* m_pkStream;
};

EventStream::~EventStream()
{
    if (m_pkAssemble != nullptr)
    {
        // The threads end before what they call does.
        m_pkAssemble->Stop();
        VOTSFileEventMappingAssemble::Release();
    }
    for (Listener* pkListener : m_vecListeners)
    {
        pkListener->Release();
    }
}

bool EventStream::Open(std::optional<enumAssetFrom> eaf, std::string* pstrError)
{
    // Asked first: the library would report the missing section as an error.
    if (VOSectionView().OpenHandle(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, FILE_MAP_READ) == nullptr)
    {
        *pstrError = kNothingPublished;
        return false;
    }
    m_pkAssemble = VOTSFileEventMappingAssemble::Instance();
    for (const enumAssetFrom eafOne : AllSources())
    {
        if (eaf && *eaf != eafOne)
        {
            continue;
        }
        Listener* const pkListener = new Listener(this);
        m_vecListeners.push_back(pkListener);
        if (m_pkAssemble->BindListener(eafOne, pkListener) == 0)
        {
            pkListener->Release();
            m_vecListeners.pop_back();
        }
    }
    if (m_vecListeners.empty())
    {
        *pstrError = eaf ? fmt::format("no events of {} are published", SourceName(*eaf)) : "no events are published";
        return false;
    }
    m_pkAssemble->Run();
    return true;
}

void EventStream::_Take(const FileEventParam& kParam)
{
    StreamEvent kEvent;
    kEvent.eaf = kParam.eaf;
    kEvent.uKind = kParam.dwEventParam0;
    kEvent.bFolder = (kParam.dwEventParam1 & kEventFolder) != 0;
    kEvent.uRoots = kParam.dwEventParam2;
    kEvent.strPath = VOTextOf(kParam.pszPath);
    kEvent.strNewName = VOTextOf(kParam.pszNewName);
    kEvent.strPhysicalPath = VOTextOf(kParam.pszPhysicPath);
    kEvent.ullTime = kParam.ullTime;
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        m_dequeEvents.push_back(std::move(kEvent));
    }
    m_kArrived.notify_one();
}

std::optional<StreamEvent> EventStream::Next(std::chrono::milliseconds kTime)
{
    std::unique_lock<std::mutex> kGuard(m_kLock);
    if (!m_kArrived.wait_for(kGuard, kTime, [this] { return !m_dequeEvents.empty(); }))
    {
        return std::nullopt;
    }
    StreamEvent kEvent = std::move(m_dequeEvents.front());
    m_dequeEvents.pop_front();
    return kEvent;
}

}  // namespace lum
