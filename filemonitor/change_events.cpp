#include "filemonitor/change_events.h"

#include <algorithm>

// False for a record that gives no event.
bool ChangeEvents::_MakeEvent(const VOWString& strRoot, const VOChangeRecord& record, Event* pEvent)
{
    if (record.bNamed)
    {
        m_strCurrentPath = strRoot + VOTEXT("/") + record.strName;
        std::replace(m_strCurrentPath.begin(), m_strCurrentPath.end(), VOWCHAR('\\'), VOWCHAR('/'));
    }
    *pEvent = Event();
    switch (record.uAction)
    {
        case FILE_ACTION_ADDED:
            pEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD;
            pEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_REMOVED:
            pEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_REMOVE;
            pEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_MODIFIED:
            pEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_MODIFIED;
            pEvent->strFilePath = m_strCurrentPath;
            break;
        case FILE_ACTION_RENAMED_OLD_NAME:
            m_strOldPath = m_strCurrentPath;
            return false;
        case FILE_ACTION_RENAMED_NEW_NAME:
            // The old name is kept: a second half that comes alone is told with it.
            pEvent->nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_RENAME;
            pEvent->strFilePath = m_strOldPath;
            pEvent->strNewFilePath = m_strCurrentPath;
            pEvent->strNewFileName = m_strCurrentPath.substr(m_strCurrentPath.rfind(VOWCHAR('/')) + 1);
            break;
        default:
            return false;
    }
    pEvent->uTickCount = m_pfnTickCount();
    // A folder counts as modified whenever something in it comes or goes, which is told on its own.
    return record.uAction != FILE_ACTION_MODIFIED || !::PathIsDirectoryW(m_strCurrentPath.c_str());
}
