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
    void Note(LiveClock::time_point now, const Hints& hints);

    // The whole tree has to be compared, soon.
    void Doubt(LiveClock::time_point now);

    // The whole tree has been compared, in this time; bAgain: it is polled, and has to be compared from time to time.
    void Compared(LiveClock::time_point begin, LiveClock::time_point end, bool bAgain);

    // Folders that are to be looked at once more, later.
    void LookAgain(LiveClock::time_point now, const std::vector<VOWString>& vecFolders);

    // The folders that are due: each once.
    std::vector<VOWString> TakeDue(LiveClock::time_point now);

    // Whether the whole tree is due: true once.
    bool TakeCompareAll(LiveClock::time_point now);

    LiveClock::time_point NextDue() const;

private:
    std::map<VOWString, LiveClock::time_point> m_mapLookAgain;
    std::optional<LiveClock::time_point> m_compareAll;
    LiveClock::time_point m_notBefore;
    LiveClock::time_point m_lastDoubt;
};

}  // namespace lum
