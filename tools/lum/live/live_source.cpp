#include "live/live_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <set>

#include "base/console.h"
#include "base/sources.h"
#include "base/text.h"
#include "platform/vo_owners.h"
#include "scan/directory_lister.h"
#include "vo_utility.h"

using namespace LUMTrayService;
using namespace std::chrono_literals;

namespace lum
{

namespace
{

// Of many folders that can't be read, so many are named at once.
constexpr size_t kMostNamed = 5;

// The audit: so many folders at a time, and for a small part of the time.
constexpr auto kAuditPause = 60s;
constexpr auto kAuditInterval = 200ms;
constexpr size_t kAuditFolders = 16;
constexpr int kAuditShare = 400;

bool Compress(VOTSAssetNodeContainer::ContainerAlloc* pkImage, std::vector<unsigned char>* pvecBlock)
{
    unsigned char* pbBlock = nullptr;
    unsigned uSize = 0;
    const unsigned uImageSize = pkImage->uDataBufSize + static_cast<unsigned>(sizeof(*pkImage));
    if (uImageSize < pkImage->uDataBufSize ||
        VOCompressBuffer_lzo1x(&pbBlock, &uSize, reinterpret_cast<unsigned char*>(pkImage), uImageSize) == 0)
    {
        return false;
    }
    const std::unique_ptr<unsigned char, VOFreeBlock> pOwner(pbBlock);
    pvecBlock->assign(pbBlock, pbBlock + uSize);
    return true;
}

}  // namespace

LiveSource::LiveSource(SourceSpec kSpec, const std::vector<ClassifyType>& vecTypes, HintSignal* pkSignal)
    : m_kSpec(std::move(kSpec)), m_rvecTypes(vecTypes), m_kWatched(m_kSpec.eaf, pkSignal)
{
}

bool LiveSource::Open(bool bFollow, std::string* pstrError)
{
    if (!RootsOf(m_kSpec, &m_vecRoots, pstrError))
    {
        return false;
    }
    std::vector<NotIndexed> vecLeftOut;
    m_pkLister = MakeLister(m_kSpec, m_vecRoots, &vecLeftOut, pstrError);
    // A wrong root is no matter for a monitor.
    std::vector<IndexEntry> vecEntries;
    if (m_pkLister == nullptr || !m_pkLister->List(VOWString(), m_pkLister->AllRoots(), &vecEntries, pstrError))
    {
        return false;
    }
    m_pkIndex =
        std::make_unique<SourceIndex>(m_kSpec.eaf, m_vecRoots[0], LastPart(m_vecRoots[0]), IsMergeSource(m_kSpec.eaf));
    for (const NotIndexed& kLeftOut : vecLeftOut)
    {
        m_pkIndex->LeaveOut(kLeftOut);
    }
    const bool bWatch = bFollow && IsDirectorySource(m_kSpec.eaf);
    if (bWatch)
    {
        // First the monitors: what changes while the scan runs is looked at behind it.
        m_kWatched.Watch(m_vecRoots);
    }
    Progress kProgress(fmt::format("scanning {}", SourceName(m_kSpec.eaf)));
    if (!m_pkIndex->Build(m_rvecTypes, m_pkLister.get(), &kProgress, pstrError))
    {
        return false;
    }
    if (bWatch)
    {
        static_cast<DirectoryLister*>(m_pkLister.get())->TolerateLostRoots();
    }
    const LiveClock::time_point kNow = LiveClock::now();
    m_kWatched.CountSoon();
    m_kNextAudit = kNow + kAuditPause;
    _Report(kNow, std::numeric_limits<size_t>::max());
    return true;
}

LiveClock::time_point LiveSource::NextDue() const
{
    return m_kWatched.Empty()
               ? LiveClock::time_point::max()
               : std::min({m_kWatched.NextDue(), m_kRechecks.NextDue(), m_kUnread.NextDue(), m_kNextAudit});
}

bool LiveSource::Work(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError)
{
    if (m_kWatched.Empty())
    {
        return true;
    }
    const size_t uBefore = pkChanges->size();
    m_kWatched.Work(kNow);
    Hints kHints = m_kWatched.TakeHints();
    m_kRechecks.Note(kNow, kHints);
    const std::vector<VOWString> vecAgain = m_kRechecks.TakeDue(kNow);
    for (const VOWString& strFolder : vecAgain)
    {
        kHints.mapFolders.try_emplace(strFolder);
    }
    m_kUnread.AddDue(kNow, &kHints.mapFolders);
    const bool bFollowed = _CompareFolders(std::move(kHints.mapFolders), pkChanges, pstrError) &&
                           (!m_kRechecks.TakeCompareAll(kNow) || _CompareAll(kNow, pkChanges, pstrError)) &&
                           (m_kNextAudit > kNow || _Audit(kNow, pkChanges, pstrError));
    if (pkChanges->size() != uBefore)
    {
        m_kRechecks.LookAgain(kNow, vecAgain);
    }
    m_kStatus.ullHints += kHints.uEvents;
    m_kStatus.ullChanges += pkChanges->size() - uBefore;
    _Report(kNow, kMostNamed);
    return bFollowed && (!m_pkIndex->IsWorn() || m_pkIndex->Renew(m_rvecTypes, pstrError));
}

// Compares folders, and those that the comparisons ask for.
bool LiveSource::_CompareFolders(HintedFolders mapFolders, Changes* pkChanges, std::string* pstrError)
{
    std::set<VOWString> setDone;
    while (!mapFolders.empty())
    {
        auto kFirst = mapFolders.extract(mapFolders.begin());
        VOWString strFolder = kFirst.key();
        // Of a folder that isn't known yet, the nearest one that is shows more.
        while (!m_pkIndex->HasFolder(strFolder) && !strFolder.empty())
        {
            strFolder = ParentPath(strFolder);
        }
        const FolderHints kHints = strFolder == kFirst.key() ? std::move(kFirst.mapped()) : FolderHints();
        if (!setDone.insert(strFolder).second && kHints.IsEmpty())
        {
            continue;
        }
        std::vector<VOWString> vecMore;
        if (!m_pkIndex->Compare(strFolder, kHints, pkChanges, &vecMore, pstrError))
        {
            return false;
        }
        if (!kHints.IsEmpty() && m_pkIndex->IsUnread(strFolder))
        {
            m_kUnread.Keep(strFolder, kHints);
        }
        for (VOWString& strMore : vecMore)
        {
            if (!setDone.contains(strMore))
            {
                mapFolders.try_emplace(std::move(strMore));
            }
        }
        if (strFolder != kFirst.key() && !setDone.contains(kFirst.key()) && m_pkIndex->HasFolder(kFirst.key()))
        {
            // It is known by now: as a folder that had another name it was taken for what that one held.
            mapFolders[kFirst.key()] = std::move(kFirst.mapped());
        }
    }
    return true;
}

bool LiveSource::_CompareAll(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError)
{
    HintedFolders mapFolders;
    for (VOWString& strFolder : m_pkIndex->Folders())
    {
        mapFolders.try_emplace(std::move(strFolder));
    }
    const bool bFollowed = _CompareFolders(std::move(mapFolders), pkChanges, pstrError);
    ++m_kStatus.ullDoubts;
    m_kWatched.CountSoon();
    m_kRechecks.Compared(kNow, LiveClock::now(), m_kWatched.Polled() != 0);
    return bFollowed;
}

bool LiveSource::_Audit(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError)
{
    const size_t uBefore = pkChanges->size();
    if (m_dequeAudit.empty())
    {
        const std::vector<VOWString> vecFolders = m_pkIndex->Folders();
        m_dequeAudit.assign(vecFolders.begin(), vecFolders.end());
    }
    HintedFolders mapFolders;
    for (size_t i = 0; i < kAuditFolders && !m_dequeAudit.empty(); ++i)
    {
        mapFolders.try_emplace(std::move(m_dequeAudit.front()));
        m_dequeAudit.pop_front();
    }
    const bool bFollowed = _CompareFolders(std::move(mapFolders), pkChanges, pstrError);
    m_kStatus.ullAuditChanges += pkChanges->size() - uBefore;
    const LiveClock::time_point kEnd = LiveClock::now();
    m_kNextAudit = kEnd + std::max<LiveClock::duration>(kAuditInterval, kAuditShare * (kEnd - kNow));
    if (m_dequeAudit.empty())
    {
        ++m_kStatus.ullAuditRounds;
        m_kNextAudit = kEnd + kAuditPause;
    }
    return bFollowed;
}

// Names what isn't in the index, and what can't be read: no more of it at once than uMost.
void LiveSource::_Report(LiveClock::time_point kNow, size_t uMost)
{
    bool bReadAgain = false;
    const std::vector<UnreadFolder> vecUnread = m_kUnread.Update(kNow, m_pkIndex.get(), &bReadAgain);
    if (bReadAgain)
    {
        // What kept a folder from being read may have kept the monitor from watching what is new in it.
        m_kRechecks.Doubt(kNow);
    }
    m_kStatus.ullUnread = m_pkIndex->UnreadCount();
    m_kStatus.ullUnwatched = m_kWatched.Unwatched();
    m_kStatus.ullPolledRoots = m_kWatched.Polled();

    std::vector<NotIndexed> vecLeftOut = m_pkIndex->TakeLeftOut();
    for (size_t i = 0; i < std::min(vecUnread.size(), uMost); ++i)
    {
        const UnreadFolder& kUnread = vecUnread[i];
        if (!kUnread.bEntered)
        {
            vecLeftOut.push_back({kUnread.strPath, kUnread.strReason});
            continue;
        }
        const std::string strShown = WrittenForm(kUnread.strPath, Escape::Controls);
        Complain(m_kSpec.eaf, fmt::format("{}{}{}; what is known of it stays, and it is tried again", strShown,
                                          strShown.empty() ? "" : ": ", kUnread.strReason));
    }
    if (vecUnread.size() > uMost)
    {
        const size_t uMore = vecUnread.size() - uMost;
        Complain(m_kSpec.eaf,
                 fmt::format("{} more folder{} can't be read; what is known of {} stays, and {} tried again", uMore,
                             uMore == 1 ? "" : "s", uMore == 1 ? "it" : "them", uMore == 1 ? "it is" : "they are"));
    }
    for (const NotIndexed& kLeftOut : vecLeftOut)
    {
        Complain(m_kSpec.eaf, fmt::format("not indexed: {}: {}", WrittenForm(kLeftOut.strPath, Escape::Controls),
                                          kLeftOut.strReason));
    }
    if (!vecLeftOut.empty())
    {
        Complain(m_kSpec.eaf, fmt::format("{} not indexed", m_pkIndex->LeftOutCount() + m_kUnread.NeverRead()));
    }
}

bool LiveSource::MakeImage(SourceImage* pkImage, std::string* pstrError)
{
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, VOFreeBlock> pkAlloc(m_pkIndex->MakeImage());
    pkImage->eaf = m_kSpec.eaf;
    if (pkAlloc == nullptr || !Compress(pkAlloc.get(), &pkImage->vecBlock))
    {
        *pstrError = fmt::format("{}: the index of {} nodes is too large to be published",
                                 WrittenForm(m_vecRoots[0], Escape::Controls), m_pkIndex->NodeCount());
        return false;
    }
    return true;
}

}  // namespace lum
