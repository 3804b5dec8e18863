// A monitor whose inner operations a test can call, and a listener that writes down what it is told.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/log_capture.h"
#include "support/text.h"
#include "support/waiting.h"
#include "vots_file_monitor.h"

namespace monitortest
{
using votest::WaitUntil;

constexpr int kAdd = VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD;
constexpr int kRemove = VOTSFileMonitorManager::FILE_MONITOR_EVENT_REMOVE;
constexpr int kRename = VOTSFileMonitorManager::FILE_MONITOR_EVENT_RENAME;
constexpr int kModified = VOTSFileMonitorManager::FILE_MONITOR_EVENT_MODIFIED;

typedef VOTSFileMonitorManager::FILE_MONITOR_EVENT Event;

class OpenMonitor : public VOTSFileMonitorManager
{
public:
    using VOTSFileMonitorManager::CreateFileDirMonitorHandle;
    using VOTSFileMonitorManager::CreateFileEventProcessThread;
    using VOTSFileMonitorManager::CreateFileMonitorDispatcher;
    using VOTSFileMonitorManager::CreateFileMonitorThread;
    using VOTSFileMonitorManager::DesotryFileMonitorDispatcher;
    using VOTSFileMonitorManager::m_bFileEventSuspended;
    using VOTSFileMonitorManager::m_bFileMonitorSuspended;
    using VOTSFileMonitorManager::m_hFileEventThread;
    using VOTSFileMonitorManager::m_hFileMonitorHandle;
    using VOTSFileMonitorManager::m_hFileMonitorThread;
    using VOTSFileMonitorManager::m_nEventQueueBusy;
    using VOTSFileMonitorManager::m_nExitThread;
    using VOTSFileMonitorManager::m_nSpecialEventCount;
    using VOTSFileMonitorManager::m_overLapped;
    using VOTSFileMonitorManager::m_pFileMonitorEventDispatcher;
    using VOTSFileMonitorManager::m_tszRootPath;
    using VOTSFileMonitorManager::m_vecFileEvents;
    using VOTSFileMonitorManager::m_vecFilterDir;
    using VOTSFileMonitorManager::PopEvent;
    using VOTSFileMonitorManager::PushEvent;
    using VOTSFileMonitorManager::SpecialEventHandle;
    using VOTSFileMonitorManager::ThreadProc_FileEventDispatcher;
    using VOTSFileMonitorManager::ThreadProc_FileMonitor;

    int Push(Event event) { return PushEvent(event); }
};

inline Event MakeEvent(int nType, const VOWString& strPath, const VOWString& strNewPath = {})
{
    Event event;
    event.nEventType = nType;
    event.strFilePath = strPath;
    event.strNewFilePath = strNewPath;
    event.strNewFileName = strNewPath.substr(strNewPath.rfind(VOWCHAR('/')) + 1);
    return event;
}

// "Add C:/a", "Rename C:/a b", ...
class RecordingListener : public VOTSFileMonitorEventListener_Adapter
{
public:
    void OnFileMonitor_Add(const VOWCHAR* pszFilePath) override { _Note("Add", pszFilePath); }
    void OnFileMonitor_Remove(const VOWCHAR* pszFilePath) override { _Note("Remove", pszFilePath); }
    void OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName) override
    {
        _Note("Rename", pszFilePath, pszNewFileName);
    }
    void OnFileMonitor_Modified(const VOWCHAR* pszFilePath) override { _Note("Modified", pszFilePath); }

    std::vector<std::string> Calls() const
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_vecCalls;
    }

    void Clear()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_vecCalls.clear();
    }

private:
    void _Note(const std::string& strCall, const VOWCHAR* pszPath, const VOWCHAR* pszName = nullptr)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_vecCalls.push_back(strCall + " " + votest::Shown(pszPath) +
                             (pszName != nullptr ? " " + votest::Shown(pszName) : ""));
    }

    mutable std::mutex m_lock;
    std::vector<std::string> m_vecCalls;
};

inline std::string Line(const std::string& strText, const std::string& strFunction,
                        const std::string& strClass = "VOTSFileMonitorManager")
{
    return votest::CheckLine("VO_PROCESS_ERROR", strText, strClass + "::" + strFunction);
}

}  // namespace monitortest
