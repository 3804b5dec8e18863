// Paths of an index: "/" between the parts, nothing in front and behind, and empty for the root.
#pragma once

#include <optional>

#include "vo_types.h"

namespace lum
{

// "folder/name", and just the name under the root.
inline VOWString JoinPath(const VOWString& strFolder, const VOWString& strName)
{
    return strFolder.empty() ? strName : strFolder + VOTEXT("/") + strName;
}

// The folder that a path lies in; empty for what lies under the root.
inline VOWString ParentPath(const VOWString& strPath)
{
    const size_t uSlash = strPath.rfind(VOWCHAR('/'));
    return uSlash == VOWString::npos ? VOWString() : strPath.substr(0, uSlash);
}

// The last part of a path.
inline VOWString LastPart(const VOWString& strPath)
{
    return strPath.substr(strPath.rfind(VOWCHAR('/')) + 1);
}

// Whether a path lies in a folder, at any depth. Everything lies in the root, and nothing in itself.
inline bool LiesIn(const VOWString& strPath, const VOWString& strFolder)
{
    return strFolder.empty() ? !strPath.empty()
                             : strPath.size() > strFolder.size() && strPath[strFolder.size()] == '/' &&
                                   strPath.starts_with(strFolder);
}

enum class ParentSteps
{
    Refused,
    Followed  // as long as they don't lead out of the root
};

// A path from outside, with either slash, in the form of the index: without "." parts and what is between two slashes.
// None where a ".." part can't be followed.
std::optional<VOWString> CleanPath(const VOWString& strPath, ParentSteps eSteps = ParentSteps::Refused);

}  // namespace lum
