#include "live/rechecks.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace lum
{

namespace
{

// So long after the last hint a folder is looked at once more as a whole, and again as long as that shows changes.
constexpr auto kLookAgainAfter = 1500ms;

// So long after a doubt the whole tree is compared, and a polled tree after its last comparison. Comparing takes a
// twentieth of the time at most, but a doubt waits for its turn no longer than the last value.
constexpr std::chrono::milliseconds kDoubtDelay = 1000ms;
constexpr std::chrono::milliseconds kPollInterval = 2000ms;
constexpr int kCompareShare = 20;
constexpr std::chrono::milliseconds kLongestRest = 60000ms;

}  // namespace

void Rechecks::Note(LiveClock::time_point now, const Hints& hints)
{
    if (hints.bDoubt)
    {
        Doubt(now);
    }
    for (const auto& [strFolder, folder] : hints.mapFolders)
    {
        m_mapLookAgain[strFolder] = now + kLookAgainAfter;
    }
}

void Rechecks::LookAgain(LiveClock::time_point now, const std::vector<VOWString>& vecFolders)
{
    for (const VOWString& strFolder : vecFolders)
    {
        m_mapLookAgain[strFolder] = now + kLookAgainAfter;
    }
}

void Rechecks::Doubt(LiveClock::time_point now)
{
    m_lastDoubt = now;
    const LiveClock::time_point due = std::max(now + kDoubtDelay, m_notBefore);
    m_compareAll = std::min(m_compareAll.value_or(due), due);
}

void Rechecks::Compared(LiveClock::time_point begin, LiveClock::time_point end, bool bAgain)
{
    const LiveClock::duration rest = kCompareShare * (end - begin);
    m_notBefore = end + std::min<LiveClock::duration>(rest, kLongestRest);
    if (begin < m_lastDoubt + kDoubtDelay)
    {
        // It was due for another reason, too early for what the doubt is about.
        m_compareAll = std::max(m_lastDoubt + kDoubtDelay, m_notBefore);
    }
    if (bAgain)
    {
        const LiveClock::time_point due = end + std::max<LiveClock::duration>(rest, kPollInterval);
        m_compareAll = std::min(m_compareAll.value_or(due), due);
    }
}

std::vector<VOWString> Rechecks::TakeDue(LiveClock::time_point now)
{
    std::vector<VOWString> vecDue;
    std::erase_if(m_mapLookAgain,
                  [&](const auto& again)
                  {
                      if (again.second <= now)
                      {
                          vecDue.push_back(again.first);
                      }
                      return again.second <= now;
                  });
    return vecDue;
}

bool Rechecks::TakeCompareAll(LiveClock::time_point now)
{
    const bool bDue = m_compareAll && *m_compareAll <= now;
    m_compareAll = bDue ? std::nullopt : m_compareAll;
    return bDue;
}

LiveClock::time_point Rechecks::NextDue() const
{
    LiveClock::time_point due = m_compareAll.value_or(LiveClock::time_point::max());
    for (const auto& [strFolder, again] : m_mapLookAgain)
    {
        due = std::min(due, again);
    }
    return due;
}

}  // namespace lum
