// Rendering for programs. All text is UTF-8; what isn't valid text is escaped as base/text.h tells. Times are seconds
// since 1970 UTC.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "reader/node_view.h"

namespace lum
{

class Output;

std::string JsonText(const VOWString& strText);

nlohmann::ordered_json JsonOf(const NodeView& view);

// One JSON document of the form {"name": [element, ...]}, written while its elements come in.
class JsonList
{
public:
    JsonList(Output* pOutput, const std::string& strName);

    void Add(const nlohmann::ordered_json& element);

    // Writes what ends the document.
    void End();

private:
    Output* m_pOutput;
    bool m_bFirst = true;
};

}  // namespace lum
