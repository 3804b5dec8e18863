// Sources that are named by a text file of paths.
#pragma once

#include <string>

#include "base/files.h"
#include "scan/path_tree.h"

namespace lum
{

// Reads a list: one path per line, a folder with "/" behind it; files need no line for the folders they lie in. False
// with a message, which names the line, for what can't be a path of an index.
bool ReadPathList(const std::string& strNative, PathTree* pTree, std::string* pstrError);

// The same of the lines of a text; strWhere names it in a message.
bool ReadPaths(const std::string& strWhere, const std::vector<TextLine>& vecLines, PathTree* pTree,
               std::string* pstrError);

}  // namespace lum
