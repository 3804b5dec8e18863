#include "publish/source_build.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <memory>

#include "base/console.h"
#include "base/files.h"
#include "base/sources.h"
#include "base/text.h"
#include "scan/archive_list.h"
#include "scan/directory_lister.h"
#include "scan/index_builder.h"
#include "scan/path_list.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

struct Released
{
    void operator()(void* pMemory) const { free(pMemory); }
};
template <typename T>
using Owned = std::unique_ptr<T, Released>;

bool IsMerge(enumAssetFrom eaf)
{
    return eaf == AF_MERGESRC || eaf == AF_MERGETARGET;
}

bool IsDirectory(enumAssetFrom eaf)
{
    return eaf == AF_SOURCE || eaf == AF_TARGET || IsMerge(eaf);
}

VOWString LastPart(const VOWString& strPath)
{
    return strPath.substr(strPath.rfind(VOWCHAR('/')) + 1);
}

// The lister of a source, and the bits of its roots.
std::unique_ptr<FolderLister> MakeLister(enumAssetFrom eaf, const std::string& strFile,
                                         const std::vector<VOWString>& vecRoots, uint32_t* puRoots,
                                         std::vector<NotIndexed>* pvecNotIndexed, std::string* pstrError)
{
    if (IsDirectory(eaf))
    {
        std::unique_ptr<DirectoryLister> pkDirectories = std::make_unique<DirectoryLister>(vecRoots);
        *puRoots = pkDirectories->AllRoots();
        return pkDirectories;
    }
    std::unique_ptr<PathTree> pkTree = std::make_unique<PathTree>();
    const bool bRead = eaf == AF_PAKV4 ? ReadArchive(vecRoots[0], pkTree.get(), pvecNotIndexed, pstrError)
                                       : ReadPathList(strFile, pkTree.get(), pstrError);
    *puRoots = 1;
    return bRead ? std::move(pkTree) : nullptr;
}

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

}  // namespace

bool BuildSource(const SourceSpec& kSpec, const std::vector<ClassifyType>& vecTypes, BuiltSource* pkResult,
                 std::string* pstrError)
{
    std::vector<VOWString> vecRoots;
    if (!RootsOf(kSpec, &vecRoots, pstrError))
    {
        return false;
    }

    IndexBuilder kBuilder(kSpec.eaf, vecRoots[0], LastPart(vecRoots[0]), IsMerge(kSpec.eaf));
    uint32_t uRoots = 0;
    const std::unique_ptr<FolderLister> pkLister =
        MakeLister(kSpec.eaf, kSpec.vecPaths[0], vecRoots, &uRoots, kBuilder.LeftOut(), pstrError);
    Progress kProgress(fmt::format("scanning {}", SourceName(kSpec.eaf)));
    if (pkLister == nullptr || !kBuilder.Build(vecTypes, uRoots, pkLister.get(), &kProgress, pstrError))
    {
        return false;
    }

    const Owned<VOTSAssetNodeContainer::ContainerAlloc> pkImage(kBuilder.MakeImage());
    pkResult->kImage.eaf = kSpec.eaf;
    pkResult->uNodes = kBuilder.NodeCount();
    pkResult->vecNotIndexed = std::move(*kBuilder.LeftOut());
    if (pkImage == nullptr || !Compress(pkImage.get(), &pkResult->kImage.vecBlock))
    {
        *pstrError = fmt::format("{}: the index of {} nodes is too large to be published",
                                 WrittenForm(vecRoots[0], Escape::Controls), pkResult->uNodes);
        return false;
    }
    return true;
}

}  // namespace lum
