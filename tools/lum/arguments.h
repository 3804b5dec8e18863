// The command line.
#pragma once

#include <string>
#include <vector>

namespace lum
{

// Reads the arguments behind the program's name, runs the command they name, and gives its exit code.
int RunCommandLine(const std::string& strProgram, std::vector<std::string> vecArguments);

}  // namespace lum
