// Files and directories: what the system knows of them, reaching what a tree holds, and errors for those who show
// them.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

#include "platform/posix/section_object.h"
#include "platform/vo_directories.h"

// What the system knows about one file, in the terms of find-first.
struct FileStatus
{
    bool bFolder = false;
    bool bLink = false;
    bool bReadOnly = false;  // the owner has no write permission
    uint64_t ullSize = 0;
    int64_t nCreateTime = 0;  // seconds since 1970; the modification time where no birth time is kept
    int64_t nAccessTime = 0;
    int64_t nWriteTime = 0;
    uint32_t uWriteFraction = 0;  // nanoseconds
    uint32_t uStatusStamp = 0;    // of the time of the last change of any kind
};

// Reads the status of a path, relative to the directory nDirectory. A link is looked at itself. False with errno set.
bool ReadFileStatus(int nDirectory, const char* pszPath, FileStatus* pStatus);

// The _A_ bits of a file of that name.
uint32_t FileAttributes(const FileStatus& status, std::string_view strName);

// Reaching what a tree holds by paths of any length, without following links below its root.

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

// The kind of a file system by its number, as statfs gives it.
VODirectoryKind KindOfFileSystem(uint32_t uType);

// Fills *pError with an errno value. Always false.
bool FailWith(VOSystemError* pError, int nError);
