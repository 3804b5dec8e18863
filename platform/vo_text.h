// Text between its forms: UTF-8, UTF-16, and the names of the system.
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

#include "vo_types.h"

// UTF-8 and UTF-16, one character at a time. Neither side refuses a surrogate that stands alone: that is its caller's
// to decide.

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

// Whether two texts are equal without regard to case (StrCmpIW, StrStrIW) exactly when CharLowerBuffW makes the same
// units of them. Where the comparison is linguistic, that can be said of texts of printable ASCII alone, and in one
// direction: what is equal has the same lower-case letters.
#if defined(_WIN32)
constexpr bool kVOFoldsByUnits = false;
#else
constexpr bool kVOFoldsByUnits = true;
#endif

// File names between their form in memory (16-bit text, "/" or "\" between the parts) and the narrow form of the
// system.
//
// Linux: the narrow form is what the file system holds, UTF-8 by habit and any bytes in fact. Every name survives the
// way into memory and back: a byte that isn't part of valid UTF-8 is carried as the lone surrogate U+DC00 + byte
// (U+DC80..U+DCFF), and a backslash inside a name as U+DC5C, because a plain "\" separates.
// Windows: the narrow form is UTF-8, for output and for arguments; lone surrogates survive as their three-byte form,
// and bytes that aren't valid become U+FFFD.

// The narrow form of a path or of a name. On Linux a "\" of the text becomes "/".
std::string VOToNativePath(const VOWString& strPath);

// The text of a narrow path or name.
VOWString VOFromNative(std::string_view strPath);

// The narrow path as the runtime's functions take it (fopen, and those of the library that say const char*). Linux: the
// same, but for a name with a backslash in it, which they can't name. Windows: the process's code page. False when
// there is no such form.
bool VOToRuntimePath(const std::string& strNative, std::string* pstrPath);
