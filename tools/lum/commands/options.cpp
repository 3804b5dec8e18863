// lum options: the public options that a process has published.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/log.h"
#include "base/text.h"
#include "commands/commands.h"
#include "vo_public_option.h"

namespace lum
{

namespace
{

// Knows whether a record was taken: one that is published always has a version.
class ReadOptions : public VOPublicOption
{
public:
    bool HasRecord() const { return m_kOption.szVersion[0] != 0; }

    // A text without its zero ends with its field.
    void Close()
    {
        for (char* const pszLast :
             {&m_kOption.szVersion[11], &m_kOption.szOptionKey[99], &m_kOption.szOptionText1[259],
              &m_kOption.szOptionText2[259], &m_kOption.szOptionText3[259], &m_kOption.szOptionText4[259],
              &m_kOption.szOptionText5[259], &m_kOption.szOptionText6[99]})
        {
            *pszLast = 0;
        }
    }
};

nlohmann::ordered_json JsonOf(ReadOptions* pOptions)
{
    return {{"key", pOptions->GetOptionKey()},       {"text1", pOptions->GetOptionText1()},
            {"text2", pOptions->GetOptionText2()},   {"text3", pOptions->GetOptionText3()},
            {"text4", pOptions->GetOptionText4()},   {"text5", pOptions->GetOptionText5()},
            {"text6", pOptions->GetOptionText6()},   {"value1", pOptions->GetOptionValue1()},
            {"value2", pOptions->GetOptionValue2()}, {"value3", pOptions->GetOptionValue3()},
            {"value4", pOptions->GetOptionValue4()}};
}

std::string TextOf(const nlohmann::ordered_json& options)
{
    std::string strText;
    for (const auto& item : options.items())
    {
        const nlohmann::ordered_json& value = item.value();
        const std::string strValue =
            value.is_string() ? PrintableText(value.get<std::string>()) : fmt::format("{}", value.get<long long>());
        strText += item.key() + (strValue.empty() ? "" : fmt::format("{:{}}{}", "", 8 - item.key().size(), strValue));
        strText += "\n";
    }
    return strText;
}

}  // namespace

int RunOptions(const OptionsOptions& options, Output* pOutput)
{
    ReadOptions record;
    const std::string strKey = options.strKey.value_or("");
    if (strKey.size() >= sizeof(VOPublicOptionRecord::szOptionKey))
    {
        return EndWith(fmt::format("a key has at most {} bytes", sizeof(VOPublicOptionRecord::szOptionKey) - 1));
    }
    WatchLibraryLog();
    record.SetOptionKey(strKey.c_str());
    record.Sync();
    if (!FirstLibraryError().empty())
    {
        return EndWith(strKey.empty()
                           ? "what is published isn't this version of the public options"
                           : "what is published isn't this version of the public options, or has another key");
    }
    if (!record.HasRecord())
    {
        Complain("no options are published; to publish some: lum serve --options FILE");
        return kExitNotFound;
    }
    record.Close();
    const nlohmann::ordered_json parsed = JsonOf(&record);
    pOutput->Write(options.bJson ? parsed.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n"
                                 : TextOf(parsed));
    return pOutput->Finish(kExitFound);
}

}  // namespace lum
