#include "live/live_server.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/console.h"
#include "base/sources.h"
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
void DropRepetitions(Changes* pkChanges)
{
    std::set<VOWString> setTold;
    std::erase_if(*pkChanges,
                  [&setTold](const Change& kChange)
                  {
                      switch (kChange.eKind)
                      {
                          case ChangeKind::Added:
                              setTold.insert(kChange.strPath);
                              return false;
                          case ChangeKind::Modified:
                              return !setTold.insert(kChange.strPath).second;
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
    Served(const SourceSpec& kSpec, const std::vector<ClassifyType>& vecTypes, HintSignal* pkSignal)
        : kSource(kSpec, vecTypes, pkSignal)
    {
    }

    LiveSource kSource;
    Changes kUntold;          // in the index; told once a published image has them
    bool bImageDue = false;   // what was last taken from the index isn't published
    bool bEventsDue = false;  // what was last appended isn't published
    LiveClock::time_point kNextPublication;

    bool IsDue() const { return kSource.HasChanged() || !kUntold.empty() || bImageDue || bEventsDue; }

    unsigned long long ullPublications = 0;
};

LiveServer::LiveServer(const std::vector<ClassifyType>& vecTypes, bool bFollow)
    : m_rvecTypes(vecTypes), m_bFollow(bFollow)
{
}

LiveServer::~LiveServer() = default;

bool LiveServer::Start(const std::vector<SourceSpec>& vecSpecs, std::string* pstrError)
{
    if (!m_kPublisher.Acquire(pstrError))
    {
        return false;
    }
    std::vector<SourceImage> vecImages;
    std::vector<enumAssetFrom> vecSources;
    for (const SourceSpec& kSpec : vecSpecs)
    {
        m_vecSources.push_back(std::make_unique<Served>(kSpec, m_rvecTypes, &m_kSignal));
        LiveSource& rkSource = m_vecSources.back()->kSource;
        vecImages.emplace_back();
        if (!rkSource.Open(m_bFollow, pstrError) || !rkSource.MakeImage(&vecImages.back(), pstrError))
        {
            return false;
        }
        vecSources.push_back(kSpec.eaf);
    }
    // The events first: a tool that finds the images can bind its listeners.
    if (!m_kEvents.Open(vecSources, pstrError) || !m_kPublisher.Publish(vecImages, pstrError))
    {
        m_kEvents.Withdraw();
        return false;
    }
    m_kStatus.Open(m_bFollow);
    for (const std::unique_ptr<Served>& pkServed : m_vecSources)
    {
        pkServed->ullPublications = 1;
        _SetStatus(*pkServed);
    }
    return true;
}

unsigned LiveServer::NodeCount() const
{
    unsigned uNodes = 0;
    for (const std::unique_ptr<Served>& pkServed : m_vecSources)
    {
        uNodes += pkServed->kSource.NodeCount();
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

bool LiveServer::Turn(std::chrono::milliseconds kLongest, std::string* pstrError)
{
    const LiveClock::time_point kStart = LiveClock::now();
    LiveClock::time_point kDue = kStart + kLongest;
    for (const std::unique_ptr<Served>& pkServed : m_vecSources)
    {
        kDue = std::min(kDue, pkServed->kSource.NextDue());
        if (pkServed->IsDue())
        {
            kDue = std::min(kDue, pkServed->kNextPublication);
        }
    }
    const auto kWait = std::chrono::ceil<std::chrono::milliseconds>(kDue - kStart);
    if (m_kSignal.WaitFor(std::max<std::chrono::milliseconds>(kWait, 0ms)))
    {
        const LiveClock::time_point kEnd = LiveClock::now() + kGather;
        while (LiveClock::now() < kEnd && m_kSignal.WaitFor(kQuiet))
        {
        }
    }
    for (const std::unique_ptr<Served>& pkServed : m_vecSources)
    {
        if (!pkServed->kSource.Work(LiveClock::now(), &pkServed->kUntold, pstrError))
        {
            return false;
        }
        if (pkServed->IsDue() && pkServed->kNextPublication <= LiveClock::now())
        {
            std::string strError;
            if (!_Publish(pkServed.get(), &strError))
            {
                // What is published stays, and is right but for the latest changes.
                Complain(fmt::format("{}; it is tried again", strError));
                pkServed->kNextPublication = LiveClock::now() + kRetry;
            }
        }
        _SetStatus(*pkServed);
    }
    return true;
}

// The image first: who is told of an event finds it in the index.
bool LiveServer::_Publish(Served* pkServed, std::string* pstrError)
{
    const LiveClock::time_point kStart = LiveClock::now();
    LiveSource& rkSource = pkServed->kSource;
    if (rkSource.HasChanged() || pkServed->bImageDue)
    {
        SourceImage kImage;
        pkServed->bImageDue = true;
        if (!rkSource.MakeImage(&kImage, pstrError) || !m_kPublisher.PublishSource(kImage, pstrError))
        {
            return false;
        }
        pkServed->bImageDue = false;
        ++pkServed->ullPublications;
    }
    if (!pkServed->kUntold.empty() || pkServed->bEventsDue)
    {
        DropRepetitions(&pkServed->kUntold);
        pkServed->bEventsDue = true;
        if (!m_kEvents.Publish(rkSource.From(), &pkServed->kUntold, pstrError))
        {
            return false;
        }
        pkServed->bEventsDue = false;
    }
    const LiveClock::time_point kEnd = LiveClock::now();
    pkServed->kNextPublication =
        kEnd + std::max<LiveClock::duration>(kPublishInterval, kPublishShare * (kEnd - kStart));
    return true;
}

void LiveServer::_SetStatus(const Served& kServed)
{
    SourceStatus kStatus = kServed.kSource.Status();
    kStatus.ullPublications = kServed.ullPublications;
    m_kStatus.Set(kServed.kSource.From(), kStatus);
}

// The images before the events: a tool that finds no image doesn't wait for events of it.
void LiveServer::Withdraw()
{
    m_kPublisher.Withdraw();
    m_kEvents.Withdraw();
}

}  // namespace lum
