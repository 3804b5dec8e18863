#include "base/sources.h"

#include <fmt/format.h>

#include "base/console.h"

#include <array>

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
    for (const enumAssetFrom eaf : AllSources())
    {
        if (kNames[eaf] == strName)
        {
            return eaf;
        }
    }
    return std::nullopt;
}

std::vector<std::string> SourceNames()
{
    std::vector<std::string> vecResult;
    for (const enumAssetFrom eaf : AllSources())
    {
        vecResult.emplace_back(kNames[eaf]);
    }
    return vecResult;
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
