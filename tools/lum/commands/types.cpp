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

std::string TextOf(const TypeReport& type)
{
    return fmt::format("{} {} {} {} {}\n", type.nNumber, ShownText(type.strName), ShownText(type.strExtensions),
                       ShownColor(type.uTypeColor), ShownColor(type.uBackgroundColor));
}

nlohmann::ordered_json JsonOf(const TypeReport& type)
{
    return {{"number", type.nNumber},
            {"name", JsonText(type.strName)},
            {"extensions", JsonText(type.strExtensions)},
            {"color", ShownColor(type.uTypeColor)},
            {"background", ShownColor(type.uBackgroundColor)}};
}

}  // namespace

int RunTypes(const ReaderOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    ResultList list(pOutput, "sources", options.bJson);
    for (const ReaderSource& source : session.Sources())
    {
        std::string strText;
        if (session.Sources().size() > 1)
        {
            strText = fmt::format("{}{}:\n", list.IsFirst() ? "" : "\n", SourceName(source.From()));
        }
        nlohmann::ordered_json types = nlohmann::ordered_json::array();
        for (const TypeReport& type : Fetch(source))
        {
            strText += TextOf(type);
            types.push_back(JsonOf(type));
        }
        list.Add([&] { return strText; },
                 [&] {
                     return nlohmann::ordered_json{{"from", SourceName(source.From())}, {"types", types}};
                 });
    }
    list.End();
    return Finish(true, pOutput);
}

}  // namespace lum
