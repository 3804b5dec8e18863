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
    explicit Listener(EventStream* pStream) : m_pStream(pStream) {}

    int OnFileEvent(const FileEventParam* pParam) override
    {
        m_pStream->_Take(ChangeOf(*pParam));
        return 1;
    }

private:
    EventStream* m_pStream;
};

EventStream::~EventStream()
{
    if (m_pAssemble != nullptr)
    {
        // The threads end before what they call does.
        m_pAssemble->Stop();
        VOTSFileEventMappingAssemble::Release();
    }
    for (Listener* pListener : m_vecListeners)
    {
        pListener->Release();
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
    m_pAssemble = VOTSFileEventMappingAssemble::Instance();
    for (const enumAssetFrom eafOne : AllSources())
    {
        if (eaf && *eaf != eafOne)
        {
            continue;
        }
        Listener* const pListener = new Listener(this);
        m_vecListeners.push_back(pListener);
        if (m_pAssemble->BindListener(eafOne, pListener) == 0)
        {
            pListener->Release();
            m_vecListeners.pop_back();
        }
    }
    if (m_vecListeners.empty())
    {
        *pstrError = eaf ? fmt::format("no events of {} are published", SourceName(*eaf)) : "no events are published";
        return false;
    }
    m_pAssemble->Run();
    return true;
}

void EventStream::_Take(Change change)
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_arrivals.push_back(std::move(change));
    }
    m_arrived.notify_one();
}

std::optional<Change> EventStream::Next(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> guard(m_lock);
    if (!m_arrived.wait_for(guard, time, [this] { return !m_arrivals.empty(); }))
    {
        return std::nullopt;
    }
    Change change = std::move(m_arrivals.front());
    m_arrivals.pop_front();
    return change;
}

}  // namespace lum
