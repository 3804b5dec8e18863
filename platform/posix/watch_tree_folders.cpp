// The directories of the tree: how they are watched and listed, and looked at again.
#include <sys/stat.h>

#include "platform/fault_points.h"
#include "platform/posix/waits.h"
#include "platform/posix/watch_tree.h"

namespace
{
// What has gone is told a moment after it isn't found any more.
constexpr int64_t kRemovalHold = 50;

bool IsGoneError(int nError)
{
    return nError == ENOENT || nError == ENOTDIR || nError == ELOOP;
}
}  // namespace

Descriptor WatchTree::OpenRoot()
{
    if (VO_FAULT_POINT("directory.open"))
    {
        return FailErrno(EMFILE, Descriptor());
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
        Descriptor folder = OpenFolderBelow(root.Get(), NativePath(node));
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
        std::unordered_map<uint64_t, Known> mapBefore = node.mapKnown;
        const auto fnEntry = [&](int nFolder, const dirent& entry)
        {
            const bool bBefore = mapBefore.erase(KeyOf(entry.d_name)) != 0;
            Enter(node, nFolder, entry.d_name, bBefore, pBatch, &vecFolders);
        };
        if (ForEachEntry(StreamOf(std::move(folder)), fnEntry))
        {
            Forget(node, mapBefore);
        }
        else
        {
            MarkUnwatched(node);
        }
    }
}

// One entry that a listing found. bBefore: it is known from an earlier listing.
void WatchTree::Enter(Node& parent, int nFolder, const char* pszName, bool bBefore, ChangeBatch* pBatch,
                      std::vector<Node*>* pvecFolders)
{
    FileTrace trace;
    if (!ReadTrace(nFolder, pszName, &trace))
    {
        if (errno == ENOENT)
        {
            return;
        }
        MarkUnwatched(parent);  // it may be a directory
    }
    const uint64_t uKey = KeyOf(pszName);
    const auto known = parent.mapKnown.find(uKey);
    if (known != parent.mapKnown.end())
    {
        const bool bWasFolder = parent.mapFolders.count(pszName) != 0;
        if (!bBefore || (known->second.uInode == trace.uInode && bWasFolder == trace.bFolder))
        {
            return;
        }
        // Another one than before, which nothing told.
        m_bLost = true;
        DropFolder(parent, pszName);
    }
    parent.mapKnown[uKey] = Known{trace.uInode, trace.nWriteTime};
    if (pBatch != nullptr)
    {
        Tell(FILE_ACTION_ADDED, parent, pszName, trace.bFolder, pBatch);
    }
    if (trace.bFolder)
    {
        pvecFolders->push_back(&AddFolder(parent, pszName));
    }
}

