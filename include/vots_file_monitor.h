// The directory monitor: watches a directory with everything below it and tells listeners of what changes.
//
// A host's order of calls: construct, AddFilterDir as needed, Init, AddFileMonitorListener, BeginThread; at the end
// RemoveFileMonitorListener for each listener, UnInit, destroy.
//
// A removal is refused while an event is being delivered, so a host tries again until the result is 1; or it removes
// its listeners while the dispatch thread is suspended, and lets the thread go on for a moment when that is refused.
//
// A suspended thread stands wherever it was, and may hold a lock that the whole process shares, such as the allocator's
// or that of standard output. Until it goes on, anybody who needs that lock waits: so a host suspends for a short time,
// and what it does meanwhile, a change of the listeners included, may have to wait until another thread lets go.
// BeginThread, SuspendFileMonitor(false), SuspendEventDispatcher(false) and UnInit take no such lock before the threads
// go on.
//
// While the root can't be read (it has been deleted, or is a file) the monitor thread tries again without a pause and
// without a word, and keeps a processor busy: a host that learns of it suspends the monitor thread, or calls UnInit.
//
// The stream of events is a hint and no record: identical events within half a second of each other are one event, and
// what the system's own buffer couldn't hold is lost without a sign. Whoever needs the exact state looks at the
// directory when an event says that something changed there.
#pragma once

#include <list>
#include <vector>

#include "internal/vo_event_queue.h"
#include "internal/vo_published.h"
#include "vo_types.h"

// What a user of the monitor implements. Paths are full paths with forward slashes, beginning with the root as
// it was given to Init; they are valid for the length of the call. Calls come one at a time, on the monitor's
// dispatch thread. A listener that takes its time holds up all later events, which are kept without a bound;
// one that throws ends the process.
class IVOTSFileMonitorEventListener
{
public:
    // A file or folder came, or went; which of the two it is isn't told. On Linux, what a folder holds that is
    // made or moved in is told as added too; on Windows a folder that is moved in is told alone.
    virtual void OnFileMonitor_Add(const VOWCHAR* pszFilePath) = 0;
    virtual void OnFileMonitor_Remove(const VOWCHAR* pszFilePath) = 0;

    // pszFilePath: the old full path, empty when it isn't known. pszNewFileName: the last component of the new
    // path. A move to another folder of the root is a Remove and an Add.
    //
    // Kept (IVOTSFileMonitorEventListener::OnFileMonitor_Rename): the new full path isn't given. Listeners make
    // it from the old one, since a rename stays in its folder.
    virtual void OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName) = 0;

    // Files only: its contents or its time of last write. A save through a temporary file, a Remove with a
    // Rename to the same path right behind it, comes as this one event.
    virtual void OnFileMonitor_Modified(const VOWCHAR* pszFilePath) = 0;

protected:
    // Nobody owns a listener through this interface.
    ~IVOTSFileMonitorEventListener() = default;
};

// A listener that does nothing; derive from it and override what is needed. It may be deleted through this
// class.
class VOBASE_API VOTSFileMonitorEventListener_Adapter : public IVOTSFileMonitorEventListener
{
public:
    void OnFileMonitor_Add(const VOWCHAR* pszFilePath) override;
    void OnFileMonitor_Remove(const VOWCHAR* pszFilePath) override;
    void OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName) override;
    void OnFileMonitor_Modified(const VOWCHAR* pszFilePath) override;

    virtual ~VOTSFileMonitorEventListener_Adapter() = default;
};

// Passes each event on to all of its listeners, in the order in which they were added. While it does so the
// list can't be changed: an attempt, from a listener's call or from another thread, is logged and refused with
// 0, and the caller tries again later. A listener that was removed with 1 isn't being called and won't be: it
// may be deleted.
//
// It is a listener itself, so that dispatchers can be put behind each other. Any thread may call; nobody waits
// for a listener.
class VOBASE_API VOTSFileMonitorEventDispatcher : public VOTSFileMonitorEventListener_Adapter
{
public:
    VOTSFileMonitorEventDispatcher();

