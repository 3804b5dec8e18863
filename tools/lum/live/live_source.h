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

    // Makes the compressed image of the index as it is now. False with a message when it is too large for one.
    bool MakeImage(SourceImage* pImage, std::string* pstrError);

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
    void _Report(LiveClock::time_point now, size_t uMost);

    SourceSpec m_spec;
    const std::vector<ClassifyType>& m_vecTypes;
    std::vector<VOWString> m_vecRoots;
    std::unique_ptr<FolderLister> m_pLister;
    std::unique_ptr<SourceIndex> m_pIndex;
    WatchedRoots m_watched;
    Rechecks m_rechecks;
    UnreadFolders m_unread;
    LiveClock::time_point m_nextAudit;
    std::deque<VOWString> m_dequeAudit;  // folders that this round has still to compare
    SourceStatus m_status{};
};

}  // namespace lum
