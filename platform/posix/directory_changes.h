// A directory that is open for its changes: the reads that are under way, and what is kept between reads.
//
// A read's result stays in the layer until somebody waits for it: the caller's buffer and OVERLAPPED are touched on the
// threads of the caller alone, in ReadDirectoryChangesW, in a wait for the event, and in GetOverlappedResult.
#pragma once

#include "platform/posix/waits.h"
#include "platform/posix/watch_tree.h"

class DirectoryRead;

class DirectoryObject : public KernelObject, private ChangeSink
{
public:
    // strPath: absolute. bFolder: false for a file, which can't be read from.
    DirectoryObject(std::string strPath, const FileIdentity& identity, bool bFolder);
    ~DirectoryObject() override;

    bool IsFolder() const { return m_bFolder; }

    // 0, or an error value.
    DWORD Read(void* pBuffer, DWORD uLength, DWORD uFilter, OVERLAPPED* pOverlapped, std::shared_ptr<Event> pEvent);
    DWORD Result(OVERLAPPED* pOverlapped, DWORD* puBytes, bool bWait);
    bool Cancel(const OVERLAPPED* pOverlapped);

    void OnClosed() override;

private:
    typedef std::list<std::shared_ptr<DirectoryRead>> ReadList;

    // What a read takes with it, collected under the lock and put together without it.
    struct Taken
    {
        ReadList reads;  // none or one
        std::list<ChangeBatch> changes;
        bool bLost = false;
        bool bGone = false;
    };

    void OnChanges(ChangeBatch batch) override;
    void OnLost() override;
    void OnGone() override;

    DWORD StartWatcher(DWORD uFilter);
    DWORD EnsureWatched(DWORD uLength, DWORD uFilter);
    void TakeLocked(Taken* pTaken);
    void Finish(Taken taken);
    std::shared_ptr<DirectoryRead> FindRead(const OVERLAPPED* pOverlapped);

    const std::string m_strPath;
    const FileIdentity m_identity;
    const bool m_bFolder;
    std::atomic<uint32_t> m_uWatch;  // a word to wait for: how far the watch has come
    std::unique_ptr<DirectoryWatcher> m_pWatcher;
    std::atomic<bool> m_bLimitToTell{false};

    std::mutex m_lock;  // through KernelLock; guards what follows
    ReadList m_listPending;
    ReadList m_listUndelivered;
    std::list<ChangeBatch> m_listKept;
    size_t m_uKept = 0;
    size_t m_uLimit = 0;
    bool m_bLost = false;
    bool m_bGone = false;
    bool m_bClosed = false;
};
