#include "live/live_server.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/console.h"
#include "base/sources.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"

using namespace LUMTrayService;
using namespace std::chrono_literals;

namespace lum
{

namespace
{

// A burst of changes is gathered until nothing has come for the first time, or the second one is over.
constexpr auto kQuiet = 30ms;
constexpr auto kGather = 200ms;

// How often a source is published at most; and for at most a third of the time, however large it is.
constexpr auto kPublishInterval = 250ms;
constexpr int kPublishShare = 2;

// A publication that failed, for want of space as a rule, is tried again after this time.
constexpr auto kRetry = 5000ms;

// A request to stop is seen this soon.
constexpr auto kTurn = 200ms;

// What was added, or modified, since the last publication needn't be told as modified again.
void DropRepetitions(Changes* pChanges)
{
    std::set<VOWString> setTold;
    std::erase_if(*pChanges,
                  [&setTold](const Change& change)
                  {
                      switch (change.eKind)
                      {
                          case ChangeKind::Added:
                              setTold.insert(change.strPath);
                              return false;
                          case ChangeKind::Modified:
                              return !setTold.insert(change.strPath).second;
                          default:
                              // Paths below a renamed folder are others now.
                              setTold.clear();
                              return false;
                      }
                  });
}

}  // namespace

struct LiveServer::Served
{
    Served(const SourceSpec& spec, const std::vector<ClassifyType>& vecTypes, HintSignal* pSignal)
        : source(spec, vecTypes, pSignal)
    {
    }

    LiveSource source;
    Changes untold;            // in the index; told once a published image has them
    bool bImageDue = false;    // what was last taken from the index isn't published
    bool bEventsDue = false;   // what was last appended isn't published
    bool bRoadFailed = false;  // and was told of
    LiveClock::time_point nextPublication;
    LiveClock::time_point nextRoad;  // not before

    bool IsDue() const { return source.HasChanged() || !untold.empty() || bImageDue || bEventsDue; }

    unsigned long long ullPublications = 0;
};

LiveServer::LiveServer(const std::vector<ClassifyType>& vecTypes, bool bFollow, bool bClassic)
    : m_vecTypes(vecTypes), m_bFollow(bFollow), m_bClassic(bClassic), m_publisher(m_road)
{
}

LiveServer::~LiveServer() = default;

bool LiveServer::Start(const std::vector<SourceSpec>& vecSpecs, std::string* pstrError)
{
    if (!m_publisher.Acquire(pstrError))
    {
        return false;
    }
    std::vector<SourceImage> vecImages;
    std::vector<enumAssetFrom> vecSources;
    for (const SourceSpec& spec : vecSpecs)
    {
        m_vecSources.push_back(std::make_unique<Served>(spec, m_vecTypes, &m_signal));
        LiveSource& source = m_vecSources.back()->source;
        vecImages.emplace_back();
        if (!source.Open(m_bFollow, pstrError) || !source.MakeImage(&vecImages.back(), pstrError))
        {
            return false;
        }
        vecSources.push_back(spec.eaf);
    }
    const bool bRoad = m_road.Open();
    if (m_bClassic)
    {
        m_road.Withdraw();  // what a killed publisher left is gone then
    }
    else if (!bRoad)
    {
        Complain(fmt::format("tools have to unpack the images: the section beside them can't be made (system error {})",
                             GetLastError()));
    }
    // The events first: a tool that finds the images can bind its listeners.
    if (!m_events.Open(vecSources, pstrError) || !m_publisher.Publish(vecImages, pstrError))
    {
        m_events.Withdraw();
        return false;
    }
    m_status.Open(m_bFollow);
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        _PublishRoad(pServed.get());
        pServed->ullPublications = 1;
        _SetStatus(*pServed);
    }
    return true;
}

// The second road is an offer: where there is no room for it readers take the images.
void LiveServer::_PublishRoad(Served* pServed)
{
    if (!m_road.IsOpen() || pServed->nextRoad > LiveClock::now())
    {
        return;
    }
    const bool bPublished = m_road.Publish(pServed->source.From(), pServed->source.Container());
    if (!bPublished && !pServed->bRoadFailed)
    {
        Complain(pServed->source.From(),
                 fmt::format("tools have to unpack the image: it can't be published as it is (system error {}); it is "
                             "tried again",
                             GetLastError()));
    }
    _SetRoad(pServed, bPublished);
}

