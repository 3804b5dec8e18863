// The folders of one source that can't be read, or couldn't a short while ago: each is tried again, and one that fails
// now and then isn't told each time.
#pragma once

#include <map>
#include <vector>

#include "live/change_hints.h"

namespace lum
{

class UnreadFolders
{
public:
    // What is known of the changes in a folder that couldn't be read now, for the time when it can.
    void Keep(const VOWString& strFolder, const FolderHints& hints) { m_mapRetries[strFolder].hints.Add(hints); }

    // Adds what is to be tried again, and what was kept of folders that are looked at.
    void AddDue(LiveClock::time_point now, HintedFolders* pmapFolders);

    // Takes over what the index says after comparisons; gives what nobody was told of. *pbReadAgain becomes true when
    // something can be read again.
    std::vector<UnreadFolder> Update(LiveClock::time_point now, SourceIndex* pIndex, bool* pbReadAgain);

    // How many could never be read: nothing of what they hold is in the index.
    size_t NeverRead() const;

    LiveClock::time_point NextDue() const;

private:
    struct Retry
    {
        FolderHints hints;
        LiveClock::time_point due;
        std::chrono::milliseconds delay{0};  // 0 as long as nobody knows of it
        bool bEntered = false;
        bool bFails = false;
    };

    std::map<VOWString, Retry> m_mapRetries;
};

}  // namespace lum
