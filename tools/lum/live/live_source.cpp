#include "live/live_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "base/console.h"
#include "base/sources.h"
#include "base/text.h"
#include "live/root_watch.h"
#include "platform/vo_process.h"

using namespace LUMTrayService;
using namespace std::chrono_literals;

namespace lum
{

namespace
{

// The monitor tells the first of many fast writes, and writes less than half a second apart are one event however long
// they go on: this long after the last hint a folder is looked at once more.
constexpr auto kLookAgainAfter = 1500ms;

// So many hints in a row may be part of more than a monitor's buffer held.
constexpr size_t kBurst = 1000;
constexpr auto kBurstPause = 2000ms;

// After a doubt the tree is compared this much later, and with each further doubt that follows soon, later still.
constexpr auto kFirstDoubtDelay = 1000ms;
constexpr auto kLastDoubtDelay = 60000ms;

constexpr auto kRootInterval = 1000ms;

// A root whose monitor didn't start is polled, and its monitor tried again, each time after twice the time.
constexpr std::chrono::milliseconds kFirstWatchRetry = 1000ms;
constexpr std::chrono::milliseconds kLastWatchRetry = 60000ms;

// A folder that can't be read is tried again, each time after twice the time; one that could be read for so long again
// is news when it fails. Of many that fail at once, so many are named.
constexpr std::chrono::milliseconds kNoDelay(0);
constexpr std::chrono::milliseconds kFirstRetry = 250ms;
constexpr std::chrono::milliseconds kLastRetry = 30000ms;
constexpr auto kForgetRetry = 60s;
constexpr size_t kMostNamed = 5;

// What isn't watched is counted so long after a start or a comparison, and again before it is told.
constexpr auto kFirstCount = 3000ms;
constexpr auto kSecondCount = 7000ms;

// A tree that is polled is compared this often at most, and for a twentieth of the time.
constexpr auto kPollInterval = 2000ms;
constexpr int kPollShare = 20;

// The audit: so many folders at a time, and for a small part of the time. The first one comes soon: a folder may have
// changed between the scan and the moment at which its monitor got to it.
constexpr auto kFirstAudit = 1000ms;
constexpr auto kAuditPause = 60s;
constexpr auto kAuditInterval = 200ms;
constexpr size_t kAuditFolders = 16;
constexpr int kAuditShare = 400;

}  // namespace

struct LiveSource::WatchedRoot
{
    VOWString strRoot;
    std::unique_ptr<RootWatch> pkWatch;  // none while it is polled
    bool bLost = false;
    bool bPolled = false;
    LiveClock::time_point kTryAgain;  // while pkWatch is none
    std::chrono::milliseconds kRetryDelay = kFirstWatchRetry;
};

LiveSource::LiveSource(SourceSpec kSpec, const std::vector<ClassifyType>& vecTypes, HintSignal* pkSignal)
    : m_kSpec(std::move(kSpec)), m_rvecTypes(vecTypes), m_kPool(pkSignal), m_kDoubtDelay(kFirstDoubtDelay)
{
}

LiveSource::~LiveSource() = default;

void LiveSource::_Complain(const std::string& strText) const
{
    Complain(fmt::format("{}: {}", SourceName(m_kSpec.eaf), strText));
}

bool LiveSource::Open(bool bFollow, std::string* pstrError)
{
    if (!RootsOf(m_kSpec, &m_vecRoots, pstrError))
    {
        return false;
    }
    m_pkIndex =
        std::make_unique<SourceIndex>(m_kSpec.eaf, m_vecRoots[0], LastPart(m_vecRoots[0]), IsMergeSource(m_kSpec.eaf));
    uint32_t uRoots = 0;
    std::vector<NotIndexed> vecLeftOut;
    m_pkLister = MakeLister(m_kSpec, m_vecRoots, &uRoots, &vecLeftOut, pstrError);
    // A wrong root is no matter for a monitor.
    std::vector<IndexEntry> vecEntries;
    if (m_pkLister == nullptr || !m_pkLister->List(VOWString(), uRoots, &vecEntries, pstrError))
    {
        return false;
    }
    for (const NotIndexed& kLeftOut : vecLeftOut)
    {
        m_pkIndex->LeaveOut(kLeftOut);
    }
    // First the monitors: what changes while the scan runs is looked at behind it.
    if (bFollow && IsDirectorySource(m_kSpec.eaf))
    {
        for (const VOWString& strRoot : m_vecRoots)
        {
            m_vecWatched.push_back(std::make_unique<WatchedRoot>());
            m_vecWatched.back()->strRoot = strRoot;
            _Watch(m_vecWatched.back().get());
        }
    }
    Progress kProgress(fmt::format("scanning {}", SourceName(m_kSpec.eaf)));
    if (!m_pkIndex->Build(m_rvecTypes, uRoots, m_pkLister.get(), &kProgress, pstrError))
    {
        return false;
    }
    if (!m_vecWatched.empty())
    {
        static_cast<DirectoryLister*>(m_pkLister.get())->TolerateLostRoots();
    }
    const LiveClock::time_point kNow = LiveClock::now();
    m_kCountUnwatched = kNow + kFirstCount;
    m_kNextLookAtRoots = kNow + kRootInterval;
    m_kNextAudit = kNow + kFirstAudit;
    _Report(_KeepRetries(kNow), std::numeric_limits<size_t>::max());
    return true;
}

// Watches a root, or sees to it that it is polled, and says why.
void LiveSource::_Watch(WatchedRoot* pkRoot)
{
    std::string strReason;
    pkRoot->bLost = false;
    pkRoot->pkWatch = RootWatch::Start(pkRoot->strRoot, &m_kPool, &strReason);
    const bool bWatched = pkRoot->pkWatch != nullptr;
    pkRoot->kTryAgain = LiveClock::now() + pkRoot->kRetryDelay;
    pkRoot->kRetryDelay = bWatched ? kFirstWatchRetry : std::min(2 * pkRoot->kRetryDelay, kLastWatchRetry);
    _SetPolled(pkRoot, !bWatched, strReason);
}

void LiveSource::_SetPolled(WatchedRoot* pkRoot, bool bPolled, const std::string& strReason)
{
    if (bPolled && !pkRoot->bPolled)
    {
        _Complain(fmt::format("{}: {}; the tree is compared from time to time",
                              WrittenForm(pkRoot->strRoot, Escape::Controls), strReason));
        m_kPool.Doubt();
    }
    pkRoot->bPolled = bPolled;
    m_kCounts.uPolledRoots = static_cast<unsigned>(
        std::count_if(m_vecWatched.begin(), m_vecWatched.end(), [](const auto& pkOne) { return pkOne->bPolled; }));
}

// What of the trees isn't watched. It takes a walk, so that it is asked for when the trees are compared anyway.
void LiveSource::_CountUnwatched(bool bComplain)
{
    m_kCounts.ullUnwatched = 0;
    for (const std::unique_ptr<WatchedRoot>& pkRoot : m_vecWatched)
    {
        if (pkRoot->pkWatch != nullptr)
        {
            std::string strReason;
            const size_t uCount = pkRoot->pkWatch->CountUnwatched(&strReason);
            m_kCounts.ullUnwatched += uCount;
            if (bComplain || uCount == 0)
            {
                _SetPolled(pkRoot.get(), uCount != 0, strReason);
            }
        }
    }
}

// Roots that went are let go of, and watched again when they are back. The monitor of a root that is gone would turn
// round without a pause.
void LiveSource::_LookAtRoots(LiveClock::time_point kNow)
{
    m_kNextLookAtRoots = kNow + kRootInterval;
    for (const std::unique_ptr<WatchedRoot>& pkRoot : m_vecWatched)
    {
        const RootWatch::Presence ePresence = RootWatch::PresenceOf(pkRoot->strRoot);
        const bool bThere = ePresence == RootWatch::Presence::There;
        if (bThere && !pkRoot->bLost && pkRoot->pkWatch == nullptr && pkRoot->kTryAgain <= kNow)
        {
            _Watch(pkRoot.get());
            if (pkRoot->pkWatch != nullptr)
            {
                // For what has changed since the last comparison.
                m_kPool.Doubt();
            }
            continue;
        }
        if (ePresence == RootWatch::Presence::Unknown || bThere != pkRoot->bLost)
        {
            continue;
        }
        pkRoot->pkWatch.reset();
        pkRoot->bLost = !bThere;
        if (bThere)
        {
            _Watch(pkRoot.get());
        }
        _Complain(fmt::format("{}: {}", WrittenForm(pkRoot->strRoot, Escape::Controls),
                              bThere ? "the directory is back" : "the directory is gone"));
        m_kPool.Touched(VOTEXT("."), false);
        m_kPool.Doubt();
    }
}

LiveClock::time_point LiveSource::NextDue() const
{
    if (m_vecWatched.empty())
    {
        return LiveClock::time_point::max();
    }
    LiveClock::time_point kDue = std::min(m_kNextLookAtRoots, m_kNextAudit);
    for (const auto& [strFolder, kAgain] : m_mapLookAgain)
    {
        kDue = std::min(kDue, kAgain);
    }
    for (const auto& [strFolder, kRetry] : m_mapRetry)
    {
        kDue = std::min(kDue, kRetry.bFails ? kRetry.kDue : kDue);
    }
    kDue = std::min(kDue, m_kCountUnwatched.value_or(kDue));
    return std::min(kDue, m_kCompareAll.value_or(kDue));
}

// Doubts that follow each other soon are dealt with more and more rarely.
void LiveSource::_DoubtAt(LiveClock::time_point kNow)
{
    if (m_kCompareAll && *m_kCompareAll <= kNow + m_kDoubtDelay)
    {
        return;
    }
    const bool bSoon = kNow - m_kLastDoubt < 4 * m_kDoubtDelay && m_kLastDoubt != LiveClock::time_point();
    m_kDoubtDelay = bSoon ? std::min<std::chrono::milliseconds>(2 * m_kDoubtDelay, kLastDoubtDelay) : kFirstDoubtDelay;
    m_kLastDoubt = kNow;
    m_kCompareAll = kNow + m_kDoubtDelay;
}

bool LiveSource::Work(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError)
{
    if (m_vecWatched.empty())
    {
        return true;
    }
    const size_t uBefore = pkChanges->size();
    if (m_kNextLookAtRoots <= kNow)
    {
        _LookAtRoots(kNow);
    }
    if (m_kCountUnwatched && *m_kCountUnwatched <= kNow)
    {
        // A monitor takes its time to reach all of a large tree, so that only a second count is the truth.
        const bool bSecond = m_bCounted;
        m_kCountUnwatched.reset();
        _CountUnwatched(bSecond);
        m_bCounted = !bSecond && m_kCounts.ullUnwatched != 0;
        if (m_bCounted)
        {
            m_kCountUnwatched = LiveClock::now() + kSecondCount;
        }
    }
    Hints kHints = m_kPool.Take();
    m_kCounts.ullHints += kHints.uEvents;
    if (kHints.uEvents != 0)
    {
        m_uBurst = kNow - m_kLastHint < kBurstPause ? m_uBurst + kHints.uEvents : kHints.uEvents;
        m_kLastHint = kNow;
    }
    if (kHints.bDoubt || m_uBurst >= kBurst)
    {
        m_uBurst = 0;
        _DoubtAt(kNow);
    }
    for (const auto& [strFolder, kFolder] : kHints.mapFolders)
    {
        m_mapLookAgain[strFolder] = kNow + kLookAgainAfter;
    }
    for (auto itAgain = m_mapLookAgain.begin(); itAgain != m_mapLookAgain.end();)
    {
        if (itAgain->second <= kNow)
        {
            kHints.mapFolders.try_emplace(itAgain->first);
            itAgain = m_mapLookAgain.erase(itAgain);
        }
        else
        {
            ++itAgain;
        }
    }
    _AddRetries(kNow, &kHints.mapFolders);
    bool bFollowed = _CompareFolders(std::move(kHints.mapFolders), pkChanges, pstrError);
    if (bFollowed && m_kCompareAll && *m_kCompareAll <= kNow)
    {
        bFollowed = _CompareAll(kNow, pkChanges, pstrError);
    }
    if (bFollowed && m_kNextAudit <= kNow)
    {
        bFollowed = _Audit(kNow, pkChanges, pstrError);
    }
    m_kCounts.ullChanges += pkChanges->size() - uBefore;
    _Report(_KeepRetries(kNow), kMostNamed);
    return bFollowed && (!m_pkIndex->IsWorn() || _Renew(pstrError));
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
        const bool bHinted =
            strFolder == kFirst.key() && (!kFirst.mapped().vecRenamed.empty() || !kFirst.mapped().setWritten.empty());
        if (!setDone.insert(strFolder).second && !bHinted)
        {
            continue;
        }
        std::vector<VOWString> vecMore;
        if (!_CompareOne(strFolder, bHinted ? kFirst.mapped() : FolderHints(), pkChanges, &vecMore, pstrError))
        {
            return false;
        }
        for (VOWString& strMore : vecMore)
        {
            if (!setDone.contains(strMore))
            {
                mapFolders.try_emplace(std::move(strMore));
            }
        }
    }
    return true;
}

