#include "reader/json_view.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/sources.h"
#include "base/text.h"

using namespace LUMTrayService;

namespace lum
{

std::string JsonText(const VOWString& strText)
{
    return WrittenForm(strText, Escape::NamesOnly);
}

nlohmann::ordered_json JsonOf(const NodeView& view)
{
    const structAssetNode& node = view.node;
    const auto orNull = [](bool bThere, auto value)
    { return bThere ? nlohmann::ordered_json(value) : nlohmann::ordered_json(); };
    return {{"from", SourceName(view.eaf)},
            {"path", JsonText(view.strPath)},
            {"name", JsonText(view.strName)},
            {"absolute", JsonText(view.strAbsolute)},
            {"folder", node.bFolder != 0},
            {"size", node.ullFileSize},
            {"created", node.ftCreateTime},
            {"accessed", node.ftLastAccessTime},
            {"written", node.ftLastWriteTime},
            {"attributes", node.nFileAttribute},
            {"type", orNull(node.nClassifyType >= 0, node.nClassifyType)},
            {"type_name", orNull(!view.strTypeName.empty(), JsonText(view.strTypeName))},
            {"merge", node.uAssetMerge},
            {"id", node.nAssetID},
            {"parent", orNull(node.nParentID != static_cast<UINT>(-1), node.nParentID)}};
}

ResultList::ResultList(Output* pOutput, const char* pszName, bool bJson) : m_pOutput(pOutput), m_bJson(bJson)
{
    m_pOutput->Write(bJson ? fmt::format("{{\"{}\": [", pszName) : "");
}

std::string ResultList::_Dump(const nlohmann::ordered_json& element)
{
    return element.dump();
}

void ResultList::_Write(const std::string& strElement)
{
    m_pOutput->Write(strElement);
    m_bFirst = false;
}

void ResultList::End()
{
    m_pOutput->Write(m_bJson ? "\n]}\n" : "");
}

}  // namespace lum
