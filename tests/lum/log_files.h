// The log files that a run of lum left.
#pragma once

#include <algorithm>
#include <fstream>

#include "tests/lum_support/lum_test_support.h"

inline std::vector<std::filesystem::path> LogFilesBelow(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> vecFiles;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
    {
        if (entry.is_regular_file())
        {
            vecFiles.push_back(entry.path());
        }
    }
    return vecFiles;
}

inline std::string AllLogs(const std::filesystem::path& folder)
{
    std::string strText;
    for (const std::filesystem::path& file : LogFilesBelow(folder))
    {
        strText += ReadWholeFile(file);
    }
    std::erase(strText, '\r');
    return strText;
}