    // A copy has the same listeners, in a list of its own.
    VOTSFileMonitorEventDispatcher(const VOTSFileMonitorEventDispatcher& kOther);
    VOTSFileMonitorEventDispatcher& operator=(const VOTSFileMonitorEventDispatcher& kOther);

    // Logs when listeners are left. Listeners aren't deleted.
    ~VOTSFileMonitorEventDispatcher() override;

    // 1 also for a listener that is there already, or for one that isn't; 0 for a null pointer and while events
    // are passed on, both logged. Listeners aren't owned. AddListener throws std::bad_alloc, with the list as
    // it was, when there is no memory.
    //
    // Kept (VOTSFileMonitorEventDispatcher::AddListener): a change during a delivery is refused and isn't made
    // up for later. Hosts try again until the result is 1.
    int AddListener(IVOTSFileMonitorEventListener* pListener);
    int RemoveListener(IVOTSFileMonitorEventListener* pListener);

    // The fan-out. A null entry, which only a derived class can have made, is logged and ends it.
    void OnFileMonitor_Add(const VOWCHAR* pszFilePath) override;
    void OnFileMonitor_Remove(const VOWCHAR* pszFilePath) override;
    void OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName) override;
    void OnFileMonitor_Modified(const VOWCHAR* pszFilePath) override;

protected:
    typedef std::list<IVOTSFileMonitorEventListener*> ListenerList;

    // 1 if it is in the list. 0 too when the list can't be had, since a suspended thread is at it.
    int IsListenerExist(IVOTSFileMonitorEventListener* pListener);

    ListenerList m_listListeners;  // not owned
    int m_blstEnable;              // 1 while the list may be changed, 0 while it is walked

private:
    class Walk;

    void _ShowWalks();
    bool _IsInList(const IVOTSFileMonitorEventListener* pListener);
    bool _ListenerAt(size_t uIndex, IVOTSFileMonitorEventListener** ppiListener);

    int m_nListBusy;  // 1 while a thread is at the list itself; never while a listener is called
    int m_nWalks;     // how many walks are under way, one inside the other or on several threads
};

// The types of a monitor's events; also known as names of VOTSFileMonitorManager. They aren't the system's
// numbers.
enum FILE_MONITOR_EVENT_TYPE : int
{
    FILE_MONITOR_EVENT_ADD = 1,
    FILE_MONITOR_EVENT_REMOVE = 2,
    FILE_MONITOR_EVENT_RENAME = 3,
    FILE_MONITOR_EVENT_MODIFIED = 4
};

// Watches one root directory and everything below it. The threads that it makes are its own: one reads the
// system's notices and queues events, one takes them from the queue and calls the listeners. Results are 1 for
// success and 0 for failure unless something else is said.
//
// One thread of the host makes, starts, stops and ends it; filters and listeners may be changed by others.
class VOBASE_API VOTSFileMonitorManager
{
public:
    using enum FILE_MONITOR_EVENT_TYPE;

    // One event, as it stands in the queue.
    struct FILE_MONITOR_EVENT
    {
        int nEventType = 0;
        VOWString strFilePath;              // full path, forward slashes; of a rename the old one
        VOWString strNewFilePath;           // rename only: the new full path
        VOWString strNewFileName;           // rename only: its last component
        unsigned long long uTickCount = 0;  // milliseconds of the system's clock; 0 in an event made by rewriting

        // Equal type, path and new name, and less than 500 ms apart, the difference taken as signed. The new
        // path plays no part.
        //
        // Kept (VOTSFileMonitorManager::FILE_MONITOR_EVENT::operator==): an event that equals the one just
        // before it isn't told, and moves the half second on, so that a run of equal events is one event,
        // however long. Hosts take events for hints, and look at the directory.
        bool operator==(const FILE_MONITOR_EVENT& kOther) const
        {
            const long long llApart = static_cast<long long>(uTickCount - kOther.uTickCount);
            return nEventType == kOther.nEventType && strFilePath == kOther.strFilePath &&
                   strNewFileName == kOther.strNewFileName && llApart > -500 && llApart < 500;
        }
    };

