#include <fstream>

#include "tests/platform/platform_test_support.h"

TemporaryFolder::TemporaryFolder()
{
    static int s_nNumber = 0;
    m_path = std::filesystem::temp_directory_path() /
             ("vobase_platform_" + std::to_string(VOProcessId()) + "_" + std::to_string(++s_nNumber));
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
}

std::filesystem::path TemporaryFolder::WriteFile(std::string_view strName, size_t uBytes) const
{
    const std::filesystem::path path = m_path / strName;
    std::ofstream file(path, std::ios::binary);
    file << std::string(uBytes, 'x');
    return path;
}
