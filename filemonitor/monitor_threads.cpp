// What the two threads of a monitor do.
#include <algorithm>
#include <memory>
#include <new>

#include "diagnostics/check.h"
#include "filemonitor/change_events.h"
#include "platform/vo_shared_word.h"
#include "vots_file_monitor.h"

namespace
{

constexpr DWORD kNotifyBufferSize = 260000;
constexpr DWORD kNotifyFilter =
    FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE;
static_assert(kNotifyFilter == 0x13);

constexpr DWORD kIdleSleep = 500;  // milliseconds

}  // namespace

// The buffer keeps what the last read left in it: a read that completes without records, as it does when the system
// lost changes, is taken for the one before.
VOULONG VOTSFileMonitorManager::ThreadProc_FileMonitor(void* lpParameter)
{
    VOTSFileMonitorManager* const pManager = static_cast<VOTSFileMonitorManager*>(lpParameter);
    const std::unique_ptr<unsigned char[]> pOwner(new (std::nothrow) unsigned char[kNotifyBufferSize]);
    unsigned char* const pszNotify = pOwner.get();
    if (!VO_STEP(pszNotify))
    {
        return 0;
    }
    memset(pszNotify, 0, kNotifyBufferSize);
    if (VO_STEP(lpParameter))
    {
        pManager->_WatchDirectory(pszNotify);
    }
    return 0;
}

void VOTSFileMonitorManager::_WatchDirectory(unsigned char* pszNotify)
{
    ChangeEvents events([]() -> unsigned long long { return ::GetTickCount64(); });
    bool bPending = false;
    bool bFailed = false;
    while (VOLoadWord(m_nExitThread) == 0)
    {
        DWORD uBytes = 0;
        bPending = ::ReadDirectoryChangesW(m_hFileMonitorHandle, pszNotify, kNotifyBufferSize, TRUE, kNotifyFilter,
                                           &uBytes, &m_overLapped, nullptr) != FALSE;
        if (bPending)
        {
            // Between a read that failed and this one nobody may have watched.
            VOAddToWord(m_uLosses, bFailed && VOLoadWord(m_uWatching) != 0 ? 1 : 0);
            VOStoreWord(m_uWatching, 1U);
        }
        bFailed = !bPending;
        // The read has reset the event, and with it a wake-up that came between the look above and here: so the flag is
        // looked at once more before the wait.
        if (!bPending || VOLoadWord(m_nExitThread) != 0 ||
            ::WaitForSingleObject(m_overLapped.hEvent, INFINITE) != WAIT_OBJECT_0 || VOLoadWord(m_nExitThread) != 0)
        {
            continue;
        }
        bPending = false;
        if (m_overLapped.InternalHigh == 0)
        {
            VOAddToWord(m_uLosses, 1);
        }
        try
        {
            events.Read(_RootPath(), pszNotify, kNotifyBufferSize,
                        [this](FILE_MONITOR_EVENT& kEvent) { PushEvent(kEvent); });
        }
        catch (const std::bad_alloc&)
        {
            // On a thread of its own this would end the process. The rest of the batch is lost, like what the system
            // couldn't hold.
            VOAddToWord(m_uLosses, 1);
            VO_CHECK_ERROR(FALSE);
        }
    }
    if (bPending)
    {
        // The system must be done with the buffer before it goes.
        DWORD uBytes = 0;
        ::CancelIoEx(m_hFileMonitorHandle, &m_overLapped);
        ::GetOverlappedResult(m_hFileMonitorHandle, &m_overLapped, &uBytes, TRUE);
    }
}

bool VOTSFileMonitorManager::IsWatching() const
{
    return VOLoadWord(m_uWatching) != 0;
}

unsigned int VOTSFileMonitorManager::LostChanges() const
{
    return VOLoadWord(m_uLosses);
}

VOULONG VOTSFileMonitorManager::ThreadProc_FileEventDispatcher(void* lpParameter)
{
    VOTSFileMonitorManager* const pManager = static_cast<VOTSFileMonitorManager*>(lpParameter);
    if (VO_STEP(lpParameter))
    {
        pManager->_DeliverEvents();
    }
    return 0;
}

void VOTSFileMonitorManager::_DeliverEvents()
{
    FILE_MONITOR_EVENT event;
    while (VOLoadWord(m_nExitThread) == 0)
    {
        if (VOLoadWord(m_nFiltersShown) == 0 && !_ShowFilters())
        {
            // A thread that a derived class made, and no memory for its filters yet.
            ::Sleep(kIdleSleep);
            continue;
        }
        // What was taken in spite of a hold is dropped.
        if (PopEvent(event) == 0 || (VOLoadWord(m_nSpecialEventCount) & 1) != 0)
        {
            ::Sleep(kIdleSleep);
        }
        else if (!_IsFiltered(event.strFilePath))
        {
            _Deliver(event);
        }
    }
}

bool VOTSFileMonitorManager::_IsFiltered(const VOWString& strPath) const
{
    const VOPublished<std::vector<VOWString>>::Reading filters(m_kFilters);
    return filters.Get() != nullptr &&
           std::any_of(filters.Get()->begin(), filters.Get()->end(),
                       [&strPath](const VOWString& strFilter) { return strPath.starts_with(strFilter); });
}

void VOTSFileMonitorManager::_Deliver(const FILE_MONITOR_EVENT& kEvent)
{
    if (m_pFileMonitorEventDispatcher == nullptr)
    {
        return;
    }
    VOTSFileMonitorEventDispatcher& to = *m_pFileMonitorEventDispatcher;
    switch (kEvent.nEventType)
    {
        case FILE_MONITOR_EVENT_ADD:
            to.OnFileMonitor_Add(kEvent.strFilePath.c_str());
            break;
        case FILE_MONITOR_EVENT_REMOVE:
            to.OnFileMonitor_Remove(kEvent.strFilePath.c_str());
            break;
        case FILE_MONITOR_EVENT_RENAME:
            to.OnFileMonitor_Rename(kEvent.strFilePath.c_str(), kEvent.strNewFileName.c_str());
            break;
        case FILE_MONITOR_EVENT_MODIFIED:
            to.OnFileMonitor_Modified(kEvent.strFilePath.c_str());
            break;
        default:
            break;
    }
}
