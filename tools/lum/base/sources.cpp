#include "base/sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "base/console.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr std::array<std::string_view, ASSETTYPE_COUNT> kNames = {
    "none",        "source",          "target",          "pak",          "http-source",
    "http-target", "http-pkg-source", "http-pkg-target", "merge-source", "merge-target"};

}  // namespace

std::string_view SourceName(enumAssetFrom eaf)
{
    return kNames[eaf < ASSETTYPE_COUNT ? eaf : AF_ERROR];
}

std::optional<enumAssetFrom> SourceByName(std::string_view strName)
{
    const auto itName = std::find(kNames.begin() + AF_SOURCE, kNames.end(), strName);
    return itName == kNames.end() ? std::nullopt : std::optional(static_cast<enumAssetFrom>(itName - kNames.begin()));
}

std::vector<std::string> SourceNames()
{
    return {kNames.begin() + AF_SOURCE, kNames.end()};
}

std::vector<enumAssetFrom> AllSources()
{
    std::vector<enumAssetFrom> vecResult;
    for (unsigned i = AF_SOURCE; i < ASSETTYPE_COUNT; ++i)
    {
        vecResult.push_back(static_cast<enumAssetFrom>(i));
    }
    return vecResult;
}

void Complain(enumAssetFrom eaf, std::string_view strText)
{
    Complain(fmt::format("{}: {}", SourceName(eaf), strText));
}

}  // namespace lum
