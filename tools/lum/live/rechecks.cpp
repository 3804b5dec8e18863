#include "live/rechecks.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace lum
{

namespace
{

// The monitor tells the first of many fast writes, and writes less than half a second apart are one event however long
// they go on: this long after the last hint a folder is looked at once more.
constexpr auto kLookAgainAfter = 1500ms;

// So many hints in a row may be part of more than a monitor's buffer held.
constexpr size_t kBurst = 1000;
constexpr auto kBurstPause = 2000ms;

// After a first doubt the tree is compared a second later, with each further doubt that follows soon later still, and
// no later than this.
constexpr std::chrono::milliseconds kLastDoubtDelay = 60000ms;

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

void Rechecks::Doubt(LiveClock::time_point kNow)
{
    if (m_kCompareAll && *m_kCompareAll <= kNow + m_kDoubtDelay)
    {
        return;
    }
    const bool bSoon = m_kLastDoubt != LiveClock::time_point() && kNow - m_kLastDoubt < 4 * m_kDoubtDelay;
    m_kDoubtDelay = bSoon ? std::min(2 * m_kDoubtDelay, kLastDoubtDelay) : kFirstDoubtDelay;
    m_kLastDoubt = kNow;
    m_kCompareAll = kNow + m_kDoubtDelay;
}

void Rechecks::AddDue(LiveClock::time_point kNow, HintedFolders* pmapFolders)
{
    std::erase_if(m_mapLookAgain,
                  [&](const auto& kAgain)
                  {
                      if (kAgain.second <= kNow)
                      {
                          pmapFolders->try_emplace(kAgain.first);
                      }
                      return kAgain.second <= kNow;
                  });
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
