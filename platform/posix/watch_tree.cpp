#include "platform/posix/watch_tree.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "platform/fault_points.h"
#include "platform/vo_native_names.h"

namespace
{
constexpr uint32_t ENTRIES = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr uint32_t FOLDER_MASK = ENTRIES | IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr uint32_t ROOT_MASK = FOLDER_MASK | IN_DELETE_SELF | IN_MOVE_SELF;

// The system queues both halves of a rename in one go, a moment apart.
constexpr int64_t RENAME_HOLD = 50;
constexpr int64_t QUIET_AFTER_WRITE = 1000;
constexpr int64_t RETRY_INTERVAL = 10000;

constexpr size_t MOST_NOTICES = 100000;  // that are taken in one go
constexpr size_t MOST_LOOKED_AT = 4096;  // for the second half of a rename

int64_t Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

uint64_t KeyOf(std::string_view strName)
{
    return std::hash<std::string_view>()(strName);
}

bool IsGoneError(int nError)
{
    return nError == ENOENT || nError == ENOTDIR || nError == ELOOP;
}
}  // namespace

WatchTree::WatchTree(std::string strRoot, const FileIdentity& identity, DWORD uFilter, const std::atomic<bool>& bStop)
    : m_strRoot(std::move(strRoot)), m_identity(identity), m_uFilter(uFilter), m_bStop(bStop)
{
}

WatchTree::~WatchTree() = default;

int WatchTree::Open()
{
    m_setUnwatched.clear();
    m_setFresh.clear();
    m_mapWatches.clear();
    m_queNotices.clear();
    m_mapWritten.clear();
    m_pRoot = std::make_unique<Node>();
    m_nHoldUntil = 0;
    m_bOverflow = false;
    // Closing the old one first: watches count for the user, not for the descriptor.
    m_inotify.Reset();
    const bool bFails = VO_FAULT_POINT("inotify.open");
    m_inotify = Descriptor(bFails ? -1 : inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!m_inotify.IsOpen())
    {
        return bFails ? EMFILE : errno;
    }
    m_nScanError = 0;
    Scan(*m_pRoot, nullptr);
    return m_nScanError;
}

bool WatchTree::TakeLost()
{
    return std::exchange(m_bLost, false);
}

int WatchTree::Timeout() const
{
    int64_t nAt = m_nHoldUntil != 0 ? m_nHoldUntil : INT64_MAX;
    nAt = m_setUnwatched.empty() ? nAt : std::min(nAt, m_nRetryAt);
    for (const auto& [file, nDue] : m_mapWritten)
    {
        nAt = std::min(nAt, nDue);
    }
    return nAt == INT64_MAX ? -1 : static_cast<int>(std::clamp<int64_t>(nAt - Now(), 0, RETRY_INTERVAL));
}

// ---------------------------------------------------------------------------------------------------------------------
// Notices
// ---------------------------------------------------------------------------------------------------------------------

void WatchTree::ReadNotices()
{
    alignas(inotify_event) char aBuffer[16384];
    while (m_queNotices.size() < MOST_NOTICES)
    {
        const ssize_t nBytes = read(m_inotify.Get(), aBuffer, sizeof(aBuffer));
        if (nBytes <= 0)
        {
            return;
        }
        for (size_t uOffset = 0; uOffset + sizeof(inotify_event) <= static_cast<size_t>(nBytes);)
        {
            inotify_event event;
            memcpy(&event, aBuffer + uOffset, sizeof(event));
            Notice notice;
            notice.nWatch = event.wd;
            notice.uMask = VO_FAULT_POINT("inotify.overflow") ? static_cast<uint32_t>(IN_Q_OVERFLOW) : event.mask;
            notice.uCookie = event.cookie;
            if (event.len > 0)
            {
                notice.strName = aBuffer + uOffset + sizeof(event);  // padded with zeros
            }
            m_queNotices.push_back(std::move(notice));
            uOffset += sizeof(event) + event.len;
        }
    }
}

