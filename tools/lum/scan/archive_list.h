// Sources that are the table of contents of an archive.
#pragma once

#include <string>
#include <vector>

#include "scan/path_tree.h"

namespace lum
{

// Reads the entries of an archive of any kind that the archive library knows (zip, tar and its compressed forms, 7-zip,
// ...). Of two entries of one path the later one counts. Entries that can't be in an index go to pvecNotIndexed. False
// with a message for what is no archive, or a damaged one, and in a build without the archive library. Names are
// converted by the C library: the program has set a UTF-8 locale before.
bool ReadArchive(const VOWString& strPath, PathTree* pTree, std::vector<NotIndexed>* pvecNotIndexed,
                 std::string* pstrError);

}  // namespace lum
