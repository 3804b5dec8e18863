// How a path is named to the library, by the publisher and by the readers alike.
//
// The index folds the case of its keys, cuts them to MAX_PATH - 1 units, and takes a path with ":" for an absolute one.
// Directories hold names for which each of the three would be wrong; these functions say what stands for them.
#pragma once

#include <optional>

#include "vo_types.h"

namespace lum
{

// The longest key, in units.
constexpr size_t kMaxKeyLength = MAX_PATH - 1;

// The key form of a path that is told from another one by case alone: folding leaves it as it is. It begins with
// U+F8FF, and has U+E000 + letter in place of each ASCII capital.
VOWString ExactCaseForm(const VOWString& strPath);

// The text under which the library is asked for a key form: the form itself, or the root path and the form where it
// holds ":", which would otherwise count as absolute. None when the library would cut it.
std::optional<VOWString> LookupText(const VOWString& strRoot, const VOWString& strForm);

// The two parts under which a name is stored.
struct NameParts
{
    VOWString strBase;  // never empty
    VOWString strExtension;
};

// Splits a file's name at its first dot; a folder's is all base name. A leading dot belongs to the base name (".x" is
// all base name, ".x.y" has the extension y), and a name that ends in a dot is all base name, because a path couldn't
// be made of the parts otherwise.
NameParts PartsOf(const VOWString& strName, bool bFolder);

// The text behind the last dot of an extension such as "tar.gz"; the extension itself when it has none.
VOWString LastExtension(const VOWString& strExtension);

}  // namespace lum
