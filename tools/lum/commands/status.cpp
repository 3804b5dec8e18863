// lum status: which sources are published, how large they are, and how the publisher follows them.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

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

int CountNode(const structAssetNode& node, void* pvCounts, int& /*bStop*/)
{
    Counts* pCounts = static_cast<Counts*>(pvCounts);
    ++(node.bFolder != 0 ? pCounts->uFolders : pCounts->uFiles);
    pCounts->ullBytes += node.bFolder != 0 ? 0 : node.ullFileSize;
    return 1;
}

Counts CountsOf(const ReaderSource& source)
{
    Counts counts;
    const std::optional<structAssetNode> root = source.FindPath(VOWString());
    if (root)
    {
        source.Inspector().TraverseAssetNode(root->nAssetID, Inspector::NT_FILE | Inspector::NT_FOLDER, 1, &CountNode,
                                             &counts);
    }
    return counts;
}

// What the publisher tells of itself, when it is one that tells.
std::optional<ServeStatus> PublisherStatus()
{
    ServeStatus status;
    return ReadServeStatus(&status) ? std::optional<ServeStatus>(status) : std::nullopt;
}

std::string TextOf(const SourceStatus& status)
{
    std::string strText = fmt::format(
        "{:<16}{} publications, {} changes of {} hints; {} whole comparisons, {} audits\n", "", status.ullPublications,
        status.ullChanges, status.ullHints, status.ullDoubts, status.ullAuditRounds);
    if (status.ullBases != 0)
    {
        strText += fmt::format("{:<16}mapped by tools {} times, found unsound {} times; {} bases, {} batches\n", "",
                               status.ullAttached, status.ullDoubted, status.ullBases, status.ullBatches);
    }
    if (status.ullPolledRoots != 0 || status.ullUnwatched != 0)
    {
        strText += fmt::format("{:<16}{} directories aren't watched, {} roots are polled\n", "", status.ullUnwatched,
                               status.ullPolledRoots);
    }
    if (status.ullUnread != 0)
    {
        strText +=
            fmt::format("{:<16}{} folder{} can't be read\n", "", status.ullUnread, status.ullUnread == 1 ? "" : "s");
    }
    return strText;
}

nlohmann::ordered_json JsonOf(const SourceStatus& status)
{
    return {{"publications", status.ullPublications},
            {"changes", status.ullChanges},
            {"hints", status.ullHints},
            {"whole_comparisons", status.ullDoubts},
            {"audit_rounds", status.ullAuditRounds},
            {"audit_changes", status.ullAuditChanges},
            {"unwatched", status.ullUnwatched},
            {"polled_roots", status.ullPolledRoots},
            {"unread", status.ullUnread},
            {"bases", status.ullBases},
            {"batches", status.ullBatches},
            {"attached", status.ullAttached},
            {"doubted", status.ullDoubted}};
}

}  // namespace

int RunStatus(const ReaderOptions& options, Output* pOutput)
{
    ReaderSession session;
    std::string strError;
    const ReaderSession::Opened eOpened = session.Open(options.eaf, &strError);
    if (eOpened == ReaderSession::Opened::Failed)
    {
        return EndWith(strError);
    }
    const bool bFound = eOpened == ReaderSession::Opened::Yes;
    if (!bFound)
    {
        Complain(strError);
    }
    const std::optional<ServeStatus> status = PublisherStatus();
    ResultList list(pOutput, "sources", options.bJson);
    for (const ReaderSource& source : session.Sources())
    {
        const Counts counts = CountsOf(source);
        const SourceStatus* const pFollowed =
            status && status->uFollows != 0 ? &status->akSources[source.From()] : nullptr;
        const auto makeText = [&]
        {
            return fmt::format("{:<16}{:>9} files {:>8} folders {:>16} bytes  {}\n{}", SourceName(source.From()),
                               counts.uFiles, counts.uFolders, counts.ullBytes, ShownText(source.Root()),
                               pFollowed != nullptr ? TextOf(*pFollowed) : "");
        };
        const auto makeJson = [&]
        {
            nlohmann::ordered_json line = {{"from", SourceName(source.From())},
                                           {"number", static_cast<unsigned>(source.From())},
                                           {"root", JsonText(source.Root())},
                                           {"name", JsonText(source.RootName())},
                                           {"nodes", source.Inspector().GetAssetNodeCount()},
                                           {"files", counts.uFiles},
                                           {"folders", counts.uFolders},
                                           {"bytes", counts.ullBytes}};
            if (pFollowed != nullptr)
            {
                line["publisher"] = JsonOf(*pFollowed);
            }
            return line;
        };
        list.Add(makeText, makeJson);
    }
    list.End();
    return Finish(bFound, pOutput);
}

}  // namespace lum
