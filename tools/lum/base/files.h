// Files that the user names: their absolute paths, and text and binary content.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "vo_types.h"

namespace lum
{

// The path of a narrow name as vo_text.h has it.
std::filesystem::path ToPath(std::string_view strNative);

// And back.
std::string ToNative(const std::filesystem::path& path);

// The absolute form of a path, with "/" separators and no trailing one. Links are kept as they are named, except where
// the path holds "..", which only the links' targets can answer. False with a message when the system has no answer.
bool AbsolutePath(const std::string& strNative, VOWString* pstrResult, std::string* pstrError);

// The root path under which a container knows a directory: the absolute path, and "/." for the root of the file system,
// because a root path of the index doesn't end in "/". False with a message when the index can't hold it.
bool RootPath(const std::string& strNative, VOWString* pstrResult, std::string* pstrError);

// A whole file. Larger ones than 4 GiB are refused.
bool ReadFile(const std::string& strNative, std::vector<unsigned char>* pvecBytes, std::string* pstrError);

// Writes a whole file. A file half written is removed.
bool WriteFile(const std::string& strNative, const void* pBytes, size_t uSize, std::string* pstrError);

struct TextLine
{
    unsigned uNumber = 0;  // counted from 1
    VOWString strText;     // without blanks at either end; never empty
};

// The lines of a UTF-8 text file that say something: blank lines and those that begin with "#" are left out. False with
// a message, which names the line, for what isn't text.
bool ReadTextFile(const std::string& strNative, std::vector<TextLine>* pvecLines, std::string* pstrError);

// The same of a text that is there already; strWhere names it in a message.
bool SplitText(const std::string& strWhere, std::string_view strText, std::vector<TextLine>* pvecLines,
               std::string* pstrError);

}  // namespace lum
