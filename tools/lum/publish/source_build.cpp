#include "publish/source_build.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <memory>

#include "base/console.h"
#include "base/files.h"
#include "base/sources.h"
#include "base/text.h"
#include "platform/vo_owners.h"
#include "scan/archive_list.h"
#include "scan/directory_lister.h"
#include "scan/path_list.h"
#include "scan/source_index.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

template <typename T>
using Owned = std::unique_ptr<T, VOFreeBlock>;

bool Compress(VOTSAssetNodeContainer::ContainerAlloc* pkImage, std::vector<unsigned char>* pvecBlock)
{
    unsigned char* pbBlock = nullptr;
    unsigned uSize = 0;
    const unsigned uImageSize = pkImage->uDataBufSize + static_cast<unsigned>(sizeof(*pkImage));
    if (uImageSize < pkImage->uDataBufSize ||
        VOCompressBuffer_lzo1x(&pbBlock, &uSize, reinterpret_cast<unsigned char*>(pkImage), uImageSize) == 0)
    {
        return false;
    }
    const Owned<unsigned char> pOwner(pbBlock);
    pvecBlock->assign(pbBlock, pbBlock + uSize);
    return true;
}

}  // namespace

bool IsMergeSource(enumAssetFrom eaf)
{
    return eaf == AF_MERGESRC || eaf == AF_MERGETARGET;
}

bool IsDirectorySource(enumAssetFrom eaf)
{
    return eaf == AF_SOURCE || eaf == AF_TARGET || IsMergeSource(eaf);
}

bool RootsOf(const SourceSpec& kSpec, std::vector<VOWString>* pvecRoots, std::string* pstrError)
{
    if (kSpec.vecPaths.size() > kMaxRoots)
    {
        *pstrError = fmt::format("{}: {} directories are more than the {} that a merge sign has bits for",
                                 SourceName(kSpec.eaf), kSpec.vecPaths.size(), kMaxRoots);
        return false;
    }
    for (const std::string& strPath : kSpec.vecPaths)
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

std::unique_ptr<FolderLister> MakeLister(const SourceSpec& kSpec, const std::vector<VOWString>& vecRoots,
                                         uint32_t* puRoots, std::vector<NotIndexed>* pvecNotIndexed,
                                         std::string* pstrError)
{
    if (IsDirectorySource(kSpec.eaf))
    {
        std::unique_ptr<DirectoryLister> pkDirectories = std::make_unique<DirectoryLister>(vecRoots);
        *puRoots = pkDirectories->AllRoots();
        return pkDirectories;
    }
    std::unique_ptr<PathTree> pkTree = std::make_unique<PathTree>();
    const bool bRead = kSpec.eaf == AF_PAKV4 ? ReadArchive(vecRoots[0], pkTree.get(), pvecNotIndexed, pstrError)
                                             : ReadPathList(kSpec.vecPaths[0], pkTree.get(), pstrError);
    *puRoots = 1;
    return bRead ? std::move(pkTree) : nullptr;
}

bool MakeSourceImage(enumAssetFrom eaf, const VOWString& strRoot, SourceIndex* pkIndex, SourceImage* pkImage,
                     std::string* pstrError)
{
    const Owned<VOTSAssetNodeContainer::ContainerAlloc> pkAlloc(pkIndex->MakeImage());
    pkImage->eaf = eaf;
    if (pkAlloc == nullptr || !Compress(pkAlloc.get(), &pkImage->vecBlock))
    {
        *pstrError = fmt::format("{}: the index of {} nodes is too large to be published",
                                 WrittenForm(strRoot, Escape::Controls), pkIndex->NodeCount());
        return false;
    }
    return true;
}

}  // namespace lum
