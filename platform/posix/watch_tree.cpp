#include "platform/posix/watch_tree.h"

#include <limits.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/threads.h"
#include "platform/vo_text.h"

// The tree as a whole: its life, its paths and its records.

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
    m_nMissingUntil = 0;
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
    nAt = m_nMissingUntil == 0 ? nAt : std::min(nAt, m_nMissingUntil);
    for (const auto& [file, nDue] : m_mapWritten)
    {
        nAt = std::min(nAt, nDue);
    }
    return nAt == INT64_MAX ? -1 : static_cast<int>(std::clamp<int64_t>(nAt - MillisecondsNow(), 0, kRetryInterval));
}

void WatchTree::Tell(DWORD uAction, const Node& parent, const std::string& strName, bool bFolder,
                     ChangeBatch* pBatch) const
{
    if ((m_uFilter & (bFolder ? FILE_NOTIFY_CHANGE_DIR_NAME : FILE_NOTIFY_CHANGE_FILE_NAME)) != 0)
    {
        Append(uAction, parent, strName, pBatch);
    }
}

void WatchTree::TellModified(const Node& parent, const std::string& strName, ChangeBatch* pBatch) const
{
    if ((m_uFilter & FILE_NOTIFY_CHANGE_LAST_WRITE) != 0)
    {
        Append(FILE_ACTION_MODIFIED, parent, strName, pBatch);
    }
}

