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

RootWatch::RootWatch(const VOWString& strRoot, HintPool* pkPool) : m_strRoot(strRoot), m_kListener(strRoot, pkPool) {}

std::unique_ptr<RootWatch> RootWatch::Start(const VOWString& strRoot, HintPool* pkPool, std::string* pstrReason)
{
    VODirectoryKind eKind = VODirectoryKind::Local;
    VOSystemError kError;
    if (VODirectoryKindOf(strRoot, &eKind, &kError) && eKind == VODirectoryKind::Remote)
    {
        *pstrReason = "it lies on a remote file system, which doesn't tell of all changes";
        return nullptr;
    }
    std::unique_ptr<RootWatch> pkWatch(new RootWatch(strRoot, pkPool));
    pkWatch->m_bListens = pkWatch->m_kMonitor.Init(strRoot.c_str()) != 0 &&
                          pkWatch->m_kMonitor.AddFileMonitorListener(&pkWatch->m_kListener) != 0;
    if (!pkWatch->m_bListens)
    {
        *pstrReason = "it can't be watched";
        return nullptr;
    }
    pkWatch->m_kMonitor.BeginThread();
    return pkWatch;
}

// A listener can't be taken out while an event is delivered; one that never got in can't be taken out at all. No thread
// is suspended for it: that one might hold a lock which is needed here.
RootWatch::~RootWatch()
{
    while (m_bListens && m_kMonitor.RemoveFileMonitorListener(&m_kListener) == 0)
    {
        std::this_thread::sleep_for(kNextTry);
    }
    m_kMonitor.UnInit();
}

RootWatch::Presence RootWatch::PresenceOf(const VOWString& strRoot)
{
    VODirectoryEntry kEntry;
    VOSystemError kError;
    // Through ".", because a root may be a link to a directory.
    if (!VODescribeFile(strRoot + VOTEXT("/."), &kEntry, &kError))
    {
        return kError.bGone ? Presence::Gone : Presence::Unknown;
    }
    return kEntry.bFolder ? Presence::There : Presence::Gone;
}

size_t RootWatch::CountUnwatched(std::string* pstrReason) const
{
    size_t uCount = 0;
    VOSystemError kError;
    if (!VOCountUnwatchedDirectories(m_strRoot, &uCount, &kError))
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
