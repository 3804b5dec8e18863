#include "platform/vo_native_names.h"
#include "platform/vo_utf8.h"

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
}  // namespace

std::string VOToNativePath(const VOWString& strPath)
{
    std::string strNative;
    strNative.reserve(strPath.size() + strPath.size() / 2);
    for (size_t uAt = 0; uAt < strPath.size();)
    {
        const uint32_t uCode = VODecodeUtf16(strPath, &uAt);
        if (CARRY_ANY_BYTES && uCode == '\\')
        {
            strNative.push_back('/');
        }
        else if (CARRY_ANY_BYTES && (uCode == ESCAPED_BACKSLASH || (uCode >= 0xDC80 && uCode <= 0xDCFF)))
        {
            strNative.push_back(static_cast<char>(uCode - ESCAPED_BYTE));
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
        if (uBytes == 0 || (CARRY_ANY_BYTES && VOIsSurrogate(uCode)))
        {
            uBytes = 1;
            uCode = CARRY_ANY_BYTES ? ESCAPED_BYTE + static_cast<unsigned char>(strPath.front()) : REPLACEMENT;
        }
        else if (CARRY_ANY_BYTES && uCode == '\\')
        {
            uCode = ESCAPED_BACKSLASH;
        }
        VOAppendUtf16(strText, uCode);
        strPath.remove_prefix(uBytes);
    }
    return strText;
}
