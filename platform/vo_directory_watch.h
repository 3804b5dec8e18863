// What of a tree the directory changes of vo_platform.h don't reach.
#pragma once

#include <stddef.h>

#include "platform/vo_directory_listing.h"
#include "vo_types.h"

// Counts the directories of a tree, the root among them, that no handle of this process watches: the user's limit of
// watches is reached, or they can't be opened. Links aren't followed. It reads the tree, and what the system says of
// the process's watches; a directory that was made a moment ago may count although it is about to be watched. Before
// the first read of the changes everything counts. Windows watches a tree as a whole: 0 there. Failure: false, *pError
// set.
bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError);
