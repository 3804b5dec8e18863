// What the system knows about one file, in the terms of find-first.
#pragma once

#include <fcntl.h>
#include <stdint.h>

#include <string_view>

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
