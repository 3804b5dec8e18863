// The queue between the two threads of a monitor.
//
// The producer waits for the busy flag, the consumer gives up at once and comes again: a consumer that is held
// suspended with the flag up costs the producer its events one by one, never a lock.
#include <algorithm>
#include <new>
#include <utility>

#include "diagnostics/check.h"
#include "filemonitor/shared_flag.h"
#include "platform/vo_shared_word.h"
#include "vots_file_monitor.h"

namespace
{

constexpr unsigned kPathHashMultiplier = 131;

// Runs from the last unit to the first, up to the first zero.
unsigned long long PathHash(const VOWString& strPath)
{
    unsigned long long ullHash = 0;
    for (size_t i = std::min(strPath.find(VOWCHAR(0)), strPath.size()); i-- > 0;)
    {
        ullHash = ullHash * kPathHashMultiplier + strPath[i];
    }
    return ullHash;
}

}  // namespace

int VOTSFileMonitorManager::HasFileEvent() const
{
    return m_vecFileEvents.empty() ? 0 : 1;
}

int VOTSFileMonitorManager::PushEvent(FILE_MONITOR_EVENT& kEvent)
{
    unsigned int uTimeCount = 0;
    bool bQueued = false;
    FlagGuard guard(m_nEventQueueBusy);
    while (!guard.TryAcquire())
    {
        VO_PROCESS_ERROR(uTimeCount < 0xFFFF);
        ::Sleep(1);
        ++uTimeCount;
    }
    try
    {
        m_vecFileEvents.push_back(kEvent);
        bQueued = true;
    }
    catch (const std::bad_alloc&)
    {
        VO_PROCESS_ERROR_FALSE;
    }

Exit0:
    if (!bQueued)
    {
        VOAddToWord(m_uLosses, 1);
    }
    return 0;
}

int VOTSFileMonitorManager::PopEvent(FILE_MONITOR_EVENT& kEvent)
{
    if (SpecialEventHandle() != 0)
    {
        return 0;
    }
    FlagGuard guard(m_nEventQueueBusy);
    if (!guard.TryAcquire() || m_vecFileEvents.empty())
    {
        return 0;
    }
    kEvent = m_vecFileEvents.pop_front();
    return 1;
}

int VOTSFileMonitorManager::SpecialEventHandle()
{
    FlagGuard guard(m_nEventQueueBusy);
    return guard.TryAcquire() ? _HoldOrRewriteHead() : 0;
}

// A program that saves a file by writing another one, deleting the target and renaming the other one to it has modified
// the target, and this is what listeners are told. A Remove that may be the first half of it waits one round for the
// second. The caller has the busy flag.
int VOTSFileMonitorManager::_HoldOrRewriteHead()
{
    if (m_vecFileEvents.empty() || m_vecFileEvents.front().nEventType != FILE_MONITOR_EVENT_REMOVE)
    {
        return 0;
    }
    const bool bAlone = m_vecFileEvents.size() < 2;
    const int nCount = VOLoadWord(m_nSpecialEventCount);
    const bool bHeld = (nCount & 1) != 0;
    if (bHeld || bAlone)
    {
        // Counts on for the life of the object, wrapping around where an int ends.
        VOStoreWord(m_nSpecialEventCount, static_cast<int>(static_cast<unsigned>(nCount) + 1));
    }
    if (!bHeld && bAlone)
    {
        return 1;
    }
    if (bAlone || m_vecFileEvents[1].nEventType != FILE_MONITOR_EVENT_RENAME ||
        PathHash(m_vecFileEvents[0].strFilePath) != PathHash(m_vecFileEvents[1].strNewFilePath))
    {
        return 0;
    }
    FILE_MONITOR_EVENT modified;
    modified.nEventType = FILE_MONITOR_EVENT_MODIFIED;
    modified.strFilePath = m_vecFileEvents.pop_front().strFilePath;
    m_vecFileEvents.front() = std::move(modified);
    return 0;
}
