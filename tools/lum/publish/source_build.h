// From what the user named to an image that can be published.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "publish/publisher.h"
#include "scan/source_index.h"
#include "scan/type_table.h"

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
bool RootsOf(const SourceSpec& kSpec, std::vector<VOWString>* pvecRoots, std::string* pstrError);

// The lister of a source, a DirectoryLister for directories, and the bits of its roots. Null with a message when what
// it lists from can't be read.
std::unique_ptr<FolderLister> MakeLister(const SourceSpec& kSpec, const std::vector<VOWString>& vecRoots,
                                         uint32_t* puRoots, std::vector<NotIndexed>* pvecNotIndexed,
                                         std::string* pstrError);

// The compressed image of an index. False with a message when it doesn't fit one.
bool MakeSourceImage(LUMTrayService::enumAssetFrom eaf, const VOWString& strRoot, SourceIndex* pkIndex,
                     SourceImage* pkImage, std::string* pstrError);

}  // namespace lum
