// lum serve: scans, publishes, and follows what changes until it is told to stop.
#include <fmt/format.h>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/log_file.h"
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

std::vector<SourceSpec> SpecsOf(const ServeOptions& kOptions)
{
    const std::pair<enumAssetFrom, const std::optional<std::string>*> akSingle[] = {
        {AF_SOURCE, &kOptions.strSource},
        {AF_TARGET, &kOptions.strTarget},
        {AF_PAKV4, &kOptions.strPak},
        {AF_HTTPFILE_SOURCE, &kOptions.strHttpSource},
        {AF_HTTPFILE_TARGET, &kOptions.strHttpTarget},
        {AF_HTTPFILE_PKG_SOURCE, &kOptions.strHttpPkgSource},
        {AF_HTTPFILE_PKG_TARGET, &kOptions.strHttpPkgTarget}};
    std::vector<SourceSpec> vecSpecs;
    for (const auto& [eaf, pstrPath] : akSingle)
    {
        if (*pstrPath)
        {
            vecSpecs.push_back({eaf, {**pstrPath}});
        }
    }
    if (!kOptions.vecMergeSource.empty())
    {
        vecSpecs.push_back({AF_MERGESRC, kOptions.vecMergeSource});
    }
    if (!kOptions.vecMergeTarget.empty())
    {
        vecSpecs.push_back({AF_MERGETARGET, kOptions.vecMergeTarget});
    }
    return vecSpecs;
}

bool StartServer(const ServeOptions& kOptions, LiveServer* pkServer, VOPublishedSection* pkPublicOptions,
                 std::string* pstrError)
{
    const std::vector<SourceSpec> vecSpecs = SpecsOf(kOptions);
    VOPublicOptionRecord kRecord;
    if (kOptions.strOptions && !ReadOptionFile(*kOptions.strOptions, &kRecord, pstrError))
    {
        return false;
    }
    if (vecSpecs.empty() && !kOptions.strOptions)
    {
        *pstrError = "nothing to serve: name at least one source, for instance with --source DIR";
        return false;
    }
    if (!VOHandleStopRequests())
    {
        *pstrError = "requests to stop can't be handled";
        return false;
    }
    if (!pkServer->Start(vecSpecs, pstrError))
    {
        return false;
    }
    // Only the one publisher that there is puts its options up.
    if (kOptions.strOptions && !pkPublicOptions->Replace(kVOPublicOptionSection, &kRecord, sizeof(kRecord)))
    {
        *pstrError = fmt::format("the section of the public options can't be made (system error {})", GetLastError());
        pkServer->Withdraw();
        return false;
    }
    const unsigned uNodes = pkServer->NodeCount();
    const std::string strReady = fmt::format("serving {} node{} of {} source{}", uNodes, uNodes == 1 ? "" : "s",
                                             vecSpecs.size(), vecSpecs.size() == 1 ? "" : "s");
    Output kOutput;
    LogLine(VOLOG_INFO, strReady);
    kOutput.Write(strReady + "\n");
    if (!kOutput.Flush())
    {
        *pstrError = "standard output can't be written";
        return false;
    }
    return true;
}

}  // namespace

int RunServe(const ServeOptions& kOptions)
{
    std::string strError;
    std::vector<ClassifyType> vecTypes;
    if (kOptions.strLog && !StartLogFile(*kOptions.strLog, &strError))
    {
        Complain(strError);
        return kExitError;
    }
    if (!kOptions.strTypes)
    {
        vecTypes = BuiltInTypes();
    }
    else if (!ReadTypesFile(*kOptions.strTypes, &vecTypes, &strError))
    {
        Complain(strError);
        return kExitError;
    }
    LiveServer kServer(vecTypes, !kOptions.bOnce);
    VOPublishedSection kPublicOptions;
    if (!StartServer(kOptions, &kServer, &kPublicOptions, &strError) || !kServer.Run(&strError))
    {
        Complain(strError);
        return kExitError;
    }
    kPublicOptions.Withdraw();
    LogLine(VOLOG_INFO, "stopped; everything is withdrawn");
    return kExitFound;
}

}  // namespace lum
