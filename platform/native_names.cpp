#include <stddef.h>
#include <stdint.h>

#include "platform/vo_native_names.h"

namespace
{
#if defined(_WIN32)
constexpr bool CARRY_ANY_BYTES = false;  // file names are 16-bit text already
#else
constexpr bool CARRY_ANY_BYTES = true;
#endif

constexpr uint32_t ESCAPED_BYTE = 0xDC00;       // plus the byte, 0x80 to 0xFF
constexpr uint32_t ESCAPED_BACKSLASH = 0xDC5C;  // a "\" that belongs to a name
constexpr uint32_t REPLACEMENT = 0xFFFD;

bool IsHighSurrogate(uint32_t uUnit)
{
    return uUnit >= 0xD800 && uUnit <= 0xDBFF;
}
bool IsLowSurrogate(uint32_t uUnit)
{
    return uUnit >= 0xDC00 && uUnit <= 0xDFFF;
}

void AppendUtf8(std::string& strTo, uint32_t uCode)
{
    if (uCode < 0x80)
    {
        strTo.push_back(static_cast<char>(uCode));
        return;
    }
    const unsigned uTrailing = uCode < 0x800 ? 1 : uCode < 0x10000 ? 2 : 3;
    static const unsigned char s_aLead[4] = {0, 0xC0, 0xE0, 0xF0};
    strTo.push_back(static_cast<char>(s_aLead[uTrailing] | (uCode >> (6 * uTrailing))));
    for (unsigned uByte = uTrailing; uByte-- > 0;)
    {
        strTo.push_back(static_cast<char>(0x80 | ((uCode >> (6 * uByte)) & 0x3F)));
    }
}

struct Decoded
{
    uint32_t uCode = 0;
    size_t uBytes = 0;  // 0: not a character
};

// The character at the start of a text. Overlong forms and codes above U+10FFFF are none; surrogates are one where the
// system's own names may hold them.
Decoded DecodeUtf8(std::string_view strText)
{
    const auto byteAt = [&](size_t uIndex) -> uint32_t { return static_cast<unsigned char>(strText[uIndex]); };
    const uint32_t uLead = byteAt(0);
    if (uLead < 0x80)
    {
        return {uLead, 1};
    }
    const size_t uBytes = uLead >= 0xC2 && uLead <= 0xDF   ? 2
                          : uLead >= 0xE0 && uLead <= 0xEF ? 3
                          : uLead >= 0xF0 && uLead <= 0xF4 ? 4
                                                           : 0;
    if (uBytes == 0 || strText.size() < uBytes)
    {
        return {};
    }
    uint32_t uCode = uLead & (0xFFu >> (uBytes + 1));
    for (size_t uByte = 1; uByte < uBytes; ++uByte)
    {
        if ((byteAt(uByte) & 0xC0) != 0x80)
        {
            return {};
        }
        uCode = (uCode << 6) | (byteAt(uByte) & 0x3F);
    }
    static const uint32_t s_aLeast[5] = {0, 0, 0x80, 0x800, 0x10000};
    const bool bSurrogate = uCode >= 0xD800 && uCode <= 0xDFFF;
    if (uCode < s_aLeast[uBytes] || uCode > 0x10FFFF || (bSurrogate && CARRY_ANY_BYTES))
    {
        return {};
    }
    return {uCode, uBytes};
}
}  // namespace

std::string VOToNativePath(const VOWString& strPath)
{
    std::string strNative;
    strNative.reserve(strPath.size() + strPath.size() / 2);
    for (size_t uUnit = 0; uUnit < strPath.size(); ++uUnit)
    {
        const uint32_t uCode = static_cast<uint16_t>(strPath[uUnit]);
        const uint32_t uNext = uUnit + 1 < strPath.size() ? static_cast<uint16_t>(strPath[uUnit + 1]) : 0;
        if (IsHighSurrogate(uCode) && IsLowSurrogate(uNext))
        {
            AppendUtf8(strNative, 0x10000 + ((uCode - 0xD800) << 10) + (uNext - 0xDC00));
            ++uUnit;
        }
        else if (CARRY_ANY_BYTES && uCode == '\\')
        {
            strNative.push_back('/');
        }
        else if (CARRY_ANY_BYTES && (uCode == ESCAPED_BACKSLASH || (uCode >= 0xDC80 && uCode <= 0xDCFF)))
        {
            strNative.push_back(static_cast<char>(uCode - ESCAPED_BYTE));
        }
        else
        {
            AppendUtf8(strNative, uCode);
        }
    }
    return strNative;
}

VOWString VOFromNative(std::string_view strPath)
{
    VOWString strText;
    strText.reserve(strPath.size());
    while (!strPath.empty())
    {
        const Decoded character = DecodeUtf8(strPath);
        uint32_t uCode = character.uCode;
        if (character.uBytes == 0)
        {
            uCode = CARRY_ANY_BYTES ? ESCAPED_BYTE + static_cast<unsigned char>(strPath.front()) : REPLACEMENT;
        }
        else if (CARRY_ANY_BYTES && uCode == '\\')
        {
            uCode = ESCAPED_BACKSLASH;
        }
        if (uCode >= 0x10000)
        {
            strText.push_back(static_cast<VOWCHAR>(0xD800 + ((uCode - 0x10000) >> 10)));
            uCode = 0xDC00 + ((uCode - 0x10000) & 0x3FF);
        }
        strText.push_back(static_cast<VOWCHAR>(uCode));
        strPath.remove_prefix(character.uBytes != 0 ? character.uBytes : 1);
    }
    return strText;
}
