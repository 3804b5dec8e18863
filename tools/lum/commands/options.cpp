// lum options: the public options that a process has published.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/library_log.h"
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

nlohmann::ordered_json JsonOf(ReadOptions* pkOptions)
{
    return {{"key", pkOptions->GetOptionKey()},       {"text1", pkOptions->GetOptionText1()},
            {"text2", pkOptions->GetOptionText2()},   {"text3", pkOptions->GetOptionText3()},
            {"text4", pkOptions->GetOptionText4()},   {"text5", pkOptions->GetOptionText5()},
            {"text6", pkOptions->GetOptionText6()},   {"value1", pkOptions->GetOptionValue1()},
            {"value2", pkOptions->GetOptionValue2()}, {"value3", pkOptions->GetOptionValue3()},
            {"value4", pkOptions->GetOptionValue4()}};
}

std::string TextOf(const nlohmann::ordered_json& kOptions)
{
    std::string strText;
    for (const auto& kItem : kOptions.items())
    {
        const nlohmann::ordered_json& kValue = kItem.value();
        const std::string strValue =
            kValue.is_string() ? PrintableText(kValue.get<std::string>()) : fmt::format("{}", kValue.get<long long>());
        strText += kItem.key() + (strValue.empty() ? "" : fmt::format("{:{}}{}", "", 8 - kItem.key().size(), strValue));
        strText += "\n";
    }
    return strText;
}

}  // namespace

int RunOptions(const OptionsOptions& kOptions, Output* pkOutput)
{
    ReadOptions kRecord;
    const std::string strKey = kOptions.strKey.value_or("");
    if (strKey.size() >= sizeof(VOPublicOptionRecord::szOptionKey))
    {
        Complain(fmt::format("a key has at most {} bytes", sizeof(VOPublicOptionRecord::szOptionKey) - 1));
        return kExitError;
    }
    WatchLibraryLog();
    kRecord.SetOptionKey(strKey.c_str());
    kRecord.Sync();
    if (!FirstLibraryError().empty())
    {
        Complain(strKey.empty() ? "what is published isn't this version of the public options"
                                : "what is published isn't this version of the public options, or has another key");
        return kExitError;
    }
    if (!kRecord.HasRecord())
    {
        Complain("no options are published; to publish some: lum serve --options FILE");
        return kExitNotFound;
    }
    kRecord.Close();
    const nlohmann::ordered_json kJson = JsonOf(&kRecord);
    pkOutput->Write(kOptions.bJson ? kJson.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n"
                                   : TextOf(kJson));
    return pkOutput->Finish(kExitFound);
}

}  // namespace lum
