#include "live/watched_roots.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/sources.h"
#include "base/text.h"
#include "live/root_watch.h"

using namespace std::chrono_literals;

namespace lum
{

namespace
{

constexpr auto kRootInterval = 1000ms;

// A root whose watch didn't start is polled, and the watch tried again, each time after twice the time.
constexpr std::chrono::milliseconds kFirstWatchRetry = 1000ms;
constexpr std::chrono::milliseconds kLastWatchRetry = 60000ms;

// What isn't watched is counted so long after a start or a comparison, and again before it is told.
constexpr auto kFirstCount = 3000ms;
constexpr auto kSecondCount = 7000ms;

}  // namespace

struct WatchedRoots::Root
{
    VOWString strRoot;
    std::unique_ptr<RootWatch> pWatch;  // none while it is polled
    bool bWatching = false;             // that it has begun is known, and was dealt with
    unsigned uLosses = 0;               // of pWatch, that were dealt with
    bool bLost = false;
    bool bPolled = false;
    LiveClock::time_point tryAgain;  // while pWatch is none
    std::chrono::milliseconds retryDelay = kFirstWatchRetry;
};

WatchedRoots::WatchedRoots(LUMTrayService::enumAssetFrom eaf, HintSignal* pSignal) : m_eaf(eaf), m_pool(pSignal) {}

WatchedRoots::~WatchedRoots() = default;

void WatchedRoots::Watch(const std::vector<VOWString>& vecRoots)
{
    m_nextLook = LiveClock::now() + kRootInterval;
    for (const VOWString& strRoot : vecRoots)
    {
        m_vecRoots.push_back(std::make_unique<Root>());
        m_vecRoots.back()->strRoot = strRoot;
        _Start(m_vecRoots.back().get());
    }
}

// Watches a root, or sees to it that it is polled, and says why.
void WatchedRoots::_Start(Root* pRoot)
{
    std::string strReason;
    pRoot->bLost = false;
    pRoot->bWatching = false;
    pRoot->uLosses = 0;
    pRoot->pWatch = RootWatch::Start(pRoot->strRoot, &m_pool, &strReason);
    const bool bWatched = pRoot->pWatch != nullptr;
    pRoot->tryAgain = LiveClock::now() + pRoot->retryDelay;
    pRoot->retryDelay = bWatched ? kFirstWatchRetry : std::min(2 * pRoot->retryDelay, kLastWatchRetry);
    _SetPolled(pRoot, !bWatched, strReason);
}

void WatchedRoots::_SetPolled(Root* pRoot, bool bPolled, const std::string& strReason)
{
    if (bPolled && !pRoot->bPolled)
    {
        Complain(m_eaf, fmt::format("{}: {}; the tree is compared from time to time",
                                    WrittenForm(pRoot->strRoot, Escape::Controls), strReason));
        m_pool.Doubt();
    }
    pRoot->bPolled = bPolled;
}

size_t WatchedRoots::Polled() const
{
    return static_cast<size_t>(
        std::count_if(m_vecRoots.begin(), m_vecRoots.end(), [](const auto& pRoot) { return pRoot->bPolled; }));
}

void WatchedRoots::Work(LiveClock::time_point now)
{
    if (m_nextLook <= now)
    {
        m_nextLook = now + kRootInterval;
        for (const std::unique_ptr<Root>& pRoot : m_vecRoots)
        {
            _LookAt(pRoot.get(), now);
        }
    }
    if (m_nextCount && *m_nextCount <= now)
    {
        // A watch takes its time to reach all of a large tree, so that only a second count is the truth.
        const bool bSecond = m_bCounted;
        m_nextCount.reset();
        _Count(bSecond);
        m_bCounted = !bSecond && m_uUnwatched != 0;
        if (m_bCounted)
        {
            m_nextCount = LiveClock::now() + kSecondCount;
        }
    }
}

LiveClock::time_point WatchedRoots::NextDue() const
{
    return std::min(m_nextLook, m_nextCount.value_or(m_nextLook));
}

// A root that went is let go of, and watched again when it is back. The watch of a root that is gone would try again
// and again.
void WatchedRoots::_LookAt(Root* pRoot, LiveClock::time_point now)
{
    if (pRoot->pWatch != nullptr &&
        (pRoot->pWatch->IsWatching() != pRoot->bWatching || pRoot->pWatch->Losses() != pRoot->uLosses))
    {
        pRoot->bWatching = pRoot->pWatch->IsWatching();
        pRoot->uLosses = pRoot->pWatch->Losses();
        m_pool.Doubt();
    }
    const RootWatch::Presence ePresence = RootWatch::PresenceOf(pRoot->strRoot);
    const bool bThere = ePresence == RootWatch::Presence::There;
    if (bThere && !pRoot->bLost && pRoot->pWatch == nullptr && pRoot->tryAgain <= now)
    {
        _Start(pRoot);
        return;
    }
    if (ePresence == RootWatch::Presence::Unknown || bThere != pRoot->bLost)
    {
        return;
    }
    pRoot->pWatch.reset();
    pRoot->bLost = !bThere;
    if (bThere)
    {
        _Start(pRoot);
    }
    Complain(m_eaf, fmt::format("{}: the directory is {}", WrittenForm(pRoot->strRoot, Escape::Controls),
                                bThere ? "back" : "gone"));
    m_pool.Touched(VOWString());
    m_pool.Doubt();
}

void WatchedRoots::CountSoon()
{
    m_nextCount = m_nextCount.value_or(LiveClock::now() + kFirstCount);
}

void WatchedRoots::_Count(bool bComplain)
{
    m_uUnwatched = 0;
    for (const std::unique_ptr<Root>& pRoot : m_vecRoots)
    {
        if (pRoot->pWatch != nullptr)
        {
            std::string strReason;
            const size_t uCount = pRoot->pWatch->CountUnwatched(&strReason);
            m_uUnwatched += uCount;
            if (bComplain || uCount == 0)
            {
                _SetPolled(pRoot.get(), uCount != 0, strReason);
            }
        }
    }
}

}  // namespace lum