// What is known of a folder that can't be read is kept for the time when it can.
bool LiveSource::_CompareOne(const VOWString& strFolder, const FolderHints& kHints, Changes* pkChanges,
                             std::vector<VOWString>* pvecMore, std::string* pstrError)
{
    if (!m_pkIndex->Compare(strFolder, kHints, pkChanges, pvecMore, pstrError))
    {
        return false;
    }
    if (m_pkIndex->IsUnread(strFolder) && !(kHints.vecRenamed.empty() && kHints.setWritten.empty()))
    {
        FolderHints& rkKept = m_mapRetry[strFolder].kHints;
        rkKept.vecRenamed.insert(rkKept.vecRenamed.end(), kHints.vecRenamed.begin(), kHints.vecRenamed.end());
        rkKept.setWritten.insert(kHints.setWritten.begin(), kHints.setWritten.end());
    }
    return true;
}

void LiveSource::_AddRetries(LiveClock::time_point kNow, HintedFolders* pmapFolders)
{
    for (auto& [strFolder, rkRetry] : m_mapRetry)
    {
        FolderHints& rkKept = rkRetry.kHints;
        const auto itHinted = pmapFolders->find(strFolder);
        if (!rkRetry.bFails || (rkRetry.kDue > kNow && itHinted == pmapFolders->end()))
        {
            continue;
        }
        FolderHints& rkHints = (*pmapFolders)[strFolder];
        rkHints.vecRenamed.insert(rkHints.vecRenamed.begin(), rkKept.vecRenamed.begin(), rkKept.vecRenamed.end());
        rkHints.setWritten.merge(rkKept.setWritten);
        rkKept = FolderHints();
        if (rkRetry.kDue <= kNow)
        {
            rkRetry.kDelay = std::min(2 * rkRetry.kDelay, kLastRetry);
            rkRetry.kDue = kNow + rkRetry.kDelay;
        }
    }
}

