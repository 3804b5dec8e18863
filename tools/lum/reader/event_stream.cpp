#include "reader/event_stream.h"

#include <fmt/format.h>

#include "base/console.h"
#include "base/sources.h"
#include "platform/vo_section_view.h"

using namespace LUMTrayService;

namespace lum
{

class EventStream::Listener : public IVOTSFileEventListener
{
public:
    explicit Listener(EventStream* pkStream) : m_pkStream(pkStream) {}

    int OnFileEvent(const FileEventParam* pParam) override
    {
        m_pkStream->_Take(ChangeOf(*pParam));
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

void EventStream::_Take(Change kChange)
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        m_kArrivals.push_back(std::move(kChange));
    }
    m_kArrived.notify_one();
}

std::optional<Change> EventStream::Next(std::chrono::milliseconds kTime)
{
    std::unique_lock<std::mutex> kGuard(m_kLock);
    if (!m_kArrived.wait_for(kGuard, kTime, [this] { return !m_kArrivals.empty(); }))
    {
        return std::nullopt;
    }
    Change kChange = std::move(m_kArrivals.front());
    m_kArrivals.pop_front();
    return kChange;
}

}  // namespace lum
