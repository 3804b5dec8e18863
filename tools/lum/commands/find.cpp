// lum find: the files and folders below a folder that meet all conditions, found in one walk of the library.
#include <fmt/format.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/index_keys.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "platform/vo_native_names.h"
#include "platform/vo_platform.h"
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

// The conditions, in the form in which nodes are compared with them.
struct Filter
{
    std::optional<VOWString> strName;
    std::vector<VOWString> vecExtensions;
    bool bExtensions = false;
    std::optional<uint32_t> uMerge;
    std::optional<std::string> strType;
    VOULONG dwType = 0;
    bool bMatchCase = false;
};

// One walk over one source.
struct Walk
{
    const ReaderSource* pkSource;
    const Filter* pkFilter;
    std::optional<int> nType;
    const std::function<void(const NodeView&)>* pfnFound;
};

bool MakeFilter(const FindOptions& kOptions, Filter* pkFilter, std::string* pstrError)
{
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
        pkFilter->bExtensions = true;
        pkFilter->vecExtensions = SplitAt(VOFromNative(*kOptions.strExtensions), VOTEXT("|"));
        std::erase(pkFilter->vecExtensions, VOWString());
        if (pkFilter->vecExtensions.empty())
        {
            *pstrError = "--ext takes a list of extensions such as png|tga";
            return false;
        }
    }
    pkFilter->uMerge = kOptions.uMerge;
    pkFilter->strType = kOptions.strType;
    pkFilter->bMatchCase = kOptions.bMatchCase;
    const bool bBoth = kOptions.bFiles == kOptions.bFolders;
    pkFilter->dwType = (bBoth || kOptions.bFiles ? static_cast<VOULONG>(Inspector::NT_FILE) : 0) |
                       (bBoth || kOptions.bFolders ? static_cast<VOULONG>(Inspector::NT_FOLDER) : 0);
    return true;
}

bool EqualExtension(const VOWString& strExtension, const Filter& kFilter)
{
    for (const VOWString& strWanted : kFilter.vecExtensions)
    {
        if ((kFilter.bMatchCase ? StrCmpW(strExtension.c_str(), strWanted.c_str())
                                : StrCmpIW(strExtension.c_str(), strWanted.c_str())) == 0)
        {
            return true;
        }
    }
    return false;
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
    const bool bMeets = (kFilter.dwType & dwKind) != 0 &&
                        (!kFilter.uMerge || (kNode.bFolder == 0 && (kNode.uAssetMerge & *kFilter.uMerge) != 0)) &&
                        (!kWalk.nType || kNode.nClassifyType == *kWalk.nType) &&
                        (!kFilter.bExtensions || HasExtension(*kWalk.pkSource, kNode, kFilter));
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
        kInspector.TraverseAssetNode_FileName(uFrom, kFilter.strName->c_str(), kFilter.bMatchCase ? 1 : 0,
                                              kFilter.dwType, 1, &OnNode, pkWalk);
    }
    else if (kFilter.uMerge)
    {
        kInspector.TraverseAssetNode_AssetMerge(uFrom, *kFilter.uMerge, 1, &OnNode, pkWalk);
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

// False when no source has the folder.
bool WalkAll(const FindOptions& kOptions, const ReaderSession& kSession, const Filter& kFilter,
             const std::function<void(const NodeView&)>& fnFound)
{
    bool bStarted = false;
    bool bFile = false;
    bool bTypeKnown = !kFilter.strType.has_value();
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const std::optional<unsigned> uFrom = StartOf(kSource, kOptions.strPath, &bFile);
        Walk kWalk{&kSource, &kFilter, std::nullopt, &fnFound};
        kWalk.nType = kFilter.strType ? TypeOf(kSource, *kFilter.strType) : std::nullopt;
        bTypeKnown = bTypeKnown || kWalk.nType.has_value();
        bStarted = bStarted || uFrom.has_value();
        if (uFrom && (!kFilter.strType || kWalk.nType))
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
        Complain(fmt::format("there is no type \"{}\"", *kFilter.strType));
    }
    return bStarted;
}

bool ShowText(const FindOptions& kOptions, const ReaderSession& kSession, const Filter& kFilter, Output* pkOutput)
{
    const bool bNameSource = kSession.Sources().size() > 1;
    bool bFound = false;
    WalkAll(kOptions, kSession, kFilter,
            [&](const NodeView& kView)
            {
                bFound = true;
                if (kOptions.bNull)
                {
                    pkOutput->Write(VOToNativePath(kView.strPath));
                    pkOutput->Write(std::string_view("\0", 1));
                    return;
                }
                pkOutput->Write(bNameSource ? fmt::format("{}\t", SourceName(kView.eaf)) : "");
                pkOutput->Write(ShownText(kView.strPath) + "\n");
            });
    return bFound;
}

bool ShowJson(const FindOptions& kOptions, const ReaderSession& kSession, const Filter& kFilter, Output* pkOutput)
{
    bool bFound = false;
    JsonList kList(pkOutput, "nodes");
    WalkAll(kOptions, kSession, kFilter,
            [&](const NodeView& kView)
            {
                bFound = true;
                kList.Add(JsonOf(kView));
            });
    kList.End();
    return bFound;
}

}  // namespace

int RunFind(const FindOptions& kOptions, Output* pkOutput)
{
    Filter kFilter;
    std::string strError;
    if (!MakeFilter(kOptions, &kFilter, &strError))
    {
        Complain(strError);
        return kExitError;
    }
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    const bool bFound = kOptions.bJson ? ShowJson(kOptions, kSession, kFilter, pkOutput)
                                       : ShowText(kOptions, kSession, kFilter, pkOutput);
    return Finish(bFound, pkOutput);
}

}  // namespace lum
