#include <string.h>

#include "platform/vo_platform.h"
#include "platform/vo_text.h"
#include "platform/wide_scan.h"

size_t VODecodeUtf8(std::string_view strText, uint32_t* puCode)
{
    const auto byteAt = [&](size_t uIndex) -> uint32_t { return static_cast<unsigned char>(strText[uIndex]); };
    const uint32_t uLead = byteAt(0);
    if (uLead < 0x80)
    {
        *puCode = uLead;
        return 1;
    }
    const size_t uBytes = uLead >= 0xC2 && uLead <= 0xDF   ? 2
                          : uLead >= 0xE0 && uLead <= 0xEF ? 3
                          : uLead >= 0xF0 && uLead <= 0xF4 ? 4
                                                           : 0;
    if (uBytes == 0 || strText.size() < uBytes)
    {
        return 0;
    }
    uint32_t uCode = uLead & (0xFFu >> (uBytes + 1));
    for (size_t uByte = 1; uByte < uBytes; ++uByte)
    {
        if ((byteAt(uByte) & 0xC0) != 0x80)
        {
            return 0;
        }
        uCode = (uCode << 6) | (byteAt(uByte) & 0x3F);
    }
    static const uint32_t s_aLeast[5] = {0, 0, 0x80, 0x800, 0x10000};
    *puCode = uCode;
    return uCode < s_aLeast[uBytes] || uCode > 0x10FFFF ? 0 : uBytes;
}

void VOAppendUtf8(std::string& strTo, uint32_t uCode)
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

uint32_t VODecodeUtf16(const VOWString& strText, size_t* puAt)
{
    const uint32_t uCode = static_cast<uint16_t>(strText[(*puAt)++]);
    const uint32_t uNext = static_cast<uint16_t>(strText[*puAt]);  // a zero behind the last one
    if (uCode < 0xD800 || uCode > 0xDBFF || uNext < 0xDC00 || uNext > 0xDFFF)
    {
        return uCode;
    }
    ++*puAt;
    return 0x10000 + ((uCode - 0xD800) << 10) + (uNext - 0xDC00);
}

void VOAppendUtf16(VOWString& strTo, uint32_t uCode)
{
    if (uCode >= 0x10000)
    {
        strTo.push_back(static_cast<VOWCHAR>(0xD800 + ((uCode - 0x10000) >> 10)));
        uCode = 0xDC00 + ((uCode - 0x10000) & 0x3FF);
    }
    strTo.push_back(static_cast<VOWCHAR>(uCode));
}

namespace
{
#if defined(_WIN32)
constexpr bool kCarryAnyBytes = false;  // file names are 16-bit text already
#else
constexpr bool kCarryAnyBytes = true;
#endif

constexpr uint32_t kEscapedByte = 0xDC00;       // plus the byte, 0x80 to 0xFF
constexpr uint32_t kEscapedBackslash = 0xDC5C;  // a "\" that belongs to a name
constexpr uint32_t kReplacement = 0xFFFD;
}  // namespace

std::string VOToNativePath(const VOWString& strPath)
{
    std::string strNative;
    strNative.reserve(strPath.size() + strPath.size() / 2);
    for (size_t uAt = 0; uAt < strPath.size();)
    {
        const uint32_t uCode = VODecodeUtf16(strPath, &uAt);
        if (kCarryAnyBytes && uCode == '\\')
        {
            strNative.push_back('/');
        }
        else if (kCarryAnyBytes && (uCode == kEscapedBackslash || (uCode >= 0xDC80 && uCode <= 0xDCFF)))
        {
            strNative.push_back(static_cast<char>(uCode - kEscapedByte));
        }
        else
        {
            VOAppendUtf8(strNative, uCode);
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
        uint32_t uCode = 0;
        size_t uBytes = VODecodeUtf8(strPath, &uCode);
        // Surrogates are characters where the system's own names may hold them.
        if (uBytes == 0 || (kCarryAnyBytes && VOIsSurrogate(uCode)))
        {
            uBytes = 1;
            uCode = kCarryAnyBytes ? kEscapedByte + static_cast<unsigned char>(strPath.front()) : kReplacement;
        }
        else if (kCarryAnyBytes && uCode == '\\')
        {
            uCode = kEscapedBackslash;
        }
        VOAppendUtf16(strText, uCode);
        strPath.remove_prefix(uBytes);
    }
    return strText;
}

VOWCHAR* VOWideNCopy(VOWCHAR* pszTo, const VOWCHAR* pszFrom, size_t uCount)
{
    const size_t uLength = VOWideLength(pszFrom, uCount);
    void* pToBytes = pszTo;
    const void* pFromBytes = pszFrom;
    memcpy(pToBytes, pFromBytes, uLength * sizeof(VOWCHAR));
    void* pRest = pszTo + uLength;
    memset(pRest, 0, (uCount - uLength) * sizeof(VOWCHAR));
    return pszTo;
}
