// A folder of the test's own for files that are written, read and compared as bytes. Its paths are narrow, with "/".
#pragma once

#include <stdio.h>

#include <filesystem>
#include <string>

#include "platform/vo_process.h"

namespace votest
{
class TemporaryFiles
{
public:
    TemporaryFiles()
    {
        static int s_nNumber = 0;
        m_path = std::filesystem::temp_directory_path() /
                 ("vobase_files_" + std::to_string(VOProcessId()) + "_" + std::to_string(++s_nNumber));
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~TemporaryFiles()
    {
        // What can't be reached, because its path is too long for the system, is left.
        std::error_code error;
        std::filesystem::recursive_directory_iterator iterEntry(m_path, error);
        for (; !error && iterEntry != std::filesystem::recursive_directory_iterator(); iterEntry.increment(error))
        {
            std::error_code ignored;
            std::filesystem::permissions(iterEntry->path(), std::filesystem::perms::owner_write,
                                         std::filesystem::perm_options::add, ignored);
        }
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFiles(const TemporaryFiles&) = delete;
    TemporaryFiles& operator=(const TemporaryFiles&) = delete;

    std::string Path(const std::string& strName) const { return (m_path / strName).generic_string(); }
    const std::filesystem::path& Folder() const { return m_path; }

    // Writes a file and gives its path.
    std::string Write(const std::string& strName, const std::string& strBytes) const
    {
        const std::string strPath = Path(strName);
        FILE* const pFile = fopen(strPath.c_str(), "wb");
        if (pFile != nullptr)
        {
            fwrite(strBytes.data(), 1, strBytes.size(), pFile);
            fclose(pFile);
        }
        return strPath;
    }

    // The bytes of a file; "(no file)" without one.
    static std::string Read(const std::string& strPath)
    {
        FILE* const pFile = fopen(strPath.c_str(), "rb");
        if (pFile == nullptr)
        {
            return "(no file)";
        }
        std::string strBytes;
        char achBuffer[4096];
        for (size_t uRead; (uRead = fread(achBuffer, 1, sizeof(achBuffer), pFile)) > 0;)
        {
            strBytes.append(achBuffer, uRead);
        }
        fclose(pFile);
        return strBytes;
    }

    static void MakeReadOnly(const std::string& strPath)
    {
        using std::filesystem::perms;
        std::filesystem::permissions(strPath, perms::owner_write | perms::group_write | perms::others_write,
                                     std::filesystem::perm_options::remove);
    }

    static bool IsReadOnly(const std::string& strPath)
    {
        return (std::filesystem::status(strPath).permissions() & std::filesystem::perms::owner_write) ==
               std::filesystem::perms::none;
    }

private:
    std::filesystem::path m_path;
};
}  // namespace votest
