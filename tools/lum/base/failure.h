// What can't be done.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>

namespace lum
{

// Ends a command with this sentence on standard error, unless somebody knows better.
class Failure : public std::runtime_error
{
public:
    template <typename... Values>
    explicit Failure(fmt::format_string<const Values&...> strSentence, const Values&... values)
        : std::runtime_error(fmt::format(strSentence, values...))
    {
    }
};

// What was asked for isn't published, which may be an answer as well.
class NotPublished : public Failure
{
public:
    using Failure::Failure;
};

// Does something of which a Failure says no more than what is wrong: strWhere is put in front of it.
template <typename Body>
auto FailingAt(const std::string& strWhere, const Body& body)
{
    try
    {
        return body();
    }
    catch (const Failure& wrong)
    {
        throw Failure("{}: {}", strWhere, wrong.what());
    }
}

}  // namespace lum