// Sees to it that what can't be read is tried again, and gives what nobody was told of.
std::vector<UnreadFolder> LiveSource::_KeepRetries(LiveClock::time_point kNow)
{
    std::vector<UnreadFolder> vecNews;
    for (const UnreadFolder& kUnread : m_pkIndex->TakeUnread())
    {
        Retry& rkRetry = m_mapRetry[kUnread.strPath];
        if (rkRetry.kDelay == kNoDelay)
        {
            rkRetry.kDelay = kFirstRetry;
            rkRetry.bEntered = kUnread.bEntered;
            vecNews.push_back(kUnread);
        }
        rkRetry.bFails = true;
        rkRetry.kDue = kNow + rkRetry.kDelay;
    }
    for (auto itRetry = m_mapRetry.begin(); itRetry != m_mapRetry.end();)
    {
        Retry& rkRetry = itRetry->second;
        if (rkRetry.bFails && !m_pkIndex->IsUnread(itRetry->first))
        {
            rkRetry.bFails = false;
            rkRetry.kDue = kNow + kForgetRetry;
            // What kept the folder from being read may have kept the monitor from watching what is new in it.
            _DoubtAt(kNow);
        }
        itRetry = rkRetry.bFails || rkRetry.kDue > kNow ? std::next(itRetry) : m_mapRetry.erase(itRetry);
    }
    m_kCounts.ullUnread = m_pkIndex->UnreadCount();
    return vecNews;
}

