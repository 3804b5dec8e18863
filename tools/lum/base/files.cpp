#include "base/files.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <system_error>

#include "base/text.h"
#include "platform/vo_text.h"

namespace lum
{

namespace
{

namespace fs = std::filesystem;

constexpr unsigned long long kMaxFileSize = 0xFFFFFFFFull;
constexpr size_t kChunk = 32 * 1024;
constexpr unsigned long long kMaxTextFileSize = 256ull << 20;

constexpr const VOWCHAR* kBlanks = VOTEXT(" \t\r");

// Reads at most ullLimit bytes; one byte more is an error.
bool ReadBytes(const std::string& strNative, unsigned long long ullLimit, std::vector<unsigned char>* pvecBytes,
               std::string* pstrError)
{
    std::error_code error;
    const fs::path path = ToPath(strNative);
    std::ifstream stream;
    if (fs::is_directory(path, error))
    {
        *pstrError = fmt::format("{}: is a directory", strNative);
        return false;
    }
    stream.open(path, std::ios::binary);
    if (!stream)
    {
        *pstrError = fmt::format("{}: can't be opened for reading", strNative);
        return false;
    }
    pvecBytes->clear();
    std::vector<char> vecChunk(kChunk);
    while (stream)
    {
        stream.read(vecChunk.data(), static_cast<std::streamsize>(vecChunk.size()));
        if (pvecBytes->size() + static_cast<size_t>(stream.gcount()) > ullLimit)
        {
            *pstrError = fmt::format("{}: is larger than {} bytes", strNative, ullLimit);
            return false;
        }
        pvecBytes->insert(pvecBytes->end(), vecChunk.begin(), vecChunk.begin() + stream.gcount());
    }
    if (stream.bad())
    {
        *pstrError = fmt::format("{}: can't be read", strNative);
        return false;
    }
    return true;
}

bool ParseLine(const std::string& strWhere, std::string_view strLine, unsigned uNumber,
               std::vector<TextLine>* pvecLines, std::string* pstrError)
{
    std::optional<VOWString> strText = FromUtf8(strLine);
    if (!strText || strText->find(VOWCHAR(0)) != VOWString::npos)
    {
        *pstrError = fmt::format("{}:{}: isn't UTF-8 text", strWhere, uNumber);
        return false;
    }
    strText->erase(strText->find_last_not_of(kBlanks) + 1);
    strText->erase(0, strText->find_first_not_of(kBlanks));
    if (!strText->empty() && strText->front() != '#')
    {
        pvecLines->push_back({uNumber, *strText});
    }
    return true;
}

}  // namespace

fs::path ToPath(std::string_view strNative)
{
    return fs::path(std::u8string(strNative.begin(), strNative.end()));
}

std::string ToNative(const fs::path& path)
{
    const std::u8string strPath = path.u8string();
    return std::string(strPath.begin(), strPath.end());
}

bool AbsolutePath(const std::string& strNative, VOWString* pstrResult, std::string* pstrError)
{
    // The conversions between character sets report by exception.
    try
    {
        fs::path path = fs::absolute(ToPath(strNative));
        const bool bParentSteps = std::find(path.begin(), path.end(), "..") != path.end();
        path = bParentSteps ? fs::canonical(path) : path.lexically_normal();
        VOWString strResult = VOFromNative(ToNative(path));
        std::replace(strResult.begin(), strResult.end(), VOWCHAR('\\'), VOWCHAR('/'));
        while (strResult.size() > 1 && strResult.back() == '/')
        {
            strResult.pop_back();
        }
        *pstrResult = strResult;
        return true;
    }
    catch (const std::system_error& failure)
    {
        *pstrError = fmt::format("{}: {}", strNative, failure.code().message());
        return false;
    }
}

bool RootPath(const std::string& strNative, VOWString* pstrResult, std::string* pstrError)
{
    if (strNative.empty())
    {
        *pstrError = "an empty path was given";
        return false;
    }
    if (!AbsolutePath(strNative, pstrResult, pstrError))
    {
        return false;
    }
    if (*pstrResult == VOTEXT("/"))
    {
        *pstrResult = VOTEXT("/.");
    }
    if (pstrResult->size() >= MAX_PATH)
    {
        *pstrError = fmt::format("{}: the root path is longer than {} characters", strNative, MAX_PATH - 1);
        return false;
    }
    return true;
}

bool ReadFile(const std::string& strNative, std::vector<unsigned char>* pvecBytes, std::string* pstrError)
{
    return ReadBytes(strNative, kMaxFileSize, pvecBytes, pstrError);
}

bool WriteFile(const std::string& strNative, const void* pBytes, size_t uSize, std::string* pstrError)
{
    std::ofstream stream(ToPath(strNative), std::ios::binary | std::ios::trunc);
    if (!stream)
    {
        *pstrError = fmt::format("{}: can't be opened for writing", strNative);
        return false;
    }
    stream.write(static_cast<const char*>(pBytes), static_cast<std::streamsize>(uSize));
    stream.close();
    if (!stream)
    {
        std::error_code ignored;
        fs::remove(ToPath(strNative), ignored);
        *pstrError = fmt::format("{}: can't be written", strNative);
        return false;
    }
    return true;
}

bool ReadTextFile(const std::string& strNative, std::vector<TextLine>* pvecLines, std::string* pstrError)
{
    std::vector<unsigned char> vecBytes;
    if (!ReadBytes(strNative, kMaxTextFileSize, &vecBytes, pstrError))
    {
        return false;
    }
    const std::string_view strText(reinterpret_cast<const char*>(vecBytes.data()), vecBytes.size());
    return SplitText(strNative, strText, pvecLines, pstrError);
}

bool SplitText(const std::string& strWhere, std::string_view strText, std::vector<TextLine>* pvecLines,
               std::string* pstrError)
{
    std::string_view strRest = strText;
    if (strRest.starts_with("\xEF\xBB\xBF"))
    {
        strRest.remove_prefix(3);
    }
    pvecLines->clear();
    for (unsigned uNumber = 1; !strRest.empty(); ++uNumber)
    {
        const size_t uEnd = std::min(strRest.find('\n'), strRest.size());
        if (!ParseLine(strWhere, strRest.substr(0, uEnd), uNumber, pvecLines, pstrError))
        {
            return false;
        }
        strRest.remove_prefix(std::min(uEnd + 1, strRest.size()));
    }
    return true;
}

}  // namespace lum
