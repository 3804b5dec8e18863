// Reaching what a tree holds by paths of any length, without following links below its root.
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "platform/posix/section_object.h"

struct FileIdentity
{
    dev_t uDevice = 0;
    ino_t uInode = 0;

    bool operator==(const FileIdentity& other) const = default;
};

// What is remembered of a file, to recognise it and to see that its times were set.
struct FileTrace
{
    uint64_t uInode = 0;      // 0: not known
    int64_t nWriteTime = 0;   // nanoseconds since 1970
    int64_t nChangeTime = 0;  // of its attributes
    bool bFolder = false;
};

// Opens a directory below another one; an empty path is that one itself. Failure: errno.
Descriptor OpenFolderBelow(int nRoot, const std::string& strPath);

// Looks at one entry of an open directory. Failure: errno.
bool ReadTrace(int nFolder, const char* pszName, FileTrace* pTrace);

// Calls fnEntry with the names in an open directory, without "." and "..". False with errno when reading it fails.
bool ForEachEntry(int nFolder, const std::function<void(const char*)>& fnEntry);
