// The sources of an index, as they are called on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tray_service_types.h"

namespace lum
{

// "source", "target", "pak", ...; "none" for AF_ERROR and what is no source.
std::string_view SourceName(LUMTrayService::enumAssetFrom eaf);

std::optional<LUMTrayService::enumAssetFrom> SourceByName(std::string_view strName);

// All names, in the order of the sources.
std::vector<std::string> SourceNames();

// All sources, in their order.
std::vector<LUMTrayService::enumAssetFrom> AllSources();

// One line on standard error that is about a source (see base/console.h).
void Complain(LUMTrayService::enumAssetFrom eaf, std::string_view strText);

}  // namespace lum
