// The roots of one source with their watches: what can't be watched is polled, what went is watched again when it is
// back, and what the watches don't reach is counted.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "live/change_hints.h"
#include "tray_service_types.h"

namespace lum
{

class WatchedRoots
{
public:
    WatchedRoots(LUMTrayService::enumAssetFrom eaf, HintSignal* pSignal);
    ~WatchedRoots();

    // Begins to watch. Without it there are no roots, and never a hint.
    void Watch(const std::vector<VOWString>& vecRoots);
    bool Empty() const { return m_vecRoots.empty(); }

    // What the watches have said since the last call.
    Hints TakeHints() { return m_pool.Take(); }

    // Looks at the roots when that is due, and counts what isn't watched.
    void Work(LiveClock::time_point now);
    LiveClock::time_point NextDue() const;

    // The trees have been walked, so that another walk, which the count takes, is cheap.
    void CountSoon();

    size_t Unwatched() const { return m_uUnwatched; }  // directories that the watches don't reach
    size_t Polled() const;                             // roots that are compared from time to time instead

private:
    struct Root;

    void _Start(Root* pRoot);
    void _SetPolled(Root* pRoot, bool bPolled, const std::string& strReason);
    void _LookAt(Root* pRoot, LiveClock::time_point now);
    void _Count(bool bComplain);

    LUMTrayService::enumAssetFrom m_eaf;
    HintPool m_pool;
    std::vector<std::unique_ptr<Root>> m_vecRoots;
    LiveClock::time_point m_nextLook;
    std::optional<LiveClock::time_point> m_nextCount;
    bool m_bCounted = false;  // once, and some were missing
    size_t m_uUnwatched = 0;
};

}  // namespace lum
