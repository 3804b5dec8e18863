#include <fstream>

#include "tests/platform/platform_test_support.h"

std::filesystem::path TemporaryFolder::WriteFile(std::string_view strName, size_t uBytes) const
{
    const std::filesystem::path path = Path() / strName;
    std::ofstream file(path, std::ios::binary);
    file << std::string(uBytes, 'x');
    return path;
}