bool LiveSource::_CompareAll(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError)
{
    m_kCompareAll.reset();
    HintedFolders mapFolders;
    for (VOWString& strFolder : m_pkIndex->Folders())
    {
        mapFolders.try_emplace(std::move(strFolder));
    }
    const bool bFollowed = _CompareFolders(std::move(mapFolders), pkChanges, pstrError);
    ++m_kCounts.ullDoubts;
    m_kCountUnwatched = m_kCountUnwatched.value_or(LiveClock::now() + kFirstCount);
    if (m_kCounts.uPolledRoots != 0)
    {
        const auto kTook = LiveClock::now() - kNow;
        m_kCompareAll = LiveClock::now() + std::max<LiveClock::duration>(kPollInterval, kPollShare * kTook);
    }
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
    m_kCounts.ullAuditChanges += pkChanges->size() - uBefore;
    const LiveClock::time_point kEnd = LiveClock::now();
    m_kNextAudit = kEnd + std::max<LiveClock::duration>(kAuditInterval, kAuditShare * (kEnd - kNow));
    if (m_dequeAudit.empty())
    {
        ++m_kCounts.ullAuditRounds;
        m_kNextAudit = kEnd + kAuditPause;
    }
    return bFollowed;
}

// Makes the container anew from what the index says, without what is gone.
bool LiveSource::_Renew(std::string* pstrError)
{
    return m_pkIndex->Renew(m_rvecTypes, pstrError);
}

