#include "base/text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <charconv>
#include <iterator>

namespace lum
{

namespace
{

constexpr VOWCHAR kCarriedByteBase = 0xDC00;

bool IsHighSurrogate(VOWCHAR ch)
{
    return ch >= 0xD800 && ch <= 0xDBFF;
}

bool IsLowSurrogate(VOWCHAR ch)
{
    return ch >= 0xDC00 && ch <= 0xDFFF;
}

bool IsBackslash(VOWCHAR ch)
{
    return ch == '\\' || ch == kCarriedBackslash;
}

void AppendUtf8(std::string& strTo, uint32_t uCode)
{
    if (uCode < 0x80)
    {
        strTo += static_cast<char>(uCode);
    }
    else if (uCode < 0x800)
    {
        strTo += static_cast<char>(0xC0 | (uCode >> 6));
        strTo += static_cast<char>(0x80 | (uCode & 0x3F));
    }
    else if (uCode < 0x10000)
    {
        strTo += static_cast<char>(0xE0 | (uCode >> 12));
        strTo += static_cast<char>(0x80 | ((uCode >> 6) & 0x3F));
        strTo += static_cast<char>(0x80 | (uCode & 0x3F));
    }
    else
    {
        strTo += static_cast<char>(0xF0 | (uCode >> 18));
        strTo += static_cast<char>(0x80 | ((uCode >> 12) & 0x3F));
        strTo += static_cast<char>(0x80 | ((uCode >> 6) & 0x3F));
        strTo += static_cast<char>(0x80 | (uCode & 0x3F));
    }
}

void AppendUnit(std::string& strTo, VOWCHAR ch, Escape eEscape)
{
    const unsigned uUnit = ch;
    if (IsBackslash(ch))
    {
        strTo += "\\\\";
    }
    else if (uUnit >= 0xDC80 && uUnit <= 0xDCFF)
    {
        fmt::format_to(std::back_inserter(strTo), "\\x{:02x}", uUnit - kCarriedByteBase);
    }
    else if (IsHighSurrogate(ch) || IsLowSurrogate(ch))
    {
        fmt::format_to(std::back_inserter(strTo), "\\u{:04x}", uUnit);
    }
    else if (eEscape == Escape::Controls && (uUnit < 0x20 || uUnit == 0x7F))
    {
        fmt::format_to(std::back_inserter(strTo), "\\x{:02x}", uUnit);
    }
    else if (eEscape == Escape::Controls && uUnit >= 0x80 && uUnit < 0xA0)
    {
        fmt::format_to(std::back_inserter(strTo), "\\u{:04x}", uUnit);
    }
    else
    {
        AppendUtf8(strTo, uUnit);
    }
}

// The value of uDigits hexadecimal digits at uAt.
std::optional<unsigned> HexAt(const VOWString& strText, size_t uAt, size_t uDigits)
{
    if (strText.size() - uAt < uDigits)
    {
        return std::nullopt;
    }
    unsigned uValue = 0;
    for (size_t i = uAt; i < uAt + uDigits; ++i)
    {
        const unsigned uUnit = strText[i];
        if (uUnit >= '0' && uUnit <= '9')
        {
            uValue = uValue * 16 + (uUnit - '0');
        }
        else if ((uUnit | 0x20) >= 'a' && (uUnit | 0x20) <= 'f')
        {
            uValue = uValue * 16 + ((uUnit | 0x20) - 'a' + 10);
        }
        else
        {
            return std::nullopt;
        }
    }
    return uValue;
}

// The code point of a UTF-8 sequence at the start of strText, and its length; none for a wrong one.
std::optional<uint32_t> DecodeUtf8(std::string_view strText, size_t& uLength)
{
    const auto byteAt = [&](size_t uAt) { return static_cast<unsigned char>(strText[uAt]); };
    const unsigned uFirst = byteAt(0);
    if (uFirst < 0x80)
    {
        uLength = 1;
        return uFirst;
    }
    static constexpr uint32_t kSmallest[5] = {0, 0, 0x80, 0x800, 0x10000};
    uLength = uFirst >= 0xF0 && uFirst < 0xF8 ? 4 : uFirst >= 0xE0 && uFirst < 0xF0 ? 3 : uFirst >= 0xC0 ? 2 : 0;
    if (uLength == 0 || uFirst >= 0xF8 || strText.size() < uLength)
    {
        return std::nullopt;
    }
    uint32_t uCode = uFirst & (0x7Fu >> uLength);
    for (size_t i = 1; i < uLength; ++i)
    {
        if ((byteAt(i) & 0xC0) != 0x80)
        {
            return std::nullopt;
        }
        uCode = (uCode << 6) | (byteAt(i) & 0x3Fu);
    }
    if (uCode < kSmallest[uLength] || uCode > 0x10FFFF || (uCode >= 0xD800 && uCode <= 0xDFFF))
    {
        return std::nullopt;
    }
    return uCode;
}

// Less than a day apart, so that the day of the year says which one is ahead, except over a turn of the year.
int MinutesBetween(const tm& kLater, const tm& kEarlier)
{
    const int nDays = kLater.tm_year != kEarlier.tm_year ? (kLater.tm_year > kEarlier.tm_year ? 1 : -1)
                                                         : kLater.tm_yday - kEarlier.tm_yday;
    return (nDays * 24 + kLater.tm_hour - kEarlier.tm_hour) * 60 + kLater.tm_min - kEarlier.tm_min;
}

}  // namespace

std::string WrittenForm(const VOWString& strText, Escape eEscape)
{
    std::string strResult;
    strResult.reserve(strText.size());
    for (size_t i = 0; i < strText.size(); ++i)
    {
        const VOWCHAR ch = strText[i];
        if (IsHighSurrogate(ch) && i + 1 < strText.size() && IsLowSurrogate(strText[i + 1]))
        {
            AppendUtf8(strResult, 0x10000u + ((ch - 0xD800u) << 10) + (strText[i + 1] - 0xDC00u));
            ++i;
        }
        else
        {
            AppendUnit(strResult, ch, eEscape);
        }
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
        size_t uLength = 0;
        const std::optional<uint32_t> uCode = DecodeUtf8(strText, uLength);
        if (!uCode)
        {
            return std::nullopt;
        }
        if (*uCode < 0x10000)
        {
            strResult += static_cast<VOWCHAR>(*uCode);
        }
        else
        {
            strResult += static_cast<VOWCHAR>(0xD800 + ((*uCode - 0x10000) >> 10));
            strResult += static_cast<VOWCHAR>(0xDC00 + ((*uCode - 0x10000) & 0x3FF));
        }
        strText.remove_prefix(uLength);
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
        const tm kLocal = fmt::localtime(tTime);
        const int nOffset = MinutesBetween(kLocal, fmt::gmtime(tTime));
        const int nMinutes = nOffset < 0 ? -nOffset : nOffset;
        return fmt::format("{:%Y-%m-%dT%H:%M:%S}{}{:02}:{:02}", kLocal, nOffset < 0 ? '-' : '+', nMinutes / 60,
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
    const std::from_chars_result kResult = std::from_chars(strText.data(), pszEnd, uValue, nBase);
    if (strText.empty() || kResult.ec != std::errc() || kResult.ptr != pszEnd)
    {
        return std::nullopt;
    }
    return uValue;
}

}  // namespace lum
