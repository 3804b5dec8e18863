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

std::string ShownName(const NodeView& kView)
{
    return ShownText(kView.strName) + (kView.kNode.bFolder != 0 ? "/" : "");
}

std::string LongLine(const NodeView& kView)
{
    const structAssetNode& kNode = kView.kNode;
    return fmt::format("{}{}{} {:>14} {} {:<10} {}", kNode.bFolder != 0 ? 'd' : '-',
                       (kNode.nFileAttribute & kFileAttributeReadOnly) != 0 ? 'r' : 'w',
                       (kNode.nFileAttribute & kFileAttributeHidden) != 0 ? 'h' : '-', kNode.ullFileSize,
                       LocalTime(kNode.ftLastWriteTime), kView.strTypeName.empty() ? "-" : ShownText(kView.strTypeName),
                       ShownName(kView));
}

std::string Details(const NodeView& kView)
{
    const structAssetNode& kNode = kView.kNode;
    std::string strResult;
    const auto addLine = [&](const char* pszLabel, const std::string& strValue)
    { strResult += fmt::format("{:<12}{}\n", fmt::format("{}:", pszLabel), strValue); };

    addLine("path", kView.strPath.empty() ? "(root)" : ShownText(kView.strPath));
    addLine("from", std::string(SourceName(kView.eaf)));
    addLine("absolute", ShownText(kView.strAbsolute));
    addLine("kind", kNode.bFolder != 0 ? "folder" : "file");
    addLine("size", fmt::format("{}", kNode.ullFileSize));
    addLine("attributes", ShownAttributes(kNode.nFileAttribute));
    addLine("created", LocalTime(kNode.ftCreateTime));
    addLine("accessed", LocalTime(kNode.ftLastAccessTime));
    addLine("written", LocalTime(kNode.ftLastWriteTime));
    addLine("type",
            kNode.nClassifyType < 0 ? "none" : fmt::format("{} {}", kNode.nClassifyType, ShownText(kView.strTypeName)));
    addLine("merge", fmt::format("{:#x}", kNode.uAssetMerge));
    addLine("id", fmt::format("{}", kNode.nAssetID));
    addLine("parent", ShownId(kNode.nParentID));
    return strResult;
}

}  // namespace lum
