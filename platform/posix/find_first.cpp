// Find-first for one path.
#include "platform/fault_points.h"
#include "platform/posix/file_status.h"
#include "platform/vo_native_names.h"
#include "platform/vo_platform.h"

namespace
{
// Nothing stays open behind a find of one path; this value only says that it was found.
constexpr intptr_t FOUND = 1;
}  // namespace

intptr_t _wfindfirst64i32(const VOWCHAR* pszPath, _wfinddata64i32_t* pData)
{
    if (pszPath == nullptr || pData == nullptr)
    {
        errno = EINVAL;
        return -1;
    }
    VOWString strPath(static_cast<size_t>(lstrlenW(pszPath)), 0);
    lstrcpyW(strPath.data(), pszPath);
    const std::string strNative = VOToNativePath(strPath);
    FileStatus status;
    if (VO_FAULT_POINT("_wfindfirst64i32") || strNative.empty() || strNative.back() == '/' ||
        !ReadFileStatus(AT_FDCWD, strNative.c_str(), &status))
    {
        errno = ENOENT;
        return -1;
    }
    const std::string_view strName = std::string_view(strNative).substr(strNative.rfind('/') + 1);
    pData->attrib = FileAttributes(status, strName);
    pData->time_create = status.nCreateTime;
    pData->time_access = status.nAccessTime;
    pData->time_write = status.nWriteTime;
    pData->size = static_cast<unsigned>(status.ullSize);
    StringCchCopyW(pData->name, sizeof(pData->name) / sizeof(pData->name[0]), VOFromNative(strName).c_str());
    return FOUND;
}

int _findclose(intptr_t hFind)
{
    if (hFind == -1)
    {
        errno = EINVAL;
        return -1;
    }
    return 0;
}
