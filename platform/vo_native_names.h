// File names between their form in memory (16-bit text, "/" or "\" between the parts) and the narrow form of the
// system.
//
// Linux: the narrow form is what the file system holds, UTF-8 by habit and any bytes in fact. Every name survives the
// way into memory and back: a byte that isn't part of valid UTF-8 is carried as the lone surrogate U+DC00 + byte
// (U+DC80..U+DCFF), and a backslash inside a name as U+DC5C, because a plain "\" separates.
// Windows: the narrow form is UTF-8, for output and for arguments; lone surrogates survive as their three-byte form,
// and bytes that aren't valid become U+FFFD.
#pragma once

#include <string>
#include <string_view>

#include "vo_types.h"

// The narrow form of a path or of a name. On Linux a "\" of the text becomes "/".
std::string VOToNativePath(const VOWString& strPath);

// The text of a narrow path or name.
VOWString VOFromNative(std::string_view strPath);

// The narrow path as the runtime's functions take it (fopen, and those of the library that say const char*). Linux: the
// same, but for a name with a backslash in it, which they can't name. Windows: the process's code page. False when
// there is no such form.
bool VOToRuntimePath(const std::string& strNative, std::string* pstrPath);
