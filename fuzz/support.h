// What the fuzz targets share.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "platform/vo_process.h"

// Ends the process when an invariant is broken.
#define FUZZ_REQUIRE(condition)                                                     \
    do                                                                              \
    {                                                                               \
        if (!(condition))                                                           \
        {                                                                           \
            fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition); \
            abort();                                                                \
        }                                                                           \
    } while (0)

// A file of this process, written anew for each input.
class FuzzFile
{
public:
    FuzzFile(const char* pszName, const void* pvBytes, size_t uSize)
        : m_strPath((std::filesystem::temp_directory_path() /
                     ("vobase_fuzz_" + std::to_string(VOProcessId()) + "_" + pszName))
                        .generic_string())
    {
        FILE* const pFile = fopen(m_strPath.c_str(), "wb");
        FUZZ_REQUIRE(pFile != nullptr);
        FUZZ_REQUIRE(fwrite(pvBytes, 1, uSize, pFile) == uSize);
        fclose(pFile);
    }
    ~FuzzFile() { remove(m_strPath.c_str()); }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    const char* Path() const { return m_strPath.c_str(); }

private:
    std::string m_strPath;
};
