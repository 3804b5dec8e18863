// The library's monitor on one root directory.
#pragma once

#include <memory>
#include <string>

#include "live/change_hints.h"

namespace lum
{

class RootWatch
{
public:
    // Null with a reason when the root can't be watched, or shouldn't be: a monitor of another machine's directory
    // doesn't see what that machine changes.
    static std::unique_ptr<RootWatch> Start(const VOWString& strRoot, HintPool* pPool, std::string* pstrReason);
    ~RootWatch();
    RootWatch(const RootWatch&) = delete;
    RootWatch& operator=(const RootWatch&) = delete;

    enum class Presence
    {
        There,
        Gone,
        Unknown  // the system can't tell now
    };

    // Whether there is a directory of that name.
    static Presence PresenceOf(const VOWString& strRoot);

    // Directories of the tree that aren't watched, and how that can be mended. It walks the tree.
    size_t CountUnwatched(std::string* pstrReason) const;

    // Whether the whole tree is watched by now; hints tell of no change from before.
    bool IsWatching() const { return m_monitor.IsWatching(); }

    // How often changes were lost so far, which no hint tells.
    unsigned Losses() const { return m_monitor.LostChanges(); }

private:
    RootWatch(const VOWString& strRoot, HintPool* pPool);

    VOWString m_strRoot;
    HintListener m_listener;
    VOTSFileMonitorManager m_monitor;
    bool m_bListens = false;
};

}  // namespace lum