// What a directory that is listed again doesn't hold any more. Nobody can be told which names these were.
void WatchTree::Forget(Node& parent, const std::unordered_map<uint64_t, Known>& mapGone)
{
    for (const auto& [uKey, known] : mapGone)
    {
        m_bLost = true;
        parent.mapKnown.erase(uKey);
    }
    for (auto place = parent.mapFolders.begin(); place != parent.mapFolders.end() && !mapGone.empty();)
    {
        const auto next = std::next(place);
        if (mapGone.count(KeyOf(place->first)) != 0)
        {
            DropWatches(*place->second);
            parent.mapFolders.erase(place);
        }
        place = next;
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
    const uint32_t uMask = node.pParent != nullptr ? kFolderMask : kRootMask;
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
    m_nRetryAt = m_setUnwatched.empty() ? MillisecondsNow() + kRetryInterval : m_nRetryAt;
    m_setUnwatched.insert(&node);
}

// What can't be looked at, though it may be there, has its directory listed again.
bool WatchTree::LookOrDoubt(Node& parent, const std::string& strName, FileTrace* pTrace)
{
    if (Look(parent, strName, pTrace))
    {
        return true;
    }
    const int nError = errno;
    if (!IsGoneError(nError))
    {
        MarkUnwatched(parent);
    }
    return FailErrno(nError);
}

void WatchTree::RetryUnwatched()
{
    if (m_setUnwatched.empty() || MillisecondsNow() < m_nRetryAt)
    {
        return;
    }
    // What has changed there meanwhile isn't known: a directory that comes in means a loss, one that doesn't no news.
    const std::set<Node*> setUnwatched = m_setUnwatched;
    const bool bLost = m_bLost;
    bool bEntered = false;
    for (Node* const pNode : setUnwatched)
    {
        if (m_setUnwatched.erase(pNode) != 0)  // else it has gone, found missing in the one above it
        {
            Scan(*pNode, nullptr);
            if (m_setUnwatched.count(pNode) == 0)
            {
                bEntered = true;
                ForEachFolder(*pNode, [&](Node& node) { m_setFresh.insert(&node); });
            }
        }
    }
    m_bLost = bLost || bEntered;
    m_nRetryAt = MillisecondsNow() + kRetryInterval;
}

// Looks once more at what was listed. False when it found notices to process; a tree that has to be read anew is lost.
bool WatchTree::Verify()
{
    bool bDiffers = false;
    bool bMissing = false;
    for (auto place = m_setFresh.begin(); place != m_setFresh.end() && !m_bStop.load();)
    {
        const auto next = std::next(place);
        switch (Compare(**place))
        {
            case Seen::Same:
                m_setFresh.erase(place);
                break;
            case Seen::Other:
                bDiffers = true;
                break;
            case Seen::Missing:
                bMissing = true;
                break;
        }
        place = next;
    }
    if (!bMissing)
    {
        m_nMissingUntil = 0;
    }
    else if (m_nMissingUntil == 0)
    {
        m_nMissingUntil = MillisecondsNow() + kRemovalHold;
    }
    else if (MillisecondsNow() >= m_nMissingUntil)
    {
        // Its notice was taken for that of the directory's new place: nothing more will come.
        bDiffers = true;
    }
    if (bDiffers)
    {
        ReadNotices();
        m_bOverflow = m_queNotices.empty();
        m_bLost = m_bLost || m_bOverflow;
    }
    return !bDiffers || m_bOverflow;
}

// What the path of a directory leads to now.
WatchTree::Seen WatchTree::Compare(Node& node)
{
    if (node.pParent == nullptr)
    {
        return Seen::Same;  // its notices tell when it goes
    }
    for (Node* pNode = node.pParent; pNode != nullptr; pNode = pNode->pParent)
    {
        if (pNode->nWatch < 0 && m_setUnwatched.count(pNode) != 0)
        {
            return Seen::Same;  // nobody tells what happens here; it is listed again when it is watched
        }
    }
    FileTrace trace;
    if (!LookOrDoubt(*node.pParent, node.strName, &trace))
    {
        return IsGoneError(errno) ? Seen::Missing : Seen::Same;
    }
    if (!trace.bFolder)
    {
        return Seen::Missing;
    }
    const bool bUnwatched = m_setUnwatched.count(&node) != 0;
    return bUnwatched || (node.nWatch >= 0 && node.uInode == trace.uInode) ? Seen::Same : Seen::Other;
}

// A renamed directory may hold some that couldn't be reached, or that were given up for moved, under the old name.
void WatchTree::ScanUnwatched(Node& top, ChangeBatch* pBatch)
{
    ForEachFolder(top,
                  [&](Node& node)
                  {
                      if (node.nWatch < 0 && m_setUnwatched.count(&node) == 0)
                      {
                          Scan(node, pBatch);
                      }
                  });
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
    ForEachFolder(top,
                  [&](Node& node)
                  {
                      if (node.nWatch >= 0)
                      {
                          inotify_rm_watch(m_inotify.Get(), node.nWatch);  // fails when the directory is gone
                          m_mapWatches.erase(node.nWatch);
                      }
                      m_setUnwatched.erase(&node);
                      m_setFresh.erase(&node);
                  });
}
