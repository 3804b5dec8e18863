// What a running publisher tells of itself, in a small section of its own beside the published ones.
#pragma once

#include <string>

#include "platform/vo_section_publisher.h"
#include "tray_service_types.h"

namespace lum
{

#define LUM_SERVE_STATUS_NAME VOTEXT("vo_lumServeStatus")

struct SourceStatus
{
    unsigned long long ullHints;         // events of the monitors
    unsigned long long ullChanges;       // differences found and published
    unsigned long long ullDoubts;        // comparisons of a whole tree
    unsigned long long ullAuditRounds;   // rounds of the audit
    unsigned long long ullAuditChanges;  // differences that the audit found
    unsigned long long ullUnwatched;     // directories that aren't watched
    unsigned long long ullPolledRoots;   // roots that are polled
    unsigned long long ullPublications;  // images published
    unsigned long long ullUnread;        // folders that can't be read now
    unsigned long long ullBases;         // images published as they are, and the changes of them
    unsigned long long ullBatches;
    unsigned long long ullAttached;  // how often a tool took one
    unsigned long long ullDoubted;   // how often a tool found one unsound, and unpacked the image instead
};

struct ServeStatus
{
    char szVersion[8];  // "lum.3"
    unsigned uProcessId;
    unsigned uFollows;  // 0 for a publisher that doesn't follow changes
    SourceStatus akSources[LUMTrayService::ASSETTYPE_COUNT];
};
static_assert(sizeof(ServeStatus) == 16 + 104 * LUMTrayService::ASSETTYPE_COUNT);

// The publisher's side. A failure to make the section is no reason not to serve.
class ServeStatusSection
{
public:
    ~ServeStatusSection();

    void Open(bool bFollows);
    void Set(LUMTrayService::enumAssetFrom eaf, const SourceStatus& status);

private:
    VOPublishedSection m_section;
};

// The reader's side: false when no publisher tells.
bool ReadServeStatus(ServeStatus* pStatus);

}  // namespace lum
