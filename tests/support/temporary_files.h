// A folder of the test's own for files that are written, read and compared as bytes. Its paths are narrow, with "/".
#pragma once

#include <stdio.h>

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"

namespace votest
{
class TemporaryFiles
{
public:
    std::string Path(const std::string& strName) const { return (Folder() / strName).generic_string(); }
    const std::filesystem::path& Folder() const { return m_folder.Path(); }

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
    TemporaryFolder m_folder;
};
}  // namespace votest
