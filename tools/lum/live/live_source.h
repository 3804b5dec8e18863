// One source as it is served: its index, and for directories the watches that say where to look again.
//
// What the system tells of changes are hints and no more. What a hint names is looked at and compared, and what the
// comparison finds is what changed. A name that has gone is looked at a moment later: a program that saves a file may
// put another one in its place. Some time after its last hint the folder is listed and compared as a whole. Where
// hints were lost, and after anything else that leaves a doubt, the whole tree is compared, and a slow audit compares
// it all the time. What can't be watched is polled. A folder that can't be read stays as it was, and is tried again.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "live/rechecks.h"
#include "live/unread_folders.h"
#include "live/watched_roots.h"
#include "publish/publisher.h"
#include "publish/serve_status.h"
#include "scan/source_spec.h"

namespace lum
{

class LiveSource
{
public:
    LiveSource(SourceSpec spec, const std::vector<ClassifyType>& vecTypes, HintSignal* pSignal);

    // Begins to watch (if bFollow, and where there is something to watch), and scans. False with a message when the
    // source can't be scanned.
    bool Open(bool bFollow, std::string* pstrError);

    // Does what is due: appends the changes found. False with a message when the index can't follow any more.
    bool Work(LiveClock::time_point now, Changes* pChanges, std::string* pstrError);

    // When Work has something to do without a new hint.
    LiveClock::time_point NextDue() const;

    // The image of the index as it is now. Null when it is too large for one.
    AssetImage MakeImage() { return AssetImage(m_pIndex->MakeImage()); }

    // It will be made of what was published of the index.
    void ImageTaken() { m_pIndex->ImageTaken(); }

    // What to say of an index that can't be published.
    std::string TooLarge() const;

    VOTSAssetNodeContainer& Container() { return m_pIndex->Container(); }
    LUMTrayService::enumAssetFrom From() const { return m_spec.eaf; }
    bool HasChanged() const { return m_pIndex->HasChanged(); }
    unsigned NodeCount() const { return m_pIndex->NodeCount(); }

    // What it went through since it is served, but for its publications.
    const SourceStatus& Status() const { return m_status; }

private:
    bool _CompareFolders(HintedFolders mapFolders, Changes* pChanges, std::string* pstrError);
    bool _CompareAll(LiveClock::time_point now, Changes* pChanges, std::string* pstrError);
    bool _Audit(LiveClock::time_point now, Changes* pChanges, std::string* pstrError);
    void _HoldRemovals(LiveClock::time_point now, HintedFolders* pmapFolders);
    void _Report(LiveClock::time_point now, size_t uMost);

    SourceSpec m_spec;
    const std::vector<ClassifyType>& m_vecTypes;
    std::vector<VOWString> m_vecRoots;
    std::unique_ptr<FolderLister> m_pLister;
    std::unique_ptr<SourceIndex> m_pIndex;
    WatchedRoots m_watched;
    Rechecks m_rechecks;
    UnreadFolders m_unread;
    std::map<VOWString, LiveClock::time_point> m_mapRemovals;  // paths, and when they are looked at
    LiveClock::time_point m_nextAudit;
    std::deque<VOWString> m_dequeAudit;  // folders that this round has still to compare
    SourceStatus m_status{};
};

}  // namespace lum
