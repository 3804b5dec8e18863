// Reading directories, where they live, and what of a tree is watched: for programs that fill an index.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "vo_types.h"

// Reading directories, for programs that fill an index.

// One entry of a directory. Links (symbolic links, junctions) are described themselves and never followed.
struct VODirectoryEntry
{
    VOWString strName;        // one path component, in the form of vo_text.h
    bool bFolder = false;     // a directory that can be listed in turn; never set for a link
    bool bLink = false;       // a symbolic link or a junction
    uint32_t uAttribute = 0;  // the _A_ bits, as _wfindfirst64i32 reports them
    uint64_t ullSize = 0;     // bytes; 0 for a folder
    int64_t nCreateTime = 0;  // seconds since 1970 UTC; the write time where the file system keeps no birth time
    int64_t nAccessTime = 0;
    int64_t nWriteTime = 0;
    uint32_t uWriteFraction = 0;  // the nanoseconds of the write time
    uint32_t uStatusStamp = 0;    // another value when content or attributes were changed since; 0 where none is kept
    bool bDescribed = true;       // false for one that couldn't be looked at: its name is all that is sure
};

// Why a call of the system failed: its own error number, and that in words (UTF-8).
struct VOSystemError
{
    int nError = 0;
    bool bGone = false;  // there is no such file or directory; any other failure says nothing about that, and may pass
    std::string strText;
};

// Lists a directory without "." and "..", sorted by the units of the names. Sockets, pipes and devices count as files.
// An entry that vanishes while the directory is read is left out; one that can't be looked at is listed with what is
// known. strPath may be a link to a directory. Failure: false, *pError set, *pvecEntries empty.
bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError);

// Describes the one file, directory or link that a path names; strName is its last component. Failure: false, *pError
// set.
bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError);

// Where a directory lives.
enum class VODirectoryKind
{
    Local,
    Remote  // changes that others make there may not be told: a network, a file system in user space, a host's folder
};

// Linux: by the type of the file system; Windows: by the drive. Failure: false, *pError set.
bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError);

// What of a tree the directory changes of vo_platform.h don't reach.

// Counts the directories of a tree, the root among them, that no handle of this process watches: the user's limit of
// watches is reached, or they can't be opened. Links aren't followed. It reads the tree, and what the system says of
// the process's watches; a directory that was made a moment ago may count although it is about to be watched. Before
// the first read of the changes everything counts. Windows watches a tree as a whole: 0 there. Failure: false, *pError
// set.
bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError);