void LiveServer::_SetRoad(Served* pServed, bool bPublished)
{
    pServed->bRoadFailed = !bPublished;
    pServed->nextRoad = bPublished ? LiveClock::time_point() : LiveClock::now() + kRetry;
}

unsigned LiveServer::NodeCount() const
{
    unsigned uNodes = 0;
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        uNodes += pServed->source.NodeCount();
    }
    return uNodes;
}

bool LiveServer::Run(std::string* pstrError)
{
    while (!VOStopRequested())
    {
        // A turn that a request cut short has not failed.
        if (!Turn(kTurn, pstrError) && !VOStopRequested())
        {
            Withdraw();
            return false;
        }
    }
    Withdraw();
    return true;
}

bool LiveServer::Turn(std::chrono::milliseconds longest, std::string* pstrError)
{
    const LiveClock::time_point start = LiveClock::now();
    LiveClock::time_point due = start + longest;
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        due = std::min(due, pServed->source.NextDue());
        if (pServed->IsDue())
        {
            due = std::min(due, pServed->nextPublication);
        }
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due - start);
    if (m_signal.WaitFor(std::max<std::chrono::milliseconds>(wait, 0ms)))
    {
        const LiveClock::time_point end = LiveClock::now() + kGather;
        while (LiveClock::now() < end && m_signal.WaitFor(kQuiet))
        {
        }
    }
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        if (!pServed->source.Work(LiveClock::now(), &pServed->untold, pstrError))
        {
            return false;
        }
        if (pServed->source.HasChanged())
        {
            _PublishRoad(pServed.get());
        }
        if (pServed->IsDue() && pServed->nextPublication <= LiveClock::now())
        {
            std::string strError;
            if (!_Publish(pServed.get(), &strError))
            {
                // What is published stays, and is right but for the latest changes.
                Complain(fmt::format("{}; it is tried again", strError));
                pServed->nextPublication = LiveClock::now() + kRetry;
            }
        }
        _SetStatus(*pServed);
    }
    return true;
}

// The image first: who is told of an event finds it in the index.
bool LiveServer::_Publish(Served* pServed, std::string* pstrError)
{
    const LiveClock::time_point start = LiveClock::now();
    LiveSource& source = pServed->source;
    if (source.HasChanged() || pServed->bImageDue)
    {
        SourceImage image;
        pServed->bImageDue = true;
        if (!source.MakeImage(&image, pstrError))
        {
            return false;
        }
        if (!m_publisher.PublishSource(image, pstrError))
        {
            // The base may be what takes the room. All readers can do with the image, and only some with a base.
            m_road.Remove(source.From());
            _SetRoad(pServed, false);
            if (!m_publisher.PublishSource(image, pstrError))
            {
                return false;
            }
        }
        pServed->bImageDue = false;
        ++pServed->ullPublications;
    }
    if (!pServed->untold.empty() || pServed->bEventsDue)
    {
        DropRepetitions(&pServed->untold);
        pServed->bEventsDue = true;
        if (!m_events.Publish(source.From(), &pServed->untold, pstrError))
        {
            return false;
        }
        pServed->bEventsDue = false;
    }
    const LiveClock::time_point end = LiveClock::now();
    pServed->nextPublication = end + std::max<LiveClock::duration>(kPublishInterval, kPublishShare * (end - start));
    return true;
}

void LiveServer::_SetStatus(const Served& served)
{
    SourceStatus status = served.source.Status();
    status.ullPublications = served.ullPublications;
    const VORoadPublisher::Counts counts = m_road.CountsOf(served.source.From());
    status.ullBases = counts.ullGenerations;
    status.ullBatches = counts.ullBatches;
    status.ullAttached = counts.ullAttached;
    status.ullDoubted = counts.ullDoubted;
    m_status.Set(served.source.From(), status);
}

// The images before the events: a tool that finds no image doesn't wait for events of it.
void LiveServer::Withdraw()
{
    m_publisher.Withdraw();
    m_road.Withdraw();
    m_events.Withdraw();
}

}  // namespace lum
