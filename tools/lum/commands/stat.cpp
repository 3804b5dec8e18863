// lum stat: everything about files and folders.
#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

namespace lum
{

int RunStat(const StatOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    bool bAllFound = true;
    ResultList list(pOutput, "nodes", options.bJson);
    for (const std::string& strPath : options.vecPaths)
    {
        const std::vector<ReaderSession::Found> vecFound = session.FindOrComplain(strPath);
        bAllFound = bAllFound && !vecFound.empty();
        for (const ReaderSession::Found& found : vecFound)
        {
            const NodeView view = ViewOf(found.source, found.node);
            list.Add([&] { return (list.IsFirst() ? "" : "\n") + Details(view); }, [&] { return JsonOf(view); });
        }
    }
    list.End();
    return Finish(bAllFound, pOutput);
}

}  // namespace lum
