// The stream of file events: a container of time-stamped events, the sections in which its images are published, and
// their delivery to listeners on a thread for each source.
//
// A tool's order of calls: VOTSFileEventMappingAssemble::Instance, BindListener for the sources it cares about, Run; at
// the end Stop and Release. Events that were published before a source's thread had its first look are passed over. A
// tool that keeps an asset index in step binds first, waits for the first look, then loads the image, then applies
// events: see docs/publishers-guide.md.
#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "internal/vo_record_vector.h"
#include "tray_service_types.h"
#include "vo_small_objects.h"
#include "vo_string_hash_set.h"
#include "vo_types.h"

// ---------------------------------------------------------------------------------------------------------------------
// Events and their container
// ---------------------------------------------------------------------------------------------------------------------

// The version of the image. A reader takes images of this one alone.
#define FILEEVENT_CAONTAINER_VERSION "ver.0.0"

namespace LUMTrayService
{

// The stored record of an event; part of the image. The handles are those of the container that holds it, and
// GetString of that one gives their texts.
#pragma pack(push, 4)
struct structFileEventNode
{
    unsigned int dwEventParam2 = 0;               // the three values are the publisher's and the listeners' matter
    void* hstrPath = INVALID_HANDLE_VALUE;        // always valid in a stored record
    void* hstrPhysicPath = INVALID_HANDLE_VALUE;  // invalid when none was given
    void* hstrNewName = INVALID_HANDLE_VALUE;     // invalid when none was given
    unsigned int dwEventParam1 = 0;
    unsigned int dwEventParam0 = 0;
    unsigned long long ullTime = 0;  // in the publisher's unit
};
#pragma pack(pop)
static_assert(sizeof(structFileEventNode) == 44);
static_assert(offsetof(structFileEventNode, dwEventParam2) == 0);
static_assert(offsetof(structFileEventNode, hstrPath) == 4);
static_assert(offsetof(structFileEventNode, hstrPhysicPath) == 12);
static_assert(offsetof(structFileEventNode, hstrNewName) == 20);
static_assert(offsetof(structFileEventNode, dwEventParam1) == 28);
static_assert(offsetof(structFileEventNode, dwEventParam0) == 32);
static_assert(offsetof(structFileEventNode, ullTime) == 36);

}  // namespace LUMTrayService

// A log of file events, flat enough to travel between processes as one image. A Provider is appended to by the
// publisher; a Customer is a view of an image, and is replaced as a whole by the next one.
//
// The int operations give 1 for success and 0, with a log line, for failure. No lock: callers serialise, also
// those of copies, which share their texts. What stores or copies throws std::bad_alloc when there is no
// memory.
class VOBASE_API VOTSFileEventContainer
{
public:
    // What AppendEvent takes; the texts are copied.
    struct Info
    {
        unsigned int dwEventParam0 = 0;
        unsigned int dwEventParam1 = 0;
        unsigned int dwEventParam2 = 0;
        const VOWCHAR* pszPath = nullptr;        // required
        const VOWCHAR* pszNewName = nullptr;     // null or empty for none
        const VOWCHAR* pszPhysicPath = nullptr;  // null or empty for none
    };

    // The head of an image, and where its two parts begin.
#pragma pack(push, 1)
    struct ContainerAlloc
    {
        char szVersion[8];
        unsigned int uStringPoolSize;    // S, bytes of the string set's image
        unsigned int uFileEventBufSize;  // V, bytes of the image of the record vector
        unsigned int uDataBufSize;       // S + V; the image has 24 bytes more
        char abData[4];                  // both images begin here; they end in front of a tail of 4 zero bytes
    };
#pragma pack(pop)

    // Empty; a Customer answers from its first SetAlloc on. A role that is none gives a container that refuses
    // everything, and a log line.
    explicit VOTSFileEventContainer(LUMTrayService::enumAssetRole eRole = LUMTrayService::AR_Provider);
    ~VOTSFileEventContainer();

    // Kept (VOTSFileEventContainer::VOTSFileEventContainer): a copy has records of its own and shares the
    // texts: what one of the two appends adds to the pool of both, and CleanUp of one takes the texts from
    // both. Publishers that copy their log to trim it keep valid handles. The last of them deletes the pool.
    VOTSFileEventContainer(const VOTSFileEventContainer& rkOther);
    VOTSFileEventContainer& operator=(const VOTSFileEventContainer& rkOther);

