// The tree as a whole: its life, its paths and its records.
#include "platform/posix/watch_tree.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/inotify.h>

#include <algorithm>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/monotonic_clock.h"
#include "platform/vo_native_names.h"

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
    return nAt == INT64_MAX ? -1 : static_cast<int>(std::clamp<int64_t>(nAt - MillisecondsNow(), 0, RETRY_INTERVAL));
}

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
