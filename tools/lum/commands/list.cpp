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

namespace
{

// What is listed of one source: the children of a folder, or a file itself.
struct Listing
{
    const ReaderSource* pSource;
    NodeView node;
    std::vector<structAssetNode> vecEntries;
};

std::vector<Listing> Fetch(const ListOptions& options, const ReaderSession& session)
{
    std::vector<Listing> vecListings;
    for (const ReaderSource& source : session.Sources())
    {
        const std::optional<structAssetNode> node = source.FindArgument(options.strPath);
        if (!node)
        {
            continue;
        }
        Listing listing{&source, ViewOf(source, *node), {}};
        listing.vecEntries = node->bFolder == 0 ? std::vector<structAssetNode>{*node}
                                                : ChildrenOf(source, *node, Inspector::NT_FILE | Inspector::NT_FOLDER);
        vecListings.push_back(std::move(listing));
    }
    return vecListings;
}

void ShowText(const ListOptions& options, const std::vector<Listing>& vecListings, Output* pOutput)
{
    for (const Listing& listing : vecListings)
    {
        if (vecListings.size() > 1)
        {
            pOutput->Write(fmt::format("{}{}: {}:\n", &listing == &vecListings.front() ? "" : "\n",
                                       SourceName(listing.pSource->From()), ShownText(listing.node.strAbsolute)));
        }
        for (const structAssetNode& node : listing.vecEntries)
        {
            const NodeView view = ViewOf(*listing.pSource, node);
            pOutput->Write((options.bLong ? LongLine(view) : ShownName(view)) + "\n");
        }
    }
}

void ShowJson(const std::vector<Listing>& vecListings, Output* pOutput)
{
    JsonList list(pOutput, "listings");
    for (const Listing& listing : vecListings)
    {
        nlohmann::ordered_json entries = nlohmann::ordered_json::array();
        for (const structAssetNode& node : listing.vecEntries)
        {
            entries.push_back(JsonOf(ViewOf(*listing.pSource, node)));
        }
        list.Add({{"from", SourceName(listing.pSource->From())},
                  {"path", JsonText(listing.node.strPath)},
                  {"folder", listing.node.node.bFolder != 0},
                  {"entries", entries}});
    }
    list.End();
}

}  // namespace

int RunList(const ListOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    const std::vector<Listing> vecListings = Fetch(options, session);
    if (vecListings.empty())
    {
        Complain(fmt::format("{}: not in the index", options.strPath));
    }
    if (options.bJson)
    {
        ShowJson(vecListings, pOutput);
    }
    else
    {
        ShowText(options, vecListings, pOutput);
    }
    return Finish(!vecListings.empty(), pOutput);
}

}  // namespace lum
