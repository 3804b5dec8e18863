#include "live/live_server.h"

#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <set>
#include <thread>

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

// The first change after a pause goes out at once, but for what a program does to a new file in one go. What comes
// while that is worked on is gathered.
constexpr auto kOneGo = 2ms;
constexpr auto kGather = 20ms;

// How often a source's image is published at most; and for at most a third of the time, however large it is.
constexpr auto kPublishInterval = 250ms;
constexpr int kPublishShare = 2;

// A publication that failed, for want of space as a rule, is tried again after this time.
constexpr auto kRetry = 5000ms;

// A request to stop is seen this soon.
constexpr auto kTurn = 200ms;

// What was added, or modified, since events were told last needn't be told as modified again.
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

// What is to be published on the first road, of one moment; and then how it went.
struct LiveServer::Publication
{
    enumAssetFrom eaf;
    LiveClock::time_point start;
    bool bImage = false;  // the index has changed
    AssetImage pImage;    // or else what the image is made of
    std::unique_ptr<VORoadSnapshot> pSnapshot;
    std::unique_ptr<EventImage> pEvents;  // null when there is nothing to tell

    std::string strTooLarge;
    std::string strError;  // empty when all went well
    bool bNoRoom = false;  // the image didn't go into its section
};

struct LiveServer::Served
{
    Served(const SourceSpec& spec, const std::vector<ClassifyType>& vecTypes, HintSignal* pSignal)
        : source(spec, vecTypes, pSignal)
    {
    }

    LiveSource source;
    Changes untold;            // in the index; told once it is readable
    bool bImageDue = false;    // what was last taken from the index isn't published
    bool bEventsDue = false;   // what was last appended isn't published
    bool bRoadFailed = false;  // and was told of
    LiveClock::time_point nextPublication;
    LiveClock::time_point nextRoad;  // not before

    std::future<std::unique_ptr<Publication>> publication;  // under way

    bool IsDue() const
    {
        return !publication.valid() && (source.HasChanged() || !untold.empty() || bImageDue || bEventsDue);
    }

    unsigned long long ullPublications = 0;
};

LiveServer::LiveServer(const std::vector<ClassifyType>& vecTypes, bool bFollow, bool bClassic)
    : m_vecTypes(vecTypes), m_bFollow(bFollow), m_bClassic(bClassic), m_publisher(m_road), m_events(m_road)
{
}

LiveServer::~LiveServer()
{
    Withdraw();
}

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
        if (!source.Open(m_bFollow, pstrError))
        {
            return false;
        }
        vecImages.back().eaf = spec.eaf;
        const AssetImage pImage = source.MakeImage();
        if (pImage == nullptr || !CompressImage(pImage, &vecImages.back().vecBlock))
        {
            *pstrError = source.TooLarge();
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
bool LiveServer::_PublishRoad(Served* pServed)
{
    if (!m_road.IsOpen() || pServed->nextRoad > LiveClock::now())
    {
        return false;
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
    return bPublished;
}

// Tells of what is readable on the second road. What fails is told with the next image, or complained of there.
void LiveServer::_Tell(Served* pServed)
{
    std::string strError;
    DropRepetitions(&pServed->untold);
    pServed->bEventsDue = true;
    m_events.Append(pServed->source.From(), &pServed->untold, &strError);
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
        if (pServed->IsDue() && !_IsPublishing())
        {
            due = std::min(due, pServed->nextPublication);
        }
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due - start);
    if (m_signal.WaitFor(std::max<std::chrono::milliseconds>(wait, 0ms)))
    {
        std::this_thread::sleep_until(std::max(LiveClock::now() + kOneGo, m_lastWork + kGather));
        m_signal.Reset();
    }
    bool bChanged = false;
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        if (!pServed->source.Work(LiveClock::now(), &pServed->untold, pstrError))
        {
            return false;
        }
        bChanged = bChanged || !pServed->untold.empty();
        const bool bOnRoad = (pServed->source.HasChanged() || !pServed->untold.empty()) && _PublishRoad(pServed.get());
        if (bOnRoad && !pServed->untold.empty())
        {
            _Tell(pServed.get());
        }
        if (pServed->publication.valid() && pServed->publication.wait_for(0ms) != std::future_status::timeout)
        {
            _End(pServed.get());
        }
        if (pServed->IsDue() && !_IsPublishing() && pServed->nextPublication <= LiveClock::now())
        {
            _Begin(pServed.get());
        }
        _SetStatus(*pServed);
    }
    if (bChanged)
    {
        m_lastWork = LiveClock::now();
    }
    return true;
}

