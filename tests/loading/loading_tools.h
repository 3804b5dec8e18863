// Programs that load the library while they run.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "gtest/gtest.h"
#include "support/temporary_files.h"

namespace loadingtest
{
inline std::string Native(const std::string& strPath)
{
    return std::filesystem::path(strPath).make_preferred().string();
}

// Runs a command whose standard output isn't wanted. What it says on standard error is seen with the test.
inline int RunCommand(const std::string& strCommand)
{
    const votest::TemporaryFiles files;
    const std::string strFull = strCommand + " > " + Native(files.Path("output"));
    return system(strFull.c_str());
}

inline int RunHost(const std::string& strArguments)
{
    return RunCommand(Native(LOADING_HOST) + " " + strArguments);
}
}  // namespace loadingtest
