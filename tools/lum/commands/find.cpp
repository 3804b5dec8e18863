// lum find: the files and folders below a folder that meet all conditions, found in one walk of the library.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/index_keys.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "platform/vo_platform.h"
#include "platform/vo_text.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// The library's limit for the text of a name filter.
constexpr size_t kMaxNameFilter = 99;

// The conditions, in the form in which nodes are compared with them where that isn't the one of the options.
struct Filter
{
    const FindOptions& kOptions;
    std::optional<VOWString> strName;
    std::vector<VOWString> vecExtensions;
    VOULONG dwType = 0;
};

// One walk over one source.
struct Walk
{
    const ReaderSource* pkSource;
    const Filter* pkFilter;
    std::optional<int> nType;
    const std::function<void(const NodeView&)>* pfnFound;
};

bool MakeFilter(Filter* pkFilter, std::string* pstrError)
{
    const FindOptions& kOptions = pkFilter->kOptions;
    if (kOptions.strName)
    {
        pkFilter->strName = VOFromNative(*kOptions.strName);
        if (pkFilter->strName->empty() || pkFilter->strName->size() > kMaxNameFilter)
        {
            *pstrError =
                fmt::format("--name takes 1 to {} characters, not {}", kMaxNameFilter, pkFilter->strName->size());
            return false;
        }
    }
    if (kOptions.strExtensions)
    {
        pkFilter->vecExtensions = SplitAt(VOFromNative(*kOptions.strExtensions), VOTEXT("|"));
        std::erase(pkFilter->vecExtensions, VOWString());
        if (pkFilter->vecExtensions.empty())
        {
            *pstrError = "--ext takes a list of extensions such as png|tga";
            return false;
        }
    }
    const bool bBoth = kOptions.bFiles == kOptions.bFolders;
    pkFilter->dwType = (bBoth || kOptions.bFiles ? static_cast<VOULONG>(Inspector::NT_FILE) : 0) |
                       (bBoth || kOptions.bFolders ? static_cast<VOULONG>(Inspector::NT_FOLDER) : 0);
    return true;
}

bool EqualExtension(const VOWString& strExtension, const Filter& kFilter)
{
    return std::any_of(kFilter.vecExtensions.begin(), kFilter.vecExtensions.end(),
                       [&](const VOWString& strWanted)
                       {
                           return (kFilter.kOptions.bMatchCase
                                       ? StrCmpW(strExtension.c_str(), strWanted.c_str())
                                       : StrCmpIW(strExtension.c_str(), strWanted.c_str())) == 0;
                       });
}

// The whole extension counts, and so does the part behind its last dot, as for the types.
bool HasExtension(const ReaderSource& kSource, const structAssetNode& kNode, const Filter& kFilter)
{
    const VOWString strExtension = kNode.bFolder != 0 ? VOWString() : kSource.TextOf(kNode.hStrExtension);
    return !strExtension.empty() &&
           (EqualExtension(strExtension, kFilter) || EqualExtension(LastExtension(strExtension), kFilter));
}

int OnNode(const structAssetNode& kNode, void* pvWalk, int& /*bStop*/)
{
    const Walk& kWalk = *static_cast<const Walk*>(pvWalk);
    const Filter& kFilter = *kWalk.pkFilter;
    const VOULONG dwKind = static_cast<VOULONG>(kNode.bFolder != 0 ? Inspector::NT_FOLDER : Inspector::NT_FILE);
    const bool bMeets =
        (kFilter.dwType & dwKind) != 0 &&
        (!kFilter.kOptions.uMerge || (kNode.bFolder == 0 && (kNode.uAssetMerge & *kFilter.kOptions.uMerge) != 0)) &&
        (!kWalk.nType || kNode.nClassifyType == *kWalk.nType) &&
        (!kFilter.kOptions.strExtensions || HasExtension(*kWalk.pkSource, kNode, kFilter));
    if (bMeets)
    {
        (*kWalk.pfnFound)(ViewOf(*kWalk.pkSource, kNode));
    }
    return 1;
}

