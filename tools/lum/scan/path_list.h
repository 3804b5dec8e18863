// Sources that are named by a text file of paths.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/files.h"
#include "scan/path_tree.h"

namespace lum
{

// Reads a list: one path per line, a folder with "/" behind it; files need no line for the folders they lie in. A
// Failure, which names the line, for what can't be a path of an index.
std::unique_ptr<PathTree> ReadPathList(const std::string& strNative);

// The same of the lines of a text; strWhere names it in a message.
std::unique_ptr<PathTree> ReadPaths(const std::string& strWhere, const std::vector<TextLine>& vecLines);

}  // namespace lum
