// lum stat: everything about files and folders.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
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
std::vector<NodeView> Fetch(const std::string& strPath, const ReaderSession& kSession)
{
    std::vector<NodeView> vecViews;
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const std::optional<structAssetNode> kNode = kSource.FindArgument(strPath);
        if (kNode)
        {
            vecViews.push_back(ViewOf(kSource, *kNode));
        }
    }
    if (vecViews.empty())
    {
        Complain(fmt::format("{}: not in the index", strPath));
    }
    return vecViews;
}

}  // namespace

int RunStat(const StatOptions& kOptions, Output* pkOutput)
{
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    bool bAllFound = true;
    std::vector<NodeView> vecViews;
    for (const std::string& strPath : kOptions.vecPaths)
    {
        const std::vector<NodeView> vecFound = Fetch(strPath, kSession);
        vecViews.insert(vecViews.end(), vecFound.begin(), vecFound.end());
        bAllFound = bAllFound && !vecFound.empty();
    }
    if (kOptions.bJson)
    {
        JsonList kList(pkOutput, "nodes");
        for (const NodeView& kView : vecViews)
        {
            kList.Add(JsonOf(kView));
        }
        kList.End();
    }
    else
    {
        for (const NodeView& kView : vecViews)
        {
            pkOutput->Write((&kView == &vecViews.front() ? "" : "\n") + Details(kView));
        }
    }
    return Finish(bAllFound, pkOutput);
}

}  // namespace lum
