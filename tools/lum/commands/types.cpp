// lum types: the classify table of each source.
#include <fmt/format.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

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
std::vector<TypeReport> Fetch(const ReaderSource& source)
{
    VOTSAssetNodeContainer container;
    if (source.Inspector().ReConstructContainer(&container) == 0)
    {
        return {};
    }
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, VOFreeBlock> pImage(container.GetAlloc());
    if (pImage == nullptr)
    {
        return {};
    }
    Findings findings;
    const ByteView image(reinterpret_cast<const unsigned char*>(pImage.get()),
                         uint64_t{pImage->uDataBufSize} + sizeof(*pImage));
    std::vector<TypeReport> vecTypes = TypesOf(ReadLayout(image, &findings), &findings);
    std::stable_sort(vecTypes.begin(), vecTypes.end(),
                     [](const TypeReport& left, const TypeReport& right) { return left.nNumber < right.nNumber; });
    return vecTypes;
}

std::string ShownColor(uint32_t uColor)
{
    return fmt::format("#{:06x}", uColor & 0xFFFFFF);
}

void ShowTypesAsText(const ReaderSession& session, Output* pOutput)
{
    for (const ReaderSource& source : session.Sources())
    {
        if (session.Sources().size() > 1)
        {
            pOutput->Write(
                fmt::format("{}{}:\n", &source == &session.Sources().front() ? "" : "\n", SourceName(source.From())));
        }
        for (const TypeReport& type : Fetch(source))
        {
            pOutput->Write(fmt::format("{} {} {} {} {}\n", type.nNumber, ShownText(type.strName),
                                       ShownText(type.strExtensions), ShownColor(type.uTypeColor),
                                       ShownColor(type.uBackgroundColor)));
        }
    }
}

void ShowTypesAsJson(const ReaderSession& session, Output* pOutput)
{
    JsonList list(pOutput, "sources");
    for (const ReaderSource& source : session.Sources())
    {
        nlohmann::ordered_json types = nlohmann::ordered_json::array();
        for (const TypeReport& type : Fetch(source))
        {
            types.push_back({{"number", type.nNumber},
                             {"name", JsonText(type.strName)},
                             {"extensions", JsonText(type.strExtensions)},
                             {"color", ShownColor(type.uTypeColor)},
                             {"background", ShownColor(type.uBackgroundColor)}});
        }
        list.Add({{"from", SourceName(source.From())}, {"types", types}});
    }
    list.End();
}

}  // namespace

int RunTypes(const ReaderOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    if (options.bJson)
    {
        ShowTypesAsJson(session, pOutput);
    }
    else
    {
        ShowTypesAsText(session, pOutput);
    }
    return Finish(true, pOutput);
}

}  // namespace lum
