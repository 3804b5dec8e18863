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

// What can't be done with a file is a Failure in all of these.

// The root path under which a container knows a directory: its absolute form, with "/" separators and no trailing one,
// and "/." for the root of the file system, because a root path of the index doesn't end in "/". Links are kept as they
// are named, except where the path holds "..", which only the links' targets can answer. A Failure when the index can't
// hold it, too.
VOWString RootPath(const std::string& strNative);

// A whole file. Larger ones than 4 GiB are refused.
std::vector<unsigned char> ReadFile(const std::string& strNative, unsigned long long ullLimit = 0xFFFFFFFF);

// Writes a whole file. A file half written is removed.
void WriteFile(const std::string& strNative, const void* pBytes, size_t uSize);

struct TextLine
{
    unsigned uNumber = 0;  // counted from 1
    VOWString strText;     // without blanks at either end; never empty
};

// The lines of a UTF-8 text file that say something: blank lines and those that begin with "#" are left out. A Failure,
// which names the line, for what isn't text.
std::vector<TextLine> ReadTextFile(const std::string& strNative);

// The same of a text that is there already; strWhere names it in a message.
std::vector<TextLine> SplitText(const std::string& strWhere, std::string_view strText);

}  // namespace lum
