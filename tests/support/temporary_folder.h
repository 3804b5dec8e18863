// A folder of the test's own in the system's place for temporary files, removed with everything in it at the end.
#pragma once

#include <filesystem>
#include <string>

#include "platform/vo_process.h"
#include "vo_types.h"

namespace votest
{
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        // A process before, of the same number, may have left one behind that can't be removed.
        static unsigned s_uNumber = 0;
        do
        {
            m_path = std::filesystem::temp_directory_path() /
                     ("vobase_test_" + std::to_string(VOProcessId()) + "_" + std::to_string(++s_uNumber));
        } while (!std::filesystem::create_directory(m_path));
    }
    ~TemporaryFolder()
    {
        // What can't be reached, because its path is too long for the system, is left.
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
        if (error)
        {
            // A read-only file can't be removed on every system, nor what lies in a folder that can't be entered.
            std::filesystem::recursive_directory_iterator iterEntry(m_path, error);
            for (; !error && iterEntry != std::filesystem::recursive_directory_iterator(); iterEntry.increment(error))
            {
                std::error_code ignored;
                std::filesystem::permissions(iterEntry->path(), std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::add, ignored);
            }
            std::filesystem::remove_all(m_path, error);
        }
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    VOWString Text() const { return m_path.string<VOWCHAR>(); }

private:
    std::filesystem::path m_path;
};
}  // namespace votest
