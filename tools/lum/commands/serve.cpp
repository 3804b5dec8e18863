// lum serve: scans, publishes, and stays until it is told to stop.
#include <fmt/format.h>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "platform/vo_process.h"
#include "publish/publisher.h"
#include "publish/source_build.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr uint32_t kForever = 0xFFFFFFFF;

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

void ReportNotIndexed(const BuiltSource& kBuilt)
{
    for (const NotIndexed& kLeftOut : kBuilt.vecNotIndexed)
    {
        Complain(fmt::format("{}: not indexed: {}: {}", SourceName(kBuilt.kImage.eaf),
                             WrittenForm(kLeftOut.strPath, Escape::Controls), kLeftOut.strReason));
    }
    if (!kBuilt.vecNotIndexed.empty())
    {
        Complain(fmt::format("{}: {} not indexed", SourceName(kBuilt.kImage.eaf), kBuilt.vecNotIndexed.size()));
    }
}

// Everything is scanned before anything is published.
bool BuildAll(const ServeOptions& kOptions, std::vector<SourceImage>* pvecImages, unsigned* puNodes,
              std::string* pstrError)
{
    std::vector<ClassifyType> vecTypes;
    if (!kOptions.strTypes)
    {
        vecTypes = BuiltInTypes();
    }
    else if (!ReadTypesFile(*kOptions.strTypes, &vecTypes, pstrError))
    {
        return false;
    }
    for (const SourceSpec& kSpec : SpecsOf(kOptions))
    {
        BuiltSource kBuilt;
        if (!BuildSource(kSpec, vecTypes, &kBuilt, pstrError))
        {
            return false;
        }
        ReportNotIndexed(kBuilt);
        *puNodes += kBuilt.uNodes;
        pvecImages->push_back(std::move(kBuilt.kImage));
    }
    return true;
}

bool PublishAll(const ServeOptions& kOptions, Publisher* pkPublisher, std::string* pstrError)
{
    if (SpecsOf(kOptions).empty())
    {
        *pstrError = "nothing to serve: name at least one source, for instance with --source DIR";
        return false;
    }
    if (!VOHandleStopRequests())
    {
        *pstrError = "requests to stop can't be handled";
        return false;
    }
    unsigned uNodes = 0;
    std::vector<SourceImage> vecImages;
    if (!pkPublisher->Acquire(pstrError) || !BuildAll(kOptions, &vecImages, &uNodes, pstrError) ||
        !pkPublisher->Publish(vecImages, pstrError))
    {
        return false;
    }
    Output kOutput;
    kOutput.Write(fmt::format("serving {} node{} of {} source{}\n", uNodes, uNodes == 1 ? "" : "s", vecImages.size(),
                              vecImages.size() == 1 ? "" : "s"));
    if (!kOutput.Flush())
    {
        *pstrError = "standard output can't be written";
        return false;
    }
    return true;
}

// Between publishing and stopping. This is where changes of the directories will be followed.
void Stay(const ServeOptions& kOptions)
{
    if (!kOptions.bOnce)
    {
        Complain("changes of the directories aren't followed yet: what was scanned is served until this ends");
    }
    VOWaitForStopRequest(kForever);
}

}  // namespace

int RunServe(const ServeOptions& kOptions)
{
    Publisher kPublisher;
    std::string strError;
    if (!PublishAll(kOptions, &kPublisher, &strError))
    {
        Complain(strError);
        return kExitError;
    }
    Stay(kOptions);
    kPublisher.Withdraw();
    return kExitFound;
}

}  // namespace lum