    // Provider. Adds an event at the end; the texts are copied, and equal ones stored once. ullTime is in the
    // publisher's unit; times needn't rise. Refused on a Customer and without a path. Texts that were entered
    // before a failing step stay.
    int AppendEvent(const Info& info, unsigned long long ullTime);

    // Appends the events with beginTime <= ullTime <= endTime, in the order of appending. 0 in silence when
    // there is none; 0 and a log line when the end lies before the beginning.
    //
    // Kept (VOTSFileEventContainer::GetEvent): 1 if vecEvent then holds anything, also from before. Callers
    // give an empty vector.
    int GetEvent(std::vector<LUMTrayService::structFileEventNode>& vecEvent, unsigned long long beginTime,
                 unsigned long long endTime);

    // Removes events of that time and before; always 1. The texts stay. An attached image isn't written to.
    //
    // Kept (VOTSFileEventContainer::RemoveEvent): exact only when the time covers all events or none: otherwise
    // each removal copies the record behind onto the removed one and drops the last record of all, whatever its
    // time. Publishers and their readers count on the same records being left; a publisher that trims builds a
    // new container from the events it keeps.
    int RemoveEvent(unsigned long long ullTime);

    // The text of a handle, at any alignment, valid until the next append or image; an empty pointer if it has
    // none.
    const VOWCHAR* GetString(void* hString) const;

    // Forgets all events and texts, and lets go of an attached image; memory of its own stays for the next use.
    int CleanUp();

    // A new image, owned by the caller and released with free(). An empty pointer, with a log line, when the
    // texts or the events don't fit one (4 GiB). The container stays as it is.
    ContainerAlloc* GetAlloc();

    // Replaces the contents by an image, copied with bCopy, otherwise as a view of it: then the image must outlive the
    // attachment. A wrong version or total is refused with the container untouched. After a later failure the texts may
    // be the new ones, the events are gone, and the image has to live until CleanUp or the next SetAlloc.
    // The form with ullSize is for an image of that many bytes from a place that isn't trusted.
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy);
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullSize);

protected:
    LUMTrayService::enumAssetRole m_eAssetRole;
    VOStringHashSet* m_pkStringSet;  // owned, together with the copies of this container
    VORecordVector<LUMTrayService::structFileEventNode> m_vecFileEvent;  // a view has the capacity 0
};
static_assert(sizeof(VOTSFileEventContainer::ContainerAlloc) == 24);
static_assert(offsetof(VOTSFileEventContainer::ContainerAlloc, uStringPoolSize) == 8);
static_assert(offsetof(VOTSFileEventContainer::ContainerAlloc, uFileEventBufSize) == 12);
static_assert(offsetof(VOTSFileEventContainer::ContainerAlloc, uDataBufSize) == 16);
static_assert(offsetof(VOTSFileEventContainer::ContainerAlloc, abData) == 20);

// ---------------------------------------------------------------------------------------------------------------------
// Sections
// ---------------------------------------------------------------------------------------------------------------------

// What the update state section begins with, terminator included, and its name. Another version is passed over.
#define FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION "version.1.5"
#define FILEMAPPING_FILEEVENT_UPDATESTATE_NAME VOTEXT("vo_fileMappingUpdateStateName_fileEvent")

// The name of the data sections of a source, to which the digit of the slot is added, in constant storage; an
// empty pointer for AF_ERROR and for what is no source.
#define FILEEVENT_MAPPING_VIEW_STRING(eaf) VOFileEventMappingViewString(static_cast<LUMTrayService::enumAssetFrom>(eaf))
VOBASE_API const VOWCHAR* VOFileEventMappingViewString(LUMTrayService::enumAssetFrom eaf);

// The update state section; see docs/wire-formats.md for who writes what in which order. Each word has one side
// that writes it; the other reads it at any time.
//
// Kept (FileEventStateInfo): readers step uReaderCount without interlock, so that a step may be lost, and one
// that dies or is held suspended inside leaves it raised. All readers of the protocol do so, and publishers
// bound their wait for it.
struct FileEventStateInfo
{
    unsigned int bEnable;                 // publisher: non-zero while the source is published
    unsigned int uActiveSlot;             // publisher: the slot of the latest image, 0 or 1
    unsigned long long ullUpdateTime[2];  // publisher: the time of the image in each slot
    unsigned int uReaderCount[2];         // readers: how many are at this moment inside each slot's data section
};

struct FileEventUpdateState
{
    char szVersion[12];
    unsigned int uPadding;
    FileEventStateInfo arrStateInfo[LUMTrayService::ASSETTYPE_COUNT];  // indexed by enumAssetFrom
};
static_assert(sizeof(FileEventStateInfo) == 32 && offsetof(FileEventStateInfo, uActiveSlot) == 4 &&
              offsetof(FileEventStateInfo, ullUpdateTime) == 8 && offsetof(FileEventStateInfo, uReaderCount) == 24);
