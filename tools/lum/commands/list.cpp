// lum ls: what a folder holds.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/sources.h"
#include "commands/commands.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

int RunList(const ListOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    const std::vector<ReaderSession::Found> vecFound = session.FindOrComplain(options.strPath);
    ResultList list(pOutput, "listings", options.bJson);
    for (const ReaderSession::Found& found : vecFound)
    {
        const ReaderSource& source = found.source;
        // The children of a folder, or a file itself.
        const std::vector<structAssetNode> vecEntries =
            found.node.bFolder == 0 ? std::vector<structAssetNode>{found.node}
                                    : ChildrenOf(source, found.node, Inspector::NT_FILE | Inspector::NT_FOLDER);
        const auto makeText = [&]
        {
            std::string strText;
            if (vecFound.size() > 1)
            {
                strText = fmt::format("{}{}: {}:\n", list.IsFirst() ? "" : "\n", SourceName(source.From()),
                                      ShownText(ViewOf(source, found.node).strAbsolute));
            }
            for (const structAssetNode& node : vecEntries)
            {
                const NodeView view = ViewOf(source, node);
                strText += (options.bLong ? LongLine(view) : ShownName(view)) + "\n";
            }
            return strText;
        };
        const auto makeJson = [&]
        {
            nlohmann::ordered_json entries = nlohmann::ordered_json::array();
            for (const structAssetNode& node : vecEntries)
            {
                entries.push_back(JsonOf(ViewOf(source, node)));
            }
            return nlohmann::ordered_json{{"from", SourceName(source.From())},
                                          {"path", JsonText(source.PathOf(found.node))},
                                          {"folder", found.node.bFolder != 0},
                                          {"entries", entries}};
        };
        list.Add(makeText, makeJson);
    }
    list.End();
    return Finish(!vecFound.empty(), pOutput);
}

}  // namespace lum
