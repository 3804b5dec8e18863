// lum status: which sources are published, how large they are, and how the publisher follows them.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "commands/commands.h"
#include "publish/serve_status.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

struct Counts
{
    unsigned uFiles = 0;
    unsigned uFolders = 0;
    unsigned long long ullBytes = 0;
};

int CountNode(const structAssetNode& kNode, void* pvCounts, int& /*bStop*/)
{
    Counts* pkCounts = static_cast<Counts*>(pvCounts);
    ++(kNode.bFolder != 0 ? pkCounts->uFolders : pkCounts->uFiles);
    pkCounts->ullBytes += kNode.bFolder != 0 ? 0 : kNode.ullFileSize;
    return 1;
}

Counts CountsOf(const ReaderSource& kSource)
{
    Counts kCounts;
    const std::optional<structAssetNode> kRoot = kSource.FindPath(VOWString());
    if (kRoot)
    {
        kSource.Inspector().TraverseAssetNode(kRoot->nAssetID, Inspector::NT_FILE | Inspector::NT_FOLDER, 1, &CountNode,
                                              &kCounts);
    }
    return kCounts;
}

// What the publisher tells of itself, when it is one that tells.
std::optional<ServeStatus> PublisherStatus()
{
    ServeStatus kStatus;
    return ReadServeStatus(&kStatus) ? std::optional<ServeStatus>(kStatus) : std::nullopt;
}

std::string TextOf(const SourceStatus& kStatus)
{
    std::string strText = fmt::format(
        "{:<16}{} publications, {} changes of {} hints; {} whole comparisons, {} audits\n", "", kStatus.ullPublications,
        kStatus.ullChanges, kStatus.ullHints, kStatus.ullDoubts, kStatus.ullAuditRounds);
    if (kStatus.ullPolledRoots != 0 || kStatus.ullUnwatched != 0)
    {
        strText += fmt::format("{:<16}{} directories aren't watched, {} roots are polled\n", "", kStatus.ullUnwatched,
                               kStatus.ullPolledRoots);
    }
    if (kStatus.ullUnread != 0)
    {
        strText +=
            fmt::format("{:<16}{} folder{} can't be read\n", "", kStatus.ullUnread, kStatus.ullUnread == 1 ? "" : "s");
    }
    return strText;
}

nlohmann::ordered_json JsonOf(const SourceStatus& kStatus)
{
    return {{"publications", kStatus.ullPublications},
            {"changes", kStatus.ullChanges},
            {"hints", kStatus.ullHints},
            {"whole_comparisons", kStatus.ullDoubts},
            {"audit_rounds", kStatus.ullAuditRounds},
            {"audit_changes", kStatus.ullAuditChanges},
            {"unwatched", kStatus.ullUnwatched},
            {"polled_roots", kStatus.ullPolledRoots},
            {"unread", kStatus.ullUnread}};
}

void ShowText(const ReaderSession& kSession, Output* pkOutput)
{
    const std::optional<ServeStatus> kStatus = PublisherStatus();
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const Counts kCounts = CountsOf(kSource);
        pkOutput->Write(fmt::format("{:<16}{:>9} files {:>8} folders {:>16} bytes  {}\n", SourceName(kSource.From()),
                                    kCounts.uFiles, kCounts.uFolders, kCounts.ullBytes, ShownText(kSource.Root())));
        if (kStatus && kStatus->uFollows != 0)
        {
            pkOutput->Write(TextOf(kStatus->akSources[kSource.From()]));
        }
    }
}

void ShowJson(const ReaderSession& kSession, Output* pkOutput)
{
    const std::optional<ServeStatus> kStatus = PublisherStatus();
    JsonList kList(pkOutput, "sources");
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const Counts kCounts = CountsOf(kSource);
        nlohmann::ordered_json kLine = {{"from", SourceName(kSource.From())},
                                        {"number", static_cast<unsigned>(kSource.From())},
                                        {"root", JsonText(kSource.Root())},
                                        {"name", JsonText(kSource.RootName())},
                                        {"nodes", kSource.Inspector().GetAssetNodeCount()},
                                        {"files", kCounts.uFiles},
                                        {"folders", kCounts.uFolders},
                                        {"bytes", kCounts.ullBytes}};
        if (kStatus && kStatus->uFollows != 0)
        {
            kLine["publisher"] = JsonOf(kStatus->akSources[kSource.From()]);
        }
        kList.Add(kLine);
    }
    kList.End();
}

}  // namespace

int RunStatus(const ReaderOptions& kOptions, Output* pkOutput)
{
    ReaderSession kSession;
    std::string strError;
    const ReaderSession::Opened eOpened = kSession.Open(kOptions.eaf, &strError);
    if (eOpened == ReaderSession::Opened::Failed)
    {
        Complain(strError);
        return kExitError;
    }
    const bool bFound = eOpened == ReaderSession::Opened::Yes;
    if (!bFound)
    {
        Complain(strError);
    }
    if (kOptions.bJson)
    {
        ShowJson(kSession, pkOutput);
    }
    else
    {
        ShowText(kSession, pkOutput);
    }
    return Finish(bFound, pkOutput);
}

}  // namespace lum