static_assert(sizeof(FileEventUpdateState) == 336 && offsetof(FileEventUpdateState, arrStateInfo) == 16);

// ---------------------------------------------------------------------------------------------------------------------
// Delivery
// ---------------------------------------------------------------------------------------------------------------------

// One event, as a listener gets it. The texts may lie at odd addresses and end with the call, as does the
// record.
struct FileEventParam
{
    LUMTrayService::enumAssetFrom eaf;
    unsigned int dwEventParam0;
    unsigned int dwEventParam1;
    unsigned int dwEventParam2;
    const VOWCHAR* pszPath;        // never null
    const VOWCHAR* pszNewName;     // null for none
    const VOWCHAR* pszPhysicPath;  // null for none
    unsigned long long ullTime;
};

// What a tool implements to get events. Made on the heap, with one reference that is the tool's; each binding
// takes one more. There is no unbinding: the tool releases its own reference, and a listener whose binding is
// the last one gets no more events and is deleted at the next event, on the detect thread.
class VOBASE_API IVOTSFileEventListener : public ZRef
{
public:
    using FileEventParam = ::FileEventParam;

    IVOTSFileEventListener();
    IVOTSFileEventListener(const IVOTSFileEventListener& rkOther);
    IVOTSFileEventListener& operator=(const IVOTSFileEventListener& rkOther);
    ~IVOTSFileEventListener() override;

    // Called for each event on the source's detect thread, with the list of listeners locked: it must not bind
    // a listener to the same source, stop the source, or throw (nothing catches it, and the process ends), and
    // while it takes its time the source's stream waits. Listeners of different sources may run at the same
    // time. The result is ignored.
    //
    // Kept (IVOTSFileEventListener::OnFileEvent): events that were published before the thread's first look are
    // passed over, and one whose time is that of a publication comes again with the next. Tools load the index
    // after the first look, and take an event that they know already without harm; publishers stamp above all
    // events.
    virtual int OnFileEvent(const FileEventParam* pParam) = 0;
};

struct VOToldEvent;

// The file events of one source. Its detect thread waits for the events of the second road, if there is one (see
// vo_publisher.h), and looks at the update state section at least twice a second, copies the newest image when the
// published time has moved on, and hands the events since then to the listeners: each once, in their order, and within
// milliseconds on the second road. A
// section that isn't there or is of another version is tried again in silence, so that a tool may start before
// its publisher. What runs out of memory in the thread is tried again as well.
class VOBASE_API VOTSFileEventMappingInspector
{
public:
    // Opens nothing and starts nothing.
    explicit VOTSFileEventMappingInspector(LUMTrayService::enumAssetFrom eaf);

    // Releases the listeners. Doesn't stop the thread: call Stop first.
    ~VOTSFileEventMappingInspector();
    VOTSFileEventMappingInspector(const VOTSFileEventMappingInspector&) = delete;
    VOTSFileEventMappingInspector& operator=(const VOTSFileEventMappingInspector&) = delete;

    // Starts the thread. 1 if one runs, also from before; 0, with a log line, if none can be made. The first
    // delivery comes half a second later at the earliest. A thread that runs after a Stop begins with a new
    // first look.
    int Run();

    // Resumes the thread once, asks it to end and waits for that: up to half a second, or as long as a listener
    // takes. Always 1, also without a thread. Listeners stay bound.
    //
    // Kept (VOTSFileEventMappingInspector::Stop): the wait has no limit: it never ends when the thread was
    // suspended more than once, or when a listener calls it. Hosts that suspend twice resume once before they
    // stop.
    int Stop();

    // Adds a listener, which may happen at any time, and takes a reference; one that is bound already is left
    // as it is. Waits while an event is delivered. Always 1, but for a null pointer, which is refused with 0
    // and a log line. Throws std::bad_alloc, with the listener unbound and no reference taken, when there is no
    // memory.
    //
    // Kept (VOTSFileEventMappingInspector::BindListener): when listeners are found dead, as many entries are
    // erased as there are dead ones, counted from the second entry on, and not the dead ones themselves; others
    // may stop getting events. Tools bind one listener for each source for as long as they run, and pass events
    // on by themselves.
    int BindListener(IVOTSFileEventListener* piListener);

