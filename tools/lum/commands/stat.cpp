// lum stat: everything about files and folders.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// The node of a path in each source that has it; a complaint when none has.
std::vector<NodeView> Fetch(const std::string& strPath, const ReaderSession& session)
{
    std::vector<NodeView> vecViews;
    for (const ReaderSource& source : session.Sources())
    {
        const std::optional<structAssetNode> node = source.FindArgument(strPath);
        if (node)
        {
            vecViews.push_back(ViewOf(source, *node));
        }
    }
    if (vecViews.empty())
    {
        Complain(fmt::format("{}: not in the index", strPath));
    }
    return vecViews;
}

}  // namespace

int RunStat(const StatOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    bool bAllFound = true;
    std::vector<NodeView> vecViews;
    for (const std::string& strPath : options.vecPaths)
    {
        const std::vector<NodeView> vecFound = Fetch(strPath, session);
        vecViews.insert(vecViews.end(), vecFound.begin(), vecFound.end());
        bAllFound = bAllFound && !vecFound.empty();
    }
    if (options.bJson)
    {
        JsonList list(pOutput, "nodes");
        for (const NodeView& view : vecViews)
        {
            list.Add(JsonOf(view));
        }
        list.End();
    }
    else
    {
        for (const NodeView& view : vecViews)
        {
            pOutput->Write((&view == &vecViews.front() ? "" : "\n") + Details(view));
        }
    }
    return Finish(bAllFound, pOutput);
}

}  // namespace lum
