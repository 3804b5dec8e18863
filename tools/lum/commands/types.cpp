// lum types: the classify table of each source.
#include <fmt/format.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "commands/commands.h"
#include "image/image_check.h"
#include "platform/vo_owners.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// The library hands out a table only type by type. A container with the table of the source is one that is empty
// otherwise, and its image has the types in their order.
std::vector<TypeReport> Fetch(const ReaderSource& kSource)
{
    VOTSAssetNodeContainer kContainer;
    if (kSource.Inspector().ReConstructContainer(&kContainer) == 0)
    {
        return {};
    }
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, VOFreeBlock> pkImage(kContainer.GetAlloc());
    if (pkImage == nullptr)
    {
        return {};
    }
    Findings kFindings;
    const ByteView kImage(reinterpret_cast<const unsigned char*>(pkImage.get()),
                          uint64_t{pkImage->uDataBufSize} + sizeof(*pkImage));
    std::vector<TypeReport> vecTypes = TypesOf(ReadLayout(kImage, &kFindings), &kFindings);
    std::stable_sort(vecTypes.begin(), vecTypes.end(),
                     [](const TypeReport& kLeft, const TypeReport& kRight) { return kLeft.nNumber < kRight.nNumber; });
    return vecTypes;
}

std::string ShownColor(uint32_t uColor)
{
    return fmt::format("#{:06x}", uColor & 0xFFFFFF);
}

void ShowTypesAsText(const ReaderSession& kSession, Output* pkOutput)
{
    for (const ReaderSource& kSource : kSession.Sources())
    {
        if (kSession.Sources().size() > 1)
        {
            pkOutput->Write(fmt::format("{}{}:\n", &kSource == &kSession.Sources().front() ? "" : "\n",
                                        SourceName(kSource.From())));
        }
        for (const TypeReport& kType : Fetch(kSource))
        {
            pkOutput->Write(fmt::format("{} {} {} {} {}\n", kType.nNumber, ShownText(kType.strName),
                                        ShownText(kType.strExtensions), ShownColor(kType.uTypeColor),
                                        ShownColor(kType.uBackgroundColor)));
        }
    }
}

void ShowTypesAsJson(const ReaderSession& kSession, Output* pkOutput)
{
    JsonList kList(pkOutput, "sources");
    for (const ReaderSource& kSource : kSession.Sources())
    {
        nlohmann::ordered_json kTypes = nlohmann::ordered_json::array();
        for (const TypeReport& kType : Fetch(kSource))
        {
            kTypes.push_back({{"number", kType.nNumber},
                              {"name", JsonText(kType.strName)},
                              {"extensions", JsonText(kType.strExtensions)},
                              {"color", ShownColor(kType.uTypeColor)},
                              {"background", ShownColor(kType.uBackgroundColor)}});
        }
        kList.Add({{"from", SourceName(kSource.From())}, {"types", kTypes}});
    }
    kList.End();
}

}  // namespace

int RunTypes(const ReaderOptions& kOptions, Output* pkOutput)
{
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    if (kOptions.bJson)
    {
        ShowTypesAsJson(kSession, pkOutput);
    }
    else
    {
        ShowTypesAsText(kSession, pkOutput);
    }
    return Finish(true, pkOutput);
}

}  // namespace lum
