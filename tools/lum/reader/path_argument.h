// Paths as a user names them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vo_types.h"

namespace lum
{

// What an argument may mean: the path as it stands, the one whose written form (base/text.h) it is, and the one with
// its backslashes as separators. In the order in which they are to be tried.
std::vector<VOWString> ReadingsOf(const std::string& strArgument);

// The path of a reading relative to a source's root: the part of an absolute path behind the root, a relative path as
// it is, without "." and ".." parts and double slashes. None for an absolute path elsewhere, and for one that leads out
// of the root.
std::optional<VOWString> RelativePath(const VOWString& strReading, const VOWString& strRoot);

}  // namespace lum