// Looks for the new name that belongs to the old name at the head.
WatchTree::Pair WatchTree::FindPair(size_t* puIndex) const
{
    const Notice& from = m_queNotices.front();
    for (size_t uIndex = 1; uIndex < m_queNotices.size() && uIndex < MOST_LOOKED_AT; ++uIndex)
    {
        const Notice& notice = m_queNotices[uIndex];
        if ((notice.uMask & IN_MOVED_TO) != 0 && notice.uCookie == from.uCookie)
        {
            *puIndex = uIndex;
            return notice.nWatch == from.nWatch ? Pair::Found : Pair::None;
        }
        // The system holds the directory from the first half to the second: nothing else can come or go in between.
        if (notice.nWatch == from.nWatch && (notice.uMask & (ENTRIES | IN_IGNORED)) != 0)
        {
            return Pair::None;
        }
    }
    return m_queNotices.size() < MOST_LOOKED_AT ? Pair::MayCome : Pair::None;
}

void WatchTree::Process(ChangeBatch* pBatch)
{
    ReadNotices();
    do
    {
        ProcessNotices(pBatch);
    } while (m_queNotices.empty() && !m_bGone && !m_bStop.load() && !Verify());
    if (!m_bOverflow)
    {
        SettleWritten(pBatch);
        RetryUnwatched();
    }
}

void WatchTree::ProcessNotices(ChangeBatch* pBatch)
{
    while (!m_queNotices.empty() && !m_bGone && !m_bStop.load())
    {
        const Notice& head = m_queNotices.front();
        if ((head.uMask & IN_Q_OVERFLOW) != 0)
        {
            m_bOverflow = true;
            m_bLost = true;
            return;
        }
        size_t uPair = 0;
        Pair ePair = Pair::None;
        if ((head.uMask & IN_MOVED_FROM) != 0 && !head.bUsed)
        {
            ePair = FindPair(&uPair);
            if (ePair == Pair::MayCome)
            {
                m_nHoldUntil = m_nHoldUntil != 0 ? m_nHoldUntil : Now() + RENAME_HOLD;
                if (Now() < m_nHoldUntil)
                {
                    break;
                }
            }
        }
        m_nHoldUntil = 0;
        const auto place = m_mapWatches.find(head.nWatch);
        if (ePair == Pair::Found && place != m_mapWatches.end())
        {
            Rename(*place->second, head.strName, m_queNotices[uPair].strName, (head.uMask & IN_ISDIR) != 0, pBatch);
            m_queNotices[uPair].bUsed = true;
        }
        else if (!head.bUsed)
        {
            Handle(head, pBatch);
        }
        m_queNotices.pop_front();
    }
}

