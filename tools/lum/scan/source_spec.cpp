#include "scan/source_spec.h"

#include <algorithm>
#include <iterator>

#include "base/failure.h"
#include "base/files.h"
#include "base/sources.h"
#include "scan/archive_list.h"
#include "scan/directory_lister.h"
#include "scan/path_list.h"

using namespace LUMTrayService;

namespace lum
{

bool IsMergeSource(enumAssetFrom eaf)
{
    return eaf == AF_MERGESRC || eaf == AF_MERGETARGET;
}

bool IsDirectorySource(enumAssetFrom eaf)
{
    return eaf == AF_SOURCE || eaf == AF_TARGET || IsMergeSource(eaf);
}

std::vector<VOWString> RootsOf(const SourceSpec& spec)
{
    if (spec.vecPaths.size() > kMaxRoots)
    {
        throw Failure("{}: {} directories are more than the {} that a merge sign has bits for", SourceName(spec.eaf),
                      spec.vecPaths.size(), kMaxRoots);
    }
    std::vector<VOWString> vecRoots;
    std::transform(spec.vecPaths.begin(), spec.vecPaths.end(), std::back_inserter(vecRoots), &RootPath);
    return vecRoots;
}

std::unique_ptr<FolderLister> MakeLister(const SourceSpec& spec, const std::vector<VOWString>& vecRoots,
                                         std::vector<NotIndexed>* pvecNotIndexed)
{
    if (IsDirectorySource(spec.eaf))
    {
        return std::make_unique<DirectoryLister>(vecRoots);
    }
    return spec.eaf == AF_PAKV4 ? ReadArchive(vecRoots[0], pvecNotIndexed) : ReadPathList(spec.vecPaths[0]);
}

}  // namespace lum
