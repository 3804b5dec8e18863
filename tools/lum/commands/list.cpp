// lum ls: what a folder holds.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
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
    const ReaderSource* pkSource;
    NodeView kNode;
    std::vector<structAssetNode> vecEntries;
};

std::vector<Listing> Fetch(const ListOptions& kOptions, const ReaderSession& kSession)
{
    std::vector<Listing> vecListings;
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const std::optional<structAssetNode> kNode = kSource.FindArgument(kOptions.strPath);
        if (!kNode)
        {
            continue;
        }
        Listing kListing{&kSource, ViewOf(kSource, *kNode), {}};
        kListing.vecEntries = kNode->bFolder == 0
                                  ? std::vector<structAssetNode>{*kNode}
                                  : ChildrenOf(kSource, *kNode, Inspector::NT_FILE | Inspector::NT_FOLDER);
        vecListings.push_back(std::move(kListing));
    }
    return vecListings;
}

void ShowText(const ListOptions& kOptions, const std::vector<Listing>& vecListings, Output* pkOutput)
{
    for (const Listing& kListing : vecListings)
    {
        if (vecListings.size() > 1)
        {
            pkOutput->Write(fmt::format("{}{}: {}:\n", &kListing == &vecListings.front() ? "" : "\n",
                                        SourceName(kListing.pkSource->From()), ShownText(kListing.kNode.strAbsolute)));
        }
        for (const structAssetNode& kNode : kListing.vecEntries)
        {
            const NodeView kView = ViewOf(*kListing.pkSource, kNode);
            pkOutput->Write((kOptions.bLong ? LongLine(kView) : ShownName(kView)) + "\n");
        }
    }
}

void ShowJson(const std::vector<Listing>& vecListings, Output* pkOutput)
{
    JsonList kList(pkOutput, "listings");
    for (const Listing& kListing : vecListings)
    {
        nlohmann::ordered_json kEntries = nlohmann::ordered_json::array();
        for (const structAssetNode& kNode : kListing.vecEntries)
        {
            kEntries.push_back(JsonOf(ViewOf(*kListing.pkSource, kNode)));
        }
        kList.Add({{"from", SourceName(kListing.pkSource->From())},
                   {"path", JsonText(kListing.kNode.strPath)},
                   {"folder", kListing.kNode.kNode.bFolder != 0},
                   {"entries", kEntries}});
    }
    kList.End();
}

}  // namespace

int RunList(const ListOptions& kOptions, Output* pkOutput)
{
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    const std::vector<Listing> vecListings = Fetch(kOptions, kSession);
    if (vecListings.empty())
    {
        Complain(fmt::format("{}: not in the index", kOptions.strPath));
    }
    if (kOptions.bJson)
    {
        ShowJson(vecListings, pkOutput);
    }
    else
    {
        ShowText(kOptions, vecListings, pkOutput);
    }
    return Finish(!vecListings.empty(), pkOutput);
}

}  // namespace lum