    // Stops the thread wherever it stands (bSuspend non-zero), and lets it go on; these calls count. Events
    // aren't lost while the publisher keeps them. The thread may hold a lock then, also one that the whole
    // process shares, such as the allocator's or that of standard output: until it goes on, a caller stays away
    // from BindListener and from whatever the listeners lock, and suspends for a short time only. It may stand
    // inside a data section too, whose publisher then waits. Takes none of the inspector's locks. 1, or 0
    // without a thread. Not to be called beside Run or Stop.
    int SuspendEvent(int bSuspend);

protected:
    // Hands one event to all listeners, in the order of binding, and lets go of those that only the inspector
    // refers to. 0 and a log line for an event without a path text.
    int DispatchFileEvent(const LUMTrayService::structFileEventNode& node, VOTSFileEventContainer* pkContainer);

    // What Run and Stop are made of; the caller has the lock. 1, also for what is there, or gone, already.
    int CreateDetectThread();
    int DestroyDetectThread();

    // The detect thread, given its inspector; 0 at its end.
    //
    // Kept (VOTSFileEventMappingInspector::ThreadProc_DetectFileEvnet): the view of a data section without
    // content stays mapped, the latest one of each source. Publishers that write such sections find them alive
    // until the next.
    static VOULONG ThreadProc_DetectFileEvnet(void* pInspector);

    LUMTrayService::enumAssetFrom m_eaf;
    std::mutex m_DetectLock;                             // Run and Stop
    std::vector<IVOTSFileEventListener*> m_vecListener;  // in the order of binding; null where the listener is gone
    std::mutex m_ListenerLock;                           // m_vecListener
    int m_bRunning;                                      // 0 asks the thread to end
    std::atomic<void*> m_hDetectThread;

private:
    friend class VOTSFileEventMappingAssemble;

    void _AskToEnd();
    void _ResumeOnce();
    void _Tell(const FileEventParam& param);
    void _TellAll(const std::vector<VOToldEvent>& vecEvents);

    bool m_bResumedToEnd;  // the thread was suspended, and has been resumed for the end that is asked of it
};

// The front door of a tool process: one inspector for each source that was enabled at the first Instance.
// Separate from the assemble of the asset images: each has a count of its own.
class VOBASE_API VOTSFileEventMappingAssemble
{
public:
    // The one object of the process, counted; never null. Both are thread-safe; Release takes no lock. With the
    // last Release all threads are stopped as by Stop, which is waited for, and the inspectors end; a listener
    // must not be the one that calls it. An Instance beside that Release makes a new object, and may log that
    // the old one isn't gone yet. A Release too many does nothing. Throws std::bad_alloc, with nothing counted,
    // when there is no memory.
    //
    // Kept (VOTSFileEventMappingAssemble::Instance): the update state section is looked at once, by the first
    // Instance; without one, or with another version, the object has no inspectors, and a line is logged. Tools
    // see a source that is enabled later when all have called Release and one calls Instance anew.
    static VOTSFileEventMappingAssemble* Instance();
    static void Release();

    // For each inspector by ascending source. Stop asks all threads to end, each resumed once, before it waits
    // for the first: a suspended one holds nothing that another one waits for.
    //
    // Kept (VOTSFileEventMappingAssemble::Run): always 1, whatever each inspector's result. Tools run without
    // the stream of a source that can't have a thread, and find the reason in the log.
    int Run();
    int Stop();

    // As the inspector's of that source; 0, in silence and without a reference taken, for a source without one.
    int BindListener(LUMTrayService::enumAssetFrom eaf, IVOTSFileEventListener* piListener);

    // As the inspector's; 0, with a log line, for a source without an inspector or without a thread.
    int SuspendEvent(LUMTrayService::enumAssetFrom eaf, int bSuspend);

protected:
    // Made and ended by Instance and Release alone. A copy shares the inspectors and is of no use.
    friend struct VOAssembleLife;

    VOTSFileEventMappingAssemble();
    ~VOTSFileEventMappingAssemble();
    VOTSFileEventMappingAssemble(const VOTSFileEventMappingAssemble&) = default;
    VOTSFileEventMappingAssemble& operator=(const VOTSFileEventMappingAssemble&) = default;

    int _SetupInspector();
    int _CloseInspector();

    VOTSFileEventMappingInspector* m_pArrInspector[LUMTrayService::ASSETTYPE_COUNT];  // owned; null for no source

    static VOTSFileEventMappingAssemble* ms_pkInstance;
    static int ms_nRefCountOfInstance;
    static std::mutex ms_InstanceLock;

private:
    void _AskToEnd();
};
