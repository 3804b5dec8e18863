#include "live/rechecks.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace lum
{

namespace
{

// The monitor tells the first of many fast writes, and writes less than half a second apart are one event however long
// they go on: this long after the last hint a folder is looked at once more, and again as long as that shows changes.
constexpr auto kLookAgainAfter = 1500ms;

// So many hints in a row may be part of more than a monitor's buffer held.
constexpr size_t kBurst = 1000;
constexpr auto kBurstPause = 2000ms;

// So long after a doubt the whole tree is compared, and a polled tree after its last comparison. Comparing takes a
// twentieth of the time at most, but a doubt waits for its turn no longer than the last value.
constexpr std::chrono::milliseconds kDoubtDelay = 1000ms;
constexpr std::chrono::milliseconds kPollInterval = 2000ms;
constexpr int kCompareShare = 20;
constexpr std::chrono::milliseconds kLongestRest = 60000ms;

}  // namespace

void Rechecks::Note(LiveClock::time_point kNow, const Hints& kHints)
{
    if (kHints.uEvents != 0)
    {
        m_uBurst = kNow - m_kLastHint < kBurstPause ? m_uBurst + kHints.uEvents : kHints.uEvents;
        m_kLastHint = kNow;
    }
    if (kHints.bDoubt || m_uBurst >= kBurst)
    {
        m_uBurst = 0;
        Doubt(kNow);
    }
    for (const auto& [strFolder, kFolder] : kHints.mapFolders)
    {
        m_mapLookAgain[strFolder] = kNow + kLookAgainAfter;
    }
}

void Rechecks::LookAgain(LiveClock::time_point kNow, const std::vector<VOWString>& vecFolders)
{
    for (const VOWString& strFolder : vecFolders)
    {
        m_mapLookAgain[strFolder] = kNow + kLookAgainAfter;
    }
}

void Rechecks::Doubt(LiveClock::time_point kNow)
{
    m_kLastDoubt = kNow;
    const LiveClock::time_point kDue = std::max(kNow + kDoubtDelay, m_kNotBefore);
    m_kCompareAll = std::min(m_kCompareAll.value_or(kDue), kDue);
}

void Rechecks::Compared(LiveClock::time_point kBegin, LiveClock::time_point kEnd, bool bAgain)
{
    const LiveClock::duration kRest = kCompareShare * (kEnd - kBegin);
    m_kNotBefore = kEnd + std::min<LiveClock::duration>(kRest, kLongestRest);
    if (kBegin < m_kLastDoubt + kDoubtDelay)
    {
        // It was due for another reason, too early for what the doubt is about.
        m_kCompareAll = std::max(m_kLastDoubt + kDoubtDelay, m_kNotBefore);
    }
    if (bAgain)
    {
        const LiveClock::time_point kDue = kEnd + std::max<LiveClock::duration>(kRest, kPollInterval);
        m_kCompareAll = std::min(m_kCompareAll.value_or(kDue), kDue);
    }
}

std::vector<VOWString> Rechecks::TakeDue(LiveClock::time_point kNow)
{
    std::vector<VOWString> vecDue;
    std::erase_if(m_mapLookAgain,
                  [&](const auto& kAgain)
                  {
                      if (kAgain.second <= kNow)
                      {
                          vecDue.push_back(kAgain.first);
                      }
                      return kAgain.second <= kNow;
                  });
    return vecDue;
}

bool Rechecks::TakeCompareAll(LiveClock::time_point kNow)
{
    const bool bDue = m_kCompareAll && *m_kCompareAll <= kNow;
    m_kCompareAll = bDue ? std::nullopt : m_kCompareAll;
    return bDue;
}

LiveClock::time_point Rechecks::NextDue() const
{
    LiveClock::time_point kDue = m_kCompareAll.value_or(LiveClock::time_point::max());
    for (const auto& [strFolder, kAgain] : m_mapLookAgain)
    {
        kDue = std::min(kDue, kAgain);
    }
    return kDue;
}

}  // namespace lum