    // Opens nothing and makes no thread.
    VOTSFileMonitorManager();

    // Doesn't call UnInit: an object that was given Init has to be given UnInit first.
    virtual ~VOTSFileMonitorManager();

    // Member by member. The copy of an initialised object shares its threads and handles: UnInit belongs to one of
    // them.
    VOTSFileMonitorManager(const VOTSFileMonitorManager& kOther);
    VOTSFileMonitorManager& operator=(const VOTSFileMonitorManager& kOther);

    // Opens the root (at most 259 characters, a longer one is cut) and makes both threads, suspended: nothing
    // is watched before BeginThread. What was made before a step that fails stays, for UnInit; the step is
    // logged. A second Init fails and changes nothing but the root's text. Throws std::bad_alloc when there is
    // no memory for the dispatcher.
    //
    // Kept (VOTSFileMonitorManager::Init): the root is taken as it stands, so that one with a slash at its end
    // gives two slashes in every path. Hosts write their filters in the same form.
    int Init(const VOWCHAR* pszRootPath);

    // Ends the threads, suspended or not, and releases everything, whatever is there. Takes up to half a
    // second, or as long as a listener takes; a listener must not call it. Events that are still queued aren't
    // told. Always 1.
    //
    // Kept (VOTSFileMonitorManager::UnInit): after it the object can't watch again: Init works, but its threads
    // end at once. Hosts make a new object for each root.
    int UnInit();

    // Let both threads run, or hold them. Always 1, also without threads. They don't count: a thread is held or
    // not.
    int BeginThread();
    int SuspendThread();

    // One of them. 0 without that thread. Changes are kept by the system while the monitor thread is held, as
    // many as its buffer holds, and events in the queue while the dispatch thread is. What a held thread may
    // hold stands at the head of this file.
    int SuspendFileMonitor(bool bSuspend);
    int SuspendEventDispatcher(bool bSuspend);

    // 1 while events are queued; a look from any thread.
    //
    // Kept (VOTSFileMonitorManager::HasFileEvent): also while a lone Remove is held back, which PopEvent
    // doesn't give yet. Hosts that wait for a quiet queue wait for it too.
    int HasFileEvent() const;

    // Whether the root and what is below it are watched by now: the monitor thread, which BeginThread lets run,
    // takes its time for a large tree. Events tell of no change from before that. A host that must not miss one
    // compares what it knows with the whole directory when this has become true. A look from any thread.
    bool IsWatching() const;

    // How often changes have been lost so far, of whatever files: more came than the system's buffer held, there
    // was no memory for them, the system watched no more for a while, or PushEvent lost an event. No event tells of it.
    // A host that must not miss a change compares what it knows with the whole directory when the number is another one
    // than before. A look from any thread.
    unsigned int LostChanges() const;

    // After Init only, before that 0 in silence; see VOTSFileMonitorEventDispatcher.
    int AddFileMonitorListener(IVOTSFileMonitorEventListener* piListener);
    int RemoveFileMonitorListener(IVOTSFileMonitorEventListener* piListener);

    // Events whose path begins with this text, character by character, aren't delivered. The text is copied and
    // not normalised: forward slashes, the root as it was given to Init, in the case that the events have. A
    // null pointer adds nothing. At any time, from any thread. Always 1; throws std::bad_alloc, with the
    // filters as they were, when there is no memory.
    //
    // Kept (VOTSFileMonitorManager::AddFilterDir): a prefix is no folder: "C:/data/temp" also stops
    // "C:/data/temporary/a.txt", and an empty text stops everything. Of a rename only the old path counts.
    // Hosts put a slash behind a folder, and use the empty text to silence a monitor.
    int AddFilterDir(const VOWCHAR* pszDir);

protected:
    // The steps of Init and UnInit, in their order. To make what is there already is refused with 0 and a log
    // line; to end what isn't there is 1.
    int CreateFileMonitorDispatcher();
    int DesotryFileMonitorDispatcher();
    int CreateFileDirMonitorHandle();
    int DestoryFileDirMonitorHandle();
    int CreateFileMonitorThread();
    int DestroyFileMonitorThread();
    int CreateFileEventProcessThread();
    int DestoryFileEventProcessThread();

