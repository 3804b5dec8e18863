// What the system's notices mean for the tree, and what they tell its readers.
#include <unistd.h>

#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/waits.h"
#include "platform/posix/watch_tree.h"

namespace
{
// The system queues both halves of a rename in one go, a moment apart.
constexpr int64_t kRenameHold = 50;
constexpr int64_t kQuietAfterWrite = 1000;

constexpr size_t kMostNotices = 100000;  // that are taken in one go
constexpr size_t kMostLookedAt = 4096;   // for the second half of a rename
}  // namespace

void WatchTree::ReadNotices()
{
    alignas(inotify_event) char aBuffer[16384];
    while (m_queNotices.size() < kMostNotices)
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
            const uint32_t uMask =
                VO_FAULT_POINT("inotify.overflow") ? static_cast<uint32_t>(IN_Q_OVERFLOW) : event.mask;
            const char* const pszName = event.len > 0 ? aBuffer + uOffset + sizeof(event) : "";  // padded with zeros
            m_queNotices.push_back({event.wd, uMask, event.cookie, pszName});
            uOffset += sizeof(event) + event.len;
        }
    }
}

// Looks for the new name that belongs to the old name at the head.
WatchTree::Pair WatchTree::FindPair(size_t* puIndex) const
{
    const Notice& from = m_queNotices.front();
    for (size_t uIndex = 1; uIndex < m_queNotices.size() && uIndex < kMostLookedAt; ++uIndex)
    {
        const Notice& notice = m_queNotices[uIndex];
        if ((notice.uMask & IN_MOVED_TO) != 0 && notice.uCookie == from.uCookie)
        {
            *puIndex = uIndex;
            return notice.nWatch == from.nWatch ? Pair::Found : Pair::None;
        }
        // The system holds the directory from the first half to the second: nothing else can come or go in between.
        if (notice.nWatch == from.nWatch && (notice.uMask & (kEntries | IN_IGNORED)) != 0)
        {
            return Pair::None;
        }
    }
    return m_queNotices.size() < kMostLookedAt ? Pair::MayCome : Pair::None;
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
                m_nHoldUntil = m_nHoldUntil != 0 ? m_nHoldUntil : MillisecondsNow() + kRenameHold;
                if (MillisecondsNow() < m_nHoldUntil)
                {
                    break;
                }
            }
        }
        m_nHoldUntil = 0;
        m_nMissingUntil = 0;
        Node* const pParent = FindWatched(head.nWatch);
        if (ePair == Pair::Found && pParent != nullptr)
        {
            Rename(*pParent, head.strName, m_queNotices[uPair].strName, (head.uMask & IN_ISDIR) != 0, pBatch);
            m_queNotices[uPair].bUsed = true;
        }
        else if (!head.bUsed)
        {
            Handle(head, pBatch);
        }
        m_queNotices.pop_front();
    }
}

// Null for a directory that was dropped meanwhile.
WatchTree::Node* WatchTree::FindWatched(int nWatch) const
{
    const auto place = m_mapWatches.find(nWatch);
    return place != m_mapWatches.end() ? place->second : nullptr;
}

void WatchTree::Handle(const Notice& notice, ChangeBatch* pBatch)
{
    Node* const pParent = FindWatched(notice.nWatch);
    if (pParent == nullptr)
    {
        return;
    }
    Node& parent = *pParent;
    if (&parent == m_pRoot.get() && (notice.uMask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0)
    {
        m_bGone = true;
        return;
    }
    if ((notice.uMask & IN_IGNORED) != 0)
    {
        parent.nWatch = -1;
        m_setFresh.insert(&parent);
        m_mapWatches.erase(notice.nWatch);
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
    const bool bThere = LookOrDoubt(parent, strName, &trace);
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
    if (m_mapWritten.count({parent.nWatch, strName}) == 0 && LookOrDoubt(parent, strName, &trace) &&
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
    if (!LookOrDoubt(parent, strName, &trace))
    {
        return;
    }
    Known& known = parent.mapKnown[KeyOf(strName)];
    if (trace.nWriteTime == trace.nChangeTime)
    {
        // As a write leaves it: its writer will close it, or has none when the file was cut by name.
        m_mapWritten[{parent.nWatch, strName}] = MillisecondsNow() + kQuietAfterWrite;
    }
    else if (trace.nWriteTime != known.nWriteTime)
    {
        known.nWriteTime = trace.nWriteTime;
        TellModified(parent, strName, pBatch);
    }
}

void WatchTree::SettleWritten(ChangeBatch* pBatch)
{
    const int64_t nNow = MillisecondsNow();
    for (auto written = m_mapWritten.begin(); written != m_mapWritten.end();)
    {
        const auto next = std::next(written);
        if (written->second <= nNow)
        {
            const auto [nWatch, strName] = written->first;
            m_mapWritten.erase(written);
            Node* const pParent = FindWatched(nWatch);
            if (pParent != nullptr && pParent->mapKnown.count(KeyOf(strName)) != 0)
            {
                Closed(*pParent, strName, pBatch);
            }
        }
        written = next;
    }
}
