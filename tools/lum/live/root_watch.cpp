#include "live/root_watch.h"

#include <fmt/format.h>

#include <thread>

#include "platform/vo_directories.h"

namespace lum
{

namespace
{

constexpr std::chrono::milliseconds kNextTry(2);

}  // namespace

RootWatch::RootWatch(const VOWString& strRoot, HintPool* pPool) : m_strRoot(strRoot), m_listener(strRoot, pPool) {}

std::unique_ptr<RootWatch> RootWatch::Start(const VOWString& strRoot, HintPool* pPool, std::string* pstrReason)
{
    VODirectoryKind eKind = VODirectoryKind::Local;
    VOSystemError error;
    if (VODirectoryKindOf(strRoot, &eKind, &error) && eKind == VODirectoryKind::Remote)
    {
        *pstrReason = "it lies on a remote file system, which doesn't tell of all changes";
        return nullptr;
    }
    std::unique_ptr<RootWatch> pWatch(new RootWatch(strRoot, pPool));
    pWatch->m_bListens = pWatch->m_monitor.Init(strRoot.c_str()) != 0 &&
                         pWatch->m_monitor.AddFileMonitorListener(&pWatch->m_listener) != 0;
    if (!pWatch->m_bListens)
    {
        *pstrReason = "it can't be watched";
        return nullptr;
    }
    pWatch->m_monitor.BeginThread();
    return pWatch;
}

// A listener can't be taken out while an event is delivered; one that never got in can't be taken out at all. No thread
// is suspended for it: that one might hold a lock which is needed here.
RootWatch::~RootWatch()
{
    while (m_bListens && m_monitor.RemoveFileMonitorListener(&m_listener) == 0)
    {
        std::this_thread::sleep_for(kNextTry);
    }
    m_monitor.UnInit();
}

RootWatch::Presence RootWatch::PresenceOf(const VOWString& strRoot)
{
    VODirectoryEntry entry;
    VOSystemError error;
    // Through ".", because a root may be a link to a directory.
    if (!VODescribeFile(strRoot + VOTEXT("/."), &entry, &error))
    {
        return error.bGone ? Presence::Gone : Presence::Unknown;
    }
    return entry.bFolder ? Presence::There : Presence::Gone;
}

size_t RootWatch::CountUnwatched(std::string* pstrReason) const
{
    size_t uCount = 0;
    VOSystemError error;
    if (!VOCountUnwatchedDirectories(m_strRoot, &uCount, &error))
    {
        // A root that is gone is looked after elsewhere.
        return 0;
    }
    *pstrReason = fmt::format(
        "{} director{} can't be watched; when that is because the limit of watches is reached, raise it: "
        "sysctl fs.inotify.max_user_watches=NUMBER",
        uCount, uCount == 1 ? "y" : "ies");
    return uCount;
}

}  // namespace lum