void WatchTree::Handle(const Notice& notice, ChangeBatch* pBatch)
{
    const auto place = m_mapWatches.find(notice.nWatch);
    if (place == m_mapWatches.end())
    {
        return;  // from a directory that was dropped meanwhile
    }
    Node& parent = *place->second;
    if (&parent == m_pRoot.get() && (notice.uMask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0)
    {
        m_bGone = true;
        return;
    }
    if ((notice.uMask & IN_IGNORED) != 0)
    {
        parent.nWatch = -1;
        m_setFresh.insert(&parent);
        m_mapWatches.erase(place);
        return;
    }
    if (notice.strName.empty())
    {
        return;  // of the directory itself, which its parent tells
    }
    const bool bFolder = (notice.uMask & IN_ISDIR) != 0;
    if ((notice.uMask & (IN_CREATE | IN_MOVED_TO)) != 0)
    {
        Arrive(parent, notice.strName, (notice.uMask & IN_MOVED_TO) != 0, bFolder, pBatch);
    }
    else if ((notice.uMask & (IN_DELETE | IN_MOVED_FROM)) != 0)
    {
        Leave(parent, notice.strName, pBatch);
    }
    else if (!bFolder && parent.mapKnown.count(KeyOf(notice.strName)) != 0)
    {
        if ((notice.uMask & IN_CLOSE_WRITE) != 0)
        {
            Closed(parent, notice.strName, pBatch);
        }
        else if ((notice.uMask & IN_MODIFY) != 0)
        {
            Written(parent, notice.strName, pBatch);
        }
        else if ((notice.uMask & IN_ATTRIB) != 0)
        {
            TouchedAttributes(parent, notice.strName, pBatch);
        }
    }
}

void WatchTree::Arrive(Node& parent, const std::string& strName, bool bMoved, bool bFolder, ChangeBatch* pBatch)
{
    FileTrace trace;
    const bool bThere = Look(parent, strName, &trace);
    const auto known = parent.mapKnown.find(KeyOf(strName));
    if (known != parent.mapKnown.end())
    {
        if (!bMoved || !bThere || known->second.uInode == trace.uInode)
        {
            return;  // a listing was there before
        }
        Leave(parent, strName, pBatch);  // what the name stood for until now
    }
    // Another kind of thing than the notice says has come to that name later.
    parent.mapKnown[KeyOf(strName)] =
        bThere && trace.bFolder == bFolder ? Known{trace.uInode, trace.nWriteTime} : Known();
    Tell(FILE_ACTION_ADDED, parent, strName, bFolder, pBatch);
    if (bFolder)
    {
        Scan(AddFolder(parent, strName), pBatch);
    }
}

void WatchTree::Leave(Node& parent, const std::string& strName, ChangeBatch* pBatch)
{
    if (parent.mapKnown.erase(KeyOf(strName)) != 0)
    {
        const bool bFolder = parent.mapFolders.count(strName) != 0;
        m_mapWritten.erase({parent.nWatch, strName});
        Tell(FILE_ACTION_REMOVED, parent, strName, bFolder, pBatch);
        DropFolder(parent, strName);
    }
}

void WatchTree::Rename(Node& parent, const std::string& strFrom, const std::string& strTo, bool bFolder,
                       ChangeBatch* pBatch)
{
    const auto from = parent.mapKnown.find(KeyOf(strFrom));
    const auto to = parent.mapKnown.find(KeyOf(strTo));
    if (from == parent.mapKnown.end())
    {
        Arrive(parent, strTo, true, bFolder, pBatch);
        return;
    }
    if (to != parent.mapKnown.end())
    {
        const bool bListedAlready = to->second.uInode == from->second.uInode && to->second.uInode != 0;
        Leave(parent, bListedAlready ? strFrom : strTo, pBatch);
        if (bListedAlready)
        {
            return;
        }
    }
    const auto folder = parent.mapFolders.find(strFrom);
    if ((folder != parent.mapFolders.end()) != bFolder)
    {
        // A listing found something else there, which has come later.
        Leave(parent, strFrom, pBatch);
        Arrive(parent, strTo, true, bFolder, pBatch);
        return;
    }
    const Known known = parent.mapKnown[KeyOf(strFrom)];
    parent.mapKnown.erase(KeyOf(strFrom));
    parent.mapKnown[KeyOf(strTo)] = known;
    Tell(FILE_ACTION_RENAMED_OLD_NAME, parent, strFrom, bFolder, pBatch);
    Tell(FILE_ACTION_RENAMED_NEW_NAME, parent, strTo, bFolder, pBatch);
    if (bFolder)
    {
        auto node = parent.mapFolders.extract(folder);
        node.key() = strTo;
        node.mapped()->strName = strTo;
        Node& moved = *parent.mapFolders.insert(std::move(node)).position->second;
        ScanUnwatched(moved, pBatch);
    }
    const auto written = m_mapWritten.find({parent.nWatch, strFrom});
    if (written != m_mapWritten.end())
    {
        m_mapWritten[{parent.nWatch, strTo}] = written->second;
        m_mapWritten.erase({parent.nWatch, strFrom});
    }
}

void WatchTree::Closed(Node& parent, const std::string& strName, ChangeBatch* pBatch)
{
    FileTrace trace;
    if (Look(parent, strName, &trace))
    {
        parent.mapKnown[KeyOf(strName)].nWriteTime = trace.nWriteTime;
    }
    m_mapWritten.erase({parent.nWatch, strName});
    TellModified(parent, strName, pBatch);
}

// A mode, an owner or times: only a write time that isn't the one before counts. A file that was written tells it soon.
void WatchTree::TouchedAttributes(Node& parent, const std::string& strName, ChangeBatch* pBatch)
{
    FileTrace trace;
    Known& known = parent.mapKnown[KeyOf(strName)];
    if (m_mapWritten.count({parent.nWatch, strName}) == 0 && Look(parent, strName, &trace) &&
        trace.nWriteTime != known.nWriteTime)
    {
        known.nWriteTime = trace.nWriteTime;
        TellModified(parent, strName, pBatch);
    }
}

// Bytes were written, or the file was cut, or its write time alone was set.
void WatchTree::Written(Node& parent, const std::string& strName, ChangeBatch* pBatch)
{
    FileTrace trace;
    if (!Look(parent, strName, &trace))
    {
        return;
    }
    Known& known = parent.mapKnown[KeyOf(strName)];
    if (trace.nWriteTime == trace.nChangeTime)
    {
        // As a write leaves it: its writer will close it, or has none when the file was cut by name.
        m_mapWritten[{parent.nWatch, strName}] = Now() + QUIET_AFTER_WRITE;
    }
    else if (trace.nWriteTime != known.nWriteTime)
    {
        known.nWriteTime = trace.nWriteTime;
        TellModified(parent, strName, pBatch);
    }
}

void WatchTree::SettleWritten(ChangeBatch* pBatch)
{
    const int64_t nNow = Now();
    for (auto written = m_mapWritten.begin(); written != m_mapWritten.end();)
    {
        const auto next = std::next(written);
        if (written->second <= nNow)
        {
            const auto [nWatch, strName] = written->first;
            m_mapWritten.erase(written);
            const auto place = m_mapWatches.find(nWatch);
            if (place != m_mapWatches.end() && place->second->mapKnown.count(KeyOf(strName)) != 0)
            {
                Closed(*place->second, strName, pBatch);
            }
        }
        written = next;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Directories
// ---------------------------------------------------------------------------------------------------------------------

Descriptor WatchTree::OpenRoot()
{
    if (VO_FAULT_POINT("directory.open"))
    {
        errno = EMFILE;
        return Descriptor();
    }
    Descriptor root(open(m_strRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat info;
    if (root.IsOpen() && (fstat(root.Get(), &info) != 0 || !(FileIdentity{info.st_dev, info.st_ino} == m_identity)))
    {
        root.Reset();
        errno = ENOENT;
    }
    return root;
}

// Watches a directory with everything below it, and tells of what it holds if there is a batch.
void WatchTree::Scan(Node& top, ChangeBatch* pBatch)
{
    const Descriptor root = OpenRoot();
    if (!root.IsOpen())
    {
        m_nScanError = errno;
        m_bGone = m_bGone || IsGoneError(m_nScanError);
        MarkUnwatched(top);
        return;
    }
    std::vector<Node*> vecFolders{&top};
    while (!vecFolders.empty() && !m_bStop.load())
    {
        Node& node = *vecFolders.back();
        vecFolders.pop_back();
        m_setFresh.insert(&node);
        const Descriptor folder = OpenFolderBelow(root.Get(), NativePath(node));
        if (!folder.IsOpen())
        {
            if (!IsGoneError(errno))
            {
                MarkUnwatched(node);
            }
            continue;
        }
        if (node.nWatch < 0 && !AddWatch(node, folder.Get()))
        {
            MarkUnwatched(node);
        }
        if (!ForEachEntry(folder.Get(),
                          [&](const char* pszName) { Enter(node, folder.Get(), pszName, pBatch, &vecFolders); }))
        {
            MarkUnwatched(node);
        }
    }
}

// One entry that a listing found.
void WatchTree::Enter(Node& parent, int nFolder, const char* pszName, ChangeBatch* pBatch,
                      std::vector<Node*>* pvecFolders)
{
    FileTrace trace;
    if (!ReadTrace(nFolder, pszName, &trace) && errno == ENOENT)
    {
        return;
    }
    if (!parent.mapKnown.emplace(KeyOf(pszName), Known{trace.uInode, trace.nWriteTime}).second)
    {
        return;
    }
    if (pBatch != nullptr)
    {
        Tell(FILE_ACTION_ADDED, parent, pszName, trace.bFolder, pBatch);
    }
    if (trace.bFolder)
    {
        pvecFolders->push_back(&AddFolder(parent, pszName));
    }
}

WatchTree::Node& WatchTree::AddFolder(Node& parent, const std::string& strName)
{
    auto pNode = std::make_unique<Node>();
    pNode->pParent = &parent;
    pNode->strName = strName;
    std::unique_ptr<Node>& place = parent.mapFolders[strName];
    if (place)
    {
        DropWatches(*place);
    }
    place = std::move(pNode);
    return *place;
}

bool WatchTree::AddWatch(Node& node, int nFolder)
{
    const uint32_t uMask = node.pParent != nullptr ? FOLDER_MASK : ROOT_MASK;
    int nWatch = -1;
    if (VO_FAULT_POINT("inotify.watch"))
    {
        errno = ENOSPC;
    }
    else
    {
        // By its descriptor, so that the directory that is watched is the one that is listed, whatever its path.
        nWatch = inotify_add_watch(m_inotify.Get(), ("/proc/self/fd/" + std::to_string(nFolder)).c_str(), uMask);
        if (nWatch < 0 && errno == ENOENT)  // no such file system here
        {
            const std::string strPath = m_strRoot + "/" + NativePath(node);
            nWatch = inotify_add_watch(m_inotify.Get(), strPath.c_str(), uMask | IN_DONT_FOLLOW);
        }
    }
    if (nWatch < 0)
    {
        m_bLimited = m_bLimited || errno == ENOSPC || errno == ENOMEM;
        return false;
    }
    Node*& pWatched = m_mapWatches[nWatch];
    if (pWatched != nullptr)
    {
        pWatched->nWatch = -1;  // it has moved here; the notice of that is still to come
        m_setFresh.insert(pWatched);
    }
    pWatched = &node;
    struct stat info = {};
    fstat(nFolder, &info);
    node.uInode = info.st_ino;
    node.nWatch = nWatch;
    m_setUnwatched.erase(&node);
    return true;
}

// Changes below this directory won't be told: whoever reads has to know that something is missing.
void WatchTree::MarkUnwatched(Node& node)
{
    m_bLost = true;
    m_setUnwatched.insert(&node);
    m_nRetryAt = Now() + RETRY_INTERVAL;
}

void WatchTree::RetryUnwatched()
{
    if (m_setUnwatched.empty() || Now() < m_nRetryAt)
    {
        return;
    }
    // What has changed there meanwhile isn't known: a directory that comes in means a loss, one that doesn't no news.
    const std::set<Node*> setUnwatched = std::exchange(m_setUnwatched, {});
    const bool bLost = m_bLost;
    bool bEntered = false;
    for (Node* const pNode : setUnwatched)
    {
        Scan(*pNode, nullptr);
        bEntered = bEntered || m_setUnwatched.count(pNode) == 0;
    }
    m_bLost = bLost || bEntered;
}

// Looks once more at what was listed. False when it found notices to process; a tree that has to be read anew is lost.
bool WatchTree::Verify()
{
    bool bDiffers = false;
    for (auto place = m_setFresh.begin(); place != m_setFresh.end() && !m_bStop.load();)
    {
        const auto next = std::next(place);
        const Node& node = **place;
        FileTrace trace;
        const bool bRoot = node.pParent == nullptr;
        if (bRoot || (Look(*node.pParent, node.strName, &trace) && trace.bFolder))
        {
            const bool bAsSeen =
                bRoot || m_setUnwatched.count(*place) != 0 || (node.nWatch >= 0 && node.uInode == trace.uInode);
            bDiffers = bDiffers || !bAsSeen;
            if (bAsSeen)
            {
                m_setFresh.erase(place);
            }
        }
        // One that isn't there any more is told soon, and goes then.
        place = next;
    }
    if (bDiffers)
    {
        ReadNotices();
        m_bOverflow = m_queNotices.empty();
        m_bLost = m_bLost || m_bOverflow;
    }
    return !bDiffers || m_bOverflow;
}

// A renamed directory may hold some that couldn't be reached, or that were given up for moved, under the old name.
void WatchTree::ScanUnwatched(Node& top, ChangeBatch* pBatch)
{
    std::vector<Node*> vecNodes{&top};
    while (!vecNodes.empty())
    {
        Node& node = *vecNodes.back();
        vecNodes.pop_back();
        for (const auto& [strName, pChild] : node.mapFolders)
        {
            vecNodes.push_back(pChild.get());
        }
        if (node.nWatch < 0 && m_setUnwatched.count(&node) == 0)
        {
            Scan(node, pBatch);
        }
    }
}

void WatchTree::DropFolder(Node& parent, const std::string& strName)
{
    const auto place = parent.mapFolders.find(strName);
    if (place != parent.mapFolders.end())
    {
        DropWatches(*place->second);
        parent.mapFolders.erase(place);
    }
}

void WatchTree::DropWatches(Node& top)
{
    std::vector<Node*> vecNodes{&top};
    while (!vecNodes.empty())
    {
        Node& node = *vecNodes.back();
        vecNodes.pop_back();
        if (node.nWatch >= 0)
        {
            inotify_rm_watch(m_inotify.Get(), node.nWatch);  // fails when the directory is gone
            m_mapWatches.erase(node.nWatch);
        }
        m_setUnwatched.erase(&node);
        m_setFresh.erase(&node);
        for (const auto& [strName, pChild] : node.mapFolders)
        {
            vecNodes.push_back(pChild.get());
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Records and paths
// ---------------------------------------------------------------------------------------------------------------------

void WatchTree::Tell(DWORD uAction, const Node& parent, const std::string& strName, bool bFolder,
                     ChangeBatch* pBatch) const
{
    if ((m_uFilter & (bFolder ? FILE_NOTIFY_CHANGE_DIR_NAME : FILE_NOTIFY_CHANGE_FILE_NAME)) == 0)
    {
        return;
    }
    VOWString strPath = VOFromNative(strName);
    for (const Node* pNode = &parent; pNode->pParent != nullptr; pNode = pNode->pParent)
    {
        strPath = VOFromNative(pNode->strName) + VOTEXT('\\') + strPath;
    }
    pBatch->Append(uAction, strPath);
}

void WatchTree::TellModified(const Node& parent, const std::string& strName, ChangeBatch* pBatch) const
{
    if ((m_uFilter & FILE_NOTIFY_CHANGE_LAST_WRITE) == 0)
    {
        return;
    }
    VOWString strPath = VOFromNative(strName);
    for (const Node* pNode = &parent; pNode->pParent != nullptr; pNode = pNode->pParent)
    {
        strPath = VOFromNative(pNode->strName) + VOTEXT('\\') + strPath;
    }
    pBatch->Append(FILE_ACTION_MODIFIED, strPath);
}

// The path below the root; empty for the root.
std::string WatchTree::NativePath(const Node& node) const
{
    std::string strPath;
    for (const Node* pNode = &node; pNode->pParent != nullptr; pNode = pNode->pParent)
    {
        strPath = strPath.empty() ? pNode->strName : pNode->strName + "/" + strPath;
    }
    return strPath;
}

bool WatchTree::Look(const Node& parent, const std::string& strName, FileTrace* pTrace)
{
    const std::string strFolder = NativePath(parent);
    const std::string strPath = m_strRoot + "/" + strFolder + (strFolder.empty() ? "" : "/") + strName;
    if (strPath.size() < PATH_MAX)
    {
        return ReadTrace(AT_FDCWD, strPath.c_str(), pTrace);
    }
    const Descriptor root = OpenRoot();
    const Descriptor folder = root.IsOpen() ? OpenFolderBelow(root.Get(), strFolder) : Descriptor();
    return folder.IsOpen() && ReadTrace(folder.Get(), strName.c_str(), pTrace);
}
