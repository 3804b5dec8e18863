// Files and folders with stated sizes and times, in a temporary folder.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "assetindex/asset_test_tools.h"
#include "tests/support/temporary_folder.h"

namespace assettest
{

class TemporaryTree
{
public:
    std::filesystem::path At(const std::string& strRelative) const { return m_folder.Path() / strRelative; }

    // The root as a container takes it.
    VOWString Root() const { return Wide(m_folder.Path().generic_string()); }
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
        const std::chrono::sys_seconds time{std::chrono::seconds(llWritten)};
        std::filesystem::last_write_time(At(strRelative), std::chrono::file_clock::from_sys(time));
    }

    void MakeReadOnly(const std::string& strRelative) const
    {
        std::filesystem::permissions(At(strRelative),
                                     std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                                         std::filesystem::perms::others_write,
                                     std::filesystem::perm_options::remove);
    }

private:
    votest::TemporaryFolder m_folder;
};

}  // namespace assettest
