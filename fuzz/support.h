// What the fuzz targets share.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <memory>
#include <string>

#include "internal/vo_bytes.h"
#include "platform/vo_process.h"
#include "vo_types.h"

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
    FuzzFile(const char* pszName, const void* pvBytes, size_t uSize) : m_strPath(Folder() + pszName)
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
    // Asked for once: the system's answer takes longer than a small file.
    static const std::string& Folder()
    {
        static const std::string s_strFolder =
            (std::filesystem::temp_directory_path() / ("vobase_fuzz_" + std::to_string(VOProcessId()) + "_"))
                .generic_string();
        return s_strFolder;
    }

    std::string m_strPath;
};

// Input that is taken piece by piece. Behind its end it is all zeros.
class FuzzBytes
{
public:
    FuzzBytes(const uint8_t* pbData, size_t uSize) : m_pbData(pbData), m_uSize(uSize) {}

    bool Empty() const { return m_uSize == 0; }
    const uint8_t* Data() const { return m_pbData; }
    size_t Size() const { return m_uSize; }

    uint8_t Byte() { return Take(1).Get<uint8_t>(); }
    uint32_t Word() { return Take(sizeof(uint32_t)).Get<uint32_t>(); }

    // The next bytes, as far as there are any, as input of their own.
    FuzzBytes Take(size_t uSize)
    {
        const FuzzBytes part(m_pbData, uSize < m_uSize ? uSize : m_uSize);
        m_pbData += part.m_uSize;
        m_uSize -= part.m_uSize;
        return part;
    }

    // Steps for a changing target: a byte says how many bytes of them there are.
    FuzzBytes TakeSteps() { return Take(Byte() % 64); }

private:
    template <typename T>
    T Get() const
    {
        T value = 0;
        if (m_uSize != 0)
        {
            memcpy(&value, m_pbData, m_uSize < sizeof(T) ? m_uSize : sizeof(T));
        }
        return value;
    }

    const uint8_t* m_pbData;
    size_t m_uSize;
};

// An image that the library made.
template <typename Alloc>
using FuzzImage = std::unique_ptr<Alloc, decltype(&free)>;

// How many bytes it has: a head and a tail lie around those that its size word counts.
template <typename Alloc>
size_t FuzzImageSize(const FuzzImage<Alloc>& image)
{
    return image->uDataBufSize + sizeof(Alloc);
}

// A text at any alignment; empty for an empty pointer.
inline VOWString FuzzText(const VOWCHAR* pszText)
{
    VOWString strResult;
    const unsigned char* pbAt = reinterpret_cast<const unsigned char*>(pszText);
    for (VOWCHAR ch = 0; pbAt != nullptr && (ch = VOLoad<VOWCHAR>(pbAt)) != 0; pbAt += sizeof(VOWCHAR))
    {
        strResult.push_back(ch);
    }
    return strResult;
}

// The number of characters of a result in a buffer of uSize, which has to end inside it.
inline size_t FuzzLength(const VOWCHAR* pszResult, size_t uSize)
{
    size_t uLength = 0;
    while (uLength < uSize && pszResult[uLength] != 0)
    {
        ++uLength;
    }
    FUZZ_REQUIRE(uLength < uSize);
    return uLength;
}

inline void* FuzzHandle(uint64_t ullValue)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(ullValue));
}
