// A directory of the test's own in the system's place for temporary files, removed with everything in it at the end.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/vo_process.h"
#include "vo_types.h"

namespace monitortest
{

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        static unsigned s_uCount = 0;
        m_kPath = std::filesystem::temp_directory_path() /
                  ("vobase_filemonitor_" + std::to_string(VOProcessId()) + "_" + std::to_string(s_uCount++));
        std::filesystem::remove_all(m_kPath);
        std::filesystem::create_directories(m_kPath);
    }
    ~TemporaryFolder()
    {
        std::error_code kIgnored;
        std::filesystem::remove_all(m_kPath, kIgnored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_kPath; }
    VOWString Text() const { return m_kPath.string<VOWCHAR>(); }

    // A path below it in the form that events have.
    std::string Shown(const std::string& strRelative) const { return m_kPath.generic_string() + "/" + strRelative; }

    void Write(const std::string& strRelative, const std::string& strContent = "x") const
    {
        std::ofstream(m_kPath / strRelative, std::ios::binary) << strContent;
    }

private:
    std::filesystem::path m_kPath;
};

}  // namespace monitortest
