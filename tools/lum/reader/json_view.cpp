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

nlohmann::ordered_json JsonOf(const NodeView& kView)
{
    const structAssetNode& kNode = kView.kNode;
    nlohmann::ordered_json kJson;
    kJson["from"] = SourceName(kView.eaf);
    kJson["path"] = JsonText(kView.strPath);
    kJson["name"] = JsonText(kView.strName);
    kJson["absolute"] = JsonText(kView.strAbsolute);
    kJson["folder"] = kNode.bFolder != 0;
    kJson["size"] = kNode.ullFileSize;
    kJson["created"] = kNode.ftCreateTime;
    kJson["accessed"] = kNode.ftLastAccessTime;
    kJson["written"] = kNode.ftLastWriteTime;
    kJson["attributes"] = kNode.nFileAttribute;
    kJson["type"] = kNode.nClassifyType < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(kNode.nClassifyType);
    kJson["type_name"] =
        kView.strTypeName.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(JsonText(kView.strTypeName));
    kJson["merge"] = kNode.uAssetMerge;
    kJson["id"] = kNode.nAssetID;
    kJson["parent"] =
        kNode.nParentID == static_cast<UINT>(-1) ? nlohmann::ordered_json() : nlohmann::ordered_json(kNode.nParentID);
    return kJson;
}

JsonList::JsonList(Output* pkOutput, const std::string& strName) : m_pkOutput(pkOutput)
{
    m_pkOutput->Write("{" + nlohmann::json(strName).dump() + ": [");
}

void JsonList::Add(const nlohmann::ordered_json& kElement)
{
    m_pkOutput->Write(m_bFirst ? "\n" : ",\n");
    m_pkOutput->Write(kElement.dump());
    m_bFirst = false;
}

void JsonList::End()
{
    m_pkOutput->Write("\n]}\n");
}

}  // namespace lum
