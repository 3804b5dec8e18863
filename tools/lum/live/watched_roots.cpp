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

// A root whose monitor didn't start is polled, and its monitor tried again, each time after twice the time.
constexpr std::chrono::milliseconds kFirstWatchRetry = 1000ms;
constexpr std::chrono::milliseconds kLastWatchRetry = 60000ms;

// What isn't watched is counted so long after a start or a comparison, and again before it is told.
constexpr auto kFirstCount = 3000ms;
constexpr auto kSecondCount = 7000ms;

}  // namespace

struct WatchedRoots::Root
{
    VOWString strRoot;
    std::unique_ptr<RootWatch> pkWatch;  // none while it is polled
    bool bWatching = false;              // that it has begun is known, and was dealt with
    unsigned uLosses = 0;                // of pkWatch, that were dealt with
    bool bLost = false;
    bool bPolled = false;
    LiveClock::time_point kTryAgain;  // while pkWatch is none
    std::chrono::milliseconds kRetryDelay = kFirstWatchRetry;
};

WatchedRoots::WatchedRoots(LUMTrayService::enumAssetFrom eaf, HintSignal* pkSignal) : m_eaf(eaf), m_kPool(pkSignal) {}

WatchedRoots::~WatchedRoots() = default;

void WatchedRoots::Watch(const std::vector<VOWString>& vecRoots)
{
    m_kNextLook = LiveClock::now() + kRootInterval;
    for (const VOWString& strRoot : vecRoots)
    {
        m_vecRoots.push_back(std::make_unique<Root>());
        m_vecRoots.back()->strRoot = strRoot;
        _Start(m_vecRoots.back().get());
    }
}

// Watches a root, or sees to it that it is polled, and says why.
void WatchedRoots::_Start(Root* pkRoot)
{
    std::string strReason;
    pkRoot->bLost = false;
    pkRoot->bWatching = false;
    pkRoot->uLosses = 0;
    pkRoot->pkWatch = RootWatch::Start(pkRoot->strRoot, &m_kPool, &strReason);
    const bool bWatched = pkRoot->pkWatch != nullptr;
    pkRoot->kTryAgain = LiveClock::now() + pkRoot->kRetryDelay;
    pkRoot->kRetryDelay = bWatched ? kFirstWatchRetry : std::min(2 * pkRoot->kRetryDelay, kLastWatchRetry);
    _SetPolled(pkRoot, !bWatched, strReason);
}

void WatchedRoots::_SetPolled(Root* pkRoot, bool bPolled, const std::string& strReason)
{
    if (bPolled && !pkRoot->bPolled)
    {
        Complain(m_eaf, fmt::format("{}: {}; the tree is compared from time to time",
                                    WrittenForm(pkRoot->strRoot, Escape::Controls), strReason));
        m_kPool.Doubt();
    }
    pkRoot->bPolled = bPolled;
}

size_t WatchedRoots::Polled() const
{
    return static_cast<size_t>(
        std::count_if(m_vecRoots.begin(), m_vecRoots.end(), [](const auto& pkRoot) { return pkRoot->bPolled; }));
}

void WatchedRoots::Work(LiveClock::time_point kNow)
{
    if (m_kNextLook <= kNow)
    {
        m_kNextLook = kNow + kRootInterval;
        for (const std::unique_ptr<Root>& pkRoot : m_vecRoots)
        {
            _LookAt(pkRoot.get(), kNow);
        }
    }
    if (m_kNextCount && *m_kNextCount <= kNow)
    {
        // A monitor takes its time to reach all of a large tree, so that only a second count is the truth.
        const bool bSecond = m_bCounted;
        m_kNextCount.reset();
        _Count(bSecond);
        m_bCounted = !bSecond && m_uUnwatched != 0;
        if (m_bCounted)
        {
            m_kNextCount = LiveClock::now() + kSecondCount;
        }
    }
}

LiveClock::time_point WatchedRoots::NextDue() const
{
    return std::min(m_kNextLook, m_kNextCount.value_or(m_kNextLook));
}

// A root that went is let go of, and watched again when it is back. The monitor of a root that is gone would turn round
// without a pause.
void WatchedRoots::_LookAt(Root* pkRoot, LiveClock::time_point kNow)
{
    if (pkRoot->pkWatch != nullptr &&
        (pkRoot->pkWatch->IsWatching() != pkRoot->bWatching || pkRoot->pkWatch->Losses() != pkRoot->uLosses))
    {
        pkRoot->bWatching = pkRoot->pkWatch->IsWatching();
        pkRoot->uLosses = pkRoot->pkWatch->Losses();
        m_kPool.Doubt();
    }
    const RootWatch::Presence ePresence = RootWatch::PresenceOf(pkRoot->strRoot);
    const bool bThere = ePresence == RootWatch::Presence::There;
    if (bThere && !pkRoot->bLost && pkRoot->pkWatch == nullptr && pkRoot->kTryAgain <= kNow)
    {
        _Start(pkRoot);
        return;
    }
    if (ePresence == RootWatch::Presence::Unknown || bThere != pkRoot->bLost)
    {
        return;
    }
    pkRoot->pkWatch.reset();
    pkRoot->bLost = !bThere;
    if (bThere)
    {
        _Start(pkRoot);
    }
    Complain(m_eaf, fmt::format("{}: the directory is {}", WrittenForm(pkRoot->strRoot, Escape::Controls),
                                bThere ? "back" : "gone"));
    m_kPool.Touched(VOTEXT("."), false);
    m_kPool.Doubt();
}

void WatchedRoots::CountSoon()
{
    m_kNextCount = m_kNextCount.value_or(LiveClock::now() + kFirstCount);
}

void WatchedRoots::_Count(bool bComplain)
{
    m_uUnwatched = 0;
    for (const std::unique_ptr<Root>& pkRoot : m_vecRoots)
    {
        if (pkRoot->pkWatch != nullptr)
        {
            std::string strReason;
            const size_t uCount = pkRoot->pkWatch->CountUnwatched(&strReason);
            m_uUnwatched += uCount;
            if (bComplain || uCount == 0)
            {
                _SetPolled(pkRoot.get(), uCount != 0, strReason);
            }
        }
    }
}

}  // namespace lum
