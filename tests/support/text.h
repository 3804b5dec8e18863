// 16-bit text in tests: read and placed at odd addresses, made from ASCII, shown in messages.
#pragma once

#include <string.h>

#include <string>
#include <string_view>

#include "support/bytes.h"
#include "vo_types.h"

namespace votest
{
// The text at any address, read byte by byte; empty for an empty pointer.
inline VOWString ReadText(const void* pvText)
{
    VOWString strText;
    const unsigned char* pbText = static_cast<const unsigned char*>(pvText);
    while (pbText != nullptr && (pbText[0] != 0 || pbText[1] != 0))
    {
        strText.push_back(static_cast<VOWCHAR>(pbText[0] | pbText[1] << 8));
        pbText += 2;
    }
    return strText;
}

// ASCII characters as 16-bit units.
inline VOWString Wide(std::string_view strText)
{
    return VOWString(strText.begin(), strText.end());
}

// For messages: ASCII as it is, other units as "\u" and four hexadecimal digits.
inline std::string Shown(const VOWString& strText)
{
    static const char s_szDigit[] = "0123456789ABCDEF";
    std::string strShown;
    for (const VOWCHAR ch : strText)
    {
        if (ch >= 0x20 && ch < 0x7F)
        {
            strShown.push_back(static_cast<char>(ch));
            continue;
        }
        strShown += "\\u";
        for (int nShift = 12; nShift >= 0; nShift -= 4)
        {
            strShown.push_back(s_szDigit[static_cast<unsigned>(ch) >> nShift & 15]);
        }
    }
    return strShown;
}

// A text, terminator included, at a chosen misalignment (an odd one as a rule), with nothing readable behind it.
class PlacedText
{
public:
    explicit PlacedText(const VOWString& strText, size_t uMisalignment = 1)
        : m_block(ByteBuilder().Text(strText).Result(), uMisalignment)
    {
    }

    operator const VOWCHAR*() const { return m_block.As<const VOWCHAR>(); }

private:
    MisalignedBlock m_block;
};
}  // namespace votest