// Names what isn't in the index, and what can't be read: no more of it at once than uMost.
void LiveSource::_Report(const std::vector<UnreadFolder>& vecUnread, size_t uMost)
{
    std::vector<NotIndexed> vecLeftOut = m_pkIndex->TakeLeftOut();
    size_t uMore = 0;
    for (size_t i = 0; i < vecUnread.size(); ++i)
    {
        const UnreadFolder& kUnread = vecUnread[i];
        if (i >= uMost)
        {
            ++uMore;
        }
        else if (!kUnread.bEntered)
        {
            vecLeftOut.push_back({kUnread.strPath, kUnread.strReason});
        }
        else
        {
            const std::string strShown = WrittenForm(kUnread.strPath, Escape::Controls);
            _Complain(fmt::format("{}{}{}; what is known of it stays, and it is tried again", strShown,
                                  strShown.empty() ? "" : ": ", kUnread.strReason));
        }
    }
    if (uMore != 0)
    {
        _Complain(fmt::format("{} more folder{} can't be read; what is known of {} stays, and {} tried again", uMore,
                              uMore == 1 ? "" : "s", uMore == 1 ? "it" : "them", uMore == 1 ? "it is" : "they are"));
    }
    for (const NotIndexed& kLeftOut : vecLeftOut)
    {
        _Complain(
            fmt::format("not indexed: {}: {}", WrittenForm(kLeftOut.strPath, Escape::Controls), kLeftOut.strReason));
    }
    if (!vecLeftOut.empty())
    {
        const auto uNever =
            std::count_if(m_mapRetry.begin(), m_mapRetry.end(),
                          [](const auto& kRetry) { return kRetry.second.bFails && !kRetry.second.bEntered; });
        _Complain(fmt::format("{} not indexed", m_pkIndex->LeftOutCount() + static_cast<size_t>(uNever)));
    }
}

bool LiveSource::MakeImage(SourceImage* pkImage, std::string* pstrError)
{
    return MakeSourceImage(m_kSpec.eaf, m_vecRoots[0], m_pkIndex.get(), pkImage, pstrError);
}

}  // namespace lum