// The number of the type that the filter names; none when this source has no such type.
std::optional<int> TypeOf(const ReaderSource& kSource, const std::string& strType)
{
    int nType = 0;
    const std::optional<uint32_t> uNumber = ParseNumber(strType);
    if (uNumber && *uNumber <= 0x7FFFFFFF)
    {
        return static_cast<int>(*uNumber);
    }
    const VOWString strName = VOFromNative(strType);
    return !strName.empty() && kSource.Inspector().GetClassifyTypeByName(strName.c_str(), nType) != 0
               ? std::optional<int>(nType)
               : std::nullopt;
}

// The library's walk that leaves the least to OnNode.
void WalkSource(const ReaderSource& kSource, unsigned uFrom, const Filter& kFilter, Walk* pkWalk)
{
    const VOTSFileMappingInspector& kInspector = kSource.Inspector();
    if (kFilter.strName)
    {
        kInspector.TraverseAssetNode_FileName(uFrom, kFilter.strName->c_str(), kFilter.kOptions.bMatchCase ? 1 : 0,
                                              kFilter.dwType, 1, &OnNode, pkWalk);
    }
    else if (kFilter.kOptions.uMerge)
    {
        kInspector.TraverseAssetNode_AssetMerge(uFrom, *kFilter.kOptions.uMerge, 1, &OnNode, pkWalk);
    }
    else
    {
        kInspector.TraverseAssetNode(uFrom, kFilter.dwType, 1, &OnNode, pkWalk);
    }
}

// Where the walk of a source starts; none when the source doesn't have the folder.
std::optional<unsigned> StartOf(const ReaderSource& kSource, const std::string& strPath, bool* pbFile)
{
    const std::optional<structAssetNode> kNode = kSource.FindArgument(strPath);
    *pbFile = *pbFile || (kNode && kNode->bFolder == 0);
    return kNode && kNode->bFolder != 0 ? std::optional<unsigned>(kNode->nAssetID) : std::nullopt;
}

void WalkAll(const ReaderSession& kSession, const Filter& kFilter, const std::function<void(const NodeView&)>& fnFound)
{
    const FindOptions& kOptions = kFilter.kOptions;
    bool bStarted = false;
    bool bFile = false;
    bool bTypeKnown = !kOptions.strType.has_value();
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const std::optional<unsigned> uFrom = StartOf(kSource, kOptions.strPath, &bFile);
        Walk kWalk{&kSource, &kFilter, std::nullopt, &fnFound};
        kWalk.nType = kOptions.strType ? TypeOf(kSource, *kOptions.strType) : std::nullopt;
        bTypeKnown = bTypeKnown || kWalk.nType.has_value();
        bStarted = bStarted || uFrom.has_value();
        if (uFrom && (!kOptions.strType || kWalk.nType))
        {
            WalkSource(kSource, *uFrom, kFilter, &kWalk);
        }
    }
    if (!bStarted)
    {
        Complain(fmt::format("{}: {}", kOptions.strPath, bFile ? "is a file, not a folder" : "not in the index"));
    }
    if (!bTypeKnown)
    {
        Complain(fmt::format("there is no type \"{}\"", *kOptions.strType));
    }
}

void ShowText(const NodeView& kView, bool bNull, bool bNameSource, Output* pkOutput)
{
    if (bNull)
    {
        pkOutput->Write(VOToNativePath(kView.strPath));
        pkOutput->Write(std::string_view("\0", 1));
        return;
    }
    pkOutput->Write(bNameSource ? fmt::format("{}\t", SourceName(kView.eaf)) : "");
    pkOutput->Write(ShownText(kView.strPath) + "\n");
}

}  // namespace

int RunFind(const FindOptions& kOptions, Output* pkOutput)
{
    Filter kFilter{kOptions, {}, {}, 0};
    std::string strError;
    if (!MakeFilter(&kFilter, &strError))
    {
        Complain(strError);
        return kExitError;
    }
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    bool bFound = false;
    std::optional<JsonList> kList;
    if (kOptions.bJson)
    {
        kList.emplace(pkOutput, "nodes");
    }
    WalkAll(kSession, kFilter,
            [&](const NodeView& kView)
            {
                bFound = true;
                if (kList)
                {
                    kList->Add(JsonOf(kView));
                }
                else
                {
                    ShowText(kView, kOptions.bNull, kSession.Sources().size() > 1, pkOutput);
                }
            });
    if (kList)
    {
        kList->End();
    }
    return Finish(bFound, pkOutput);
}

}  // namespace lum
