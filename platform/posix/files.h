// Files and directories: what the system knows of them, reaching what a tree holds, and errors for those who show
// them.
#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <functional>
#include <memory>

#include "platform/posix/section_object.h"
#include "platform/vo_directories.h"

// The narrow form of a path at any address.
std::string NativePathOf(const VOWCHAR* pszPath);

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

// A directory that is read; null, with errno set, for one that can't be.
typedef std::unique_ptr<DIR, int (*)(DIR*)> DirectoryStream;
DirectoryStream StreamOf(Descriptor folder);

// Calls fnEntry with what a directory holds, without "." and "..", and with its descriptor. False with errno when there
// is no stream, or reading it fails.
bool ForEachEntry(DirectoryStream stream, const std::function<void(int nFolder, const dirent& entry)>& fnEntry);

// The kind of a file system by its number, as statfs gives it.
VODirectoryKind KindOfFileSystem(uint32_t uType);

// Fills *pError with an errno value. Always false.
bool FailWith(VOSystemError* pError, int nError);
