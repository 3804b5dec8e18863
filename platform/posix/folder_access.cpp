#include "platform/posix/folder_access.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/fault_points.h"

namespace
{
// Opens a path that the system takes in one piece.
Descriptor OpenPiece(int nFolder, const std::string& strPath)
{
    const int nFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    open_how how = {};
    how.flags = static_cast<uint64_t>(nFlags);
    how.resolve = RESOLVE_NO_SYMLINKS;
    const long nResult = syscall(SYS_openat2, nFolder, strPath.c_str(), &how, sizeof(how));
    if (nResult < 0 && (errno == ENOSYS || errno == EPERM))
    {
        // An older system, or one that doesn't let programs use it: a link in the middle is followed then.
        return Descriptor(openat(nFolder, strPath.c_str(), nFlags));
    }
    return Descriptor(static_cast<int>(nResult));
}
}  // namespace

Descriptor OpenFolderBelow(int nRoot, const std::string& strPath)
{
    if (VO_FAULT_POINT("directory.open"))
    {
        errno = EMFILE;
        return Descriptor();
    }
    if (strPath.empty())
    {
        return OpenPiece(nRoot, ".");
    }
    Descriptor folder;
    for (size_t uFrom = 0; uFrom < strPath.size();)
    {
        size_t uTo = strPath.size();
        if (uTo - uFrom >= PATH_MAX)
        {
            uTo = strPath.rfind('/', uFrom + PATH_MAX - 1);
        }
        folder = OpenPiece(folder.IsOpen() ? folder.Get() : nRoot, strPath.substr(uFrom, uTo - uFrom));
        if (!folder.IsOpen())
        {
            break;
        }
        uFrom = uTo + 1;
    }
    return folder;
}

bool ReadTrace(int nFolder, const char* pszName, FileTrace* pTrace)
{
    struct stat info;
    if (fstatat(nFolder, pszName, &info, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0)
    {
        return false;
    }
    pTrace->uInode = info.st_ino;
    pTrace->nWriteTime = int64_t{info.st_mtim.tv_sec} * 1000000000 + info.st_mtim.tv_nsec;
    pTrace->nChangeTime = int64_t{info.st_ctim.tv_sec} * 1000000000 + info.st_ctim.tv_nsec;
    pTrace->bFolder = S_ISDIR(info.st_mode);
    return true;
}

bool ForEachEntry(int nFolder, const std::function<void(const char*)>& fnEntry)
{
    const int nOwn = VO_FAULT_POINT("directory.read") ? -1 : fcntl(nFolder, F_DUPFD_CLOEXEC, 0);
    DIR* const pStream = nOwn >= 0 ? fdopendir(nOwn) : nullptr;
    if (pStream == nullptr)
    {
        const int nError = nOwn >= 0 ? errno : EMFILE;
        Descriptor closed(nOwn);
        closed.Reset();
        errno = nError;
        return false;
    }
    errno = 0;
    while (const dirent* pEntry = readdir(pStream))
    {
        if (strcmp(pEntry->d_name, ".") != 0 && strcmp(pEntry->d_name, "..") != 0)
        {
            fnEntry(pEntry->d_name);
        }
        errno = 0;
    }
    const int nError = errno;
    closedir(pStream);
    errno = nError;
    return nError == 0;
}
