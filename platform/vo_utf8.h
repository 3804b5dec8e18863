// UTF-8 and UTF-16, one character at a time. Neither side refuses a surrogate that stands alone: that is its caller's
// to decide.
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

#include "vo_types.h"

// The character at the start of a text that isn't empty, and how many bytes it takes; 0 when there is none. Overlong
// forms and codes above U+10FFFF are none.
size_t VODecodeUtf8(std::string_view strText, uint32_t* puCode);

void VOAppendUtf8(std::string& strTo, uint32_t uCode);

// The character at a place, which a pair of surrogates is one of; *puAt is moved behind it.
uint32_t VODecodeUtf16(const VOWString& strText, size_t* puAt);

void VOAppendUtf16(VOWString& strTo, uint32_t uCode);

inline bool VOIsSurrogate(uint32_t uCode)
{
    return uCode >= 0xD800 && uCode <= 0xDFFF;
}
