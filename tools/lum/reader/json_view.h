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

// The result of a command, element by element as they come in: as text, or as one JSON document of the form
// {"name": [element, ...]}.
class ResultList
{
public:
    ResultList(Output* pOutput, const char* pszName, bool bJson);

    // Each of the two is a function that makes the element in its form.
    template <typename MakeText, typename MakeJson>
    void Add(const MakeText& makeText, const MakeJson& makeJson)
    {
        _Write(m_bJson ? (m_bFirst ? "\n" : ",\n") + _Dump(makeJson()) : std::string(makeText()));
    }

    // Nothing has been added yet.
    bool IsFirst() const { return m_bFirst; }

    // Writes what ends the document.
    void End();

private:
    static std::string _Dump(const nlohmann::ordered_json& element);
    void _Write(const std::string& strElement);

    Output* m_pOutput;
    bool m_bJson;
    bool m_bFirst = true;
};

}  // namespace lum
