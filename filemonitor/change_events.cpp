#include "filemonitor/change_events.h"

#include <algorithm>

// False for a record that gives no event.
bool ChangeEvents::_MakeEvent(const VOWString& strRoot, const ChangeRecord& kRecord, Event* pkEvent)
{
    if (kRecord.bNamed)
    {
        m_strCurrentPath = strRoot + VOTEXT("/") + kRecord.strName;
        std::replace(m_strCurrentPath.begin(), m_strCurrentPath.end(), VOWCHAR('\\'), VOWCHAR('/'));
    }
    *pkEvent = Event();
    switch (kRecord.uAction)
    {
        case FILE_ACTION_ADDED:
            pkEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD;
            pkEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_REMOVED:
            pkEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_REMOVE;
            pkEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_MODIFIED:
            pkEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_MODIFIED;
            pkEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_RENAMED_OLD_NAME:
            m_strOldPath = m_strCurrentPath;
            return false;
        case FILE_ACTION_RENAMED_NEW_NAME:
            // The old name is kept: a second half that comes alone is told with it.
            pkEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_RENAME;
            pkEvent->strFilePath = m_strOldPath;
            pkEvent->strNewFilePath = m_strCurrentPath;
            pkEvent->strNewFileName = m_strCurrentPath.substr(m_strCurrentPath.rfind(VOWCHAR('/')) + 1);
            break;
        default:
            return false;
    }
    pkEvent->uTickCount = m_pfnTickCount();
    // A folder counts as modified whenever something in it comes or goes, which is told on its own.
    return kRecord.uAction != FILE_ACTION_MODIFIED || !::PathIsDirectoryW(m_strCurrentPath.c_str());
}
