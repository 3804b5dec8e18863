#include "base/text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <charconv>
#include <iterator>

#include "platform/vo_text.h"

namespace lum
{

namespace
{

constexpr VOWCHAR kCarriedByteBase = 0xDC00;

bool IsBackslash(VOWCHAR ch)
{
    return ch == '\\' || ch == kCarriedBackslash;
}

void AppendCharacter(std::string& strTo, uint32_t uCode, Escape eEscape)
{
    if (uCode == '\\' || uCode == kCarriedBackslash)
    {
        strTo += "\\\\";
    }
    else if (uCode >= 0xDC80 && uCode <= 0xDCFF)
    {
        fmt::format_to(std::back_inserter(strTo), "\\x{:02x}", uCode - kCarriedByteBase);
    }
    else if (VOIsSurrogate(uCode) || (eEscape == Escape::Controls && uCode >= 0x80 && uCode < 0xA0))
    {
        fmt::format_to(std::back_inserter(strTo), "\\u{:04x}", uCode);
    }
    else if (eEscape == Escape::Controls && (uCode < 0x20 || uCode == 0x7F))
    {
        fmt::format_to(std::back_inserter(strTo), "\\x{:02x}", uCode);
    }
    else
    {
        VOAppendUtf8(strTo, uCode);
    }
}

// The value of uDigits hexadecimal digits at uAt.
std::optional<unsigned> HexAt(const VOWString& strText, size_t uAt, size_t uDigits)
{
    // What isn't ASCII is no digit, and doesn't become one by being cut.
    std::string strDigits;
    for (const VOWCHAR ch : strText.substr(uAt, uDigits))
    {
        strDigits += ch < 0x80 ? static_cast<char>(ch) : '?';
    }
    unsigned uValue = 0;
    const char* const pszEnd = strDigits.data() + strDigits.size();
    const bool bWhole = std::from_chars(strDigits.data(), pszEnd, uValue, 16).ptr == pszEnd;
    return bWhole && strDigits.size() == uDigits ? std::optional(uValue) : std::nullopt;
}

// Less than a day apart, so that the day of the year says which one is ahead, except over a turn of the year.
int MinutesBetween(const tm& later, const tm& earlier)
{
    const int nDays =
        later.tm_year != earlier.tm_year ? (later.tm_year > earlier.tm_year ? 1 : -1) : later.tm_yday - earlier.tm_yday;
    return (nDays * 24 + later.tm_hour - earlier.tm_hour) * 60 + later.tm_min - earlier.tm_min;
}

}  // namespace

std::string WrittenForm(const VOWString& strText, Escape eEscape)
{
    std::string strResult;
    strResult.reserve(strText.size());
    for (size_t uAt = 0; uAt < strText.size();)
    {
        AppendCharacter(strResult, VODecodeUtf16(strText, &uAt), eEscape);
    }
    return strResult;
}

std::string PrintableText(std::string_view strText)
{
    const bool bValid = FromUtf8(strText).has_value();
    std::string strResult;
    for (size_t i = 0; i < strText.size(); ++i)
    {
        const unsigned uByte = static_cast<unsigned char>(strText[i]);
        const unsigned uNext = i + 1 < strText.size() ? static_cast<unsigned char>(strText[i + 1]) : 0;
        if (bValid && uByte == 0xC2 && uNext < 0xA0)
        {
            strResult += fmt::format("\\u{:04x}", uNext);
            ++i;
        }
        else if (uByte < 0x20 || uByte == 0x7F || (uByte >= 0x80 && !bValid))
        {
            strResult += fmt::format("\\x{:02x}", uByte);
        }
        else
        {
            strResult += strText[i];
        }
    }
    return strResult;
}

std::optional<VOWString> FromWrittenForm(const VOWString& strWritten)
{
    VOWString strResult;
    bool bEscaped = false;
    for (size_t i = 0; i < strWritten.size(); ++i)
    {
        if (!IsBackslash(strWritten[i]))
        {
            strResult += strWritten[i];
            continue;
        }
        const VOWCHAR chKind = ++i < strWritten.size() ? strWritten[i] : VOWCHAR(0);
        if (IsBackslash(chKind))
        {
            strResult += kCarriedBackslash;
        }
        else if (chKind == 'x' || chKind == 'u')
        {
            const size_t uDigits = chKind == 'x' ? 2 : 4;
            const std::optional<unsigned> uValue = HexAt(strWritten, i + 1, uDigits);
            if (!uValue)
            {
                return std::nullopt;
            }
            const bool bByte = chKind == 'x' && *uValue >= 0x80;
            strResult += static_cast<VOWCHAR>(bByte ? kCarriedByteBase + *uValue : *uValue);
            i += uDigits;
        }
        else
        {
            return std::nullopt;
        }
        bEscaped = true;
    }
    return bEscaped ? std::optional<VOWString>(strResult) : std::nullopt;
}

std::optional<VOWString> FromUtf8(std::string_view strText)
{
    VOWString strResult;
    strResult.reserve(strText.size());
    while (!strText.empty())
    {
        uint32_t uCode = 0;
        const size_t uBytes = VODecodeUtf8(strText, &uCode);
        if (uBytes == 0 || VOIsSurrogate(uCode))
        {
            return std::nullopt;
        }
        VOAppendUtf16(strResult, uCode);
        strText.remove_prefix(uBytes);
    }
    return strResult;
}

bool EqualButForAsciiCase(const VOWString& strFirst, const VOWString& strSecond)
{
    return strFirst.size() == strSecond.size() && FoldAscii(strFirst) == FoldAscii(strSecond);
}

std::vector<VOWString> SplitAt(const VOWString& strText, const VOWCHAR* pszSeparators)
{
    std::vector<VOWString> vecParts;
    for (size_t uAt = 0; uAt <= strText.size(); uAt += vecParts.back().size() + 1)
    {
        vecParts.push_back(strText.substr(uAt, strText.find_first_of(pszSeparators, uAt) - uAt));
    }
    return vecParts;
}

std::string LocalTime(int64_t nSeconds)
{
    // A year beyond what the C library's calendar can say makes the conversions throw.
    try
    {
        const time_t tTime = static_cast<time_t>(nSeconds);
        const tm local = fmt::localtime(tTime);
        const int nOffset = MinutesBetween(local, fmt::gmtime(tTime));
        const int nMinutes = nOffset < 0 ? -nOffset : nOffset;
        return fmt::format("{:%Y-%m-%dT%H:%M:%S}{}{:02}:{:02}", local, nOffset < 0 ? '-' : '+', nMinutes / 60,
                           nMinutes % 60);
    }
    catch (const fmt::format_error&)
    {
        return fmt::format("{}", nSeconds);
    }
}

std::optional<uint32_t> ParseNumber(std::string_view strText)
{
    int nBase = 10;
    if (strText.size() > 2 && strText[0] == '0' && (strText[1] == 'x' || strText[1] == 'X'))
    {
        nBase = 16;
        strText.remove_prefix(2);
    }
    uint32_t uValue = 0;
    const char* pszEnd = strText.data() + strText.size();
    const std::from_chars_result result = std::from_chars(strText.data(), pszEnd, uValue, nBase);
    if (strText.empty() || result.ec != std::errc() || result.ptr != pszEnd)
    {
        return std::nullopt;
    }
    return uValue;
}

}  // namespace lum
