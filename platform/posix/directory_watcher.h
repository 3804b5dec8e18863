// The thread that turns the system's notices of a tree into change records.
#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>
#include <string>

#include "platform/posix/change_batch.h"
#include "platform/posix/folder_access.h"

// Who gets the records; called by the watcher's thread.
class ChangeSink
{
public:
    virtual ~ChangeSink() = default;
    virtual void OnChanges(ChangeBatch batch) = 0;
    virtual void OnLost() = 0;  // changes were lost; the watch goes on
    virtual void OnGone() = 0;  // the root is gone; the watch has ended
};

class WatchTree;

class DirectoryWatcher
{
public:
    DirectoryWatcher(ChangeSink& sink, std::string strRoot, const FileIdentity& identity, DWORD uFilter);
    // Ends the thread and waits for its end.
    ~DirectoryWatcher();
    DirectoryWatcher(const DirectoryWatcher&) = delete;
    DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;

    // Starts the thread and returns when the whole tree is watched. 0, or an error value: then nothing is watched.
    DWORD Start();

    // Whether the limit of watches left directories out when the watch began.
    bool IsLimited() const { return m_bLimited.load(); }

    // Any thread: the watch is to end soon.
    void RequestStop();

private:
    static void* Run(void* pThis);
    void Watch();
    void SetReady(DWORD uError);
    void Loop(WatchTree& tree);
    bool Turn(WatchTree& tree);
    void Wait(int nInotify, int nMilliseconds);

    ChangeSink& m_sink;
    const std::string m_strRoot;
    const FileIdentity m_identity;
    const DWORD m_uFilter;
    Descriptor m_wakeUp;
    pthread_t m_thread{};
    bool m_bStarted = false;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bLimited{false};
    std::atomic<uint32_t> m_uReady{0};  // a word to wait for: 1 when the tree is watched or can't be
    std::atomic<DWORD> m_uError{0};
};