void WatchTree::Append(DWORD uAction, const Node& parent, const std::string& strName, ChangeBatch* pBatch) const
{
    VOWString strPath = VOFromNative(strName);
    for (const Node* pNode = &parent; pNode->pParent != nullptr; pNode = pNode->pParent)
    {
        strPath = VOFromNative(pNode->strName) + VOTEXT('\\') + strPath;
    }
    pBatch->Append(uAction, strPath);
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

DirectoryWatcher::DirectoryWatcher(ChangeSink& sink, std::string strRoot, const FileIdentity& identity, DWORD uFilter)
    : m_sink(sink), m_strRoot(std::move(strRoot)), m_identity(identity), m_uFilter(uFilter)
{
}

DirectoryWatcher::~DirectoryWatcher()
{
    RequestStop();
    if (m_bStarted)
    {
        pthread_join(m_thread, nullptr);
    }
}

void DirectoryWatcher::RequestStop()
{
    m_bStop.store(true);
    if (m_wakeUp.IsOpen())
    {
        (void)eventfd_write(m_wakeUp.Get(), 1);  // a counter at its end wakes as well
    }
}

DWORD DirectoryWatcher::Start()
{
    m_wakeUp = Descriptor(VO_FAULT_POINT("watcher.wake") ? -1 : eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!m_wakeUp.IsOpen())
    {
        return ERROR_TOO_MANY_OPEN_FILES;
    }
    if (VO_FAULT_POINT("watcher.thread") || StartWithoutSignals(&m_thread, Run, this) != 0)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    m_bStarted = true;
    FutexWaitWhile(m_uReady, 0);
    return m_uError.load();
}

// Nothing may leave the thread: it would take the process with it.
void* DirectoryWatcher::Run(void* pThis)
{
    // Its code is the library's: nothing more to do at the end.
    CallAtEndOfThread([](void*) {}, nullptr);
    DirectoryWatcher* const pWatcher = static_cast<DirectoryWatcher*>(pThis);
    try
    {
        pWatcher->Watch();
    }
    catch (const std::bad_alloc&)
    {
        pWatcher->SetReady(ERROR_NOT_ENOUGH_MEMORY);
    }
    return nullptr;
}

void DirectoryWatcher::SetReady(DWORD uError)
{
    m_uError.store(uError);
    FutexStore(m_uReady, 1);
}

void DirectoryWatcher::Watch()
{
    WatchTree tree(m_strRoot, m_identity, m_uFilter, m_bStop);
    const int nError = tree.Open();
    tree.TakeLost();  // nothing was told before
    m_bLimited.store(tree.IsLimited());
    SetReady(tree.IsGone() ? ERROR_ACCESS_DENIED : ErrorFromErrno(nError));
    if (nError == 0)
    {
        Loop(tree);
    }
}

void DirectoryWatcher::Loop(WatchTree& tree)
{
    bool bGoesOn = true;
    while (bGoesOn && !m_bStop.load())
    {
        try
        {
            bGoesOn = Turn(tree);
        }
        catch (const std::bad_alloc&)
        {
            // The notices of this turn are spent and the tree may be half changed: both are made good by a new one.
            tree.GiveUp();
        }
    }
}

// False when the watch has ended.
bool DirectoryWatcher::Turn(WatchTree& tree)
{
    constexpr int kRetryPause = 100;  // milliseconds until what wasn't there is asked for again: memory, a descriptor
    ChangeBatch batch;
    if (tree.NeedsOpen())
    {
        Wait(-1, kRetryPause);
    }
    else
    {
        Wait(tree.Inotify(), tree.Timeout());
        tree.Process(&batch);
        if (VO_FAULT_POINT("watcher.memory"))
        {
            throw std::bad_alloc();
        }
    }
    if (tree.NeedsOpen())
    {
        // The loss is told when everything is watched again: what a reader finds on disk then is not to be missed.
        batch = ChangeBatch();
        if (tree.Open() != 0 && !tree.IsGone())
        {
            tree.GiveUp();
            return true;
        }
    }
    if (!batch.IsEmpty())
    {
        m_sink.OnChanges(std::move(batch));
    }
    if (tree.TakeLost() && !m_bStop.load())
    {
        m_sink.OnLost();
    }
    if (tree.IsGone())
    {
        m_sink.OnGone();
        return false;
    }
    return true;
}

void DirectoryWatcher::Wait(int nInotify, int nMilliseconds)
{
    pollfd aDescriptors[2] = {{nInotify, POLLIN, 0}, {m_wakeUp.Get(), POLLIN, 0}};
    poll(aDescriptors, 2, nMilliseconds);
}

namespace
{
constexpr size_t kNameOffset = offsetof(FILE_NOTIFY_INFORMATION, FileName);
static_assert(kNameOffset == 12 && offsetof(FILE_NOTIFY_INFORMATION, FileNameLength) == 8);

size_t RoundedUp(size_t uBytes)
{
    return (uBytes + 3) / 4 * 4;
}
}  // namespace

size_t ChangeBatch::JoinedSize(size_t uFirst, size_t uSecond)
{
    return RoundedUp(uFirst) + uSecond;
}

size_t ChangeBatch::Continue(size_t uBytes)
{
    const size_t uOffset = RoundedUp(m_vecBytes.size());
    if (!m_vecBytes.empty())
    {
        const DWORD uNext = static_cast<DWORD>(uOffset - m_uLast);
        memcpy(m_vecBytes.data() + m_uLast, &uNext, sizeof(uNext));
    }
    m_vecBytes.resize(uOffset + uBytes);
    return uOffset;
}

void ChangeBatch::Append(DWORD uAction, const VOWString& strName)
{
    const size_t uNameBytes = strName.size() * sizeof(VOWCHAR);
    m_uLast = Continue(kNameOffset + uNameBytes);
    const DWORD aHeader[3] = {0, uAction, static_cast<DWORD>(uNameBytes)};
    memcpy(m_vecBytes.data() + m_uLast, aHeader, sizeof(aHeader));
    memcpy(m_vecBytes.data() + m_uLast + kNameOffset, strName.data(), uNameBytes);
}

void ChangeBatch::Append(const ChangeBatch& batch)
{
    if (!batch.IsEmpty())
    {
        const size_t uOffset = Continue(batch.Size());
        memcpy(m_vecBytes.data() + uOffset, batch.Data(), batch.Size());
        m_uLast = uOffset + batch.m_uLast;
    }
}
