#include "usage.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "base/text.h"

namespace lum
{

namespace
{

// A word this far from another one may be a slip of it.
constexpr size_t kSlip = 2;

// How many letters have to be put in, taken out or replaced.
size_t Distance(const std::string& strFrom, const std::string& strTo)
{
    std::vector<size_t> vecLast(strTo.size() + 1);
    std::iota(vecLast.begin(), vecLast.end(), size_t{0});
    for (size_t i = 0; i < strFrom.size(); ++i)
    {
        std::vector<size_t> vecNext{i + 1};
        for (size_t j = 0; j < strTo.size(); ++j)
        {
            const size_t uReplaced = vecLast[j] + (strFrom[i] == strTo[j] ? 0 : 1);
            vecNext.push_back(std::min({uReplaced, vecLast[j + 1] + 1, vecNext[j] + 1}));
        }
        vecLast.swap(vecNext);
    }
    return vecLast.back();
}

// "; did you mean 'status'? See" where one of the words is near, otherwise "; see".
std::string Suggestion(const std::string& strWord, const std::vector<std::string>& vecWords)
{
    std::string strNearest;
    size_t uNearest = std::min(kSlip, strWord.size() / 2) + 1;
    for (const std::string& strOne : vecWords)
    {
        const size_t uDistance = Distance(strWord, strOne);
        strNearest = uDistance < uNearest ? strOne : strNearest;
        uNearest = std::min(uNearest, uDistance);
    }
    return strNearest.empty() ? "; see" : fmt::format("; did you mean '{}'? See", strNearest);
}

std::vector<std::string> OptionsOf(const CLI::App& command)
{
    std::vector<std::string> vecNames;
    for (const CLI::Option* pOption : command.get_options())
    {
        for (const std::string& strName : pOption->get_lnames())
        {
            vecNames.push_back("--" + strName);
        }
    }
    return vecNames;
}

// An argument that nothing asked for.
std::string Unexpected(const CLI::App& command, const std::string& strArgument)
{
    const std::string strShown = PrintableText(strArgument);
    if (strArgument.size() < 2 || strArgument[0] != '-')
    {
        return fmt::format("unexpected argument '{}'; see", strShown);
    }
    const std::string strOption = strArgument.substr(0, strArgument.find('='));
    return fmt::format("unknown option '{}'{}", PrintableText(strOption), Suggestion(strOption, OptionsOf(command)));
}

}  // namespace

std::string UnknownCommand(const CLI::App& app, const std::vector<std::string>& vecArguments)
{
    if (vecArguments.empty() || vecArguments[0].starts_with('-'))
    {
        return {};
    }
    std::vector<std::string> vecShown;
    for (const CLI::App* pCommand : app.get_subcommands([](const CLI::App*) { return true; }))
    {
        if (pCommand->get_name() == vecArguments[0])
        {
            return {};
        }
        // A group without a name isn't in the help.
        if (!pCommand->get_group().empty())
        {
            vecShown.push_back(pCommand->get_name());
        }
    }
    return fmt::format("unknown command '{}'{} 'lum --help'", PrintableText(vecArguments[0]),
                       Suggestion(vecArguments[0], vecShown));
}

std::string UsageError(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<CLI::App*> vecCommands = app.get_subcommands();
    const CLI::App& command = vecCommands.empty() ? app : *vecCommands[0];
    const std::string strHelp = vecCommands.empty() ? "lum --help" : fmt::format("lum {} --help", command.get_name());
    const std::vector<std::string> vecExtras = app.remaining(true);
    const std::string strWhat =
        !vecExtras.empty() ? Unexpected(command, vecExtras[0]) : PrintableText(error.what()) + "; see";
    return fmt::format("{} '{}'", strWhat, strHelp);
}

}  // namespace lum
