#include "base/files.h"

#include <algorithm>
#include <fstream>
#include <system_error>

#include "base/failure.h"
#include "base/text.h"
#include "platform/vo_text.h"

namespace lum
{

namespace
{

namespace fs = std::filesystem;

constexpr size_t kChunk = 32 * 1024;
constexpr unsigned long long kMaxTextFileSize = 256ull << 20;
constexpr const VOWCHAR* kBlanks = VOTEXT(" \t\r");

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

VOWString RootPath(const std::string& strNative)
{
    if (strNative.empty())
    {
        throw Failure("an empty path was given");
    }
    VOWString strRoot;
    // The conversions between character sets report by exception, as the file system does.
    try
    {
        fs::path path = fs::absolute(ToPath(strNative));
        const bool bParentSteps = std::find(path.begin(), path.end(), "..") != path.end();
        path = bParentSteps ? fs::canonical(path) : path.lexically_normal();
        strRoot = VOFromNative(ToNative(path));
    }
    catch (const std::system_error& failure)
    {
        throw Failure("{}: {}", strNative, failure.code().message());
    }
    std::replace(strRoot.begin(), strRoot.end(), VOWCHAR('\\'), VOWCHAR('/'));
    while (strRoot.size() > 1 && strRoot.back() == '/')
    {
        strRoot.pop_back();
    }
    strRoot += strRoot == VOTEXT("/") ? VOTEXT(".") : VOTEXT("");
    if (strRoot.size() >= MAX_PATH)
    {
        throw Failure("{}: the root path is longer than {} characters", strNative, MAX_PATH - 1);
    }
    return strRoot;
}

std::vector<unsigned char> ReadFile(const std::string& strNative, unsigned long long ullLimit)
{
    std::error_code error;
    const fs::path path = ToPath(strNative);
    if (fs::is_directory(path, error))
    {
        throw Failure("{}: is a directory", strNative);
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        throw Failure("{}: can't be opened for reading", strNative);
    }
    std::vector<unsigned char> vecBytes;
    std::vector<char> vecChunk(kChunk);
    while (stream)
    {
        stream.read(vecChunk.data(), static_cast<std::streamsize>(vecChunk.size()));
        vecBytes.insert(vecBytes.end(), vecChunk.begin(), vecChunk.begin() + stream.gcount());
        if (vecBytes.size() > ullLimit)
        {
            throw Failure("{}: is larger than {} bytes", strNative, ullLimit);
        }
    }
    if (stream.bad())
    {
        throw Failure("{}: can't be read", strNative);
    }
    return vecBytes;
}

void WriteFile(const std::string& strNative, const void* pBytes, size_t uSize)
{
    std::ofstream stream(ToPath(strNative), std::ios::binary | std::ios::trunc);
    if (!stream)
    {
        throw Failure("{}: can't be opened for writing", strNative);
    }
    stream.write(static_cast<const char*>(pBytes), static_cast<std::streamsize>(uSize));
    stream.close();
    if (!stream)
    {
        std::error_code ignored;
        fs::remove(ToPath(strNative), ignored);
        throw Failure("{}: can't be written", strNative);
    }
}

std::vector<TextLine> ReadTextFile(const std::string& strNative)
{
    const std::vector<unsigned char> vecBytes = ReadFile(strNative, kMaxTextFileSize);
    return SplitText(strNative, {reinterpret_cast<const char*>(vecBytes.data()), vecBytes.size()});
}

std::vector<TextLine> SplitText(const std::string& strWhere, std::string_view strText)
{
    std::vector<TextLine> vecLines;
    strText.remove_prefix(strText.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    for (unsigned uNumber = 1; !strText.empty(); ++uNumber)
    {
        const size_t uEnd = std::min(strText.find('\n'), strText.size());
        std::optional<VOWString> strLine = FromUtf8(strText.substr(0, uEnd));
        if (!strLine || strLine->find(VOWCHAR(0)) != VOWString::npos)
        {
            throw Failure("{}:{}: isn't UTF-8 text", strWhere, uNumber);
        }
        strLine->erase(strLine->find_last_not_of(kBlanks) + 1);
        strLine->erase(0, strLine->find_first_not_of(kBlanks));
        if (!strLine->empty() && strLine->front() != '#')
        {
            vecLines.push_back({uNumber, std::move(*strLine)});
        }
        strText.remove_prefix(std::min(uEnd + 1, strText.size()));
    }
    return vecLines;
}

}  // namespace lum
