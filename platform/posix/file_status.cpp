#include "platform/posix/file_status.h"

#include <errno.h>
#include <sys/stat.h>

#include "platform/fault_points.h"
#include "platform/vo_platform.h"

bool ReadFileStatus(int nDirectory, const char* pszPath, FileStatus* pStatus)
{
    struct statx info;
    const unsigned uWanted = STATX_BASIC_STATS | STATX_BTIME;
    if (VO_FAULT_POINT("statx"))
    {
        errno = ENOMEM;
        return false;
    }
    if (statx(nDirectory, pszPath, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, uWanted, &info) != 0)
    {
        return false;
    }
    pStatus->bFolder = S_ISDIR(info.stx_mode);
    pStatus->bLink = S_ISLNK(info.stx_mode);
    pStatus->bReadOnly = (info.stx_mode & S_IWUSR) == 0;
    pStatus->ullSize = pStatus->bFolder ? 0 : info.stx_size;  // the bytes of a directory's own table count nowhere
    pStatus->nAccessTime = info.stx_atime.tv_sec;
    pStatus->nWriteTime = info.stx_mtime.tv_sec;
    pStatus->uWriteFraction = info.stx_mtime.tv_nsec;
    pStatus->uStatusStamp = static_cast<uint32_t>(info.stx_ctime.tv_sec) * 1000000007u + info.stx_ctime.tv_nsec;
    pStatus->nCreateTime = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime.tv_sec : info.stx_mtime.tv_sec;
    return true;
}

uint32_t FileAttributes(const FileStatus& status, std::string_view strName)
{
    uint32_t uAttribute = _A_NORMAL;
    uAttribute |= status.bReadOnly ? _A_RDONLY : 0;
    uAttribute |= !strName.empty() && strName.front() == '.' ? _A_HIDDEN : 0;
    uAttribute |= status.bFolder ? _A_SUBDIR : 0;
    return uAttribute;
}
