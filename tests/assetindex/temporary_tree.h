// A directory of the test's own in the system's place for temporary files, removed with everything in it at the end.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "assetindex/asset_test_tools.h"
#include "platform/vo_process.h"

namespace assettest
{

class TemporaryTree
{
public:
    TemporaryTree()
    {
        static unsigned int s_uCount = 0;
        m_kRoot = std::filesystem::temp_directory_path() /
                  ("vobase_assetindex_" + std::to_string(VOProcessId()) + "_" + std::to_string(s_uCount++));
        std::filesystem::remove_all(m_kRoot);
        std::filesystem::create_directories(m_kRoot);
    }
    ~TemporaryTree()
    {
        // Read-only files can't be removed on every system.
        std::error_code kIgnored;
        for (const auto& rkEntry : std::filesystem::recursive_directory_iterator(m_kRoot, kIgnored))
        {
            std::filesystem::permissions(rkEntry.path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, kIgnored);
        }
        std::filesystem::remove_all(m_kRoot, kIgnored);
    }
    TemporaryTree(const TemporaryTree&) = delete;
    TemporaryTree& operator=(const TemporaryTree&) = delete;

    std::filesystem::path At(const std::string& strRelative) const { return m_kRoot / strRelative; }

    // The root as a container takes it.
    VOWString Root() const { return Wide(m_kRoot.generic_string()); }
    VOWString Path(const std::string& strRelative) const { return Root() + VOTEXT('/') + Wide(strRelative); }

    void MakeFolder(const std::string& strRelative) const { std::filesystem::create_directories(At(strRelative)); }

    // A file of so many bytes, last written at a time in seconds since 1970.
    void MakeFile(const std::string& strRelative, size_t uSize, long long llWritten = 1000000000) const
    {
        std::filesystem::create_directories(At(strRelative).parent_path());
        std::ofstream(At(strRelative), std::ios::binary) << std::string(uSize, 'x');
        SetWritten(strRelative, llWritten);
    }

    void SetWritten(const std::string& strRelative, long long llWritten) const
    {
        const std::chrono::sys_seconds kTime{std::chrono::seconds(llWritten)};
        std::filesystem::last_write_time(At(strRelative), std::chrono::file_clock::from_sys(kTime));
    }

    void MakeReadOnly(const std::string& strRelative) const
    {
        std::filesystem::permissions(At(strRelative),
                                     std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                                         std::filesystem::perms::others_write,
                                     std::filesystem::perm_options::remove);
    }

private:
    std::filesystem::path m_kRoot;
};

}  // namespace assettest
