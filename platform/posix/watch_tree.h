// A watched tree of directories, the thread that reads what the system tells of it, and the records it makes of that.
#pragma once

#include <pthread.h>
#include <sys/inotify.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>

#include "platform/posix/files.h"
#include "platform/vo_platform.h"

// Change records as the reader gets them: a chain of FILE_NOTIFY_INFORMATION.
class ChangeBatch
{
public:
    void Append(DWORD uAction, const VOWString& strName);
    void Append(const ChangeBatch& batch);

    bool IsEmpty() const { return m_vecBytes.empty(); }
    size_t Size() const { return m_vecBytes.size(); }
    const unsigned char* Data() const { return m_vecBytes.data(); }

    // The bytes of two batches of these sizes that are joined.
    static size_t JoinedSize(size_t uFirst, size_t uSecond);

private:
    // Makes room for the next record and lets the last one point to it. Gives its offset.
    size_t Continue(size_t uBytes);

    std::vector<unsigned char> m_vecBytes;
    size_t m_uLast = 0;  // offset of the last record
};

// A tree of directories under inotify, and what its notices mean.
//
// One node per directory, by parent and name, so that a path is always the current one. Of every other entry a trace is
// kept (about 50 bytes): it tells an entry that a listing has already found from a new one, and times that were set
// from other changes of attributes.
//
// A new directory is watched first and listed then. What is made in between is found by both, and told once, by the
// listing: the notice that follows finds the name known.
//
// Notices tell of the past, listings of the present: a path may already lead somewhere else than it did when the notice
// was made. So every directory that was listed is looked at once more when no notice is left; where the tree turns out
// to be another one than the tree on disk, it is read anew, and the changes count as lost. They count as lost as well
// where a directory that is listed again lacks what it had.
//
// All of it belongs to one thread.
class WatchTree
{
public:
    // bStop: gives up long work when it turns true.
    WatchTree(std::string strRoot, const FileIdentity& identity, DWORD uFilter, const std::atomic<bool>& bStop);
    ~WatchTree();

    // Watches the whole tree, from scratch; nothing is told of what it holds. 0, or an errno value.
    int Open();

    int Inotify() const { return m_inotify.Get(); }

    // Milliseconds until Process has something to do without a notice; -1 for never.
    int Timeout() const;

    // Takes what the system has to say and appends the records.
    void Process(ChangeBatch* pBatch);

    // What Process or Open came upon.
    bool IsGone() const { return m_bGone; }        // the root isn't where it was
    bool IsLimited() const { return m_bLimited; }  // the limit of watches was met
    bool TakeLost();                               // changes were lost since the last look
    bool NeedsOpen() const { return m_bOverflow; }

    // After an exception: what the tree holds isn't to be relied on, and changes were lost. Open makes it good.
    void GiveUp() { m_bOverflow = m_bLost = true; }

private:
    static constexpr uint32_t kEntries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    static constexpr uint32_t kFolderMask =
        kEntries | IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;
    static constexpr uint32_t kRootMask = kFolderMask | IN_DELETE_SELF | IN_MOVE_SELF;
    static constexpr int64_t kRetryInterval =
        10000;  // milliseconds between looks at what couldn't be watched or looked at

    struct Known
    {
        uint64_t uInode = 0;
        int64_t nWriteTime = 0;
    };

    struct Node
    {
        Node* pParent = nullptr;
        std::string strName;
        int nWatch = -1;
        uint64_t uInode = 0;  // what is watched
        std::map<std::string, std::unique_ptr<Node>> mapFolders;
        std::unordered_map<uint64_t, Known> mapKnown;  // every entry, by a hash of its name
    };

    struct Notice
    {
        int nWatch = -1;
        uint32_t uMask = 0;
        uint32_t uCookie = 0;
        std::string strName;
        bool bUsed = false;
    };

    // What a second look at a directory found.
    enum class Seen
    {
        Same,
        Other,   // it is another one
        Missing  // which a notice tells, or has told
    };

    enum class Pair
    {
        Found,
        None,
        MayCome
    };

    static uint64_t KeyOf(std::string_view strName) { return std::hash<std::string_view>()(strName); }

