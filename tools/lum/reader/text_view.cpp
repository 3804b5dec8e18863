#include "reader/text_view.h"

#include <fmt/format.h>

#include "base/sources.h"
#include "base/text.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

std::string ShownAttributes(unsigned uAttribute)
{
    const std::pair<unsigned, const char*> akNames[] = {{kFileAttributeReadOnly, "read-only"},
                                                        {kFileAttributeWritable, "writable"},
                                                        {kFileAttributeHidden, "hidden"},
                                                        {kFileAttributeLocal, "local"}};
    std::string strResult = fmt::format("{:#04x}", uAttribute);
    for (const auto& [uBit, pszName] : akNames)
    {
        strResult += (uAttribute & uBit) != 0 ? fmt::format(" {}", pszName) : "";
    }
    return strResult;
}

std::string ShownId(unsigned uId)
{
    return uId == static_cast<UINT>(-1) ? "none" : fmt::format("{}", uId);
}

}  // namespace

std::string ShownText(const VOWString& strText)
{
    return WrittenForm(strText, Escape::Controls);
}

std::string ShownName(const NodeView& view)
{
    return ShownText(view.strName) + (view.node.bFolder != 0 ? "/" : "");
}

std::string LongLine(const NodeView& view)
{
    const structAssetNode& node = view.node;
    return fmt::format("{}{}{} {:>14} {} {:<10} {}", node.bFolder != 0 ? 'd' : '-',
                       (node.nFileAttribute & kFileAttributeReadOnly) != 0 ? 'r' : 'w',
                       (node.nFileAttribute & kFileAttributeHidden) != 0 ? 'h' : '-', node.ullFileSize,
                       LocalTime(node.ftLastWriteTime), view.strTypeName.empty() ? "-" : ShownText(view.strTypeName),
                       ShownName(view));
}

std::string Details(const NodeView& view)
{
    const structAssetNode& node = view.node;
    std::string strResult;
    const auto addLine = [&](const char* pszLabel, const std::string& strValue)
    { strResult += fmt::format("{:<12}{}\n", fmt::format("{}:", pszLabel), strValue); };

    addLine("path", view.strPath.empty() ? "(root)" : ShownText(view.strPath));
    addLine("from", std::string(SourceName(view.eaf)));
    addLine("absolute", ShownText(view.strAbsolute));
    addLine("kind", node.bFolder != 0 ? "folder" : "file");
    addLine("size", fmt::format("{}", node.ullFileSize));
    addLine("attributes", ShownAttributes(node.nFileAttribute));
    addLine("created", LocalTime(node.ftCreateTime));
    addLine("accessed", LocalTime(node.ftLastAccessTime));
    addLine("written", LocalTime(node.ftLastWriteTime));
    addLine("type",
            node.nClassifyType < 0 ? "none" : fmt::format("{} {}", node.nClassifyType, ShownText(view.strTypeName)));
    addLine("merge", fmt::format("{:#x}", node.uAssetMerge));
    addLine("id", fmt::format("{}", node.nAssetID));
    addLine("parent", ShownId(node.nParentID));
    return strResult;
}

}  // namespace lum
