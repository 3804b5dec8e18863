#include "reader/json_view.h"

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
    nlohmann::ordered_json parsed;
    parsed["from"] = SourceName(view.eaf);
    parsed["path"] = JsonText(view.strPath);
    parsed["name"] = JsonText(view.strName);
    parsed["absolute"] = JsonText(view.strAbsolute);
    parsed["folder"] = node.bFolder != 0;
    parsed["size"] = node.ullFileSize;
    parsed["created"] = node.ftCreateTime;
    parsed["accessed"] = node.ftLastAccessTime;
    parsed["written"] = node.ftLastWriteTime;
    parsed["attributes"] = node.nFileAttribute;
    parsed["type"] = node.nClassifyType < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(node.nClassifyType);
    parsed["type_name"] =
        view.strTypeName.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(JsonText(view.strTypeName));
    parsed["merge"] = node.uAssetMerge;
    parsed["id"] = node.nAssetID;
    parsed["parent"] =
        node.nParentID == static_cast<UINT>(-1) ? nlohmann::ordered_json() : nlohmann::ordered_json(node.nParentID);
    return parsed;
}

JsonList::JsonList(Output* pOutput, const std::string& strName) : m_pOutput(pOutput)
{
    m_pOutput->Write("{" + nlohmann::json(strName).dump() + ": [");
}

void JsonList::Add(const nlohmann::ordered_json& element)
{
    m_pOutput->Write(m_bFirst ? "\n" : ",\n");
    m_pOutput->Write(element.dump());
    m_bFirst = false;
}

void JsonList::End()
{
    m_pOutput->Write("\n]}\n");
}

}  // namespace lum
