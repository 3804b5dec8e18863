// From what the user named to an image that can be published.
#pragma once

#include <string>
#include <vector>

#include "publish/publisher.h"
#include "scan/index_entry.h"
#include "scan/type_table.h"

namespace lum
{

// One source as the user named it: directories, an archive, or a list of paths.
struct SourceSpec
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    std::vector<std::string> vecPaths;  // narrow; more than one for the merge sources only
};

struct BuiltSource
{
    SourceImage kImage;
    unsigned uNodes = 0;
    std::vector<NotIndexed> vecNotIndexed;
};

// Scans a source and makes its compressed image. False with a message when it can't be scanned at all.
bool BuildSource(const SourceSpec& kSpec, const std::vector<ClassifyType>& vecTypes, BuiltSource* pkResult,
                 std::string* pstrError);

}  // namespace lum