    // Appends an event, waiting up to 65535 ms for the consumer to let go of the queue; then, and when there is
    // no memory for it, the event is lost, with a log line. One producer and one consumer.
    //
    // Kept (VOTSFileMonitorManager::PushEvent): always 0, also for an event that is in the queue. Derived
    // classes that push events look at HasFileEvent.
    int PushEvent(FILE_MONITOR_EVENT& kEvent);

    // Takes the first event: 1. 0 without one, while a lone Remove is held back, and while the producer is at
    // the queue. Never waits.
    int PopEvent(FILE_MONITOR_EVENT& kEvent);

    // Makes one Modified of a Remove and the Rename to the same path behind it, however far apart the two came; 1
    // while a Remove without anything behind it is held back.
    //
    // Kept (VOTSFileMonitorManager::SpecialEventHandle): only the two events at the very head are looked at,
    // and a lone Remove waits for one round of the dispatch thread, half a second. Listeners that follow saves
    // through temporary files get one Modified; what comes between the two makes it a Remove and a Rename.
    int SpecialEventHandle();

    // The two threads, given the manager; 0 at their end.
    //
    // Kept (VOTSFileMonitorManager::ThreadProc_FileMonitor): a read that completes without records, as it does
    // when the system lost changes, is taken for the one before, whose events may come again; and a rename of
    // which only the second half came is told with the old name of the rename before. Hosts look at the
    // directory when something seems to happen twice.
    static VOULONG ThreadProc_FileMonitor(void* lpParameter);
    static VOULONG ThreadProc_FileEventDispatcher(void* lpParameter);

    // Handles and marks of what Init made. A mark says whether its thread is held.
    VOWCHAR m_tszRootPath[MAX_PATH];
    void* m_hFileMonitorHandle;
    void* m_hFileMonitorThread;
    bool m_bFileMonitorSuspended;
    void* m_hFileEventThread;
    bool m_bFileEventSuspended;
    int m_nSpecialEventCount;                          // odd while a lone Remove is held back
    VOEventQueue<FILE_MONITOR_EVENT> m_vecFileEvents;  // a vector, head at the front; handled under m_nEventQueueBusy
    int m_nEventQueueBusy;
    int m_nExitThread;  // never cleared
    OVERLAPPED m_overLapped;

    // A derived class may change it as it likes, on the thread that calls AddFilterDir. The dispatch thread goes by
    // what stood here at the last AddFilterDir, BeginThread or SuspendEventDispatcher(false).
    std::vector<VOWString> m_vecFilterDir;
    VOTSFileMonitorEventDispatcher* m_pFileMonitorEventDispatcher;  // owned

private:
    int _SuspendOne(void* hThread, bool& rbSuspended, bool bSuspend);
    void _SetRootPath(const VOWCHAR* pszRootPath);
    VOWString _RootPath();
    void _WatchDirectory(unsigned char* pszNotify);
    void _DeliverEvents();
    void _Deliver(const FILE_MONITOR_EVENT& kEvent);
    bool _IsFiltered(const VOWString& strPath) const;
    int _HoldOrRewriteHead();

    bool _ShowFilters();

    int m_nFilterBusy;                               // 1 while a thread appends to the filters or shows them
    int m_nFiltersShown;                             // 0 until the dispatch thread has been shown any
    VOPublished<std::vector<VOWString>> m_kFilters;  // what it goes by
    unsigned int m_uWatching;                        // 1 from the first read on
    unsigned int m_uLosses;                          // reads without records, and batches and events that were lost
};
