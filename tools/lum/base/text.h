// Text between the index (16-bit units) and the outside (UTF-8).
//
// A name of a file system needn't be valid text. In the index, what isn't is carried as lone surrogates; outside, such
// a unit is written as an escape, and a backslash that is part of a name is doubled, so that the written form can
// always be turned back:
//
//   \\       a backslash inside a name
//   \xHH     a byte of 0x80 and above that isn't part of valid UTF-8 (U+DC80..U+DCFF), or a control character
//   \uHHHH   another lone surrogate, or a control character of U+0080..U+009F
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vo_types.h"

namespace lum
{

// How a backslash that is part of a name is carried.
constexpr VOWCHAR kCarriedBackslash = 0xDC5C;

enum class Escape
{
    NamesOnly,  // for JSON, which has its own way to write control characters
    Controls    // for a terminal
};

// The written form of a name or path.
std::string WrittenForm(const VOWString& strText, Escape eEscape);

// The name that a written form stands for; none when the text holds no escape, or a wrong one. The text may carry its
// backslashes as they are in an argument of either system.
std::optional<VOWString> FromWrittenForm(const VOWString& strWritten);

// Strict UTF-8; none when it isn't.
std::optional<VOWString> FromUtf8(std::string_view strText);

// ASCII letters folded, as the index folds its keys.
template <typename Char>
std::basic_string<Char> FoldAscii(std::basic_string<Char> strText)
{
    for (Char& ch : strText)
    {
        ch = ch >= 'A' && ch <= 'Z' ? static_cast<Char>(ch - 'A' + 'a') : ch;
    }
    return strText;
}
bool EqualButForAsciiCase(const VOWString& strFirst, const VOWString& strSecond);

// What stands between the separators, each of them one of these characters; empty parts too.
std::vector<VOWString> SplitAt(const VOWString& strText, const VOWCHAR* pszSeparators);

// Bytes that should be UTF-8, on a terminal: control characters, and all bytes of 0x80 and above where it isn't, are
// escaped as above. Backslashes stay single.
std::string PrintableText(std::string_view strText);

// "2026-11-20T12:16:07+01:00", local time and its distance from UTC; the bare number of seconds for a time that no
// calendar holds.
std::string LocalTime(int64_t nSeconds);

// An unsigned number, decimal or with 0x; none for anything else.
std::optional<uint32_t> ParseNumber(std::string_view strText);

}  // namespace lum
