// The log files that a run of lum left.
#pragma once

#include <algorithm>
#include <fstream>

#include "tests/lum_support/lum_test_support.h"

inline std::vector<std::filesystem::path> LogFilesBelow(const std::filesystem::path& kFolder)
{
    std::vector<std::filesystem::path> vecFiles;
    std::error_code kError;
    for (const auto& kEntry : std::filesystem::recursive_directory_iterator(kFolder, kError))
    {
        if (kEntry.is_regular_file())
        {
            vecFiles.push_back(kEntry.path());
        }
    }
    return vecFiles;
}

inline std::string AllLogs(const std::filesystem::path& kFolder)
{
    std::string strText;
    for (const std::filesystem::path& kFile : LogFilesBelow(kFolder))
    {
        strText += ReadWholeFile(kFile);
    }
    std::erase(strText, '\r');
    return strText;
}
