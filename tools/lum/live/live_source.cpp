#include "live/live_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <set>

#include "base/console.h"
#include "base/sources.h"
#include "base/text.h"
#include "scan/directory_lister.h"

using namespace LUMTrayService;
using namespace std::chrono_literals;

namespace lum
{

namespace
{

// Of many folders that can't be read, so many are named at once.
constexpr size_t kMostNamed = 5;

// So long a removal waits for what comes in its place.
constexpr auto kRemovalHold = 80ms;

// The audit: so many folders at a time, and for a small part of the time.
constexpr auto kAuditPause = 60s;
constexpr auto kAuditInterval = 200ms;
constexpr size_t kAuditFolders = 16;
constexpr int kAuditShare = 400;

}  // namespace

LiveSource::LiveSource(SourceSpec spec, const std::vector<ClassifyType>& vecTypes, HintSignal* pSignal)
    : m_spec(std::move(spec)), m_vecTypes(vecTypes), m_watched(m_spec.eaf, pSignal)
{
}

bool LiveSource::Open(bool bFollow, std::string* pstrError)
{
    if (!RootsOf(m_spec, &m_vecRoots, pstrError))
    {
        return false;
    }
    std::vector<NotIndexed> vecLeftOut;
    m_pLister = MakeLister(m_spec, m_vecRoots, &vecLeftOut, pstrError);
    // A wrong root is no matter for a watch.
    std::vector<IndexEntry> vecEntries;
    if (m_pLister == nullptr || !m_pLister->List(VOWString(), m_pLister->AllRoots(), &vecEntries, pstrError))
    {
        return false;
    }
    m_pIndex =
        std::make_unique<SourceIndex>(m_spec.eaf, m_vecRoots[0], LastPart(m_vecRoots[0]), IsMergeSource(m_spec.eaf));
    for (const NotIndexed& leftOut : vecLeftOut)
    {
        m_pIndex->LeaveOut(leftOut);
    }
    const bool bWatch = bFollow && IsDirectorySource(m_spec.eaf);
    if (bWatch)
    {
        // First the watches: what changes while the scan runs is looked at behind it.
        m_watched.Watch(m_vecRoots);
    }
    Progress progress(fmt::format("scanning {}", SourceName(m_spec.eaf)));
    if (!m_pIndex->Build(m_vecTypes, m_pLister.get(), &progress, pstrError))
    {
        return false;
    }
    if (bWatch)
    {
        static_cast<DirectoryLister*>(m_pLister.get())->TolerateLostRoots();
    }
    const LiveClock::time_point now = LiveClock::now();
    m_watched.CountSoon();
    m_nextAudit = now + kAuditPause;
    _Report(now, std::numeric_limits<size_t>::max());
    return true;
}

LiveClock::time_point LiveSource::NextDue() const
{
    LiveClock::time_point due = LiveClock::time_point::max();
    for (const auto& [strPath, removal] : m_mapRemovals)
    {
        due = std::min(due, removal);
    }
    return m_watched.Empty()
               ? due
               : std::min({due, m_watched.NextDue(), m_rechecks.NextDue(), m_unread.NextDue(), m_nextAudit});
}

bool LiveSource::Work(LiveClock::time_point now, Changes* pChanges, std::string* pstrError)
{
    if (m_watched.Empty())
    {
        return true;
    }
    const size_t uBefore = pChanges->size();
    m_watched.Work(now);
    Hints hints = m_watched.TakeHints();
    m_rechecks.Note(now, hints);
    _HoldRemovals(now, &hints.mapFolders);
    std::vector<VOWString> vecAgain = m_rechecks.TakeDue(now);
    for (const VOWString& strFolder : vecAgain)
    {
        hints.mapFolders[strFolder].bMore = true;
    }
    m_unread.AddDue(now, &hints.mapFolders);
    const bool bFollowed = _CompareFolders(std::move(hints.mapFolders), pChanges, pstrError) &&
                           (!m_rechecks.TakeCompareAll(now) || _CompareAll(now, pChanges, pstrError)) &&
                           (m_nextAudit > now || _Audit(now, pChanges, pstrError));
    std::set<VOWString> setChanged;
    for (size_t i = uBefore; i < pChanges->size() && !vecAgain.empty(); ++i)
    {
        setChanged.insert(ParentPath((*pChanges)[i].strPath));
    }
    std::erase_if(vecAgain, [&setChanged](const VOWString& strFolder) { return !setChanged.contains(strFolder); });
    m_rechecks.LookAgain(now, vecAgain);
    m_status.ullHints += hints.uEvents;
    m_status.ullChanges += pChanges->size() - uBefore;
    _Report(now, kMostNamed);
    return bFollowed && (!m_pIndex->IsWorn() || m_pIndex->Renew(m_vecTypes, pstrError));
}

// Takes removals out of the hints, and puts in those that have waited.
void LiveSource::_HoldRemovals(LiveClock::time_point now, HintedFolders* pmapFolders)
{
    for (auto itFolder = pmapFolders->begin(); itFolder != pmapFolders->end();)
    {
        auto& [strFolder, hints] = *itFolder;
        for (const VOWString& strName : hints.setWritten)
        {
            m_mapRemovals.erase(JoinPath(strFolder, strName));
        }
        for (const VOWString& strName : hints.setGone)
        {
            if (!hints.setWritten.contains(strName))
            {
                m_mapRemovals.try_emplace(JoinPath(strFolder, strName), now + kRemovalHold);
            }
        }
        hints.setGone.clear();
        itFolder = hints.IsEmpty() && !hints.bMore ? pmapFolders->erase(itFolder) : std::next(itFolder);
    }
    std::erase_if(m_mapRemovals,
                  [&](const auto& removal)
                  {
                      const auto& [strPath, due] = removal;
                      if (due > now)
                      {
                          return false;
                      }
                      (*pmapFolders)[ParentPath(strPath)].setGone.insert(LastPart(strPath));
                      return true;
                  });
}

// Compares folders, and those that the comparisons ask for.
bool LiveSource::_CompareFolders(HintedFolders mapFolders, Changes* pChanges, std::string* pstrError)
{
    std::set<VOWString> setDone;
    while (!mapFolders.empty())
    {
        auto first = mapFolders.extract(mapFolders.begin());
        VOWString strFolder = first.key();
        // Of a folder that isn't known yet, the nearest one that is shows more.
        while (!m_pIndex->HasFolder(strFolder) && !strFolder.empty())
        {
            strFolder = ParentPath(strFolder);
        }
        const FolderHints hints = strFolder == first.key() ? std::move(first.mapped()) : FolderHints();
        const bool bWhole = hints.bMore || hints.IsEmpty();
        if (setDone.contains(strFolder) && hints.IsEmpty())
        {
            continue;
        }
        if (bWhole)
        {
            setDone.insert(strFolder);
        }
        std::vector<VOWString> vecMore;
        if (!m_pIndex->Compare(strFolder, hints, pChanges, &vecMore, pstrError))
        {
            return false;
        }
        if (!hints.IsEmpty() && m_pIndex->IsUnread(strFolder))
        {
            m_unread.Keep(strFolder, hints);
        }
        for (VOWString& strMore : vecMore)
        {
            if (!setDone.contains(strMore))
            {
                mapFolders[std::move(strMore)].bMore = true;
            }
        }
        if (strFolder != first.key() && !setDone.contains(first.key()) && m_pIndex->HasFolder(first.key()))
        {
            // It is known by now: as a folder that had another name it was taken for what that one held.
            mapFolders[first.key()] = std::move(first.mapped());
        }
    }
    return true;
}

bool LiveSource::_CompareAll(LiveClock::time_point now, Changes* pChanges, std::string* pstrError)
{
    HintedFolders mapFolders;
    for (VOWString& strFolder : m_pIndex->Folders())
    {
        mapFolders.try_emplace(std::move(strFolder));
    }
    const bool bFollowed = _CompareFolders(std::move(mapFolders), pChanges, pstrError);
    ++m_status.ullDoubts;
    m_watched.CountSoon();
    m_rechecks.Compared(now, LiveClock::now(), m_watched.Polled() != 0);
    return bFollowed;
}

bool LiveSource::_Audit(LiveClock::time_point now, Changes* pChanges, std::string* pstrError)
{
    const size_t uBefore = pChanges->size();
    if (m_dequeAudit.empty())
    {
        const std::vector<VOWString> vecFolders = m_pIndex->Folders();
        m_dequeAudit.assign(vecFolders.begin(), vecFolders.end());
    }
    HintedFolders mapFolders;
    for (size_t i = 0; i < kAuditFolders && !m_dequeAudit.empty(); ++i)
    {
        mapFolders.try_emplace(std::move(m_dequeAudit.front()));
        m_dequeAudit.pop_front();
    }
    const bool bFollowed = _CompareFolders(std::move(mapFolders), pChanges, pstrError);
    m_status.ullAuditChanges += pChanges->size() - uBefore;
    const LiveClock::time_point end = LiveClock::now();
    m_nextAudit = end + std::max<LiveClock::duration>(kAuditInterval, kAuditShare * (end - now));
    if (m_dequeAudit.empty())
    {
        ++m_status.ullAuditRounds;
        m_nextAudit = end + kAuditPause;
    }
    return bFollowed;
}

// Names what isn't in the index, and what can't be read: no more of it at once than uMost.
void LiveSource::_Report(LiveClock::time_point now, size_t uMost)
{
    bool bReadAgain = false;
    const std::vector<UnreadFolder> vecUnread = m_unread.Update(now, m_pIndex.get(), &bReadAgain);
    if (bReadAgain)
    {
        // What kept a folder from being read may have kept its watch from reaching what is new in it.
        m_rechecks.Doubt(now);
    }
    m_status.ullUnread = m_pIndex->UnreadCount();
    m_status.ullUnwatched = m_watched.Unwatched();
    m_status.ullPolledRoots = m_watched.Polled();

    std::vector<NotIndexed> vecLeftOut = m_pIndex->TakeLeftOut();
    for (size_t i = 0; i < std::min(vecUnread.size(), uMost); ++i)
    {
        const UnreadFolder& unread = vecUnread[i];
        if (!unread.bEntered)
        {
            vecLeftOut.push_back({unread.strPath, unread.strReason});
            continue;
        }
        const std::string strShown = WrittenForm(unread.strPath, Escape::Controls);
        Complain(m_spec.eaf, fmt::format("{}{}{}; what is known of it stays, and it is tried again", strShown,
                                         strShown.empty() ? "" : ": ", unread.strReason));
    }
    if (vecUnread.size() > uMost)
    {
        const size_t uMore = vecUnread.size() - uMost;
        Complain(m_spec.eaf,
                 fmt::format("{} more folder{} can't be read; what is known of {} stays, and {} tried again", uMore,
                             uMore == 1 ? "" : "s", uMore == 1 ? "it" : "them", uMore == 1 ? "it is" : "they are"));
    }
    for (const NotIndexed& leftOut : vecLeftOut)
    {
        Complain(m_spec.eaf,
                 fmt::format("not indexed: {}: {}", WrittenForm(leftOut.strPath, Escape::Controls), leftOut.strReason));
    }
    if (!vecLeftOut.empty())
    {
        Complain(m_spec.eaf, fmt::format("{} not indexed", m_pIndex->LeftOutCount() + m_unread.NeverRead()));
    }
}

std::string LiveSource::TooLarge() const
{
    return fmt::format("{}: the index of {} nodes is too large to be published",
                       WrittenForm(m_vecRoots[0], Escape::Controls), m_pIndex->NodeCount());
}

}  // namespace lum
