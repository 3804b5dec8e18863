// When what was compared is compared once more: a folder after its last hint, and the whole tree after a doubt.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "live/change_hints.h"

namespace lum
{

class Rechecks
{
public:
    // Hints that have come.
    void Note(LiveClock::time_point kNow, const Hints& kHints);

    // The whole tree has to be compared, soon.
    void Doubt(LiveClock::time_point kNow);

    // The whole tree has been compared, in this time; bAgain: it is polled, and has to be compared from time to time.
    void Compared(LiveClock::time_point kBegin, LiveClock::time_point kEnd, bool bAgain);

    // Folders that are to be looked at once more, later.
    void LookAgain(LiveClock::time_point kNow, const std::vector<VOWString>& vecFolders);

    // The folders that are due: each once.
    std::vector<VOWString> TakeDue(LiveClock::time_point kNow);

    // Whether the whole tree is due: true once.
    bool TakeCompareAll(LiveClock::time_point kNow);

    LiveClock::time_point NextDue() const;

private:
    std::map<VOWString, LiveClock::time_point> m_mapLookAgain;
    std::optional<LiveClock::time_point> m_kCompareAll;
    LiveClock::time_point m_kNotBefore;
    LiveClock::time_point m_kLastDoubt;
    LiveClock::time_point m_kLastHint;
    size_t m_uBurst = 0;
};

}  // namespace lum
