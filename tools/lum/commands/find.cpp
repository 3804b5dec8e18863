// lum find: the files and folders below a folder that meet all conditions, found in one walk of the library.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

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
    const FindOptions& options;
    std::optional<VOWString> strName;
    std::vector<VOWString> vecExtensions;
    VOULONG dwType = 0;
};

// One walk over one source.
struct Walk
{
    const ReaderSource* pSource;
    const Filter* pFilter;
    std::optional<int> nType;
    const std::function<void(const NodeView&)>* pfnFound;
};

bool MakeFilter(Filter* pFilter, std::string* pstrError)
{
    const FindOptions& options = pFilter->options;
    if (options.strName)
    {
        pFilter->strName = VOFromNative(*options.strName);
        if (pFilter->strName->empty() || pFilter->strName->size() > kMaxNameFilter)
        {
            *pstrError =
                fmt::format("--name takes 1 to {} characters, not {}", kMaxNameFilter, pFilter->strName->size());
            return false;
        }
    }
    if (options.strExtensions)
    {
        pFilter->vecExtensions = SplitAt(VOFromNative(*options.strExtensions), VOTEXT("|"));
        std::erase(pFilter->vecExtensions, VOWString());
        if (pFilter->vecExtensions.empty())
        {
            *pstrError = "--ext takes a list of extensions such as png|tga";
            return false;
        }
    }
    const bool bBoth = options.bFiles == options.bFolders;
    pFilter->dwType = (bBoth || options.bFiles ? static_cast<VOULONG>(Inspector::NT_FILE) : 0) |
                      (bBoth || options.bFolders ? static_cast<VOULONG>(Inspector::NT_FOLDER) : 0);
    return true;
}

bool EqualExtension(const VOWString& strExtension, const Filter& filter)
{
    return std::any_of(filter.vecExtensions.begin(), filter.vecExtensions.end(),
                       [&](const VOWString& strWanted)
                       {
                           return (filter.options.bMatchCase ? StrCmpW(strExtension.c_str(), strWanted.c_str())
                                                             : StrCmpIW(strExtension.c_str(), strWanted.c_str())) == 0;
                       });
}

// The whole extension counts, and so does the part behind its last dot, as for the types.
bool HasExtension(const ReaderSource& source, const structAssetNode& node, const Filter& filter)
{
    const VOWString strExtension = node.bFolder != 0 ? VOWString() : source.TextOf(node.hStrExtension);
    return !strExtension.empty() &&
           (EqualExtension(strExtension, filter) || EqualExtension(LastExtension(strExtension), filter));
}

int OnNode(const structAssetNode& node, void* pvWalk, int& /*bStop*/)
{
    const Walk& walk = *static_cast<const Walk*>(pvWalk);
    const Filter& filter = *walk.pFilter;
    const VOULONG dwKind = static_cast<VOULONG>(node.bFolder != 0 ? Inspector::NT_FOLDER : Inspector::NT_FILE);
    const bool bMeets =
        (filter.dwType & dwKind) != 0 &&
        (!filter.options.uMerge || (node.bFolder == 0 && (node.uAssetMerge & *filter.options.uMerge) != 0)) &&
        (!walk.nType || node.nClassifyType == *walk.nType) &&
        (!filter.options.strExtensions || HasExtension(*walk.pSource, node, filter));
    if (bMeets)
    {
        (*walk.pfnFound)(ViewOf(*walk.pSource, node));
    }
    return 1;
}

// The number of the type that the filter names; none when this source has no such type.
std::optional<int> TypeOf(const ReaderSource& source, const std::string& strType)
{
    int nType = 0;
    const std::optional<uint32_t> uNumber = ParseNumber(strType);
    if (uNumber && *uNumber <= 0x7FFFFFFF)
    {
        return static_cast<int>(*uNumber);
    }
    const VOWString strName = VOFromNative(strType);
    return !strName.empty() && source.Inspector().GetClassifyTypeByName(strName.c_str(), nType) != 0
               ? std::optional<int>(nType)
               : std::nullopt;
}

// The library's walk that leaves the least to OnNode.
void WalkSource(const ReaderSource& source, unsigned uFrom, const Filter& filter, Walk* pWalk)
{
    const VOTSFileMappingInspector& inspector = source.Inspector();
    if (filter.strName)
    {
        inspector.TraverseAssetNode_FileName(uFrom, filter.strName->c_str(), filter.options.bMatchCase ? 1 : 0,
                                             filter.dwType, 1, &OnNode, pWalk);
    }
    else if (filter.options.uMerge)
    {
        inspector.TraverseAssetNode_AssetMerge(uFrom, *filter.options.uMerge, 1, &OnNode, pWalk);
    }
    else
    {
        inspector.TraverseAssetNode(uFrom, filter.dwType, 1, &OnNode, pWalk);
    }
}

// Where the walk of a source starts; none when the source doesn't have the folder.
std::optional<unsigned> StartOf(const ReaderSource& source, const std::string& strPath, bool* pbFile)
{
    const std::optional<structAssetNode> node = source.FindArgument(strPath);
    *pbFile = *pbFile || (node && node->bFolder == 0);
    return node && node->bFolder != 0 ? std::optional<unsigned>(node->nAssetID) : std::nullopt;
}

void WalkAll(const ReaderSession& session, const Filter& filter, const std::function<void(const NodeView&)>& fnFound)
{
    const FindOptions& options = filter.options;
    bool bStarted = false;
    bool bFile = false;
    bool bTypeKnown = !options.strType.has_value();
    for (const ReaderSource& source : session.Sources())
    {
        const std::optional<unsigned> uFrom = StartOf(source, options.strPath, &bFile);
        Walk walk{&source, &filter, std::nullopt, &fnFound};
        walk.nType = options.strType ? TypeOf(source, *options.strType) : std::nullopt;
        bTypeKnown = bTypeKnown || walk.nType.has_value();
        bStarted = bStarted || uFrom.has_value();
        if (uFrom && (!options.strType || walk.nType))
        {
            WalkSource(source, *uFrom, filter, &walk);
        }
    }
    if (!bStarted)
    {
        Complain(fmt::format("{}: {}", options.strPath, bFile ? "is a file, not a folder" : "not in the index"));
    }
    if (!bTypeKnown)
    {
        Complain(fmt::format("there is no type \"{}\"", *options.strType));
    }
}

std::string TextOf(const NodeView& view, bool bNull, bool bNameSource)
{
    return bNull ? VOToNativePath(view.strPath) + '\0'
                 : (bNameSource ? fmt::format("{}\t", SourceName(view.eaf)) : "") + ShownText(view.strPath) + "\n";
}

}  // namespace

int RunFind(const FindOptions& options, Output* pOutput)
{
    Filter filter{options, {}, {}, 0};
    std::string strError;
    if (!MakeFilter(&filter, &strError))
    {
        return EndWith(strError);
    }
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    ResultList list(pOutput, "nodes", options.bJson);
    WalkAll(session, filter,
            [&](const NodeView& view) {
                list.Add([&] { return TextOf(view, options.bNull, session.Sources().size() > 1); },
                         [&] { return JsonOf(view); });
            });
    list.End();
    return Finish(!list.IsFirst(), pOutput);
}

}  // namespace lum
