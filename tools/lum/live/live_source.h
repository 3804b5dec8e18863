// One source as it is served: its index, and for directories the monitors that say where to look again.
//
// The monitors' events are hints and no more: their stream loses changes by its own rules. A touched folder is listed
// and compared, and what the comparison finds is what changed. It is compared once more some time after its last hint,
// because of many fast writes the monitor tells the first alone. After a burst that a monitor's buffer may not have
// held, and after anything else that leaves a doubt, the whole tree is compared, and a slow audit compares it all the
// time. What can't be watched is polled. A folder that can't be read stays as it was, and is tried again.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "live/change_hints.h"
#include "publish/source_build.h"
#include "scan/directory_lister.h"

namespace lum
{

typedef std::chrono::steady_clock LiveClock;

// What a source went through since it is served.
struct LiveCounts
{
    unsigned long long ullHints = 0;         // events of the monitors
    unsigned long long ullChanges = 0;       // differences that comparisons found
    unsigned long long ullDoubts = 0;        // comparisons of the whole tree, the audit's not counted
    unsigned long long ullAuditRounds = 0;   // whole rounds of the audit
    unsigned long long ullAuditChanges = 0;  // differences that only the audit found
    unsigned long long ullUnwatched = 0;     // directories that the monitors don't reach
    unsigned long long ullUnread = 0;        // folders that can't be read now, and stay as they were
    unsigned uPolledRoots = 0;               // roots that are compared from time to time instead of watched
};

class LiveSource
{
public:
    LiveSource(SourceSpec kSpec, const std::vector<ClassifyType>& vecTypes, HintSignal* pkSignal);
    ~LiveSource();
    LiveSource(const LiveSource&) = delete;
    LiveSource& operator=(const LiveSource&) = delete;

    // Begins to watch (if bFollow, and where there is something to watch), and scans. False with a message when the
    // source can't be scanned.
    bool Open(bool bFollow, std::string* pstrError);

    // Does what is due: appends the changes found. False with a message when the index can't follow any more.
    bool Work(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError);

    // When Work has something to do without a new hint.
    LiveClock::time_point NextDue() const;

    // Makes the compressed image of the index as it is now.
    bool MakeImage(SourceImage* pkImage, std::string* pstrError);

    LUMTrayService::enumAssetFrom From() const { return m_kSpec.eaf; }
    bool HasChanged() const { return m_pkIndex->HasChanged(); }
    unsigned NodeCount() const { return m_pkIndex->NodeCount(); }
    const LiveCounts& Counts() const { return m_kCounts; }

private:
    struct WatchedRoot;

    // A folder that can't be read, or couldn't a short while ago: one that fails now and then isn't told each time.
    struct Retry
    {
        FolderHints kHints;  // what was known of its changes when it couldn't be read
        LiveClock::time_point kDue;
        std::chrono::milliseconds kDelay{0};  // 0 as long as nobody knows of it
        bool bEntered = false;
        bool bFails = false;
    };

    void _Watch(WatchedRoot* pkRoot);
    void _SetPolled(WatchedRoot* pkRoot, bool bPolled, const std::string& strReason);
    void _CountUnwatched(bool bComplain);
    void _LookAtRoots(LiveClock::time_point kNow);
    void _Complain(const std::string& strText) const;
    bool _CompareOne(const VOWString& strFolder, const FolderHints& kHints, Changes* pkChanges,
                     std::vector<VOWString>* pvecMore, std::string* pstrError);
    void _AddRetries(LiveClock::time_point kNow, HintedFolders* pmapFolders);
    std::vector<UnreadFolder> _KeepRetries(LiveClock::time_point kNow);
    void _Report(const std::vector<UnreadFolder>& vecUnread, size_t uMost);
    void _DoubtAt(LiveClock::time_point kNow);
    bool _CompareAll(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError);
    bool _CompareFolders(HintedFolders mapFolders, Changes* pkChanges, std::string* pstrError);
    bool _Audit(LiveClock::time_point kNow, Changes* pkChanges, std::string* pstrError);
    bool _Renew(std::string* pstrError);

    SourceSpec m_kSpec;
    const std::vector<ClassifyType>& m_rvecTypes;
    HintPool m_kPool;
    std::vector<VOWString> m_vecRoots;
    std::unique_ptr<FolderLister> m_pkLister;
    std::unique_ptr<SourceIndex> m_pkIndex;
    std::vector<std::unique_ptr<WatchedRoot>> m_vecWatched;
    LiveCounts m_kCounts;

    std::map<VOWString, LiveClock::time_point> m_mapLookAgain;
    std::map<VOWString, Retry> m_mapRetry;
    std::optional<LiveClock::time_point> m_kCompareAll;
    LiveClock::time_point m_kLastDoubt;
    std::chrono::milliseconds m_kDoubtDelay;
    LiveClock::time_point m_kLastHint;
    size_t m_uBurst = 0;
    LiveClock::time_point m_kNextLookAtRoots;
    std::optional<LiveClock::time_point> m_kCountUnwatched;
    bool m_bCounted = false;  // once, and some were missing
    LiveClock::time_point m_kNextAudit;
    std::deque<VOWString> m_dequeAudit;  // folders that this round has still to compare
};

}  // namespace lum
