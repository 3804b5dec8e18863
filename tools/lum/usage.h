// What lum says to a command line that it doesn't understand.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace lum
{

// Why the first word that should be a command is none; empty when it is one, or there is no such word.
std::string UnknownCommand(const CLI::App& app, const std::vector<std::string>& vecArguments);

// The sentence of a command line that was refused: what is wrong with it, and whose help tells more.
std::string UsageError(const CLI::App& app, const CLI::ParseError& error);

}  // namespace lum
