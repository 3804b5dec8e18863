// lum serve: scans, publishes, and follows what changes until it is told to stop.
#include <fmt/format.h>

#include "base/log.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "live/live_server.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"
#include "platform/vo_section_publisher.h"
#include "publish/option_file.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

std::vector<SourceSpec> SpecsOf(const ServeOptions& options)
{
    const std::pair<enumAssetFrom, const std::optional<std::string>*> akSingle[] = {
        {AF_SOURCE, &options.strSource},
        {AF_TARGET, &options.strTarget},
        {AF_PAKV4, &options.strPak},
        {AF_HTTPFILE_SOURCE, &options.strHttpSource},
        {AF_HTTPFILE_TARGET, &options.strHttpTarget},
        {AF_HTTPFILE_PKG_SOURCE, &options.strHttpPkgSource},
        {AF_HTTPFILE_PKG_TARGET, &options.strHttpPkgTarget}};
    std::vector<SourceSpec> vecSpecs;
    for (const auto& [eaf, pstrPath] : akSingle)
    {
        if (*pstrPath)
        {
            vecSpecs.push_back({eaf, {**pstrPath}});
        }
    }
    if (!options.vecMergeSource.empty())
    {
        vecSpecs.push_back({AF_MERGESRC, options.vecMergeSource});
    }
    if (!options.vecMergeTarget.empty())
    {
        vecSpecs.push_back({AF_MERGETARGET, options.vecMergeTarget});
    }
    return vecSpecs;
}

bool StartServer(const ServeOptions& options, LiveServer* pServer, VOPublishedSection* pPublicOptions, Output* pOutput,
                 std::string* pstrError)
{
    const std::vector<SourceSpec> vecSpecs = SpecsOf(options);
    VOPublicOptionRecord record;
    if (options.strOptions && !ReadOptionFile(*options.strOptions, &record, pstrError))
    {
        return false;
    }
    if (vecSpecs.empty() && !options.strOptions)
    {
        *pstrError = "nothing to serve: name at least one source, for instance with --source DIR";
        return false;
    }
    if (!VOHandleStopRequests())
    {
        *pstrError = "requests to stop can't be handled";
        return false;
    }
    if (!pServer->Start(vecSpecs, pstrError))
    {
        return false;
    }
    // Only the one publisher that there is puts its options up.
    if (options.strOptions && !pPublicOptions->Replace(kVOPublicOptionSection, &record, sizeof(record)))
    {
        *pstrError = fmt::format("the section of the public options can't be made (system error {})", GetLastError());
        pServer->Withdraw();
        return false;
    }
    const unsigned uNodes = pServer->NodeCount();
    const std::string strReady = fmt::format("serving {} node{} of {} source{}", uNodes, uNodes == 1 ? "" : "s",
                                             vecSpecs.size(), vecSpecs.size() == 1 ? "" : "s");
    LogLine(VOLOG_INFO, strReady);
    pOutput->Write(strReady + "\n");
    if (!pOutput->Flush())
    {
        *pstrError = "standard output can't be written";
        return false;
    }
    return true;
}

}  // namespace

int RunServe(const ServeOptions& options, Output* pOutput)
{
    std::string strError;
    std::vector<ClassifyType> vecTypes;
    if (options.strLog && !StartLogFile(*options.strLog, &strError))
    {
        return EndWith(strError);
    }
    if (!options.strTypes)
    {
        vecTypes = BuiltInTypes();
    }
    else if (!ReadTypesFile(*options.strTypes, &vecTypes, &strError))
    {
        return EndWith(strError);
    }
    LiveServer server(vecTypes, !options.bOnce, options.bClassic);
    VOPublishedSection publicOptions;
    if (!StartServer(options, &server, &publicOptions, pOutput, &strError) || !server.Run(&strError))
    {
        return EndWith(strError);
    }
    publicOptions.Withdraw();
    LogLine(VOLOG_INFO, "stopped; everything is withdrawn");
    return kExitFound;
}

}  // namespace lum
