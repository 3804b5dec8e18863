#include "platform/vo_directory_listing.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/file_status.h"
#include "platform/posix/system_error.h"
#include "platform/vo_native_names.h"

namespace
{
typedef std::unique_ptr<DIR, int (*)(DIR*)> DirectoryStream;

// The stream of a directory, or none with errno set.
DirectoryStream OpenDirectory(const std::string& strPath)
{
    if (VO_FAULT_POINT("directory.open"))
    {
        errno = EMFILE;
        return DirectoryStream(nullptr, closedir);
    }
    return DirectoryStream(opendir(strPath.c_str()), closedir);
}

// The next entry, or null with errno set or, at the end, 0.
const dirent* NextEntry(const DirectoryStream& stream)
{
    errno = VO_FAULT_POINT("directory.read") ? EIO : 0;
    return errno == 0 ? readdir(stream.get()) : nullptr;
}

void Describe(const FileStatus& status, std::string_view strName, VODirectoryEntry* pEntry)
{
    pEntry->strName = VOFromNative(strName);
    pEntry->bFolder = status.bFolder;
    pEntry->bLink = status.bLink;
    pEntry->uAttribute = FileAttributes(status, strName);
    pEntry->ullSize = status.ullSize;
    pEntry->nCreateTime = status.nCreateTime;
    pEntry->nAccessTime = status.nAccessTime;
    pEntry->nWriteTime = status.nWriteTime;
    pEntry->uWriteFraction = status.uWriteFraction;
    pEntry->uStatusStamp = status.uStatusStamp;
}

// False for an entry that is gone, and for the directory's two entries for itself and its parent.
bool DescribeEntry(int nDirectory, const dirent& entry, VODirectoryEntry* pEntry)
{
    const std::string_view strName = entry.d_name;
    FileStatus status;
    if (strName == "." || strName == "..")
    {
        return false;
    }
    if (!ReadFileStatus(nDirectory, entry.d_name, &status))
    {
        if (errno == ENOENT)
        {
            return false;
        }
        // Not to be looked at, but there: what the directory itself says has to do.
        status = FileStatus();
        status.bFolder = entry.d_type == DT_DIR;
        status.bLink = entry.d_type == DT_LNK;
        pEntry->bDescribed = false;
    }
    Describe(status, strName, pEntry);
    return true;
}
}  // namespace

bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError)
{
    pvecEntries->clear();
    const DirectoryStream stream = OpenDirectory(VOToNativePath(strPath));
    if (!stream)
    {
        return FailWith(pError, errno);
    }
    std::vector<VODirectoryEntry> vecEntries;
    while (const dirent* pEntry = NextEntry(stream))
    {
        VODirectoryEntry entry;
        if (DescribeEntry(dirfd(stream.get()), *pEntry, &entry))
        {
            vecEntries.push_back(std::move(entry));
        }
    }
    if (errno != 0)
    {
        return FailWith(pError, errno);
    }
    std::sort(vecEntries.begin(), vecEntries.end(),
              [](const VODirectoryEntry& first, const VODirectoryEntry& second)
              { return first.strName < second.strName; });
    *pvecEntries = std::move(vecEntries);
    return true;
}

bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError)
{
    std::string strNative = VOToNativePath(strPath);
    while (strNative.size() > 1 && strNative.back() == '/')
    {
        strNative.pop_back();  // a slash at the end would have a link followed
    }
    FileStatus status;
    if (!ReadFileStatus(AT_FDCWD, strNative.c_str(), &status))
    {
        return FailWith(pError, errno);
    }
    Describe(status, std::string_view(strNative).substr(strNative.rfind('/') + 1), pEntry);
    return true;
}
