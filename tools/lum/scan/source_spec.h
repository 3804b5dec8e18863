// What the user named as a source, and what lists it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "scan/index_entry.h"
#include "tray_service_types.h"

namespace lum
{

// One source as the user named it: directories, an archive, or a list of paths.
struct SourceSpec
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    std::vector<std::string> vecPaths;  // narrow; more than one for the merge sources only
};

bool IsMergeSource(LUMTrayService::enumAssetFrom eaf);
bool IsDirectorySource(LUMTrayService::enumAssetFrom eaf);

// The root paths under which a source's index knows what the user named. False with a message.
bool RootsOf(const SourceSpec& spec, std::vector<VOWString>* pvecRoots, std::string* pstrError);

// The lister of a source, a DirectoryLister for directories. Null with a message when what it lists from can't be read.
std::unique_ptr<FolderLister> MakeLister(const SourceSpec& spec, const std::vector<VOWString>& vecRoots,
                                         std::vector<NotIndexed>* pvecNotIndexed, std::string* pstrError);

}  // namespace lum
