// What the directory monitors say, gathered until somebody looks: which folders to compare, and what is known of them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "scan/source_index.h"
#include "vots_file_monitor.h"

namespace lum
{

typedef std::chrono::steady_clock LiveClock;

// Folders by path, relative to the root.
typedef std::map<VOWString, FolderHints> HintedFolders;

// The hints of one source, and of all its roots.
struct Hints
{
    HintedFolders mapFolders;
    size_t uEvents = 0;
    bool bDoubt = false;  // something happened that doesn't say where
};

// Wakes the one who gathers.
class HintSignal
{
public:
    void Notify();

    // Waits for a Notify since the last call, at most so long. True when there was one.
    bool WaitFor(std::chrono::milliseconds time);

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_bNotified = false;
};

// Shared by the monitors of a source's roots. Any thread.
class HintPool
{
public:
    explicit HintPool(HintSignal* pSignal) : m_pSignal(pSignal) {}

    // A path relative to the root; one that was renamed comes with its new name.
    void Touched(const VOWString& strPath, bool bWritten, const VOWCHAR* pszNewName = nullptr);
    void Doubt();

    Hints Take();

private:
    HintSignal* m_pSignal;
    std::mutex m_lock;
    Hints m_hints;
};

// The listener of one root's monitor.
class HintListener : public VOTSFileMonitorEventListener_Adapter
{
public:
    // strRoot as the monitor was given it.
    HintListener(const VOWString& strRoot, HintPool* pPool);

    // What is added may be made anew in place of what was there before.
    void OnFileMonitor_Add(const VOWCHAR* pszFilePath) override { _Touched(pszFilePath, true); }
    void OnFileMonitor_Remove(const VOWCHAR* pszFilePath) override { _Touched(pszFilePath, false); }
    void OnFileMonitor_Modified(const VOWCHAR* pszFilePath) override { _Touched(pszFilePath, true); }
    void OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName) override
    {
        _Touched(pszFilePath, true, pszNewFileName);
    }

private:
    void _Touched(const VOWCHAR* pszFilePath, bool bWritten, const VOWCHAR* pszNewName = nullptr) const;

    VOWString m_strPrefix;  // in front of the relative part of every path
    HintPool* m_pPool;
};

}  // namespace lum
