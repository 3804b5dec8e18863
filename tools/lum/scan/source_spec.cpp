#include "scan/source_spec.h"

#include <fmt/format.h>

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

bool RootsOf(const SourceSpec& spec, std::vector<VOWString>* pvecRoots, std::string* pstrError)
{
    if (spec.vecPaths.size() > kMaxRoots)
    {
        *pstrError = fmt::format("{}: {} directories are more than the {} that a merge sign has bits for",
                                 SourceName(spec.eaf), spec.vecPaths.size(), kMaxRoots);
        return false;
    }
    for (const std::string& strPath : spec.vecPaths)
    {
        VOWString strRoot;
        if (!RootPath(strPath, &strRoot, pstrError))
        {
            return false;
        }
        pvecRoots->push_back(strRoot);
    }
    return true;
}

std::unique_ptr<FolderLister> MakeLister(const SourceSpec& spec, const std::vector<VOWString>& vecRoots,
                                         std::vector<NotIndexed>* pvecNotIndexed, std::string* pstrError)
{
    if (IsDirectorySource(spec.eaf))
    {
        return std::make_unique<DirectoryLister>(vecRoots);
    }
    std::unique_ptr<PathTree> pTree = std::make_unique<PathTree>();
    const bool bRead = spec.eaf == AF_PAKV4 ? ReadArchive(vecRoots[0], pTree.get(), pvecNotIndexed, pstrError)
                                            : ReadPathList(spec.vecPaths[0], pTree.get(), pstrError);
    return bRead ? std::move(pTree) : nullptr;
}

}  // namespace lum
