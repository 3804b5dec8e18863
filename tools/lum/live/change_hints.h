// What the directory watches say, gathered until somebody looks: which folders to compare, and what is known of them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "scan/source_index.h"

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

    // Forgets a Notify.
    void Reset() { WaitFor(std::chrono::milliseconds(0)); }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_bNotified = false;
};

// Shared by the watches of a source's roots. Any thread.
class HintPool
{
public:
    explicit HintPool(HintSignal* pSignal) : m_pSignal(pSignal) {}

    // Paths relative to the root: what was made or written, what has gone, what has another name in its folder now, and
    // a folder in which anything may have changed.
    void Written(const VOWString& strPath);
    void Gone(const VOWString& strPath);
    void Renamed(const VOWString& strPath, const VOWString& strNewName);
    void Touched(const VOWString& strFolder);

    // Something has changed, somewhere.
    void Doubt();

    Hints Take();

private:
    template <typename Note>
    void _Note(const VOWString& strFolder, Note note);

    HintSignal* m_pSignal;
    std::mutex m_lock;
    Hints m_hints;
};

}  // namespace lum