    // Calls fnNode with a directory and all below it, each before those that it holds.
    template <typename Function>
    static void ForEachFolder(Node& top, Function fnNode)
    {
        std::vector<Node*> vecNodes{&top};
        while (!vecNodes.empty())
        {
            Node& node = *vecNodes.back();
            vecNodes.pop_back();
            fnNode(node);
            for (const auto& [strName, pChild] : node.mapFolders)
            {
                vecNodes.push_back(pChild.get());
            }
        }
    }

    void ReadNotices();
    void ProcessNotices(ChangeBatch* pBatch);
    Pair FindPair(size_t* puIndex) const;
    void Handle(const Notice& notice, ChangeBatch* pBatch);
    Node* FindWatched(int nWatch) const;

    void Arrive(Node& parent, const std::string& strName, bool bMoved, bool bFolder, ChangeBatch* pBatch);
    void Leave(Node& parent, const std::string& strName, ChangeBatch* pBatch);
    void Rename(Node& parent, const std::string& strFrom, const std::string& strTo, bool bFolder, ChangeBatch* pBatch);
    void Closed(Node& parent, const std::string& strName, ChangeBatch* pBatch);
    void TouchedAttributes(Node& parent, const std::string& strName, ChangeBatch* pBatch);
    void Written(Node& parent, const std::string& strName, ChangeBatch* pBatch);
    void SettleWritten(ChangeBatch* pBatch);

    void Scan(Node& top, ChangeBatch* pBatch);
    void Enter(Node& parent, int nFolder, const char* pszName, bool bBefore, ChangeBatch* pBatch,
               std::vector<Node*>* pvecFolders);
    Node& AddFolder(Node& parent, const std::string& strName);
    bool AddWatch(Node& node, int nFolder);
    void MarkUnwatched(Node& node);
    void RetryUnwatched();
    bool Verify();
    Seen Compare(Node& node);
    void Forget(Node& parent, const std::unordered_map<uint64_t, Known>& mapGone);
    void ScanUnwatched(Node& top, ChangeBatch* pBatch);
    void DropFolder(Node& parent, const std::string& strName);
    void DropWatches(Node& top);
    Descriptor OpenRoot();

    void Tell(DWORD uAction, const Node& parent, const std::string& strName, bool bFolder, ChangeBatch* pBatch) const;
    void TellModified(const Node& parent, const std::string& strName, ChangeBatch* pBatch) const;
    void Append(DWORD uAction, const Node& parent, const std::string& strName, ChangeBatch* pBatch) const;
    bool Look(const Node& parent, const std::string& strName, FileTrace* pTrace);
    bool LookOrDoubt(Node& parent, const std::string& strName, FileTrace* pTrace);
    std::string NativePath(const Node& node) const;

    const std::string m_strRoot;
    const FileIdentity m_identity;
    const DWORD m_uFilter;
    const std::atomic<bool>& m_bStop;

    Descriptor m_inotify;
    std::unique_ptr<Node> m_pRoot;
    std::unordered_map<int, Node*> m_mapWatches;
    std::set<Node*> m_setUnwatched;
    std::set<Node*> m_setFresh;  // listed, and not looked at since
    std::deque<Notice> m_queNotices;
    std::map<std::pair<int, std::string>, int64_t> m_mapWritten;  // files written but not closed, and when to tell
    int64_t m_nHoldUntil = 0;                                     // while the second half of a rename may come
    int64_t m_nMissingUntil = 0;                                  // while a removal may still be told
    int64_t m_nRetryAt = 0;
    int m_nScanError = 0;  // why the root couldn't be reached
    bool m_bGone = false;
    bool m_bLimited = false;
    bool m_bLost = false;
    bool m_bOverflow = false;
};

// The thread that turns the system's notices of a tree into change records.

// Who gets the records; called by the watcher's thread.
class ChangeSink
{
public:
    virtual ~ChangeSink() = default;
    virtual void OnChanges(ChangeBatch batch) = 0;
    virtual void OnLost() = 0;  // changes were lost; the watch goes on
    virtual void OnGone() = 0;  // the root is gone; the watch has ended
};

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