// Takes what there is to publish, and has it published beside what comes next: of a large index that takes a second.
void LiveServer::_Begin(Served* pServed)
{
    LiveSource& source = pServed->source;
    auto pPublication = std::make_unique<Publication>();
    pPublication->eaf = source.From();
    pPublication->start = LiveClock::now();
    pPublication->strTooLarge = source.TooLarge();
    if (source.HasChanged() || pServed->bImageDue)
    {
        pPublication->bImage = true;
        pServed->bImageDue = true;
        pPublication->pSnapshot = m_road.TakeSnapshot(source.From());
        if (pPublication->pSnapshot == nullptr)
        {
            pPublication->pImage = source.MakeImage();
        }
        source.ImageTaken();
    }
    if (!pServed->untold.empty() || pServed->bEventsDue)
    {
        DropRepetitions(&pServed->untold);
        pServed->bEventsDue = true;
        if (m_events.Append(source.From(), &pServed->untold, &pPublication->strError))
        {
            pPublication->pEvents = m_events.MakeImage(source.From(), &pPublication->strError);
        }
        // What is told from now on is told with the next one.
        pServed->bEventsDue = pPublication->pEvents == nullptr;
    }
    pServed->publication = std::async(
        [this, pPublication = std::move(pPublication)]() mutable
        {
            VOLowerThreadPriority();
            _Publish(pPublication.get());
            m_signal.Notify();
            return std::move(pPublication);
        });
}

// The image first: who is told of an event finds it in the index. On a thread of its own.
void LiveServer::_Publish(Publication* pPublication)
{
    if (pPublication->bImage)
    {
        SourceImage image{pPublication->eaf, {}};
        if (pPublication->pSnapshot != nullptr)
        {
            pPublication->pImage.reset(pPublication->pSnapshot->MakeImage());
            pPublication->pSnapshot.reset();
        }
        if (pPublication->pImage == nullptr || !CompressImage(pPublication->pImage, &image.vecBlock))
        {
            pPublication->strError = pPublication->strTooLarge;
            return;
        }
        pPublication->pImage.reset();
        if (!m_publisher.PublishSource(image, &pPublication->strError))
        {
            pPublication->bNoRoom = GetLastError() != ERROR_TOO_MANY_OPEN_FILES;
            return;
        }
        pPublication->bImage = false;
    }
    if (pPublication->pEvents != nullptr &&
        m_events.Publish(pPublication->eaf, *pPublication->pEvents, &pPublication->strError))
    {
        pPublication->pEvents.reset();
    }
}

// One source at a time: each takes a core, and the memory of an image.
bool LiveServer::_IsPublishing() const
{
    return std::any_of(m_vecSources.begin(), m_vecSources.end(),
                       [](const std::unique_ptr<Served>& pServed) { return pServed->publication.valid(); });
}

void LiveServer::_End(Served* pServed)
{
    const std::unique_ptr<Publication> pPublication = pServed->publication.get();
    const LiveClock::time_point end = LiveClock::now();
    pServed->ullPublications += pServed->bImageDue && !pPublication->bImage ? 1 : 0;
    pServed->bImageDue = pPublication->bImage;
    pServed->bEventsDue = pServed->bEventsDue || pPublication->pEvents != nullptr;
    pServed->nextPublication =
        end + std::max<LiveClock::duration>(kPublishInterval, kPublishShare * (end - pPublication->start));
    if (pPublication->bNoRoom && m_road.CountsOf(pServed->source.From()).ullGenerations != 0)
    {
        // The base may be what takes the room. All readers can do with the image, and only some with a base.
        m_road.Remove(pServed->source.From());
        _SetRoad(pServed, false);
        pServed->nextPublication = end;
    }
    else if (!pPublication->strError.empty())
    {
        // What is published stays, and is right but for the latest changes.
        Complain(fmt::format("{}; it is tried again", pPublication->strError));
        pServed->nextPublication = end + kRetry;
    }
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
    for (const std::unique_ptr<Served>& pServed : m_vecSources)
    {
        if (pServed->publication.valid())
        {
            pServed->publication.wait();
        }
    }
    m_publisher.Withdraw();
    m_road.Withdraw();
    m_events.Withdraw();
}

}  // namespace lum
